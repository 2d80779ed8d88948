// driver_test.cc - compress_files as an application sees it: the listing's
// exact text, update order, delete, option and argument errors, damaged
// and hostile archives, the overwrite question, Stop, and the options that
// persist from call to call.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <random>

#include "cmptest.h"

using namespace cmptest;

namespace {

class Driver : public CmpTest {};

// Three hand-made entries with fixed dates: 15:09, 00:05 and 12:30.
void writelistingarchive() {
    Bytes a = header("abc.txt", 0, 9, 0xC6, 3, 3);
    Bytes d = textbytes("ABC");
    a.insert(a.end(), d.begin(), d.end());
    Bytes h2 = header("big.dat", 1, 12, 0x1234, 1000, 400);
    h2[19] = 0;
    h2[20] = 5;
    a.insert(a.end(), h2.begin(), h2.end());
    a.insert(a.end(), 400, 0x55);
    Bytes h3 = header("noext", 1, 9, 0, 0, 2);
    h3[19] = 12;
    h3[20] = 30;
    a.insert(a.end(), h3.begin(), h3.end());
    a.insert(a.end(), {0x00, 0x7F});
    writefile("list.cmp", a);
}

TEST_F(Driver, ListingWithBitsColumn) {
    writelistingarchive();
    ASSERT_EQ(run("-lb", "list"), 0);
    EXPECT_EQ(cap.report,
              "COMPRESS File: list.cmp\r\n\r\n"
              " File Name      Date     Time       Size       Now    %   CRC   Bits\r\n"
              " ---------      ----     ----       ----       ---    -   ---   ----\r\n"
              "abc.txt       03-14-124  03:09pm         3         3    0  00c6    9\r\n"
              "big.dat       03-14-124  12:05am      1000       400   60  1234   12\r\n"
              "noext         03-14-124  12:30pm         0         2    0  0000    9\r\n"
              " ----                            --------  --------  ----\r\n"
              " 0003                                1003       405   60%\r\n");
    EXPECT_TRUE(cap.errors.empty());
}

TEST_F(Driver, ListingQuietAndSelected) {
    writelistingarchive();
    ASSERT_EQ(run("-lq", "list", {"*.txt", "noext.*", "big.dat"}), 0);
    EXPECT_EQ(cap.report,
              "COMPRESS File: list.cmp\r\n\r\n"
              " File Name      Date     Time\r\n"
              " ---------      ----     ----\r\n"
              "abc.txt       03-14-124  03:09pm\r\n"
              "big.dat       03-14-124  12:05am\r\n"
              "noext         03-14-124  12:30pm\r\n"
              " ----\r\n"
              " 0003\r\n");
    // A name without a dot is matched with a dot added.
    cap.report.clear();
    ASSERT_EQ(run("-lq", "list", {"noext"}), 0);
    EXPECT_EQ(cap.report.find("noext "), std::string::npos);
}

TEST_F(Driver, ListingWithNoMatchHasNoTotals) {
    writelistingarchive();
    ASSERT_EQ(run("-l", "list", {"*.zzz"}), 0);
    EXPECT_EQ(cap.report,
              "COMPRESS File: list.cmp\r\n\r\n"
              " File Name      Date     Time       Size       Now    %   CRC\r\n"
              " ---------      ----     ----       ----       ---    -   ---\r\n");
}

TEST_F(Driver, QuietOverwriteAndPasswordPersistAcrossCalls) {
    writelistingarchive();
    ASSERT_EQ(run("-lq", "list"), 0);
    cap.report.clear();
    ASSERT_EQ(run("-l", "list", {"abc.txt"}), 0);
    EXPECT_EQ(cap.report.find("Size"), std::string::npos);
    writefile("p.txt", textbytes("persist"));
    ASSERT_EQ(run("-ap\"k\"", "parc", {"p.txt"}), 0);
    writefile("p.txt", textbytes("changed"));
    ASSERT_EQ(run("-xo", "parc"), 0);  // still password k, still overwriting
    EXPECT_TRUE(cap.questions.empty());
    EXPECT_TRUE(cap.errors.empty());
    EXPECT_EQ(readfile("p.txt"), textbytes("persist"));
}

std::vector<std::string> fields;
void VELNOR_CALL onfield(int32_t f, const char* t) { fields.push_back(std::to_string(f) + t); }

TEST_F(Driver, NewArchiveGetsExtensionAndCreatingStatus) {
    fields.clear();
    compress_sethooks(onfield, nullptr, nullptr);
    writefile("one.txt", textlike(5000, 1));
    writefile("two.txt", textlike(6000, 2));
    writefile("skip.dat", textbytes("no"));
    ASSERT_EQ(run("-A", "Data", {"*.TXT"}), 0);
    EXPECT_TRUE(exists("data.cmp"));
    auto e = entries(readfile("data.cmp"));
    ASSERT_EQ(e.size(), 2u);
    EXPECT_NE(std::find(fields.begin(), fields.end(), "0Creating: data"), fields.end());
    EXPECT_NE(std::find(fields.begin(), fields.end(), "2Adding:  one.txt      "), fields.end());
    EXPECT_EQ(fields.back(), "1100%");
    fields.clear();
    ASSERT_EQ(run("-a", "data", {"one.txt"}), 0);
    EXPECT_EQ(fields.front(), "0Updating: data");
    EXPECT_EQ(cap.report, "Copying: two.txt      .......... Done.\r\n");
}

TEST_F(Driver, UpdateReplacesEntriesAndKeepsTheRestAhead) {
    writefile("a", textbytes("first a"));
    writefile("b", textbytes("first b"));
    writefile("c", textbytes("first c"));
    ASSERT_EQ(run("-a", "arc", {"a", "b", "c"}), 0);
    writefile("b", textbytes("second b, longer"));
    writefile("d", textbytes("new d"));
    ASSERT_EQ(run("-a", "arc", {"d", "b"}), 0);
    auto e = entries(readfile("arc.cmp"));
    ASSERT_EQ(e.size(), 4u);
    EXPECT_EQ(e[0].name, "a");
    EXPECT_EQ(e[1].name, "c");
    EXPECT_EQ(e[2].name, "d");
    EXPECT_EQ(e[3].name, "b");
    EXPECT_EQ(e[3].data, textbytes("second b, longer"));
}

TEST_F(Driver, DeleteRemovesOnlyNamesOnDisk) {
    writefile("a", textbytes("aaa"));
    writefile("b", textbytes("bbb"));
    writefile("c", textbytes("ccc"));
    ASSERT_EQ(run("-a", "arc", {"a", "b", "c"}), 0);
    Bytes before = readfile("arc.cmp");
    auto old = entries(before);
    std::remove("c");
    ASSERT_EQ(run("-d", "arc", {"c"}), 0);
    EXPECT_EQ(readfile("arc.cmp"), before);
    ASSERT_EQ(run("-d", "arc", {"b"}), 0);
    EXPECT_EQ(cap.report, "Deleting: b           \r\n");
    auto e = entries(readfile("arc.cmp"));
    ASSERT_EQ(e.size(), 2u);
    EXPECT_EQ(e[0].name, "a");
    EXPECT_EQ(e[1].name, "c");
    EXPECT_EQ(e[1].header, old[2].header);
    EXPECT_EQ(e[1].data, old[2].data);
    EXPECT_FALSE(exists("arc.$$$"));
}

TEST_F(Driver, OptionErrors) {
    writefile("a", textbytes("aaa"));
    ASSERT_EQ(run("-a", "arc", {"a"}), 0);
    EXPECT_EQ(run("-ax", "arc"), -1);
    EXPECT_EQ(run("-", "arc"), -1);
    EXPECT_EQ(run("a", "arc"), -1);  // the first character is skipped
    EXPECT_EQ(run("-bq", "arc"), -1);
    EXPECT_EQ(run("-d", "arc"), -1);
    EXPECT_TRUE(cap.report.empty());
    EXPECT_EQ(run("-lp", "arc"), -2);
    EXPECT_EQ(run("-lp\"12345678901\"", "arc"), -2);
    EXPECT_EQ(run("-lp\"abc", "arc"), -2);
    EXPECT_EQ(cap.report, "Error: Bad password.\r\nError: Bad password.\r\nError: Bad password.\r\n");
    cap.report.clear();
    EXPECT_EQ(run("-xt\"12345678901234567890123456789012345678901\"", "arc"), -2);
    EXPECT_EQ(run("-xt", "arc"), -2);
    EXPECT_EQ(cap.report, "Error: Bad target directory.\r\nError: Bad target directory.\r\n");
    cap.report.clear();
    EXPECT_EQ(run("-l", "arc", {"@nolist"}), -2);
    EXPECT_EQ(cap.report, "Error: Unable to open list file: nolist\r\n");
    cap.report.clear();
    for (const char* op : {"-l", "-x"}) {
        EXPECT_EQ(run(op, "missing"), -2);
    }
    EXPECT_EQ(run("-d", "missing", {"a"}), -2);
    EXPECT_EQ(cap.report,
              "Error: Unable to open COMPRESS file.\r\nError: Unable to open COMPRESS file.\r\n"
              "Error: Unable to open COMPRESS file.\r\n");
    EXPECT_TRUE(cap.errors.empty());
}

TEST_F(Driver, ListFileAndSpecificationString) {
    writefile("a.txt", textbytes("aaa"));
    writefile("b.txt", textbytes("bbb"));
    writefile("c.txt", textbytes("ccc"));
    writefile("names.lst", textbytes("c.txt\r\na.txt\r\n"));
    ASSERT_EQ(run("-a", "arc", {"@names.lst"}), 0);
    auto e = entries(readfile("arc.cmp"));
    ASSERT_EQ(e.size(), 2u);
    EXPECT_EQ(e[0].name, "c.txt");
    EXPECT_EQ(e[1].name, "a.txt");
    ASSERT_EQ(compress_file_list("-a", "arc2", "  b.txt\t a.txt  b.txt "), 0);
    e = entries(readfile("arc2.cmp"));
    ASSERT_EQ(e.size(), 2u);
    EXPECT_EQ(e[0].name, "b.txt");
    EXPECT_EQ(e[1].name, "a.txt");
    EXPECT_EQ(compress_file_list("-ax", "arc2", "a.txt"), -1);
}

TEST_F(Driver, ExtractAsksBeforeOverwritingAndHonoursTheTarget) {
    writefile("a.txt", textbytes("archived"));
    ASSERT_EQ(run("-a", "arc", {"a.txt"}), 0);
    writefile("a.txt", textbytes("on disk"));
    ASSERT_EQ(run("-x", "arc"), 0);
    ASSERT_EQ(cap.questions.size(), 1u);
    EXPECT_EQ(cap.questions[0], "Compress: File 'a.txt' already exists, overwrite it?");
    EXPECT_EQ(readfile("a.txt"), textbytes("on disk"));
    cap.answer = 1;
    ASSERT_EQ(run("-x", "arc"), 0);
    EXPECT_EQ(readfile("a.txt"), textbytes("archived"));
    EXPECT_EQ(cap.report, " Done.");
    ASSERT_TRUE(std::filesystem::create_directory("sub"));
    ASSERT_EQ(run("-xt\"sub/\"", "arc"), 0);
    EXPECT_EQ(readfile("sub/a.txt"), textbytes("archived"));
    EXPECT_EQ(run("-xt\"nodir/\"", "arc"), -1);
    EXPECT_EQ(cap.errors, std::vector<int32_t>{4});
}

TEST_F(Driver, DamagedHeadersReportTwoThenThree) {
    writefile("bad.cmp", textbytes("this is not an archive at all, not at all"));
    EXPECT_EQ(run("-l", "bad"), -1);
    EXPECT_EQ(cap.errors, std::vector<int32_t>{2});
    cap.errors.clear();
    writefile("a", textbytes("aaa"));
    writefile("b", textbytes("bbb"));
    ASSERT_EQ(run("-a", "arc", {"a", "b"}), 0);
    Bytes arc = readfile("arc.cmp");
    arc[35] = 0x00;  // second header's first magic byte
    writefile("arc.cmp", arc);
    for (const char* op : {"-l", "-x", "-a"}) {
        SCOPED_TRACE(op);
        cap.errors.clear();
        int32_t r = run(op, "arc", {"a"});
        EXPECT_EQ(cap.errors, std::vector<int32_t>{3});
        EXPECT_EQ(r, op[1] == 'x' ? 0 : -1);
    }
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
        SCOPED_TRACE(keep);
        writefile("cut.cmp", Bytes(arc.begin(), arc.begin() + static_cast<std::ptrdiff_t>(keep)));
        cap.errors.clear();
        EXPECT_EQ(run("-xo", "cut"), 0);
        EXPECT_EQ(cap.errors, std::vector<int32_t>{6});
    }
}

