// spacelist_test.cc - the free-space list of deleted variable-length
// records: reuse by exact length anywhere, pages leaving the list, and the
// order of writes in shared mode.
#include "idxfixture.h"

namespace {

using SpaceList = IndexTest;

TEST_F(SpaceList, VariableLengthTakesTheFirstEqualLengthAnywhere) {
    TestIndex f(path("v.idx"), {{{5, 0}}}, VN_FF_VARLEN);
    ASSERT_EQ(f.make(), 0);
    const unsigned per = (256 - 6) / 6;
    ASSERT_EQ(spaceadd(f.f, 1, 10), 0);
    for (unsigned i = 1; i < per; i++) ASSERT_EQ(spaceadd(f.f, 1000 + i, 20), 0);
    ASSERT_EQ(spaceadd(f.f, 5, 30), 0);  // a full page: a new head
    EXPECT_EQ(checkstructure(f).spacepages, (std::vector<uint32_t>{2, 1}));
    EXPECT_EQ(f.take(20), 1001u);
    EXPECT_EQ(f.take(10), 1u);
    EXPECT_EQ(f.take(99), 0u);
    // Taking the last entry of the second page cuts the list there: the
    // head page leaves the list with it.
    for (unsigned i = 2; i < per; i++) ASSERT_EQ(f.take(20), 1000 + i);
    EXPECT_EQ(f.st()->spacelist, 0u);
    EXPECT_EQ(f.st()->freepage, 1u);
    EXPECT_EQ(f.take(30), 0u);
    EXPECT_EQ(f.status, 0);
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
    ASSERT_EQ(b.size(), 512u);
    EXPECT_EQ(le16(b, 256 + 4), 1u);  // one entry: position 77, length 40
    EXPECT_EQ(le32(b, 256 + 6), 77u);
    EXPECT_EQ(le16(b, 256 + 10), 40u);
    // Emptying it frees it and writes the header at once.
    EXPECT_EQ(f.take(40), 77u);
    b = readfile(f.path);
    EXPECT_EQ(le32(b, 16), 0u);
    EXPECT_EQ(le32(b, 12), 1u);
    EXPECT_EQ(b.substr(256 + 4), std::string(252, '\0'));
}

// A shared walk reads only the heads of full pages, from the cache when a
// page waits there dirty and from the file otherwise; the list it leaves
// must be the one an unshared walk leaves, byte for byte.
TEST_F(SpaceList, SharedWalksLeaveTheListAnUnsharedOneLeaves) {
    TestIndex a(path("a.idx"), {{{5, 0}}}, VN_FF_VARLEN), b(path("b.idx"), {{{5, 0}}}, VN_FF_VARLEN);
    ASSERT_EQ(a.make(), 0);
    ASSERT_EQ(b.make(), 0);
    b.f.shared = true;
    for (uint32_t i = 1; i <= 400; i++) {
        const auto len = static_cast<uint16_t>(i % 5);
        // Takes give pages behind the head room again.
        if (i % 7 == 0) { EXPECT_EQ(b.take(len), a.take(len)) << i; }
        for (TestIndex* f : {&a, &b}) ASSERT_EQ(spaceadd(f->f, i, len), 0) << i;
        ASSERT_EQ(i % 3 ? 0 : pgflush(b.f.fd), 0);
    }
    ASSERT_EQ(a.close(), 0);
    ASSERT_EQ(b.close(), 0);
    EXPECT_EQ(readfile(a.path), readfile(b.path));
}

}  // namespace
