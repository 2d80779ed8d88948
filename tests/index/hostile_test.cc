// hostile_test.cc - index files that are damaged, truncated or made for
// another definition: each is refused with its status, and no search,
// insert or delete on a damaged tree reads or writes out of bounds.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <random>

#include "idxfixture.h"
#include "index/btree.h"
#include "index/pagecache.h"

namespace {

class Hostile : public IndexTest {
protected:
    // A file with two indexes of 300 keys each (three levels in index 1).
    void build(const std::string& name) {
        IdxFile f(path(name), defs);
        ASSERT_EQ(f.create(), 0);
        ASSERT_EQ(f.open(), 0);
        for (int i = 0; i < 300; i++) {
            char k[40];
            snprintf(k, sizeof k, "%06d", (i * 7919) % 1000);
            f.setkey(k);
            ASSERT_EQ(idxinsert(&f.cb, 0, i + 1), 0);
            snprintf(k, sizeof k, "%018d%06d", i % 10, (i * 7919) % 1000);
            f.setkey(k);
            ASSERT_EQ(idxinsert(&f.cb, 1, i + 1), 0);
        }
        ASSERT_EQ(f.close(), 0);
    }
    void patch(const std::string& name, size_t off, const std::string& bytes) {
        std::fstream io(path(name), std::ios::binary | std::ios::in | std::ios::out);
        io.seekp(static_cast<std::streamoff>(off));
        io.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    // Opens name and gives the status of the open (0 when it opened).
    int openstatus(const std::string& name, const std::vector<KeyDef>& d, uint8_t fflags = 0) {
        IdxFile f(path(name), d, fflags);
        f.cb.status = 0;
        int32_t r = f.open();
        EXPECT_EQ(r == 0, f.st() != nullptr);
        return r == 0 ? 0 : f.cb.status;
    }
    std::vector<KeyDef> defs = {{{6, 0}}, {{18, SEG_CASE}}};
};

std::string u16(uint16_t v) { return std::string{char(v & 0xFF), char(v >> 8)}; }
std::string u32(uint32_t v) { return u16(uint16_t(v)) + u16(uint16_t(v >> 16)); }

TEST_F(Hostile, HeaderChecksAtOpen) {
    build("a.idx");
    std::string good = readfile(path("a.idx"));
    auto with = [&](size_t off, const std::string& bytes) {
        std::ofstream(path("b.idx"), std::ios::binary) << good;
        patch("b.idx", off, bytes);
        return openstatus("b.idx", defs);
    };
    EXPECT_EQ(with(0, ""), 0);
    EXPECT_EQ(with(4, u16(864)), VN_E_IDXOLD);
    EXPECT_EQ(with(4, u16(866)), VN_E_IDXVERSION);
    EXPECT_EQ(with(4, u16(0)), VN_E_IDXVERSION);
    EXPECT_EQ(with(92, u16(3)), VN_E_IDXFID);
    EXPECT_EQ(with(92, u16(1)), VN_E_IDXFID);
    EXPECT_EQ(with(92, u16(40)), VN_E_IDXFID);
    EXPECT_EQ(with(97, "\x19"), VN_E_IDXFID);  // second key length changed
    for (uint16_t p : {0, 100, 256, 640, 6400, 65535}) EXPECT_EQ(with(94, u16(p)), VN_E_IDXFID) << p;
    // The definition with one key more or less, or another length.
    std::ofstream(path("c.idx"), std::ios::binary) << good;
    EXPECT_EQ(openstatus("c.idx", {{{6, 0}}}), VN_E_IDXFID);
    EXPECT_EQ(openstatus("c.idx", {{{6, 0}}, {{18, 0}}, {{2, 0}}}), VN_E_IDXFID);
    EXPECT_EQ(openstatus("c.idx", {{{6, 0}}, {{17, 0}}}), VN_E_IDXFID);
    EXPECT_EQ(openstatus("c.idx", defs, VN_FF_RECNO), VN_E_IDXFID);
    EXPECT_EQ(openstatus("c.idx", defs), 0);
}

TEST_F(Hostile, RecordNumberIndexMustBeFiveBytes) {
    IdxFile f(path("r.idx"), {{{4, 0}}}, VN_FF_RECNO);
    ASSERT_EQ(f.create(), 0);
    EXPECT_EQ(openstatus("r.idx", {{{4, 0}}}, VN_FF_RECNO), 0);
    patch("r.idx", 96, "\x06");
    EXPECT_EQ(openstatus("r.idx", {{{4, 0}}}, VN_FF_RECNO), VN_E_IDXFID);
}

TEST_F(Hostile, ShortFilesAreReadErrors) {
    build("a.idx");
    std::string good = readfile(path("a.idx"));
    for (size_t len : {size_t(0), size_t(7), size_t(8), size_t(113)}) {
        std::ofstream(path("t.idx"), std::ios::binary) << good.substr(0, len);
        EXPECT_EQ(openstatus("t.idx", defs), VN_E_IDXREAD) << len;
    }
}

TEST_F(Hostile, ForeignOrEmptyPagesAreCorrupt) {
    build("a.idx");
    std::string good = readfile(path("a.idx"));
    uint32_t root1 = le32(good, 24);
    size_t P = le16(good, 94);
    struct Damage { size_t off; std::string bytes; const char* what; };
    const Damage damages[] = {
        {root1 * P + 2, std::string(1, 0), "page owned by index 0"},
        {root1 * P + 1, std::string(1, 0), "count 0"},
        {root1 * P + 1, "\xff", "count above capacity"},
        {root1 * P + 4, std::string(4 * 40, '\0'), "child pages 0"},
        {root1 * P + 4, std::string(4 * 40, '\x70'), "children beyond the file"},
        {24, u32(0x7fffffff), "root beyond the file"},
    };
    for (const Damage& d : damages) {
        std::ofstream(path("d.idx"), std::ios::binary) << good;
        patch("d.idx", d.off, d.bytes);
        IdxFile f(path("d.idx"), defs);
        ASSERT_EQ(f.open(), 0) << d.what;
        std::string key = std::string(18, '0') + "000007";
        for (int mode : {SRCH_EQUAL, SRCH_FIRST, SRCH_LAST, SRCH_GE}) {
            f.cb.status = 0;
            f.setkey(key);
            EXPECT_EQ(idxsearch(&f.cb, 1, mode), -1) << d.what << " mode " << mode;
            EXPECT_EQ(f.cb.status, VN_E_IDXCORRUPT) << d.what;
        }
        f.cb.status = 0;
        f.setkey(key);
        EXPECT_EQ(idxinsert(&f.cb, 1, 999), -1) << d.what;
        EXPECT_EQ(f.cb.status, VN_E_IDXCORRUPT) << d.what;
        f.cb.status = 0;
        f.setkey(key);
        EXPECT_EQ(idxdelete(&f.cb, 1, 1), -1) << d.what;
        EXPECT_EQ(f.cb.status, VN_E_IDXCORRUPT) << d.what;
        // The other index is unharmed.
        f.setkey("000000");
        EXPECT_GT(idxsearch(&f.cb, 0, SRCH_EQUAL), 0) << d.what;
        f.close();
    }
}

TEST_F(Hostile, PagesThatLoopStopAtTheDepthLimit) {
    build("a.idx");
    std::string good = readfile(path("a.idx"));
    uint32_t root1 = le32(good, 24);
    size_t P = le16(good, 94);
    // The root's children all point back at the root.
    std::ofstream(path("l.idx"), std::ios::binary) << good;
    unsigned count = static_cast<unsigned char>(good[root1 * P + 1]);
    for (unsigned i = 0; i < count; i++) patch("l.idx", root1 * P + 4 + 4 * i, u32(root1));
    IdxFile f(path("l.idx"), defs);
    ASSERT_EQ(f.open(), 0);
    f.setkey(std::string(24, '5'));
    EXPECT_EQ(idxsearch(&f.cb, 1, SRCH_GE), -1);
    EXPECT_EQ(f.cb.status, VN_E_IDXCORRUPT);
}

TEST_F(Hostile, ScrambledPagesNeverBreakBounds) {
    build("a.idx");
    std::string good = readfile(path("a.idx"));
    size_t P = le16(good, 94);
    std::mt19937 rng(5);
    for (int round = 0; round < 40; round++) {
        std::string bad = good;
        for (int n = 0; n < 60; n++) {
            size_t off = P + rng() % (bad.size() - P);
            bad[off] = static_cast<char>(rng() % 4 ? rng() : (rng() % 2 ? 0 : 0xFF));
        }
        if (round % 4 == 0) bad.replace(12, 8, u32(rng() % 40) + u32(rng() % 40));  // chains
        std::ofstream(path("s.idx"), std::ios::binary) << bad;
        IdxFile f(path("s.idx"), defs);
        ASSERT_EQ(f.open(), 0);
        for (int op = 0; op < 60; op++) {
            int index = static_cast<int>(rng() % 2);
            char k[40];
            snprintf(k, sizeof k, "%018d%06d", int(rng() % 10), int(rng() % 1000));
            f.setkey(index ? k : k + 18);
            f.cb.status = 0;
            switch (rng() % 5) {
                case 0: idxinsert(&f.cb, index, op + 1); break;
                case 1: idxdelete(&f.cb, index, rng() % 300 + 1); break;
                case 2: spaceadd(&f.cb, op + 1, 40); break;
                case 3: spacetake(&f.cb, 40); break;
                default: idxsearch(&f.cb, index, static_cast<int>(rng() % 5) + 1); break;
            }
        }
        f.close();
    }
}

}  // namespace
