// pagecache.cc - the library-wide write-back cache of index pages: slots
// found through a hash of (file, page), aged by a lookup clock, the oldest
// page evicted when the table is full, and per-file flushes.
#include "index/pagecache.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "index/idxfile.h"
#include "support/os.h"

PageCache pgcache = {0, 0, nullptr};
int32_t cacheerror = 0;
uint32_t pgdiskreads = 0;
uint32_t pgclock = 0;

namespace {

// Reopens an index file after a failed page read; see pgsetreopen.
PgReopenFn pgreopen = osopen;

enum { READTRIES = 100, RETRYWAIT = 50, AGEWRAP = 1 << 16 };

int32_t nextcapacity = PGCACHE_DEFAULT_SLOTS;
uint32_t blockbytes = 0;  // the bytes of the slots' blocks

void* takeblock(uint16_t size) {
    void* b = globalhalloc(size);
    if (b) blockbytes += size;
    return b;
}

void dropblock(PageSlot& s) {
    globalhfree(s.block);
    blockbytes -= s.size;
    s.block = nullptr;
}

// Open-addressed table of the occupied slots below used, by (file, page),
// each entry holding its key so that a probe reads no slot; slot -1 marks
// an empty entry.  It has at least twice as many entries as the slot table
// has room for, so probe runs stay short.
struct HashEntry {
    uint32_t file, page;
    int32_t slot;
    void* block;  // the slot's, fixed while it is occupied
};
constexpr HashEntry kNoEntry = {0, 0, -1, nullptr};
std::vector<HashEntry> hashed;
uint32_t hashmask = 0;
int hashshift = 32;

// Slots the table has room for: it starts at kFirstRoom (or the capacity,
// when smaller) and doubles as pages come in, up to the capacity, so that a
// process with small files never pays for the whole table.
constexpr int32_t kFirstRoom = 4096;
int32_t room = 0;

uint32_t hashof(uint32_t file, uint32_t page) {
    return ((page * 0x9E3779B1u) ^ (file * 0x85EBCA77u)) >> hashshift;
}

void hashclear() { std::fill(hashed.begin(), hashed.end(), kNoEntry); }

void hashadd(int32_t slot) {
    const PageSlot& s = pgcache.slots[slot];
    uint32_t h = hashof(s.file, s.page);
    while (hashed[h].slot >= 0) h = (h + 1) & hashmask;
    hashed[h] = {s.file, s.page, slot, s.block};
}

// Entry of (file, page), or -1.
int32_t hashfind(uint32_t file, uint32_t page) {
    for (uint32_t h = hashof(file, page);; h = (h + 1) & hashmask) {
        const HashEntry& e = hashed[h];
        if (e.slot < 0) return -1;
        if (e.file == file && e.page == page) return static_cast<int32_t>(h);
    }
}

// Takes an occupied slot out of the table, shifting later entries of its
// probe run back so that no lookup stops short of them.
void hashdrop(int32_t slot) {
    const PageSlot& s = pgcache.slots[slot];
    uint32_t h = hashof(s.file, s.page);
    while (hashed[h].slot != slot) {
        if (hashed[h].slot < 0) return;
        h = (h + 1) & hashmask;
    }
    hashed[h] = kNoEntry;
    for (uint32_t j = (h + 1) & hashmask; hashed[j].slot >= 0; j = (j + 1) & hashmask) {
        const uint32_t home = hashof(hashed[j].file, hashed[j].page);
        // The entry at j may move to the hole at h unless its home lies
        // cyclically in (h, j].
        const bool stays = h < j ? (home > h && home <= j) : (home > h || home <= j);
        if (stays) continue;
        hashed[h] = hashed[j];
        hashed[j] = kNoEntry;
        h = j;
    }
}

// Sizes the hash for room slots and enters every occupied slot below used.
void hashbuild() {
    hashshift = 31;
    while ((1u << (32 - hashshift)) < 2u * static_cast<uint32_t>(room)) hashshift--;
    hashmask = (1u << (32 - hashshift)) - 1;
    hashed.assign(hashmask + 1, kNoEntry);
    for (int32_t i = 0; i < pgcache.used; i++)
        if (pgcache.slots[i].file != 0) hashadd(i);
}

// Doubles the slot table's room, up to the capacity: true, or false when
// the memory is not there (the table stays as it was).
bool grow() {
    const int32_t more = room > pgcache.capacity / 2 ? pgcache.capacity : 2 * room;
    auto* bigger = static_cast<PageSlot*>(globalcalloc(static_cast<uint32_t>(more), sizeof(PageSlot)));
    if (bigger == nullptr) return false;
    memcpy(bigger, pgcache.slots, sizeof(PageSlot) * static_cast<size_t>(room));
    globalmfree(pgcache.slots);
    pgcache.slots = bigger;
    room = more;
    hashbuild();
    return true;
}

// The occupied slots in order of last use, newest first, so that the
// oldest page is found without a scan; and how many slots are occupied,
// so that a free slot below used is looked for only when there is one.
int32_t newest = -1, oldest = -1, occupied = 0;

void unlink(int32_t slot) {
    PageSlot& s = pgcache.slots[slot];
    (s.newer >= 0 ? pgcache.slots[s.newer].older : newest) = s.older;
    (s.older >= 0 ? pgcache.slots[s.older].newer : oldest) = s.newer;
    s.newer = s.older = -1;
}

void linknewest(int32_t slot) {
    PageSlot& s = pgcache.slots[slot];
    s.newer = -1;
    s.older = newest;
    (newest >= 0 ? pgcache.slots[newest].newer : oldest) = slot;
    newest = slot;
}

// Marks an occupied slot used now.
void touch(int32_t slot) {
    pgcache.slots[slot].age.stamp = pgclock;
    if (slot != newest) {
        unlink(slot);
        linknewest(slot);
    }
}

// Adds a slot just filled with a page to the table and the order of use.
void occupy(int32_t slot) {
    hashadd(slot);
    pgcache.slots[slot].newer = pgcache.slots[slot].older = -1;
    linknewest(slot);
    occupied++;
}

// Takes an occupied slot out of the table and the order of use.
void vacate(int32_t slot) {
    hashdrop(slot);
    unlink(slot);
    occupied--;
}

// The slot of greatest age (the later one on a tie), or -1 when none is
// occupied.  In the table of PGCACHE_SLOTS, ages read modulo 2^16, so a
// page unused for that many lookups looks young again; the order of use
// answers directly unless the oldest page is that old or shares its stamp,
// and a scan of the ages otherwise.  A larger table, whose oldest page is
// often that old, takes the least recently used page without a scan:
// which page goes first changes when pages reach the file, not what the
// file holds after a flush.
int32_t victim() {
    if (oldest < 0) return -1;
    const PageSlot& o = pgcache.slots[oldest];
    const bool plain = pgcache.capacity > PGCACHE_SLOTS ||
                       (pgclock - o.age.stamp < AGEWRAP &&
                        (o.newer < 0 || pgcache.slots[o.newer].age.stamp != o.age.stamp));
    if (plain) return oldest;
    int32_t found = -1;
    uint16_t greatest = 0;
    for (int32_t i = 0; i < pgcache.used; i++) {
        const PageSlot& s = pgcache.slots[i];
        if (s.file != 0 && (found < 0 || s.age >= greatest)) {
            found = i;
            greatest = s.age;
        }
    }
    return found;
}

// The first free slot below used, or -1.
int32_t firstfree() {
    if (occupied == pgcache.used) return -1;
    for (int32_t i = 0; i < pgcache.used; i++)
        if (pgcache.slots[i].file == 0) return i;
    return -1;
}

int32_t pageoffset(uint32_t page, uint32_t size) { return static_cast<int32_t>(page * size); }

// Frees a slot's block and marks the slot free.
void dropslot(int32_t slot) {
    PageSlot& s = pgcache.slots[slot];
    if (s.file != 0) vacate(slot);
    if (s.block) dropblock(s);
    memset(&s, 0, sizeof s);
}

// Empties an occupied slot for a page of size bytes, writing it back when
// dirty; its block stays only when it has that size.  0, or -1.
int32_t evict(int slot, uint16_t size) {
    PageSlot& s = pgcache.slots[slot];
    if (s.dirty && pgwriteback(slot) < 0) return -1;
    vacate(slot);
    s.file = 0;
    if (s.block && s.size != size) dropblock(s);
    return 0;
}

}  // namespace

