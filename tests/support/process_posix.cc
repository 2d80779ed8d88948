// process_posix.cc - byte locks contended by real processes, and the
// descriptor rules of osopen (never 0, never inherited).
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include "support/os.h"
#include "common/files.h"
#include "common/fork.h"

namespace {

using vntest::child;

class OsProcess : public vntest::TmpDirTest {};

}  // namespace

TEST_F(OsProcess, LocksAreRefusedToAnotherProcess) {
    std::string f = path("shared.dat");
    writefile("shared.dat", std::string(64, ' '));
    int32_t h = osopen(f.c_str(), 0x8042, 0);
    ASSERT_GE(h, 1);
    ASSERT_EQ(oslock(h, 5, 1), 0);
    auto probe = [&](uint32_t at) {
        return child([&] {
            int32_t mine = osopen(f.c_str(), 0x8042, 0);
            return mine < 1 ? 2 : oslock(mine, at, 1) == 0 ? 0 : 1;
        });
    };
    EXPECT_EQ(probe(5), 1);
    EXPECT_EQ(probe(6), 0);
    // The descriptor the child inherited through fork is the same handle,
    // so it shares the lock rather than contending for it.
    EXPECT_EQ(child([&] { return oslock(h, 5, 1) == 0 ? 0 : 1; }), 0);
    ASSERT_EQ(osunlock(h, 5, 1), 0);
    EXPECT_EQ(probe(5), 0);
    osclose(h);
}

TEST_F(OsProcess, ALockDiesWithItsProcess) {
    std::string f = path("die.dat");
    writefile("die.dat", "abc");
    vntest::Signal sig;
    pid_t pid = vntest::spawn([&] {
        int32_t mine = osopen(f.c_str(), 0x8002, 0);
        if (oslock(mine, 0, 1) != 0) return 1;
        sig.childsays();
        sig.childhears();
        return 0;  // exits still holding the lock
    });
    ASSERT_TRUE(sig.parenthears());
    int32_t h = osopen(f.c_str(), 0x8002, 0);
    EXPECT_EQ(oslock(h, 0, 1), -1);
    sig.parentsays();
    EXPECT_EQ(vntest::waitexit(pid), 0);
    EXPECT_EQ(oslock(h, 0, 1), 0);
    osclose(h);
}

TEST_F(OsProcess, NeverHandsOutDescriptorZero) {
    std::string f = path("z.dat");
    writefile("z.dat", "z");
    int code = child([&] {
        close(0);
        int32_t h = osopen(f.c_str(), 0x8000, 0);
        if (h < 1) return 1;
        if (fcntl(0, F_GETFD) != -1) return 2;  // the copy on 0 was closed
        char c;
        return osread(h, &c, 1) == 1 && c == 'z' ? 0 : 3;
    });
    EXPECT_EQ(code, 0);
}

TEST_F(OsProcess, HandlesAreNotInherited) {
    writefile("c.dat", "c");
    int32_t h = osopen(path("c.dat").c_str(), 0x8000, 0);
    ASSERT_GE(h, 1);
    EXPECT_NE(fcntl(h, F_GETFD) & FD_CLOEXEC, 0);
    osclose(h);
}
