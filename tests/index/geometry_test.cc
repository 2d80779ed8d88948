// geometry_test.cc - the bytes of the index file: a new file's header page, where full pages split, and what an
// emptied tree leaves behind.
#include "idxfixture.h"

namespace {

void put(TestIndex& f, int index, const std::string& key, uint32_t pos) {
    ASSERT_EQ(f.insert(index, key, pos), 0) << key;
}
void del(TestIndex& f, int index, const std::string& key, uint32_t pos) {
    ASSERT_EQ(f.remove(index, key, pos), 0) << key;
}

class Geometry : public IndexTest {};

TEST_F(Geometry, NewFileIsOneHeaderPage) {
    TestIndex f(path("a.idx"), {{{10, 0}}, {{20, SEG_CASE}}}, VN_FF_RECNO);
    ASSERT_EQ(f.create(), 0);
    std::string b = readfile(f.path);
    // Keys 5, 15 and 25 bytes: P = (24*25 + 228) & 0xFF80 = 768.
    ASSERT_EQ(b.size(), 768u);
    // Magic, version 865, next page 1, no free or space pages, no roots,
    // three indexes, the page size and the key lengths.
    EXPECT_EQ(vntest::hex(b), vntest::cat("544b4600", "6103", "0000", "01000000", "00000000", "00000000",
                                          std::string(144, '0'), "0300", "0003", "050f19",
                                          std::string(2 * (15 + 768 - 114), '0')));
    ASSERT_EQ(f.open(), 0);
    EXPECT_EQ(f.st()->nindex, 3);
    EXPECT_EQ(f.st()->cursor[0].cap, idxcapacity(768, 5));
    EXPECT_EQ(f.st()->cursor[2].cap, idxcapacity(768, 25));
    // Closing an untouched file leaves it as it was.
    ASSERT_EQ(f.close(), 0);
    EXPECT_EQ(readfile(f.path), b);
}

TEST_F(Geometry, AscendingInsertsLeaveFullPagesAndTheRootOverThem) {
    TestIndex f(path("a.idx"), {{{5, 0}}});
    ASSERT_EQ(f.make(), 0);
    ASSERT_EQ(f.st()->cursor[0].cap, 28);
    for (int i = 1; i <= 28; i++) put(f, 0, numkey(i), 100 * i);
    checkstructure(f);
    std::string b = readfile(f.path);
    // The 28th key filled page 1: 28 - 28/8 = 25 stay, 3 go to page 2,
    // and page 3 becomes the root over both.
    EXPECT_EQ(f.st()->root[0], 3u);
    EXPECT_EQ(le32(b, 8), 4u);
    EXPECT_EQ(b[256 * 1 + 1], 25);
    EXPECT_EQ(b[256 * 2 + 1], 3);
    const size_t root = 256 * 3;
    EXPECT_EQ(b[root], 1);
    EXPECT_EQ(b[root + 1], 2);
    EXPECT_EQ(le32(b, root + 4), 1u);
    EXPECT_EQ(le32(b, root + 8), 2u);
    EXPECT_EQ(b.substr(root + 4 + 4 * 28, 5), numkey(25));
    EXPECT_EQ(b.substr(root + 4 + 4 * 28 + 5, 5), numkey(28));
    EXPECT_EQ(le32(b, 256 * 2 + 4), 2600u);  // first entry of the new page
    // Ascending keys keep filling the right edge at seven-eighths.
    for (int i = 29; i <= 200; i++) put(f, 0, numkey(i), 100 * i);
    checkstructure(f);
    b = readfile(f.path);
    unsigned rootpage = f.st()->root[0];
    unsigned children = static_cast<unsigned char>(b[256 * rootpage + 1]);
    for (unsigned c = 0; c + 1 < children; c++)
        EXPECT_EQ(b[256 * le32(b, 256 * rootpage + 4 + 4 * c) + 1], 25) << "leaf " << c;
}

TEST_F(Geometry, MiddleInsertSplitsInHalfKeepingTheNewEntryLeft) {
    for (int extra : {3, 29}) {
        TestIndex f(path(vntest::numbered("m", extra) + ".idx"), {{{5, 0}}});
        ASSERT_EQ(f.make(), 0);
        for (int i = 1; i <= 27; i++) put(f, 0, numkey(2 * i), 2 * i);
        put(f, 0, numkey(extra), extra);
        checkstructure(f);
        std::string b = readfile(f.path);
        // Key 3 lands in slot 1: 14 stay.  Key 29 lands in slot 14, which
        // equals 28/2, so 15 stay and the new key with them.
        unsigned left = extra == 3 ? 14 : 15;
        EXPECT_EQ(b[256 + 1], static_cast<char>(left)) << extra;
        EXPECT_EQ(b[512 + 1], static_cast<char>(28 - left)) << extra;
        if (extra == 29) {
            EXPECT_EQ(b.substr(256 + 4 + 4 * 28 + 5 * 14, 5), numkey(29));
        }
    }
}

TEST_F(Geometry, OnePageTreeDeletedToEmptyGoesToTheFreeChain) {
    TestIndex f(path("a.idx"), {{{5, 0}}, {{3, SEG_BINARY}}});
    ASSERT_EQ(f.make(), 0);
    for (int i = 1; i <= 3; i++) put(f, 0, numkey(i), 10 * i);
    for (int i = 1; i <= 3; i++) del(f, 0, numkey(i), 10 * i);
    Layout l = checkstructure(f);
    std::string b = readfile(f.path);
    EXPECT_EQ(le32(b, 20), 0u);
    EXPECT_EQ(le32(b, 12), 1u);
    EXPECT_EQ(le32(b, 8), 2u);
    EXPECT_EQ(l.freepages, std::vector<uint32_t>{1});
    // The next tree page comes from the chain, for any index.
    put(f, 1, std::string("abc") + numkey(7), 70);
    EXPECT_EQ(f.st()->root[1], 1u);
    EXPECT_EQ(f.st()->freepage, 0u);
    EXPECT_EQ(f.st()->nextpage, 2u);
    checkstructure(f);
}

TEST_F(Geometry, DeletesKeepSeparatorsAndNeverMerge) {
    TestIndex f(path("a.idx"), {{{5, 0}}});
    ASSERT_EQ(f.make(), 0);
    for (int i = 1; i <= 28; i++) put(f, 0, numkey(i), i);
    // Leaf 1 holds 1..25.  Removing its last key moves the root's
    // separator down to 24.
    del(f, 0, numkey(25), 25);
    checkstructure(f);
    std::string b = readfile(f.path);
    EXPECT_EQ(b.substr(3 * 256 + 4 + 4 * 28, 5), numkey(24));
    // A key that is there with another position is refused, untouched.
    for (int i : {24, 99}) EXPECT_EQ(f.remove(0, numkey(i), 99), VN_E_INDEX);
    checkstructure(f);
    EXPECT_EQ(readfile(f.path), b);
    // Emptying the right leaf frees it and drops its root entry; the root
    // stays with one child.
    for (int i = 26; i <= 28; i++) del(f, 0, numkey(i), i);
    Layout l = checkstructure(f);
    b = readfile(f.path);
    EXPECT_EQ(l.freepages, std::vector<uint32_t>{2});
    EXPECT_EQ(b[3 * 256 + 1], 1);
    EXPECT_EQ(b[1 * 256 + 1], 24);
}

}  // namespace
