// cmpbench.cc - times compress_files adding and extracting about 40 MB of
// text, 20 MB of binary data and 1000 small files, against `compress -c` /
// `uncompress -c` and `gzip -6` / `gzip -dc` on the same files, and prints
// MB per CPU second, sizes, and our speed as a multiple of each peer's, then
// one table of those multiples for every data set of the run, with the
// speed goals against compress.
// Usage: compress_bench [reps [alone]]; "alone" times only our own runs.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <unistd.h>

#include "velnor.h"

namespace fs = std::filesystem;
using Bytes = std::string;

namespace {

// Text: words of a 6000-word vocabulary drawn with a Zipf-like skew, with
// numbers, punctuation and line breaks.
Bytes maketext(size_t n, uint32_t seed) {
    std::mt19937 rng(seed);
    std::vector<std::string> vocab;
    for (int i = 0; i < 6000; i++) {
        std::string w;
        int len = 2 + static_cast<int>(rng() % 9);
        for (int j = 0; j < len; j++) {
            w += static_cast<char>('a' + rng() % 26);
        }
        vocab.push_back(w);
    }
    Bytes out;
    out.reserve(n + 64);
    int col = 0;
    while (out.size() < n) {
        double u = std::uniform_real_distribution<double>(0, 1)(rng);
        const std::string& w = vocab[static_cast<size_t>(6000 * u * u * u)];
        out += w;
        col += static_cast<int>(w.size()) + 1;
        uint32_t r = rng() % 100;
        if (r < 3) {
            out += ' ';
            out += std::to_string(rng() % 100000);
        } else if (r < 9) {
            out += ",";
        } else if (r < 13) {
            out += ".";
        }
        if (col > 70) {
            out += "\r\n";
            col = 0;
        } else {
            out += " ";
        }
    }
    out.resize(n);
    return out;
}

// Binary: fixed-size records of counters, small integers, floats and short
// names, with stretches of noise and of zeros, like a data or program file.
Bytes makebinary(size_t n, uint32_t seed) {
    std::mt19937 rng(seed);
    Bytes out;
    out.reserve(n + 256);
    uint32_t counter = 1000;
    while (out.size() < n) {
        uint32_t kind = rng() % 10;
        auto r = [&](uint32_t m) { return static_cast<uint32_t>(rng() % m); };
        if (kind < 6) {
            uint32_t rec[8] = {counter++, r(16), r(1000), 0, 0x3F800000u + r(4096), r(3), 0xFFFFFFFFu,
                               r(100)};
            out.append(reinterpret_cast<const char*>(rec), sizeof rec);
            out.append("item" + std::to_string(rng() % 500));
        } else if (kind < 8) {
            for (int i = 0; i < 64; i++) {
                out.push_back(static_cast<char>(rng()));
            }
        } else {
            out.append(16 + rng() % 200, '\0');
        }
    }
    out.resize(n);
    return out;
}

void writefile(const fs::path& p, const Bytes& data) {
    std::ofstream(p, std::ios::binary).write(data.data(), static_cast<std::streamsize>(data.size()));
}

// CPU seconds (user + system) of this process and its finished children:
// the machine is shared, so wall-clock time would measure the neighbours.
double cputime() {
    double t = 0;
    for (int who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
        struct rusage ru;
        getrusage(who, &ru);
        t += static_cast<double>(ru.ru_utime.tv_sec + ru.ru_stime.tv_sec) +
             static_cast<double>(ru.ru_utime.tv_usec + ru.ru_stime.tv_usec) / 1e6;
    }
    return t;
}

// Best of reps runs, in CPU seconds.
double seconds(const std::function<void()>& f, int reps) {
    double best = 1e30;
    for (int i = 0; i < reps; i++) {
        const double t0 = cputime();
        f();
        best = std::min(best, cputime() - t0);
    }
    return best;
}

void shell(const std::string& cmd) {
    if (std::system(cmd.c_str()) != 0) {
        std::fprintf(stderr, "failed: %s\n", cmd.c_str());
        std::exit(1);
    }
}

uintmax_t dirbytes(const fs::path& d, const std::string& ext) {
    uintmax_t n = 0;
    for (auto& e : fs::directory_iterator(d)) {
        if (e.path().extension() == ext) {
            n += e.file_size();
        }
    }
    return n;
}

struct Result {
    double c, x;    // seconds
    uintmax_t out;  // compressed bytes
};

// A data set's speeds as multiples of the peers' (ours over theirs), and
// the goals against compress (0: none).
struct Ratios {
    std::string title;
    double addnc, extnc, addgz, extgz;
    double addgoal, extgoal;
};

// One data set: the files in src (names only), total bytes.  Our speeds
// as multiples of the peers'.
Ratios runset(const char* title, const fs::path& work, const std::vector<std::string>& names,
              uintmax_t total, int reps, bool peers) {
    const fs::path src = work / "src";
    const fs::path ext = work / "ext";
    fs::create_directories(ext);
    std::string list;
    for (auto& n : names) {
        list += n + "\n";
    }
    writefile(work / "names.lst", list);
    const std::string arc = (work / "bench.cmp").string();
    const std::string listspec = "@" + (work / "names.lst").string();

    Result ours{};
    fs::current_path(src);
    ours.c = seconds(
        [&] {
            fs::remove(arc);
            char* specs[] = {const_cast<char*>(listspec.c_str())};
            if (compress_files("-aqp\"\"", arc.c_str(), 1, specs) != 0) {
                std::fprintf(stderr, "compress_files failed\n");
                std::exit(1);
            }
        },
        reps);
    ours.out = fs::file_size(arc);
    unsigned char hdr[32] = {};
    std::ifstream(arc, std::ios::binary).read(reinterpret_cast<char*>(hdr), sizeof hdr);
    fs::current_path(ext);
    ours.x = seconds(
        [&] {
            if (compress_files("-xqo", arc.c_str(), 0, nullptr) != 0) {
                std::fprintf(stderr, "extract failed\n");
                std::exit(1);
            }
        },
        reps);
    for (auto& n : names) {
        if (fs::file_size(ext / n) != fs::file_size(src / n)) {
            std::fprintf(stderr, "round trip of %s differs\n", n.c_str());
            std::exit(1);
        }
    }
    fs::current_path(work);

    auto peer = [&](const std::string& zip, const std::string& unzip, const std::string& suffix) {
        Result r{};
        const std::string s = src.string();
        const std::string e = ext.string();
        std::string cmd = "cd " + s + " && for f in $(cat " + (work / "names.lst").string() +
                          "); do " + zip + " < $f > " + e + "/$f" + suffix + "; done";
        r.c = seconds([&] { shell(cmd); }, reps);
        r.out = dirbytes(ext, suffix);
        std::string ucmd = "cd " + e + " && for f in $(cat " + (work / "names.lst").string() +
                           "); do " + unzip + " < $f" + suffix + " > $f.out; done";
        r.x = seconds([&] { shell(ucmd); }, reps);
        for (auto& n : names) {
            fs::remove(ext / (n + suffix));
            fs::remove(ext / (n + ".out"));
        }
        return r;
    };
    Result nc{1, 1, 1}, gz{1, 1, 1};
    if (peers) {
        nc = peer("compress -c", "uncompress -c", ".Z");
        gz = peer("gzip -6 -c", "gzip -dc", ".gz");
    }

    const double mb = static_cast<double>(total) / 1e6;
    std::printf("\n%s: %zu files, %.1f MB (first entry: method %d, %d bits)\n", title, names.size(), mb,
                hdr[14], hdr[15]);
    std::printf("  %-10s %10s %10s %9s   (MB per CPU second, best of %d)\n", "", "add MB/s",
                "ext MB/s", "ratio", reps);
    auto row = [&](const char* who, const Result& r) {
        std::printf("  %-10s %10.1f %10.1f %8.1f%%\n", who, mb / r.c, mb / r.x,
                    100.0 * static_cast<double>(r.out) / static_cast<double>(total));
    };
    row("velnor", ours);
    row("compress", nc);
    row("gzip -6", gz);
    std::printf("  velnor vs compress: add %.2fx, extract %.2fx;  vs gzip -6: add %.2fx, extract %.2fx\n",
                nc.c / ours.c, nc.x / ours.x, gz.c / ours.c, gz.x / ours.x);
    fs::remove_all(ext);
    fs::remove(arc);
    return Ratios{title, nc.c / ours.c, nc.x / ours.x, gz.c / ours.c, gz.x / ours.x, 0, 0};
}

// A multiple against its goal: "met", or the shortfall.
std::string against(double ratio, double goal) {
    char text[32];
    if (goal <= 0) {
        return "";
    }
    if (ratio >= goal) {
        std::snprintf(text, sizeof text, "met (%.2fx)", goal);
    } else {
        std::snprintf(text, sizeof text, "%.0f%% short of %.2fx", 100 * (1 - ratio / goal), goal);
    }
    return text;
}

void summary(const std::vector<Ratios>& sets) {
    std::printf("\nvelnor's speed as a multiple of each peer's, this run (CPU time):\n");
    std::printf("  %-12s %8s %8s %8s %8s   %-22s %s\n", "", "add", "extract", "add", "extract",
                "add goal", "extract goal");
    std::printf("  %-12s %8s %8s %8s %8s\n", "", "compress", "compress", "gzip -6", "gzip -6");
    for (const Ratios& r : sets) {
        std::printf("  %-12s %7.2fx %7.2fx %7.2fx %7.2fx   %-22s %s\n", r.title.c_str(), r.addnc, r.extnc,
                    r.addgz, r.extgz, against(r.addnc, r.addgoal).c_str(), against(r.extnc, r.extgoal).c_str());
    }
}

}  // namespace

