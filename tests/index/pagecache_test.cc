// pagecache_test.cc - the page cache against a plain model that ages
// every occupied slot on each lookup and picks victims by a full scan:
// random writes, reads and flushes over two files of different page sizes
// must leave the same pages in the same slots with the same ages and dirty
// flags, ages must wrap as 16-bit counters, and every page must read back
// the bytes last written to it.  Then what the model does not reach: the
// read retry on a page not (yet) in the file.
#include <cstring>
#include <filesystem>
#include <map>
#include <random>

#include "idxfixture.h"
#include "support/os.h"

namespace {

// The cache as a linear table: what the real one must behave like.
struct Model {
    struct Slot { uint32_t file = 0, page = 0; uint16_t age = 0; uint8_t dirty = 0; } s[PGCACHE_SLOTS];
    int used = 0;

    int lookup(uint32_t file, uint32_t page) {
        int found = -1;
        for (int i = 0; i < used; i++) {
            if (s[i].file == 0) continue;
            const bool hit = found < 0 && s[i].file == file && s[i].page == page;
            s[i].age = hit ? 0 : static_cast<uint16_t>(s[i].age + 1);
            if (hit) found = i;
        }
        return found;
    }
    int put(uint32_t file, uint32_t page) {
        int freeslot = -1, victim = -1;
        for (int i = 0; i < used; i++) {
            if (s[i].file == 0 && freeslot < 0) freeslot = i;
            if (s[i].file != 0 && (victim < 0 || s[i].age >= s[victim].age)) victim = i;
        }
        const int slot = freeslot >= 0 ? freeslot : used < PGCACHE_SLOTS ? used++ : victim;
        s[slot] = {file, page, 0, 0};
        return slot;
    }
    void write(uint32_t file, uint32_t page) {
        const int slot = lookup(file, page);
        s[slot >= 0 ? slot : put(file, page)].dirty = 1;
    }
    void read(uint32_t file, uint32_t page) {
        if (lookup(file, page) < 0) put(file, page);
    }
    void flush(uint32_t file) {
        for (int i = 0; i < used; i++)
            if (s[i].file == file) s[i] = {};
        while (used > 0 && s[used - 1].file == 0) used--;
    }
    // The cache's slots are these, at step.
    void same(int step) const {
        const PageCache& cache = idxstate().cache;
        ASSERT_EQ(cache.used, used) << "step " << step;
        for (int i = 0; i < used; i++) {
            const PageSlot& c = cache.slots[i];
            const Slot got = c.file ? Slot{c.file, c.page, c.age, c.dirty} : Slot{};
            ASSERT_TRUE(got.file == s[i].file && got.page == s[i].page && got.age == s[i].age && got.dirty == s[i].dirty)
                << "step " << step << " slot " << i << ": page " << got.page << " age " << got.age;
        }
    }
};

using PageCacheTest = IndexTest;

TEST_F(PageCacheTest, SlotsAgesAndContentsFollowTheLinearModel) {
    TestIndex a(path("a.idx"), {{{5, 0}}}), b(path("b.idx"), {{{10, 0}}});
    ASSERT_EQ(a.make() | b.make(), 0);
    TestIndex* files[2] = {&a, &b};
    Model m;
    std::map<std::pair<int, uint32_t>, uint8_t> written;  // (file, page) -> fill
    std::mt19937 rng(7);
    int step = 0;
    auto write = [&](int fi, uint32_t page) {
        TestIndex& f = *files[fi];
        const auto fill = static_cast<uint8_t>(rng());
        memset(f.st()->cursor[0].img, written[{fi, page}] = fill, f.st()->pagesize);
        ASSERT_EQ(pgwrite(f.f, 0, page), 0);
        m.write(f.f.fd, page);
    };
    auto read = [&](int fi, uint32_t page) {
        TestIndex& f = *files[fi];
        const std::string fill(f.st()->pagesize, static_cast<char>(written.at({fi, page})));
        memset(f.st()->cursor[0].img, ~fill[0], fill.size());
        ASSERT_EQ(pgread(f.f, 0, page), 0);
        m.read(f.f.fd, page);
        ASSERT_EQ(std::string(reinterpret_cast<char*>(f.st()->cursor[0].img), fill.size()), fill) << "step " << step;
    };
    auto flush = [&](int fi) {
        ASSERT_EQ(pgflush(files[fi]->f.fd), 0);
        m.flush(files[fi]->f.fd);
    };
    for (step = 0; step < 20000 && !HasFatalFailure(); step++) {
        const int fi = rng() % 4 == 0 ? 1 : 0;
        const uint32_t page = 1 + rng() % 180;
        const unsigned what = rng() % 100;
        what < 2 ? flush(fi) : what < 45 || !written.count({fi, page}) ? write(fi, page) : read(fi, page);
        m.same(step);
    }
    // A hot set of 127 pages leaves one slot untouched until its age has
    // wrapped past 65535; the victim is then the oldest by the wrapped count.
    flush(0);
    flush(1);
    for (uint32_t p = 1; p <= PGCACHE_SLOTS; p++) write(0, p);
    for (int i = 0; i < 70000; i++, step++) read(0, 1 + static_cast<uint32_t>(i % 127));
    m.same(step);
    write(0, 500);
    m.same(step);
    for (uint32_t p = 1; p <= 128; p++) read(0, p);
    m.same(step);
}

TEST_F(PageCacheTest, AShortReadIsRetriedOnlyInSharedUse) {
    TestIndex f(path("a.idx"), {{{5, 0}}});
    ASSERT_EQ(f.make(), 0);
    for (int i = 0; i < 100; i++) ASSERT_EQ(f.insert(0, numkey(i), i + 1), 0);
    // Cut under a shared handle whose map has seen the whole file: the
    // pages past the new end, the root among them, read as zeros through
    // the map, and still count as missing.  Shared, such a page may be one
    // another process is still writing: 100 tries and one reopen.
    ASSERT_EQ(pgflush(f.f.fd) | hdrwrite(f.f), 0);
    f.f.shared = true;
    ASSERT_EQ(f.search(0, "00050", SRCH_EQUAL), 51);
    ASSERT_EQ(pgflush(f.f.fd), 0);
    std::filesystem::resize_file(f.path, 2 * 256);
    const uint32_t before = idxstate().diskreads;
    EXPECT_EQ(f.search(0, "00050", SRCH_EQUAL), -1);
    EXPECT_EQ(idxstate().diskreads - before, 100u);
    // A cache failure: it yields to a status the caller already holds.
    EXPECT_EQ(f.status, fromcache(VN_E_IDXREAD));
    // The handle it reopened is live.
    EXPECT_EQ(osfilesize(static_cast<int32_t>(f.f.fd)), 2 * 256);
    // Unshared nothing can lengthen the file: a page its nextpage puts
    // past the end fails at once.
    TestIndex u(f.path, {{{5, 0}}});
    ASSERT_EQ(u.open(), 0);
    const uint32_t again = idxstate().diskreads;
    EXPECT_EQ(u.search(0, "00050", SRCH_EQUAL), -1);
    EXPECT_EQ(idxstate().diskreads - again, 1u);
    EXPECT_EQ(u.status, fromcache(VN_E_IDXREAD));
}

}  // namespace
