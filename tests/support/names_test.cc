// names_test.cc - random paths split and built again, checked against the
// rules they follow.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

#include "velnor.h"

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
