// run_posix.cc - starting the program in a child process: its folder, its
// input from a file, its output and messages into files read back after.
#include <fcntl.h>
#include <unistd.h>

#include "common/fork.h"
#include "tooltest.h"

RunResult runprogram(const std::string& exe, const std::vector<std::string>& args,
                     const std::filesystem::path& dir, const std::string& input) {
    // The capture files live beside the folder, not in it.
    const std::filesystem::path base = dir.string() + "-io";
    std::filesystem::create_directories(base);
    vntest::writefile((base / "in").string(), input);
    pid_t pid = vntest::spawn([&] {
        int in = open((base / "in").c_str(), O_RDONLY);
        int out = open((base / "out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        int err = open((base / "err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (in < 0 || out < 0 || err < 0 || chdir(dir.c_str()) != 0) return 127;
        dup2(in, 0);
        dup2(out, 1);
        dup2(err, 2);
        std::vector<char*> argv{const_cast<char*>(exe.c_str())};
        for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        execv(exe.c_str(), argv.data());
        return 127;
    });
    RunResult r{vntest::waitexit(pid), vntest::readfile((base / "out").string()),
                vntest::readfile((base / "err").string())};
    std::error_code ec;
    std::filesystem::remove_all(base, ec);
    return r;
}
