// format_test.cc - the posting file byte for byte after known adds and
// deletes, in the current form (nodes reused from the free list) and the
// older one (nodes only appended).

#include "kwtest.h"

namespace {

using namespace kwtest;
using Values = std::vector<uint32_t>;

const std::string kHeader("ezhyp1\0\0\0\0\0\0\0\0\0\0", 16);

// The same bytes whether the block is shared or keeps what it read.
class KeywordBytes : public KeywordTest, public testing::WithParamInterface<bool> {};

TEST_P(KeywordBytes, FreedNodesAreReusedInOrder) {
    Index ix;
    ASSERT_EQ(ix.open(dir(), 1, GetParam()), 0);
    EXPECT_EQ(readfile("kw.pst"), kHeader);
    ASSERT_EQ(ix.add("apple", 7), 0);   // node 16
    ASSERT_EQ(ix.add("Apple", 8), 0);   // node 24, linked from 16
    ASSERT_EQ(ix.add("berry", 7), 0);   // node 32
    ASSERT_EQ(ix.add("apple", 7), 0);   // already there
    EXPECT_EQ(readfile("kw.pst"), kHeader + node(7, 24) + node(8, 0) + node(7, 0));
    // The keyword record: the folded word, then its chain's head, 16, in base 95.
    EXPECT_EQ(readfile("kw.dat").substr(37, 37), " apple" + std::string(25, ' ') + "    0\n");
    ASSERT_EQ(fhhypdelete(&ix.cb, 7), 0);  // frees 16, then 32
    EXPECT_EQ(readfile("kw.pst"), kHeader.substr(0, 8) + le32(32) + le32(0) +
                                      node(~0u, 0) + node(8, 0) + node(~0u, 16));
    ASSERT_EQ(ix.add("cherry", 9), 0);  // takes 32
    ASSERT_EQ(ix.add("apple", 9), 0);   // takes 16, linked from 24
    ASSERT_EQ(ix.add("date", 10), 0);   // free list empty: the end
    EXPECT_EQ(readfile("kw.pst"), kHeader + node(9, 0) + node(8, 16) + node(9, 0) + node(10, 0));

    // One value at a time from the record the search left current.
    ASSERT_EQ(ix.search("apple"), (Values{8, 9}));
    int32_t cursor = 0;
    auto next = [&] {
        const uint32_t v = fhhypgetnext(&ix.cb, &cursor);
        return std::make_pair(v, cursor);
    };
    EXPECT_EQ(next(), std::make_pair(8u, 16));
    EXPECT_EQ(next(), std::make_pair(9u, -1));
    cursor = 12345;  // not a node
    EXPECT_EQ(next(), std::make_pair(0xFFFFFFFFu, -1));
    EXPECT_EQ(ix.cb.status, VN_E_HYPREAD);
}

INSTANTIATE_TEST_SUITE_P(Sharing, KeywordBytes, testing::Values(false, true));

TEST_F(KeywordTest, OlderFormOnlyAppends) {
    const std::string header("ezhyp\0\0\0\0\0\0\0\0\0\0\0", 16);
    writefile("kw.pst", header);
    Index ix;
    ASSERT_EQ(ix.open(dir()), 0);
    ASSERT_EQ(ix.add("apple", 7), 0);
    ASSERT_EQ(ix.add("apple", 8), 0);
    ASSERT_EQ(fhhypdelete(&ix.cb, 7), 0);
    ASSERT_EQ(ix.add("apple", 9), 0);
    EXPECT_EQ(readfile("kw.pst"), header + node(7, 24) + node(8, 32) + node(9, 0));
    EXPECT_EQ(ix.search("apple"), (Values{8, 9}));
}

}  // namespace
