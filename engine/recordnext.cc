// recordnext.cc - moving to the next record after a read or write: in key
// order (or repeating a substring scan), along a thread, or physically.
#include "engine/engine.h"
#include "engine/fid.h"
#include "engine/record.h"
#include "index/btree.h"
#include "index/idxfile.h"
#include "index/pagecache.h"

namespace {

// Whether a thread walk may take its steps-th step: the file holds that
// many records.
bool threadroom(FHCB* cb, uint32_t steps) {
    if (isshared(cb) && readhdrcount(cb) < 0) return false;
    return steps < chainlimit(cb);
}

}  // namespace

void sharedflush(FHCB* cb) {
    if (cb->nkeys > 0 && cb->index && isshared(cb)) pgflush(cb);
}

void movenext(FHCB* cb, int32_t len) {
    if (cb->mflags & VN_MF_STAY) return;
    const bool desc = cb->mflags & VN_MF_DESCEND;
    if (activekey(cb)) {
        if (!cb->index) {
            cb->state &= ~VN_ST_CURRENT;
            return;
        }
        const int32_t r = (cb->state & VN_ST_SUBSTR)
                              ? substrscan(cb, desc ? SRCH_PREV : SRCH_NEXT)
                              : idxsearch(cb, cb->curkey, desc ? SRCH_STEPBACK : SRCH_STEP);
        if (r > 0)
            cb->datpos = r;
        else
            cb->state &= ~VN_ST_CURRENT;
        return;
    }
    if (cb->state & VN_ST_THREAD) {
        const int t = cb->curkey;
        if (!cb->threads || t < 0 || t >= cb->nthreads) {
            cb->state &= ~VN_ST_CURRENT;
            return;
        }
        FidThread& th = cb->threads[t];
        const int32_t off = th.thoff;
        const int32_t at = cb->datpos;
        cb->datpos = off + 4 <= cb->reclen ? static_cast<int32_t>(frombase95(cb->recbuf + off, 4)) : 0;
        if (cb->datpos == 0) {
            cb->state &= ~VN_ST_CURRENT;
            return;
        }
        // A thread passes each record once: a link back to its own record,
        // or more steps than the file holds records, is a damaged chain
        // going round.  The header count is checked first, so a correct
        // file reads its size only when another program has added records.
        if (cb->datpos == at || (++th.walked >= cb->nrecs && !threadroom(cb, th.walked))) {
            if (cb->status == 0) cb->status = VN_E_DATREAD;
            cb->state &= ~VN_ST_CURRENT;
        }
        return;
    }
    if (desc) {
        if (cb->fflags & VN_FF_VARLEN) return;
        cb->datpos -= cb->reclen;
        if (cb->datpos < cb->reclen) cb->state &= ~VN_ST_CURRENT;
        return;
    }
    cb->datpos += len;
    int32_t end;
    if (cb->fflags & VN_FF_VARLEN) {
        end = datend(cb);
    } else {
        if (isshared(cb)) readhdrcount(cb);
        end = static_cast<int32_t>(cb->reclen * cb->nrecs);
    }
    if (cb->datpos >= end) cb->state &= ~VN_ST_CURRENT;
}
