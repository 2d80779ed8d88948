// golden_test.cc - coded streams of binary, zero-heavy and noisy inputs
// checked against fingerprints of the streams this coder has always
// written.  The pair of code 0 and byte 0 has the key 0 in the coder's hash
// table, and a probe stops at such a slot, so a stream can differ from a
// plain dictionary coder's; only fixed fingerprints hold it to its bytes.
#include <random>

#include "cmptest.h"

using namespace cmptest;

namespace {

class Golden : public CmpTest {};

// Records of a counter, small numbers, zeros and all-ones, between runs of
// zeros and of noise; 64 zeros first when zerofirst.
Bytes records(size_t n, uint32_t seed, bool zerofirst) {
    std::mt19937 rng(seed);
    auto r = [&](uint32_t m) { return static_cast<uint32_t>(rng() % m); };
    Bytes out(zerofirst ? 64 : 0, 0);
    for (uint32_t counter = 1000; out.size() < n;) {
        const uint32_t kind = r(10);
        if (kind < 6) {
            const uint32_t rec[6] = {counter++, r(16), 0, 0x3F800000u + r(4096), 0xFFFFFFFFu, r(100)};
            for (int i = 0; i < 24; i++) out.push_back(static_cast<uint8_t>(rec[i / 4] >> 8 * (i % 4)));
        } else if (kind < 8) {
            for (int i = 0; i < 40; i++) out.push_back(static_cast<uint8_t>(rng()));
        } else {
            out.insert(out.end(), 16 + r(200), 0);
        }
    }
    out.resize(n);
    return out;
}

// Three bytes in four 0, the others at most max.
Bytes sparse(size_t n, uint32_t seed, uint32_t max) {
    std::mt19937 rng(seed);
    Bytes out(n);
    for (auto& b : out) b = rng() % 4 == 0 ? static_cast<uint8_t>(rng() % (max + 1)) : 0;
    return out;
}

// The first k bytes noise (enough makes the first-block test narrow the
// width), then first, 1: a pair that can take slot 0 of the hash table
// before the pair 0, 0 comes, which then lies where later probes pass it.
Bytes lead(Bytes b, size_t k, uint8_t first) {
    std::mt19937 rng(1);
    for (size_t i = 0; i < k; i++) b[i] = static_cast<uint8_t>(rng());
    b[0] = first;
    b[1] = 1;
    return b;
}

uint64_t fnv(const Bytes& b) {
    uint64_t h = 14695981039346656037ull;
    for (uint8_t c : b) h = (h ^ c) * 1099511628211ull;
    return h;
}

// The first three rows code as a plain dictionary coder would; the others
// differ from one, at the widest, a middle and the narrowest width.
TEST_F(Golden, StreamsKeepTheirFingerprints) {
    const Bytes sp = sparse(300000, 8, 40);
    const struct {
        const char* what;
        Bytes data;
        int bits;
        uint64_t sum;
    } rows[] = {
        {"records", records(300000, 1, false), 15, 0x8b707ceb2b41a1e7},
        {"small records, zeros first", records(900, 3, true), 10, 0xb9d81eb6ba617746},
        {"sparse", sparse(150000, 4, 3), 15, 0x0952f80b4be55a5c},
        {"slot 0 taken, records", lead(records(300000, 6, true), 0, 0x80), 15, 0x6e020535b2dbdd94},
        {"slot 0 taken, 12 bits", lead(sp, 800, 0x10), 12, 0xec43d9d8d9537ac6},
        {"slot 0 taken, 9 bits", lead(sp, 1300, 0x10), 9, 0x7f021fa1bbbbc1b3},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.what);
        writefile("in.bin", r.data);
        std::remove("arc.cmp");
        ASSERT_EQ(run("-ap\"\"", "arc", {"in.bin"}), 0);
        auto e = entries(readfile("arc.cmp"));
        ASSERT_EQ(e.size(), 1u);
        ASSERT_EQ(e[0].method, 1);
        EXPECT_EQ(e[0].bits, r.bits);
        EXPECT_EQ(fnv(e[0].data), r.sum) << std::hex << fnv(e[0].data);
    }
}

}  // namespace
