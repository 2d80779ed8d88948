// format_test.cc - archives checked byte for byte: entry headers, stored
// entries with and without a password, the check value, and the coded
// stream against the reference coder.
#include "cmptest.h"

#include <algorithm>
#include <set>

using namespace cmptest;

namespace {

class Format : public CmpTest {};

TEST_F(Format, StoredThreeByteFileIsByteExact) {
    writefile("abc.txt", textbytes("ABC"));
    ASSERT_EQ(run("-a", "arc", {"abc.txt"}), 0);
    Bytes a = readfile("arc.cmp");
    ASSERT_EQ(a.size(), 35u);
    // Magic, the name field, stored, the width last chosen; after the date
    // bytes the check value, the size, the stored size and the bytes.
    EXPECT_EQ(hexat(a, 0, 16), vntest::cat("bf20", vntest::hex("abc.txt"), std::string(10, '0'), "0009"));
    EXPECT_EQ(hexat(a, 22, 13), "c600" "03000000" "03000000" "414243");
    EXPECT_TRUE(cap.errors.empty());
    EXPECT_FALSE(exists("arc.$$$"));
}

TEST_F(Format, PasswordAddsItsKeyToStoredBytes) {
    writefile("abc.txt", textbytes("ABC"));
    ASSERT_EQ(run("-ap\"ab\"", "arc", {"abc.txt"}), 0);
    Bytes a = readfile("arc.cmp");
    ASSERT_EQ(a.size(), 35u);
    EXPECT_EQ(Bytes(a.begin() + 32, a.end()), Bytes({0x04, 0x05, 0x06}));
    EXPECT_EQ(a[22], 0xC6);  // the check value is of the plain bytes
}

TEST_F(Format, TwelveCharacterNameFillsTheFieldUpperCaseIsLowered) {
    writefile("ABCDEFGH.TXT", textbytes("hello"));
    ASSERT_EQ(run("-a", "arc", {"ABCDEFGH.TXT"}), 0);
    Bytes a = readfile("arc.cmp");
    ASSERT_GE(a.size(), 32u);
    EXPECT_EQ(std::string(a.begin() + 2, a.begin() + 14), "abcdefgh.txt");
    EXPECT_EQ(a[14], 0);  // stored: the name runs into the method byte with no NUL
}

// Compressible inputs of sizes that select each width 9-15 give exactly the
// reference coder's stream, with and without a password.
TEST_F(Format, CodedStreamMatchesTheReferenceCoderAtEveryWidth) {
    const size_t sizes[] = {300, 700, 1500, 3000, 6000, 12000, 70000, 300000};
    const int widths[] = {9, 10, 11, 12, 13, 14, 15, 15};
    for (int withpw = 0; withpw < 2; withpw++) {
        for (size_t i = 0; i < sizeof sizes / sizeof *sizes; i++) {
            SCOPED_TRACE(vntest::cat("size ", sizes[i], " password ", withpw));
            Bytes data = textlike(sizes[i], static_cast<uint32_t>(i + 1));
            writefile("in.txt", data);
            std::remove("arc.cmp");
            ASSERT_EQ(run(withpw ? "-ap\"ab\"" : "-ap\"\"", "arc", {"in.txt"}), 0);
            auto e = entries(readfile("arc.cmp"));
            ASSERT_EQ(e.size(), 1u);
            ASSERT_EQ(e[0].method, 1);
            EXPECT_EQ(e[0].bits, widths[i]);
            EXPECT_EQ(e[0].size, data.size());
            EXPECT_EQ(e[0].data, referencecode(data, e[0].bits, withpw ? 195 : 0));
            EXPECT_EQ(e[0].stored, e[0].data.size());
            uint32_t sum = 0;
            for (uint8_t b : data) sum += b;
            EXPECT_EQ(e[0].check, sum & 0xFFFF);
        }
    }
}

// Enough distinct strings to fill the 9-bit dictionary, then a long run so
// that the file still shrinks: the stream carries a clear code mid-way.
TEST_F(Format, FullNineBitDictionaryWritesAClearCode) {
    Bytes data;
    for (int i = 0; data.size() < 330; i++) {
        data.push_back(static_cast<uint8_t>(1 + (i * 37) % 255));
        data.push_back(static_cast<uint8_t>(1 + (i * 91 + 7) % 255));
    }
    data.resize(330);
    data.insert(data.end(), 170, 'z');
    writefile("clr", data);
    ASSERT_EQ(run("-a", "arc", {"clr"}), 0);
    auto e = entries(readfile("arc.cmp"));
    ASSERT_EQ(e.size(), 1u);
    ASSERT_EQ(e[0].method, 1);
    ASSERT_EQ(e[0].bits, 9);
    EXPECT_EQ(e[0].data, referencecode(data, 9, 0));
    // Decode the 9-bit codes and find the clear code before the end.
    bool clear = false;
    for (size_t bit = 0; bit + 9 <= e[0].data.size() * 8; bit += 9) {
        uint32_t c = 0;
        for (size_t j = bit; j < bit + 9; j++) c = c * 2 + ((e[0].data[j / 8] >> (7 - j % 8)) & 1);
        clear = clear || c == 256;
    }
    EXPECT_TRUE(clear);
    ASSERT_EQ(run("-x", "arc"), 0);
    std::remove("clr");
    ASSERT_EQ(run("-xo", "arc"), 0);
    EXPECT_EQ(readfile("clr"), data);
}

TEST_F(Format, HundredThousandIdenticalBytesNeedNoClearCode) {
    Bytes data(100000, 'q');
    writefile("same", data);
    ASSERT_EQ(run("-a", "arc", {"same"}), 0);
    auto e = entries(readfile("arc.cmp"));
    ASSERT_EQ(e.size(), 1u);
    EXPECT_EQ(e[0].bits, 15);
    EXPECT_EQ(e[0].data, referencecode(data, 15, 0));
    EXPECT_LT(e[0].stored, 1000u);
}

}  // namespace
