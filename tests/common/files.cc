// files.cc - temporary directories and whole-file helpers of the tests.
#include "common/files.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

namespace fs = std::filesystem;

namespace vntest {

TempDir::TempDir() {
    const char* env = std::getenv("VELNOR_TEST_TMP");
    fs::path base = env != nullptr && *env != '\0' ? fs::path(env) : fs::temp_directory_path();
    fs::create_directories(base);
    std::random_device rd;
    for (int tries = 0; tries < 1000 && dir_.empty(); tries++) {
        fs::path p = base / (vntest::numbered("vn", rd()));
        std::error_code ec;
        if (fs::create_directory(p, ec)) dir_ = p.string();
    }
    if (dir_.empty()) ADD_FAILURE() << "no temporary directory under " << base;
}

TempDir::~TempDir() {
    std::error_code ec;
    if (!dir_.empty()) fs::remove_all(dir_, ec);
}

std::string TempDir::path(const std::string& name) const { return (fs::path(dir_) / name).string(); }

void writefile(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

std::string readfile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::string hex(const std::string& bytes) {
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (unsigned char c : bytes) {
        out += digits[c >> 4];
        out += digits[c & 15];
    }
    return out;
}

void patch(const std::string& path, size_t pos, const std::string& bytes, size_t len) {
    std::string all = readfile(path);
    writefile(path, all.replace(pos, len == std::string::npos ? bytes.size() : len, bytes));
}

bool exists(const std::string& path) {
    std::error_code ec;
    return fs::exists(path, ec);
}

}  // namespace vntest
