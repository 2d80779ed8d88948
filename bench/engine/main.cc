// main.cc - the engine benchmark: runs one workload (default 1,000,000
// records, or the count given) through velnor unshared and shared, SQLite
// and Berkeley DB (or only the store named second), and prints each step's time and velnor's ratio to each
// peer (below 1 means velnor was faster).
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "workload.h"

namespace {

void row(const char* step, double vs, double vh, double sq, double bd) {
    std::printf("%-8s %10.3f %10.3f %10.3f %10.3f   %6.2f %6.2f   %6.2f %6.2f\n", step, vs, vh, sq, bd, vs / sq,
                vs / bd, vh / sq, vh / bd);
}

}  // namespace

int main(int argc, char** argv) {
    const size_t n = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 1000000;
    if (n < 10) fail("give a record count of 10 or more");
    std::string dir = (std::filesystem::temp_directory_path() / "velnor-bench-XXXXXX").string();
    if (!mkdtemp(dir.data())) fail("cannot make a scratch directory");
    const Workload w = makeworkload(n, dir);

    // A second argument runs one store alone (for profiling): velnor (both
    // runs), single, shared, sqlite or bdb.
    const std::string only = argc > 2 ? argv[2] : "";
    const Timing single = only.empty() || only == "velnor" || only == "single" ? runvelnor(w, false) : Timing{};
    const Timing shared = only.empty() || only == "velnor" || only == "shared" ? runvelnor(w, true) : Timing{};
    const Timing sq = only.empty() || only == "sqlite" ? runsqlite(w) : Timing{};
    const Timing bd = only.empty() || only == "bdb" ? runbdb(w) : Timing{};

    std::printf("%zu records of %d bytes; seconds, and velnor's time over each peer's\n", n, REC_LEN + 2);
    std::printf("%-8s %10s %10s %10s %10s   %13s   %13s\n", "step", "single", "shared", "sqlite", "bdb",
                "single/sq,bdb", "shared/sq,bdb");
    row("insert", single.insert, shared.insert, sq.insert, bd.insert);
    row("lookup", single.lookup, shared.lookup, sq.lookup, bd.lookup);
    row("scan", single.scan, shared.scan, sq.scan, bd.scan);
    row("delete", single.remove, shared.remove, sq.remove, bd.remove);
    std::filesystem::remove_all(dir);
    return 0;
}
