// lock.cc - the file lock (byte 0 of the data file) and record locks (the
// record's status byte): one-byte OS locks on the block's own data handle,
// retried with 20 ms busy waits.
#include "record/lock.h"

#include "index/idxfile.h"
#include "support/os.h"

namespace {

constexpr uint32_t kRetryWaitMs = 20;

// Network types whose locks reach the OS.
bool oslocking(const FHCB* cb) { return cb->nettype == 1 || cb->nettype == 2; }

}  // namespace

// Locking applies to a block with a network type and neither exclusive nor
// read-only; whether a byte really gets locked is dlock's business (network
// types 1 and 2 only).
bool locking(const FHCB* cb) {
    return cb->nettype != 0 && !(cb->mflags & (VN_MF_EXCLUSIVE | VN_MF_READONLY));
}

int32_t droprecordlock(FHCB* cb) {
    if (cb->lockpos == 0) return 0;
    int32_t r = udlock(cb, cb->lockpos);
    cb->lockpos = 0;
    return r;
}

int32_t lockwithretry(FHCB* cb, uint32_t pos, uint16_t tries) {
    unsigned n = tries == 0 ? 1u : tries;
    for (unsigned i = 0; i < n; i++) {
        if (dlock(cb, pos) == 0) return 0;
        if (i + 1 < n) osbusywait(kRetryWaitMs);
    }
    return -1;
}

int32_t filelock(FHCB* cb, uint16_t tries) {
    if (!locking(cb)) return 0;
    if (lockwithretry(cb, 0, tries) != 0) {
        cb->status = VN_C_FLOCKED;
        return -1;
    }
    cb->flocked = 1;
    // Only a lock the OS holds keeps other processes from the index.
    if (oslocking(cb) && cb->index != nullptr) cb->index->lockepoch = idxlockepoch();
    return 0;
}

void fileunlock(FHCB* cb) {
    cb->flocked = 0;
    idxlockends();
    if (locking(cb) && cb->datfd != 0) udlock(cb, 0);
}

int32_t recprobe(FHCB* cb) {
    if (!locking(cb)) return 0;
    uint32_t pos = static_cast<uint32_t>(cb->datpos);
    if (pos == 0 || pos == cb->lockpos || !oslocking(cb)) return 0;
    return osprobe(static_cast<int32_t>(cb->datfd), pos, 1);
}

extern "C" VELNOR_API int32_t VELNOR_CALL dlock(FHCB* cb, uint32_t pos) {
    if (cb == nullptr) return -1;
    if (!oslocking(cb)) return 0;
    return oslock(static_cast<int32_t>(cb->datfd), pos, 1) == 0 ? 0 : -1;
}

extern "C" VELNOR_API int32_t VELNOR_CALL udlock(FHCB* cb, uint32_t pos) {
    if (cb == nullptr) return -1;
    if (!oslocking(cb)) return 0;
    return osunlock(static_cast<int32_t>(cb->datfd), pos, 1) == 0 ? 0 : -1;
}
