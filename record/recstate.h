// recstate.h - the record layer's part of the runtime object: the scratch
// buffers of one operation.  The engine serves one thread and one operation
// at a time, so one of each does.
#ifndef VELNOR_RECORD_RECSTATE_H
#define VELNOR_RECORD_RECSTATE_H

#include "record/record.h"
#include "support/limits.h"
#include "support/runtime.h"

struct RecordState : RuntimePart {
    char raw[REC_MAX];            // a record's stored bytes before unpacking
    char heads[REC_MAX];          // the header record being written
    char chain[REC_MAX];          // a record met on a thread's chain
    char checked[REC_MAX];        // a record a shared search found, read to check its key
    char checkedkey[FH_KEYSIZE];  // the key built from it
};

// The record layer's part: made by the engine's start (or on first use),
// dropped by the real shutdown.  Throws std::bad_alloc when it cannot be
// made.
RecordState& recstate();

#endif
