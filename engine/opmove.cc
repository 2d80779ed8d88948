// opmove.cc - operations 7 (backspace) and 8 (position by key value, by
// thread head or by physical record number).
#include <cstring>

#include "engine/engine.h"
#include "definition/fid.h"
#include "engine/handles.h"
#include "record/hashrec.h"
#include "record/record.h"
#include "index/btree.h"
#include "index/hash.h"
#include "index/idxfile.h"
#include "record/keyfile.h"

namespace {

void setcurrent(FHCB* cb, int32_t pos) {
    if (pos > 0) {
        cb->datpos = pos;
        cb->state |= VN_ST_CURRENT;
    } else {
        cb->state &= ~VN_ST_CURRENT;
    }
}


// The first entry of the active key at or after the value in work (up to
// the compare length), or at or before it when descending: its record's
// position, 0 when there is none (or, exact, none equal), -1 with status.
int32_t searchwork(FHCB* cb) {
    IdxState* ix = cb->index;
    const int k = cb->curkey;
    const bool desc = cb->mflags & VN_MF_DESCEND;
    const size_t len = strnlen(cb->work, static_cast<size_t>(cmplength(cb)));
    memset(ix->keybuf, 0, static_cast<size_t>(ix->keylen[k]) + 1);
    memcpy(ix->keybuf, cb->work, len);
    if (desc && k != 0 && len < ix->keylen[k]) ix->keybuf[len] = '~';
    const int32_t r = keysearch(cb, k, desc ? SRCH_LE : SRCH_GE);
    if (r > 0 && (cb->mflags & VN_MF_EXACT) && memcmp(ix->keybuf, cb->work, len) != 0) return 0;
    return r;
}

// Shared, the answer is checked as searchdoubtful says, and an exact
// search that found no equal key is doubted too: the search is then made
// again under the file lock, and what it finds stands.
int32_t searchshared(FHCB* cb) {
    const int32_t r = searchwork(cb);
    const bool exactmiss = r == 0 && (cb->mflags & VN_MF_EXACT);
    if (!exactmiss && !searchdoubtful(cb, cb->curkey, r)) return r;
    return searchagainlocked(cb) < 0 ? -1 : searchwork(cb);
}

// By the active key: the value in work is looked up as searchwork says;
// or, in substring mode, the first key holding it.
void posnkey(FHCB* cb) {
    IdxState* ix = cb->index;
    const int k = cb->curkey;
    const bool desc = cb->mflags & VN_MF_DESCEND;
    int32_t r;
    if (cb->state & VN_ST_SUBSTR) {
        memset(ix->keybuf, ' ', ix->keylen[k]);
        ix->keybuf[ix->keylen[k]] = '\0';
        r = substrscan(cb, desc ? SRCH_PREV : SRCH_NEXT);
    } else if (searchunlocked(cb)) {
        r = searchshared(cb);
    } else {
        r = searchwork(cb);
    }
    setcurrent(cb, r);
    sharedflush(cb);
}

// To the newest record of thread curkey.
void posnthread(FHCB* cb) {
    const int t = cb->curkey;
    if (!cb->threads || t < 0 || t >= cb->nthreads) {
        cb->state &= ~VN_ST_CURRENT;
        return;
    }
    if (isshared(cb) && readheads(cb) < 0) return;
    cb->threads[t].walked = 0;
    cb->threads[t].mark = cb->threads[t].head;
    setcurrent(cb, static_cast<int32_t>(cb->threads[t].head));
}

// To data record n (0 = the first), n in the first four bytes of work.
void posnphys(FHCB* cb) {
    uint32_t n;
    memcpy(&n, cb->work, 4);
    cb->state &= ~VN_ST_CURRENT;
    if (isshared(cb) && readhdrcount(cb) < 0) return;
    const int64_t rec = static_cast<int64_t>(n) + 1;
    if (rec < 1 || rec > static_cast<int64_t>(cb->nrecs) - 1) return;
    if (!(cb->fflags & VN_FF_VARLEN)) {
        setcurrent(cb, static_cast<int32_t>(cb->reclen * rec));
        return;
    }
    int32_t pos = cb->reclen;
    for (uint32_t i = 0; i < n; i++) {
        const int32_t len = storedlen(cb, pos);
        if (len < 1 || len > cb->reclen) return;
        pos += len;
    }
    setcurrent(cb, pos);
}

// A hashed file: the key value in work is looked up in the hash table; the
// record found is read into recbuf.
void posnhash(FHCB* cb) {
    if (!cb->index || cb->nkeys < 1) {
        cb->state &= ~VN_ST_CURRENT;
        return;
    }
    const size_t len = cb->index->keylen[0];
    memcpy(cb->index->keybuf, cb->work, len);
    cb->index->keybuf[len] = '\0';
    if (hshread(cb) < 0 || !(cb->hashstate & HS_FOUND)) {
        cb->state &= ~VN_ST_CURRENT;
        return;
    }
    cb->state |= VN_ST_CURRENT;
}

}  // namespace

void opposn(FHCB* cb) {
    if (fhactivate(cb) < 0) {
        cb->state &= ~VN_ST_CURRENT;
        return;
    }
    if (cb->nitems == 0) {
        cb->status = VN_C_NOTAPPLY;
        return;
    }
    if (cb->fflags & VN_FF_HASHED)
        posnhash(cb);
    else if (activekey(cb) && cb->index && cb->curkey >= 0 && cb->curkey < nindexes(cb))
        posnkey(cb);
    else if (cb->state & VN_ST_THREAD)
        posnthread(cb);
    else
        posnphys(cb);
}

void opbacksp(FHCB* cb) {
    if (fhactivate(cb) < 0) return;
    const bool key = activekey(cb);
    if (((cb->fflags & VN_FF_HASHED) && key) || (cb->state & VN_ST_THREAD)) {
        cb->status = VN_C_NOTAPPLY;
        return;
    }
    const bool current = cb->state & VN_ST_CURRENT;
    if (cb->nitems == 0) {
        if (cb->datpos <= 0)
            cb->status = VN_C_NOREC;
        else
            cb->datpos = cb->datpos > cb->reclen ? cb->datpos - cb->reclen : 0;
    } else if (!key) {
        if (cb->fflags & VN_FF_VARLEN) {
            cb->status = VN_C_VARBACK;
        } else if (current) {
            if (cb->datpos > cb->reclen)
                cb->datpos -= cb->reclen;
            else
                cb->status = VN_C_NOREC;
        } else {
            if (isshared(cb) && readhdrcount(cb) < 0) return;
            cb->datpos = static_cast<int32_t>((cb->nrecs - 1) * cb->reclen);
            cb->state |= VN_ST_CURRENT;
        }
    } else if (cb->index) {
        const bool desc = cb->mflags & VN_MF_DESCEND;
        const int mode = current ? (desc ? SRCH_STEP : SRCH_STEPBACK) : (desc ? SRCH_FIRST : SRCH_LAST);
        const int32_t r = keystep(cb, mode);
        if (r == 0) cb->status = VN_C_NOREC;
        if (r <= 0) return;
        setcurrent(cb, r);
        sharedflush(cb);
    }
}
