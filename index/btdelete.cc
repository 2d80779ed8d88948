// btdelete.cc - deleting a key: the entry with that key and record position
// is removed; pages are never merged, an emptied page is freed and its
// entry removed from the parent, and a leaf's new highest key is carried to
// the nearest ancestor that steers by it.
#include <cstring>

#include "index/btint.h"
#include "index/btree.h"
#include "definition/definition.h"
#include "index/idxfile.h"
#include "index/idxpage.h"
#include "index/pagecache.h"

namespace {

// Removes the entry at the cursor's slot.
int32_t removeat(FHCB* cb, int index) {
    IdxState* st = cb->index;
    IdxCursor& c = st->cursor[index];
    unsigned cap = c.cap, k = st->keylen[index];
    for (;;) {
        uint8_t* img = c.img;
        unsigned count = img[PG_COUNT], slot = c.slot;
        if (slot >= count) return btcorrupt(cb);
        if (count == 1) {
            if (pagefree(cb, index, c.page) < 0) return -1;
            if (c.depth == 0) {
                st->root[index] = 0;
                st->dirty = 1;
                return 0;
            }
            IdxPath e = c.path[--c.depth];
            if (btreadpage(cb, index, e.page) < 0) return -1;
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
        if (pgwrite(cb, index, c.page) < 0) return -1;
        if (slot != count || c.depth == 0) return 0;
        // The page's highest key changed: the nearest ancestor that steers
        // by it (or the root) gets the new one.
        uint8_t last[256];
        memcpy(last, pgkey(img, cap, k, count - 1), k);
        IdxPath e;
        do e = c.path[--c.depth];
        while (e.slot + 1 == e.count && c.depth > 0);
        if (btreadpage(cb, index, e.page) < 0) return -1;
        if (e.slot >= c.img[PG_COUNT]) return btcorrupt(cb);
        memcpy(pgkey(c.img, cap, k, e.slot), last, k);
        c.slot = e.slot;
        return pgwrite(cb, index, e.page);
    }
}

}  // namespace

int32_t idxdelete(FHCB* cb, int index, uint32_t pos) {
    IdxState* st = cb->index;
    IdxCursor& c = st->cursor[index];
    bool shared = isshared(cb);
    if (shared && hdrrefresh(cb) < 0) return -1;
    // Unshared, a search may resume in the leaf the cursor holds.  Only an
    // entry that is neither alone nor last in its leaf is taken from such a
    // search, since removing it never touches the path above the leaf;
    // anything else is searched again from the root.
    int32_t r = 0;
    if (!shared && c.page != 0 && pgisleaf(c.img)) {
        r = btfind(cb, index, SRCH_EQUAL, true);
        if (r < 0) return btstatus(cb, -1);
        if (r > 0 && !(c.slot + 1 < c.img[PG_COUNT] && pgptr(c.img, c.slot) == pos)) r = 0;
    }
    if (r == 0) {
        c.page = 0;
        r = btfind(cb, index, SRCH_EQUAL, false);
    }
    if (r < 0) return btstatus(cb, -1);
    if (r == 0 || pgptr(c.img, c.slot) != pos) {
        cb->status = VN_E_INDEX;
        return -1;
    }
    r = removeat(cb, index);
    return btstatus(cb, idxsync(cb, r));
}
