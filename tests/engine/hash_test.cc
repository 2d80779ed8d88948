// hash_test.cc - the hash file: size classes and file lengths, header bytes
// and checks, the hash function, a random model of writes, deletes and
// reads against a map, slot reuse, and the full-table guard.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "hash_support.h"
#include "index/hash.h"
#include "support/os.h"

using namespace vntest;

namespace {

uint32_t le(const std::string& s, size_t at, int n) {
    uint32_t v = 0;
    for (int i = n - 1; i >= 0; --i) v = v << 8 | static_cast<unsigned char>(s[at + i]);
    return v;
}

TEST(HashClasses, SizesAndFileLengths) {
    struct {
        uint32_t recs, size, cls;
    } rows[] = {{1, 281, 0},        {281, 281, 0},       {282, 601, 1},
                {1501, 1501, 2},    {72090, 144203, 9},  {288359, 288359, 10},
                {300000, 288359, 10}};
    for (auto r : rows) {
        TempDir dir;
        HashFile h(dir, r.recs);
        EXPECT_EQ(+h.cb().hashrecs, r.size) << r.recs;
        EXPECT_EQ(hshclass(+h.cb().hashstate), r.cls) << r.recs;
        std::string bytes = readfile(h.hshname);
        EXPECT_EQ(bytes.size(), 16 + (r.size + 31) / 32 * 32 * 4) << r.recs;
        EXPECT_EQ(bytes.substr(0, 4), std::string("TKF\0", 4));
        EXPECT_EQ(le(bytes, 4, 2), 1376u);
        EXPECT_EQ(le(bytes, 6, 2), 8u);
        EXPECT_EQ(le(bytes, 8, 4), r.size);
        EXPECT_EQ(le(bytes, 12, 4), 0u);
        EXPECT_EQ(bytes.find_first_not_of('\0', 16), std::string::npos);
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

// A table whose every slot points at a record of another key gives 39
// instead of probing for ever.
TEST(HashModel, FullTableGivesStatus39) {
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
    EXPECT_EQ(+h.cb().status, VN_E_HSHFULL);
    EXPECT_EQ(h.find("OCCUPANT"), 1);
    EXPECT_EQ(h.write("NEWCOMER", "y"), -1);
    EXPECT_EQ(+h.cb().status, VN_E_HSHFULL);
}

TEST(HashModel, ShortRecordGivesStatus3) {
    TempDir dir;
    HashFile h(dir, 100);
    ASSERT_EQ(h.write("K1", "first"), 0);
    std::filesystem::resize_file(h.datname, h.cb().reclen + 5u);
    EXPECT_EQ(h.find("K1"), -1);
    EXPECT_EQ(+h.cb().status, VN_E_DATREAD);
}

}  // namespace
