// geometry_test.cc - the bytes of the index file: a new file's header page,
// where full pages split, what an emptied tree leaves behind, and the
// free-space list with the order of its writes in shared mode.
#include "idxfixture.h"

namespace {

using Geometry = IndexTest;
using SpaceList = IndexTest;

TEST_F(Geometry, NewFileIsOneHeaderPage) {
    TestIndex f(path("a.idx"), {{{10, 0}}, {{20, SEG_CASE}}}, VN_FF_RECNO);
    ASSERT_EQ(f.create(), 0);
    const std::string b = readfile(f.path);
    // Keys 5, 15 and 25 bytes: P = (24*25 + 228) & 0xFF80 = 768.
    // Magic, version 865, next page 1, no free or space pages, no roots,
    // three indexes, the page size and the key lengths.
    EXPECT_EQ(vntest::hex(b), vntest::cat("544b4600", "6103", "0000", "01000000", "00000000", "00000000",
                                          std::string(144, '0'), "0300", "0003", "050f19",
                                          std::string(2 * (15 + 768 - 114), '0')));
    ASSERT_EQ(f.open(), 0);
    EXPECT_EQ(f.st()->cursor[2].cap, 26);
}

TEST_F(Geometry, AscendingInsertsLeaveFullPagesAndTheRootOverThem) {
    TestIndex f(path("a.idx"), {{{5, 0}}});
    ASSERT_EQ(f.make(), 0);
    for (int i = 1; i <= 28; i++) ASSERT_EQ(f.insert(0, numkey(i), 100 * i), 0);
    checkstructure(f);
    const std::string b = readfile(f.path);
    // The 28th key filled page 1: 28 - 28/8 = 25 stay, 3 go to page 2,
    // and page 3 becomes the root over both (kind 1, two entries).
    EXPECT_EQ(le32(b, 20), 3u);
    EXPECT_EQ(le32(b, 8), 4u);
    EXPECT_EQ(b[256 + 1], 25);
    EXPECT_EQ(b[512 + 1], 3);
    EXPECT_EQ(le32(b, 512 + 4), 2600u);  // first entry of the new page
    EXPECT_EQ(vntest::hex(b.substr(768, 12)), "01020000" "01000000" "02000000");
    EXPECT_EQ(b.substr(768 + 4 + 4 * 28, 10), numkey(25) + numkey(28));
}

TEST_F(Geometry, MiddleInsertSplitsInHalfKeepingTheNewEntryLeft) {
    for (int extra : {3, 29}) {
        TestIndex f(path(vntest::numbered("m", extra) + ".idx"), {{{5, 0}}});
        ASSERT_EQ(f.make(), 0);
        for (int i = 1; i <= 27; i++) ASSERT_EQ(f.insert(0, numkey(2 * i), 2 * i), 0);
        ASSERT_EQ(f.insert(0, numkey(extra), extra), 0);
        checkstructure(f);
        const std::string b = readfile(f.path);
        // Key 3 lands in slot 1: 14 stay.  Key 29 lands in slot 14, which
        // equals 28/2, so 15 stay and the new key with them.
        const int left = extra == 3 ? 14 : 15;
        EXPECT_EQ(b[256 + 1], left) << extra;
        EXPECT_EQ(b[512 + 1], 28 - left) << extra;
        if (extra == 29) { EXPECT_EQ(b.substr(256 + 4 + 4 * 28 + 5 * 14, 5), numkey(29)); }
    }
}

TEST_F(Geometry, OnePageTreeDeletedToEmptyGoesToTheFreeChain) {
    TestIndex f(path("a.idx"), {{{5, 0}}, {{3, SEG_BINARY}}});
    ASSERT_EQ(f.make(), 0);
    for (int i = 1; i <= 3; i++) ASSERT_EQ(f.insert(0, numkey(i), 10 * i), 0);
    for (int i = 1; i <= 3; i++) ASSERT_EQ(f.remove(0, numkey(i), 10 * i), 0);
    EXPECT_EQ(checkstructure(f).freepages, std::vector<uint32_t>{1});
    const std::string b = readfile(f.path);
    EXPECT_EQ(vntest::hex(b.substr(8, 16)), "02000000" "01000000" "00000000" "00000000");
    // The next tree page comes from the chain, for any index.
    ASSERT_EQ(f.insert(1, "abc" + numkey(7), 70), 0);
    EXPECT_TRUE(f.st()->root[1] == 1 && f.st()->freepage == 0 && f.st()->nextpage == 2);
    checkstructure(f);
}

TEST_F(SpaceList, SharedModeWritesTheHeaderBeforeANewListPage) {
    TestIndex f(path("s.idx"), {{{5, 0}}});
    ASSERT_EQ(f.make(), 0);
    f.f.shared = true;
    ASSERT_EQ(spaceadd(f.f, 77, 40), 0);
    std::string b = readfile(f.path);
    EXPECT_EQ(le32(b, 16), 1u);
    EXPECT_EQ(le32(b, 8), 2u);
    EXPECT_EQ(b.size(), 256u);  // the page itself waits in the cache
    ASSERT_EQ(pgflush(f.f.fd), 0);
    b = readfile(f.path);
    // No next page, one entry: position 77, length 40.
    EXPECT_EQ(vntest::hex(b.substr(256, 12)), "00000000" "0100" "4d000000" "2800");
    // Emptying it frees it and writes the header at once.
    EXPECT_EQ(f.take(40), 77u);
    b = readfile(f.path);
    EXPECT_EQ(vntest::hex(b.substr(12, 8)), "01000000" "00000000");
    EXPECT_EQ(b.substr(256 + 4), std::string(252, '\0'));
}

}  // namespace
