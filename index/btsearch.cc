// btsearch.cc - the positioned search: exact, next, previous, equal-or-next,
// equal-or-previous, first and last, going down from the root or resumed
// in the leaf the cursor holds, climbing the remembered path to a
// neighbouring leaf when the answer lies beyond the current one.
#include <bit>
#include <cstring>

#include "index/btint.h"
#include "index/btree.h"
#include "definition/definition.h"
#include "velnor.h"
#include "index/idxfile.h"
#include "index/idxpage.h"
#include "index/pagecache.h"
#include "support/os.h"
#include "support/runtime.h"

namespace {

enum { RESTART = 2, CLIMBNEXT = 3, CLIMBPREV = 4 };

struct Search {
    IdxFile* f;
    int index;
    IdxCursor* c;
    unsigned k;
    unsigned flat;  // keyflatlen of the index: compare by memcmp when not 0
    bool next;   // modes 2, 4, 19: the first greater
    bool prev;   // modes 3, 5, 18: the last less
    bool exact;  // modes 1, 4, 5 accept an equal key
    bool probe;  // mode 20: a miss inside a leaf is settled there
    bool inplace;  // shared: pages are read where the file's map shows them
};

// A page that cannot be part of this index: the cursor lets it go.
int32_t corrupt(IdxCursor* c) {
    c->page = 0;
    return VN_CORRUPT(VN_E_IDXCORRUPT);
}

// memcmp of n bytes, kept inline for the short keys of a page: eight bytes
// at a time, read as big-endian words so that their order is the bytes'.
int flatcmp(const char* a, const char* b, unsigned n) {
    for (; n >= 8; a += 8, b += 8, n -= 8) {
        uint64_t x, y;
        memcpy(&x, a, 8);
        memcpy(&y, b, 8);
        if (x != y) {
            if constexpr (std::endian::native == std::endian::little) {
                x = __builtin_bswap64(x);
                y = __builtin_bswap64(y);
            }
            return x < y ? -1 : 1;
        }
    }
    for (; n > 0; a++, b++, n--) {
        const unsigned char x = static_cast<unsigned char>(*a), y = static_cast<unsigned char>(*b);
        if (x != y) return x < y ? -1 : 1;
    }
    return 0;
}

// The search's key compared with entry slot of page img.
int compareentry(const Search& s, const uint8_t* img, int slot) {
    const char* key = s.f->state->keybuf;
    const char* entry = reinterpret_cast<const char*>(pgkey(img, s.c->cap, s.k, slot));
    return s.flat ? flatcmp(key, entry, s.flat) : keycmp(*s.f, s.index, key, entry);
}

// The last of entries 0..start of page img that the key is not less than,
// or -1; *cmp is the key compared with that entry.  Entries are in
// ascending order, so a binary search finds the entry a scan down from
// start would.
int scan(const Search& s, const uint8_t* img, int start, int* cmp) {
    int lo = 0, hi = start + 1;
    *cmp = -1;
    while (lo < hi) {
        int mid = lo + (hi - lo) / 2;
        int r = compareentry(s, img, mid);
        if (r >= 0) {
            lo = mid + 1;
            *cmp = r;
        } else {
            hi = mid;
        }
    }
    return lo - 1;
}

int32_t found(IdxCursor* c, int slot) {
    c->slot = static_cast<uint8_t>(slot);
    return 1;
}

int32_t none(IdxCursor* c, int slot) {
    c->slot = static_cast<uint8_t>(slot < 0 ? 0 : slot);
    return 0;
}

// A search resumed in the cursor's leaf of count entries, for a key below
// its first entry, or above its last where a later leaf may follow: only
// a search from the root can answer it.  Two comparisons spare the scan
// of the whole leaf that would find the same, which a key in random order
// would make almost every time.
bool beyondleaf(const Search& s, int count) {
    if (compareentry(s, s.c->img, 0) < 0) return true;
    return compareentry(s, s.c->img, count - 1) > 0 && (s.prev || !s.c->atend);
}

// The answer within the leaf in the image: found, none, or where to go.
// A resumed search answers only what this leaf can settle.
int32_t leafanswer(const Search& s, bool resumed) {
    IdxCursor* c = s.c;
    int count = c->img[PG_COUNT];
    if (resumed && count > 0 && beyondleaf(s, count)) return RESTART;
    int cmp;
    int i = scan(s, c->img, count - 1, &cmp);
    bool greater = i >= 0 && cmp > 0;  // key above entry i, below i+1
    if (i >= 0 && cmp == 0) {
        if (s.exact) return found(c, i);
        greater = s.next;  // next: past the equal entry; previous: before it
    }
    if (greater) {
        if (s.next && i + 1 < count) return found(c, i + 1);
        if (s.prev) return resumed && i == count - 1 ? RESTART : found(c, i);
        // Between entries i and i + 1: no entry anywhere is equal.
        if (s.probe && i + 1 < count) return none(c, i);
        // Past the leaf's last entry (and any key mode 1 did not find).
        if (resumed) {
            if (c->atend && (s.next || i == count - 1)) return none(c, i);
            return RESTART;
        }
        none(c, i);
        return CLIMBNEXT;
    }
    // The key is below entry j.
    int j = i < 0 ? 0 : i;
    if (s.next) return resumed && i < 0 ? RESTART : found(c, j);
    if (s.prev) {
        if (j > 0) return found(c, j - 1);
        if (resumed) return RESTART;
        none(c, 0);
        return CLIMBPREV;
    }
    return resumed ? RESTART : none(c, i);
}

// The deepest path entry that has a neighbour on the side wanted, or -1.
int climbto(const IdxCursor* c, bool forward) {
    for (int d = c->depth - 1; d >= 0; d--) {
        const IdxPath& e = c->path[d];
        if (forward ? e.slot + 1 < e.count : e.slot > 0) return d;
    }
    return -1;
}

// img is a page of index with a count its page can hold.
bool pageofindex(const uint8_t* img, const IdxCursor* c, int index) {
    const unsigned count = img[PG_COUNT];
    return img[PG_OWNER] == index && count > 0 && count <= c->cap;
}

// Shared, before a step resumes in the cursor's leaf: the leaf read again
// from the file, since another process may have changed it.  1 when it is
// still a leaf of this index to resume in, 0 when the search must descend,
// -1 when the read failed (*status).  A page freed or reused since is no
// harm: an answer the leaf cannot settle, because the key lies at or
// beyond its ends, makes the search descend from the root.
int32_t leafagain(IdxFile& f, int index, int32_t* status) {
    IdxState* st = f.state;
    IdxCursor* c = &st->cursor[index];
    if (c->page >= st->nextpage) return 0;
    if ((*status = pgread(f, index, c->page)) != 0) {
        c->page = 0;
        return -1;
    }
    c->atend = 0;
    return pgisleaf(c->img) && pageofindex(c->img, c, index);
}

}  // namespace

