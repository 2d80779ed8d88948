// btdelete.cc - deleting a key: the entry with that key and record position
// is removed; pages are never merged, an emptied page is freed and its
// entry removed from the parent, and a leaf's new highest key is carried to
// the nearest ancestor that steers by it.
#include <cstring>

#include "index/btint.h"
#include "index/btree.h"
#include "definition/definition.h"
#include "velnor.h"
#include "index/idxfile.h"
#include "index/idxpage.h"
#include "index/pagecache.h"
#include "support/runtime.h"

namespace {

// Removes the entry at the cursor's slot.
int32_t removeat(IdxFile& f, int index) {
    IdxState* st = f.state;
    IdxCursor& c = st->cursor[index];
    unsigned cap = c.cap, k = st->keylen[index];
    for (;;) {
        uint8_t* img = c.img;
        unsigned count = img[PG_COUNT], slot = c.slot;
        if (slot >= count) return VN_CORRUPT(VN_E_IDXCORRUPT);
        if (count == 1) {
            if (const int32_t r = pagefree(f, index, c.page)) return r;
            if (c.depth == 0) {
                st->root[index] = 0;
                st->dirty = 1;
                return 0;
            }
            IdxPath e = c.path[--c.depth];
            if (const int32_t r = btreadpage(f, index, e.page)) return r;
            c.slot = e.slot;
            continue;
        }
        unsigned tail = count - slot - 1;
        memmove(img + PG_PTRS + 4 * slot, img + PG_PTRS + 4 * (slot + 1), 4 * tail);
        memmove(pgkey(img, cap, k, slot), pgkey(img, cap, k, slot + 1), k * tail);
        count--;
        pgsetptr(img, count, 0);
        memset(pgkey(img, cap, k, count), 0, k);
        img[PG_COUNT] = static_cast<uint8_t>(count);
        if (const int32_t r = pgwrite(f, index, c.page)) return fromcache(r);
        if (slot != count || c.depth == 0) return 0;
        // The page's highest key changed: the nearest ancestor that steers
        // by it (or the root) gets the new one.
        uint8_t last[256];
        memcpy(last, pgkey(img, cap, k, count - 1), k);
        IdxPath e;
        do e = c.path[--c.depth];
        while (e.slot + 1 == e.count && c.depth > 0);
        if (const int32_t r = btreadpage(f, index, e.page)) return r;
        if (e.slot >= c.img[PG_COUNT]) return VN_CORRUPT(VN_E_IDXCORRUPT);
        memcpy(pgkey(c.img, cap, k, e.slot), last, k);
        c.slot = e.slot;
        return fromcache(pgwrite(f, index, e.page));
    }
}

}  // namespace

int32_t idxdelete(IdxFile& f, int index, uint32_t pos) {
    IdxState* st = f.state;
    IdxCursor& c = st->cursor[index];
    if (f.shared) {
        if (const int32_t r = hdrrefresh(f)) return r;
    }
    // Unshared, a search may resume in the leaf the cursor holds.  Only an
    // entry that is neither alone nor last in its leaf is taken from such a
    // search, since removing it never touches the path above the leaf;
    // anything else is searched again from the root.
    bool found = false;
    if (!f.shared && c.page != 0 && pgisleaf(c.img)) {
        if (const int32_t r = btfind(f, index, SRCH_EQUAL, true, &found)) return r;
        if (found && !(c.slot + 1 < c.img[PG_COUNT] && pgptr(c.img, c.slot) == pos)) found = false;
    }
    if (!found) {
        c.page = 0;
        if (const int32_t r = btfind(f, index, SRCH_EQUAL, false, &found)) return r;
    }
    if (!found || pgptr(c.img, c.slot) != pos) return VN_E_INDEX;
    return idxsync(f, removeat(f, index));
}
