// hash_test.cc - the hash file: size classes, file lengths and header
// bytes, header checks, a random model of writes, deletes and reads against
// a map, the full-table guard and a short data record.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "common/engine.h"
#include "engine/hashrec.h"
#include "index/hash.h"
#include "index/idxfile.h"
#include "support/os.h"

using namespace vntest;

namespace {

// A hashed record file set up at the hash layer itself: definition, hash
// file, data file with its header record, record buffer.  Records of 20
// bytes: CODE (8 bytes, the key) and REST (12 bytes).
class HashFile {
public:
    HashFile(const TempDir& dir, uint32_t hashrecs) : hshname(dir.path("h.hsh")), datname(dir.path("h.dat")) {
        EXPECT_EQ(def_.loadtext(dir, cat("TKF FID v7.0\nRecLen=20\nNItems=2\nNKeys=1\nFlags=2\nHashRecs=", hashrecs,
                                         "\nItem=CODE,'C','L',0,8,1,0,\nItem=REST,'C','L',8,12,1,1,\n"
                                         "Key=CODE,8,1\n0,8,0\n")),
                  0);
        FHCB& c = def_.cb;
        std::snprintf(c.idxname, sizeof c.idxname, "%s", hshname.c_str());
        EXPECT_EQ(hshcreate(&c), 0);
        writefile(datname, cat(" 00000001", std::string(c.reclen - 10, ' '), "\n"));
        c.datfd = static_cast<uint32_t>(osopen(datname.c_str(), VN_O_RDWR | VN_O_BINARY, 0));
        c.idxfd = static_cast<uint32_t>(osopen(hshname.c_str(), VN_O_RDWR | VN_O_BINARY, 0));
        c.nrecs = 1;
        c.nettype = 0;
        buf_.assign(c.reclen + 8u, ' ');
        c.recbuf = buf_.data();
        opened = hshopen(&c) == 0;
        EXPECT_TRUE(opened);
    }
    ~HashFile() {
        FHCB& c = def_.cb;
        if (c.index != nullptr) idxclose(&c);
        osclose(static_cast<int32_t>(c.datfd));
        osclose(static_cast<int32_t>(c.idxfd));
        c.recbuf = nullptr;
    }
    HashFile(const HashFile&) = delete;
    HashFile& operator=(const HashFile&) = delete;
    // Fills the record buffer with code and rest.
    void fill(const std::string& code, const std::string& rest) {
        std::string r = code;
        r.resize(8, ' ');
        r = cat(" ", r, rest);
        r.resize(cb().reclen - 1u, ' ');
        r += '\n';
        r.copy(cb().recbuf, r.size());
    }
    int32_t write(const std::string& code, const std::string& rest) {
        fill(code, rest);
        return hshwrite(&cb());
    }
    // hshread of code: 1 found, 0 not found, -1 failure.
    int32_t find(const std::string& code) {
        std::string k = code;
        k.resize(8, ' ');
        k.copy(cb().index->keybuf, 8);
        cb().index->keybuf[8] = '\0';
        if (hshread(&cb()) != 0) return -1;
        return (cb().hashstate & HS_FOUND) ? 1 : 0;
    }
    int32_t remove(const std::string& code) {
        fill(code, "");
        return hshdelete(&cb());
    }
    std::string rest() const { return std::string(cb().recbuf + 9, 12); }
    FHCB& cb() const { return def_.cb; }
    std::string hshname, datname;
    bool opened = false;

private:
    mutable Loaded def_;
    std::string buf_;
};

// Records asked for, the table size and class chosen, and the file length:
// a 16-byte header (magic, version 1376, key length 8, table size) and a
// zeroed table of four-byte slots in blocks of 32.
TEST(HashClasses, SizesAndFileLengths) {
    const struct {
        uint32_t recs, size, cls;
        size_t length;
    } rows[] = {{1, 281, 0, 1168},          {281, 281, 0, 1168},          {282, 601, 1, 2448},
                {1501, 1501, 2, 6032},      {72090, 144203, 9, 576912},   {288359, 288359, 10, 1153552},
                {300000, 288359, 10, 1153552}};
    for (auto r : rows) {
        TempDir dir;
        HashFile h(dir, r.recs);
        EXPECT_EQ(+h.cb().hashrecs, r.size) << r.recs;
        EXPECT_EQ(hshclass(+h.cb().hashstate), r.cls) << r.recs;
        std::string bytes = readfile(h.hshname);
        EXPECT_EQ(bytes.size(), r.length) << r.recs;
        EXPECT_EQ(hex(bytes.substr(0, 8)), "544b4600" "6005" "0800");
        EXPECT_EQ(le32(bytes, 8), r.size);
        EXPECT_EQ(bytes.find_first_not_of('\0', 12), std::string::npos);
    }
}

TEST(HashOpen, HeaderChecks) {
    TempDir dir;
    HashFile h(dir, 300);
    FHCB& cb = h.cb();
    auto patch = [&](size_t at, char v) {
        int32_t fd = static_cast<int32_t>(cb.idxfd);
        osseek(fd, static_cast<int32_t>(at), 0);
        oswrite(fd, &v, 1);
    };
    patch(4, 0x61);  // version 1377
    EXPECT_EQ(hshopen(&cb), -1);
    EXPECT_EQ(+cb.status, VN_E_HSHVERSION);
    patch(4, 0x60);
    patch(6, 9);  // key length 9
    EXPECT_EQ(hshopen(&cb), -1);
    EXPECT_EQ(+cb.status, VN_E_HSHFID);
    patch(6, 8);
    EXPECT_EQ(hshopen(&cb), 0);
    cb.hashrecs = 2000;  // a definition asking for another table size
    EXPECT_EQ(hshopen(&cb), -1);
    EXPECT_EQ(+cb.status, VN_E_HSHFID);
    cb.hashrecs = 601;
    std::filesystem::resize_file(h.hshname, 10);
    EXPECT_EQ(hshopen(&cb), -1);
    EXPECT_EQ(+cb.status, VN_E_HSHREAD);
    int8_t nkeys = cb.nkeys;
    cb.nkeys = 0;
    EXPECT_EQ(hshopen(&cb), -1);
    EXPECT_EQ(+cb.status, VN_C_HSHNOKEY);
    EXPECT_EQ(hshcreate(&cb), -1);
    EXPECT_EQ(+cb.status, VN_C_HSHNOKEY);
    cb.nkeys = nkeys;
}

struct Entry {
    int32_t pos;
    std::string rest;
    bool deleted;
};

// True when key's probe step is 0: the probe never leaves its first slot,
// so a collision there can only end at the full-table guard.
bool stuck(const FHCB& cb, const std::string& code) {
    std::string k = code;
    k.resize(8, ' ');
    uint32_t h, d;
    hshkey(k.c_str(), cb.hashrecs, hshclass(cb.hashstate), &h, &d);
    return d == 0;
}

// Random writes, deletes and reads agree with a map; a key keeps its
// position for life, new keys append to the data file.  A key whose probe
// step is 0 and whose first slot is taken ends with 39.
TEST(HashModel, RandomOperationsAgreeWithAMap) {
    TempDir dir;
    HashFile h(dir, 500);
    ASSERT_TRUE(h.opened);
    std::mt19937 rng(17);
    std::map<std::string, Entry> model;
    std::vector<std::string> pool;
    for (int i = 0; i < 300; ++i) {
        std::string k;
        for (int n = 1 + rng() % 8; n > 0; --n) k += static_cast<char>('A' + rng() % 4);
        pool.push_back(k);
    }
    for (int step = 0; step < 3000; ++step) {
        const std::string& k = pool[rng() % pool.size()];
        int what = rng() % 3;
        auto it = model.find(k);
        if (stuck(h.cb(), k) && it == model.end()) {
            int32_t r = what == 0 ? h.write(k, "") : what == 1 ? h.remove(k) : h.find(k);
            if (r == -1 && h.cb().status == VN_E_HSHFULL) continue;
            if (what == 0) it = model.emplace(k, Entry{h.cb().datpos, "", false}).first;
            continue;
        }
        if (what == 0) {
            std::string rest = std::to_string(step);
            ASSERT_EQ(h.write(k, rest), 0);
            int32_t pos = h.cb().datpos;
            if (it != model.end()) {
                EXPECT_EQ(pos, it->second.pos) << k;
            } else {
                EXPECT_EQ(pos, static_cast<int32_t>((+h.cb().nrecs - 1) * +h.cb().reclen));
            }
            model[k] = {pos, rest, false};
        } else if (what == 1) {
            int32_t r = h.remove(k);
            if (it == model.end()) {
                EXPECT_EQ(r, -1) << k;
                EXPECT_EQ(+h.cb().status, VN_C_NOTFOUND);
            } else {
                EXPECT_EQ(r, 0) << k;  // a deleted record still answers its key
                it->second.deleted = true;
            }
        } else {
            int32_t r = h.find(k);
            bool present = it != model.end() && !it->second.deleted;
            ASSERT_EQ(r, present ? 1 : 0) << k;
            if (present) {
                EXPECT_EQ(+h.cb().datpos, it->second.pos);
                std::string rest = it->second.rest;
                rest.resize(12, ' ');
                EXPECT_EQ(h.rest(), rest);
            }
        }
    }
    EXPECT_EQ(std::filesystem::file_size(h.datname), +h.cb().nrecs * +h.cb().reclen);
    EXPECT_EQ(+h.cb().nrecs, model.size() + 1);
}

// A table whose every slot points at a record of another key ends the
// probe: full (39) when the data file counts a record for each slot, else
// damaged (38), since slots sharing one record cannot come from writes.
TEST(HashModel, FullTableIsReportedFull) {
    TempDir dir;
    HashFile h(dir, 1);
    ASSERT_EQ(h.write("OCCUPANT", "x"), 0);
    uint32_t pos = static_cast<uint32_t>(h.cb().datpos);
    std::string slots;
    for (uint32_t s = 0; s < h.cb().hashrecs; ++s)
        for (int b = 0; b < 4; ++b) slots += static_cast<char>(pos >> (8 * b));
    int32_t fd = static_cast<int32_t>(h.cb().idxfd);
    osseek(fd, 16, 0);
    ASSERT_EQ(oswrite(fd, slots.data(), static_cast<uint32_t>(slots.size())), static_cast<int32_t>(slots.size()));
    EXPECT_EQ(h.find("STRANGER"), -1);
    EXPECT_EQ(+h.cb().status, VN_E_HSHCORRUPT);
    h.cb().nrecs = h.cb().hashrecs + 1;
    EXPECT_EQ(h.find("STRANGER"), -1);
    EXPECT_EQ(+h.cb().status, VN_E_HSHFULL);
    EXPECT_EQ(h.find("OCCUPANT"), 1);
    EXPECT_EQ(h.write("NEWCOMER", "y"), -1);
    EXPECT_EQ(+h.cb().status, VN_E_HSHFULL);
}

TEST(HashModel, ShortRecordIsAReadError) {
    TempDir dir;
    HashFile h(dir, 100);
    ASSERT_EQ(h.write("K1", "first"), 0);
    std::filesystem::resize_file(h.datname, h.cb().reclen + 5u);
    EXPECT_EQ(h.find("K1"), -1);
    EXPECT_EQ(+h.cb().status, VN_E_DATREAD);
}

}  // namespace
