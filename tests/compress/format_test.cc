// format_test.cc - archives checked byte for byte: entry headers, stored
// entries with and without a password, the check value, and the coded
// stream against the reference coder.
#include "cmptest.h"

#include <algorithm>
#include <random>

using namespace cmptest;

namespace {

class Format : public CmpTest {};

// Stored entries: magic, the name field, the method, the width last
// chosen; after the date bytes the check value (of the plain bytes), the
// size, the stored size and the bytes, raised by the password's key.
TEST_F(Format, StoredEntriesAreByteExact) {
    const struct {
        const char *file, *options, *field, *tail;
    } cases[] = {
        {"abc.txt", "-ap\"\"", "abc.txt", "c600" "03000000" "03000000" "414243"},
        {"abc.txt", "-ap\"ab\"", "abc.txt", "c600" "03000000" "03000000" "040506"},
        // Twelve characters fill the field and run into the method byte.
        {"ABCDEFGH.TXT", "-ap\"\"", "abcdefgh.txt", "c600" "03000000" "03000000" "414243"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.options);
        std::remove("arc.cmp");
        writefile(c.file, textbytes("ABC"));
        ASSERT_EQ(run(c.options, "arc", {c.file}), 0);
        std::remove(c.file);
        Bytes a = readfile("arc.cmp");
        ASSERT_EQ(a.size(), 35u);
        std::string name = vntest::hex(c.field);
        name.resize(24, '0');
        EXPECT_EQ(hexat(a, 0, 16), vntest::cat("bf20", name, "0009"));
        EXPECT_EQ(hexat(a, 22, 13), c.tail);
        EXPECT_TRUE(cap.errors.empty());
        EXPECT_FALSE(exists("arc.$$$"));
    }
}

// Coded streams are exactly the reference coder's, with and without a
// password: text of sizes that select each width 9-15; distinct pairs that
// fill the 9-bit dictionary, so that a clear code comes mid-way; and a long
// run of one byte that never fills the 15-bit one.
TEST_F(Format, CodedStreamsMatchTheReferenceCoder) {
    std::vector<std::pair<Bytes, int>> rows;  // data, width
    const size_t sizes[] = {300, 700, 1500, 3000, 6000, 12000, 70000, 300000};
    const int widths[] = {9, 10, 11, 12, 13, 14, 15, 15};
    for (size_t i = 0; i < 8; i++) rows.emplace_back(textlike(sizes[i], static_cast<uint32_t>(i + 1)), widths[i]);
    // A noisy first block narrows the width after 15-bit coding has begun;
    // the 15-bit rows after it start from what that left behind.
    Bytes noisy = textlike(70000, 9);
    std::mt19937 rng(9);
    for (size_t i = 0; i < 1000; i++) noisy[i] = static_cast<uint8_t>(rng());
    rows.emplace(rows.begin() + 6, noisy, 10);
    Bytes full;
    for (int i = 0; full.size() < 330; i++)
        full.insert(full.end(), {static_cast<uint8_t>(1 + (i * 37) % 255), static_cast<uint8_t>(1 + (i * 91 + 7) % 255)});
    full.resize(330);
    full.insert(full.end(), 170, 'z');
    const std::vector<uint32_t> codes = referencecodes(full, 9);
    ASSERT_NE(std::find(codes.begin(), codes.end(), 256u), codes.end());  // a clear code
    rows.emplace_back(full, 9);
    rows.emplace_back(Bytes(100000, 'q'), 15);
    for (int withpw = 0; withpw < 2; withpw++) {
        for (const auto& [data, width] : rows) {
            SCOPED_TRACE(vntest::cat("size ", data.size(), " password ", withpw));
            writefile("in.txt", data);
            std::remove("arc.cmp");
            ASSERT_EQ(run(withpw ? "-ap\"ab\"" : "-ap\"\"", "arc", {"in.txt"}), 0);
            auto e = entries(readfile("arc.cmp"));
            ASSERT_EQ(e.size(), 1u);
            ASSERT_EQ(e[0].method, 1);
            EXPECT_EQ(e[0].bits, width);
            EXPECT_EQ(e[0].size, data.size());
            EXPECT_EQ(e[0].data, referencecode(data, e[0].bits, withpw ? 195 : 0));
            EXPECT_EQ(e[0].stored, e[0].data.size());
            uint32_t sum = 0;
            for (uint8_t b : data) sum += b;
            EXPECT_EQ(e[0].check, sum & 0xFFFF);
        }
    }
}

}  // namespace
