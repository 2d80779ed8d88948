// strings_test.cc - integer formatting in every radix: the edges, and
// random values read back by the standard conversion.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

#include "support/strutil.h"
#include "velnor.h"

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
