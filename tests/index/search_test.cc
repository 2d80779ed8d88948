// search_test.cc - positioned searches at the edges: first and last keys,
// running off either end, searches resumed in the current leaf without
// reading pages, and equal keys kept in the order they came.
#include <cstdio>

#include "idxfixture.h"
#include "index/btree.h"
#include "index/pagecache.h"

namespace {

class Search : public IndexTest {
protected:
    void fill(IdxFile& f, int n, const char* format) {
        for (int i = 0; i < n; i++) {
            char k[40];
            snprintf(k, sizeof k, format, i);
            f.setkey(k);
            ASSERT_EQ(idxinsert(&f.cb, 0, 10 + i), 0);
        }
    }
};

TEST_F(Search, FirstOfANumericKeyStartsFromMinusElevenNines) {
    IdxFile f(path("n.idx"), {{{12, SEG_NUMERIC}}});
    ASSERT_EQ(f.create(), 0);
    ASSERT_EQ(f.open(), 0);
    fill(f, 200, "%12d");
    f.setkey("           5");
    ASSERT_EQ(idxinsert(&f.cb, 0, 5), 0);
    f.setkey("      -70000");
    ASSERT_EQ(idxinsert(&f.cb, 0, 3), 0);
    f.setkey("zzzzzzzzzzzz");
    EXPECT_EQ(idxsearch(&f.cb, 0, SRCH_FIRST), 3);
    EXPECT_EQ(f.foundkey(0), "      -70000");
    EXPECT_EQ(idxsearch(&f.cb, 0, SRCH_LAST), 10 + 199);
    EXPECT_EQ(idxsearch(&f.cb, 0, SRCH_STEPBACK), 10 + 198);
}

TEST_F(Search, RunningOffEitherEnd) {
    IdxFile f(path("e.idx"), {{{4, 0}}});
    ASSERT_EQ(f.create(), 0);
    ASSERT_EQ(f.open(), 0);
    f.setkey("0000");
    EXPECT_EQ(idxsearch(&f.cb, 0, SRCH_FIRST), 0);  // empty index
    fill(f, 500, "%04d");
    IdxCursor& c = f.st()->cursor[0];
    f.setkey("0499");
    EXPECT_EQ(idxsearch(&f.cb, 0, SRCH_NEXT), 0);
    EXPECT_EQ(c.atend, 1);
    EXPECT_EQ(idxsearch(&f.cb, 0, SRCH_LE), 10 + 499);
    f.setkey("9999");
    EXPECT_EQ(idxsearch(&f.cb, 0, SRCH_EQUAL), 0);
    f.setkey("0000");
    EXPECT_EQ(idxsearch(&f.cb, 0, SRCH_PREV), 0);
    EXPECT_EQ(idxsearch(&f.cb, 0, SRCH_GE), 10);
    f.setkey("025:");  // between 0259 and 0260
    EXPECT_EQ(idxsearch(&f.cb, 0, SRCH_EQUAL), 0);
    EXPECT_EQ(idxsearch(&f.cb, 0, SRCH_GE), 10 + 260);
    EXPECT_EQ(idxsearch(&f.cb, 0, SRCH_PREV), 10 + 259);
}

TEST_F(Search, ExclusiveSearchesResumeInTheCurrentLeaf) {
    IdxFile f(path("r.idx"), {{{4, 0}}});
    ASSERT_EQ(f.create(), 0);
    ASSERT_EQ(f.open(), 0);
    fill(f, 2000, "%04d");
    ASSERT_EQ(pgflush(&f.cb), 0);
    f.setkey("1000");
    ASSERT_EQ(idxsearch(&f.cb, 0, SRCH_EQUAL), 1010);
    uint32_t reads = pgdiskreads;
    for (int step = 0; step < 5; step++) ASSERT_GT(idxsearch(&f.cb, 0, SRCH_STEP), 0);
    f.setkey("1001");
    EXPECT_EQ(idxsearch(&f.cb, 0, SRCH_LE), 1011);
    EXPECT_EQ(pgdiskreads, reads);  // the leaf answered alone
    f.setkey("0003");
    EXPECT_EQ(idxsearch(&f.cb, 0, SRCH_EQUAL), 13);
    EXPECT_GT(pgdiskreads, reads);
    // Shared mode never resumes: every search reads from the root.
    ASSERT_EQ(hdrwrite(&f.cb), 0);
    f.shared(true);
    ASSERT_EQ(pgflush(&f.cb), 0);
    reads = pgdiskreads;
    f.setkey("0004");
    EXPECT_EQ(idxsearch(&f.cb, 0, SRCH_EQUAL), 14);
    EXPECT_GE(pgdiskreads, reads + 2);
}

TEST_F(Search, EqualKeysGoBehindTheirEquals) {
    IdxFile f(path("d.idx"), {{{3, 0}}});
    ASSERT_EQ(f.create(), 0);
    ASSERT_EQ(f.open(), 0);
    const char* keys[] = {"abc", "ABD", "aBc", "ABC", "abd"};
    for (uint32_t i = 0; i < 5; i++) {
        f.setkey(keys[i]);
        ASSERT_EQ(idxinsert(&f.cb, 0, i + 1), 0);
    }
    std::string b = (checkstructure(f), filebytes(f.path));
    unsigned cap = f.st()->cursor[0].cap;
    for (uint32_t i = 0, want[] = {1, 3, 4, 2, 5}; i < 5; i++) EXPECT_EQ(le32(b, 256 + 4 + 4 * i), want[i]);
    EXPECT_EQ(b.substr(256 + 4 + 4 * cap, 15), "abcaBcABCABDabd");
}

}  // namespace
