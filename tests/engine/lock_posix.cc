// lock_posix.cc - locks between real processes: a record locked in one
// process refuses another's rewrite but not its read, a file lock held in
// one process makes another's write give up, four processes mixing
// writes, rewrites, deletes and reads leave what a replay gives, walks in
// key order beside a writer stay in order, and searches outlast an index
// file that another process cuts short.
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "engine/engine.h"
#include "common/fork.h"
#include "common/engine.h"

using vntest::File;
using vntest::EngineTest;
using vntest::Signal;
using vntest::failedwith;

namespace {

// Header and n fixed records; record 1 is marked deleted.
std::string smallfile(vntest::TempDir& tmp) {
    std::string dat = tmp.path("p.dat");
    vntest::writefile(tmp.path("p.fid"), vntest::fidtext(false));
    const std::string pad = std::string(22, ' ') + "\n";
    vntest::writefile(dat, vntest::cat(" 00000003", pad, "Drecord 1", pad, " record 2", pad));
    return dat;
}

// A child that opens dat, takes a lock by take, says so to the parent and
// holds it until the parent speaks.
pid_t holder(const std::string& dat, Signal& sig, const std::function<int32_t(File&)>& take) {
    return vntest::spawn([&] {
        vntest::enginestart();  // the copied list belongs to the parent
        File c(dat);
        if (c.op(VN_OP_OPEN) != 0 || take(c) != 0) return 1;
        sig.childsays();
        sig.childhears();
        return 0;
    });
}

}  // namespace

TEST_F(EngineTest, RecordLockedInAnotherProcess) {
    std::string dat = smallfile(tmp);
    Signal sig;
    pid_t child = holder(dat, sig, [](File& c) {
        c.at(32);
        return c.op(VN_OP_RLOCK);
    });
    ASSERT_TRUE(sig.parenthears());
    File b(dat);
    ASSERT_EQ(b.op(VN_OP_OPEN), 0) << int(b.cb.status);
    // The locked record reads as active: its status byte is not read.
    ASSERT_EQ(b.readat(32), 0) << int(b.cb.status);
    EXPECT_EQ(b.buf[0], ' ');
    EXPECT_EQ(b.rec().substr(0, 8), "record 1");
    b.at(32);
    EXPECT_EQ(failedwith(b.write("rewritten"), b.cb), VN_C_RLOCKED);
    EXPECT_EQ(failedwith(b.op(VN_OP_RLOCK), b.cb), VN_C_RLOCKED);
    // The other record is free.
    b.cb.datpos = 64;
    EXPECT_EQ(b.op(VN_OP_RLOCK), 0);
    sig.parentsays();
    EXPECT_EQ(vntest::waitexit(child), 0);
    // Gone with its process: the record is readable as it stands now.
    EXPECT_EQ(failedwith(b.readat(32), b.cb), VN_C_DELETED);
    EXPECT_EQ(vntest::readfile(dat).substr(32, 9), "Drecord 1");
}

TEST_F(EngineTest, FileLockHeldInAnotherProcess) {
    std::string dat = smallfile(tmp);
    File b(dat);
    ASSERT_EQ(b.op(VN_OP_OPEN), 0) << int(b.cb.status);
    Signal sig;
    pid_t child = holder(dat, sig, [](File& c) { return dlock(&c.cb, 0); });
    ASSERT_TRUE(sig.parenthears());
    b.cb.flockretry = 3;
    b.cb.datpos = 96;
    EXPECT_EQ(failedwith(b.write("new record"), b.cb), VN_C_FLOCKED);
    EXPECT_EQ(+b.cb.flocked, 0);
    File late(dat);
    EXPECT_EQ(failedwith(late.op(VN_OP_OPEN), late.cb), VN_C_FLOCKED);  // reading the header needs the lock
    sig.parentsays();
    EXPECT_EQ(vntest::waitexit(child), 0);
    b.cb.datpos = 96;
    ASSERT_EQ(b.write("new record"), 0) << int(b.cb.status);
    EXPECT_EQ(vntest::readfile(dat).substr(0, 9), " 00000004");
}

// The operations process p makes, the same in the process and in the
// replay: writes (new or rewrites) and deletes of its own ids, and keyed
// reads of any process's.
struct Step {
    char what;  // 'w' write, 'd' delete, 'r' read
    std::string id, name;
};
std::vector<Step> steps(int p, int n) {
    std::mt19937 rng(static_cast<uint32_t>(p + 1));
    std::vector<Step> out;
    for (int i = 0; i < n; i++) {
        const int kind = static_cast<int>(rng() % 10);
        const int owner = kind < 2 ? static_cast<int>(rng() % 4) : p;
        out.push_back({kind < 2 ? 'r' : kind < 4 ? 'd' : 'w', vntest::cat("P", owner, "-", rng() % 40),
                       vntest::cat("n", p, "-", i, std::string(rng() % 9, 'x'))});
    }
    return out;
}