void pgsetcapacity(int32_t slots) {
    nextcapacity = slots < 1 ? 1 : slots > PGCACHE_MAX_SLOTS ? PGCACHE_MAX_SLOTS : slots;
}

int32_t pgcacheinit() {
    globalcompact(0, 0);
    globalsettle();
    if (!pgcache.slots) {
        pgcache.capacity = nextcapacity;
        room = std::min(pgcache.capacity, kFirstRoom);
        pgcache.slots = static_cast<PageSlot*>(globalcalloc(static_cast<uint32_t>(room), sizeof(PageSlot)));
        pgcache.used = 0;
        hashbuild();
    }
    if (!pgcache.slots) {
        cacheerror = VN_E_MEMORY;
        globalsettle();
        return -1;
    }
    pgcache.used = 0;
    newest = oldest = -1;
    occupied = 0;
    hashclear();
    return 0;
}

void pgcachefree() {
    pgcache.used = 0;
    newest = oldest = -1;
    occupied = 0;
    hashclear();
    globalsettle();
    if (pgcache.slots) globalmfree(pgcache.slots);
    pgcache.slots = nullptr;
    room = 0;
    blockbytes = 0;
}

int32_t pglookup(uint32_t file, uint32_t page) {
    pgclock++;
    if (pgcache.used == 0) return -1;
    const int32_t h = hashfind(file, page);
    if (h < 0) return -1;
    // The page's bytes come next: fetch them while the slot is touched.
    __builtin_prefetch(hashed[h].block);
    const int32_t found = hashed[h].slot;
    touch(found);
    return found;
}