namespace {

// Page of index to read, made the cursor's page: the cache's copy, pinned
// as pgview says, or the cursor's image with *pin null.  It must lie inside
// the file, belong to index and hold 1..cap entries.  0 with *img; else,
// with the cursor left without a page, VN_E_IDXCORRUPT or the marked
// cache status.
int32_t viewpage(IdxFile& f, int index, uint32_t page, const uint8_t** img, void** pin) {
    IdxState* st = f.state;
    IdxCursor* c = &st->cursor[index];
    *pin = nullptr;
    if (page == 0 || page >= st->nextpage) return corrupt(c);
    if (const int32_t r = pgview(f, index, page, img, pin)) {
        c->page = 0;
        return fromcache(r);
    }
    c->page = page;
    c->atend = 0;
    if (pageofindex(*img, c, index)) return 0;
    if (*pin != nullptr) pgunpin(*pin);
    return corrupt(c);
}

// Makes the cursor's image hold img, a page viewpage pinned or its own.
void keepcopy(IdxCursor* c, const uint8_t* img, void* pin, uint16_t size) {
    if (pin == nullptr) return;
    memcpy(c->img, img, size);
    pgunpin(pin);
}

// The slot of an inner page img with count entries to go down from.
int childslot(const Search& s, const uint8_t* img, int count) {
    int cmp;
    int i = scan(s, img, count >= 2 ? count - 2 : 0, &cmp);
    return i < 0 ? 0 : cmp > 0 ? (i + 1 < count ? i + 1 : count - 1) : i;
}

struct MapDescent {
    const Search* s;
    uint32_t page;
    bool leaf;
};

// Goes down from d->page through pages the index file's map shows, each
// inner page onto the cursor's path, to a leaf, which it copies into the
// cursor's image.  It stops at a page the map does not show as one of
// this index, for viewpage to read: a cached page, a page outside the
// file, a damaged page, or one that another process is rewriting.  Runs
// under osmapguard, which may leave it at any read of the map.
void descendmapped(void* arg) {
    auto* d = static_cast<MapDescent*>(arg);
    const Search& s = *d->s;
    IdxCursor* c = s.c;
    const IdxState* st = s.f->state;
    while (d->page != 0 && d->page < st->nextpage && c->depth < IDX_MAXDEPTH) {
        const uint8_t* view = pgmapped(*s.f, d->page);
        if (view == nullptr) return;
        // The count is read once, as the bound of all that follows.
        const int count = *static_cast<const volatile uint8_t*>(view + PG_COUNT);
        if (view[PG_OWNER] != s.index || count == 0 || count > c->cap) return;
        if (pgisleaf(view)) {
            memcpy(c->img, view, st->pagesize);
            if (!pgisleaf(c->img) || !pageofindex(c->img, c, s.index)) return;
            c->page = d->page;
            c->atend = 0;
            d->leaf = true;
            return;
        }
        const int slot = childslot(s, view, count);
        const uint32_t child = pgptr(view, slot);
        c->path[c->depth++] = {d->page, static_cast<uint8_t>(slot), static_cast<uint8_t>(count)};
        d->page = child;
    }
}

// Shared: the search goes down from *page in place, as descendmapped; true
// when it reached a leaf, now the cursor's, else *page is the page where
// it stopped.
bool descendinplace(const Search& s, uint32_t* page) {
    MapDescent d = {&s, *page, false};
    const bool whole = osmapguard(static_cast<int32_t>(s.f->fd), descendmapped, &d);
    *page = d.page;
    return whole && d.leaf;
}

}  // namespace

