// vfh_api_test.cc - the simplified record API over the whole engine: keyed
// and hashed files written, deleted, positioned and read back against a map.
#include <gtest/gtest.h>

#include <map>

#include "engine/handles.h"
#include "index/hash.h"
#include "common/engine.h"

using namespace vntest;

namespace {

// Keyed (0) and hashed (2) files of CODE (8 bytes, the key) and VALUE (16,
// numeric) driven through the simplified record API.
class VfhFiles : public EngineTest, public ::testing::WithParamInterface<int> {
   protected:
    void TearDown() override {
        if (fhnode(&cb) != nullptr) vfhclose(&cb);
        EngineTest::TearDown();
    }
    // Writes an active record: the buffer may still hold a deleted record
    // a hashed look-up read, whose status byte a write keeps.
    int32_t put(const std::string& code, const std::string& value) {
        cb.recbuf[0] = ' ';
        vfhitemset(&cb, "CODE", 0, code.c_str());
        vfhitemset(&cb, "VALUE", 0, value.c_str());
        return vfhwrite(&cb, 0);
    }
    // Positions on code and reads: 1 found with its VALUE in *value, 0 not.
    int32_t get(const std::string& code, std::string* value) {
        std::snprintf(cb.work, 9, "%-8s", code.c_str());
        if (vfhposn(&cb, 1) != 0) return -1;
        if (!(cb.state & VN_ST_CURRENT)) return 0;
        if (vfhread(&cb, 1) != 0) return cb.status == VN_C_DELETED ? 0 : -1;
        char v[17], c[9];
        vfhitemget(&cb, "VALUE", 0, v);
        vfhitemget(&cb, "CODE", 0, c);
        *value = v;
        return code == c ? 1 : 0;
    }
    FHCB cb{};
};

// Random writes, deletes and reads through the API agree with a map, also
// after closing and reopening.
TEST_P(VfhFiles, RandomWritesAndReadsAgreeWithAMap) {
    const int flags = GetParam();
    Def d;
    d.reclen = 24;
    d.flags = flags;
    d.hashrecs = 300;
    d.items = {{"CODE", 'C', 0, 8}, {"VALUE", 'N', 8, 16, 1, 'R'}};
    d.keys = {{"CODE", 8, {{0, 8, 0}}}};
    std::snprintf(cb.datname, sizeof cb.datname, "%s", define("f", d).c_str());
    ASSERT_EQ(vfhmake(&cb), 0) << int(+cb.status);
    ASSERT_EQ(vfhsetkey(&cb, 1), 0) << int(+cb.status);
    std::mt19937 rng(static_cast<unsigned>(flags) + 1);
    std::map<std::string, std::string> model;
    for (int step = 0; step < 600; ++step) {
        std::string code = vntest::numbered("C", rng() % 120);
        code.resize(8, ' ');
        uint32_t h, d;
        hshkey(code.c_str(), 601, 1, &h, &d);
        if (flags == 2 && d == 0) continue;  // its probe never moves on (hash_test)
        int what = rng() % 4;
        if (what < 2) {
            std::string value = std::to_string(rng() % 100000);
            ASSERT_EQ(put(code, value), 0) << int(+cb.status) << " step " << step;
            model[code] = std::string(16 - value.size(), ' ') + value;
        } else if (what == 2 && model.count(code)) {
            vfhitemset(&cb, "CODE", 0, code.c_str());
            ASSERT_EQ(vfhdelete(&cb), 0) << int(+cb.status);
            model.erase(code);
        } else {
            std::string value;
            int32_t r = get(code, &value);
            ASSERT_EQ(r, model.count(code) ? 1 : 0) << code << " status " << int(+cb.status) << " step " << step;
            if (r == 1) {
                EXPECT_EQ(value, model[code]);
            }
        }
        if (step == 300) {
            ASSERT_EQ(vfhclose(&cb), 0);
            ASSERT_EQ(vfhopen(&cb), 0) << int(+cb.status);
            ASSERT_EQ(vfhsetkey(&cb, 1), 0);
        }
    }
    for (const auto& [code, want] : model) {
        std::string value;
        ASSERT_EQ(get(code, &value), 1) << code;
        EXPECT_EQ(value, want);
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, VfhFiles, ::testing::Values(0, 2));

}  // namespace
