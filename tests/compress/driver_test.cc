// driver_test.cc - what the program's own tests cannot see of
// compress_files: Stop at every poll, and damaged, truncated, cyclic
// and hostile archives (randomly mutated ones are the fuzz target's).
#include <cstdio>

#include "cmptest.h"

using namespace cmptest;

namespace {

class Driver : public CmpTest {};

// A run's result followed by the error numbers it reported.
std::vector<int32_t> outcome(const char* options, const char* archive, std::vector<std::string> specs = {}) {
    cap.errors.clear();
    std::vector<int32_t> out = {run(options, archive, std::move(specs))};
    out.insert(out.end(), cap.errors.begin(), cap.errors.end());
    return out;
}
using Outcome = std::vector<int32_t>;

TEST_F(Driver, DamagedHeadersReportTwoThenThree) {
    writefile("bad.cmp", textbytes("this is not an archive at all, not at all"));
    EXPECT_EQ(outcome("-l", "bad"), (Outcome{-1, 2}));
    writefile("a", textbytes("aaa"));
    writefile("b", textbytes("bbb"));
    ASSERT_EQ(run("-a", "arc", {"a", "b"}), 0);
    Bytes arc = readfile("arc.cmp");
    arc[35] = 0x00;  // second header's first magic byte
    writefile("arc.cmp", arc);
    for (const char* op : {"-l", "-x", "-a"}) EXPECT_EQ(outcome(op, "arc", {"a"}), (Outcome{op[1] == 'x' ? 0 : -1, 3})) << op;
    EXPECT_EQ(readfile("arc.cmp"), arc);
    EXPECT_FALSE(exists("arc.$$$"));
    writefile("empty.cmp", Bytes{});
    cap.report.clear();
    EXPECT_EQ(run("-l", "empty"), 0);
    EXPECT_EQ(cap.report.find("0000"), std::string::npos);
}

TEST_F(Driver, TruncatedCodedDataFailsItsCheck) {
    Bytes data = textlike(20000, 9);
    writefile("t.txt", data);
    ASSERT_EQ(run("-a", "arc", {"t.txt"}), 0);
    Bytes arc = readfile("arc.cmp");
    // The last two bytes can hold nothing but the end code; three cut a code.
    for (size_t keep : {arc.size() - 3, arc.size() / 2, size_t{33}, size_t{32}}) {
        writefile("cut.cmp", Bytes(arc.begin(), arc.begin() + static_cast<std::ptrdiff_t>(keep)));
        EXPECT_EQ(outcome("-xo", "cut"), (Outcome{0, 6})) << keep;
    }
}

// Codes 65, 300, 301, forty 65s, 258, 65, 258 make prefix entries 258 and
// 300 point at each other: following the chain must end in error 3.
TEST_F(Driver, CodeChainCycleIsCorruptAndOutputRemoved) {
    std::vector<uint32_t> codes = {65, 300, 301};
    codes.insert(codes.end(), 40, 65);
    codes.insert(codes.end(), {258, 65, 258, 511});
    const Bytes data = packcodes(codes, 9);
    writefile("cyc.cmp", header("cyc", 1, 9, 0, 500, static_cast<uint32_t>(data.size()), data));
    EXPECT_EQ(outcome("-x", "cyc"), (Outcome{0, 3}));
    EXPECT_FALSE(exists("cyc"));
}

TEST_F(Driver, HostileHeadersNeverCrash) {
    Bytes payload = incompressible(300, 5);
    struct Case {
        uint8_t method, bits;
        uint32_t size, stored;
        Outcome outcome;  // of an extraction
    };
    const Case cases[] = {{1, 16, 10, 300, {0, 3}},          {1, 8, 10, 300, {0, 3}},
                          {1, 0, 10, 300, {0, 3}},           {1, 255, 10, 300, {0, 3}},
                          {0, 9, 300, 0x7FFFFFF0, {0, 6, 3}}, {1, 15, 0xFFFFFFFF, 0xFFFFFFFF, {0, 6, 3}},
                          {7, 9, 300, 300, {0, 6}}};
    for (const Case& c : cases) {
        writefile("h.cmp", header("h", c.method, c.bits, 0x4321, c.size, c.stored, payload));
        // The password persists: set it.
        EXPECT_EQ(outcome("-xop\"\"", "h"), c.outcome) << +c.method << "/" << +c.bits;
        run("-l", "h");
    }
    // A name field without a terminator and one that climbs out of the
    // directory: the first is cut at 12, the second is never written.
    const Bytes d = textbytes("ABC"), b = header("../escape", 0, 9, 0xC6, 3, 3, d);
    Bytes a = header("abcdefghijkl", 0, 9, 0xC6, 3, 3, d);
    a.insert(a.end(), b.begin(), b.end());
    writefile("n.cmp", a);
    EXPECT_EQ(outcome("-xo", "n", {"*"}), Outcome{0});
    EXPECT_EQ(readfile("abcdefghijkl"), d);
    EXPECT_FALSE(exists("../escape"));
}

TEST_F(Driver, StopLeavesTheArchiveUnchanged) {
    writefile("a", textlike(30000, 1));
    writefile("b", textlike(30000, 2));
    ASSERT_EQ(run("-a", "arc", {"a", "b"}), 0);
    Bytes before = readfile("arc.cmp");
    writefile("c", textlike(100000, 3));
    for (int32_t polls : {0, 1, 2, 3, 10, 30}) {
        SCOPED_TRACE(polls);
        cap.stoppolls = 0, cap.stopafter = polls;
        EXPECT_EQ(run("-a", "arc", {"c", "a"}), -1);
        EXPECT_EQ(readfile("arc.cmp"), before);
        EXPECT_FALSE(exists("arc.$$$"));
        cap.stoppolls = 0;
        EXPECT_EQ(run("-d", "arc", {"a"}), polls < 2 ? -1 : 0);
        if (polls < 2) { EXPECT_EQ(readfile("arc.cmp"), before); }
        EXPECT_FALSE(exists("arc.$$$"));
        writefile("arc.cmp", before);
    }
    // Extraction stops with result 0 and removes the file it was writing.
    cap.stopafter = 1, cap.stoppolls = 0;
    ASSERT_EQ(compress_file_list("-a", "big", "c"), -1);
    EXPECT_FALSE(exists("big.cmp"));
    cap.stopafter = -1;
    ASSERT_EQ(compress_file_list("-a", "big", "c"), 0);
    std::remove("c");
    cap.stopafter = 2, cap.stoppolls = 0;
    EXPECT_EQ(run("-x", "big"), 0);
    EXPECT_FALSE(exists("c"));
}

}  // namespace
