// format_test.cc - archives checked byte for byte: entry headers, stored
// entries with and without a password, small files, the check value, and
// the coded stream against the reference coder.
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
    EXPECT_EQ(a[0], 0xBF);
    EXPECT_EQ(a[1], 0x20);
    EXPECT_EQ(std::string(a.begin() + 2, a.begin() + 14), std::string("abc.txt\0\0\0\0\0", 12));
    EXPECT_EQ(a[14], 0);  // stored
    EXPECT_EQ(a[15], 9);  // the width last chosen
    EXPECT_EQ(a[22], 0xC6);
    EXPECT_EQ(a[23], 0x00);
    EXPECT_EQ(Bytes(a.begin() + 24, a.begin() + 32), Bytes({3, 0, 0, 0, 3, 0, 0, 0}));
    EXPECT_EQ(Bytes(a.begin() + 32, a.end()), textbytes("ABC"));
    EXPECT_TRUE(cap.errors.empty());
    EXPECT_FALSE(exists("arc.$$$"));
}

TEST_F(Format, DateBytesComeFromTheDirectoryEntry) {
    writefile("abc.txt", textbytes("ABC"));
    uint32_t size = 0;
    uint8_t dt[6] = {};
    ASSERT_NE(cfindfirst("abc.txt", 0, &size, dt), nullptr);
    ASSERT_EQ(run("-a", "arc", {"abc.txt"}), 0);
    Bytes a = readfile("arc.cmp");
    EXPECT_EQ(Bytes(a.begin() + 16, a.begin() + 22), Bytes(dt, dt + 6));
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

// Random first blocks never shrink: a 15-bit file narrows before it is
// stored, and a small one is stored at once.
TEST_F(Format, IncompressibleDataIsStoredWithTheNarrowedWidth) {
    Bytes big = incompressible(40000, 7);
    Bytes small = incompressible(1000, 8);
    writefile("big.bin", big);
    writefile("small.bin", small);
    ASSERT_EQ(run("-a", "arc", {"big.bin", "small.bin"}), 0);
    auto e = entries(readfile("arc.cmp"));
    ASSERT_EQ(e.size(), 2u);
    EXPECT_EQ(e[0].method, 0);
    EXPECT_EQ(e[0].bits, 9);
    EXPECT_EQ(e[0].data, big);
    EXPECT_EQ(e[1].method, 0);
    EXPECT_EQ(e[1].bits, 10);
    EXPECT_EQ(e[1].data, small);
}

// The width the first-block test settles on for a 2048-byte first block:
// out is the bytes completed after the block's codes, before its last string.
int settledwidth(const Bytes& block) {
    const int64_t in = static_cast<int64_t>(block.size());
    for (int bits = 15;;) {
        const int64_t t = static_cast<int64_t>(referencecodes(block, bits).size() - 1) * bits;
        const int64_t out = t > 0 ? (t - 1) / 8 : 0;
        if (bits == 9) return out >= in - 1 ? 0 : 9;
        if (out < in - 128) return bits;
        bits = std::max(9, bits - (out >= in + 256 ? 3 : out >= in + 128 ? 2 : 1));
    }
}

// Partly random first blocks settle on narrower widths; the width chosen
// holds for the whole file, and a block that never shrinks is stored.
TEST_F(Format, FirstBlockTestNarrowsTheWidthForTheWholeFile) {
    Bytes noise = incompressible(2048, 3);
    for (auto& b : noise) {
        b = b == 0 ? 1 : b;  // keep the (0, 0) pair out of the dictionary
    }
    std::set<int> seen;
    for (size_t r = 900; r <= 2048; r += 50) {
        SCOPED_TRACE(vntest::numbered("random bytes ", r));
        Bytes data(noise.begin(), noise.begin() + static_cast<std::ptrdiff_t>(r));
        data.resize(2048, 'a');
        Bytes rest = repetitive(60000, 4);
        const int want = settledwidth(data);
        data.insert(data.end(), rest.begin(), rest.end());
        writefile("mix.bin", data);
        std::remove("arc.cmp");
        ASSERT_EQ(run("-a", "arc", {"mix.bin"}), 0);
        auto e = entries(readfile("arc.cmp"));
        ASSERT_EQ(e.size(), 1u);
        seen.insert(want);
        if (want == 0) {
            EXPECT_EQ(e[0].method, 0);
            EXPECT_EQ(e[0].data, data);
            continue;
        }
        ASSERT_EQ(e[0].method, 1);
        EXPECT_EQ(e[0].bits, want);
        EXPECT_EQ(e[0].data, referencecode(data, want, 0));
    }
    EXPECT_GE(seen.size(), 5u);  // the inputs reach several widths and storing
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
