// filectl.cc - operations 3 (close), 9 (secure), 11 (position at the end)
// and 19 (set the active key).
#include "engine/engine.h"
#include "definition/fid.h"
#include "engine/fileutil.h"
#include "engine/handles.h"
#include "record/lock.h"
#include "record/record.h"
#include "index/idxfile.h"
#include "index/pagecache.h"
#include "support/os.h"
#include "support/ossync.h"
#include "record/keyfile.h"

namespace {

// An unshared (or exclusive) file keeps its header count and thread heads in
// the block; this writes them when they changed, and puts the data writes
// still held in memory on the file, ahead of the index pages.
void writeheader(FHCB* cb) {
    const bool counted = (cb->state & VN_ST_DIRTY) && cb->nitems > 0 && !(cb->fflags & VN_FF_NODATA);
    if (counted && writehdrcount(cb) == 0 && cb->nthreads > 0 && cb->threads != nullptr) writeheads(cb);
    if (osdrain() < 0 && cb->status == 0) cb->status = VN_E_DATWRITE;
}

// Keeps the first failure's status across later steps.
struct FirstStatus {
    uint8_t value = 0;
    void note(const FHCB* cb) {
        if (value == 0) value = cb->status;
    }
};

// Releases what the block holds in memory once it has left the list.
void forget(FHCB* cb) {
    fhdropfid(cb);
    if (cb->work != nullptr) globalmfree(cb->work);
    cb->work = nullptr;
}

}  // namespace

void opclose(FHCB* cb) {
    if (fhactivate(cb) != 0) {
        // A file that cannot be reopened from limbo still leaves the list,
        // so that no node outlives its block; the status says why.  Its
        // index state is dropped unwritten: there is no handle to write to.
        if (cb->status != VN_E_REUSE) {
            uint8_t status = cb->status;
            cb->index = nullptr;
            fhleave(cb);
            forget(cb);
            cb->status = status;
        }
        return;
    }
    fileunlock(cb);
    if (cb->lockpos != 0) udlock(cb, cb->lockpos);
    cb->lockpos = 0;
    FirstStatus first;
    if (!isshared(cb)) writeheader(cb);
    first.note(cb);
    if (cb->index != nullptr) {
        if (keyfileclose(cb) != 0 && cb->status == 0) cb->status = VN_E_IDXCLOSE;
        cb->index = nullptr;
        first.note(cb);
    }
    fhleave(cb);
    first.note(cb);
    forget(cb);
    cb->status = first.value;
}

void opsecure(FHCB* cb) {
    if (!(cb->state & VN_ST_DIRTY) || cb->nitems == 0) return;
    if (fhactivate(cb) != 0) return;
    if (filelock(cb, cb->flockretry) != 0) return;
    // A step that fails sets the status and keeps the header marked dirty,
    // so that the next secure or the close writes it again.
    const bool shared = isshared(cb);
    if (!shared) {
        writeheader(cb);
        if (cb->index != nullptr) {
            if (pgclean(cb->idxfd) != 0 && cb->status == 0) cb->status = VN_E_IDXWRITE;
            keyhdrwrite(cb);
        }
    } else if (cb->index != nullptr && pgflush(cb->idxfd) != 0 && cb->status == 0) {
        cb->status = VN_E_IDXWRITE;
    }
    // What was secured must outlive a power cut, not only this process:
    // the data and the key file go to the disk, and a sync that fails
    // fails the secure.  A transient copy is synced when it takes its
    // place instead.
    const OpenFile* node = fhnode(cb);
    const bool durable = node == nullptr || !node->transient;
    if (durable && cb->datfd != 0 && ossync(static_cast<int32_t>(cb->datfd)) != 0 && cb->status == 0)
        cb->status = VN_E_DATWRITE;
    if (durable && cb->idxfd != 0 && ossync(static_cast<int32_t>(cb->idxfd)) != 0 && cb->status == 0)
        cb->status = cb->index != nullptr ? VN_E_IDXWRITE : VN_E_HSHWRITE;
    // Nobody else writes an unshared file, so its handles, its map and its
    // cached pages still hold what the file does: closing them would only
    // make the next operation read it all back.  A shared file closes its
    // handles (the handle flush never counts as committed), to be reopened
    // by the next operation.
    if (shared && (cb->datfd == 0 || fhclopen(cb->datfd) != 0)) {
        fileunlock(cb);
        fhpark(cb);
    }
    if (cb->status == 0) cb->state &= static_cast<uint16_t>(~VN_ST_DIRTY);
    fileunlock(cb);
}

void opend(FHCB* cb) {
    if (fhactivate(cb) != 0) return;
    bool active = activekey(cb);
    if ((active && (cb->fflags & VN_FF_HASHED)) || (cb->state & VN_ST_THREAD)) {
        cb->status = VN_C_NOTAPPLY;
        return;
    }
    if (active) {
        if (cb->fflags & VN_FF_VARLEN) {
            cb->status = VN_C_NOTAPPLY;
            return;
        }
        if (isshared(cb) && readhdrcount(cb) != 0) return;
        cb->datpos = static_cast<int32_t>(static_cast<uint32_t>(cb->reclen) * cb->nrecs);
        cb->state |= VN_ST_CURRENT;
        return;
    }
    cb->datpos = osseek(static_cast<int32_t>(cb->datfd), 0, 2);
}

void opsetkey(FHCB* cb) {
    if (cb->nkeys <= 0) {
        cb->status = VN_C_NOTAPPLY;
        return;
    }
    if (cb->reqkey > cb->nkeys || cb->reqkey < 0) {
        cb->status = VN_E_KEYNO;
        return;
    }
    bool recno = cb->fflags & VN_FF_RECNO;
    if (cb->reqkey == 0) {
        cb->fflags |= VN_FF_NOKEY;
        cb->curkey = 0;
        return;
    }
    cb->fflags &= static_cast<uint8_t>(~VN_FF_NOKEY);
    cb->curkey = static_cast<int8_t>(cb->reqkey + (recno ? 1 : 0) - 1);
    if (cb->index == nullptr || cb->index->keybuf == nullptr || cb->recbuf == nullptr || cb->keys == nullptr)
        return;
    // The current record's key, raised by one in its last byte so that the
    // next step moves past it.
    bldkey(cb, cb->curkey, cb->index->keybuf);
    if (cb->mflags & VN_MF_STAY) return;
    int entry = cb->curkey - (recno ? 1 : 0);
    if (entry < 0) entry = 0;
    unsigned keylen = cb->keys[entry].keylen;
    if (keylen > 0) cb->index->keybuf[keylen - 1]++;
}
