// pagecache_test.cc - the library-wide page cache: hits that spare the
// disk, the oldest page evicted and its block reused when the table is
// full, write-through when no slot can be had, per-file flushes, the read
// retry on a page that is not (yet) in the file, and two handles on one
// file working in shared mode.
#include <cstring>
#include <filesystem>

#include "idxfixture.h"
#include "index/btree.h"
#include "index/pagecache.h"
#include "support/os.h"

namespace {

class PageCacheTest : public IndexTest {
protected:
    // Writes page n of f through the cache with every byte of the image
    // set to fill.
    void writepage(IdxFile& f, uint32_t n, char fill) {
        memset(f.st()->cursor[0].img, fill, f.st()->pagesize);
        ASSERT_EQ(pgwrite(&f.cb, 0, n), 0);
    }
    std::string ondisk(IdxFile& f, uint32_t n) {
        std::string b = filebytes(f.path);
        size_t P = f.st()->pagesize;
        return b.size() >= (n + 1) * P ? b.substr(n * P, P) : std::string();
    }
    int slotof(IdxFile& f, uint32_t n) {
        for (int i = 0; i < pgcache.used; i++)
            if (pgcache.slots[i].file == f.cb.idxfd && pgcache.slots[i].page == n) return i;
        return -1;
    }
};

TEST_F(PageCacheTest, APageReadTwiceComesFromTheDiskOnce) {
    IdxFile f(path("a.idx"), {{{5, 0}}});
    ASSERT_EQ(f.create(), 0);
    ASSERT_EQ(f.open(), 0);
    f.shared(true);  // no resumed searches: every search reads the root
    f.setkey("bbbbb");
    ASSERT_EQ(idxinsert(&f.cb, 0, 7), 0);
    EXPECT_EQ(pgcache.used, 0);  // shared mode flushed the file
    pgdiskreads = 0;
    for (int i = 0; i < 3; i++) {
        f.setkey("bbbbb");
        EXPECT_EQ(idxsearch(&f.cb, 0, SRCH_EQUAL), 7);
    }
    EXPECT_EQ(pgdiskreads, 1u);
    ASSERT_EQ(pgflush(&f.cb), 0);
    f.setkey("bbbbb");
    EXPECT_EQ(idxsearch(&f.cb, 0, SRCH_EQUAL), 7);
    EXPECT_EQ(pgdiskreads, 2u);
}

TEST_F(PageCacheTest, AFullTableEvictsTheOldestPageAndReusesItsBlock) {
    IdxFile f(path("a.idx"), {{{5, 0}}});
    ASSERT_EQ(f.create(), 0);
    ASSERT_EQ(f.open(), 0);
    for (uint32_t n = 1; n <= PGCACHE_SLOTS; n++) writepage(f, n, static_cast<char>(n));
    ASSERT_EQ(pgcache.used, PGCACHE_SLOTS);
    // Page n was passed over by every later lookup: page 1 is the oldest.
    EXPECT_EQ(pgcache.slots[0].age, PGCACHE_SLOTS - 1);
    EXPECT_EQ(pgcache.slots[PGCACHE_SLOTS - 1].age, 0);
    EXPECT_EQ(ondisk(f, 1), "");  // nothing written yet
    void* block = pgcache.slots[0].block;
    writepage(f, 200, 'x');
    EXPECT_EQ(slotof(f, 200), 0);
    EXPECT_EQ(pgcache.slots[0].block, block);
    EXPECT_EQ(pgcache.slots[0].dirty, 1);
    EXPECT_EQ(ondisk(f, 1), std::string(256, '\x01'));
    // On equal ages the later slot goes.
    pgcache.slots[5].age = pgcache.slots[9].age = 60000;
    writepage(f, 201, 'y');
    EXPECT_EQ(slotof(f, 201), 9);
    EXPECT_EQ(ondisk(f, 10), std::string(256, '\x0a'));
    EXPECT_EQ(slotof(f, 6), 5);
    // A clean victim is not written.
    pgcache.slots[20].dirty = 0;
    pgcache.slots[20].age = 65000;
    writepage(f, 202, 'z');
    EXPECT_EQ(slotof(f, 202), 20);
    EXPECT_NE(ondisk(f, 21), std::string(256, 21));
    ASSERT_EQ(pgflush(&f.cb), 0);
    EXPECT_EQ(ondisk(f, 202), std::string(256, 'z'));
    EXPECT_EQ(pgcache.used, 0);
}

TEST_F(PageCacheTest, APageThatCannotBePlacedIsWrittenThrough) {
    IdxFile a(path("a.idx"), {{{5, 0}}}), b(path("b.idx"), {{{5, 0}}});
    ASSERT_EQ(a.create(), 0);
    ASSERT_EQ(b.create(), 0);
    ASSERT_EQ(a.open(), 0);
    ASSERT_EQ(b.open(), 0);
    for (uint32_t n = 1; n <= PGCACHE_SLOTS; n++) writepage(b, n, 'b');
    // With b's handle gone its oldest page cannot be written back.
    int32_t fd = static_cast<int32_t>(b.cb.idxfd);
    osclose(fd);
    cacheerror = 0;
    writepage(a, 3, 'a');
    EXPECT_EQ(cacheerror, VN_E_IDXWRITE);
    EXPECT_EQ(slotof(a, 3), -1);
    EXPECT_EQ(ondisk(a, 3), std::string(256, 'a'));
    // Flushing b fails on every dirty page but still empties its slots.
    EXPECT_EQ(pgflush(&b.cb), -1);
    EXPECT_EQ(pgcache.used, 0);
    b.cb.idxfd = static_cast<uint32_t>(osopen(b.path.c_str(), VN_O_BINARY | VN_O_RDWR, 0));
}

TEST_F(PageCacheTest, FlushDropsOneFileAndTrimsTrailingFreeSlots) {
    IdxFile a(path("a.idx"), {{{5, 0}}}), b(path("b.idx"), {{{10, 0}}});
    ASSERT_EQ(a.create(), 0);
    ASSERT_EQ(b.create(), 0);
    ASSERT_EQ(a.open(), 0);
    ASSERT_EQ(b.open(), 0);
    for (uint32_t n = 1; n <= 5; n++) writepage(a, n, 'a');
    for (uint32_t n = 1; n <= 3; n++) writepage(b, n, 'b');
    for (uint32_t n = 6; n <= 7; n++) writepage(a, n, 'c');
    ASSERT_EQ(pgcache.used, 10);
    EXPECT_EQ(pgcache.slots[5].size, 384);
    ASSERT_EQ(pgflush(&a.cb), 0);
    EXPECT_EQ(pgcache.used, 8);
    for (int i = 0; i < 8; i++) EXPECT_EQ(pgcache.slots[i].file != 0, i >= 5) << i;
    EXPECT_EQ(ondisk(a, 7), std::string(256, 'c'));
    EXPECT_EQ(ondisk(b, 1), "");
    // A new page takes the first free slot.
    writepage(a, 9, 'd');
    EXPECT_EQ(slotof(a, 9), 0);
    ASSERT_EQ(pgflush(&b.cb), 0);
    EXPECT_EQ(pgcache.used, 1);
    EXPECT_EQ(ondisk(b, 3), std::string(384, 'b'));
    ASSERT_EQ(pgflush(&a.cb), 0);
    EXPECT_EQ(pgcache.used, 0);
}

TEST_F(PageCacheTest, AShortReadIsRetriedAHundredTimesWithOneReopen) {
    IdxFile f(path("a.idx"), {{{5, 0}}});
    ASSERT_EQ(f.create(), 0);
    ASSERT_EQ(f.open(), 0);
    for (int i = 0; i < 100; i++) {
        char k[8];
        snprintf(k, sizeof k, "%05d", i);
        f.setkey(k);
        ASSERT_EQ(idxinsert(&f.cb, 0, i + 1), 0);
    }
    ASSERT_EQ(f.close(), 0);
    std::filesystem::resize_file(f.path, 2 * 256);  // the root is gone
    ASSERT_EQ(f.open(), 0);
    pgdiskreads = 0;
    cacheerror = 0;
    f.cb.status = 0;
    f.setkey("00050");
    EXPECT_EQ(idxsearch(&f.cb, 0, SRCH_EQUAL), -1);
    EXPECT_EQ(pgdiskreads, 100u);
    EXPECT_EQ(cacheerror, VN_E_IDXREAD);
    EXPECT_EQ(f.cb.status, VN_E_IDXREAD);
    // The handle it reopened is live.
    EXPECT_EQ(osseek(static_cast<int32_t>(f.cb.idxfd), 0, 0), 0);
    char magic[4];
    EXPECT_EQ(osread(static_cast<int32_t>(f.cb.idxfd), magic, 4), 4);
    EXPECT_EQ(std::string(magic, 3), "TKF");
}

TEST_F(PageCacheTest, TwoHandlesInSharedModeSeeEachOthersChanges) {
    IdxFile a(path("s.idx"), {{{5, 0}}}), b(path("s.idx"), {{{5, 0}}});
    ASSERT_EQ(a.create(), 0);
    ASSERT_EQ(a.open(), 0);
    ASSERT_EQ(b.open(), 0);
    a.shared(true);
    b.shared(true);
    for (int i = 0; i < 400; i++) {
        IdxFile& w = i % 3 ? a : b;
        IdxFile& r = i % 3 ? b : a;
        char k[8];
        snprintf(k, sizeof k, "%05d", (i * 37) % 1000);
        w.setkey(k);
        ASSERT_EQ(idxinsert(&w.cb, 0, i + 1), 0) << i;
        // Each command of the reader starts without cached pages.
        ASSERT_EQ(pgflush(&r.cb), 0);
        r.setkey(k);
        ASSERT_EQ(idxsearch(&r.cb, 0, SRCH_EQUAL), i + 1) << i;
        if (i % 4 == 0) {
            ASSERT_EQ(idxdelete(&r.cb, 0, i + 1), 0) << i;
            ASSERT_EQ(pgflush(&w.cb), 0);
            w.setkey(k);
            EXPECT_EQ(idxsearch(&w.cb, 0, SRCH_EQUAL), 0) << i;
        }
    }
    Layout l = checkstructure(a);
    EXPECT_EQ(l.entries[0], 300u);
}

}  // namespace