// Four processes mix their steps on one shared file; a rewrite or a delete
// holds the record's lock.  The file then holds what a replay of the steps gives,
// and each index one entry per active record.
TEST_F(EngineTest, FourProcessesMixingOperationsMatchAReplay) {
    const char* env = std::getenv("VELNOR_SOAK_OPS");
    const int kProcs = 4, kEach = env != nullptr ? std::atoi(env) : 1500;
    const std::string dat = define("soak", vntest::people());
    File(dat).create();
    std::vector<pid_t> kids;
    for (int p = 0; p < kProcs; p++) {
        kids.push_back(vntest::spawn([&, p] {
            vntest::enginestart();
            File c(dat);
            c.cb.flockretry = 30000;  // wait as long as it takes
            if (c.open() != 0) return 1;
            c.cb.flockretry = c.cb.rlockretry = 30000;
            c.cb.mflags |= VN_MF_STAY;  // a read stays on the record it locks
            for (const Step& s : steps(p, kEach)) {
                std::string found = c.lookup(s.id);
                // Another process may delete its record between the position and the read.
                if (s.what == 'r' && found == vntest::cat("<read ", +VN_C_DELETED, ">")) found.clear();
                if (found.rfind("<", 0) == 0) return 2;
                if (!found.empty() && vntest::rtrim(found.substr(0, 10)) != s.id) return 3;
                if (s.what == 'r') continue;
                // A change of a record holds its lock: a reader's probe of
                // that lock would otherwise refuse it.
                const bool lock = !found.empty();
                if (lock && c.op(VN_OP_RLOCK) != 0) return 5;
                if (s.what == 'd' && lock && c.op(VN_OP_DELETE) != 0) return 4;
                if (s.what == 'w' && c.add(s.id, s.name) != 0) return 100 + c.cb.status % 100;
                if (lock && c.op(VN_OP_RUNLOCK) != 0) return 7;
            }
            return c.close() == 0 ? 0 : 8;
        }));
    }
    for (pid_t k : kids) EXPECT_EQ(vntest::waitexit(k), 0);
    std::map<std::string, std::string> replay;
    for (int p = 0; p < kProcs; p++)
        for (const Step& s : steps(p, kEach)) {
            if (s.what == 'w') replay[s.id] = s.name;
            if (s.what == 'd') replay.erase(s.id);
        }
    File b(dat);
    ASSERT_EQ(b.open(), 0);
    ASSERT_EQ(b.setkey(0), 0);
    ASSERT_EQ(b.posnrec(0), 0);
    std::map<std::string, std::string> found;
    while (b.read() == 0 || b.cb.status == VN_C_DELETED)  // deleted copies outnumber the rest
        if (b.cb.status == 0) found[vntest::rtrim(b.rec().substr(0, 10))] = vntest::rtrim(b.rec().substr(10));
    EXPECT_EQ(+b.cb.status, VN_C_NOREC);
    EXPECT_EQ(found, replay);
    for (int key : {1, 2}) {
        ASSERT_EQ(b.setkey(key), 0);
        ASSERT_EQ(b.posn(""), 0);
        EXPECT_EQ(vntest::scan(b).size(), replay.size()) << "entries of key " << key;
    }
}

// Another process cuts the index file short and puts it back, over and
// over, while this one searches it in shared use: each search finds its
// record or fails with a status, and none faults.
TEST_F(EngineTest, SearchesSurviveAnIndexCutShortUnderThem) {
    const std::string dat = define("cut", vntest::people()), idx = tmp.path("cut.idx");
    auto id = [](int i) { return vntest::cat("C", 10000 + i, "    "); };
    {
        File f(dat);
        ASSERT_EQ(f.create(), 0);
        for (int i = 0; i < 3000; i++) ASSERT_EQ(f.add(id(i), "kept"), 0);
        ASSERT_EQ(f.close(), 0);
    }
    const std::string whole = vntest::readfile(idx);
    File r(dat);
    ASSERT_EQ(r.open(), 0);
    r.cb.mflags |= VN_MF_STAY;
    pid_t cutter = vntest::spawn([&] {
        for (int round = 0; round < 300; round++) {
            if (truncate(idx.c_str(), static_cast<off_t>(whole.size() / 3)) != 0) return 1;
            vntest::writefile(idx, whole);
        }
        return 0;
    });
    int failed = 0;
    for (int n = 0; n < 20000; n++) failed += r.lookup(id(n % 3000)).substr(0, 10) != id(n % 3000);
    EXPECT_EQ(vntest::waitexit(cutter), 0);
    EXPECT_EQ(r.lookup(id(1234)).substr(0, 10), id(1234)) << "after " << failed << " failed searches";
}

// A walk in key order on a shared file beside a process adding and
// deleting: it reads every record it meets, each with a key above the
// last one's.
TEST_F(EngineTest, SharedWalksBesideAWriterStayInKeyOrder) {
    const std::string dat = define("walk", vntest::people());
    File(dat).create();
    const pid_t writer = vntest::spawn([&] {
        vntest::enginestart();
        File w(dat);
        w.cb.flockretry = 30000;  // open reads the header under the lock
        if (w.open() != 0) return 1;
        for (int i = 0; i < 3000; i++) {
            w.cb.state &= ~VN_ST_CURRENT;  // a new record, not a rewrite of the deleted one
            if (w.add(vntest::cat("K", i * 7919 % 3000), "new") != 0) return 2;
            if (i >= 40 && w.lookup(vntest::cat("K", (i - 40) * 7919 % 3000)).empty()) return 3;
            if (i >= 40 && w.op(VN_OP_DELETE) != 0) return 4;
        }
        return w.close();
    });
    File r(dat);
    r.cb.flockretry = 30000;
    ASSERT_EQ(r.open(), 0);
    ASSERT_EQ(r.setkey(1), 0);  // by ID
    for (int walk = 0; walk < 300; walk++) {
        ASSERT_EQ(r.posnrec(0), 0);
        std::string last;
        while (r.read() == 0 || r.cb.status == VN_C_DELETED) {
            const std::string key = r.rec().substr(0, 10);
            ASSERT_GT(key, last) << "walk " << walk;
            last = key;
        }
        ASSERT_EQ(+r.cb.status, VN_C_NOREC) << "walk " << walk;
    }
    EXPECT_EQ(vntest::waitexit(writer), 0);
}
