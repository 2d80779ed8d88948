// fid_text_test.cc - loading text definitions: hostile definitions that
// would reach outside the record, and bad temporary-index expressions.
#include <gtest/gtest.h>

#include <cstring>

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
