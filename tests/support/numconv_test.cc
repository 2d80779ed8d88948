// numconv_test.cc - decimal text and comparison at the library's
// precision, checked on random values against the platform's rounding and
// an exact decimal expansion.
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
        const int c = numcmp(a, b);
        EXPECT_EQ((c > 0) - (c < 0), (ra > rb) - (ra < rb)) << a << " " << b;
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
