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

// The first two streams differ from a plain dictionary coder's (whose
// streams Format.CodedStreamsMatchTheReferenceCoder checks), at the widest
// and a middle width; the noisy first block of the last narrows it to 9.
TEST_F(Golden, StreamsKeepTheirFingerprints) {
    const Bytes sp = sparse(300000, 8, 40);
    const struct {
        const char* what;
        Bytes data;
        int bits;
        uint64_t sum;
    } rows[] = {
        {"slot 0 taken, 15 bits", lead(sp, 0, 0x80), 15, 0xc01b7bcc067e49a0},
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
