// tooltest.h - running the built velnor program as a user would: in a
// fresh folder of its own, with arguments and input, collecting its
// output, its messages and its exit status.
#ifndef VELNOR_TESTS_TOOLS_TOOLTEST_H
#define VELNOR_TESTS_TOOLS_TOOLTEST_H

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "common/engine.h"

struct RunResult {
    int code = -1;    // exit status; -1 when the program did not end normally
    std::string out;  // what it wrote on stdout
    std::string err;  // and on stderr
};

// Runs the program with args in dir, input fed on stdin (never a
// terminal).  Defined per system (run_posix.cc, run_win.cc).
RunResult runprogram(const std::string& exe, const std::vector<std::string>& args,
                     const std::filesystem::path& dir, const std::string& input);

#ifndef _WIN32
#include <sys/types.h>

// A run started beside others: its process and its capture folder.
struct Started {
    pid_t pid;
    std::filesystem::path io;
};
// Starts the program in dir after delayus microseconds, capturing into a
// folder named after dir and io; finishprogram waits for it.
Started startprogram(const std::string& exe, const std::vector<std::string>& args,
                     const std::filesystem::path& dir, const std::string& input, const std::string& io,
                     unsigned delayus);
RunResult finishprogram(const Started& s);
#endif

// Success when text holds part; a failure shows the whole text.
inline testing::AssertionResult holds(const std::string& text, const std::string& part) {
    if (text.find(part) != std::string::npos) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "no \"" << part << "\" in:\n" << text;
}

class ToolTest : public vntest::TmpDirTest {
protected:
    // velnor ARGS... in the test's folder.
    RunResult velnor(const std::vector<std::string>& args, const std::string& input = "") {
        return runprogram(VELNOR_EXE, args, dir_, input);
    }
    bool exists(const std::string& name) { return vntest::exists(path(name)); }
    // What velnor ARGS writes on stdout; a failure when it does not succeed.
    std::string ok(const std::vector<std::string>& args) {
        RunResult r = velnor(args);
        EXPECT_EQ(r.code, 0) << r.err;
        return r.out;
    }
    // Success when velnor ARGS exits with code and its messages hold part.
    testing::AssertionResult exits(int code, const std::vector<std::string>& args, const std::string& part = "") {
        RunResult r = velnor(args);
        if (r.code != code) return testing::AssertionFailure() << "exit " << r.code << "; messages:\n" << r.err;
        return holds(r.err, part);
    }

    const std::filesystem::path dir_{tmp.dir()};
};

// A text definition ("velnor fid compile" reads it) from its parts.
inline std::string textfid(int reclen, int flags, std::vector<vntest::Item> items,
                           std::vector<vntest::Key> keys, std::vector<vntest::Thread> threads = {}) {
    return vntest::fidtext({reclen, flags, 0, std::move(items), std::move(keys), std::move(threads)});
}

// A test whose folder holds the record file c.dat (definition c.fid:
// CODE 6 bytes and the key, NAME 10, QTY 4) with A1 apple 3 and B2 pear 12.
class Customers : public ToolTest {
protected:
    void SetUp() override {
        writefile("c.fid", textfid(20, 0, {{"CODE", 'C', 0, 6}, {"NAME", 'C', 6, 10}, {"QTY", 'N', 16, 4, 1, 'R'}},
                                   {{"CODE", 6, {{0, 6, 0}}}}));
        writefile("in.csv", "CODE,NAME,QTY\nA1,apple,3\nB2,pear,12\n");
        ASSERT_TRUE(exits(0, {"load", "c.dat", "--csv", "in.csv", "--create"}));
    }
    // The record file's bytes, to show a refused run changed nothing.
    std::string files() { return readfile("c.dat") + readfile("c.idx"); }
};

// Lines of a text, without their line ends.
inline std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line); out.push_back(line))
        if (!line.empty() && line.back() == '\r') line.pop_back();
    return out;
}

#endif
