// endless_test.cc - walks in key order over damaged pages, or with keys the
// index does not hold, end with the corrupt-index status within a bound.
#include <cstdio>
#include <fstream>

#include "idxfixture.h"
#include "index/btree.h"
#include "index/idxpage.h"

namespace {

constexpr int NKEYS = 400;
constexpr int BOUND = 100000;  // far past any entry capacity of these files

struct Damage {
    const char* name;
    int mode;          // the walk's step
    bool lastentry;    // damage the leaf's last entry (else its first)
    const char* key;   // written over that entry's key
};

class Endless : public IndexTest, public ::testing::WithParamInterface<Damage> {
protected:
    void build(IdxFile& f) {
        ASSERT_EQ(f.create(), 0);
        ASSERT_EQ(f.open(), 0);
        for (int i = 0; i < NKEYS; i++) {
            char k[8];
            snprintf(k, sizeof k, "%06d", i * 2 + 2);
            f.setkey(k);
            ASSERT_EQ(idxinsert(&f.cb, 0, static_cast<uint32_t>(i + 1)), 0);
        }
    }
    // Steps until the walk stops; the status it stopped with, or -1 when
    // it never did within BOUND steps.
    int walk(IdxFile& f, int mode) {
        for (int n = 0; n < BOUND; n++) {
            int32_t r = idxsearch(&f.cb, 0, mode);
            if (r <= 0) return r < 0 ? f.cb.status : 0;
        }
        return -1;
    }
};

// A key written over an entry of an inner leaf sends the walk back into
// the entries it has passed.
TEST_P(Endless, DamagedLeafEndsTheWalk) {
    const Damage& d = GetParam();
    IdxFile f(path("loop.idx"), {{{6, 0}}});
    build(f);
    // The third leaf from the walk's start: past the first, before the last.
    bool back = d.mode == SRCH_STEPBACK;
    ASSERT_GT(idxsearch(&f.cb, 0, back ? SRCH_LAST : SRCH_FIRST), 0);
    IdxCursor& c = f.st()->cursor[0];
    uint32_t page = c.page;
    while (c.page == page) ASSERT_GT(idxsearch(&f.cb, 0, d.mode), 0);
    page = c.page;
    unsigned slot = d.lastentry ? c.img[PG_COUNT] - 1u : 0u;
    size_t off = size_t{page} * f.st()->pagesize +
                 static_cast<size_t>(pgkey(c.img, c.cap, 6, slot) - c.img);
    ASSERT_EQ(f.close(), 0);
    {
        std::fstream io(f.path, std::ios::binary | std::ios::in | std::ios::out);
        io.seekp(static_cast<std::streamoff>(off));
        io.write(d.key, 6);
    }
    ASSERT_EQ(f.open(), 0);
    ASSERT_GT(idxsearch(&f.cb, 0, back ? SRCH_LAST : SRCH_FIRST), 0);
    EXPECT_EQ(walk(f, d.mode), VN_E_IDXCORRUPT) << d.name;
    ASSERT_EQ(f.close(), 0);
}

const Damage damages[] = {
    {"previous, leaf's first key made highest", SRCH_STEPBACK, false, "999999"},
};
INSTANTIATE_TEST_SUITE_P(Walks, Endless, ::testing::ValuesIn(damages));

// A definition that no longer builds the index's keys: each step starts
// from a key below the entry it returned, so the same record comes back.
TEST_F(IndexTest, StepFromKeyTheIndexDoesNotHoldEnds) {
    IdxFile f(path("mismatch.idx"), {{{6, 0}}});
    ASSERT_EQ(f.create(), 0);
    ASSERT_EQ(f.open(), 0);
    for (int i = 1; i <= 50; i++) {
        char k[8];
        snprintf(k, sizeof k, "%06d", i * 10);
        f.setkey(k);
        ASSERT_EQ(idxinsert(&f.cb, 0, static_cast<uint32_t>(i)), 0);
    }
    ASSERT_GT(idxsearch(&f.cb, 0, SRCH_FIRST), 0);
    int32_t r = 1;
    for (int n = 0; n < BOUND && r > 0; n++) {
        f.setkey("000015");  // rebuilt from the record, below its entry
        r = idxsearch(&f.cb, 0, SRCH_STEP);
    }
    EXPECT_EQ(r, -1);
    EXPECT_EQ(f.cb.status, VN_E_IDXCORRUPT);
    ASSERT_EQ(f.close(), 0);
}

}  // namespace