// Codes 65, 300, 301, forty 65s, 258, 65, 258 make prefix entries 258 and
// 300 point at each other: following the chain must end in error 3.
TEST_F(Driver, CodeChainCycleIsCorruptAndOutputRemoved) {
    std::vector<uint32_t> codes = {65, 300, 301};
    codes.insert(codes.end(), 40, 65);
    codes.insert(codes.end(), {258, 65, 258, 511});
    Bytes data = packcodes(codes, 9);
    Bytes a = header("cyc", 1, 9, 0, 500, static_cast<uint32_t>(data.size()));
    a.insert(a.end(), data.begin(), data.end());
    writefile("cyc.cmp", a);
    EXPECT_EQ(run("-x", "cyc"), 0);
    EXPECT_EQ(cap.errors, std::vector<int32_t>{3});
    EXPECT_FALSE(exists("cyc"));
}

TEST_F(Driver, HostileHeadersNeverCrash) {
    Bytes payload = incompressible(300, 5);
    struct Case {
        uint8_t method, bits;
        uint32_t size, stored;
        std::vector<int32_t> errors;
    };
    const Case cases[] = {{1, 16, 10, 300, {3}},          {1, 8, 10, 300, {3}},
                          {1, 0, 10, 300, {3}},           {1, 255, 10, 300, {3}},
                          {0, 9, 300, 0x7FFFFFF0, {6, 3}}, {1, 15, 0xFFFFFFFF, 0xFFFFFFFF, {6, 3}},
                          {7, 9, 300, 300, {6}}};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.method) + "/" + std::to_string(c.bits));
        Bytes a = header("h", c.method, c.bits, 0x4321, c.size, c.stored);
        a.insert(a.end(), payload.begin(), payload.end());
        writefile("h.cmp", a);
        cap.errors.clear();
        EXPECT_EQ(run("-xop\"\"", "h"), 0);  // the password persists: set it
        EXPECT_EQ(cap.errors, c.errors);
        cap.report.clear();
        run("-l", "h");
    }
    // A name field without a terminator and one that climbs out of the
    // directory: the first is cut at 12, the second is never written.
    Bytes a = header("abcdefghijkl", 0, 9, 0xC6, 3, 3);
    Bytes d = textbytes("ABC");
    a.insert(a.end(), d.begin(), d.end());
    Bytes b = header("../escape", 0, 9, 0xC6, 3, 3);
    a.insert(a.end(), b.begin(), b.end());
    a.insert(a.end(), d.begin(), d.end());
    writefile("n.cmp", a);
    cap.errors.clear();
    EXPECT_EQ(run("-xo", "n", {"*"}), 0);
    EXPECT_EQ(readfile("abcdefghijkl"), d);
    EXPECT_FALSE(exists("../escape"));
    EXPECT_TRUE(cap.errors.empty());
}

