// tooltest.h - running the built velnor program as a user would: in a
// fresh folder of its own, with arguments and input, collecting its
// output, its messages and its exit status.
#ifndef VELNOR_TESTS_TOOLS_TOOLTEST_H
#define VELNOR_TESTS_TOOLS_TOOLTEST_H

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

struct RunResult {
    int code = -1;    // exit status; -1 when the program did not end normally
    std::string out;  // what it wrote on stdout
    std::string err;  // and on stderr
};

// Runs the program with args in dir, input fed on stdin (never a
// terminal).  Defined per system (run_posix.cc, run_win.cc).
RunResult runprogram(const std::string& exe, const std::vector<std::string>& args,
                     const std::filesystem::path& dir, const std::string& input);

class ToolTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // velnor ARGS... in the test's folder.
    RunResult velnor(const std::vector<std::string>& args, const std::string& input = "");
    // Files of the test's folder.
    void write(const std::string& name, const std::string& bytes);
    std::string read(const std::string& name);
    bool exists(const std::string& name);
    std::filesystem::path path(const std::string& name) { return dir_ / name; }

    std::filesystem::path dir_;
};

// Lines of a text, without their line ends.
std::vector<std::string> lines(const std::string& text);

#endif
