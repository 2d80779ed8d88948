// main.cc - the engine benchmark.  One workload goes through velnor and its
// peers, each store in a process of its own, one after another, so that no
// store runs beside another or inherits its heap and caches.
//   engine_bench [N]                 N records (default 1,000,000) through
//       every store; three tables of wall and CPU seconds per step and
//       velnor's time over each peer's (below 1: velnor was faster):
//       unshared, shared, and unshared committing every 10,000 inserts
//       or deletes; and goal lines per table
//   engine_bench N STORE             one store in this process, for
//       profiling; prints one line, which is also how a child reports
//   engine_bench --scaling [A,B,C]   every store at each count (default
//       100000,1000000,4000000); microseconds per operation, how much
//       that grew from the first count to the last, a goal line, and the
//       microseconds each operation gained
// --cpu, anywhere, makes --scaling count the process's CPU time instead of
// the wall clock, which other programs on a busy machine disturb more.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "workload.h"

namespace {

// How often the committing stores commit: velnor secures its file, the
// peers commit (or sync) after as many inserts or deletes.
constexpr size_t kCommitEvery = 10000;

struct Store {
    const char* name;
    Timing (*run)(const Workload&, bool);
    bool shared;
    bool commits;  // every kCommitEvery writes
};

// The table each store is compared in: velnor's store first.
struct Group {
    const char* title;
    size_t first, count;
};

const Store kStores[] = {
    {"single", runvelnor, false, false},     {"sqlite", runsqlite, false, false},
    {"bdb", runbdb, false, false},           {"lmdb", runlmdb, false, false},
    {"shared", runvelnor, true, false},      {"sqlite-wal", runsqlite, true, false},
    {"bdb-env", runbdb, true, false},        {"lmdb-txn", runlmdb, true, false},
    {"single-10k", runvelnor, false, true},  {"sqlite-10k", runsqlite, false, true},
    {"bdb-10k", runbdb, false, true},        {"lmdb-10k", runlmdb, false, true},
    {"lmdb-sync-10k", runlmdbsync, false, true},
};
const size_t kStoreCount = sizeof kStores / sizeof kStores[0];
const size_t kScaled = 8;  // --scaling runs the stores without commits
const Group kGroups[] = {{"unshared", 0, 4}, {"shared", 4, 4}, {"commit", 8, 5}};
const size_t kCommitLmdb = 11;  // the peer the commit table's goal names
bool cpuclock = false;          // --cpu was given
const char* const kLine =
    "%s %zu records: insert %.6f s %.6f cpu, lookup %.6f s %.6f cpu, scan %.6f s %.6f cpu, delete %.6f s %.6f cpu, "
    "commits %.6f s, instructions %lld %lld %lld %lld\n";

// One store's run as seen from the parent: step times, user-space
// instructions per operation of each step, and the CPU seconds of the
// whole child, making the workload included.  Failed runs keep -1.
struct Result {
    Timing t;
    std::array<double, 4> instructions = {-1, -1, -1, -1};
    double user = -1, sys = -1;
};

size_t count(const char* s) {
    char* end = nullptr;
    const unsigned long long n = std::strtoull(s, &end, 10);
    if (*s == '\0' || *end != '\0' || n < 10) fail(std::string("not a record count of 10 or more: ") + s);
    return static_cast<size_t>(n);
}

// Runs one store here, in a scratch directory of its own, and prints kLine.
int runhere(size_t n, const std::string& name) {
    const Store* s = nullptr;
    for (const Store& c : kStores)
        if (name == c.name) s = &c;
    if (!s) {
        std::string all;
        for (const Store& c : kStores) all += std::string(" ") + c.name;
        fail("no store " + name + "; the stores are" + all);
    }
    std::string dir = (std::filesystem::temp_directory_path() / "velnor-bench-XXXXXX").string();
    if (!mkdtemp(dir.data())) fail("cannot make a scratch directory");
    Workload w = makeworkload(n, dir);
    if (s->commits) w.every = kCommitEvery;
    const Timing t = s->run(w, s->shared);
    std::filesystem::remove_all(dir);
    std::printf(kLine, s->name, n, t.insert.wall, t.insert.cpu, t.lookup.wall, t.lookup.cpu, t.scan.wall, t.scan.cpu,
                t.remove.wall, t.remove.cpu, t.committing, t.insert.instructions, t.lookup.instructions,
                t.scan.instructions, t.remove.instructions);
    return 0;
}

double seconds(const timeval& tv) { return static_cast<double>(tv.tv_sec) + tv.tv_usec / 1e6; }

// Runs one store in a child (this program again, given N and the store) and
// reads back the line it prints.  A failed child has said why on stderr.
Result runchild(size_t n, const Store& s) {
    std::fprintf(stderr, "engine_bench: %s, %zu records\n", s.name, n);
    int fds[2];
    if (pipe(fds) != 0) fail("cannot make a pipe");
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid < 0) fail("cannot fork");
    if (pid == 0) {
        dup2(fds[1], STDOUT_FILENO);
        close(fds[0]);
        close(fds[1]);
        const std::string ns = std::to_string(n);
        char* const args[] = {const_cast<char*>("engine_bench"), const_cast<char*>(ns.c_str()),
                              const_cast<char*>(s.name), nullptr};
        execv("/proc/self/exe", args);
        _exit(127);
    }
    close(fds[1]);
    std::string out;
    char buf[512];
    for (ssize_t got; (got = read(fds[0], buf, sizeof buf)) != 0;) {
        if (got > 0) out.append(buf, static_cast<size_t>(got));
        else if (errno != EINTR) break;
    }
    close(fds[0]);
    int status = 0;
    rusage ru{};
    while (wait4(pid, &status, 0, &ru) < 0 && errno == EINTR) {
    }
    Result r;
    Timing t;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0 ||
        std::sscanf(out.c_str(),
                    "%*s %*u records: insert %lf s %lf cpu, lookup %lf s %lf cpu, scan %lf s %lf cpu, "
                    "delete %lf s %lf cpu, commits %lf s, instructions %lld %lld %lld %lld",
                    &t.insert.wall, &t.insert.cpu, &t.lookup.wall, &t.lookup.cpu, &t.scan.wall, &t.scan.cpu,
                    &t.remove.wall, &t.remove.cpu, &t.committing, &t.insert.instructions, &t.lookup.instructions,
                    &t.scan.instructions, &t.remove.instructions) != 13) {
        std::fprintf(stderr, "engine_bench: %s failed\n", s.name);
        return r;
    }
    r.t = t;
    const Span* spans[] = {&t.insert, &t.lookup, &t.scan, &t.remove};
    for (size_t k = 0; k < 4; k++) {
        const double ops = static_cast<double>(k == 3 ? n / 10 : n);  // a delete step removes a tenth
        if (spans[k]->instructions >= 0) r.instructions[k] = static_cast<double>(spans[k]->instructions) / ops;
    }
    r.user = seconds(ru.ru_utime);
    r.sys = seconds(ru.ru_stime);
    return r;
}

