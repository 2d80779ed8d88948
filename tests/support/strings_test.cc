// strings_test.cc - the small string routines, case helpers, hexadecimal
// and integer formatting.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

#include "support/strutil.h"
#include "velnor.h"

TEST(Strings, SearchAndCopy) {
    EXPECT_EQ(argpos("abc", 'z'), 3);
    EXPECT_EQ(argpos("abcb", 'b'), 1);
    EXPECT_EQ(argpos("", 'a'), 0);
    EXPECT_EQ(instr("", "abc"), 1);
    EXPECT_EQ(instr("bc", "abcbc"), 2);
    EXPECT_EQ(instr("abcd", "abc"), 0);
    EXPECT_EQ(instr("x", "abc"), 0);

    char buf[8];
    memset(buf, '#', sizeof buf);
    blcpy(buf, "abcdef", 3);
    EXPECT_EQ(std::string(buf, 8), "abc#####");  // no terminator
    blcpy(buf, "xy", 5);
    EXPECT_EQ(std::string(buf, 8), "xyc#####");  // stops at the source's NUL

    memset(buf, '#', sizeof buf);
    EXPECT_EQ(nstrncpy(buf, "ab", 5), buf);
    EXPECT_EQ(std::string(buf, 8), std::string("ab\0\0\0\0##", 8));
    nstrncpy(buf, "abcdefgh", 3);
    EXPECT_EQ(std::string(buf, 4), std::string("abc\0", 4));
}

TEST(Strings, TrimAndLeading) {
    char a[] = "ab \t ";
    EXPECT_STREQ(trim(a), "ab");
    char b[] = "     ";
    EXPECT_STREQ(trim(b), "");
    char c[] = " a\n";  // only spaces and tabs go
    EXPECT_STREQ(trim(c), " a\n");
    EXPECT_STREQ(leading(" \t\n\v\f\rx y"), "x y");
    EXPECT_STREQ(leading("   "), "");
}

TEST(Strings, CaseBlindComparison) {
    EXPECT_LT(casecmp("abc", "ABD"), 0);
    EXPECT_EQ(casecmp("ab", "abc"), -1);
    EXPECT_GT(casecmp("abc", "ab"), 0);
    EXPECT_EQ(casecmp("MiXeD", "mixed"), 0);
    EXPECT_EQ(casecmp("", ""), 0);
    // Signed bytes: a high byte sorts below every ASCII character.
    EXPECT_LT(casecmp("\xE9", "a"), 0);
    // casencmp runs over all n positions, past the NULs.
    const char x[] = {'a', 'b', 0, 'x', 0};
    const char y[] = {'A', 'B', 0, 'y', 0};
    EXPECT_EQ(casencmp(x, y, 3), 0);
    EXPECT_NE(casencmp(x, y, 5), 0);
    EXPECT_EQ(casencmp("ab", "AB", 0), 0);
}

TEST(Strings, CaseHelpers) {
    EXPECT_EQ(upperchar('a'), 'A');
    EXPECT_EQ(upperchar('{'), '{');
    EXPECT_EQ(lowerchar('Z'), 'z');
    EXPECT_EQ(lowerchar('@'), '@');
    char s[] = "Hello, World 1";
    EXPECT_STREQ(upperstr(s), "HELLO, WORLD 1");
    EXPECT_STREQ(lowerstr(s), "hello, world 1");
    char w[] = "tHE qUICK,bROWN.fOX";
    EXPECT_STREQ(capwords(w, 0), "THE QUICK,BROWN.FOX");
    char w2[] = "tHE qUICK,bROWN.fOX";
    EXPECT_STREQ(capwords(w2, 1), "The Quick,Brown.Fox");
    char q[] = "name = 'it''s \"x\"' and \"don't\" end";
    EXPECT_STREQ(upperunquoted(q), "NAME = 'it''s \"x\"' AND \"don't\" END");
}

TEST(Strings, HexDigits) {
    char buf[10] = "#########";
    tohexn(0xABC, 8, buf);
    EXPECT_EQ(std::string(buf, 9), "00000ABC#");
    tohexn(0x12345, 4, buf);
    EXPECT_EQ(std::string(buf, 4), "2345");
    tohexn(0xFFFFFFFFu, 8, buf);
    EXPECT_EQ(std::string(buf, 8), "FFFFFFFF");
}

TEST(Strings, IntegerFormatting) {
    char buf[40];
    EXPECT_STREQ(longtoa(0, buf, 10), "0");
    EXPECT_STREQ(longtoa(-123, buf, 10), "-123");
    EXPECT_STREQ(longtoa(INT32_MIN, buf, 10), "-2147483648");
    EXPECT_STREQ(longtoa(255, buf, 16), "FF");
    EXPECT_STREQ(longtoa(-1, buf, 16), "FFFFFFFF");
    EXPECT_STREQ(longtoa(-1, buf, 2), std::string(32, '1').c_str());
    EXPECT_STREQ(longtoa(35, buf, 36), "Z");
    EXPECT_STREQ(inttoa(1295, buf, 36), "ZZ");
    EXPECT_STREQ(longtoa(5, buf, 1), "");
    EXPECT_STREQ(inttoa(5, buf, 37), "");
    EXPECT_EQ(longtoa(5, nullptr, 10), nullptr);
    // Round trip against the standard conversion in every radix.
    std::mt19937 rng(7);
    for (int i = 0; i < 2000; ++i) {
        int32_t v = static_cast<int32_t>(rng());
        int radix = 2 + static_cast<int>(rng() % 35);
        longtoa(v, buf, radix);
        if (radix == 10)
            EXPECT_EQ(std::strtoll(buf, nullptr, 10), v);
        else
            EXPECT_EQ(std::strtoull(buf, nullptr, radix), static_cast<uint32_t>(v)) << buf;
    }
}
