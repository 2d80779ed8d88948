// fid_text_test.cc - loading text definitions: hostile definitions that
// would reach outside the record, the key count limits, item lookup by name
// against a set, and bad temporary-index expressions.
#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "common/engine.h"

using namespace vntest;

namespace {

const char* kBase =
    "TKF FID v7.0\nRecLen = 40\nNItems = 4\nNKeys = 2\nFlags = 0\nItem = CODE,'C','L',0,6,1,0,\n"
    "Item = NAME,'C','L',6,20,1,2,\nItem = AMOUNT,'N','R',26,8,1,3,\nItem = D_ATE,'D','L',34,6,1,1,\n"
    "Key = CODE,6,1\n0,6,0\nKey = NAME,20,1\n6,20,4\n";

class FidText : public ::testing::Test {
   protected:
    TempDir dir;
    Loaded def;
    // The status of a load that fails, else 0.
    int failure(const std::string& text, uint8_t fflags = 0) {
        return failedwith(def.loadtext(dir, text, fflags), def.cb);
    }
};

// Hostile definitions fail as unreadable and leave no table behind.
TEST_F(FidText, HostileDefinitionsAreRefused) {
    struct Case {
        const char* what;
        std::string text;
    } cases[] = {
        {"item past the record", "TKF FID v7.0\nRecLen=10\nNItems=1\nItem=A,'C','L',5,6,1,0,\n"},
        {"occurrences past the record", "TKF FID v7.0\nRecLen=10\nNItems=1\nItem=A,'C','L',0,4,3,0,\n"},
        {"order outside the table", "TKF FID v7.0\nRecLen=10\nNItems=1\nItem=A,'C','L',0,4,1,1,\n"},
        {"fewer items than declared", "TKF FID v7.0\nRecLen=10\nNItems=2\nItem=A,'C','L',0,4,1,0,\n"},
        {"negative offset", "TKF FID v7.0\nRecLen=10\nNItems=1\nItem=A,'C','L',-1,4,1,0,\n"},
        {"items beyond 16 bits", "TKF FID v7.0\nRecLen=10\nNItems=70000\n"},
        {"keys beyond 8 bits", "TKF FID v7.0\nRecLen=10\nNKeys=200\n"},
        {"record length beyond 16 bits", "TKF FID v7.0\nRecLen=70000\n"},
        {"19 segments", "TKF FID v7.0\nRecLen=10\nNItems=0\nNKeys=1\nKey=K,19,19\n"},
        {"segment past the record", "TKF FID v7.0\nRecLen=10\nNItems=0\nNKeys=1\nKey=K,4,1\n8,4,0\n"},
        {"segments longer than the key", "TKF FID v7.0\nRecLen=10\nNItems=0\nNKeys=1\nKey=K,2,1\n0,4,0\n"},
        {"segment lines missing", "TKF FID v7.0\nRecLen=10\nNItems=0\nNKeys=1\nKey=K,4,2\n0,2,0\n"},
        {"fewer keys than declared", "TKF FID v7.0\nRecLen=10\nNItems=0\nNKeys=2\nKey=K,4,1\n0,4,0\n"},
        {"key lengths past 255",
         "TKF FID v7.0\nRecLen=250\nNItems=0\nNKeys=2\nKey=A,200,1\n0,200,0\nKey=B,100,1\n0,100,0\n"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(failure(c.text), VN_E_FIDREAD) << c.what;
        EXPECT_TRUE(def.cb.items == nullptr && def.cb.keys == nullptr) << c.what;
    }
}

TEST_F(FidText, MoreKeysThanOneIndexFileHolds) {
    auto keys = [](int n, int flags) {
        Def d;
        d.reclen = 20;
        d.flags = flags;
        for (int k = 0; k < n; ++k) d.keys.push_back({"K", 1, {{k, 1, 0}}});
        return fidtext(d);
    };
    // Record numbers take a key of their own.
    for (int flags : {0, 128}) {
        EXPECT_EQ(failure(keys(flags ? 17 : 18, flags)), 0);
        EXPECT_EQ(failure(keys(flags ? 18 : 19, flags)), VN_E_FIDREAD);
    }
}

// Every name of random tables is found at its index; other names are not.
TEST_F(FidText, ItemLookupMatchesASetOfNames) {
    std::mt19937 rng(7);
    for (int round = 0; round < 40; ++round) {
        int n = std::uniform_int_distribution<int>(1, 60)(rng);
        Def d;
        d.reclen = std::max(n, 8);
        std::set<std::string> seen;
        while (static_cast<int>(d.items.size()) < n) {
            std::string s;
            for (int k = std::uniform_int_distribution<int>(1, 4)(rng); k > 0; --k)
                s += static_cast<char>('A' + rng() % 6);
            if (seen.insert(s).second) d.items.push_back({s, 'C', static_cast<int>(d.items.size()), 1});
        }
        ASSERT_EQ(def.loadtext(dir, fidtext(d)), 0) << fidtext(d);
        for (int i = 0; i < n; ++i) EXPECT_EQ(fhfidoffset(&def.cb, d.items[i].name.c_str()), i);
        for (int probe = 0; probe < 50; ++probe) {
            std::string s;
            for (int k = std::uniform_int_distribution<int>(1, 5)(rng); k > 0; --k)
                s += static_cast<char>('A' + rng() % 7);
            const int32_t at = fhfidoffset(&def.cb, s.c_str());
            EXPECT_EQ(at == -1 ? "" : d.items[at].name, seen.count(s) ? s : "") << s;
        }
    }
}

TEST_F(FidText, TemporaryIndexMatchesNamesWithoutUnderscores) {
    std::strcpy(def.work, "DATE");
    ASSERT_EQ(failure(kBase, VN_FF_TMPIDX), 0);
    EXPECT_EQ(def.cb.keys[0].seg[0].segoff, 34);
    EXPECT_EQ(def.cb.keys[0].seg[0].segflags, SEG_INTEGER);  // a date shorter than 11
    for (const char* bad : {"NOSUCH", "CODE,NAME", "ABCDEFGHIJK", "-", "CODE +"}) {
        std::strcpy(def.work, bad);
        EXPECT_EQ(failure(kBase, VN_FF_TMPIDX), VN_C_KEYEXPR) << bad;
    }
}

}  // namespace
