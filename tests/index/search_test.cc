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

TEST_F(Search, EqualKeysStayInArrivalOrder) {
    IdxFile f(path("d.idx"), {{{3, 0}}});
    ASSERT_EQ(f.create(), 0);
    ASSERT_EQ(f.open(), 0);
    // 300 keys in 3 values, mixed case: far more equal keys than a page.
    const char* vals[] = {"abc", "ABD", "aBc"};
    for (uint32_t i = 0; i < 300; i++) {
        f.setkey(vals[i % 3]);
        ASSERT_EQ(idxinsert(&f.cb, 0, i + 1), 0);
    }
    std::vector<uint32_t> seen;
    f.setkey("");
    for (int32_t p = idxsearch(&f.cb, 0, SRCH_FIRST); p > 0; p = idxsearch(&f.cb, 0, SRCH_STEP))
        seen.push_back(static_cast<uint32_t>(p));
    // The walk steps by key, so it passes over equal keys; but the leaves
    // hold each run of equal keys in arrival order.
    std::string b = (checkstructure(f), filebytes(f.path));
    std::vector<uint32_t> order;
    uint32_t leaf = f.st()->root[0];
    while (!(b[leaf * 256] & 2)) leaf = le32(b, leaf * 256 + 4);
    ASSERT_FALSE(seen.empty());
    EXPECT_EQ(seen.front(), 1u);
    unsigned cap = f.st()->cursor[0].cap;
    for (unsigned i = 0; i < static_cast<unsigned char>(b[leaf * 256 + 1]); i++) {
        std::string k = b.substr(leaf * 256 + 4 + 4 * cap + 3 * i, 3);
        if (k == "abc" || k == "aBc") order.push_back(le32(b, leaf * 256 + 4 + 4 * i));
    }
    for (size_t i = 0; i < order.size(); i++) EXPECT_EQ(order[i], i % 2 ? 3 * (i / 2) + 3 : 3 * (i / 2) + 1);
}

TEST_F(Search, RecordNumberIndex) {
    IdxFile f(path("n.idx"), {{{6, 0}}}, VN_FF_RECNO);
    ASSERT_EQ(f.create(), 0);
    ASSERT_EQ(f.open(), 0);
    for (uint32_t n = 1; n <= 300; n++) {
        char k[6] = {' ', ' ', ' ', char(32 + n / 95), char(32 + n % 95), 0};
        f.setkey(k);
        ASSERT_EQ(idxinsert(&f.cb, 0, n * 100), 0);
    }
    f.setkey("");
    EXPECT_EQ(idxsearch(&f.cb, 0, SRCH_FIRST), 100);
    EXPECT_EQ(idxsearch(&f.cb, 0, SRCH_LAST), 30000);
    EXPECT_EQ(f.foundkey(0), std::string("   ") + char(32 + 3) + char(32 + 15));
    Layout l = checkstructure(f);
    EXPECT_EQ(l.entries[0], 300u);
    EXPECT_EQ(l.entries[1], 0u);
}

}  // namespace