int32_t pgput(FHCB* cb, int index, uint32_t page, int look) {
    if (!pgcache.slots) return -1;
    IdxState* st = cb->index;
    uint16_t size = st->pagesize;
    int32_t slot = look ? pglookup(cb->idxfd, page) : -1;
    if (slot < 0) {
        const int32_t freeslot = firstfree();
        bool fresh = false;
        if (freeslot >= 0) {
            slot = freeslot;
        } else if (pgcache.used < pgcache.capacity && (pgcache.used < PGCACHE_SLOTS || blockbytes + size <= PGCACHE_BUDGET) &&
                   (pgcache.used < room || grow())) {
            slot = pgcache.used++;
            fresh = true;
        } else {
            slot = victim();
            if (evict(slot, size) < 0) return -1;
        }
        PageSlot* s = &pgcache.slots[slot];
        if (!s->block) s->block = takeblock(size);
        if (!s->block) {
            // No memory for a new block: fall back on the oldest page's.
            memset(s, 0, sizeof *s);
            const int32_t old = victim();
            if (!fresh || old < 0) return -1;
            pgcache.used--;
            if (evict(old, size) < 0) return -1;
            slot = old;
            s = &pgcache.slots[slot];
            if (!s->block) s->block = takeblock(size);
            if (!s->block) {
                memset(s, 0, sizeof *s);
                return -1;
            }
        }
        s->file = cb->idxfd;
        s->page = page;
        s->size = size;
        s->age.stamp = pgclock;
        s->dirty = 0;
        occupy(slot);
    }
    PageSlot& s = pgcache.slots[slot];
    uint8_t* dst = static_cast<uint8_t*>(globalhlock(s.block));
    if (!dst) {
        dropslot(slot);
        cacheerror = VN_E_IDXLOCK;
        return -1;
    }
    memcpy(dst, st->cursor[index].img, size);
    globalhunlock(s.block);
    return slot;
}

