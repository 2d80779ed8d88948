// tmpdir.h - a fresh temporary directory for each test, made under
// $VELNOR_TEST_TMP when set (else the system temporary directory) and
// removed with everything in it when the test ends.
#ifndef VELNOR_TESTS_SUPPORT_TMPDIR_H
#define VELNOR_TESTS_SUPPORT_TMPDIR_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

class TmpDirTest : public ::testing::Test {
protected:
    void SetUp() override {
        namespace fs = std::filesystem;
        const char* env = std::getenv("VELNOR_TEST_TMP");
        fs::path base = env != nullptr && *env != '\0' ? fs::path(env) : fs::temp_directory_path();
        fs::create_directories(base);
        std::random_device rd;
        for (int tries = 0; tries < 100; ++tries) {
            fs::path p = base / ("vnsup-" + std::to_string(rd()));
            if (fs::create_directory(p)) {
                dir_ = p;
                return;
            }
        }
        FAIL() << "no temporary directory";
    }
    void TearDown() override {
        std::error_code ec;
        if (!dir_.empty()) std::filesystem::remove_all(dir_, ec);
    }
    // Full path of name inside the directory.
    std::string path(const std::string& name) const { return (dir_ / name).string(); }
    void writefile(const std::string& name, const std::string& bytes) const {
        std::ofstream(path(name), std::ios::binary) << bytes;
    }
    std::string readfile(const std::string& name) const {
        std::ifstream in(path(name), std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    std::filesystem::path dir_;
};

#endif
