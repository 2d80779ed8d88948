// names_test.cc - random paths split and built again, and random fields
// justified every way, checked against the rules they follow.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

#include "velnor.h"

namespace {

using JustifyFn = void(VELNOR_CALL*)(char*, int32_t, int32_t);

std::string justified(JustifyFn fn, const std::string& field, char fill) {
    std::string f = field + "#";  // a guard byte that must survive
    fn(f.data(), static_cast<int32_t>(field.size()), fill);
    EXPECT_EQ(f.back(), '#');
    f.pop_back();
    return f;
}

}  // namespace

TEST(Names, SplitThenCreateRebuildsThePath) {
    std::mt19937 rng(11);
    const char alphabet[] = "ab.\\:/";
    for (int i = 0; i < 5000; ++i) {
        std::string p(rng() % 12, ' ');
        for (char& c : p) c = alphabet[rng() % 6];
        char d[300], n[300], e[300], out[300];
        split_name(p.c_str(), d, n, e);
        const std::string dir = d, name = n, ext = e;
        const bool dotted = p.size() > dir.size() + name.size();
        // The parts are the path cut at its last separator and at the first
        // dot after it.
        EXPECT_EQ(dotted ? dir + name + "." + ext : dir + name, p);
        EXPECT_TRUE(dir.empty() || strchr("\\:/", dir.back()) != nullptr) << p;
        EXPECT_EQ(name.find_first_of(".\\:/"), std::string::npos) << p;
        if (ext.empty() == !dotted && (ext.empty() || ext[0] != '.')) {
            creat_name(out, d, n, e);
            EXPECT_EQ(out, p);
        }
    }
}

TEST(Justify, KeepsTheTextAndTheWidth) {
    std::mt19937 rng(3);
    JustifyFn fns[4] = {just_left, just_right, just_center, just_none};
    auto trim = [](const std::string& s, char fill) {
        const size_t a = s.find_first_not_of(fill);
        return a == std::string::npos ? std::string() : s.substr(a, s.find_last_not_of(fill) - a + 1);
    };
    for (int i = 0; i < 4000; ++i) {
        std::string f(1 + rng() % 12, ' ');
        for (char& c : f) c = "  ab"[rng() % 4];
        EXPECT_EQ(trim(justified(fns[i % 4], f, '.'), '.'), trim(f, ' ')) << i % 4 << " '" << f << "'";
    }
}
