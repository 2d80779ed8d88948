// pagecache.h - the library-wide write-back cache of index pages.  Pages are
// identified by (file handle, page number); the tree code works on its
// cursor's page image, and the cache copies whole pages to and from it.
#ifndef VELNOR_INDEX_PAGECACHE_H
#define VELNOR_INDEX_PAGECACHE_H

#include <cstdint>

#include "index/idxctx.h"
#include "support/runtime.h"

// The classic table held 128 slots; a larger one keeps more of a big
// unshared index in memory.  A flush still drops every page of its file, so
// shared use, which flushes after each command, sees no difference.  Blocks
// are taken as pages come in, and the table grows no further once they hold
// PGCACHE_BUDGET bytes (a block of another size may go somewhat past it):
// 1 GiB in a 64-bit process (the index of some 12 million records of the
// benchmark), 64 MiB in a 32-bit one.
constexpr bool kWideProcess = sizeof(void*) >= 8;
enum {
    PGCACHE_SLOTS = 128,
    PGCACHE_DEFAULT_SLOTS = kWideProcess ? 1 << 20 : 1 << 16,
    PGCACHE_MAX_SLOTS = 1 << 20
};
enum : uint32_t { PGCACHE_BUDGET = kWideProcess ? 1024u << 20 : 64u << 20 };

// A slot's age: the lookups since the page was last used.  It is kept as the
// clock reading at that use, so a lookup ages every page at once; reading it
// gives the difference mod 65536, exactly what a 16-bit counter bumped on
// every lookup would hold, wrap included (2^16 divides 2^32).  Only the
// cache sets stamps, always to the clock's reading, so the order of use it
// keeps is also the order of the stamps.
struct SlotAge {
    uint32_t stamp;
    uint16_t at(uint32_t clock) const { return static_cast<uint16_t>(clock - stamp); }
    operator uint16_t() const;  // at the cache's clock
};

struct PageSlot {
    uint32_t page;   // page number in its file
    void* block;     // moveable block of size bytes, or null
    uint32_t file;   // OS handle of the index file; 0 = free slot
    uint16_t size;   // page size of that file
    SlotAge age;     // lookups since the page was last used
    uint8_t dirty;   // the copy differs from the disk
    uint8_t recent;  // used since the clock hand last passed (large tables)
};

struct PageCache {
    int32_t capacity;  // slots, fixed while the cache is started
    int32_t used;      // leading slots handed out and not trimmed
    PageSlot* slots;   // null while the cache is not started
};

// How a page read that failed once takes a fresh handle on its index file:
// a handle (below 1 on failure) for path opened with the OS open flags and
// permission given.  The engine installs its handle cache's open here at
// start-up, so a reopen can park another file when handles run short; null
// (and the default) is a plain osopen.
using PgReopenFn = int32_t (*)(const char* path, uint32_t flags, uint32_t perm);
void pgsetreopen(PgReopenFn fn);

// The index layer's part of the runtime object.  It outlives the engine's
// real shutdown, which frees only the cache's table and blocks: the
// capacity asked for and the lock epoch stay.
struct IndexState : RuntimePart {
    PageCache cache = {0, 0, nullptr};
    uint32_t clock = 0;      // lookups made so far; wraps at 2^32
    uint32_t diskreads = 0;  // page reads that reached the file (each attempt); for tests
    int32_t nextcapacity = PGCACHE_DEFAULT_SLOTS;  // see pgsetcapacity
    PgReopenFn reopen = nullptr;                   // see pgsetreopen; null for osopen
    uint32_t lockepoch = 1;                        // see idxlockepoch (idxfile.h)
    // The cache's own tables (pagecache.cc): where each file's pages are,
    // the blocks' bytes, the table's room, the clock hand.
    RuntimePart* directory = nullptr;
    ~IndexState() override;
};

// The index layer's part, made on first use.  Throws std::bad_alloc when it
// cannot be made.
inline IndexState& idxstate() { return runtimepart<IndexState>(RT_INDEX); }

inline SlotAge::operator uint16_t() const { return at(idxstate().clock); }

// Sets the capacity the next pgcacheinit gives the cache, clamped to 1 ..
// PGCACHE_MAX_SLOTS (PGCACHE_DEFAULT_SLOTS until set); a started cache
// keeps its own until it is freed.
void pgsetcapacity(int32_t slots);

// Every call below that can fail returns 0 or the status of the failure:
// VN_E_MEMORY, VN_E_IDXREAD, VN_E_IDXWRITE or VN_E_IDXLOCK.

// Starts the cache with its capacity of free slots.  0, or VN_E_MEMORY.
int32_t pgcacheinit();
// Drops the slot table and the blocks its free slots kept; every file must
// have been flushed before.
void pgcachefree();
// Slot of (file, page), or -1, found through the directory of its file.
// Ages every other occupied slot by one and makes the found one's age 0.
int32_t pglookup(uint32_t file, uint32_t page);
// Copies the image of cursor index into a slot for page, *slot.  With look
// clear the caller knows the page is not cached.  A new slot is clean; a
// slot found by look keeps its dirty flag.  0; VN_E_MEMORY when no slot
// or block can be had, or the status of writing back the page evicted or
// of locking the slot's block.
int32_t pgput(IdxFile& f, int index, uint32_t page, int look, int32_t* slot);
// Makes the image of cursor index hold page: from the cache, else read
// from the file (shared: up to 100 tries, 50 ms apart, reopening the file
// once, which may change f.fd; unshared or exclusive: one try).  0,
// VN_E_IDXREAD or VN_E_IDXLOCK; a page read but not cached, VN_E_IDXWRITE.
int32_t pgread(IdxFile& f, int index, uint32_t page);
// Page to read in place, *view: the cached copy, its block locked until
// pgunpin(*pin), with nothing else called in the cache before that; else
// read from the file into the image of cursor index as pgread does, *pin
// null.  0, or the status of pgread (*view null).
int32_t pgview(IdxFile& f, int index, uint32_t page, const uint8_t** view, void** pin);
void pgunpin(void* pin);
// Page as the index file's map shows it, for a page the cache holds no
// copy of: read it only inside osmapguard on f.fd, and expect it to
// change under the reader while another process writes the file.  Null
// when the cache holds the page or the map cannot show it; the page is
// then read with pgview.  Nothing is cached.
const uint8_t* pgmapped(const IdxFile& f, uint32_t page);
// Copies the first n bytes of page into to when the page is cached (*hit
// true); *hit false when it is not, nothing being read.  0, or
// VN_E_IDXLOCK when its block cannot be locked.  A lookup, as pglookup's.
int32_t pgpeek(const IdxFile& f, uint32_t page, void* to, uint32_t n, bool* hit);
// Stores the image of cursor index as page: dirty in the cache, or
// straight to the file when the cache cannot take it.  0, or VN_E_IDXWRITE.
int32_t pgwrite(IdxFile& f, int index, uint32_t page);
// Writes back every dirty slot of the index file fd, in file order with
// neighbours in one write, drops every slot of it, trims used and flushes
// the file.  0, or VN_E_IDXWRITE after trying every slot.
int32_t pgflush(uint32_t fd);
// Writes back every dirty slot of the index file fd and keeps its pages
// cached, clean, for a file that nobody else writes; then flushes the
// file.  0, or VN_E_IDXWRITE after trying every slot.
int32_t pgclean(uint32_t fd);
// Writes one slot to its file and clears its dirty flag.  0, VN_E_IDXWRITE,
// or VN_E_IDXLOCK when its block cannot be locked.
int32_t pgwriteback(int slot);

#endif
