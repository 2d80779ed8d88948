// definition.h - the tables a loaded file definition hangs off the command
// block (items, keys with their segments, threads), and the sharing test.
// The index layer compares and builds keys from them; the engine loads,
// saves and uses them, so they live below both.
#ifndef VELNOR_DEFINITION_DEFINITION_H
#define VELNOR_DEFINITION_DEFINITION_H

#include <cstdint>

#include "velnor.h"

enum { FID_MAXSEGS = 18, FID_EXPRLEN = 56 };

// Segment flags.
enum {
    SEG_DESCEND = 0x01,  // descending
    SEG_NUMERIC = 0x02,  // compared as decimal numbers
    SEG_CASE = 0x04,     // case-sensitive text
    SEG_BINARY = 0x08,   // compared as bytes
    SEG_INTEGER = 0x10   // compared as 32-bit integers
};

struct FidItem {
    char* name;       // owned, global memory
    char type;        // item type letter
    char just;        // justification letter; 'R' right-justified
    uint16_t offset;  // 1-based: indexes recbuf directly
    uint16_t length;  // bytes in one occurrence
    uint16_t occurs;  // occurrence k starts at offset + k * length
    uint16_t order;   // entry i: index of the i-th item in name order
};

struct FidSeg {
    uint16_t segoff;  // 0-based offset after the status byte
    uint8_t seglen;
    uint8_t segflags;
};

struct FidKey {
    char* name;      // owned; null for a temporary index
    uint8_t keylen;  // total length, adjusted at load
    uint8_t nsegs;   // at most 18
    FidSeg seg[FID_MAXSEGS];
};

struct FidThread {
    uint16_t thoff;  // 1-based offset of the link item
    char expr[FID_EXPRLEN];
    uint32_t head;   // newest record of the thread, 0 = empty
    uint32_t walked; // steps along the thread since the walk began at head
    uint32_t mark;   // a record the walk has passed (see threadstep)
};

// Shared: nettype non-zero and not exclusive.  A shared file is re-read
// and locked on every operation; an unshared one trusts what it holds.
inline bool isshared(const FHCB* cb) {
    return cb->nettype != 0 && !(cb->mflags & VN_MF_EXCLUSIVE);
}

// How a step on a block fails: the block's status set, -1 returned.  A
// step that found the file damaged passes VN_CORRUPT(status), which also
// records where (support/runtime.h).
inline int32_t fhfail(FHCB* cb, uint8_t status) {
    cb->status = status;
    return -1;
}

#endif
