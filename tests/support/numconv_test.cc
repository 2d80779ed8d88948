// numconv_test.cc - the decimal digits taken from a value, checked on
// random values against an exact decimal expansion.
#include <gtest/gtest.h>

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include "support/numconv.h"
#include "velnor.h"

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
