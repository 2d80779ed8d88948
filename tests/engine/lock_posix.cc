// lock_posix.cc - locks between real processes: a record locked in one
// process refuses another's rewrite but not its read, a file lock held in
// one process makes another's write give up, and four processes appending
// to one indexed file lose nothing.
#include <cstdio>
#include <string>
#include <vector>

#include "engine/engine.h"
#include "common/fork.h"
#include "common/engine.h"

using vntest::File;
using vntest::EngineTest;
using vntest::Signal;

namespace {

// Header and n fixed records; record 1 is marked deleted.
std::string smallfile(vntest::TempDir& tmp) {
    std::string dat = tmp.path("p.dat");
    vntest::writefile(tmp.path("p.fid"), vntest::fidtext(false));
    const std::string pad = std::string(22, ' ') + "\n";
    vntest::writefile(dat, vntest::cat(" 00000003", pad, "Drecord 1", pad, " record 2", pad));
    return dat;
}

// Record i of process p: its key, then a name.
std::string rec(int p, int i) {
    char r[32];
    std::snprintf(r, sizeof r, "P%d-%06d name %d/%d", p, i, p, i);
    return r;
}

}  // namespace

TEST_F(EngineTest, RecordLockedInAnotherProcess) {
    std::string dat = smallfile(tmp);
    Signal sig;
    pid_t child = vntest::spawn([&] {
        vntest::enginestart();  // the copied list belongs to the parent
        File c(dat);
        if (c.op(VN_OP_OPEN) != 0) return 1;
        c.at(32);
        if (c.op(VN_OP_RLOCK) != 0) return 2;
        sig.childsays();
        sig.childhears();
        return 0;
    });
    ASSERT_TRUE(sig.parenthears());
    File b(dat);
    ASSERT_EQ(b.op(VN_OP_OPEN), 0) << int(b.cb.status);
    // The locked record reads as active: its status byte is not read.
    ASSERT_EQ(b.readat(32), 0) << int(b.cb.status);
    EXPECT_EQ(b.buf[0], ' ');
    EXPECT_EQ(b.rec().substr(0, 8), "record 1");
    b.at(32);
    EXPECT_EQ(b.write("rewritten"), -1);
    EXPECT_EQ(+b.cb.status, VN_C_RLOCKED);
    EXPECT_EQ(b.op(VN_OP_RLOCK), -1);
    EXPECT_EQ(+b.cb.status, VN_C_RLOCKED);
    // The other record is free.
    b.cb.datpos = 64;
    EXPECT_EQ(b.op(VN_OP_RLOCK), 0);
    sig.parentsays();
    EXPECT_EQ(vntest::waitexit(child), 0);
    // Gone with its process: the record is readable as it stands now.
    ASSERT_EQ(b.readat(32), -1);
    EXPECT_EQ(+b.cb.status, VN_C_DELETED);
    EXPECT_EQ(vntest::readfile(dat).substr(32, 9), "Drecord 1");
}

TEST_F(EngineTest, FileLockHeldInAnotherProcess) {
    std::string dat = smallfile(tmp);
    File b(dat);
    ASSERT_EQ(b.op(VN_OP_OPEN), 0) << int(b.cb.status);
    Signal sig;
    pid_t child = vntest::spawn([&] {
        vntest::enginestart();
        File c(dat);
        if (c.op(VN_OP_OPEN) != 0) return 1;
        if (dlock(&c.cb, 0) != 0) return 2;
        sig.childsays();
        sig.childhears();
        return 0;
    });
    ASSERT_TRUE(sig.parenthears());
    b.cb.flockretry = 3;
    b.cb.datpos = 96;
    EXPECT_EQ(b.write("new record"), -1);
    EXPECT_EQ(+b.cb.status, VN_C_FLOCKED);
    EXPECT_EQ(+b.cb.flocked, 0);
    File late(dat);
    EXPECT_EQ(late.op(VN_OP_OPEN), -1);  // reading the header needs the lock
    EXPECT_EQ(+late.cb.status, VN_C_FLOCKED);
    sig.parentsays();
    EXPECT_EQ(vntest::waitexit(child), 0);
    b.cb.datpos = 96;
    ASSERT_EQ(b.write("new record"), 0) << int(b.cb.status);
    EXPECT_EQ(vntest::readfile(dat).substr(0, 9), " 00000004");
}

TEST_F(EngineTest, FourProcessesAppendToOneIndexedFile) {
    constexpr int kProcs = 4;
    constexpr int kEach = 2000;
    std::string dat = makefile("shared", true);
    std::vector<pid_t> kids;
    for (int p = 0; p < kProcs; p++) {
        kids.push_back(vntest::spawn([&, p] {
            vntest::enginestart();
            File c(dat);
            c.cb.flockretry = 30000;  // wait as long as it takes
            if (c.op(VN_OP_OPEN) != 0) return 1;
            for (int i = 0; i < kEach; i++) {
                c.cb.datpos = 0;
                if (c.write(rec(p, i)) != 0) return 10 + c.cb.status % 100;
            }
            return c.op(VN_OP_CLOSE) == 0 ? 0 : 3;
        }));
    }
    for (pid_t k : kids) EXPECT_EQ(vntest::waitexit(k), 0);

    File b(dat);
    ASSERT_EQ(b.op(VN_OP_OPEN), 0) << int(b.cb.status);
    EXPECT_EQ(+b.cb.nrecs, 1u + kProcs * kEach);
    EXPECT_EQ(vntest::readfile(dat).size(), 32u * (1 + kProcs * kEach));
    for (int p = 0; p < kProcs; p++)
        for (int i = 0; i < kEach; i++) ASSERT_EQ(vntest::rtrim(b.lookup(rec(p, i).substr(0, 10))), rec(p, i));
}
