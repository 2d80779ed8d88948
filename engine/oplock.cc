// oplock.cc - operations 13 (lock the current record) and 14 (unlock it):
// one record lock per block, on the record's status byte.
#include "engine/engine.h"
#include "engine/handles.h"
#include "record/lock.h"

void oprlock(FHCB* cb) {
    if (fhactivate(cb) != 0) return;
    if (!locking(cb) || cb->nitems == 0) return;
    droprecordlock(cb);
    if (!(cb->state & VN_ST_CURRENT) || cb->datpos == 0) return;
    uint32_t pos = static_cast<uint32_t>(cb->datpos);
    if (lockwithretry(cb, pos, cb->rlockretry) != 0) {
        cb->status = VN_C_RLOCKED;
        return;
    }
    cb->lockpos = pos;
}

void oprunlock(FHCB* cb) {
    if (fhactivate(cb) != 0) return;
    if (!locking(cb) || cb->nitems == 0 || cb->lockpos == 0) return;
    if (droprecordlock(cb) != 0) cb->status = VN_E_UNLOCK;
}
