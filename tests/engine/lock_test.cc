// lock_test.cc - record and file locks between two command blocks of one
// process: each block has its own handle, so their locks contend as those
// of two processes do; network types without locks and the exclusive mode
// take none.
#include <cstdio>
#include <cstring>

#include "engine/engine.h"
#include "engine/lock.h"
#include "open_support.h"

using coretest::Block;
using coretest::EngineTest;

namespace {

// Data file of n fixed records "record k" (30 bytes each) after the header.
std::string unkeyedfile(coretest::TempDir& tmp, const std::string& name, int n) {
    std::string dat = tmp.path(name + ".dat");
    coretest::writefile(tmp.path(name + ".fid"), coretest::fidtext(false));
    char head[16];
    std::snprintf(head, sizeof head, " %08X", n + 1);
    std::string file = head + std::string(22, ' ') + "\n";
    for (int k = 1; k <= n; k++) {
        std::string body = "record " + std::to_string(k);
        body.resize(30, ' ');
        file += " " + body + "\n";
    }
    coretest::writefile(dat, file);
    return dat;
}

class LockTest : public EngineTest {
protected:
    void SetUp() override {
        EngineTest::SetUp();
        dat = unkeyedfile(tmp, "l", 4);
    }
    // Opens b and makes record k (1-based) current.
    void openat(Block& b, int k) {
        ASSERT_EQ(b.op(VN_OP_OPEN), 0) << int(b.cb.status);
        b.at(32 * k);
    }
    std::string dat;
};

}  // namespace

TEST_F(LockTest, RecordLockRefusesOtherHandles) {
    Block a(dat), b(dat);
    openat(a, 1);
    openat(b, 1);
    ASSERT_EQ(a.op(VN_OP_RLOCK), 0);
    EXPECT_EQ(+a.cb.lockpos, 32u);
    EXPECT_EQ(b.op(VN_OP_RLOCK), -1);
    EXPECT_EQ(+b.cb.status, VN_C_RLOCKED);
    EXPECT_EQ(+b.cb.lockpos, 0u);
    EXPECT_EQ(recprobe(&b.cb), 1);
    EXPECT_EQ(recprobe(&a.cb), 0);  // its own lock does not count
    // The other block still reads the record, as active.
    ASSERT_EQ(b.readat(32), 0) << int(b.cb.status);
    EXPECT_EQ(b.buf[0], ' ');
    EXPECT_EQ(b.record().substr(0, 8), "record 1");
    // Its rewrite is refused; the holder's own rewrite goes through.
    b.at(32);
    EXPECT_EQ(b.write("changed by b"), -1);
    EXPECT_EQ(+b.cb.status, VN_C_RLOCKED);
    a.at(32);
    ASSERT_EQ(a.write("changed by a"), 0) << int(a.cb.status);

    ASSERT_EQ(a.op(VN_OP_RUNLOCK), 0);
    EXPECT_EQ(+a.cb.lockpos, 0u);
    b.at(32);
    ASSERT_EQ(b.op(VN_OP_RLOCK), 0);
    EXPECT_EQ(+b.cb.lockpos, 32u);
}

TEST_F(LockTest, LockingAnotherRecordReleasesTheFirst) {
    Block a(dat), b(dat);
    openat(a, 1);
    openat(b, 1);
    ASSERT_EQ(a.op(VN_OP_RLOCK), 0);
    a.cb.datpos = 64;
    ASSERT_EQ(a.op(VN_OP_RLOCK), 0);
    EXPECT_EQ(+a.cb.lockpos, 64u);
    b.cb.datpos = 32;
    EXPECT_EQ(b.op(VN_OP_RLOCK), 0);  // A's first record is free again
    b.cb.datpos = 64;
    EXPECT_EQ(b.op(VN_OP_RLOCK), -1);
    EXPECT_EQ(+b.cb.status, VN_C_RLOCKED);
    EXPECT_EQ(+b.cb.lockpos, 0u);  // its earlier lock went first
    // Closing releases a held record lock.
    ASSERT_EQ(a.op(VN_OP_CLOSE), 0);
    b.cb.datpos = 64;
    EXPECT_EQ(b.op(VN_OP_RLOCK), 0);
}

