// handles.h - the open-file list: every open command block, its age, and
// whether its OS handles are open or parked in limbo.
#ifndef VELNOR_ENGINE_HANDLES_H
#define VELNOR_ENGINE_HANDLES_H

#include <cstdint>

#include "velnor.h"

struct OpenFile {
    uint16_t mode;       // 1 open, 2 in limbo
    uint32_t datsave;    // data file position saved when parked
    uint32_t idxsave;    // index or hash file position saved when parked
    uint32_t openflags;  // OS open mode of the first open
    uint16_t age;        // operations on other files since last use
    bool transient;      // a new copy that takes another file's place (fhsettransient)
    FHCB* owner;
    OpenFile* next;
};

enum { OF_OPEN = 1, OF_LIMBO = 2 };

// Appends a node for cb (mode open).  0, or -1 with status 9 (both handles
// closed).
int32_t fhenter(FHCB* cb, uint32_t openflags);
// Ages the list and reopens cb from limbo.  0, or -1 with status 11, 1, 21
// or 31.
int32_t fhactivate(FHCB* cb);
// Closes cb's handles if open and removes its node.  0, or -1 (5 or 25).
int32_t fhleave(FHCB* cb);
// Parks cb in limbo without writing its header (vfhlimbo, operation 9).
int32_t fhpark(FHCB* cb);
// The node of cb, or null.
OpenFile* fhnode(const FHCB* cb);
// Marks cb's files, just created, as a new copy that will take the place
// of other files only by osreplace, which syncs each file before its
// rename: a crash before then leaves the old files, so a secure of cb
// writes what it always writes but need not wait for the disk.  Cleared
// when the block is opened or created again.
void fhsettransient(FHCB* cb);
// Open with up to 10 attempts, parking the least recently used file after
// each failure and waiting 20 ms from the second attempt on.  Handle or -1.
int32_t lruopen(const char* path, uint32_t flags, uint32_t perm);

#endif
