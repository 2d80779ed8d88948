// pagecache.cc - the library-wide write-back cache of index pages: slots
// found through a directory of each file's pages, aged by a lookup clock, the
// oldest page (in a large table, one a clock hand finds unused) evicted
// when the table is full, and per-file flushes.
#include "index/pagecache.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "velnor.h"
#include "index/idxfile.h"
#include "support/os.h"

namespace {

enum { READTRIES = 100, RETRYWAIT = 50 };

constexpr int32_t kFirstRoom = 4096;

// Where the occupied slots are, by file and page: for each file with pages
// in the cache, chunks of kChunk entries (slot -1 for a page not cached)
// made as its pages come in.  An entry names the slot and its block, so
// that a lookup fetches the page's bytes and the slot at once rather than
// one after the other; a few bytes a page keep the directory of a large
// index far smaller than a hash of (file, page) would be.  The pages of a
// real file lie below 2^31 bytes, a few thousand chunks at most; even a
// damaged page number needs fewer than 2^22.
constexpr uint32_t kChunkBits = 10, kChunk = 1u << kChunkBits;
struct DirEntry {
    int32_t slot;
    void* block;  // the slot's block, only ever prefetched
};
struct FilePages {
    uint32_t file;
    uint32_t cached;  // entries that name a slot
    std::vector<std::unique_ptr<DirEntry[]>> chunks;
};

constexpr size_t kSpareChunks = 64;

// The cache's own tables, kept in the index part of the runtime object.
struct Directory : RuntimePart {
    uint32_t blockbytes = 0;  // the bytes of the slots' blocks
    // Slots the table has room for: it starts at kFirstRoom (or the
    // capacity, when smaller) and doubles as pages come in, up to the
    // capacity, so that a process with small files never pays for the
    // whole table.
    int32_t room = 0;
    std::vector<FilePages> filepages;
    // Chunks of files forgotten, every entry back at -1, kept for the next
    // file: shared use forgets its file after every command.
    std::vector<std::unique_ptr<DirEntry[]>> sparechunks;
    std::vector<int32_t> found;  // the slots slotsof lists
    std::vector<uint8_t> staging;  // neighbouring pages written at once
    // A file's dirty slots in file order, and the run being written, kept
    // so that the flush at the end of every shared command allocates none.
    std::vector<int32_t> dirty, run;
    // How many slots are occupied, so that a free slot below used is
    // looked for only when there is one; and where the clock hand of a
    // large table stands.
    int32_t occupied = 0, hand = 0;
};

Directory& dir(IndexState& st) {
    if (st.directory == nullptr) st.directory = new Directory();
    return static_cast<Directory&>(*st.directory);
}

Directory& dir() { return dir(idxstate()); }

void* takeblock(uint16_t size) {
    void* b = globalhalloc(size);
    if (b) dir().blockbytes += size;
    return b;
}

void dropblock(PageSlot& s) {
    globalhfree(s.block);
    dir().blockbytes -= s.size;
    s.block = nullptr;
}

FilePages* pagesof(Directory& d, uint32_t file) {
    for (FilePages& f : d.filepages)
        if (f.file == file) return &f;
    return nullptr;
}

// The directory entry of (file, page), or null when it was never made.
DirEntry* entryof(Directory& d, uint32_t file, uint32_t page) {
    FilePages* f = pagesof(d, file);
    const uint32_t c = page >> kChunkBits;
    if (f == nullptr || c >= f->chunks.size() || !f->chunks[c]) return nullptr;
    return &f->chunks[c][page & (kChunk - 1)];
}

void dirclear() {
    Directory& d = dir();
    d.filepages.clear();
    d.sparechunks.clear();
}

// Enters an occupied slot: true, or false when there is no memory for it.
bool diradd(int32_t slot) {
    Directory& d = dir();
    const PageSlot& s = idxstate().cache.slots[slot];
    try {
        d.sparechunks.reserve(kSpareChunks);
        FilePages* f = pagesof(d, s.file);
        if (f == nullptr && (f = pagesof(d, 0)) != nullptr) f->file = s.file;  // a forgotten file's entry
        if (f == nullptr) f = &d.filepages.emplace_back(FilePages{s.file, 0, {}});
        const uint32_t c = s.page >> kChunkBits;
        if (c >= f->chunks.size()) f->chunks.resize(c + 1);
        std::unique_ptr<DirEntry[]>& chunk = f->chunks[c];
        if (!chunk && !d.sparechunks.empty()) {
            chunk = std::move(d.sparechunks.back());
            d.sparechunks.pop_back();
        }
        if (!chunk) {
            chunk.reset(new DirEntry[kChunk]);
            std::fill_n(chunk.get(), kChunk, DirEntry{-1, nullptr});
        }
        chunk[s.page & (kChunk - 1)] = DirEntry{slot, s.block};
        f->cached++;
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

// Slot of (file, page), or -1; its page's bytes and the slot itself are
// fetched into the processor's cache as the caller goes on.
int32_t dirfind(IndexState& st, uint32_t file, uint32_t page) {
    const DirEntry* e = entryof(dir(st), file, page);
    if (e == nullptr || e->slot < 0) return -1;
    __builtin_prefetch(e->block);
    __builtin_prefetch(&st.cache.slots[e->slot]);
    return e->slot;
}

void dirdrop(int32_t slot) {
    IndexState& st = idxstate();
    Directory& d = dir(st);
    const PageSlot& s = st.cache.slots[slot];
    DirEntry* e = entryof(d, s.file, s.page);
    if (e == nullptr || e->slot != slot) return;
    *e = DirEntry{-1, nullptr};
    pagesof(d, s.file)->cached--;
}

// The occupied slots of a file, highest first, in a list kept from one
// flush to the next so that a shared command allocates nothing here.  The
// slot table is read when it is the shorter, as after a shared command,
// the file's directory when that is.
const std::vector<int32_t>& slotsof(uint32_t file) {
    IndexState& st = idxstate();
    PageCache& pc = st.cache;
    Directory& d = dir(st);
    std::vector<int32_t>& found = d.found;
    found.clear();
    const FilePages* f = pagesof(d, file);
    if (f == nullptr) return found;
    if (static_cast<size_t>(pc.used) <= f->chunks.size() * kChunk) {
        for (int32_t i = pc.used - 1; i >= 0 && found.size() < f->cached; i--)
            if (pc.slots[i].file == file) found.push_back(i);
        return found;
    }
    for (size_t c = 0; c < f->chunks.size() && found.size() < f->cached; c++)
        for (uint32_t i = 0; f->chunks[c] && i < kChunk; i++)
            if (f->chunks[c][i].slot >= 0) found.push_back(f->chunks[c][i].slot);
    std::sort(found.begin(), found.end(), std::greater<int32_t>());
    return found;
}

// Forgets a file none of whose pages is cached any more, keeping a few of
// its chunks, and its entry with the room of its chunk list, for the next
// file: shared use forgets its file after every command.
void dirforget(uint32_t file) {
    Directory& d = dir();
    FilePages* f = pagesof(d, file);
    if (f == nullptr) return;
    // The room was reserved before, so that keeping allocates nothing.
    std::vector<std::unique_ptr<DirEntry[]>>& spare = d.sparechunks;
    const size_t keep = std::min(kSpareChunks, spare.capacity());
    for (auto& chunk : f->chunks)
        if (chunk && f->cached == 0 && spare.size() < keep) spare.push_back(std::move(chunk));
    f->chunks.clear();
    f->file = 0;
    f->cached = 0;
}

// Doubles the slot table's room, up to the capacity: true, or false when
// the memory is not there (the table stays as it was).
bool grow() {
    PageCache& pc = idxstate().cache;
    Directory& d = dir();
    const int32_t more = d.room > pc.capacity / 2 ? pc.capacity : 2 * d.room;
    auto* bigger = static_cast<PageSlot*>(globalcalloc(static_cast<uint32_t>(more), sizeof(PageSlot)));
    if (bigger == nullptr) return false;
    memcpy(bigger, pc.slots, sizeof(PageSlot) * static_cast<size_t>(d.room));
    globalmfree(pc.slots);
    pc.slots = bigger;
    d.room = more;
    return true;
}

// Marks an occupied slot used now.  Only the slot itself is written: a
// large index touches pages all over its table, and any list of them in
// order of use would cost a visit to two more slots on every lookup.
void touch(IndexState& st, int32_t slot) {
    PageSlot& s = st.cache.slots[slot];
    s.age.stamp = st.clock;
    s.recent = 1;
}

// Adds a slot just filled with a page to the table: true, or false, the
// slot left as it was, when there is no memory for it.
bool occupy(int32_t slot) {
    if (!diradd(slot)) return false;
    idxstate().cache.slots[slot].recent = 1;
    dir().occupied++;
    return true;
}

// Takes an occupied slot out of the table.
void vacate(int32_t slot) {
    dirdrop(slot);
    dir().occupied--;
}

// The page to evict, or -1 when no slot is occupied.  The table of
// PGCACHE_SLOTS gives up the slot of greatest age (the later one on a tie),
// its ages read modulo 2^16, so that a page unused for that many lookups
// looks young again.  A larger table sweeps its clock hand on to the first
// page not used since the hand last passed, clearing the marks it passes:
// which page goes first changes when pages reach the file, not what the
// file holds after a flush.
int32_t victim() {
    PageCache& pc = idxstate().cache;
    Directory& d = dir();
    if (d.occupied == 0) return -1;
    if (pc.capacity > PGCACHE_SLOTS) {
        // Every occupied slot lies below used; the second pass finds one.
        for (;;) {
            if (d.hand >= pc.used) d.hand = 0;
            PageSlot& s = pc.slots[d.hand++];
            if (s.file == 0) continue;
            if (!s.recent) return d.hand - 1;
            s.recent = 0;
        }
    }
    const uint32_t clock = idxstate().clock;
    int32_t found = -1;
    uint16_t greatest = 0;
    for (int32_t i = 0; i < pc.used; i++) {
        const PageSlot& s = pc.slots[i];
        if (s.file != 0 && (found < 0 || s.age.at(clock) >= greatest)) {
            found = i;
            greatest = s.age.at(clock);
        }
    }
    return found;
}

// The first free slot below used, or -1.
int32_t firstfree() {
    PageCache& pc = idxstate().cache;
    if (dir().occupied == pc.used) return -1;
    for (int32_t i = 0; i < pc.used; i++)
        if (pc.slots[i].file == 0) return i;
    return -1;
}

int32_t pageoffset(uint32_t page, uint32_t size) { return static_cast<int32_t>(page * size); }

// Frees a slot's block and marks the slot free.
void dropslot(int32_t slot) {
    PageSlot& s = idxstate().cache.slots[slot];
    if (s.file != 0) vacate(slot);
    if (s.block) dropblock(s);
    memset(&s, 0, sizeof s);
}

// Slots below this many keep their blocks when a flush frees them, so that
// shared use, which flushes after every command, does not allocate and
// free the blocks of the few pages each command reads.
constexpr int32_t kKeptBlocks = 64;

// Marks a slot free after its page was flushed; a low slot keeps its block
// (and the block's size) for the next page of that size.
void emptyslot(int32_t slot) {
    if (slot >= kKeptBlocks) return dropslot(slot);
    PageSlot& s = idxstate().cache.slots[slot];
    if (s.file != 0) vacate(slot);
    PageSlot kept = {};
    kept.block = s.block;
    kept.size = s.block ? s.size : 0;
    s = kept;
}

// Empties an occupied slot for a page of size bytes, writing it back when
// dirty; its block stays only when it has that size.  0, or the status of
// the write-back.
int32_t evict(int slot, uint16_t size) {
    PageSlot& s = idxstate().cache.slots[slot];
    if (s.dirty) {
        if (const int32_t st = pgwriteback(slot)) return st;
    }
    vacate(slot);
    s.file = 0;
    if (s.block && s.size != size) dropblock(s);
    return 0;
}

}  // namespace

void pgsetcapacity(int32_t slots) {
    idxstate().nextcapacity = slots < 1 ? 1 : slots > PGCACHE_MAX_SLOTS ? PGCACHE_MAX_SLOTS : slots;
}

int32_t pgcacheinit() {
    PageCache& pc = idxstate().cache;
    Directory& d = dir();
    globalcompact(0, 0);
    globalsettle();
    if (!pc.slots) {
        pc.capacity = idxstate().nextcapacity;
        d.room = std::min(pc.capacity, kFirstRoom);
        pc.slots = static_cast<PageSlot*>(globalcalloc(static_cast<uint32_t>(d.room), sizeof(PageSlot)));
        pc.used = 0;
    }
    if (!pc.slots) {
        globalsettle();
        return VN_E_MEMORY;
    }
    pc.used = 0;
    d.occupied = d.hand = 0;
    dirclear();
    return 0;
}

void pgcachefree() {
    PageCache& pc = idxstate().cache;
    Directory& d = dir();
    for (int32_t i = 0; pc.slots && i < d.room; i++)
        if (pc.slots[i].block) dropblock(pc.slots[i]);
    pc.used = 0;
    d.occupied = d.hand = 0;
    dirclear();
    globalsettle();
    if (pc.slots) globalmfree(pc.slots);
    pc.slots = nullptr;
    d.room = 0;
    d.blockbytes = 0;
}

int32_t pglookup(uint32_t file, uint32_t page) {
    IndexState& st = idxstate();
    st.clock++;
    if (st.cache.used == 0) return -1;
    const int32_t found = dirfind(st, file, page);
    if (found < 0) return -1;
    touch(st, found);
    return found;
}

int32_t pgput(IdxFile& f, int index, uint32_t page, int look, int32_t* slotout) {
    PageCache& pc = idxstate().cache;
    Directory& d = dir();
    *slotout = -1;
    if (!pc.slots) return VN_E_MEMORY;
    IdxState* st = f.state;
    uint16_t size = st->pagesize;
    int32_t slot = look ? pglookup(f.fd, page) : -1;
    if (slot < 0) {
        const int32_t freeslot = firstfree();
        bool fresh = false;
        if (freeslot >= 0) {
            slot = freeslot;
        } else if (pc.used < pc.capacity && (pc.used < PGCACHE_SLOTS || d.blockbytes + size <= PGCACHE_BUDGET) &&
                   (pc.used < d.room || grow())) {
            slot = pc.used++;
            fresh = true;
        } else {
            slot = victim();
            if (const int32_t r = evict(slot, size)) return r;
        }
        PageSlot* s = &pc.slots[slot];
        if (s->block && s->size != size) dropblock(*s);
        if (!s->block) s->block = takeblock(size);
        if (!s->block) {
            // No memory for a new block: fall back on the victim's.
            memset(s, 0, sizeof *s);
            const int32_t old = victim();
            if (!fresh || old < 0) return VN_E_MEMORY;
            pc.used--;
            if (const int32_t r = evict(old, size)) return r;
            slot = old;
            s = &pc.slots[slot];
            if (!s->block) s->block = takeblock(size);
            if (!s->block) {
                memset(s, 0, sizeof *s);
                return VN_E_MEMORY;
            }
        }
        s->file = f.fd;
        s->page = page;
        s->size = size;
        s->age.stamp = idxstate().clock;
        s->dirty = 0;
        if (!occupy(slot)) {
            dropblock(*s);
            memset(s, 0, sizeof *s);  // a free slot below used
            return VN_E_MEMORY;
        }
    }
    PageSlot& s = pc.slots[slot];
    uint8_t* dst = static_cast<uint8_t*>(globalhlock(s.block));
    if (!dst) {
        dropslot(slot);
        return VN_E_IDXLOCK;
    }
    memcpy(dst, st->cursor[index].img, size);
    globalhunlock(s.block);
    *slotout = slot;
    return 0;
}

namespace {

// Reads page from the file into the image of cursor index and caches it:
// 0, or the status of pgread.  Only a shared file retries: there a
// short page may be one another process is still writing, while in
// unshared or exclusive use nothing else can lengthen the file, and a page
// past its end (a damaged nextpage or page pointer) fails at once.
int32_t readfromfile(IdxFile& f, int index, uint32_t page) {
    IdxState* st = f.state;
    uint8_t* img = st->cursor[index].img;
    const uint32_t size = st->pagesize;
    const int32_t off = pageoffset(page, size);
    const int tries = f.shared ? READTRIES : 1;
    bool ok = false;
    for (int attempt = 0; attempt < tries && !ok; attempt++) {
        int32_t fd = static_cast<int32_t>(f.fd);
        idxstate().diskreads++;
        ok = idxreadat(fd, static_cast<uint32_t>(off), img, size);
        if (ok) break;
        if (attempt == 0 && tries > 1) {
            // Another process may hold a stale view: take a fresh handle.
            uint32_t flags = fshare(f.path, VN_O_BINARY | VN_O_RDWR);
            osclose(fd);
            const PgReopenFn reopen = idxstate().reopen;
            f.fd = static_cast<uint32_t>((reopen != nullptr ? reopen : osopen)(f.path, flags, 0));
        }
        if (attempt + 1 < tries) osbusywait(RETRYWAIT);
    }
    if (!ok) return VN_E_IDXREAD;
    // A page read that the cache cannot take fails as a write would.
    int32_t slot;
    const int32_t r = pgput(f, index, page, 0, &slot);
    return r == VN_E_MEMORY ? VN_E_IDXWRITE : r;
}

}  // namespace

namespace {

// The block of an occupied slot, locked, with *pin set to it; null when
// it cannot be locked (VN_E_IDXLOCK).
const uint8_t* lockslot(int32_t slot, void** pin) {
    void* block = idxstate().cache.slots[slot].block;
    const auto* view = static_cast<const uint8_t*>(globalhlock(block));
    if (view) *pin = block;
    return view;
}

}  // namespace

int32_t pgview(IdxFile& f, int index, uint32_t page, const uint8_t** view, void** pin) {
    *pin = nullptr;
    *view = nullptr;
    const int32_t slot = idxstate().cache.slots ? pglookup(f.fd, page) : -1;
    if (slot < 0) {
        const int32_t r = readfromfile(f, index, page);
        if (r == 0) *view = f.state->cursor[index].img;
        return r;
    }
    *view = lockslot(slot, pin);
    return *view ? 0 : VN_E_IDXLOCK;
}

void pgunpin(void* pin) { globalhunlock(pin); }

const uint8_t* pgmapped(const IdxFile& f, uint32_t page) {
    // The map first: where nothing is mapped, the caller's pgview is the
    // only lookup in the cache.
    const uint32_t size = f.state->pagesize;
    const uint8_t* view = osmapview(static_cast<int32_t>(f.fd), size, static_cast<uint32_t>(pageoffset(page, size)));
    if (view == nullptr || (idxstate().cache.slots && pglookup(f.fd, page) >= 0)) return nullptr;
    return view;
}

int32_t pgpeek(const IdxFile& f, uint32_t page, void* to, uint32_t n, bool* hit) {
    *hit = false;
    const int32_t slot = idxstate().cache.slots ? pglookup(f.fd, page) : -1;
    if (slot < 0) return 0;
    void* pin = nullptr;
    const uint8_t* view = lockslot(slot, &pin);
    if (!view) return VN_E_IDXLOCK;
    memcpy(to, view, n);
    pgunpin(pin);
    *hit = true;
    return 0;
}

int32_t pgread(IdxFile& f, int index, uint32_t page) {
    void* pin = nullptr;
    const uint8_t* view;
    if (const int32_t r = pgview(f, index, page, &view, &pin)) return r;
    if (pin) {
        memcpy(f.state->cursor[index].img, view, f.state->pagesize);
        pgunpin(pin);
    }
    return 0;
}

int32_t pgwrite(IdxFile& f, int index, uint32_t page) {
    int32_t slot;
    if (pgput(f, index, page, 1, &slot) == 0) {
        idxstate().cache.slots[slot].dirty = 1;
        return 0;
    }
    IdxState* st = f.state;
    int32_t off = pageoffset(page, st->pagesize);
    if (oswriteat(static_cast<int32_t>(f.fd), st->cursor[index].img, st->pagesize, static_cast<uint32_t>(off)) !=
        st->pagesize)
        return VN_E_IDXWRITE;
    return 0;
}

namespace {

// How many bytes of neighbouring pages go to the file in one write.
constexpr uint32_t kRunBytes = 64u << 10;
// Clean pages shorter than this between two dirty ones go along with them,
// the bytes the file already holds written again: they make no block of
// the disk's (4 KiB at least) dirty that the two did not, and one write
// costs less than two.
constexpr uint32_t kGapBytes = 4096;

// Writes the pages of the slots run, which follow one another in the file,
// in one write through staging, and marks them clean.  0, or VN_E_IDXWRITE
// / VN_E_IDXLOCK (every slot left as it was).
int32_t writerun(const std::vector<int32_t>& run, std::vector<uint8_t>& staging) {
    PageSlot* slots = idxstate().cache.slots;
    if (run.size() == 1) return pgwriteback(run[0]);
    const PageSlot& first = slots[run[0]];
    staging.resize(run.size() * first.size);
    for (size_t k = 0; k < run.size(); k++) {
        const void* src = globalhlock(slots[run[k]].block);
        if (!src) return VN_E_IDXLOCK;
        memcpy(staging.data() + k * first.size, src, first.size);
        globalhunlock(slots[run[k]].block);
    }
    const auto bytes = static_cast<uint32_t>(staging.size());
    const int32_t fd = static_cast<int32_t>(first.file);
    if (oswriteat(fd, staging.data(), bytes, static_cast<uint32_t>(pageoffset(first.page, first.size))) !=
        static_cast<int32_t>(bytes))
        return VN_E_IDXWRITE;
    for (const int32_t slot : run) slots[slot].dirty = 0;
    return 0;
}

// Appends to run the slots of the pages after last up to page when the
// cache holds every one of them: true, or false (run as it was).
bool reachpage(Directory& d, uint32_t file, uint32_t last, uint32_t page, std::vector<int32_t>& run) {
    const size_t had = run.size();
    for (uint32_t p = last + 1; p < page; p++) {
        const DirEntry* e = entryof(d, file, p);
        if (e == nullptr || e->slot < 0) {
            run.resize(had);
            return false;
        }
        run.push_back(e->slot);
    }
    return true;
}

// Writes back every dirty slot of file in file order, neighbours in one
// write, and with gaps the clean pages of a short gap between two dirty
// ones too (only for a file nobody else writes, whose cached pages are
// what it holds).  0, or VN_E_IDXWRITE after trying every slot; a slot
// whose write failed stays dirty.
int32_t writedirty(uint32_t file, bool gaps) {
    IndexState& st = idxstate();
    PageCache& pc = st.cache;
    int32_t r = 0;
    if (pc.slots) {
        // The dirty pages in file order, so that neighbours go in one write;
        // short of memory for that, one by one as they are found.
        Directory& d = dir(st);
        std::vector<int32_t>& dirty = d.dirty;
        std::vector<int32_t>& run = d.run;
        dirty.clear();
        try {
            for (const int32_t i : slotsof(file))
                if (pc.slots[i].dirty) dirty.push_back(i);
            d.staging.reserve(kRunBytes);
            run.reserve(kRunBytes / 64);
        } catch (const std::bad_alloc&) {
            for (const int32_t i : slotsof(file))
                if (pc.slots[i].dirty && pgwriteback(i) != 0) r = VN_E_IDXWRITE;
            dirty.clear();
        }
        std::sort(dirty.begin(), dirty.end(),
                  [&](int32_t a, int32_t b) { return pc.slots[a].page < pc.slots[b].page; });
        for (size_t at = 0; at < dirty.size();) {
            const uint32_t size = pc.slots[dirty[at]].size;
            uint32_t last = pc.slots[dirty[at]].page;
            run.assign(1, dirty[at++]);
            for (; at < dirty.size(); at++) {
                const uint32_t page = pc.slots[dirty[at]].page;
                if ((page != last + 1 && !gaps) || (page - last - 1) * size >= kGapBytes ||
                    (run.size() + page - last) * size > kRunBytes || !reachpage(d, file, last, page, run))
                    break;
                run.push_back(dirty[at]);
                last = page;
            }
            if (writerun(run, d.staging) != 0) r = VN_E_IDXWRITE;
        }
    }
    return r;
}

}  // namespace

int32_t pgclean(uint32_t file) {
    const int32_t r = writedirty(file, true);
    osflush(static_cast<int32_t>(file));
    return r;
}

int32_t pgflush(uint32_t file) {
    PageCache& pc = idxstate().cache;
    const int32_t r = writedirty(file, false);
    if (pc.slots) {
        for (const int32_t i : slotsof(file)) emptyslot(i);
        dirforget(file);
        while (pc.used > 0 && pc.slots[pc.used - 1].file == 0) pc.used--;
    }
    osflush(static_cast<int32_t>(file));
    return r;
}

int32_t pgwriteback(int slot) {
    PageSlot& s = idxstate().cache.slots[slot];
    const uint8_t* src = static_cast<const uint8_t*>(globalhlock(s.block));
    if (!src) return VN_E_IDXLOCK;
    int32_t fd = static_cast<int32_t>(s.file);
    int32_t off = pageoffset(s.page, s.size);
    bool ok = oswriteat(fd, src, s.size, static_cast<uint32_t>(off)) == s.size;
    globalhunlock(s.block);
    if (!ok) return VN_E_IDXWRITE;
    s.dirty = 0;
    return 0;
}

void pgsetreopen(PgReopenFn fn) { idxstate().reopen = fn; }

// Gives back what a started cache holds, for a state thrown away whole.
IndexState::~IndexState() {
    const int32_t room = directory != nullptr ? static_cast<Directory*>(directory)->room : 0;
    for (int32_t i = 0; cache.slots && i < room; i++)
        if (cache.slots[i].block) globalhfree(cache.slots[i].block);
    if (cache.slots) globalmfree(cache.slots);
    delete directory;
}
