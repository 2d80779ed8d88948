// hostile_test.cc - index files that are damaged, truncated or made for
// another definition: each is refused with its status; searches, inserts,
// deletes and the file's own chains end on damaged and looping pages with
// the corrupt-index status (random damage is the fuzz target's).
#include "idxfixture.h"
#include "support/runtime.h"

namespace {

class Hostile : public IndexTest {
protected:
    // A file with two indexes of 300 keys each (three levels in index 1).
    // Builds a.idx and returns its bytes.
    std::string build() {
        TestIndex f(path("a.idx"), defs);
        EXPECT_EQ(f.make(), 0);
        for (int i = 0; i < 300; i++) {
            const std::string k = numkey((i * 7919) % 1000, 6);
            EXPECT_EQ(f.insert(0, k, i + 1), 0);
            EXPECT_EQ(f.insert(1, numkey(i % 10, 18) + k, i + 1), 0);
        }
        EXPECT_EQ(f.close(), 0);
        return readfile(f.path);
    }
    // Writes good, patched with bytes at off, to name.
    void damaged(const std::string& name, std::string good, size_t off, const std::string& bytes) {
        vntest::writefile(path(name), good.replace(off, bytes.size(), bytes));
    }
    // The status of opening name (0 when it opened).
    int openstatus(const std::string& name, const std::vector<KeyDef>& d, uint8_t fflags = 0) {
        TestIndex f(path(name), d, fflags);
        const int32_t r = f.open();
        EXPECT_EQ(r == 0, f.st() != nullptr);
        return r;
    }
    std::vector<KeyDef> defs = {{{6, 0}}, {{18, SEG_CASE}}};
};

TEST_F(Hostile, HeaderChecksAtOpen) {
    const std::string good = build();
    auto with = [&](size_t off, const std::string& bytes) {
        damaged("b.idx", good, off, bytes);
        return openstatus("b.idx", defs);
    };
    EXPECT_EQ(with(4, le16(864)), VN_E_IDXOLD);
    for (uint16_t v : {866, 0}) EXPECT_EQ(with(4, le16(v)), VN_E_IDXVERSION) << v;
    for (uint16_t n : {3, 1, 40}) EXPECT_EQ(with(92, le16(n)), VN_E_IDXFID) << n;
    EXPECT_EQ(with(97, "\x19"), VN_E_IDXFID);  // second key length changed
    for (uint16_t p : {0, 100, 256, 640, 6400, 65535}) EXPECT_EQ(with(94, le16(p)), VN_E_IDXFID) << p;
    // The definition with one key more or less, or another length.
    EXPECT_EQ(openstatus("a.idx", {{{6, 0}}}), VN_E_IDXFID);
    EXPECT_EQ(openstatus("a.idx", {{{6, 0}}, {{18, 0}}, {{2, 0}}}), VN_E_IDXFID);
    EXPECT_EQ(openstatus("a.idx", {{{6, 0}}, {{17, 0}}}), VN_E_IDXFID);
    EXPECT_EQ(openstatus("a.idx", defs, VN_FF_RECNO), VN_E_IDXFID);
    // Short files are read errors.
    for (size_t len : {0, 7, 8, 113}) {
        vntest::writefile(path("t.idx"), good.substr(0, len));
        EXPECT_EQ(openstatus("t.idx", defs), VN_E_IDXREAD) << len;
    }
}

TEST_F(Hostile, ForeignEmptyOrLoopingPagesAreCorrupt) {
    const std::string good = build();
    const uint32_t root1 = le32(good, 24);
    const size_t P = le16(good, 94);
    std::string loop;  // the root's children all point back at the root
    for (int i = 0; i < static_cast<uint8_t>(good[root1 * P + 1]); i++) loop += le32(root1);
    struct Damage { size_t off; std::string bytes; const char* what; };
    const Damage damages[] = {
        {root1 * P + 2, std::string(1, 0), "page owned by index 0"},
        {root1 * P + 1, std::string(1, 0), "count 0"},
        {root1 * P + 1, "\xff", "count above capacity"},
        {root1 * P + 4, std::string(4 * 40, '\0'), "child pages 0"},
        {root1 * P + 4, std::string(4 * 40, '\x70'), "children beyond the file"},
        {24, le32(0x7fffffff), "root beyond the file"},
        {root1 * P + 4, loop, "children that loop"},
    };
    for (const Damage& d : damages) {
        runtime().corruption = CorruptionSeen{};
        damaged("d.idx", good, d.off, d.bytes);
        TestIndex f(path("d.idx"), defs);
        ASSERT_EQ(f.open(), 0) << d.what;
        const std::string key = numkey(0, 18) + "000007";
        for (int mode : {SRCH_EQUAL, SRCH_FIRST, SRCH_LAST, SRCH_GE}) {
            EXPECT_EQ(f.search(1, key, mode), -1) << d.what << " mode " << mode;
            EXPECT_EQ(f.status, VN_E_IDXCORRUPT) << d.what;
        }
        EXPECT_EQ(f.insert(1, key, 999), VN_E_IDXCORRUPT) << d.what;
        EXPECT_EQ(f.remove(1, key, 1), VN_E_IDXCORRUPT) << d.what;
        // The check that saw the damage is on record, and it is the index's.
        const CorruptionSeen& seen = runtime().corruption;
        EXPECT_EQ(seen.status, VN_E_IDXCORRUPT) << d.what;
        EXPECT_TRUE(seen.file != nullptr && std::string(seen.file).find("index/") != std::string::npos) << d.what;
        EXPECT_GT(f.search(0, "000000", SRCH_EQUAL), 0) << d.what;  // the other index is unharmed
    }
}

// The file's own chains led by damage into pages in use or round a loop:
// taking a page from the free-page chain, adding to or taking from the
// free-space list.  An extra page at the end links to itself; the
// header's heads name it or the root.
enum Op { INSERT, ADD, TAKE };
enum Head : uint32_t { KEEP, ROOT, EXTRA };
// What the heads of the two chains name, and whether the extra page
// claims every free-space entry.
struct Chain { const char* name; Head freepage, spacelist; bool full; Op op; };
class Chains : public IndexTest, public ::testing::WithParamInterface<Chain> {};

TEST_P(Chains, DamagedChainEndsWithCorruptStatus) {
    const Chain& d = GetParam();
    TestIndex f(path("w.idx"), {{{5, 0}}}, VN_FF_VARLEN);
    ASSERT_EQ(f.make(), 0);
    for (int i = 0; i < 40; i++) ASSERT_EQ(f.insert(0, vntest::numbered("k", i * 2), i + 1), 0);
    const uint32_t extra = f.st()->nextpage, root = f.st()->root[0], size = f.st()->pagesize;
    ASSERT_EQ(f.close(), 0);
    std::string b = readfile(f.path) + le32(extra) + le16(static_cast<uint16_t>(d.full ? (size - 6) / 6 : 0));
    b.resize(size_t{extra + 1} * size);
    b.replace(8, 4, le32(extra + 1));
    if (d.freepage != KEEP) b.replace(12, 4, le32(d.freepage == ROOT ? root : extra));
    if (d.spacelist != KEEP) b.replace(16, 4, le32(d.spacelist == ROOT ? root : extra));
    vntest::writefile(f.path, b);
    ASSERT_EQ(f.open(), 0);
    int32_t r = 0;
    for (int i = 0; d.op == INSERT && i < 400 && r == 0; i++) r = f.insert(0, vntest::numbered("k", i * 2 + 1), 1000u + i);
    if (d.op == ADD) r = spaceadd(f.f, 5000, 7);
    if (d.op == TAKE) r = f.take(7) == 0 ? f.status : -1;
    EXPECT_EQ(r, VN_E_IDXCORRUPT) << d.name;
}

const Chain chains[] = {
    {"free-page head is the root", ROOT, KEEP, false, INSERT},
    {"free-page chain comes back to a page it gave", EXTRA, KEEP, false, INSERT},
    {"full free-space page links to itself, adding", KEEP, EXTRA, true, ADD},
    {"full free-space page links to itself, taking", KEEP, EXTRA, true, TAKE},
};
INSTANTIATE_TEST_SUITE_P(Index, Chains, ::testing::ValuesIn(chains));

}  // namespace
