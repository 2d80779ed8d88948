// fid_text_test.cc - loading text definitions: keywords and their quirks,
// key length adjustment, item lookup by name, temporary-index expressions,
// and definitions that would reach outside the record.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <set>

#include "fid_support.h"

using namespace fidtest;

namespace {

const char* kBase =
    "TKF FID v7.0\n"
    "RecLen = 40\n"
    "NItems = 4\n"
    "NKeys = 2\n"
    "Flags = 0\n"
    "Item = CODE,'C','L',0,6,1,0,\n"
    "Item = NAME,'C','L',6,20,1,2,\n"
    "Item = AMOUNT,'N','R',26,8,1,3,\n"
    "Item = D_ATE,'D','L',34,6,1,1,\n"
    "Key = CODE,6,1\n"
    "0,6,0\n"
    "Key = NAME,20,1\n"
    "6,20,4\n";

class FidText : public ::testing::Test {
   protected:
    TempDir dir;
    Def def;
    int32_t load(const std::string& text, uint8_t fflags = 0) {
        return def.loadtext(dir, text, fflags);
    }
    uint8_t status() const { return def.cb.status; }
};

TEST_F(FidText, LoadsItemsKeysAndAdjustsKeyLengths) {
    ASSERT_EQ(load(kBase), 0);
    const FHCB& cb = def.cb;
    EXPECT_EQ(+cb.reclen, 42);
    EXPECT_EQ(+cb.nitems, 4);
    EXPECT_EQ(+cb.nkeys, 2);
    EXPECT_STREQ(cb.items[2].name, "AMOUNT");
    EXPECT_EQ(cb.items[2].type, 'N');
    EXPECT_EQ(cb.items[2].just, 'R');
    EXPECT_EQ(cb.items[2].offset, 27);  // 0-based 26 kept 1-based
    EXPECT_EQ(cb.items[2].length, 8);
    EXPECT_EQ(cb.keys[0].keylen, 6);       // the first key keeps its length
    EXPECT_EQ(cb.keys[1].keylen, 20 + 6);  // secondary keys carry the primary
    EXPECT_EQ(cb.keys[1].seg[0].segflags, 4);
    EXPECT_EQ(+cb.nthreads, 0);
    EXPECT_EQ(cb.threads, nullptr);
}

TEST_F(FidText, RecordNumbersAddFiveToEveryKey) {
    std::string t = kBase;
    t.replace(t.find("Flags = 0"), 9, "Flags = 131");
    ASSERT_EQ(load(t), 0);
    EXPECT_EQ(+def.cb.fflags & (VN_FF_RECNO | VN_FF_HASHED | VN_FF_VARLEN), VN_FF_RECNO | VN_FF_VARLEN | VN_FF_HASHED);
    EXPECT_EQ(def.cb.keys[0].keylen, 11);
    EXPECT_EQ(def.cb.keys[1].keylen, 25);
}

TEST_F(FidText, RecordLengthLimitAndKeywordSpelling) {
    EXPECT_EQ(load("TKF FID v7.0\nRecLen = 7\n"), -1);
    EXPECT_EQ(status(), VN_E_RECLEN);
    EXPECT_EQ(load("TKF FID v7.0\nRecLen = 8\nNItems = 0\n"), 0);
    EXPECT_EQ(+def.cb.reclen, 10);
    EXPECT_EQ(load("TKF FID v7.0\nreclen = 12\n"), 0);
    EXPECT_EQ(+def.cb.reclen, 14);
    EXPECT_EQ(load("TKF FID v7.0\r\nRECLEN   12\r\n"), 0);
    EXPECT_EQ(+def.cb.reclen, 14);
    // No record length at all is a record below the minimum.
    EXPECT_EQ(load("TKF FID v7.0\nNItems = 0\n"), -1);
    EXPECT_EQ(status(), VN_E_RECLEN);
}

TEST_F(FidText, CommaQuirksOfItemLines) {
    ASSERT_EQ(load("TKF FID v7.0\nRecLen=20\nNItems=2\n"
                   "Item = ALPHA ,'C','L',0,4,1,0\n"  // order not followed by a comma
                   "Item=BETA,   'N',  'R',  12,  2, 1, 0,\n"),
              0);
    EXPECT_STREQ(def.cb.items[0].name, "ALPHA ");  // blanks before a comma stay
    EXPECT_EQ(def.cb.items[0].order, 1);           // repeats the occurrences
    EXPECT_EQ(def.cb.items[1].type, 'N');
    EXPECT_EQ(def.cb.items[1].just, 'R');
    EXPECT_EQ(def.cb.items[1].offset, 13);
}

TEST_F(FidText, UnreadableFiles) {
    Def missing;
    EXPECT_EQ(missing.load(dir.path("none.fid")), -1);
    EXPECT_EQ(+missing.cb.status, VN_E_FIDOPEN);
    EXPECT_EQ(load("TKF FID v6.0\nRecLen=20\n"), -1);
    EXPECT_EQ(status(), VN_E_FIDVERSION);
    EXPECT_EQ(load(""), -1);
    EXPECT_EQ(status(), VN_E_FIDREAD);
}

// Each hostile definition names the status it must fail with; none may
// leave a table behind.
TEST_F(FidText, HostileDefinitionsAreRefused) {
    struct Case {
        const char* what;
        std::string text;
        uint8_t status;
    } cases[] = {
        {"item past the record", "TKF FID v7.0\nRecLen=10\nNItems=1\nItem=A,'C','L',5,6,1,0,\n", 7},
        {"occurrences past the record", "TKF FID v7.0\nRecLen=10\nNItems=1\nItem=A,'C','L',0,4,3,0,\n", 7},
        {"order outside the table", "TKF FID v7.0\nRecLen=10\nNItems=1\nItem=A,'C','L',0,4,1,1,\n", 7},
        {"fewer items than declared", "TKF FID v7.0\nRecLen=10\nNItems=2\nItem=A,'C','L',0,4,1,0,\n", 7},
        {"negative offset", "TKF FID v7.0\nRecLen=10\nNItems=1\nItem=A,'C','L',-1,4,1,0,\n", 7},
        {"items beyond 16 bits", "TKF FID v7.0\nRecLen=10\nNItems=70000\n", 7},
        {"keys beyond 8 bits", "TKF FID v7.0\nRecLen=10\nNKeys=200\n", 7},
        {"record length beyond 16 bits", "TKF FID v7.0\nRecLen=70000\n", 7},
        {"19 segments", "TKF FID v7.0\nRecLen=10\nNItems=0\nNKeys=1\nKey=K,19,19\n", 7},
        {"segment past the record", "TKF FID v7.0\nRecLen=10\nNItems=0\nNKeys=1\nKey=K,4,1\n8,4,0\n", 7},
        {"segments longer than the key", "TKF FID v7.0\nRecLen=10\nNItems=0\nNKeys=1\nKey=K,2,1\n0,4,0\n", 7},
        {"segment lines missing", "TKF FID v7.0\nRecLen=10\nNItems=0\nNKeys=1\nKey=K,4,2\n0,2,0\n", 7},
        {"fewer keys than declared", "TKF FID v7.0\nRecLen=10\nNItems=0\nNKeys=2\nKey=K,4,1\n0,4,0\n", 7},
        {"key lengths past 255",
         "TKF FID v7.0\nRecLen=250\nNItems=0\nNKeys=2\nKey=A,200,1\n0,200,0\nKey=B,100,1\n0,100,0\n", 7},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(load(c.text), -1) << c.what;
        EXPECT_EQ(status(), c.status) << c.what;
        EXPECT_EQ(def.cb.items, nullptr) << c.what;
        EXPECT_EQ(def.cb.keys, nullptr) << c.what;
    }
}

TEST_F(FidText, MoreKeysThanOneIndexFileHolds) {
    auto keys = [](int n, int flags) {
        std::string t = "TKF FID v7.0\nRecLen=20\nFlags=" + std::to_string(flags) +
                        "\nNItems=0\nNKeys=" + std::to_string(n) + "\n";
        for (int k = 0; k < n; ++k) t += "Key=K,1,1\n" + std::to_string(k) + ",1,0\n";
        return t;
    };
    EXPECT_EQ(load(keys(18, 0)), 0);
    EXPECT_EQ(load(keys(19, 0)), -1);
    EXPECT_EQ(status(), VN_E_FIDREAD);
    EXPECT_EQ(load(keys(17, 128)), 0);
    EXPECT_EQ(load(keys(18, 128)), -1);
    EXPECT_EQ(status(), VN_E_FIDREAD);
}

TEST_F(FidText, ThreadCountsOfTheTextFormAreNotKept) {
    ASSERT_EQ(load("TKF FID v7.0\nRecLen=20\nNThreads=2\nThread=X,Y\nNItems=0\n"), 0);
    EXPECT_EQ(+def.cb.nthreads, 0);
    EXPECT_EQ(def.cb.threads, nullptr);
}

TEST_F(FidText, ItemLookupByName) {
    ASSERT_EQ(load("TKF FID v7.0\nRecLen=20\nNItems=1\nItem=ONLY,'C','L',0,4,1,0,\n"), 0);
    EXPECT_EQ(fhfidoffset(&def.cb, "ONLY"), 0);
    EXPECT_EQ(fhfidoffset(&def.cb, "only"), -1);
    EXPECT_EQ(fhfidoffset(&def.cb, "ONL"), -1);
    EXPECT_EQ(fhfidoffset(&def.cb, "ONLYX"), -1);
    Def empty;
    EXPECT_EQ(fhfidoffset(&empty.cb, "ONLY"), -1);
}

// Every name of random tables is found at its index; other names are not.
TEST_F(FidText, ItemLookupMatchesASetOfNames) {
    std::mt19937 rng(7);
    for (int round = 0; round < 40; ++round) {
        int n = std::uniform_int_distribution<int>(1, 60)(rng);
        std::vector<std::string> names;
        std::set<std::string> seen;
        while (static_cast<int>(names.size()) < n) {
            std::string s;
            for (int k = std::uniform_int_distribution<int>(1, 4)(rng); k > 0; --k)
                s += static_cast<char>('A' + rng() % 6);
            if (seen.insert(s).second) names.push_back(s);
        }
        std::vector<int> order(n);
        for (int i = 0; i < n; ++i) order[i] = i;
        std::sort(order.begin(), order.end(), [&](int a, int b) { return names[a] < names[b]; });
        std::string t = "TKF FID v7.0\nRecLen=" + std::to_string(n) + "\nNItems=" + std::to_string(n) + "\n";
        for (int i = 0; i < n; ++i) t += itemline(names[i], 'C', 'L', i, 1, 1, order[i]);
        if (n < 8) t.replace(t.find("RecLen=") + 7, std::to_string(n).size(), "8");
        ASSERT_EQ(load(t), 0) << t;
        for (int i = 0; i < n; ++i) EXPECT_EQ(fhfidoffset(&def.cb, names[i].c_str()), i);
        for (int probe = 0; probe < 50; ++probe) {
            std::string s;
            for (int k = std::uniform_int_distribution<int>(1, 5)(rng); k > 0; --k)
                s += static_cast<char>('A' + rng() % 7);
            int32_t at = fhfidoffset(&def.cb, s.c_str());
            if (seen.count(s))
                EXPECT_EQ(names[at], s);
            else
                EXPECT_EQ(at, -1) << s;
        }
    }
}

TEST_F(FidText, TemporaryIndexExpression) {
    std::strcpy(def.work, "  -code +NAME ");
    ASSERT_EQ(load(kBase, VN_FF_TMPIDX), 0);
    const FidKey& k = def.cb.keys[0];
    EXPECT_EQ(+def.cb.nkeys, 1);
    EXPECT_EQ(k.name, nullptr);
    ASSERT_EQ(k.nsegs, 2);
    EXPECT_EQ(k.seg[0].segoff, 0);
    EXPECT_EQ(k.seg[0].seglen, 6);
    EXPECT_EQ(k.seg[0].segflags, SEG_DESCEND | SEG_CASE);
    EXPECT_EQ(k.seg[1].segoff, 6);
    EXPECT_EQ(k.seg[1].segflags, 0);
    EXPECT_EQ(k.keylen, 6 + 20 + 4);
}

TEST_F(FidText, TemporaryIndexMatchesNamesWithoutUnderscores) {
    std::strcpy(def.work, "DATE");
    ASSERT_EQ(load(kBase, VN_FF_TMPIDX), 0);
    EXPECT_EQ(def.cb.keys[0].seg[0].segoff, 34);
    EXPECT_EQ(def.cb.keys[0].seg[0].segflags, SEG_INTEGER);  // a date shorter than 11
    for (const char* bad : {"NOSUCH", "CODE,NAME", "ABCDEFGHIJK", "-", "CODE +"}) {
        std::strcpy(def.work, bad);
        EXPECT_EQ(load(kBase, VN_FF_TMPIDX), -1) << bad;
        EXPECT_EQ(status(), VN_C_KEYEXPR) << bad;
    }
}

}  // namespace
