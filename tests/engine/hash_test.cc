// hash_test.cc - the hash file: size classes, file lengths and header
// bytes, header checks, a random model of writes, deletes and reads against
// a map, and a short data record.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <memory>

#include "common/engine.h"
#include "record/hashrec.h"
#include "record/keyfile.h"
#include "index/hash.h"
#include "index/idxfile.h"
#include "support/os.h"

using namespace vntest;

namespace {

// A new hashed record file opened unshared, driven at the hash layer
// itself.  Records of 20 bytes: CODE (8 bytes, the key) and REST (12 bytes).
class Hash : public EngineTest {
protected:
    FHCB& make(uint32_t hashrecs) {
        const Def d{20, 2, static_cast<int>(hashrecs), {{"CODE", 'C', 0, 8}, {"REST", 'C', 8, 12}},
                    {{"CODE", 8, {{0, 8, 0}}}}, {}};
        hshname = tmp.path(numbered("h", hashrecs) + ".hsh");
        f = std::make_unique<File>(define(numbered("h", hashrecs), d));
        EXPECT_EQ(f->create(), 0) << +f->cb.status;
        f->net("SINGLE");
        return f->cb;
    }
    int32_t write(const std::string& code, const std::string& rest) {
        f->fill(code, rest);
        return hshwrite(&f->cb);
    }
    // hshread of code: 1 found, 0 not found, -1 failure.
    int32_t find(const std::string& code) {
        std::snprintf(f->cb.index->keybuf, 9, "%-8.8s", code.c_str());
        return hshread(&f->cb) != 0 ? -1 : (f->cb.hashstate & HS_FOUND) ? 1 : 0;
    }
    int32_t remove(const std::string& code) {
        f->fill(code, "");
        return hshdelete(&f->cb);
    }
    std::string hshname;
    std::unique_ptr<File> f;
};

// Records asked for, the table size and class chosen, and the file length:
// a 16-byte header (magic, version 1376, key length 8, table size) and a
// zeroed table of four-byte slots in blocks of 32.
TEST_F(Hash, SizesAndFileLengths) {
    const struct {
        uint32_t recs, size, cls;
        size_t length;
    } rows[] = {{1, 281, 0, 1168},          {281, 281, 0, 1168},          {282, 601, 1, 2448},
                {1501, 1501, 2, 6032},      {72090, 144203, 9, 576912},   {288359, 288359, 10, 1153552},
                {300000, 288359, 10, 1153552}};
    for (auto r : rows) {
        const FHCB& cb = make(r.recs);
        EXPECT_EQ(+cb.hashrecs, r.size) << r.recs;
        EXPECT_EQ(hshclass(+cb.hashstate), r.cls) << r.recs;
        const std::string bytes = readfile(hshname);
        EXPECT_EQ(bytes.size(), r.length) << r.recs;
        EXPECT_EQ(hex(bytes.substr(0, 8)), "544b4600" "6005" "0800");
        EXPECT_EQ(le32(bytes, 8), r.size);
        EXPECT_EQ(bytes.find_first_not_of('\0', 12), std::string::npos);
    }
}

TEST_F(Hash, HeaderChecks) {
    FHCB& cb = make(300);
    auto patch = [&](size_t at, char v) {
        int32_t fd = static_cast<int32_t>(cb.idxfd);
        osseek(fd, static_cast<int32_t>(at), 0);
        oswrite(fd, &v, 1);
    };
    patch(4, 0x61);  // version 1377
    EXPECT_EQ(failedwith(keyfileopen(&cb), cb), VN_E_HSHVERSION);
    patch(4, 0x60);
    patch(6, 9);  // key length 9
    EXPECT_EQ(failedwith(keyfileopen(&cb), cb), VN_E_HSHFID);
    patch(6, 8);
    EXPECT_EQ(keyfileopen(&cb), 0);
    cb.hashrecs = 2000;  // a definition asking for another table size
    EXPECT_EQ(failedwith(keyfileopen(&cb), cb), VN_E_HSHFID);
    cb.hashrecs = 601;
    std::filesystem::resize_file(hshname, 10);
    EXPECT_EQ(failedwith(keyfileopen(&cb), cb), VN_E_HSHREAD);
    int8_t nkeys = cb.nkeys;
    cb.nkeys = 0;
    EXPECT_EQ(failedwith(keyfileopen(&cb), cb), VN_C_HSHNOKEY);
    EXPECT_EQ(failedwith(keyfilecreate(&cb), cb), VN_C_HSHNOKEY);
    cb.nkeys = nkeys;
}

struct Entry {
    int32_t pos;
    std::string rest;
    bool deleted;
};

// The first slot and probe step of code.
std::pair<uint32_t, uint32_t> probe(const FHCB& cb, std::string code) {
    code.resize(8, ' ');
    uint32_t h, d;
    hshkey(code.c_str(), cb.hashrecs, hshclass(cb.hashstate), &h, &d);
    return {h, d};
}

// Random writes, deletes and reads agree with a map; a key keeps its
// position for life, new keys append to the data file.  A key whose probe
// step is 0 and whose first slot is taken ends with 39.
TEST_F(Hash, RandomOperationsAgreeWithAMap) {
    const FHCB& cb = make(500);
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
        // A probe step of 0 never leaves the first slot, so a collision
        // there can only end at the full-table guard.
        if (probe(cb, k).second == 0 && it == model.end()) {
            int32_t r = what == 0 ? write(k, "") : what == 1 ? remove(k) : find(k);
            if (r == -1 && cb.status == VN_E_HSHFULL) continue;
            if (what == 0) it = model.emplace(k, Entry{cb.datpos, "", false}).first;
            continue;
        }
        if (what == 0) {
            std::string rest = std::to_string(step);
            ASSERT_EQ(write(k, rest), 0);
            const int32_t pos = cb.datpos;
            EXPECT_EQ(pos, it != model.end() ? it->second.pos : static_cast<int32_t>((+cb.nrecs - 1) * +cb.reclen)) << k;
            model[k] = {pos, rest, false};
        } else if (what == 1) {
            // A deleted record still answers its key.
            EXPECT_EQ(failedwith(remove(k), cb), it == model.end() ? VN_C_NOTFOUND : 0) << k;
            if (it != model.end()) it->second.deleted = true;
        } else {
            int32_t r = find(k);
            bool present = it != model.end() && !it->second.deleted;
            ASSERT_EQ(r, present ? 1 : 0) << k;
            if (present) {
                EXPECT_EQ(+cb.datpos, it->second.pos);
                EXPECT_EQ(rtrim(f->rec().substr(8, 12)), it->second.rest);
            }
        }
    }
    EXPECT_EQ(std::filesystem::file_size(f->cb.datname), +cb.nrecs * +cb.reclen);
    EXPECT_EQ(+cb.nrecs, model.size() + 1);
}

// The key's first slot holds the record's position; a record cut short
// under it fails the read.
TEST_F(Hash, SlotHoldsThePositionAndAShortRecordIsAReadError) {
    const FHCB& cb = make(100);
    ASSERT_EQ(write("K1", "first"), 0);
    EXPECT_EQ(le32(readfile(hshname), 16 + 4 * probe(cb, "K1").first), static_cast<uint32_t>(cb.reclen));
    std::filesystem::resize_file(f->cb.datname, cb.reclen + 5u);
    EXPECT_EQ(failedwith(find("K1"), cb), VN_E_DATREAD);
}

}  // namespace
