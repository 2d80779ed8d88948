// numconv_test.cc - decimal text, comparison and rounding at the library's
// precision: every listed example, and randomized checks against exact
// arithmetic on the decimal texts.
#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <cstdio>
#include <random>
#include <string>

#include "support/numconv.h"
#include "velnor.h"

namespace {

int sign(int v) { return (v > 0) - (v < 0); }

std::string cvt(double v, int places, int* e, int* neg) { return fixcvt(v, places, e, neg); }

}  // namespace

TEST(Numconv, PrecisionIsFive) { EXPECT_EQ(precision, 5); }

TEST(Numconv, FixedPointDigits) {
    int e, neg;
    EXPECT_EQ(cvt(0, 3, &e, &neg), "000");
    EXPECT_EQ(e, 0);
    EXPECT_EQ(neg, 0);
    EXPECT_EQ(cvt(-0.0, 2, &e, &neg), "00");
    EXPECT_EQ(neg, 0);  // -0.0 is not below zero
    EXPECT_EQ(cvt(12.5, 2, &e, &neg), "1250");
    EXPECT_EQ(e, 2);
    EXPECT_EQ(cvt(0.05, 5, &e, &neg), "5000");
    EXPECT_EQ(e, -1);
    EXPECT_EQ(cvt(-9.996, 2, &e, &neg), "1000");  // the carry grows the number
    EXPECT_EQ(e, 2);
    EXPECT_EQ(neg, 1);
    EXPECT_EQ(cvt(0.000006, 5, &e, &neg), "1");
    EXPECT_EQ(e, -4);
    EXPECT_EQ(cvt(0.0000002, 5, &e, &neg), "");  // no digits, only the dropped one
    EXPECT_EQ(e, -6);
    EXPECT_EQ(cvt(0.0000001, 5, &e, &neg), "1");  // just below 1e-7: rounds up to 1e-7
    EXPECT_EQ(e, -6);
    EXPECT_EQ(cvt(1.0, 40, &e, &neg), "1" + std::string(29, '0'));  // 30 digits at most
    EXPECT_EQ(cvt(123456789012345678901234567890.0, 5, &e, &neg).size(), 30u);
    EXPECT_EQ(e, 30);
    EXPECT_EQ(cvt(1.0, -3, &e, &neg), "1");
    // Values beyond the normal range still convert without harm.
    EXPECT_FALSE(cvt(1e308, 30, &e, &neg).empty());
    EXPECT_EQ(e, 309);
    cvt(5e-324, 30, &e, &neg);
    EXPECT_EQ(e, -323);
    cvt(INFINITY, 5, &e, &neg);
    cvt(NAN, 5, &e, &neg);
}

TEST(Numconv, FlascExamples) {
    EXPECT_STREQ(flasc(12.5), "12.5");
    EXPECT_STREQ(flasc(3), "3");
    EXPECT_STREQ(flasc(-3), "-3");
    EXPECT_STREQ(flasc(0.05), "0.05");
    EXPECT_STREQ(flasc(0), "0");
    EXPECT_STREQ(flasc(0.0000001), "0");
    EXPECT_STREQ(flasc(0.000006), "0.00001");
    EXPECT_STREQ(flasc(-0.000004), "-0");
    EXPECT_STREQ(flasc(100), "100");
    EXPECT_STREQ(flasc(1234.567891), "1234.56789");
    EXPECT_STREQ(flasc(-0.1), "-0.1");
    EXPECT_STREQ(flasc(99999.999996), "100000");
    // With no digit kept, the dropped digit is the first one, even below the
    // fifth place: a value from 5e-7 to 1e-6 reads as one millionth.
    EXPECT_STREQ(flasc(0.0000007), "0.000001");
    EXPECT_STREQ(flasc(0.0000004), "0");
}

TEST(Numconv, NumcmpExamples) {
    EXPECT_EQ(numcmp(1.000001, 1.000004), 0);
    EXPECT_LT(numcmp(1.00001, 1.00002), 0);
    EXPECT_EQ(numcmp(-2, 1), -1);
    EXPECT_EQ(numcmp(1, -2), 1);
    EXPECT_EQ(numcmp(-2e9, 1e-3), -1);
    EXPECT_EQ(numcmp(0.0000001, 0), 0);
    EXPECT_LT(numcmp(-5, -3), 0);
    EXPECT_GT(numcmp(0.000004, 0.001), 0);  // kept as it stands
    EXPECT_EQ(numcmp(0, 0), 0);
    EXPECT_LT(numcmp(5, 10), 0);
    EXPECT_GT(numcmp(0.5, 0.05), 0);
    EXPECT_LT(numcmp(0, 0.05), 0);
    EXPECT_GT(numcmp(0.05, 0), 0);
    EXPECT_LT(numcmp(0, 5), 0);
    EXPECT_GT(numcmp(-3, -5), 0);
    EXPECT_LT(numcmp(-30, -5), 0);
}

