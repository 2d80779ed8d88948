// run_win.cc - starting the program through the command interpreter, with
// its input, output and messages redirected to files read back after.
#include <cstdlib>
#include <fstream>

#include "tooltest.h"

namespace {

// The program's text output, its line ends made plain "\n" again.
std::string slurp(const std::filesystem::path& p) {
    std::string text = vntest::readfile(p.string()), plain;
    for (size_t i = 0; i < text.size(); ++i)
        if (!(text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n')) plain += text[i];
    return plain;
}

std::string quoted(const std::string& s) { return "\"" + s + "\""; }

// A build-tree path given in the host's form (under a Windows emulator the
// host's root is drive Z:).
std::string native(std::string path) {
    if (!path.empty() && path[0] == '/') path = "Z:" + path;
    for (char& c : path)
        if (c == '/') c = '\\';
    return path;
}

}  // namespace

RunResult runprogram(const std::string& exe, const std::vector<std::string>& args,
                     const std::filesystem::path& dir, const std::string& input) {
    // Fresh capture files each run: the emulator may still hold the last
    // run's files open for a moment after it ends.
    static unsigned runs = 0;
    std::filesystem::path base = dir.string() + "-io" + std::to_string(++runs);
    std::filesystem::create_directories(base);
    std::ofstream(base / "in", std::ios::binary) << input;
    std::string cmd = "cd /d " + quoted(native(dir.string())) + " && " + quoted(native(exe));
    for (const std::string& a : args) cmd += " " + quoted(a);
    cmd += " <" + quoted(native((base / "in").string())) + " >" +
           quoted(native((base / "out").string())) + " 2>" +
           quoted(native((base / "err").string()));
    RunResult r;
    // -1: the shell itself did not start; 9009: the shell could not start
    // the program.  A busy emulator does both now and then; the program
    // never ran, so it may run again.
    constexpr int kNotStarted = 9009;
    for (int tries = 0; tries < 3; tries++) {
        r.code = std::system(("\"" + cmd + "\"").c_str());
        if (r.code != -1 && r.code != kNotStarted) break;
    }
    r.out = slurp(base / "out");
    r.err = slurp(base / "err");
    std::error_code ec;
    std::filesystem::remove_all(base, ec);
    return r;
}