int main(int argc, char** argv) {
    const int reps = argc > 1 ? std::atoi(argv[1]) : 3;
    const bool peers = argc <= 2 || std::string(argv[2]) != "alone";  // "alone": ours only
    const fs::path work = fs::temp_directory_path() / ("cmpbench" + std::to_string(getpid()));
    const fs::path src = work / "src";
    fs::create_directories(src);

    // The goals: adding 1.5 times as fast as compress on text and 1.3 times
    // on binary data, extracting at least twice as fast.
    std::vector<Ratios> sets;
    writefile(src / "text.txt", maketext(40000000, 1));
    sets.push_back(runset("Text", work, {"text.txt"}, 40000000, reps, peers));
    sets.back().addgoal = 1.5;
    sets.back().extgoal = 2;
    fs::remove(src / "text.txt");

    writefile(src / "binary.dat", makebinary(20000000, 2));
    sets.push_back(runset("Binary", work, {"binary.dat"}, 20000000, reps, peers));
    sets.back().addgoal = 1.3;
    sets.back().extgoal = 2;
    fs::remove(src / "binary.dat");

    std::vector<std::string> small;
    uintmax_t total = 0;
    std::mt19937 rng(3);
    for (int i = 0; i < 1000; i++) {
        char name[16];
        std::snprintf(name, sizeof name, "f%04d.%s", i, i % 3 == 0 ? "dat" : "txt");
        size_t size = 500 + rng() % 30000;
        writefile(src / name, i % 3 == 0 ? makebinary(size, 100 + i) : maketext(size, 100 + i));
        small.push_back(name);
        total += size;
    }
    sets.push_back(runset("Small files", work, small, total, reps, peers));
    fs::remove_all(work);
    if (peers) {
        summary(sets);
    }
    return 0;
}
