// btint.h - what the search, insert and delete of the B-tree share: the
// positioned search that leaves the key buffer alone, the checked page
// read, and the limits of an index's key order.
#ifndef VELNOR_INDEX_BTINT_H
#define VELNOR_INDEX_BTINT_H

#include <cstdint>

#include "index/idxctx.h"

// Positions the cursor of index for the key in the key buffer (modes 1-5,
// 18, 19).  With resume the search starts in the leaf the cursor holds.
// *found true when it found an entry (cursor slot).  0, or a status.
int32_t btfind(IdxFile& f, int index, int mode, bool resume, bool* found);

// Reads page into the image of index and makes it the cursor's page: it
// must lie inside the file, belong to index and hold 1..cap entries, else
// VN_E_IDXCORRUPT.  0, or a status (the cursor then has no page).
int32_t btreadpage(IdxFile& f, int index, uint32_t page);

// Fills the key buffer with the lowest or highest key of index.
void keylimit(const IdxFile& f, int index, bool highest);

#endif
