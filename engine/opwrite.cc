// opwrite.cc - operation 5: add or rewrite the record in recbuf.  A record
// is new unless its key 0 is found (or, without keys, unless the current
// record lies inside the file); new records go at the end or into a reused
// deleted slot, rewrites stay in place except variable-length records whose
// packed length changed, which are deleted and added again.  Such a move
// writes the old copy's deletion mark only after the new copy is on the
// file, so that a process killed in between leaves one copy or both (which
// PACK makes one again), never neither.
#include <cstring>

#include "engine/engine.h"
#include "definition/fid.h"
#include "engine/handles.h"
#include "record/hashrec.h"
#include "record/lock.h"
#include "record/record.h"
#include "index/btree.h"
#include "index/hash.h"
#include "index/idxfile.h"
#include "record/keyfile.h"

namespace {

// The buffers of this write, made by the engine's start.
WriteScratch& scratch() { return *enginestate().scratch; }

// Key i of record rec into the key buffer; its length.
int32_t keyof(FHCB* cb, int i, char* rec) {
    char* const save = cb->recbuf;
    cb->recbuf = rec;
    const int32_t n = bldkey(cb, i, cb->index->keybuf);
    cb->recbuf = save;
    return n;
}

// Every key but key 0 of the record at datpos: inserted for a new record;
// for a rewrite (old is the record replaced) each changed key is moved.
int32_t updatekeys(FHCB* cb, const char* old) {
    char* const oldkey = scratch().oldkey;
    char* const kb = cb->index->keybuf;
    const uint32_t pos = static_cast<uint32_t>(cb->datpos);
    for (int i = 1; i < nindexes(cb); i++) {
        if (old) {
            const int32_t n = keyof(cb, i, const_cast<char*>(old));
            memcpy(oldkey, kb, static_cast<size_t>(n) + 1);
            if (bldkey(cb, i, kb) == n && memcmp(kb, oldkey, static_cast<size_t>(n)) == 0) continue;
            memcpy(kb, oldkey, static_cast<size_t>(n) + 1);
            if (keydelete(cb, i, pos) < 0) return -1;
            bldkey(cb, i, kb);
        } else {
            bldkey(cb, i, kb);
        }
        if (keyinsert(cb, i, pos) < 0) return -1;
    }
    return 0;
}

// A new record in a keyed file: numbered when the file has record numbers,
// placed in a reused slot or at the end, and entered under key 0.
int32_t placenew(FHCB* cb, int32_t len, bool var) {
    char* const kb = cb->index->keybuf;
    if (cb->fflags & VN_FF_RECNO) {
        const char* num = tobase95(cb->nrecs, 5);
        memcpy(cb->recbuf + (var ? 5 : 1), num, 5);
        if (var) memcpy(scratch().packed + 5, num, 5);
        bldkey(cb, 0, kb);
        const int32_t r = keysearch(cb, 0, SRCH_PROBE);
        if (r < 0) return -1;
        if (r > 0) {
            cb->status = VN_CORRUPT(VN_E_IDXCORRUPT);
            return -1;
        }
    }
    uint32_t slot = 0;
    if (cb->state & VN_ST_REUSE) {
        slot = spacereuse(cb, static_cast<uint16_t>(len));
        if (slot == 0 && cb->status == VN_E_IDXCORRUPT) return -1;
    }
    if (slot > 0) {
        cb->datpos = static_cast<int32_t>(slot);
    } else {
        const int32_t end = var ? datend(cb) : static_cast<int32_t>(cb->nrecs * cb->reclen);
        if (end < 0) return -1;
        cb->datpos = end;
        cb->nrecs++;
    }
    bldkey(cb, 0, kb);
    return keyinsert(cb, 0, static_cast<uint32_t>(cb->datpos));
}

// Decides whether the write adds or rewrites, and where.  *isnew and
// *haveold (the scratch buffer old holds the record replaced) are set; a
// move sets *movedfrom to the old copy's position, still to be marked
// deleted.
int32_t locate(FHCB* cb, int32_t len, bool var, bool keys, bool* isnew, bool* haveold, int32_t* movedfrom) {
    const bool needold = nindexes(cb) > 1 || cb->nthreads > 0;
    if (!keys) {
        const int32_t end = (var || cb->nitems == 0) ? datend(cb) : static_cast<int32_t>(cb->nrecs * cb->reclen);
        if (end < 0) return -1;
        if (!(cb->state & VN_ST_CURRENT)) cb->datpos = end;
        if (cb->datpos >= end) {
            cb->nrecs++;
            *isnew = true;
        } else if (cb->nthreads > 0 && cb->nitems > 0) {
            if (readrec(cb, scratch().old) < 0) return -1;
            *haveold = true;
        }
        return 0;
    }
    bldkey(cb, 0, cb->index->keybuf);
    const int32_t r = keysearch(cb, 0, SRCH_PROBE);
    if (r < 0) return -1;
    if (r > 0) {
        cb->datpos = r;
        const int32_t stored = var ? storedlen(cb, r) : len;
        if (stored < 0) return -1;
        if (stored != len || needold) {
            const int32_t oldlen = readrec(cb, scratch().old);
            if (oldlen < 0) return -1;
            *haveold = true;
            if (stored != len) {
                if (locking(cb) && recprobe(cb)) {
                    cb->status = VN_C_RLOCKED;
                    return -1;
                }
                if (removerec(cb, r, oldlen, scratch().old, false) < 0) return -1;
                *movedfrom = r;
                *haveold = false;
                *isnew = true;
            }
        }
        if (!*isnew) return 0;
    }
    *isnew = true;
    return placenew(cb, len, var);
}

// After the record's bytes failed to reach the file at datpos: a new record
// (added) is deleted again, so that no key leads to its torn bytes; a
// record rewritten in place (restore) gets its old bytes and keys back.
// The write's status stays.
void undowrite(FHCB* cb, bool added, bool restore, int32_t len) {
    const uint8_t status = cb->status;
    if (added) removerec(cb, cb->datpos, len, cb->recbuf);
    if (restore && cb->nthreads == 0) {
        const bool var = cb->fflags & VN_FF_VARLEN;
        if (var) len = packrec(cb, scratch().old, scratch().packed);
        if (writeat(cb, cb->datpos, var ? scratch().packed : scratch().old, len) == 0) {
            char* const newbuf = scratch().undone;
            memcpy(newbuf, cb->recbuf, cb->reclen);
            char* const save = cb->recbuf;
            cb->recbuf = scratch().old;
            updatekeys(cb, newbuf);
            cb->recbuf = save;
        }
    }
    cb->status = status;
}

}  // namespace