void cell(double v, int width = 10) {
    if (v < 0) std::printf(" %*s", width, "-");
    else std::printf(" %*.3f", width, v);
}

// The figures a table shows of one run, in row order: wall seconds per
// step, CPU seconds per step, wall seconds spent committing, the CPU
// seconds of the whole process, and user-space instructions per operation
// of each step.
constexpr int kRows = 15;
constexpr int kCommitsRow = 8;
const char* const kRowNames[kRows] = {"insert",     "lookup",     "scan",     "delete",   "cpu insert",
                                      "cpu lookup", "cpu scan",   "cpu delete", "commits", "user cpu",
                                      "sys cpu",    "ins/insert", "ins/lookup", "ins/scan", "ins/delete"};
std::array<double, kRows> rows(const Result& r) {
    const Timing& t = r.t;
    const std::array<double, 4>& i = r.instructions;
    return {t.insert.wall, t.lookup.wall, t.scan.wall, t.remove.wall, t.insert.cpu, t.lookup.cpu, t.scan.cpu,
            t.remove.cpu,  t.committing,  r.user,      r.sys,          i[0],        i[1],         i[2],
            i[3]};
}

// One table: velnor's run first, then its peers, then velnor's ratio to
// each (none for the time spent committing, which a store without
// commits does not have).
void table(const Group& g, const Result* r) {
    const Store* s = kStores + g.first;
    std::printf("\n%-10s", g.title);
    for (size_t i = 0; i < g.count; i++) std::printf(" %13s", s[i].name);
    std::printf("  ");
    for (size_t i = 1; i < g.count; i++) std::printf(" %14s", (std::string("/") + s[i].name).c_str());
    std::printf("\n");
    for (int k = 0; k < kRows; k++) {
        if (k == kCommitsRow && !s[0].commits) continue;
        const bool whole = k > kCommitsRow + 2;  // instructions
        std::printf("%-10s", kRowNames[k]);
        for (size_t i = 0; i < g.count; i++) {
            const double v = rows(r[i])[k];
            if (whole && v >= 0) std::printf(" %13.0f", v);
            else cell(v, 13);
        }
        std::printf("  ");
        for (size_t i = 1; i < g.count; i++) {
            const double v0 = rows(r[0])[k], vi = rows(r[i])[k];
            cell(k != kCommitsRow && v0 >= 0 && vi > 0 ? v0 / vi : -1, 14);
        }
        std::printf("\n");
    }
}

