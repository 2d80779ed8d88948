// recordnext.cc - moving to the next record after a read or write: in key
// order (or repeating a substring scan), along a thread, or physically.
#include "definition/fid.h"
#include "record/record.h"
#include "index/btree.h"
#include "index/idxfile.h"
#include "index/pagecache.h"
#include "record/keyfile.h"

void sharedflush(FHCB* cb) {
    if (cb->nkeys > 0 && cb->index && isshared(cb) && pgflush(cb->idxfd) != 0 && cb->status == 0)
        cb->status = VN_E_IDXWRITE;
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
                              : keysearch(cb, cb->curkey, desc ? SRCH_STEPBACK : SRCH_STEP);
        if (r > 0)
            cb->datpos = r;
        else
            cb->state &= ~VN_ST_CURRENT;
        return;
    }
    if (cb->state & VN_ST_THREAD) {
        threadstep(cb);
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