void opwrite(FHCB* cb) {
    if (fhactivate(cb) < 0) return;
    if (cb->mflags & VN_MF_READONLY) {
        cb->status = VN_C_READONLY;
        return;
    }
    const bool key = activekey(cb);
    if ((cb->fflags & VN_FF_HASHED) && key) {
        hshwrite(cb);
        return;
    }
    const bool keys = cb->nkeys > 0 && cb->index;
    if (cb->fflags & (VN_FF_TMPIDX | 0x02)) {
        if (!keys) return;
        bldkey(cb, 0, cb->index->keybuf);
        keyinsert(cb, 0, static_cast<uint32_t>(cb->datpos));
        return;
    }
    const bool def = cb->nitems > 0;
    const bool var = def && (cb->fflags & VN_FF_VARLEN);
    const bool nodata = def && (cb->fflags & VN_FF_NODATA);
    int32_t len = cb->reclen;
    bool isnew = false;
    bool haveold = false;
    int32_t movedfrom = -1;
    if (nodata) {
        isnew = true;
        if (keys) {
            bldkey(cb, 0, cb->index->keybuf);
            if (keyinsert(cb, 0, static_cast<uint32_t>(cb->datpos)) < 0) return;
        }
    } else {
        if (def && isshared(cb)) {
            if (filelock(cb, cb->flockretry) < 0 || readhdrcount(cb) < 0) return;
            if (cb->nthreads > 0 && readheads(cb) < 0) return;
        }
        if (def) cb->recbuf[cb->reclen - 1] = '\n';
        if (var) len = packrec(cb, cb->recbuf, scratch().packed);
        if (locate(cb, len, var, keys, &isnew, &haveold, &movedfrom) < 0) return;
        if (!isnew && locking(cb) && recprobe(cb)) {
            cb->status = VN_C_RLOCKED;
            return;
        }
    }
    if (keys && updatekeys(cb, haveold ? scratch().old : nullptr) < 0) return;
    cb->state |= VN_ST_DIRTY;
    const int32_t pos = cb->datpos;
    bool changed = false;
    if (!nodata) {
        if (def && cb->nthreads > 0 && cb->threads) {
            if (threadupdate(cb, pos, cb->recbuf, haveold ? scratch().old : nullptr, &changed) < 0) return;
            if (var) len = packrec(cb, cb->recbuf, scratch().packed);
        }
        if (writeat(cb, pos, var ? scratch().packed : cb->recbuf, len) < 0) {
            undowrite(cb, isnew && def && keys, haveold && def && keys && !changed, len);
            return;
        }
        if (movedfrom >= 0 && writeat(cb, movedfrom, deletemark, 1) < 0) return;
    }
    if (!def) {
        cb->datpos += len;
        return;
    }
    cb->state |= VN_ST_CURRENT;
    if (isnew && isshared(cb) && writehdrcount(cb) < 0) return;
    if (key && cb->index) bldkey(cb, cb->curkey, cb->index->keybuf);
    movenext(cb, len);
    if (changed && isshared(cb) && writeheads(cb) < 0) return;
    sharedflush(cb);
    fileunlock(cb);
}
