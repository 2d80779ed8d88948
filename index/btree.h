// btree.h - search, insert and delete in the B-trees of an index file, and
// the key comparison that orders them.
#ifndef VELNOR_INDEX_BTREE_H
#define VELNOR_INDEX_BTREE_H

#include <cstdint>

#include "velnor.h"

// Search modes.
enum {
    SRCH_EQUAL = 1,
    SRCH_NEXT = 2,
    SRCH_PREV = 3,
    SRCH_GE = 4,
    SRCH_LE = 5,
    SRCH_FIRST = 16,
    SRCH_LAST = 17,
    SRCH_STEPBACK = 18,  // previous, as 3
    SRCH_STEP = 19       // next, as 2
};

// The order of two keys of index: -1, 0 or 1.
int keycmp(FHCB* cb, int index, const char* a, const char* b);
// n when keycmp of index orders every pair of keys as a memcmp of their first
// n bytes does (every part ascending bytes, the primary tail too), else 0.
unsigned keyflatlen(const FHCB* cb, int index);
// Record position (> 0), 0 for none, or -1 with status.
int32_t idxsearch(FHCB* cb, int index, int mode);
int32_t idxinsert(FHCB* cb, int index, uint32_t pos);
int32_t idxdelete(FHCB* cb, int index, uint32_t pos);

#endif
