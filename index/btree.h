// btree.h - search, insert and delete in the B-trees of an index file, and
// the key comparison that orders them.
#ifndef VELNOR_INDEX_BTREE_H
#define VELNOR_INDEX_BTREE_H

#include <cstdint>

#include "index/idxctx.h"

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
    SRCH_STEP = 19,      // next, as 2
    // Equal, asked by a write before it inserts the key: a miss between
    // two entries of a leaf ends there instead of looking on in the next
    // leaf, so that the insert resumes in the leaf it goes into.  Found
    // or not, the answer is equal's.
    SRCH_PROBE = 20
};

// The order of two keys of index: -1, 0 or 1.
int keycmp(const IdxFile& f, int index, const char* a, const char* b);
// n when keycmp of index orders every pair of keys as a memcmp of their first
// n bytes does (every part ascending bytes, the primary tail too), else 0.
unsigned keyflatlen(const IdxFile& f, int index);

// Search, insert and delete work on the key in f.state's key buffer and
// return 0 or a status, as idxctx.h says: VN_E_IDXCORRUPT for a page that
// cannot be part of the index, the marked cause of a page cache failure,
// VN_E_IDXREAD or VN_E_IDXWRITE for the shared header.

// The record position of the entry found in *pos (0 for none); its key is
// copied into the key buffer.
int32_t idxsearch(IdxFile& f, int index, int mode, uint32_t* pos);
int32_t idxinsert(IdxFile& f, int index, uint32_t pos);
// VN_E_INDEX when no entry has that key and position.
int32_t idxdelete(IdxFile& f, int index, uint32_t pos);

#endif
