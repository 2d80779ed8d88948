// opdelete.cc - operation 6: delete the record whose key 0 is in recbuf,
// then move on from it.
#include "engine/engine.h"
#include "engine/handles.h"
#include "record/hashrec.h"
#include "record/lock.h"
#include "record/record.h"
#include "index/btree.h"
#include "index/hash.h"
#include "index/idxfile.h"
#include "record/keyfile.h"

void opdelete(FHCB* cb) {
    if (fhactivate(cb) < 0) return;
    if (cb->mflags & VN_MF_READONLY) {
        cb->status = VN_C_READONLY;
        return;
    }
    if (cb->fflags & VN_FF_HASHED) {
        hshdelete(cb);
        return;
    }
    if (cb->nkeys <= 0 || !cb->index) {
        cb->status = VN_C_NOTAPPLY;
        return;
    }
    if (filelock(cb, cb->flockretry) < 0) return;
    bldkey(cb, 0, cb->index->keybuf);
    const int32_t pos = keysearch(cb, 0, SRCH_EQUAL);
    if (pos <= 0) {
        if (pos == 0) cb->status = VN_C_NOREC;
        return;
    }
    cb->datpos = pos;
    int32_t len = cb->reclen;
    const bool threads = cb->nthreads > 0 && cb->threads;
    if (threads && isshared(cb) && readheads(cb) < 0) return;
    if ((cb->fflags & VN_FF_VARLEN) || threads) {
        len = readrec(cb, cb->recbuf);
        if (len < 0) return;
    }
    if (locking(cb) && recprobe(cb)) {
        cb->status = VN_C_RLOCKED;
        return;
    }
    if (removerec(cb, pos, len, cb->recbuf) < 0) return;
    if (activekey(cb)) bldkey(cb, cb->curkey, cb->index->keybuf);
    movenext(cb, len);
    sharedflush(cb);
    fileunlock(cb);
}
