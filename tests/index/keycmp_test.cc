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

TEST_F(KeyOrder, IntegerPartsCompareByA32BitDifference) {
    IdxFile f(path("i.idx"), {{{12, SEG_INTEGER}}});
    EXPECT_LT(cmp(f, 0, "    -5      ", "     3      "), 0);
    EXPECT_GT(cmp(f, 0, "        100 ", "         99 "), 0);
    EXPECT_EQ(cmp(f, 0, "  42abc     ", "  42xyz     "), 0);
    // Only the first 10 characters count.
    EXPECT_EQ(cmp(f, 0, "000000000012", "000000000013"), 0);
    // A difference that leaves 32 bits wraps: 2000000000 - (-2000000000).
    EXPECT_LT(cmp(f, 0, "2000000000  ", "-2000000000 "), 0);
    // Beyond 32 bits the text saturates.
    EXPECT_EQ(cmp(f, 0, "9999999999  ", "4294967295  "), 0);
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

TEST_F(KeyOrder, RecordNumbersAndTemporaryIndexes) {
    IdxFile f(path("r.idx"), {{{3, 0}}}, VN_FF_RECNO);
    EXPECT_LT(cmp(f, 0, "  !~~", "  \"  "), 0);
    EXPECT_EQ(cmp(f, 0, "  !~~zzzz", "  !~~aaaa"), 0);
    // Secondary key (index 1) ends in the record number.
    EXPECT_EQ(cmp(f, 1, "ABC  !  ", "abc  !  "), 0);
    EXPECT_LT(cmp(f, 1, "ABC  !  ", "abc  \"  "), 0);
    // A temporary index compares the 4 position digits after the parts.
    f.cb.fflags = VN_FF_RECNO | VN_FF_TMPIDX;
    EXPECT_GT(cmp(f, 0, "  !~~zzzz", "  !~~aaaa"), 0);
    IdxFile t(path("t.idx"), {{{3, 0}}}, VN_FF_TMPIDX);
    EXPECT_LT(cmp(t, 0, "abc !  ", "ABC \"  "), 0);
    t.cb.fflags = 0;
    EXPECT_EQ(cmp(t, 0, "abc !  ", "ABC \"  "), 0);
}

TEST_F(KeyOrder, LowestAndHighestKeys) {
    IdxFile f(path("l.idx"), {{{12, SEG_NUMERIC}}, {{4, SEG_INTEGER | SEG_DESCEND}}, {{2, 0}}},
              VN_FF_RECNO);
    ASSERT_EQ(f.create(), 0);
    ASSERT_EQ(f.open(), 0);
    char* kb = f.st()->keybuf;
    keylimit(&f.cb, 0, false);
    EXPECT_EQ(std::string(kb, 6), std::string(5, '\0') + '\0');
    keylimit(&f.cb, 0, true);
    EXPECT_EQ(std::string(kb, 6), std::string(5, '\x7f') + '\0');
    keylimit(&f.cb, 1, false);  // 17 bytes: the text placed, zero-filled
    EXPECT_EQ(std::string(kb, 18), "-99999999999" + std::string(6, '\0'));
    keylimit(&f.cb, 1, true);
    EXPECT_EQ(std::string(kb, 13), "999999999999" + std::string(1, '\0'));
    keylimit(&f.cb, 2, false);  // descending: the lowest is the highest text
    EXPECT_EQ(std::string(kb, 10), "999999999" + std::string(1, '\0'));
    keylimit(&f.cb, 2, true);
    EXPECT_EQ(std::string(kb, 9), "-99999999");
    keylimit(&f.cb, 3, true);
    EXPECT_EQ(std::string(kb, 8), std::string(7, '\x7f') + '\0');
}

}  // namespace
