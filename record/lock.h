// lock.h - the file lock (byte 0 of the data file) and record locks (a
// record's status byte), taken through the OS layer for network types 1
// and 2 only, with 20 ms between attempts.
#ifndef VELNOR_RECORD_LOCK_H
#define VELNOR_RECORD_LOCK_H

#include <cstdint>

#include "velnor.h"

// Takes the file lock with tries attempts (0 counts as 1); sets flocked.
// 0, or -1 with status 'l'.
int32_t filelock(FHCB* cb, uint16_t tries);
// Clears flocked and unlocks byte 0 (result ignored).
void fileunlock(FHCB* cb);
// Takes the lock on byte pos (a record's status byte) with tries attempts
// (0 counts as 1).  0, or -1 when it stays held elsewhere.
int32_t lockwithretry(FHCB* cb, uint32_t pos, uint16_t tries);
// Drops the record lock this block holds, if any: the unlock's result.
int32_t droprecordlock(FHCB* cb);
// 1 when another handle holds the record at datpos locked, else 0.
int32_t recprobe(FHCB* cb);
// True when this block goes through the lock routines at all (a network
// type, neither exclusive nor read-only); dlock reaches the OS only for
// network types 1 and 2.
bool locking(const FHCB* cb);

#endif