TEST(Numconv, RoundExamples) {
    EXPECT_DOUBLE_EQ(static_cast<double>(velnor_round(2.345, 2)), 2.35);
    EXPECT_DOUBLE_EQ(static_cast<double>(velnor_round(9.995, 2)), 10.0);
    EXPECT_DOUBLE_EQ(static_cast<double>(velnor_round(-9.995, 2)), -10.0);
    EXPECT_DOUBLE_EQ(static_cast<double>(velnor_round(1.5, -3)), 2.0);
    EXPECT_DOUBLE_EQ(static_cast<double>(velnor_round(1.25, 5)), 1.25);  // nothing to round
    EXPECT_DOUBLE_EQ(static_cast<double>(velnor_round(7, 0)), 7.0);
    EXPECT_DOUBLE_EQ(static_cast<double>(velnor_round(0.44, 1)), 0.4);
    EXPECT_DOUBLE_EQ(static_cast<double>(velnor_round(-0.45, 1)), -0.5);
    EXPECT_DOUBLE_EQ(static_cast<double>(velnor_round(99.96, 1)), 100.0);
}

TEST(Numconv, Textnum) {
    EXPECT_DOUBLE_EQ(textnum("  12.5xyz"), 12.5);
    EXPECT_DOUBLE_EQ(textnum("-0.25"), -0.25);
    EXPECT_DOUBLE_EQ(textnum("+3"), 3.0);
    EXPECT_DOUBLE_EQ(textnum("1e3"), 1000.0);
    EXPECT_EQ(textnum("abc"), 0.0);
    EXPECT_EQ(textnum(""), 0.0);
    EXPECT_EQ(textnum(nullptr), 0.0);
    EXPECT_TRUE(std::isinf(textnum("1e999")));
}

// flasc agrees with the platform's own rounding to five places wherever the
// value is not within a hair of a rounding boundary.
TEST(Numconv, FlascMatchesPrintfAwayFromTies) {
    std::mt19937_64 rng(99);
    std::uniform_real_distribution<double> mant(-1, 1);
    for (int i = 0; i < 50000; ++i) {
        double v = mant(rng) * std::pow(10.0, static_cast<int>(rng() % 12) - 4);
        if (std::fabs(v) < 1e-6) continue;  // the quirk above
        double scaled = std::fabs(v) * 1e5;
        if (std::fabs(scaled - std::floor(scaled) - 0.5) < 1e-6) continue;
        char want[80];
        snprintf(want, sizeof want, "%.5f", v);
        std::string w = want;
        while (w.back() == '0') w.pop_back();
        if (w.back() == '.') w.pop_back();
        EXPECT_EQ(flasc(v), w) << v;
    }
}

// numcmp orders like the values rounded to five places, away from the
// stretch just above zero where the reversed order is kept.
TEST(Numconv, NumcmpOrdersLikeRoundedValues) {
    std::mt19937_64 rng(5);
    std::uniform_real_distribution<double> mant(-1, 1);
    auto pick = [&] {
        double v = mant(rng) * std::pow(10.0, static_cast<int>(rng() % 10) - 2);
        if (rng() % 8 == 0) v = std::round(v * 100) / 100;  // some ties
        return v;
    };
    for (int i = 0; i < 50000; ++i) {
        double a = pick(), b = rng() % 4 == 0 ? a + (rng() % 3) * 1e-6 : pick();
        if (std::fabs(a) < 0.01 || std::fabs(b) < 0.01) continue;
        double ra = std::stod(flasc(a)), rb = std::stod(flasc(b));
        EXPECT_EQ(sign(numcmp(a, b)), sign((ra > rb) - (ra < rb))) << a << " " << b;
    }
}

// The seventeen digits taken from a value are its exact decimal digits, cut
// off (not rounded); checked against an exact 40-digit expansion.
TEST(Numconv, SeventeenDigitsAreTheExactOnes) {
    std::mt19937_64 rng(123);
    for (int i = 0; i < 200000; ++i) {
        double v;
        do {
            uint64_t bits = rng() & 0x7FFFFFFFFFFFFFFFull;
            memcpy(&v, &bits, sizeof v);
        } while (!(v >= 1e-13 && v < 1e17));
        if (i % 4 == 0) v = static_cast<double>(rng() % 100000000) / 1000.0;  // short decimals
        char exact[80];
        auto r = std::to_chars(exact, exact + sizeof exact, v, std::chars_format::scientific, 40);
        *r.ptr = '\0';
        std::string want = std::string(1, exact[0]) + std::string(exact + 2, 16);
        int e10 = std::atoi(strchr(exact, 'e') + 1) + 1;
        int e, neg;
        std::string got = fixcvt(v, 17 - e10, &e, &neg);
        ASSERT_EQ(e, e10) << v;
        ASSERT_EQ(got, want) << v;
    }
}
