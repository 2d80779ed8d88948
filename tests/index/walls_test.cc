// walls_test.cc - the index file's own chains, led by damage into pages in
// use or round a loop: taking a page from the free-page chain and adding to
// or taking from the free-space list end with the corrupt-index status.
#include "idxfixture.h"

namespace {

enum Op { INSERT, ADD, TAKE };
enum Head : uint32_t { KEEP, ROOT, EXTRA };  // what a damaged chain head names

struct Damage {
    const char* name;
    Head freepage;   // head of the free-page chain
    Head spacelist;  // head of the free-space list
    bool full;       // the extra page claims every free-space entry
    Op op;
};

class Walls : public IndexTest, public ::testing::WithParamInterface<Damage> {};

// An extra page at the end links to itself; the header's heads name it or
// the root as the case says.
TEST_P(Walls, DamagedChainEndsWithCorruptStatus) {
    const Damage& d = GetParam();
    TestIndex f(path("w.idx"), {{{5, 0}}}, VN_FF_VARLEN);
    ASSERT_EQ(f.create(), 0);
    ASSERT_EQ(f.open(), 0);
    for (int i = 0; i < 40; i++) ASSERT_EQ(f.insert(0, vntest::numbered("k", i * 2), i + 1), 0);
    const uint32_t extra = f.st()->nextpage, root = f.st()->root[0], size = f.st()->pagesize;
    ASSERT_EQ(f.close(), 0);
    std::string b = readfile(f.path);
    const unsigned cap = (size - 6) / 6;
    b += vntest::le32(extra) + vntest::le16(static_cast<uint16_t>(d.full ? cap : 0)) + std::string(size - 6, '\0');
    auto put = [&](size_t off, uint32_t v) { b.replace(off, 4, vntest::le32(v)); };
    put(8, extra + 1);
    if (d.freepage != KEEP) put(12, d.freepage == ROOT ? root : extra);
    if (d.spacelist != KEEP) put(16, d.spacelist == ROOT ? root : extra);
    vntest::writefile(f.path, b);
    ASSERT_EQ(f.open(), 0);
    int32_t r = 0;
    if (d.op == INSERT) {
        for (int i = 0; i < 400 && r == 0; i++) r = f.insert(0, vntest::numbered("k", i * 2 + 1), 1000u + i);
    } else if (d.op == ADD) {
        r = spaceadd(f.f, 5000, 7);
    } else {
        EXPECT_EQ(f.take(7), 0u);
        r = f.status;
    }
    EXPECT_EQ(r, VN_E_IDXCORRUPT) << d.name;
}

const Damage damages[] = {
    {"free-page head is the root", ROOT, KEEP, false, INSERT},
    {"free-page chain comes back to a page it gave", EXTRA, KEEP, false, INSERT},
    {"full free-space page links to itself, adding", KEEP, EXTRA, true, ADD},
    {"full free-space page links to itself, taking", KEEP, EXTRA, true, TAKE},
};
INSTANTIATE_TEST_SUITE_P(Chains, Walls, ::testing::ValuesIn(damages));

}  // namespace