int32_t btreadpage(IdxFile& f, int index, uint32_t page) {
    void* pin = nullptr;
    const uint8_t* img;
    if (const int32_t r = viewpage(f, index, page, &img, &pin)) return r;
    keepcopy(&f.state->cursor[index], img, pin, f.state->pagesize);
    return 0;
}

int32_t btfind(IdxFile& f, int index, int mode, bool resume, bool* found) {
    IdxState* st = f.state;
    Search s = {&f, index, &st->cursor[index], st->keylen[index], keyflatlen(f, index),
                mode == SRCH_NEXT || mode == SRCH_GE || mode == SRCH_STEP,
                mode == SRCH_PREV || mode == SRCH_LE || mode == SRCH_STEPBACK,
                mode == SRCH_EQUAL || mode == SRCH_GE || mode == SRCH_LE || mode == SRCH_PROBE,
                mode == SRCH_PROBE, f.shared};
    IdxCursor* c = s.c;
    *found = false;
    if (resume) {
        int32_t r = leafanswer(s, true);
        if (r != RESTART) {
            *found = r == 1;
            return 0;
        }
    }
    if (st->root[index] == 0) return 0;
    c->depth = 0;
    c->slot = 0;
    uint32_t page = st->root[index];
    // A search passes each page of the file at most twice; more is a loop.
    for (uint64_t passed = 0;; passed++) {
        if (passed > 2 * uint64_t{st->nextpage} + IDX_MAXDEPTH) return corrupt(c);
        // An inner page is searched where the map or the cache shows it;
        // the cursor takes a copy of the leaf only.
        void* pin = nullptr;
        const uint8_t* img = c->img;
        if (!s.inplace || !descendinplace(s, &page)) {
            if (const int32_t r = viewpage(f, index, page, &img, &pin)) return r;
            if (pgisleaf(img)) {
                keepcopy(c, img, pin, st->pagesize);
                img = c->img;
                pin = nullptr;
            }
        }
        int count = img[PG_COUNT];
        if (pgisleaf(img)) {
            int32_t r = leafanswer(s, false);
            if (r != CLIMBNEXT && r != CLIMBPREV) {
                *found = r == 1;
                return 0;
            }
            int d = climbto(c, r == CLIMBNEXT);
            if (d < 0) {
                if (r == CLIMBNEXT) c->atend = 1;
                return 0;
            }
            // Step to the neighbouring child of that ancestor and go down.
            IdxPath& e = c->path[d];
            const uint32_t below = d + 1 < c->depth ? c->path[d + 1].page : c->page;
            c->depth = static_cast<uint8_t>(d + 1);
            if (const int32_t rd = btreadpage(f, index, e.page)) return rd;
            if (s.inplace && pgptr(c->img, e.slot) != below) {
                // Another process changed the ancestor since the search
                // read it in place: search again through the cache, which
                // shows each page as first read for the rest of the command.
                s.inplace = false;
                c->depth = 0;
                c->slot = 0;
                page = st->root[index];
                continue;
            }
            int slot = r == CLIMBNEXT ? e.slot + 1 : e.slot - 1;
            if (slot >= c->img[PG_COUNT]) return corrupt(c);
            e.slot = static_cast<uint8_t>(slot);
            e.count = c->img[PG_COUNT];
            page = pgptr(c->img, slot);
            continue;
        }
        int slot = childslot(s, img, count);
        const uint32_t child = pgptr(img, slot);
        if (pin != nullptr) pgunpin(pin);
        if (c->depth >= IDX_MAXDEPTH) return corrupt(c);
        c->path[c->depth++] = {page, static_cast<uint8_t>(slot), static_cast<uint8_t>(count)};
        page = child;
    }
}

