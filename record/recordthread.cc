// recordthread.cc - thread chains: each thread links its records newest
// first through a b95-4 link item, with the newest record's position kept
// as the thread's head in the data file header.
#include <cstring>

#include "definition/fid.h"
#include "record/record.h"
#include "record/recstate.h"
#include "record/thread.h"

namespace {

// Rewrites the link of the record at pos, held unpacked in rec, in place:
// only the four link bytes change on disk.
int32_t writelink(FHCB* cb, int32_t pos, const char* rec, int32_t thoff, const char* link) {
    int32_t at = thoff;
    if (cb->fflags & VN_FF_VARLEN) {
        at = packedoffset(cb, rec, thoff);
        if (at < 0) {
            cb->status = VN_E_DATREAD;
            return -1;
        }
    }
    return writeat(cb, pos + at, link, 4);
}

}  // namespace

int64_t chainlimit(FHCB* cb) {
    if (cb->fflags & VN_FF_VARLEN) {
        const int32_t end = datend(cb);
        return end < 0 ? 0 : end / 6 + 1;
    }
    return static_cast<int64_t>(cb->nrecs) + 1;
}

void threadstep(FHCB* cb) {
    const int t = cb->curkey;
    if (!cb->threads || t < 0 || t >= cb->nthreads) {
        cb->state &= ~VN_ST_CURRENT;
        return;
    }
    FidThread& th = cb->threads[t];
    const int32_t off = th.thoff;
    const int32_t next = off + 4 <= cb->reclen ? static_cast<int32_t>(frombase95(cb->recbuf + off, 4)) : 0;
    cb->datpos = next;
    if (next == 0) {
        cb->state &= ~VN_ST_CURRENT;
        return;
    }
    // A thread passes each record once.  Unshared, the record met at each
    // power-of-two step is marked, and meeting it again means a damaged
    // chain going round: found within twice the loop and its lead-in.
    // Shared, another program may relink records under the walk, so only
    // more steps than the file holds records end it.
    if (!isshared(cb)) {
        if (next == static_cast<int32_t>(th.mark)) {
            cb->status = VN_E_DATREAD;
            cb->state &= ~VN_ST_CURRENT;
            return;
        }
        const uint32_t steps = ++th.walked;
        if ((steps & (steps - 1)) == 0) th.mark = static_cast<uint32_t>(next);
        return;
    }
    if (++th.walked < cb->nrecs || (readhdrcount(cb) == 0 && th.walked < chainlimit(cb))) return;
    if (cb->status == 0) cb->status = VN_E_DATREAD;
    cb->state &= ~VN_ST_CURRENT;
}

int32_t threadunlink(FHCB* cb, int t, int32_t pos, const char* rec, bool* changed) {
    FidThread& th = cb->threads[t];
    const char* link = rec + th.thoff;
    if (static_cast<int32_t>(th.head) == pos) {
        th.head = frombase95(link, 4);
        *changed = true;
        return 0;
    }
    char* const chain = recstate().chain;
    int32_t cur = static_cast<int32_t>(th.head);
    for (int64_t n = chainlimit(cb); cur > 0 && n > 0; n--) {
        if (readrecat(cb, cur, chain) < 0) return -1;
        const int32_t next = static_cast<int32_t>(frombase95(chain + th.thoff, 4));
        if (next == pos) return writelink(cb, cur, chain, th.thoff, link);
        cur = next;
    }
    if (cur <= 0) return 0;
    cb->status = VN_E_DATREAD;  // the chain goes round without ending
    return -1;
}

int32_t threadupdate(FHCB* cb, int32_t pos, char* rec, const char* old, bool* changed) {
    for (int t = 0; t < cb->nthreads; t++) {
        FidThread& th = cb->threads[t];
        if (th.thoff + 4 > cb->reclen) continue;
        const int in = threadtest(cb, rec, t);
        const int wasin = old ? threadtest(cb, old, t) : 0;
        if (in < 0 || wasin < 0) return -1;
        char* link = rec + th.thoff;
        if (in && !wasin) {
            memcpy(link, tobase95(th.head, 4), 4);
            th.head = static_cast<uint32_t>(pos);
            *changed = true;
        } else if (in) {
            memcpy(link, old + th.thoff, 4);
        } else {
            if (wasin && threadunlink(cb, t, pos, old, changed) < 0) return -1;
            memcpy(link, "    ", 4);
        }
    }
    return 0;
}