TEST_F(Driver, StopLeavesTheArchiveUnchanged) {
    writefile("a", textlike(30000, 1));
    writefile("b", textlike(30000, 2));
    ASSERT_EQ(run("-a", "arc", {"a", "b"}), 0);
    Bytes before = readfile("arc.cmp");
    writefile("c", textlike(100000, 3));
    for (int32_t polls : {0, 1, 2, 3, 10, 30}) {
        SCOPED_TRACE(polls);
        cap.stoppolls = 0;
        cap.stopafter = polls;
        EXPECT_EQ(run("-a", "arc", {"c", "a"}), -1);
        EXPECT_EQ(readfile("arc.cmp"), before);
        EXPECT_FALSE(exists("arc.$$$"));
        cap.stoppolls = 0;
        EXPECT_EQ(run("-d", "arc", {"a"}), polls < 2 ? -1 : 0);
        if (polls < 2) {
            EXPECT_EQ(readfile("arc.cmp"), before);
        }
        EXPECT_FALSE(exists("arc.$$$"));
        writefile("arc.cmp", before);
    }
    // Extraction stops with result 0 and removes the file it was writing.
    cap.stopafter = 1;
    cap.stoppolls = 0;
    ASSERT_EQ(compress_file_list("-a", "big", "c"), -1);
    EXPECT_FALSE(exists("big.cmp"));
    cap.stopafter = -1;
    ASSERT_EQ(compress_file_list("-a", "big", "c"), 0);
    std::remove("c");
    cap.stopafter = 2;
    cap.stoppolls = 0;
    EXPECT_EQ(run("-x", "big"), 0);
    EXPECT_FALSE(exists("c"));
}

}  // namespace