int32_t idxsearch(IdxFile& f, int index, int mode, uint32_t* pos) {
    IdxState* st = f.state;
    IdxCursor* c = &st->cursor[index];
    *pos = 0;
    const bool step = mode == SRCH_STEP || mode == SRCH_STEPBACK || mode == SRCH_NEXT || mode == SRCH_PREV;
    if (mode == SRCH_FIRST || mode == SRCH_LAST) {
        keylimit(f, index, mode == SRCH_LAST);
        mode = mode == SRCH_FIRST ? SRCH_STEP : SRCH_STEPBACK;
    }
    if (f.shared) {
        if (const int32_t r = hdrrefresh(f)) return r;
    }
    // Shared, only a step resumes: its key is the cursor's entry, which
    // the leaf read again most likely still holds.
    bool resume = c->page != 0 && pgisleaf(c->img);
    if (f.shared && resume) {
        int32_t r = 0;
        const int32_t again = step ? leafagain(f, index, &r) : 0;
        if (again < 0) return fromcache(r);
        resume = again > 0;
    }
    bool found;
    if (const int32_t r = btfind(f, index, mode, resume, &found)) return r;
    if (!found) return 0;
    // A walk in key order returns each entry once: more steps than the file
    // has room for entries means damaged pages (or a definition that no
    // longer builds the keys the index holds) are leading it round.
    if (!step)
        c->walked = 0;
    else if (++c->walked > uint64_t{st->nextpage} * c->cap)
        return corrupt(c);
    unsigned k = st->keylen[index];
    memcpy(st->keybuf, pgkey(c->img, c->cap, k, c->slot), k);
    st->keybuf[k] = 0;
    *pos = pgptr(c->img, c->slot);
    return 0;
}