TEST_F(LockTest, FileLockRefusedElsewhere) {
    Block a(dat), b(dat);
    openat(a, 1);
    openat(b, 1);
    ASSERT_EQ(filelock(&a.cb, 1), 0);
    EXPECT_EQ(+a.cb.flocked, 1);
    EXPECT_EQ(filelock(&b.cb, 0), -1);  // 0 attempts count as 1
    EXPECT_EQ(+b.cb.status, VN_C_FLOCKED);
    EXPECT_EQ(+b.cb.flocked, 0);
    b.cb.status = 0;
    b.cb.flockretry = 3;
    b.cb.datpos = 32 * 5;  // a new record at the end
    EXPECT_EQ(b.write("new"), -1);
    EXPECT_EQ(+b.cb.status, VN_C_FLOCKED);
    // The dispatcher releases a file lock an operation leaves held.
    a.cb.flocked = 1;
    ASSERT_EQ(a.op(VN_OP_END), 0);
    EXPECT_EQ(+a.cb.flocked, 0);
    ASSERT_EQ(filelock(&b.cb, 1), 0);
    fileunlock(&b.cb);
}

TEST_F(LockTest, NoLocksWithoutNetworkLocking) {
    Block a(dat), b(dat), c(dat);
    openat(a, 1);
    openat(b, 1);
    openat(c, 1);
    a.setnet("SINGLE");
    ASSERT_EQ(a.op(VN_OP_RLOCK), 0);
    EXPECT_EQ(+a.cb.lockpos, 0u);
    // Network type 3 is shared and remembers the record, but the OS byte
    // stays free.
    b.setnet("PCMOS-M");
    ASSERT_EQ(b.op(VN_OP_RLOCK), 0);
    EXPECT_EQ(+b.cb.lockpos, 32u);
    // Exclusive and read-only blocks take no locks either.
    c.cb.mflags = VN_MF_EXCLUSIVE;
    ASSERT_EQ(c.op(VN_OP_RLOCK), 0);
    EXPECT_EQ(+c.cb.lockpos, 0u);
    c.cb.mflags = VN_MF_READONLY;
    ASSERT_EQ(filelock(&c.cb, 1), 0);
    EXPECT_EQ(+c.cb.flocked, 0);
    c.cb.mflags = 0;
    ASSERT_EQ(c.op(VN_OP_RLOCK), 0);
    EXPECT_EQ(+c.cb.lockpos, 32u);
    // Without a current record nothing is locked.
    Block d(dat);
    openat(d, 1);
    d.cb.state = 0;
    ASSERT_EQ(d.op(VN_OP_RLOCK), 0);
    EXPECT_EQ(+d.cb.lockpos, 0u);
    d.cb.datpos = 0;
    d.cb.state = VN_ST_CURRENT;
    ASSERT_EQ(d.op(VN_OP_RLOCK), 0);
    EXPECT_EQ(+d.cb.lockpos, 0u);
}

TEST_F(LockTest, ExportedByteLocks) {
    Block a(dat), b(dat);
    openat(a, 1);
    openat(b, 1);
    EXPECT_EQ(dlock(&a.cb, 100), 0);
    EXPECT_EQ(dlock(&b.cb, 100), -1);
    EXPECT_EQ(dlock(&b.cb, 101), 0);
    EXPECT_EQ(udlock(&a.cb, 100), 0);
    EXPECT_EQ(dlock(&b.cb, 100), 0);
    a.setnet("MULTI");  // type 7: locks always succeed, nothing is taken
    EXPECT_EQ(dlock(&a.cb, 100), 0);
    EXPECT_EQ(udlock(&a.cb, 100), 0);
    EXPECT_EQ(udlock(&b.cb, 100), 0);
    EXPECT_EQ(udlock(&b.cb, 101), 0);
}
