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

}  // namespace
