// dates_test.cc - Julian day numbers, the date forms and reading dates back.
#include <gtest/gtest.h>

#include <cstdio>
#include <random>

#include "velnor.h"

namespace {

// Restores the date form a test changed.
struct FormGuard {
    int32_t old;
    explicit FormGuard(int32_t form) : old(set_dateform(form)) {}
    ~FormGuard() { set_dateform(old); }
};

}  // namespace

// Anchors for the round trip below, and dates that do not exist.
TEST(Dates, KnownDayNumbers) {
    EXPECT_EQ(jdpack(2000, 1, 1), 2451545);
    EXPECT_EQ(jdpack(1858, 11, 17), 2400001);
    const int bad[][3] = {{2001, 2, 29}, {1900, 2, 29}, {2000, 13, 1}, {2000, 4, 31}, {0, 1, 1}, {10000, 1, 1}};
    for (const auto& b : bad) EXPECT_EQ(jdpack(b[0], b[1], b[2]), -1) << b[0] << "-" << b[1] << "-" << b[2];
    int32_t y, m, d;
    jdunpack(-5, &y, &m, &d);
    EXPECT_EQ(y + m + d, 0);
    jdunpack(2451545, nullptr, nullptr, nullptr);
}

TEST(Dates, EveryFormReadsBackWhatItWrites) {
    std::mt19937 rng(17);
    for (int32_t form = 0; form < 5; ++form) {
        FormGuard g(form);
        for (int i = 0; i < 3000; ++i) {
            const bool shortyear = form <= 1;  // two-digit years: 1950 to 2049
            const int32_t lo = jdpack(shortyear ? 1950 : 1, 1, 1), hi = jdpack(shortyear ? 2049 : 9999, 12, 31);
            int32_t jd = lo + static_cast<int32_t>(rng() % static_cast<uint32_t>(hi - lo + 1));
            int32_t y, m, d;
            jdunpack(jd, &y, &m, &d);
            char text[32], written[32], again[32];
            snprintf(text, sizeof text, "%04d-%02d-%02d", y, m, d);
            ASSERT_EQ(convdate(text, written), jd) << text;
            ASSERT_EQ(convdate(written, again), jd) << form << " " << written;
            ASSERT_STREQ(again, written);
        }
    }
}
