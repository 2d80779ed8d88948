// endless_test.cc - walks in key order over damaged pages, or with keys the
// index does not hold, end with the corrupt-index status within a bound.
#include "idxfixture.h"
#include "index/idxpage.h"

namespace {

constexpr int BOUND = 100000;  // far past any entry capacity of these files

class Endless : public IndexTest {
protected:
    // n keys of 6 digits: 2, 4, ... at positions 1 .. n (step apart).
    void build(TestIndex& f, int n, int step) {
        ASSERT_EQ(f.make(), 0);
        for (int i = 1; i <= n; i++) ASSERT_EQ(f.insert(0, numkey(i * step, 6), i), 0);
    }
};

// The first key of the leaf before the last made the highest:
// stepping back from it sends the walk into the entries it has passed.
TEST_F(Endless, DamagedLeafEndsTheWalk) {
    TestIndex f(path("loop.idx"), {{{6, 0}}});
    build(f, 400, 2);
    ASSERT_GT(f.search(0, "", SRCH_LAST), 0);
    IdxCursor& c = f.st()->cursor[0];
    for (uint32_t page = c.page; c.page == page;) ASSERT_GT(f.search(0, f.foundkey(0), SRCH_STEPBACK), 0);
    const size_t off = size_t{c.page} * f.st()->pagesize + static_cast<size_t>(pgkey(c.img, c.cap, 6, 0) - c.img);
    ASSERT_EQ(f.close(), 0);
    patch(f.path, off, "999999");
    ASSERT_EQ(f.open(), 0);
    ASSERT_GT(f.search(0, "", SRCH_LAST), 0);
    int32_t r = 1;
    for (int n = 0; n < BOUND && r > 0; n++) r = f.search(0, f.foundkey(0), SRCH_STEPBACK);
    EXPECT_EQ(r, -1);
    EXPECT_EQ(f.status, VN_E_IDXCORRUPT);
}

// A definition that no longer builds the index's keys: each step starts
// from a key below the entry it returned, so the same record comes back.
TEST_F(Endless, StepFromKeyTheIndexDoesNotHoldEnds) {
    TestIndex f(path("mismatch.idx"), {{{6, 0}}});
    build(f, 50, 10);
    ASSERT_GT(f.search(0, "", SRCH_FIRST), 0);
    int32_t r = 1;
    // The key is rebuilt from the record, below its entry.
    for (int n = 0; n < BOUND && r > 0; n++) r = f.search(0, "000015", SRCH_STEP);
    EXPECT_EQ(r, -1);
    EXPECT_EQ(f.status, VN_E_IDXCORRUPT);
}

}  // namespace
