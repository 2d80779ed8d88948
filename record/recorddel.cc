// recorddel.cc - removing one record: out of its threads, its keys out of
// the index, its slot onto the free-space list, and the deletion mark over
// its status byte.
#include "definition/fid.h"
#include "record/record.h"
#include "record/thread.h"
#include "index/btree.h"
#include "index/idxfile.h"
#include "record/keyfile.h"

int32_t removerec(FHCB* cb, int32_t pos, int32_t len, char* rec, bool mark) {
    bool changed = false;
    for (int t = 0; t < cb->nthreads && cb->threads; t++) {
        const int in = threadtest(cb, rec, t);
        if (in < 0) return -1;
        if (in && threadunlink(cb, t, pos, rec, &changed) < 0) return -1;
    }
    if (changed && isshared(cb) && writeheads(cb) < 0) return -1;
    char* const save = cb->recbuf;
    const int32_t savepos = cb->datpos;
    cb->recbuf = rec;
    cb->datpos = pos;
    int32_t r = 0;
    for (int i = 0; i < nindexes(cb) && r == 0; i++) {
        bldkey(cb, i, cb->index->keybuf);
        r = keydelete(cb, i, static_cast<uint32_t>(pos));
    }
    cb->recbuf = save;
    cb->datpos = savepos;
    if (r < 0) return -1;
    cb->state |= VN_ST_DIRTY;
    if (spacefree(cb, static_cast<uint32_t>(pos), static_cast<uint16_t>(len)) < 0) return -1;
    return mark ? writeat(cb, pos, deletemark, 1) : 0;
}
