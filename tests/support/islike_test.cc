// islike_test.cc - the wildcard match: the listed cases and a randomized
// comparison with a direct recursive reading of the matching rules.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

#include "velnor.h"

namespace {

// The rules as they read: a star first tries the rest of the pattern on the
// rest of the string, else swallows one character; when the string is used
// up, at most one pattern character may be left.
int oracle(const char* s, const char* p) {
    while (*s != '\0') {
        if (*p == '*') {
            if (oracle(s, p + 1)) return 1;
            ++s;
            continue;
        }
        if (*p == '?') {
            ++s, ++p;
            continue;
        }
        if (*p == '\\') ++p;
        if (*p != *s) return 0;
        ++s, ++p;
    }
    return strlen(p) <= 1 ? 1 : 0;
}

}  // namespace

TEST(Islike, AgreesWithTheRulesOnRandomInput) {
    std::mt19937 rng(2024);
    const char strchars[] = "ab*\\?";
    const char patchars[] = "ab*?\\";
    for (int i = 0; i < 200000; ++i) {
        std::string s(rng() % 8, ' '), p(rng() % 8, ' ');
        for (char& c : s) c = strchars[rng() % (i % 3 == 0 ? 5 : 2)];
        for (char& c : p) c = patchars[rng() % 5];
        ASSERT_EQ(islike(s.c_str(), p.c_str()), oracle(s.c_str(), p.c_str()))
            << "'" << s << "' like '" << p << "'";
    }
}

TEST(Islike, ManyStarsStayFast) {
    // Would take exponential time if every star were retried.
    std::string s(2000, 'a'), p;
    for (int i = 0; i < 60; ++i) p += "*a";
    p += "*b";
    EXPECT_EQ(islike(s.c_str(), p.c_str()), 0);
    s += "b";
    EXPECT_EQ(islike(s.c_str(), p.c_str()), 1);
}
