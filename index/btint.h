// btint.h - what the search, insert and delete of the B-tree share: the
// positioned search that leaves the key buffer alone, the checked page
// read, and the limits of an index's key order.
#ifndef VELNOR_INDEX_BTINT_H
#define VELNOR_INDEX_BTINT_H

#include <cstdint>

#include "velnor.h"

// Positions the cursor of index for the key in the key buffer (modes 1-5,
// 18, 19).  With resume the search starts in the leaf the cursor holds.
// 1 found (cursor slot), 0 none, -1 failure.
int32_t btfind(FHCB* cb, int index, int mode, bool resume);

// Reads page into the image of index and makes it the cursor's page: it
// must lie inside the file, belong to index and hold 1..cap entries, else
// status 28.  0, or -1 (the cursor then has no page).
int32_t btreadpage(FHCB* cb, int index, uint32_t page);

// Status 28: a page that cannot be part of this index.
inline int32_t btcorrupt(FHCB* cb) {
    cb->status = VN_E_IDXCORRUPT;
    return -1;
}

// An operation that failed in the page cache reports the cache's cause
// (23 read, 24 write, 30 lock), so the failure is never mistaken for
// success.  Passes r on.
int32_t btstatus(FHCB* cb, int32_t r);

// Fills the key buffer with the lowest or highest key of index.
void keylimit(FHCB* cb, int index, bool highest);

#endif
