// files.h - what every test program shares: a fresh temporary directory per
// test, whole-file reading and writing, and little-endian readers for byte
// checks of on-disk formats.
#ifndef VELNOR_TESTS_COMMON_FILES_H
#define VELNOR_TESTS_COMMON_FILES_H

#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>

namespace vntest {

// A directory made under $VELNOR_TEST_TMP (else the system temporary
// directory) and removed with everything in it when it goes.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    // Full path of name inside the directory.
    std::string path(const std::string& name) const;
    const std::string& dir() const { return dir_; }

private:
    std::string dir_;
};

// Writes bytes to path, replacing it.
void writefile(const std::string& path, const std::string& bytes);
// The whole file, or "" when it cannot be read.
std::string readfile(const std::string& path);
bool exists(const std::string& path);
// Puts bytes at pos of path in place of the len bytes there (by default as
// many as it puts: an overwrite; 0 inserts, and "" with len n erases).
void patch(const std::string& path, size_t pos, const std::string& bytes, size_t len = std::string::npos);

// prefix followed by n in decimal.  Built by appending: GCC 12 warns
// falsely about overlapping copies on "text" + std::to_string(n) when
// optimising.
inline std::string numbered(std::string prefix, long long n) {
    prefix += std::to_string(n);
    return prefix;
}

// The parts written one after another, as a stream writes them.
template <typename... T>
std::string cat(const T&... parts) {
    std::ostringstream s;
    (s << ... << parts);
    return s.str();
}

// The bytes in lower-case hexadecimal, two digits each.
std::string hex(const std::string& bytes);

inline uint16_t le16(const std::string& b, size_t off) {
    return static_cast<uint16_t>(static_cast<uint8_t>(b[off]) | static_cast<uint8_t>(b[off + 1]) << 8);
}
inline uint32_t le32(const std::string& b, size_t off) {
    return le16(b, off) | static_cast<uint32_t>(le16(b, off + 2)) << 16;
}
// And the bytes of a value, little-endian.
inline std::string le16(uint16_t v) { return std::string{static_cast<char>(v & 0xFF), static_cast<char>(v >> 8)}; }
inline std::string le32(uint32_t v) { return le16(static_cast<uint16_t>(v)) + le16(static_cast<uint16_t>(v >> 16)); }

// A test with a temporary directory of its own.
class TmpDirTest : public ::testing::Test {
protected:
    std::string path(const std::string& name) const { return tmp.path(name); }
    void writefile(const std::string& name, const std::string& bytes) const {
        vntest::writefile(path(name), bytes);
    }
    std::string readfile(const std::string& name) const { return vntest::readfile(path(name)); }
    TempDir tmp;
};

}  // namespace vntest

#endif
