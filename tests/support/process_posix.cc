// process_posix.cc - byte locks contended by real processes, and the
// descriptor rules of osopen (never 0, never inherited).
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/os.h"
#include "tmpdir.h"

namespace {

class OsProcess : public TmpDirTest {
protected:
    // Runs body in a child process; its result is the child's exit code.
    template <typename F>
    int child(F body) {
        pid_t pid = fork();
        if (pid == 0) _exit(body());
        int status = 0;
        waitpid(pid, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 255;
    }
};

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
    int ready[2], go[2];
    ASSERT_EQ(pipe(ready), 0);
    ASSERT_EQ(pipe(go), 0);
    pid_t pid = fork();
    if (pid == 0) {
        int32_t mine = osopen(f.c_str(), 0x8002, 0);
        char c = oslock(mine, 0, 1) == 0 ? 'y' : 'n';
        if (write(ready[1], &c, 1) != 1) _exit(3);
        if (read(go[0], &c, 1) != 1) _exit(3);
        _exit(0);  // exits still holding the lock
    }
    char c = 0;
    ASSERT_EQ(read(ready[0], &c, 1), 1);
    ASSERT_EQ(c, 'y');
    int32_t h = osopen(f.c_str(), 0x8002, 0);
    EXPECT_EQ(oslock(h, 0, 1), -1);
    ASSERT_EQ(write(go[1], "g", 1), 1);
    int status;
    waitpid(pid, &status, 0);
    EXPECT_EQ(oslock(h, 0, 1), 0);
    osclose(h);
    for (int fd : {ready[0], ready[1], go[0], go[1]}) close(fd);
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

TEST_F(OsProcess, ExclusiveOpenIsNotEnforcedHere) {
    std::string f = path("x.dat");
    int32_t a = osopen(f.c_str(), 0x8312, 511);
    ASSERT_GE(a, 1);
    EXPECT_EQ(child([&] { return osopen(f.c_str(), 0x8002, 0) >= 1 ? 0 : 1; }), 0);
    osclose(a);
}
