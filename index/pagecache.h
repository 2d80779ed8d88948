// pagecache.h - the library-wide 128-slot write-back cache of index pages.
// Pages are identified by (file handle, page number); the tree code works on
// its cursor's page image, and the cache copies whole pages to and from it.
#ifndef VELNOR_INDEX_PAGECACHE_H
#define VELNOR_INDEX_PAGECACHE_H

#include <cstdint>

#include "velnor.h"

enum { PGCACHE_SLOTS = 128 };

// Cause of the last cache failure: 9, 23, 24 or 30.
extern int32_t cacheerror;

int32_t pgcacheinit();
void pgcachefree();
int32_t pglookup(uint32_t file, uint32_t page);
int32_t pgput(FHCB* cb, int index, uint32_t page, int look);
int32_t pgread(FHCB* cb, int index, uint32_t page);
int32_t pgwrite(FHCB* cb, int index, uint32_t page);
int32_t pgflush(FHCB* cb);
int32_t pgwriteback(int slot);

#endif
