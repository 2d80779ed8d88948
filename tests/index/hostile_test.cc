// hostile_test.cc - index files that are damaged, truncated or made for
// another definition: each is refused with its status, and searches
// end on damaged and looping pages (random damage is the fuzz target's).

#include "idxfixture.h"

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
    void damaged(const std::string& name, const std::string& good, size_t off, const std::string& bytes) {
        std::string b = good;
        vntest::writefile(path(name), b.replace(off, bytes.size(), bytes));
    }
    // Opens name and gives the status of the open (0 when it opened).
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
    EXPECT_EQ(with(0, ""), 0);
    EXPECT_EQ(with(4, le16(864)), VN_E_IDXOLD);
    EXPECT_EQ(with(4, le16(866)), VN_E_IDXVERSION);
    EXPECT_EQ(with(4, le16(0)), VN_E_IDXVERSION);
    EXPECT_EQ(with(92, le16(3)), VN_E_IDXFID);
    EXPECT_EQ(with(92, le16(1)), VN_E_IDXFID);
    EXPECT_EQ(with(92, le16(40)), VN_E_IDXFID);
    EXPECT_EQ(with(97, "\x19"), VN_E_IDXFID);  // second key length changed
    for (uint16_t p : {0, 100, 256, 640, 6400, 65535}) EXPECT_EQ(with(94, le16(p)), VN_E_IDXFID) << p;
    // The definition with one key more or less, or another length.
    EXPECT_EQ(openstatus("a.idx", {{{6, 0}}}), VN_E_IDXFID);
    EXPECT_EQ(openstatus("a.idx", {{{6, 0}}, {{18, 0}}, {{2, 0}}}), VN_E_IDXFID);
    EXPECT_EQ(openstatus("a.idx", {{{6, 0}}, {{17, 0}}}), VN_E_IDXFID);
    EXPECT_EQ(openstatus("a.idx", defs, VN_FF_RECNO), VN_E_IDXFID);
    // Short files are read errors.
    for (size_t len : {size_t(0), size_t(7), size_t(8), size_t(113)}) {
        vntest::writefile(path("t.idx"), good.substr(0, len));
        EXPECT_EQ(openstatus("t.idx", defs), VN_E_IDXREAD) << len;
    }
    // A record-number index must be five bytes.
    TestIndex r(path("r.idx"), {{{4, 0}}}, VN_FF_RECNO);
    ASSERT_EQ(r.create(), 0);
    EXPECT_EQ(openstatus("r.idx", {{{4, 0}}}, VN_FF_RECNO), 0);
    patch(r.path, 96, "\x06");
    EXPECT_EQ(openstatus("r.idx", {{{4, 0}}}, VN_FF_RECNO), VN_E_IDXFID);
}

TEST_F(Hostile, ForeignOrEmptyPagesAreCorrupt) {
    const std::string good = build();
    uint32_t root1 = le32(good, 24);
    size_t P = le16(good, 94);
    struct Damage { size_t off; std::string bytes; const char* what; };
    const Damage damages[] = {
        {root1 * P + 2, std::string(1, 0), "page owned by index 0"},
        {root1 * P + 1, std::string(1, 0), "count 0"},
        {root1 * P + 1, "\xff", "count above capacity"},
        {root1 * P + 4, std::string(4 * 40, '\0'), "child pages 0"},
        {root1 * P + 4, std::string(4 * 40, '\x70'), "children beyond the file"},
        {24, le32(0x7fffffff), "root beyond the file"},
    };
    for (const Damage& d : damages) {
        damaged("d.idx", good, d.off, d.bytes);
        TestIndex f(path("d.idx"), defs);
        ASSERT_EQ(f.open(), 0) << d.what;
        const std::string key = numkey(0, 18) + "000007";
        // Searches in four modes, an insert and a delete.
        for (int op : {SRCH_EQUAL, SRCH_FIRST, SRCH_LAST, SRCH_GE}) {
            EXPECT_EQ(f.search(1, key, op), -1) << d.what << " mode " << op;
            EXPECT_EQ(f.status, VN_E_IDXCORRUPT) << d.what;
        }
        EXPECT_EQ(f.insert(1, key, 999), VN_E_IDXCORRUPT) << d.what;
        EXPECT_EQ(f.remove(1, key, 1), VN_E_IDXCORRUPT) << d.what;
        // The other index is unharmed.
        EXPECT_GT(f.search(0, "000000", SRCH_EQUAL), 0) << d.what;
    }
}

TEST_F(Hostile, PagesThatLoopStopAtTheDepthLimit) {
    const std::string good = build();
    const uint32_t root1 = le32(good, 24);
    const size_t P = le16(good, 94);
    // The root's children all point back at the root.
    std::string children;
    for (unsigned i = 0; i < static_cast<unsigned char>(good[root1 * P + 1]); i++) children += le32(root1);
    damaged("l.idx", good, root1 * P + 4, children);
    TestIndex f(path("l.idx"), defs);
    ASSERT_EQ(f.open(), 0);
    EXPECT_EQ(f.search(1, std::string(24, '5'), SRCH_GE), -1);
    EXPECT_EQ(f.status, VN_E_IDXCORRUPT);
}

}  // namespace
