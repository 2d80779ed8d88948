// crash_posix.cc - a process killed with SIGKILL at a random moment, or cut
// off by a simulated power cut at a random write, while it writes, rewrites
// (moves included) and deletes records, alone (SINGLE) and shared.  Before
// each operation it tells the parent through a pipe what it is about to do,
// and after each secure (killed and shared: after each operation) that all
// before is secured.  Afterwards the file opens and holds every secured
// record, and RECOVER or PACK leave a file that VERIFY finds clean.
// VELNOR_CRASH_TRIALS and VELNOR_POWERCUT_TRIALS set the trials of each of
// the four kinds (scripts/crash.sh runs many); records lost counts records
// not as secured after the repair.
#include <signal.h>

#include <cstring>
#include <map>
#include <random>

#include "common/engine.h"
#include "common/fork.h"
#include "maintfix.h"
#include "support/osfault.h"

namespace {

using Records = std::map<std::string, std::string>;  // ID -> NAME

// The child: operations without end on dat, each announced on fd first.
// With cutat, a power cut comes at that write: what a shared operation
// wrote is then secured only by a secure.
int churn(const std::string& dat, bool single, uint32_t seed, int fd, vntest::Signal& ready, uint32_t cutat) {
    FHCB cb{};
    if (MaintTest::openfile(cb, dat, single) != 0) return 1;
    ready.childsays();
    std::mt19937 rng(seed);
    if (cutat != 0) osfaultpowercut(cutat, seed);
    for (int gen = 0;; gen++) {
        const bool del = rng() % 4 == 0;
        const std::string id = vntest::cat("K", rng() % 10, rng() % 3);
        const std::string name = vntest::cat("N", gen, std::string(rng() % 12, 'x'));
        const std::string line = vntest::cat(del ? "D " : "W ", id, " ", name, "\n");
        if (write(fd, line.data(), line.size()) != static_cast<ssize_t>(line.size())) return 3;
        if (del) {
            // A delete takes the other keys from the caller's record: read it.
            std::snprintf(cb.work, 257, "%-10s", id.c_str());
            if (vfhsetkey(&cb, 1) != 0) return 4;
            const bool there = vfhposn(&cb, 1) == 0 && (cb.state & VN_ST_CURRENT) && vfhread(&cb, 1) == 0;
            if (there && vfhdelete(&cb) != 0) return 4;
        } else {
            std::memset(cb.recbuf + 1, ' ', cb.reclen - 2);
            vfhitemset(&cb, "ID", 0, id.c_str());
            vfhitemset(&cb, "NAME", 0, name.c_str());
            if (vfhwrite(&cb, 0) != 0) return 4;
        }
        // Shared, each operation is on the file when it returns, though
        // only a secure puts it on the disk.
        const bool secured = single || cutat != 0 ? gen % 8 == 7 && vfhsecure(&cb) == 0 : true;
        if (secured && write(fd, "S\n", 2) != 2) return 5;
    }
}

class CrashTest : public MaintTest {
protected:
    void trials(bool powercut);
};

// Trials of each kind (VELNOR_CRASH_TRIALS or VELNOR_POWERCUT_TRIALS, else
// 4) of a child killed, or cut off when powercut.
void CrashTest::trials(bool powercut) {
    const char* env = std::getenv(powercut ? "VELNOR_POWERCUT_TRIALS" : "VELNOR_CRASH_TRIALS");
    const int trials = env != nullptr ? std::atoi(env) : 4;
    const uint32_t seed = std::random_device()();
    std::mt19937 rng(seed);
    int lost = 0, repaired = 0, ops = 0;
    for (int t = 0; t < 4 * trials; t++) {
        const bool single = t % 2 == 0;
        const Kind kind = t % 4 < 2 ? FIXLEN : VARLEN;
        SCOPED_TRACE(vntest::cat("seed ", seed, " trial ", t));
        const std::string dat = build(kind);
        Records secured = records(dat);
        int fds[2];
        ASSERT_EQ(pipe(fds), 0);
        vntest::Signal ready;
        const uint32_t childseed = static_cast<uint32_t>(rng());
        const uint32_t cutat = powercut ? 1 + static_cast<uint32_t>(rng() % 800) : 0;
        pid_t pid = vntest::spawn([&] { return churn(dat, single, childseed, fds[1], ready, cutat); });
        close(fds[1]);
        ASSERT_TRUE(ready.parenthears());
        if (powercut) {
            EXPECT_EQ(vntest::waitexit(pid), OSF_POWERCUT_EXIT) << "the child ended before the cut";
        } else {
            usleep(static_cast<useconds_t>(rng() % 30000));
            kill(pid, SIGKILL);
            EXPECT_EQ(vntest::waitexit(pid), -1) << "the child ended before the kill";
        }
        std::string log;
        char buf[4096];
        for (ssize_t n; (n = read(fds[0], buf, sizeof buf)) > 0;) log.append(buf, static_cast<size_t>(n));
        close(fds[0]);
        std::multimap<std::string, std::string> since;  // ID -> values written or "" deleted since
        std::istringstream in(log);
        for (std::string op, id, name; in >> op;) {
            if (op == "S") {
                for (const auto& [k, v] : since) secured[k] = v;
                since.clear();
            } else if (in >> id >> name) {
                since.emplace(id, op == "D" ? "" : name);
                ops++;
            }
        }
        // Each record holds its secured value ("" for none) or one given it
        // since: the number that do not.
        auto check = [&](Records now) {
            int wrong = 0;
            Records ids = secured;
            ids.insert(now.begin(), now.end());
            for (const auto& [k, unused] : ids) {
                bool ok = secured[k] == now[k];
                for (auto [a, b] = since.equal_range(k); a != b; ++a) ok = ok || a->second == now[k];
                EXPECT_TRUE(ok) << k << " holds '" << now[k] << "', secured '" << secured[k] << "'";
                wrong += !ok;
            }
            return wrong;
        };
        // A kill leaves the file whole; a power cut may leave it for repair.
        if (!powercut) check(records(dat));
        repaired += repair(dat);
        EXPECT_EQ(run(VN_FM_VERIFY, dat), 0);
        lost += check(records(dat));
    }
    std::printf("%s trials %d, operations %d, records lost %d, repairs %d (seed %u)\n",
                powercut ? "power-cut" : "crash", 4 * trials, ops, lost, repaired, seed);
}

TEST_F(CrashTest, KilledProcessLosesNoSecuredRecord) { trials(false); }
TEST_F(CrashTest, PowerCutLosesNoSecuredRecord) { trials(true); }

}  // namespace