namespace {

// Reads page from the file into the image of cursor index and caches it:
// 0, or -1 with cacheerror 23 or 30.
int32_t readfromfile(FHCB* cb, int index, uint32_t page) {
    IdxState* st = cb->index;
    uint8_t* img = st->cursor[index].img;
    const uint32_t size = st->pagesize;
    const int32_t off = pageoffset(page, size);
    bool ok = false;
    for (int attempt = 0; attempt < READTRIES && !ok; attempt++) {
        int32_t fd = static_cast<int32_t>(cb->idxfd);
        pgdiskreads++;
        ok = osreadat(fd, img, size, static_cast<uint32_t>(off)) == static_cast<int32_t>(size);
        if (ok) break;
        if (attempt == 0) {
            // Another process may hold a stale view: take a fresh handle.
            uint32_t flags = fshare(cb->idxname, VN_O_BINARY | VN_O_RDWR);
            osclose(fd);
            cb->idxfd = static_cast<uint32_t>(pgreopen(cb->idxname, flags, 0));
        }
        if (attempt + 1 < READTRIES) osbusywait(RETRYWAIT);
    }
    if (!ok) {
        cacheerror = VN_E_IDXREAD;
        return -1;
    }
    return pgput(cb, index, page, 0) < 0 ? -1 : 0;
}

}  // namespace

const uint8_t* pgview(FHCB* cb, int index, uint32_t page, void** pin) {
    *pin = nullptr;
    const int32_t slot = pgcache.slots ? pglookup(cb->idxfd, page) : -1;
    if (slot < 0) return readfromfile(cb, index, page) < 0 ? nullptr : cb->index->cursor[index].img;
    void* block = pgcache.slots[slot].block;
    const auto* view = static_cast<const uint8_t*>(globalhlock(block));
    if (!view) {
        cacheerror = VN_E_IDXLOCK;
        return nullptr;
    }
    *pin = block;
    return view;
}

void pgunpin(void* pin) { globalhunlock(pin); }

int32_t pgread(FHCB* cb, int index, uint32_t page) {
    void* pin = nullptr;
    const uint8_t* view = pgview(cb, index, page, &pin);
    if (!view) return -1;
    if (pin) {
        memcpy(cb->index->cursor[index].img, view, cb->index->pagesize);
        pgunpin(pin);
    }
    return 0;
}

int32_t pgwrite(FHCB* cb, int index, uint32_t page) {
    int32_t slot = pgput(cb, index, page, 1);
    if (slot >= 0) {
        pgcache.slots[slot].dirty = 1;
        return 0;
    }
    IdxState* st = cb->index;
    int32_t fd = static_cast<int32_t>(cb->idxfd);
    int32_t off = pageoffset(page, st->pagesize);
    if (oswriteat(fd, st->cursor[index].img, st->pagesize, static_cast<uint32_t>(off)) != st->pagesize) {
        cacheerror = VN_E_IDXWRITE;
        return -1;
    }
    return 0;
}

int32_t pgflush(FHCB* cb) {
    int32_t r = 0;
    uint32_t file = cb->idxfd;
    if (pgcache.slots) {
        for (int32_t i = pgcache.used - 1; i >= 0; i--) {
            PageSlot& s = pgcache.slots[i];
            if (s.file == 0 || s.file != file) continue;
            if (s.dirty && pgwriteback(i) < 0) {
                cacheerror = VN_E_IDXWRITE;
                r = -1;
            }
            dropslot(i);
        }
        while (pgcache.used > 0 && pgcache.slots[pgcache.used - 1].file == 0) pgcache.used--;
    }
    osflush(static_cast<int32_t>(file));
    return r;
}

int32_t pgwriteback(int slot) {
    PageSlot& s = pgcache.slots[slot];
    const uint8_t* src = static_cast<const uint8_t*>(globalhlock(s.block));
    if (!src) {
        cacheerror = VN_E_IDXLOCK;
        return -1;
    }
    int32_t fd = static_cast<int32_t>(s.file);
    int32_t off = pageoffset(s.page, s.size);
    bool ok = oswriteat(fd, src, s.size, static_cast<uint32_t>(off)) == s.size;
    globalhunlock(s.block);
    if (!ok) {
        cacheerror = VN_E_IDXWRITE;
        return -1;
    }
    s.dirty = 0;
    return 0;
}

void pgsetreopen(PgReopenFn fn) { pgreopen = fn != nullptr ? fn : osopen; }
