// keycmp_test.cc - the order of keys: every part kind, descending parts,
// the tail of a secondary key, record-number and temporary-index keys, and
// the lowest and highest keys that first and last searches start from.
#include <cstdio>
#include <cstring>

#include "idxfixture.h"
#include "index/btint.h"
#include "index/btree.h"

namespace {

class KeyOrder : public IndexTest {};

int cmp(IdxFile& f, int index, const std::string& a, const std::string& b) {
    return keycmp(&f.cb, index, a.data(), b.data());
}

std::string cents(int v) {
    char buf[32];
    snprintf(buf, sizeof buf, "%10.2f", v / 100.0);
    return buf;
}

TEST_F(KeyOrder, NumericPartsOrderByValue) {
    IdxFile f(path("n.idx"), {{{10, SEG_NUMERIC}}});
    for (int a = -300; a <= 300; a++)
        for (int b = -300; b <= 300; b++) {
            int want = (a > b) - (a < b);
            ASSERT_EQ(cmp(f, 0, cents(a), cents(b)), want) << cents(a) << " vs " << cents(b);
        }
    // Equal at five places is equal; text that is no number reads as 0.
    EXPECT_EQ(cmp(f, 0, "1.000001  ", "1.000004  "), 0);
    EXPECT_LT(cmp(f, 0, "1.00001   ", "1.00002   "), 0);
    EXPECT_EQ(cmp(f, 0, "abc       ", "0         "), 0);
    EXPECT_GT(cmp(f, 0, std::string("12\0\0\0\0\0\0\0\0", 10), "9         "), 0);
}

TEST_F(KeyOrder, TextPartsDescendingPartsAndTheTail) {
    IdxFile f(path("t.idx"), {{{4, 0}}, {{4, SEG_CASE}}, {{2, SEG_BINARY | SEG_DESCEND}, {2, 0}},
                              {{2, 0}, {2, SEG_BINARY | SEG_DESCEND}}});
    // Case-blind: letters equal across case, zero bytes compared, signed.
    EXPECT_EQ(cmp(f, 0, "abCD", "ABcd"), 0);
    EXPECT_GT(cmp(f, 0, "a_", "aa"), 0);
    EXPECT_LT(cmp(f, 0, std::string("a\0b", 4), std::string("a\0c", 4)), 0);
    EXPECT_LT(cmp(f, 0, "\x80xxx", "axxx"), 0);
    // Case-sensitive: stops at a zero byte.  Bytes: unsigned.
    std::string tail = "abcd";  // secondary keys end in the primary key
    EXPECT_GT(cmp(f, 1, "abcd" + tail, "ABCD" + tail), 0);
    EXPECT_EQ(cmp(f, 1, std::string("ab\0x", 4) + tail, std::string("ab\0y", 4) + tail), 0);
    EXPECT_LT(cmp(f, 2, std::string("\x80\0xx", 4) + tail, std::string("\x7f\0xx", 4) + tail), 0);
    // Equal parts: the primary key decides, inverted only when the last
    // part is descending.
    EXPECT_LT(cmp(f, 2, "aaxxAAAA", "aaxxBBBB"), 0);
    EXPECT_GT(cmp(f, 3, "aaxxAAAA", "aaxxBBBB"), 0);
    EXPECT_EQ(cmp(f, 3, "aaxxAAAA", "aAxxaaaa"), 0);
}

}  // namespace