// One goal line: per step "met" when velnor's figure (v[0]) over each
// peer's (v[1..]) stays below 1, or at 1 where a tie meets the goal;
// else the largest of those ratios and its peer.  Negative figures are
// runs that failed.
void goalline(const char* title, const Store* s, const std::array<double, 4>* v, size_t count, bool tiemeets) {
    std::printf("%-14s", title);
    static const char* const stepnames[] = {"insert", "lookup", "scan", "delete"};
    for (int k = 0; k < 4; k++) {
        double worst = 0;
        const char* peer = nullptr;
        for (size_t i = 1; i < count; i++) {
            if (v[0][k] >= 0 && v[i][k] > 0 && (peer == nullptr || v[0][k] / v[i][k] > worst)) {
                worst = v[0][k] / v[i][k];
                peer = s[i].name;
            }
        }
        if (peer == nullptr) std::printf("  %s -", stepnames[k]);
        else if (worst < 1 || (tiemeets && worst == 1)) std::printf("  %s met (%.2fx %s)", stepnames[k], worst, peer);
        else std::printf("  %s %.2fx %s", stepnames[k], worst, peer);
    }
    std::printf("\n");
}

std::array<double, 4> steps(const Result& r, bool cpu) {
    const Timing& t = r.t;
    if (cpu) return {t.insert.cpu, t.lookup.cpu, t.scan.cpu, t.remove.cpu};
    return {t.insert.wall, t.lookup.wall, t.scan.wall, t.remove.wall};
}

// The goal of each table, velnor faster than every peer on every step,
// by the wall clock and by CPU time.
void goals(const Group& g, const Result* r) {
    for (bool cpu : {false, true}) {
        std::array<double, 4> v[8];
        for (size_t i = 0; i < g.count; i++) v[i] = steps(r[i], cpu);
        goalline((std::string(g.title) + (cpu ? " cpu" : " wall")).c_str(), kStores + g.first, v, g.count, false);
    }
}

int compare(size_t n) {
    Result r[kStoreCount];
    for (size_t i = 0; i < kStoreCount; i++) r[i] = runchild(n, kStores[i]);
    std::printf("%zu records of %d bytes, each store in a process of its own; wall and CPU seconds per step,\n"
                "and velnor's time over each peer's (below 1: velnor faster); user and sys cpu count the whole\n"
                "process.  The commit table commits every %zu inserts or deletes: velnor secures, which\n"
                "syncs its files; SQLite commits and LMDB (lmdb-10k) commits unsynced; Berkeley DB syncs its\n"
                "databases and lmdb-sync-10k commits synced; commits is the wall time spent committing;\n"
                "ins/ rows are user-space instructions per operation of a step (-: no counter)\n",
                n, REC_LEN + 2, kCommitEvery);
    for (const Group& g : kGroups) table(g, r + g.first);
    std::printf("\ngoal: faster than every peer on every step (met, or the time over the peer it trails most)\n");
    for (const Group& g : kGroups) goals(g, r + g.first);
    // The commit protocol's own goal: velnor faster than LMDB on every step.
    std::printf("goal, commit every %zu: faster than %s on every step\n", kCommitEvery, kStores[kCommitLmdb].name);
    const size_t pair[] = {8, kCommitLmdb};
    for (bool cpu : {false, true}) {
        std::array<double, 4> v[2] = {steps(r[pair[0]], cpu), steps(r[pair[1]], cpu)};
        const Store two[] = {kStores[pair[0]], kStores[pair[1]]};
        goalline(cpu ? "commit cpu" : "commit wall", two, v, 2, false);
    }
    return 0;
}

