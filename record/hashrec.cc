// hashrec.cc - finding, writing and deleting the records of a hashed file
// by their primary key through the hash table (open addressing, double
// hashing; a deleted record keeps its slot so probe chains stay whole).
#include "record/hashrec.h"

#include "definition/keys.h"
#include "record/lock.h"
#include "record/record.h"
#include "definition/definition.h"
#include "index/btree.h"
#include "index/hash.h"
#include "index/idxfile.h"
#include "support/os.h"
#include "record/keyfile.h"
#include "support/runtime.h"

namespace {

enum { KEYMAX = 256 };

int32_t dat(const FHCB* cb) { return static_cast<int32_t>(cb->datfd); }

// Reads the record at datpos into recbuf.  A record another process holds
// locked is read from its second byte on, its status byte taken as blank.
bool readrecord(FHCB* cb) {
    int32_t n = cb->reclen;
    if (isshared(cb) && recprobe(cb) == 1) {
        cb->recbuf[0] = ' ';
        return osseek(dat(cb), cb->datpos + 1, 0) >= 0 &&
               osread(dat(cb), cb->recbuf + 1, static_cast<uint32_t>(n - 1)) == n - 1;
    }
    return osseek(dat(cb), cb->datpos, 0) >= 0 &&
           osread(dat(cb), cb->recbuf, static_cast<uint32_t>(n)) == n;
}

bool locktaken(FHCB* cb) { return !isshared(cb) || filelock(cb, cb->flockretry) == 0; }

void unlock(FHCB* cb) {
    if (isshared(cb)) fileunlock(cb);
}

// Builds key 0 of recbuf into the key buffer; false without a key buffer.
bool primarykey(FHCB* cb) {
    if (cb->index == nullptr || cb->index->keybuf == nullptr) return false;
    bldkey(cb, 0, cb->index->keybuf);
    return true;
}

// Ends a probe that went round visited occupied slots without meeting its
// key: -1 with a status.  Each slot points at a record of its own, so a
// table whose data file holds fewer records than that is damaged, not
// full.  Kept out of line, away from the probe's loop.
[[gnu::noinline]] int32_t wrapped(FHCB* cb, int32_t saved, uint32_t visited) {
    cb->datpos = saved;
    if (isshared(cb) && readhdrcount(cb) < 0) return -1;
    if (cb->nrecs > visited) return fhfail(cb, VN_E_HSHFULL);
    return fhfail(cb, VN_CORRUPT(VN_E_HSHCORRUPT));
}

}  // namespace

int32_t hshprobe(FHCB* cb) {
    cb->hashstate &= static_cast<uint8_t>(~HS_FOUND);
    uint32_t t = cb->hashrecs;
    if (cb->index == nullptr || cb->index->keybuf == nullptr || t == 0)
        return fhfail(cb, VN_E_HSHREAD);
    const char* want = cb->index->keybuf;
    uint32_t h, d;
    hshkey(want, t, hshclass(cb->hashstate), &h, &d);
    int32_t saved = cb->datpos;
    int64_t slot = h;
    char key[KEYMAX + 8];
    const IdxFile table = indexof(cb);
    for (uint32_t visited = 0;;) {
        uint32_t pos = hshslotread(table, static_cast<uint32_t>(slot));
        if (pos == 0) {
            cb->datpos = saved;
            return static_cast<int32_t>(slot);
        }
        cb->datpos = static_cast<int32_t>(pos);
        if (!readrecord(cb)) {
            cb->datpos = saved;
            return fhfail(cb, VN_E_DATREAD);
        }
        bldkey(cb, 0, key);
        if (keycmp(table, 0, key, want) == 0) {
            cb->hashstate |= HS_FOUND;
            osseek(dat(cb), cb->datpos, 0);
            return static_cast<int32_t>(slot);
        }
        slot -= d;
        if (slot < 0) slot += t;
        // Back at the first slot (or t slots on), every slot the key can
        // reach holds another key.
        if (++visited == t || slot == h) [[unlikely]]
            return wrapped(cb, saved, visited);
    }
}

int32_t hshread(FHCB* cb) {
    if (!locktaken(cb)) return -1;
    int32_t slot = hshprobe(cb);
    if (slot >= 0 && (cb->hashstate & HS_FOUND) && cb->recbuf[0] == 'D')
        cb->hashstate &= static_cast<uint8_t>(~HS_FOUND);
    unlock(cb);
    return slot < 0 ? -1 : 0;
}

int32_t hshwrite(FHCB* cb) {
    if (!primarykey(cb)) return fhfail(cb, VN_E_HSHREAD);
    char* record = cb->recbuf;
    char* scratch = static_cast<char*>(globalmalloc(cb->reclen + 8u));
    if (scratch == nullptr) return fhfail(cb, VN_E_MEMORY);
    if (!locktaken(cb) || (isshared(cb) && readhdrcount(cb) != 0)) {
        globalmfree(scratch);
        unlock(cb);
        return -1;
    }
    cb->recbuf = scratch;
    int32_t slot = hshprobe(cb);
    cb->recbuf = record;
    globalmfree(scratch);
    cb->state |= VN_ST_DIRTY;
    if (slot < 0) {
        unlock(cb);
        return -1;
    }
    const bool isnew = !(cb->hashstate & HS_FOUND);
    if (isnew) {
        cb->datpos = static_cast<int32_t>(cb->nrecs * cb->reclen);
        cb->nrecs++;
        if (takestatus(cb, hshslotwrite(indexof(cb), static_cast<uint32_t>(slot), static_cast<uint32_t>(cb->datpos))) != 0 ||
            (isshared(cb) && writehdrcount(cb) != 0)) {
            unlock(cb);
            return -1;
        }
    }
    if (osseek(dat(cb), cb->datpos, 0) < 0 || oswrite(dat(cb), cb->recbuf, cb->reclen) != cb->reclen) {
        // A new record that did not reach the file whole is marked deleted,
        // so that its slot does not lead to torn bytes.
        if (isnew) oswriteat(dat(cb), deletemark, 1, static_cast<uint32_t>(cb->datpos));
        unlock(cb);
        return fhfail(cb, VN_E_DATWRITE);
    }
    osseek(dat(cb), cb->datpos, 0);
    cb->hashstate |= HS_FOUND;
    unlock(cb);
    return 0;
}

int32_t hshdelete(FHCB* cb) {
    if (!primarykey(cb)) return fhfail(cb, VN_E_HSHREAD);
    if (!locktaken(cb)) return -1;
    int32_t slot = hshprobe(cb);
    if (slot < 0 || !(cb->hashstate & HS_FOUND)) {
        unlock(cb);
        return slot < 0 ? -1 : fhfail(cb, VN_C_NOTFOUND);
    }
    if (osseek(dat(cb), cb->datpos, 0) < 0 || oswrite(dat(cb), deletemark, 1) != 1) {
        unlock(cb);
        return fhfail(cb, VN_E_DATWRITE);
    }
    cb->hashstate &= static_cast<uint8_t>(~HS_FOUND);
    cb->state |= VN_ST_DIRTY;
    unlock(cb);
    return 0;
}
