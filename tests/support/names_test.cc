// names_test.cc - building, splitting and shortening paths, item names and
// field justification.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

#include "velnor.h"

namespace {

using JustifyFn = void(VELNOR_CALL*)(char*, int32_t, int32_t);

struct Split {
    std::string dir, name, ext;
};

Split split(const char* path) {
    char d[300], n[300], e[300];
    split_name(path, d, n, e);
    return {d, n, e};
}

std::string justified(JustifyFn fn, const std::string& field, char fill) {
    std::string f = field + "#";  // a guard byte that must survive
    fn(f.data(), static_cast<int32_t>(field.size()), fill);
    EXPECT_EQ(f.back(), '#');
    f.pop_back();
    return f;
}

}  // namespace

TEST(Names, CreatName) {
    char buf[300];
    EXPECT_STREQ(creat_name(buf, "c:", "x", "txt"), "c:x.txt");
    EXPECT_STREQ(creat_name(buf, "dir", "x", ".txt"), "dir\\x.txt");
    EXPECT_STREQ(creat_name(buf, "dir\\", "x", ""), "dir\\x");
    EXPECT_STREQ(creat_name(buf, "", "x", "idx"), "x.idx");
    EXPECT_STREQ(creat_name(buf, "/tmp/", "x", "fid"), "/tmp/x.fid");
    EXPECT_STREQ(creat_name(buf, nullptr, "x", nullptr), "x");
    EXPECT_EQ(creat_name(nullptr, "a", "b", "c"), nullptr);
    // The directory may be the result buffer itself.
    strcpy(buf, "c:\\data");
    EXPECT_STREQ(creat_name(buf, buf, "f", "dat"), "c:\\data\\f.dat");
}

TEST(Names, SplitName) {
    Split s = split("report");
    EXPECT_EQ(s.dir, "");
    EXPECT_EQ(s.name, "report");
    EXPECT_EQ(s.ext, "");
    s = split("c:\\a\\b.txt");
    EXPECT_EQ(s.dir, "c:\\a\\");
    EXPECT_EQ(s.name, "b");
    EXPECT_EQ(s.ext, "txt");
    s = split("a.b.c");  // the leftmost dot of the last component wins
    EXPECT_EQ(s.name, "a");
    EXPECT_EQ(s.ext, "b.c");
    s = split("c:x.y");
    EXPECT_EQ(s.dir, "c:");
    EXPECT_EQ(s.name, "x");
    s = split("d.ir\\file");  // a dot before the separator is not looked at
    EXPECT_EQ(s.dir, "d.ir\\");
    EXPECT_EQ(s.name, "file");
    EXPECT_EQ(s.ext, "");
    s = split("/tmp/x.y/data.dat");
    EXPECT_EQ(s.dir, "/tmp/x.y/");
    EXPECT_EQ(s.name, "data");
    EXPECT_EQ(s.ext, "dat");
    s = split("");
    EXPECT_EQ(s.dir + s.name + s.ext, "");
    split_name(nullptr, nullptr, nullptr, nullptr);  // harmless
}

TEST(Names, SplitThenCreateRebuildsThePath) {
    std::mt19937 rng(11);
    const char alphabet[] = "ab.\\:/";
    for (int i = 0; i < 5000; ++i) {
        std::string p;
        int len = static_cast<int>(rng() % 12);
        for (int k = 0; k < len; ++k) p += alphabet[rng() % 6];
        Split s = split(p.c_str());
        bool dotted = p.size() > s.dir.size() + s.name.size();
        // The parts are the path cut at its last separator and at the first
        // dot after it.
        EXPECT_EQ(dotted ? s.dir + s.name + "." + s.ext : s.dir + s.name, p);
        EXPECT_TRUE(s.dir.empty() || strchr("\\:/", s.dir.back()) != nullptr) << p;
        EXPECT_EQ(s.name.find_first_of(".\\:/"), std::string::npos) << p;
        if (s.ext.empty() == !dotted && (s.ext.empty() || s.ext[0] != '.')) {
            char out[300];
            creat_name(out, s.dir.c_str(), s.name.c_str(), s.ext.c_str());
            EXPECT_EQ(out, p);
        }
    }
}

