// hash_posix_test.cc - a hashed file shared with another process: a record
// the other process holds locked reads as active from its second byte on,
// and a held file lock makes a look-up fail with 'l'.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "hash_support.h"
#include "support/os.h"

using namespace fidtest;

namespace {

// A child process that locks one byte of a file until told to go.
class Locker {
   public:
    Locker(const std::string& path, uint32_t pos) {
        int up[2], down[2];
        EXPECT_EQ(pipe(up), 0);
        EXPECT_EQ(pipe(down), 0);
        pid_ = fork();
        if (pid_ == 0) {
            int32_t fd = osopen(path.c_str(), VN_O_RDWR | VN_O_BINARY, 0);
            char c = (fd > 0 && oslock(fd, pos, 1) == 0) ? 'y' : 'n';
            if (write(up[1], &c, 1) != 1) _exit(2);
            if (read(down[0], &c, 1) != 1) _exit(3);
            _exit(0);
        }
        close(up[1]);
        close(down[0]);
        go_ = down[1];
        char c = 0;
        EXPECT_EQ(read(up[0], &c, 1), 1);
        close(up[0]);
        locked = c == 'y';
    }
    ~Locker() {
        char c = 'x';
        EXPECT_EQ(write(go_, &c, 1), 1);
        close(go_);
        int st = 0;
        waitpid(pid_, &st, 0);
    }
    bool locked = false;

   private:
    pid_t pid_;
    int go_;
};

TEST(HashShared, RecordLockedElsewhereReadsAsActive) {
    TempDir dir;
    HashFile h(dir, 100);
    h.cb().nettype = 1;
    h.cb().flockretry = 1;
    ASSERT_EQ(h.write("K1", "kept"), 0) << int(+h.cb().status);
    uint32_t pos = static_cast<uint32_t>(h.cb().datpos);
    ASSERT_EQ(h.remove("K1"), 0);
    EXPECT_EQ(h.find("K1"), 0);
    {
        Locker other(h.datname, pos);
        ASSERT_TRUE(other.locked);
        EXPECT_EQ(h.find("K1"), 1);  // the status byte is not read
        EXPECT_EQ(h.cb().recbuf[0], ' ');
        EXPECT_EQ(h.rest(), "kept        ");
    }
    EXPECT_EQ(h.find("K1"), 0);
    EXPECT_EQ(h.cb().recbuf[0], 'D');
}

TEST(HashShared, FileLockHeldElsewhereGivesL) {
    TempDir dir;
    HashFile h(dir, 100);
    h.cb().nettype = 1;
    h.cb().flockretry = 2;
    ASSERT_EQ(h.write("K1", "a"), 0);
    {
        Locker other(h.datname, 0);
        ASSERT_TRUE(other.locked);
        EXPECT_EQ(h.find("K1"), -1);
        EXPECT_EQ(+h.cb().status, VN_C_FLOCKED);
        EXPECT_EQ(h.write("K2", "b"), -1);
        EXPECT_EQ(+h.cb().status, VN_C_FLOCKED);
    }
    EXPECT_EQ(h.find("K1"), 1);
    EXPECT_EQ(h.write("K2", "b"), 0);
    // A shared write puts the new count in the header at once.
    EXPECT_EQ(readfile(h.datname).substr(0, 9), " 00000003");
}

}  // namespace
