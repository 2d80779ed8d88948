// pagecache_test.cc - the page cache where the model test does not go: a
// write that cannot reach its file, the read retry on a page that is not
// (yet) in the file, and a walk beside another handle's changes.
#include <cstring>
#include <filesystem>
#include <random>
#include <set>

#include "idxfixture.h"
#include "support/os.h"

namespace {

class PageCacheTest : public IndexTest {
protected:
    // Writes page n of f through the cache with every byte of the image
    // set to fill.
    void writepage(TestIndex& f, uint32_t n, char fill) {
        memset(f.st()->cursor[0].img, fill, f.st()->pagesize);
        ASSERT_EQ(pgwrite(f.f, 0, n), 0);
    }
    std::string ondisk(TestIndex& f, uint32_t n) {
        std::string b = readfile(f.path);
        size_t P = f.st()->pagesize;
        return b.size() >= (n + 1) * P ? b.substr(n * P, P) : std::string();
    }
    // Makes the file of a, opens it again as b, and puts both in shared use.
    static bool shareboth(TestIndex& a, TestIndex& b) {
        if (a.make() != 0 || b.open() != 0) return false;
        a.f.shared = b.f.shared = true;
        return true;
    }
    int slotof(TestIndex& f, uint32_t n) {
        for (int i = 0; i < pgcache.used; i++)
            if (pgcache.slots[i].file == f.f.fd && pgcache.slots[i].page == n) return i;
        return -1;
    }
};

TEST_F(PageCacheTest, APageThatCannotBePlacedIsWrittenThrough) {
    TestIndex a(path("a.idx"), {{{5, 0}}}), b(path("b.idx"), {{{5, 0}}});
    ASSERT_EQ(a.make(), 0);
    ASSERT_EQ(b.make(), 0);
    for (uint32_t n = 1; n <= PGCACHE_SLOTS; n++) writepage(b, n, 'b');
    // With b's handle gone its oldest page cannot be written back, nor
    // can a's page take its slot: it goes straight to a's file.
    osclose(static_cast<int32_t>(b.f.fd));
    int32_t slot;
    memset(a.st()->cursor[0].img, 'a', 256);
    EXPECT_EQ(pgput(a.f, 0, 3, 1, &slot), VN_E_IDXWRITE);
    writepage(a, 3, 'a');
    EXPECT_EQ(slotof(a, 3), -1);
    EXPECT_EQ(ondisk(a, 3), std::string(256, 'a'));
    // Flushing b fails on every dirty page but still empties its slots.
    EXPECT_EQ(pgflush(b.f.fd), VN_E_IDXWRITE);
    EXPECT_EQ(pgcache.used, 0);
    b.f.fd = static_cast<uint32_t>(osopen(b.path.c_str(), VN_O_BINARY | VN_O_RDWR, 0));
}

TEST_F(PageCacheTest, AShortReadIsRetriedOnlyInSharedUse) {
    TestIndex f(path("a.idx"), {{{5, 0}}});
    ASSERT_EQ(f.make(), 0);
    for (int i = 0; i < 100; i++) ASSERT_EQ(f.insert(0, numkey(i), i + 1), 0);
    // Cut under a shared handle whose map has seen the whole file: the
    // pages past the new end, the root among them, read as zeros through
    // the map, and still count as missing.  Shared, such a page may be one
    // another process is still writing: 100 tries and one reopen.
    ASSERT_EQ(pgflush(f.f.fd), 0);
    ASSERT_EQ(hdrwrite(f.f), 0);
    f.f.shared = true;
    ASSERT_EQ(f.search(0, "00050", SRCH_EQUAL), 51);
    ASSERT_EQ(pgflush(f.f.fd), 0);
    std::filesystem::resize_file(f.path, 2 * 256);
    pgdiskreads = 0;
    EXPECT_EQ(f.search(0, "00050", SRCH_EQUAL), -1);
    EXPECT_EQ(pgdiskreads, 100u);
    // A cache failure: it yields to a status the caller already holds.
    EXPECT_EQ(f.status, fromcache(VN_E_IDXREAD));
    // The handle it reopened is live.
    EXPECT_EQ(osseek(static_cast<int32_t>(f.f.fd), 0, 0), 0);
    char magic[4];
    EXPECT_EQ(osread(static_cast<int32_t>(f.f.fd), magic, 4), 4);
    EXPECT_EQ(std::string(magic, 3), "TKF");
    // Unshared nothing can lengthen the file: a page its nextpage puts
    // past the end fails at once.
    TestIndex u(f.path, {{{5, 0}}});
    ASSERT_EQ(u.open(), 0);
    pgdiskreads = 0;
    EXPECT_EQ(u.search(0, "00050", SRCH_EQUAL), -1);
    EXPECT_EQ(pgdiskreads, 1u);
    EXPECT_EQ(u.status, fromcache(VN_E_IDXREAD));
}

}  // namespace

// One handle walks in key order while the other inserts and deletes between
// its steps, splitting and emptying the leaf the walker stands in: each step
// still finds the next key the file holds.
TEST_F(PageCacheTest, SharedStepsFollowAnotherHandlesChanges) {
    TestIndex a(path("w.idx"), {{{5, 0}}}), b(path("w.idx"), {{{5, 0}}});
    ASSERT_TRUE(shareboth(a, b));
    std::set<std::string> held;
    for (int i = 0; i < 600; i += 2) held.insert(numkey(i));
    for (const std::string& k : held) ASSERT_EQ(b.insert(0, k, 1), 0);
    ASSERT_EQ(pgflush(b.f.fd), 0);
    std::mt19937 rng(5);
    std::string at(5, '\0');
    for (int step = 0; step < 2000; step++) {
        const std::string k = numkey(static_cast<int>(rng() % 1000));
        if (held.erase(k)) {
            ASSERT_EQ(b.remove(0, k, 1), 0);
        } else {
            ASSERT_EQ(b.insert(0, k, 1), 0);
            held.insert(k);
        }
        ASSERT_EQ(pgflush(b.f.fd), 0);
        auto next = held.upper_bound(at);
        const int32_t r = a.search(0, at, at[0] ? SRCH_STEP : SRCH_FIRST);
        ASSERT_EQ(r, next == held.end() ? 0 : 1) << step;
        ASSERT_EQ(pgflush(a.f.fd), 0);
        if (r) {
            at = a.foundkey(0);
            ASSERT_EQ(at, *next) << step;
        } else if (rng() % 4 == 0) {
            at = std::string(5, '\0');  // past the end, it stays there a while
        }
    }
}

// A large table starts small and doubles while pages come in; one smaller
// than the index evicts.  Either way every page stays findable across the
// moves and evictions, and the file comes out whole.
TEST_F(PageCacheTest, LargeTablesGrowAndEvictAsPagesComeIn) {
    for (const int32_t capacity : {20000, 300}) {
        pgcachefree();
        pgsetcapacity(capacity);
        ASSERT_EQ(pgcacheinit(), 0);
        TestIndex f(path(vntest::cat("g", capacity, ".idx")), {{{5, 0}}});
        ASSERT_EQ(f.make(), 0);
        for (int i = 0; i < 100000; i++) ASSERT_EQ(f.insert(0, numkey((i * 7919) % 100000), i + 1), 0) << i;
        EXPECT_EQ(pgcache.used > 4096, capacity > 4096);
        for (int i = 0; i < 100000; i += 997) EXPECT_EQ(f.search(0, numkey((i * 7919) % 100000), SRCH_EQUAL), i + 1);
        EXPECT_EQ(checkstructure(f).entries[0], 100000u);
    }
}