TEST(Names, Abbrname) {
    char buf[300];
    const char* p = "c:\\data\\year\\month\\report.txt";
    abbrname(p, 24, buf);
    EXPECT_STREQ(buf, "c:\\data\\...\\report.txt");
    abbrname(p, 20, buf);
    EXPECT_STREQ(buf, "c:\\...\\report.txt");
    abbrname(p, 10, buf);  // not even the first backslash fits
    EXPECT_STREQ(buf, "...\\report.txt");
    abbrname(p, 100, buf);
    EXPECT_STREQ(buf, p);
    abbrname("abcdefghij", 6, buf);
    EXPECT_STREQ(buf, "...hij");
    abbrname("abcdefghij", 2, buf);
    EXPECT_STREQ(buf, "...");
    abbrname("abc", -4, buf);
    EXPECT_STREQ(buf, "...");
}

TEST(Names, Vlnname) {
    EXPECT_EQ(vlnname("_x1"), 1);
    EXPECT_EQ(vlnname("1x"), 0);
    EXPECT_EQ(vlnname("abcdefghij$"), 1);  // past the tenth is not looked at
    EXPECT_EQ(vlnname("abcdefghi$"), 0);
    EXPECT_EQ(vlnname("a-b"), 0);
    EXPECT_EQ(vlnname(""), 0);
    EXPECT_EQ(vlnname(nullptr), 0);
    EXPECT_EQ(vlnname("Z"), 1);
}

TEST(Justify, Examples) {
    EXPECT_EQ(justified(just_center, "ab    ", '-'), "--ab--");
    EXPECT_EQ(justified(just_center, "abc   ", '-'), "-abc--");
    EXPECT_EQ(justified(just_center, "  ab  ", ' '), "  ab  ");
    EXPECT_EQ(justified(just_right, " a b  ", ' '), "   a b");
    EXPECT_EQ(justified(just_right, "  ab", ' '), "  ab");   // already right: unchanged
    EXPECT_EQ(justified(just_right, "  ab", '0'), "00ab");   // a fill still replaces
    EXPECT_EQ(justified(just_left, "  a b ", ' '), "a b   ");
    EXPECT_EQ(justified(just_left, "ab  ", '*'), "ab**");
    EXPECT_EQ(justified(just_none, "  a b ", '*'), "**a b*");
    EXPECT_EQ(justified(just_none, "    ", '*'), "****");
    EXPECT_EQ(justified(just_left, "    ", '*'), "****");
    EXPECT_EQ(justified(just_center, "    ", '*'), "****");
    just_right(nullptr, 4, ' ');
    char one = 'x';
    just_center(&one, 0, '-');
    EXPECT_EQ(one, 'x');
}

TEST(Justify, KeepsTheTextAndTheWidth) {
    std::mt19937 rng(3);
    JustifyFn fns[4] = {just_left, just_right, just_center, just_none};
    for (int i = 0; i < 4000; ++i) {
        int width = 1 + static_cast<int>(rng() % 12);
        std::string f;
        for (int k = 0; k < width; ++k) f += "  ab"[rng() % 4];
        size_t a = f.find_first_not_of(' ');
        std::string text = a == std::string::npos ? "" : f.substr(a, f.find_last_not_of(' ') - a + 1);
        std::string r = justified(fns[i % 4], f, '.');
        size_t b = r.find_first_not_of('.');
        std::string got = b == std::string::npos ? "" : r.substr(b, r.find_last_not_of('.') - b + 1);
        EXPECT_EQ(got, text) << i % 4 << " '" << f << "'";
    }
}
