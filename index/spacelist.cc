// spacelist.cc - the free-space list: the positions and lengths of deleted
// records, kept in a chain of pages of the index file so that their space
// can be given to new records.  The list pages pass through the image of
// index 0.
#include <cstring>

#include "definition/definition.h"
#include "index/idxfile.h"
#include "index/idxpage.h"
#include "index/pagecache.h"
#include "velnor.h"
#include "support/runtime.h"

namespace {

// Entries one list page holds.
unsigned spacecap(const IdxState* st) { return (st->pagesize - 6u) / 6u; }

uint8_t* entry(uint8_t* img, unsigned i) { return img + SP_ENTRIES + SP_ENTRYSIZE * i; }

// Entries in use on the page in img, never more than fit.
unsigned spacecount(const IdxState* st, const uint8_t* img) {
    unsigned n = getle16(img + SP_COUNT);
    return n < spacecap(st) ? n : spacecap(st);
}

// The next link and count of list page into head, *whole set when the
// image of index 0 now holds the whole page, clear when head alone was
// read.  0, or the marked cache status.  Every page of the list ahead of
// the first with room is full, so a shared walk, whose cache starts empty,
// reads only the first bytes of a page not in the cache, sparing the copy
// and the slot of the rest.  Unshared, or when that read fails, the page
// is read whole.
int32_t listhead(IdxFile& f, uint32_t page, uint8_t* head, bool* whole) {
    IdxState* st = f.state;
    *whole = false;
    if (f.shared) {
        bool cached;
        if (const int32_t r = pgpeek(f, page, head, SP_ENTRIES, &cached)) return fromcache(r);
        if (cached) return 0;
        const uint64_t off = uint64_t{page} * st->pagesize;
        if (off + SP_ENTRIES <= UINT32_MAX &&
            idxreadat(static_cast<int32_t>(f.fd), static_cast<uint32_t>(off), head, SP_ENTRIES))
            return 0;
    }
    if (const int32_t r = pgread(f, 0, page)) return fromcache(r);
    memcpy(head, st->cursor[0].img, SP_ENTRIES);
    *whole = true;
    return 0;
}

}  // namespace

int32_t spaceadd(IdxFile& f, uint32_t pos, uint16_t len) {
    IdxState* st = f.state;
    IdxCursor& c = st->cursor[0];
    uint8_t* img = c.img;
    c.page = 0;
    // Every page can be visited at most once; a longer walk is a loop.  A
    // link out of the file ends the list.
    uint32_t page = st->spacelist;
    for (uint32_t walked = 0; page && page < st->nextpage; walked++) {
        if (walked == st->nextpage) return VN_CORRUPT(VN_E_IDXCORRUPT);
        uint8_t head[SP_ENTRIES];
        bool whole;
        if (const int32_t r = listhead(f, page, head, &whole)) return r;
        if (getle16(head + SP_COUNT) < spacecap(st)) {
            if (!whole) {
                if (const int32_t r = pgread(f, 0, page)) return fromcache(r);
            }
            const unsigned n = getle16(img + SP_COUNT);
            if (n >= spacecap(st)) {
                page = getle32(img + SP_NEXT);
                continue;
            }
            putle32(entry(img, n), pos);
            putle16(entry(img, n) + 4, len);
            putle16(img + SP_COUNT, static_cast<uint16_t>(n + 1));
            return fromcache(pgwrite(f, 0, page));
        }
        page = getle32(head + SP_NEXT);
    }
    if (const int32_t r = pagenew(f, 0, &page)) return r;
    memset(img, 0, st->pagesize);
    putle32(img + SP_NEXT, st->spacelist);
    putle16(img + SP_COUNT, 1);
    putle32(entry(img, 0), pos);
    putle16(entry(img, 0) + 4, len);
    st->spacelist = page;
    st->dirty = 1;
    if (const int32_t r = idxsync(f, 0)) return r;
    return fromcache(pgwrite(f, 0, page));
}

int32_t spacetake(IdxFile& f, uint16_t len, uint32_t* out) {
    IdxState* st = f.state;
    IdxCursor& c = st->cursor[0];
    uint8_t* img = c.img;
    c.page = 0;
    *out = 0;
    bool anywhere = (f.fflags & VN_FF_VARLEN) != 0;
    uint32_t page = st->spacelist;
    unsigned n = 0, i = 0;
    bool found = false;
    for (uint32_t walked = 0; page && page < st->nextpage; walked++) {
        if (walked == st->nextpage) return VN_CORRUPT(VN_E_IDXCORRUPT);
        if (const int32_t r = pgread(f, 0, page)) return fromcache(r);
        n = spacecount(st, img);
        // Fixed-length records: only the first entry of the first page.
        unsigned look = anywhere ? n : (n ? 1 : 0);
        for (i = 0; i < look && !found; i++) found = getle16(entry(img, i) + 4) == len;
        if (found || !anywhere) break;
        page = getle32(img + SP_NEXT);
    }
    if (!found) return 0;
    i--;
    uint32_t pos = getle32(entry(img, i));
    memmove(entry(img, i), entry(img, i + 1), SP_ENTRYSIZE * (n - i - 1));
    memset(entry(img, n - 1), 0, SP_ENTRYSIZE);
    putle16(img + SP_COUNT, static_cast<uint16_t>(n - 1));
    if (const int32_t r = pgwrite(f, 0, page)) return fromcache(r);
    int32_t r = 0;
    if (n == 1) {
        // The emptied page leaves the list, and with it any pages ahead.
        st->spacelist = getle32(img + SP_NEXT);
        st->dirty = 1;
        if ((r = pagefree(f, 0, page)) != 0) return r;
        r = idxsync(f, 0);
    }
    *out = pos;
    return r;
}
