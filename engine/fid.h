// fid.h - file definitions: the item, key and thread tables a ".fid" file
// (text "TKF FID v7.0" or binary version 608) is loaded into, hung off the
// command block.
#ifndef VELNOR_ENGINE_FID_H
#define VELNOR_ENGINE_FID_H

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
};

// Loads the definition named by cb->fidname into cb.  0, or -1 with status.
int32_t loadfid(FHCB* cb);
// Frees the tables (not the pointers' values); nothing when items is null.
void freefid(FHCB* cb);

#endif

// Writers of a loaded definition, so that loadfid reads back the same
// tables.  The binary form (version 608) holds items, keys and threads;
// item and key names must fit 10 bytes.  The text form ("TKF FID v7.0")
// cannot hold threads.  0, or -1 when the definition does not fit the form
// or the file cannot be written.
int32_t savefidbin(const FHCB* cb, const char* path);
int32_t savefidtext(const FHCB* cb, const char* path);

// Appends a thread on the link item called item (upper-cased, as the binary
// loader looks it up) with the selection expression expr (at most 55
// characters).  0, or -1 with status 7 (unknown item or expression too
// long), 41, 42 or 9.
int32_t fidaddthread(FHCB* cb, const char* item, const char* expr);
