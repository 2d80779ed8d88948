// recordnext.cc - moving to the next record after a read or write: in key
// order (or repeating a substring scan), along a thread, or physically.
#include <cstring>

#include "definition/fid.h"
#include "definition/keys.h"
#include "record/record.h"
#include "record/lock.h"
#include "record/recstate.h"
#include "index/btree.h"
#include "index/idxfile.h"
#include "index/pagecache.h"
#include "record/keyfile.h"
#include "support/limits.h"

void sharedflush(FHCB* cb) {
    if (cb->nkeys > 0 && cb->index && isshared(cb) && pgflush(cb->idxfd) != 0 && cb->status == 0)
        cb->status = VN_E_IDXWRITE;
}

bool searchunlocked(const FHCB* cb) {
    return isshared(cb) && locking(cb) && !cb->flocked && !(cb->fflags & VN_FF_TMPIDX);
}

bool searchdoubtful(FHCB* cb, int index, int32_t r) {
    if (r < 0) return cb->status == VN_E_IDXCORRUPT;
    if (r == 0) return false;
    RecordState& rs = recstate();
    const int32_t keylen = cb->index->keylen[index];
    const uint8_t status = cb->status;
    const bool read = readrecat(cb, r, rs.checked) >= 0;
    cb->status = status;
    return !read || recordkey(cb, index, rs.checked, rs.checkedkey) != keylen ||
           std::memcmp(rs.checkedkey, cb->index->keybuf, static_cast<size_t>(keylen)) != 0;
}

int32_t searchagainlocked(FHCB* cb) {
    cb->status = 0;
    sharedflush(cb);
    if (cb->status != 0) return -1;
    return filelock(cb, cb->flockretry);
}

int32_t keystep(FHCB* cb, int mode) {
    const int k = cb->curkey;
    if (!searchunlocked(cb)) return keysearch(cb, k, mode);
    // The step starts from the key in the key buffer; the search made
    // again starts from it too.
    char from[FH_KEYSIZE];
    const size_t n = size_t{cb->index->keylen[k]} + 1;
    std::memcpy(from, cb->index->keybuf, n);
    const int32_t r = keysearch(cb, k, mode);
    if (!searchdoubtful(cb, k, r)) return r;
    if (searchagainlocked(cb) < 0) return -1;
    std::memcpy(cb->index->keybuf, from, n);
    return keysearch(cb, k, mode);
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
                              : keystep(cb, desc ? SRCH_STEPBACK : SRCH_STEP);
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
