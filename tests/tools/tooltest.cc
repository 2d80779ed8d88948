// tooltest.cc - the folder and file helpers of the program tests.
#include "tooltest.h"

#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>

namespace fs = std::filesystem;

void ToolTest::SetUp() {
    const char* base = std::getenv("VELNOR_TEST_TMP");
    fs::path root = base && *base ? fs::path(base) : fs::temp_directory_path();
    fs::create_directories(root);
    std::random_device rd;
    for (int i = 0; i < 100; ++i) {
        // Short names in lower case: the archiver takes names that way.
        fs::path p = root / ("vt" + std::to_string(rd() % 1000000));
        std::error_code ec;
        if (fs::create_directory(p, ec)) {
            dir_ = p;
            return;
        }
    }
    FAIL() << "cannot make a test folder under " << root;
}

void ToolTest::TearDown() {
    std::error_code ec;
    if (!dir_.empty()) fs::remove_all(dir_, ec);
}

RunResult ToolTest::velnor(const std::vector<std::string>& args, const std::string& input) {
    return runprogram(VELNOR_EXE, args, dir_, input);
}

void ToolTest::write(const std::string& name, const std::string& bytes) {
    std::ofstream out(dir_ / name, std::ios::binary);
    out << bytes;
    ASSERT_TRUE(out.good()) << name;
}

std::string ToolTest::read(const std::string& name) {
    std::ifstream in(dir_ / name, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

bool ToolTest::exists(const std::string& name) { return fs::exists(dir_ / name); }

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> out;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        out.push_back(line);
    }
    return out;
}
