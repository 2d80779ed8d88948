// idxpage.h - the layout of one tree page: kind, count and owning index in
// the first three bytes, then cap 4-byte pointers, then cap keys of k bytes.
// The free-space list pages share the file but have their own layout.
#ifndef VELNOR_INDEX_IDXPAGE_H
#define VELNOR_INDEX_IDXPAGE_H

#include <cstdint>

#include "index/lebytes.h"

enum {
    PG_KIND = 0,   // 2 leaf, 1 inner; only bit 0x02 is tested
    PG_COUNT = 1,  // entries in use
    PG_OWNER = 2,  // index number owning the page
    PG_PTRS = 4,   // first pointer
    PG_LEAF = 2,
    PG_INNER = 1
};

// Free-space list page: next page, entry count, then 6-byte entries.
enum { SP_NEXT = 0, SP_COUNT = 4, SP_ENTRIES = 6, SP_ENTRYSIZE = 6 };

inline bool pgisleaf(const uint8_t* img) { return (img[PG_KIND] & 0x02) != 0; }

inline uint32_t pgptr(const uint8_t* img, unsigned i) { return getle32(img + PG_PTRS + 4 * i); }

inline void pgsetptr(uint8_t* img, unsigned i, uint32_t v) { putle32(img + PG_PTRS + 4 * i, v); }

// Key i of a page of an index with cap entries of k bytes.
inline uint8_t* pgkey(uint8_t* img, unsigned cap, unsigned k, unsigned i) {
    return img + PG_PTRS + 4 * cap + k * i;
}
inline const uint8_t* pgkey(const uint8_t* img, unsigned cap, unsigned k, unsigned i) {
    return img + PG_PTRS + 4 * cap + k * i;
}

#endif
