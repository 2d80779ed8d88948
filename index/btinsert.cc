// btinsert.cc - inserting a key: placed behind any equal keys, the full
// page split in two (evenly, or about seven-eighths full when keys arrive
// in ascending order), the split carried up the path, and a new root made
// when the root itself splits.
#include <cstring>
#include <utility>

#include "index/btint.h"
#include "index/btree.h"
#include "definition/definition.h"
#include "velnor.h"
#include "index/idxfile.h"
#include "index/idxpage.h"
#include "index/pagecache.h"
#include "support/runtime.h"

namespace {

// Moves entries from..cap-1 of src into dst starting at entry 0 and
// zeroes them in src.
void moveentries(uint8_t* dst, uint8_t* src, unsigned cap, unsigned k, unsigned from) {
    unsigned n = cap - from;
    memcpy(dst + PG_PTRS, src + PG_PTRS + 4 * from, 4 * n);
    memcpy(pgkey(dst, cap, k, 0), pgkey(src, cap, k, from), k * n);
    memset(src + PG_PTRS + 4 * from, 0, 4 * n);
    memset(pgkey(src, cap, k, from), 0, k * n);
}

// Writes the spare image as page.  0, or the marked cache status.
int32_t writespare(IdxFile& f, int index, uint32_t page) {
    IdxState* st = f.state;
    IdxCursor& c = st->cursor[index];
    std::swap(c.image, st->spare);
    std::swap(c.img, st->spareimg);
    const int32_t r = fromcache(pgwrite(f, index, page));
    std::swap(c.image, st->spare);
    std::swap(c.img, st->spareimg);
    return r;
}

// Puts (ptr, key) at slot of the cursor's page and writes it; a page that
// becomes full is split and the split carried up the path.
int32_t insertat(IdxFile& f, int index, unsigned slot, uint32_t ptr, const uint8_t* key) {
    IdxState* st = f.state;
    IdxCursor& c = st->cursor[index];
    unsigned cap = c.cap, k = st->keylen[index];
    uint8_t lastold[256], lastnew[256];
    for (;;) {
        uint8_t* img = c.img;
        unsigned count = img[PG_COUNT];
        if (count >= cap || slot > count) return VN_CORRUPT(VN_E_IDXCORRUPT);
        memmove(img + PG_PTRS + 4 * (slot + 1), img + PG_PTRS + 4 * slot, 4 * (count - slot));
        memmove(pgkey(img, cap, k, slot + 1), pgkey(img, cap, k, slot), k * (count - slot));
        pgsetptr(img, slot, ptr);
        memcpy(pgkey(img, cap, k, slot), key, k);
        c.slot = static_cast<uint8_t>(slot);
        img[PG_COUNT] = static_cast<uint8_t>(++count);
        if (const int32_t r = pgwrite(f, index, c.page)) return fromcache(r);
        if (count < cap) return 0;

        // Split: keep entries 0..keep-1 here, the rest go to a new page.
        unsigned keep = slot < cap - 1 ? cap / 2 : cap - cap / 8;
        if (slot == keep) keep++;
        if (keep >= cap) keep = cap - 1;  // the new page gets at least one
        uint32_t right;
        if (const int32_t r = pagenew(f, index, &right)) return r;
        uint8_t* sp = st->spareimg;
        memset(sp, 0, st->pagesize);
        sp[PG_KIND] = img[PG_KIND];
        sp[PG_OWNER] = static_cast<uint8_t>(index);
        sp[PG_COUNT] = static_cast<uint8_t>(cap - keep);
        moveentries(sp, img, cap, k, keep);
        img[PG_COUNT] = static_cast<uint8_t>(keep);
        memcpy(lastold, pgkey(img, cap, k, keep - 1), k);
        memcpy(lastnew, pgkey(sp, cap, k, cap - keep - 1), k);
        if (const int32_t r = pgwrite(f, index, c.page)) return fromcache(r);
        if (const int32_t r = writespare(f, index, right)) return r;

        if (c.depth > 0) {
            IdxPath e = c.path[--c.depth];
            if (const int32_t r = btreadpage(f, index, e.page)) return r;
            if (e.slot >= c.img[PG_COUNT]) return VN_CORRUPT(VN_E_IDXCORRUPT);
            // The new page's last key may be stale (an inner page's last
            // key is not kept up to date); below the parent's last slot the
            // parent's key is exact, and the new page inherits that high end.
            uint8_t* sep = pgkey(c.img, cap, k, e.slot);
            if (e.slot + 1u < c.img[PG_COUNT]) memcpy(lastnew, sep, k);
            memcpy(sep, lastold, k);
            slot = e.slot + 1u;
            ptr = right;
            key = lastnew;
            continue;
        }
        // The root split: a new root over the two halves.
        uint32_t left = c.page;
        memset(img, 0, st->pagesize);
        img[PG_KIND] = PG_INNER;
        img[PG_COUNT] = 2;
        img[PG_OWNER] = static_cast<uint8_t>(index);
        pgsetptr(img, 0, left);
        memcpy(pgkey(img, cap, k, 0), lastold, k);
        pgsetptr(img, 1, right);
        memcpy(pgkey(img, cap, k, 1), lastnew, k);
        uint32_t root;
        if (const int32_t r = pagenew(f, index, &root)) return r;
        st->root[index] = root;
        st->dirty = 1;
        c.page = root;
        c.slot = 1;
        return fromcache(pgwrite(f, index, root));
    }
}

}  // namespace

int32_t idxinsert(IdxFile& f, int index, uint32_t pos) {
    IdxState* st = f.state;
    IdxCursor& c = st->cursor[index];
    if (f.shared) {
        if (const int32_t r = hdrrefresh(f)) return r;
    }
    unsigned slot = 0;
    if (st->root[index]) {
        bool resume = !f.shared && c.page != 0 && pgisleaf(c.img);
        bool found;
        if (const int32_t r = btfind(f, index, SRCH_NEXT, resume, &found)) return r;
        if (found) {
            slot = c.slot;
            c.atend = 0;
        } else {
            slot = c.slot + 1u;
        }
    } else {
        uint32_t page;
        if (const int32_t r = pagenew(f, index, &page)) return r;
        st->root[index] = page;
        st->dirty = 1;
        memset(c.img, 0, st->pagesize);
        c.img[PG_KIND] = PG_LEAF;
        c.img[PG_OWNER] = static_cast<uint8_t>(index);
        c.page = page;
        c.atend = 1;
        c.depth = 0;
        c.slot = 0;
    }
    const int32_t r = insertat(f, index, slot, pos, reinterpret_cast<const uint8_t*>(st->keybuf));
    return idxsync(f, r);
}
