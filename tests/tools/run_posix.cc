// run_posix.cc - starting the program in a child process: its folder, its
// input from a file, its output and messages into files read back after;
// started at once and waited for, or started to run beside others.
#include <fcntl.h>
#include <unistd.h>

#include "common/fork.h"
#include "tooltest.h"

Started startprogram(const std::string& exe, const std::vector<std::string>& args,
                     const std::filesystem::path& dir, const std::string& input, const std::string& io,
                     unsigned delayus) {
    // The capture files live beside the folder, not in it.
    Started s{-1, dir.string() + "-io" + io};
    std::filesystem::create_directories(s.io);
    vntest::writefile((s.io / "in").string(), input);
    s.pid = vntest::spawn([&] {
        int in = open((s.io / "in").c_str(), O_RDONLY);
        int out = open((s.io / "out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        int err = open((s.io / "err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (in < 0 || out < 0 || err < 0 || chdir(dir.c_str()) != 0) return 127;
        dup2(in, 0);
        dup2(out, 1);
        dup2(err, 2);
        if (delayus > 0) usleep(delayus);
        std::vector<char*> argv{const_cast<char*>(exe.c_str())};
        for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        execv(exe.c_str(), argv.data());
        return 127;
    });
    return s;
}

RunResult finishprogram(const Started& s) {
    RunResult r{vntest::waitexit(s.pid), vntest::readfile((s.io / "out").string()),
                vntest::readfile((s.io / "err").string())};
    std::error_code ec;
    std::filesystem::remove_all(s.io, ec);
    return r;
}

RunResult runprogram(const std::string& exe, const std::vector<std::string>& args,
                     const std::filesystem::path& dir, const std::string& input) {
    return finishprogram(startprogram(exe, args, dir, input, "", 0));
}
