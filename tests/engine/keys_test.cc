// keys_test.cc - keys of random definitions built from random records,
// checked against a plain concatenation of their segments.
#include <gtest/gtest.h>


#include "definition/keys.h"
#include "common/engine.h"

using namespace vntest;

namespace {

class BuildKey : public ::testing::Test {
   protected:
    TempDir dir;
    Loaded def;
};

// Keys of random definitions and records equal the segments cut by hand,
// primary appended, and are as long as the adjusted key length.
TEST_F(BuildKey, MatchesHandCutSegments) {
    std::mt19937 rng(9);
    for (int round = 0; round < 60; ++round) {
        ASSERT_EQ(def.loadtext(dir, randomfid(rng)), 0);
        const FHCB& cb = def.cb;
        bool recno = cb.fflags & VN_FF_RECNO;
        std::string rec(cb.reclen + 8u, ' ');
        for (size_t i = 0; i < cb.reclen; ++i) rec[i] = static_cast<char>('!' + rng() % 90);
        def.cb.recbuf = rec.data();
        auto cut = [&](int entry) {
            std::string s;
            for (int g = 0; g < cb.keys[entry].nsegs; ++g)
                s += rec.substr(cb.keys[entry].seg[g].segoff + 1u, cb.keys[entry].seg[g].seglen);
            return s;
        };
        std::string primary = recno ? rec.substr((cb.fflags & VN_FF_VARLEN) ? 5 : 1, 5)
                                    : (cb.nkeys > 0 ? cut(0) : "");
        int nkeys = cb.nkeys + (recno ? 1 : 0);
        for (int k = 0; k < nkeys; ++k) {
            std::string want = k == 0 ? primary : cut(recno ? k - 1 : k) + primary;
            char key[300];
            int32_t n = bldkey(&def.cb, k, key);
            ASSERT_EQ(std::string(key, static_cast<size_t>(n)), want);
            ASSERT_EQ(key[n], '\0');
            if (!(k == 0 && recno)) {
                EXPECT_EQ(n, cb.keys[recno ? k - 1 : k].keylen);
            }
        }
        def.cb.recbuf = nullptr;
    }
}

}  // namespace