namespace {

// Archives with random bytes changed, inserted or cut: every operation
// ends with a result and error numbers from the table, never a crash.
TEST_F(Driver, MutatedArchivesNeverCrash) {
    writefile("t.txt", textlike(30000, 1));
    writefile("r.bin", incompressible(3000, 2));
    writefile("z.bin", Bytes(20000, 0));
    ASSERT_EQ(run("-ap\"\"", "good", {"t.txt", "r.bin", "z.bin"}), 0);
    const Bytes good = readfile("good.cmp");
    std::mt19937 rng(77);
    for (int round = 0; round < 150; round++) {
        Bytes a = good;
        const int edits = 1 + static_cast<int>(rng() % 6);
        for (int k = 0; k < edits && !a.empty(); k++) {
            const size_t at = rng() % a.size();
            switch (rng() % 3) {
            case 0: a[at] = static_cast<uint8_t>(rng()); break;
            case 1: a.insert(a.begin() + static_cast<std::ptrdiff_t>(at), static_cast<uint8_t>(rng())); break;
            default: a.resize(at); break;
            }
        }
        writefile("m.cmp", a);
        cap.errors.clear();
        EXPECT_GE(run("-lb", "m"), -1);
        EXPECT_GE(run("-xo", "m"), -1);
        for (int32_t e : cap.errors) {
            EXPECT_TRUE(e >= 2 && e <= 7) << e;
        }
    }
}

}  // namespace
