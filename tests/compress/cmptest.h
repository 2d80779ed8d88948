// cmptest.h - shared helpers of the archiver tests: a fresh working
// directory per test, file helpers, captured report text and error numbers,
// steerable hooks, and an independent dictionary-based LZW reference coder.
#ifndef VELNOR_TESTS_COMPRESS_CMPTEST_H
#define VELNOR_TESTS_COMPRESS_CMPTEST_H

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "common/files.h"
#include "velnor.h"

namespace cmptest {

using Bytes = std::vector<uint8_t>;

// Everything the archiver told the application during a call.
struct Capture {
    std::string report;           // report pieces, concatenated
    std::vector<int32_t> errors;  // error numbers in order
    int32_t stopafter = -1;       // stop polls answered "go on" before stopping; -1 never
    int32_t stoppolls = 0;
};
extern Capture cap;

// A test that runs in its own fresh directory (the current directory while
// it runs), with sinks and hooks capturing into cap; every question is
// answered no.
class CmpTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    std::string dir;  // absolute path of the test directory
private:
    std::unique_ptr<vntest::TempDir> tmp;
    std::string olddir;
};

Bytes readfile(const std::string& path);
void writefile(const std::string& path, const Bytes& data);
using vntest::exists;
Bytes textbytes(const std::string& s);
// n bytes of a from from, in hexadecimal.
inline std::string hexat(const Bytes& a, size_t from, size_t n) {
    return vntest::hex(std::string(a.begin() + static_cast<std::ptrdiff_t>(from),
                                   a.begin() + static_cast<std::ptrdiff_t>(from + n)));
}

// Runs compress_files with the options and specifications.
int32_t run(const char* options, const char* archive, std::vector<std::string> specs = {});

// Data generators, deterministic in seed.
Bytes repetitive(size_t n, uint32_t seed);
Bytes textlike(size_t n, uint32_t seed);
Bytes incompressible(size_t n, uint32_t seed);

// The code stream of data at width bits, scrambled with key: a plain
// dictionary LZW (clear code when the dictionary is full, the all-ones end
// code, codes packed most significant bit first, the last partial or
// exactly-filled byte left out).  firstbyte stands in for empty data.
Bytes referencecode(const Bytes& data, int bits, uint8_t key, uint8_t firstbyte = 0);

// The codes referencecode writes for data before its final string and the
// end code (clear codes included).
std::vector<uint32_t> referencecodes(const Bytes& data, int bits, uint8_t firstbyte = 0);

// Packs codes of width bits most significant bit first, leaving out the
// final byte as the coder does.
Bytes packcodes(const std::vector<uint32_t>& codes, int bits);

// An archive entry split out of archive bytes.
struct Entry {
    Bytes data;
    std::string name;
    uint8_t method = 0;
    uint8_t bits = 0;
    uint16_t check = 0;
    uint32_t size = 0;
    uint32_t stored = 0;
};
std::vector<Entry> entries(const Bytes& archive);

// A 32-byte header for hand-made archives, followed by data.
Bytes header(const std::string& name, uint8_t method, uint8_t bits, uint16_t check, uint32_t size,
             uint32_t stored, const Bytes& data = {});

}  // namespace cmptest

#endif
