// seeds.cc - writes the seed corpus of every fuzz target, made by the
// library itself: usage fuzz_seeds OUTDIR, which gets one folder per target.
#include <cstdio>
#include <filesystem>
#include <string>

#include "definition/fid.h"
#include "fuzz/fuzz.h"

namespace {

using namespace vnfuzz;
namespace fs = std::filesystem;

std::string out;
int failures = 0;

void seed(const std::string& target, int n, const std::string& bytes) {
    const fs::path d = fs::path(out) / target;
    fs::create_directories(d);
    std::FILE* f = std::fopen((d / ("seed" + std::to_string(n))).c_str(), "wb");
    if (f == nullptr || std::fwrite(bytes.data(), 1, bytes.size(), f) != bytes.size()) ++failures;
    if (f != nullptr) std::fclose(f);
}

void need(bool ok, const char* what) {
    if (!ok) {
        std::fprintf(stderr, "fuzz_seeds: %s failed\n", what);
        ++failures;
    }
}

// The binary form of kind's definition, with a thread on LINK when threaded.
std::string fidbinary(Kind kind, bool threaded) {
    put("b.fid", fidtext(kind));
    Block b("b.dat");
    std::snprintf(b.cb.fidname, sizeof b.cb.fidname, "%s", path("b.fid").c_str());
    need(loadfid(&b.cb) == 0, "loadfid");
    if (threaded) need(fidaddthread(&b.cb, "LINK", "(AMOUNT > 10) AND (NAME = 'Name K05')") == 0, "thread");
    need(savefidbin(&b.cb, path("c.fid").c_str()) == 0, "savefidbin");
    freefid(&b.cb);
    return get("c.fid");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: fuzz_seeds OUTDIR\n");
        return 2;
    }
    out = fs::absolute(argv[1]).string();
    start();
    const std::string magic = "TKF FID v7.0\n";
    for (int k = 0; k < NKINDS; ++k) {
        const Kind kind = static_cast<Kind>(k);
        seed("fid_text", k, fidtext(kind).substr(magic.size()));
        seed("fid_bin", k, fidbinary(kind, false));
    }
    seed("fid_bin", NKINDS, fidbinary(FIXED, true));

    need(build(FIXED, "s", 30), "index");
    seed("index", 0, get("s.idx"));
    need(build(FIXED, "s", 3), "small index");
    seed("index", 1, get("s.idx"));
    need(build(HASHED, "s", 30), "hash");
    seed("hash", 0, get("s.hsh"));

    const Kind recordkinds[] = {FIXED, VARLEN, RECNO, PLAIN, PLAINVAR};
    for (int k = 0; k < 5; ++k) {
        need(build(recordkinds[k], "r", 12), "records");
        seed("records", k, std::string(1, char(k)) + get("r.dat"));
    }
    const Kind maintkinds[] = {FIXED, VARLEN, HASHED, PLAIN};
    for (int k = 0; k < 4; ++k) {
        need(build(maintkinds[k], "m", 12), "maint");
        seed("maint", k, std::string(1, char(k)) + get("m.dat"));
    }

    const char* const exprs[] = {
        "AMOUNT > 100\n K05      Smith                     250",
        "NAME = 'Smith'\n K05      Smith                     250",
        "(ID = \"K05\") AND (AMOUNT < 3.5)\n K05      Smith                      2.5",
        "2 * 3 + 4 - [AMOUNT / 0)\n",
        "LINK OR 1 AND -.5 = 'x\n",
    };
    int n = 0;
    for (const char* e : exprs) seed("thread", n++, e);

    put("t1.txt", "one line of text\nanother line, longer than the first one\r\n\x1a");
    std::string bin;
    for (int i = 0; i < 600; ++i) bin += static_cast<char>(i * 7 % 256);
    put("t2.bin", bin);
    std::string f1 = path("t1.txt"), f2 = path("t2.bin");
    char* both[] = {f1.data(), f2.data()};
    need(compress_files("-AQ", path("s1.cmp").c_str(), 2, both) == 0, "archive");
    seed("archive", 0, get("s1.cmp"));
    need(compress_files("-AQ", path("s2.cmp").c_str(), 1, both) == 0, "small archive");
    seed("archive", 1, get("s2.cmp"));

    seed("fastio", 0, std::string("\x07line one\nline two\r\n\x1a", 22));
    seed("fastio", 1, std::string("\x30\x1E\x05X\0a\x1F\x02" "b\0\x1E\x7F\0tail", 16));

    need(buildkeyword(), "keyword");
    seed("posting", 0, get("kw.pst"));

    if (failures != 0) return 1;
    return 0;
}
