// keys_test.cc - base-95 and hexadecimal number forms, extension
// replacement, and key building checked against a plain concatenation of
// segments.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>

#include "engine/keys.h"
#include "fid_support.h"

using namespace fidtest;

namespace {

TEST(Base95, WrittenForms) {
    EXPECT_STREQ(tobase95(0, 4), "    ");
    EXPECT_STREQ(tobase95(95, 4), "  ! ");
    EXPECT_STREQ(tobase95(95u * 95 * 95 * 95, 4), "    ");  // high digit dropped
    EXPECT_STREQ(tobase95(94, 1), "~");
    EXPECT_STREQ(tobase95(1, 5), "    !");
    EXPECT_EQ(frombase95("    ", 4), 0u);
    EXPECT_EQ(frombase95("~~~~", 4), 81450624u);
    EXPECT_EQ(frombase95("\x80", 1), static_cast<uint32_t>(0x80 - 256 - 32));  // signed byte
}

TEST(Base95, RoundTripsOfRandomValues) {
    std::mt19937 rng(3);
    for (int i = 0; i < 20000; ++i) {
        uint32_t v = static_cast<uint32_t>(rng());
        char five[6];
        std::memcpy(five, tobase95(v, 5), 6);
        EXPECT_EQ(frombase95(five, 5), v);
        uint32_t small = v % 81450625u;
        EXPECT_EQ(frombase95(tobase95(small, 4), 4), small);
        for (int k = 0; k < 4; ++k) {
            char c = tobase95(small, 4)[k];
            EXPECT_TRUE(c >= ' ' && c <= '~');
        }
    }
}

TEST(Hex, ReadsUpperCaseDigits) {
    EXPECT_EQ(fromhex("0000001F", 8), 31);
    EXPECT_EQ(fromhex("FFFFFFFF", 8), -1);
    EXPECT_EQ(fromhex("00A0", 4), 160);
    std::mt19937 rng(4);
    for (int i = 0; i < 5000; ++i) {
        uint32_t v = static_cast<uint32_t>(rng());
        char text[16];
        std::snprintf(text, sizeof text, "%08X", v);
        EXPECT_EQ(static_cast<uint32_t>(fromhex(text, 8)), v);
    }
}

TEST(SetExt, ReplacesFromTheLastDot) {
    char dest[64];
    setext("data", dest, ".fid");
    EXPECT_STREQ(dest, "data.fid");
    setext("a.b.dat", dest, ".idx");
    EXPECT_STREQ(dest, "a.b.idx");
    setext("dir.x/file", dest, ".hsh");  // a dot in a directory name wins
    EXPECT_STREQ(dest, "dir.hsh");
    std::strcpy(dest, "same.dat");
    setext(dest, dest, ".itx");
    EXPECT_STREQ(dest, "same.itx");
}

class BuildKey : public ::testing::Test {
   protected:
    TempDir dir;
    Def def;
};

TEST_F(BuildKey, SecondaryKeysEndWithThePrimary) {
    ASSERT_EQ(def.loadtext(dir, "TKF FID v7.0\nRecLen=20\nNItems=0\nNKeys=3\n"
                                "Key=A,3,1\n0,3,0\nKey=B,4,2\n10,2,0\n5,2,0\nKey=C,2,1\n16,2,0\n"),
              0);
    std::string rec = " abcdefghijklmnopqrst\n";
    def.cb.recbuf = rec.data();
    char key[64];
    EXPECT_EQ(bldkey(&def.cb, 0, key), 3);
    EXPECT_STREQ(key, "abc");
    EXPECT_EQ(bldkey(&def.cb, 1, key), 7);
    EXPECT_STREQ(key, "klfgabc");
    EXPECT_EQ(bldkey(&def.cb, 2, key), def.cb.keys[2].keylen);
    EXPECT_STREQ(key, "qrabc");
    def.cb.recbuf = nullptr;
}

TEST_F(BuildKey, RecordNumbersAndTemporaryIndexes) {
    ASSERT_EQ(def.loadtext(dir, "TKF FID v7.0\nRecLen=20\nFlags=128\nNItems=0\nNKeys=1\n"
                                "Key=A,3,1\n10,3,0\n"),
              0);
    std::string rec = " 12345xxxxxabcdefghi\n";
    def.cb.recbuf = rec.data();
    char key[64];
    EXPECT_EQ(bldkey(&def.cb, 0, key), 5);
    EXPECT_STREQ(key, "12345");
    EXPECT_EQ(bldkey(&def.cb, 1, key), 8);
    EXPECT_STREQ(key, "abc12345");
    def.cb.fflags |= VN_FF_VARLEN;  // the number sits after the hex-4 length
    EXPECT_EQ(bldkey(&def.cb, 0, key), 5);
    EXPECT_STREQ(key, "5xxxx");
    def.cb.fflags = VN_FF_TMPIDX | VN_FF_RECNO;
    def.cb.datpos = 95;
    EXPECT_EQ(bldkey(&def.cb, 1, key), 12);
    EXPECT_STREQ(key, "abc12345  ! ");
    def.cb.recbuf = nullptr;
}

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
