// freepages.cc - the chain of freed pages: taking a page for new content
// and giving a page back.  A freed page is zeroed and holds in its first
// four bytes the number of the page freed before it.
#include <algorithm>
#include <cstring>
#include <utility>

#include "index/idxfile.h"
#include "index/lebytes.h"
#include "index/pagecache.h"
#include "velnor.h"
#include "support/runtime.h"

int32_t pagealloc(IdxFile& f, int index, uint32_t* out) {
    *out = 0;
    IdxState* st = f.state;
    uint32_t page = st->freepage;
    if (page == 0) return 0;
    if (page >= st->nextpage) {
        // A chain that leads out of the file is dropped.
        st->freepage = 0;
        st->dirty = 1;
        return 0;
    }
    // Read the head through the spare image so the cursor's page survives.
    IdxCursor& c = st->cursor[index];
    std::swap(c.image, st->spare);
    std::swap(c.img, st->spareimg);
    const int32_t r = pgread(f, index, page);
    uint32_t next = getle32(c.img);
    // A freed page is zero past its link.  Anything else is a page in use
    // that a damaged or looping chain leads back to: handing it out would
    // overwrite it.
    bool free = std::all_of(c.img + 4, c.img + st->pagesize, [](uint8_t b) { return b == 0; });
    std::swap(c.image, st->spare);
    std::swap(c.img, st->spareimg);
    if (r != 0) return fromcache(r);
    if (!free) return VN_CORRUPT(VN_E_IDXCORRUPT);
    // A link out of the file ends the chain rather than handing out a
    // page twice.
    st->freepage = next < st->nextpage ? next : 0;
    st->dirty = 1;
    *out = page;
    return 0;
}

int32_t pagenew(IdxFile& f, int index, uint32_t* out) {
    IdxState* st = f.state;
    uint32_t page = 0;
    *out = 0;
    if (st->freepage) {
        if (const int32_t r = pagealloc(f, index, &page)) return r;
    }
    if (page == 0) {
        // The file is addressed with 32-bit signed offsets.
        if (static_cast<uint64_t>(st->nextpage + 1ull) * st->pagesize > 0x7FFFFFFFull)
            return fromcache(VN_E_IDXWRITE);
        page = st->nextpage++;
    }
    st->dirty = 1;
    *out = page;
    return 0;
}

int32_t pagefree(IdxFile& f, int index, uint32_t page) {
    IdxState* st = f.state;
    IdxCursor& c = st->cursor[index];
    memset(c.img, 0, st->pagesize);
    putle32(c.img, st->freepage);
    if (const int32_t r = pgwrite(f, index, page)) return fromcache(r);
    st->freepage = page;
    st->dirty = 1;
    c.page = 0;
    return 0;
}