int scaling(const char* list) {
    std::vector<size_t> ns;
    std::string s = list ? list : "100000,1000000,4000000";
    for (size_t at = 0; at <= s.size();) {
        size_t comma = s.find(',', at);
        if (comma == std::string::npos) comma = s.size();
        ns.push_back(count(s.substr(at, comma - at).c_str()));
        at = comma + 1;
    }
    if (ns.size() < 2) fail("--scaling needs two counts or more");
    std::vector<Result> r;  // by count, then store
    for (size_t n : ns)
        for (size_t i = 0; i < kScaled; i++) r.push_back(runchild(n, kStores[i]));

    std::printf("%s per operation (a delete step removes a tenth of the records); growth is\n"
                "the last count's figure over the first's\n%-10s %-7s",
                cpuclock ? "CPU microseconds" : "microseconds", "store", "step");
    for (size_t n : ns) std::printf(" %9zu", n);
    std::printf(" %7s\n", "growth");
    static const char* const stepnames[] = {"insert", "lookup", "scan", "delete"};
    std::vector<std::array<double, 4>> growth(kScaled, {-1, -1, -1, -1});
    const double none = std::nan("");  // a gain may be below 0
    std::vector<std::array<double, 4>> gain(kScaled, {none, none, none, none});
    for (size_t i = 0; i < kScaled; i++) {
        for (int k = 0; k < 4; k++) {
            std::printf("%-10s %-7s", kStores[i].name, stepnames[k]);
            double first = -1, last = -1;
            for (size_t j = 0; j < ns.size(); j++) {
                const std::array<double, 4> secs = steps(r[j * kScaled + i], cpuclock);
                const double ops = static_cast<double>(k == 3 ? ns[j] / 10 : ns[j]);
                const double us = secs[k] < 0 ? -1 : secs[k] / ops * 1e6;
                if (us < 0) std::printf(" %9s", "-");
                else std::printf(" %9.2f", us);
                if (j == 0) first = us;
                last = us;
            }
            if (first > 0 && last >= 0) {
                growth[i][static_cast<size_t>(k)] = last / first;
                gain[i][static_cast<size_t>(k)] = last - first;
                std::printf(" %7.2f\n", last / first);
            } else {
                std::printf(" %7s\n", "-");
            }
        }
    }
    // The goal: velnor's cost grows no faster than any peer's.
    std::printf("\ngoal: growth no greater than every peer's (met, or velnor's over the least)\n");
    for (size_t v : {size_t{0}, size_t{4}})
        goalline(kStores[v].name, kStores + v, &growth[v], 4, true);
    // A ratio favours a store with a large fixed cost per operation; what
    // each operation gains in microseconds does not.
    std::printf("microseconds an operation gains from %zu to %zu records, velnor's (and the least of its peers')\n",
                ns.front(), ns.back());
    for (size_t v : {size_t{0}, size_t{4}}) {
        std::printf("%-8s", kStores[v].name);
        for (size_t k = 0; k < 4; k++) {
            size_t least = 0;
            for (size_t i = v + 1; i < v + 4; i++)
                if (!std::isnan(gain[i][k]) && (least == 0 || gain[i][k] < gain[least][k])) least = i;
            if (least == 0 || std::isnan(gain[v][k]))
                std::printf("  %s -", stepnames[k]);
            else
                std::printf("  %s %.2f (%s %.2f)", stepnames[k], gain[v][k], kStores[least].name, gain[least][k]);
        }
        std::printf("\n");
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args;
    for (int i = 1; i < argc; i++) {
        if (std::string(argv[i]) == "--cpu") cpuclock = true;
        else args.push_back(argv[i]);
    }
    if (!args.empty() && args[0] == "--scaling") return scaling(args.size() > 1 ? args[1].c_str() : nullptr);
    const size_t n = args.empty() ? 1000000 : count(args[0].c_str());
    if (args.size() > 1) return runhere(n, args[1]);
    return compare(n);
}
