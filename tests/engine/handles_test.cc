// handles_test.cc - the open-file list: which file closelru parks, what
// parking writes, and transparent reopening with the positions restored.
#include <cstdio>
#include <cstring>

#include "engine/engine.h"
#include "engine/handles.h"
#include "open_support.h"

using coretest::Block;
using coretest::EngineTest;

namespace {

class HandlesTest : public EngineTest {
protected:
    // Opens a keyed file holding the records "<name>1" .. "<name>n".
    void fill(Block& b, const std::string& name, int n) {
        ASSERT_EQ(b.op(VN_OP_OPEN), 0) << int(b.cb.status);
        for (int i = 1; i <= n; i++) {
            std::string rec = name + std::to_string(i);
            ASSERT_EQ(b.write(rec.c_str()), 0) << int(b.cb.status);
        }
    }
    // Reads the record with key value key (padded to 10) exactly.
    std::string readkey(Block& b, const std::string& key) {
        std::memset(b.cb.work, 0, 257);
        std::string k = key;
        k.resize(10, ' ');
        std::memcpy(b.cb.work, k.data(), 10);
        b.cb.mflags |= VN_MF_EXACT;
        if (b.op(VN_OP_POSN) != 0 || !(b.cb.state & VN_ST_CURRENT)) return "<not found>";
        if (b.op(VN_OP_READ) != 0) return "<status " + std::to_string(b.cb.status) + ">";
        std::string r = b.record();
        return r.substr(0, r.find(' '));
    }
    static uint16_t mode(Block& b) { return fhnode(&b.cb)->mode; }
};

}  // namespace

TEST_F(HandlesTest, LeastRecentlyUsedIsParkedFirst) {
    Block a(makefile("a", true)), b(makefile("b", true)), c(makefile("c", true));
    fill(a, "a", 3);
    fill(b, "b", 3);
    fill(c, "c", 3);
    ASSERT_EQ(a.op(VN_OP_END), 0);
    ASSERT_EQ(b.op(VN_OP_END), 0);
    ASSERT_EQ(c.op(VN_OP_END), 0);
    EXPECT_EQ(fhnode(&a.cb)->age, 2);
    EXPECT_EQ(fhnode(&c.cb)->age, 0);
    ASSERT_EQ(closelru(0), 0);
    EXPECT_EQ(mode(a), OF_LIMBO);
    EXPECT_EQ(+a.cb.datfd, 0u);
    EXPECT_EQ(+a.cb.idxfd, 0u);
    EXPECT_EQ(mode(b), OF_OPEN);
    // The next use reopens it and parks nothing else.
    EXPECT_EQ(readkey(a, "a2"), "a2");
    EXPECT_EQ(mode(a), OF_OPEN);
    EXPECT_NE(+a.cb.datfd, 0u);
    EXPECT_EQ(mode(b), OF_OPEN);
    EXPECT_EQ(mode(c), OF_OPEN);
    // Now b is the oldest; on equal ages the later node goes first.
    ASSERT_EQ(closelru(0), 0);
    EXPECT_EQ(mode(b), OF_LIMBO);
    fhnode(&a.cb)->age = 7;
    fhnode(&c.cb)->age = 7;
    ASSERT_EQ(closelru(0), 0);
    EXPECT_EQ(mode(c), OF_LIMBO);
    EXPECT_EQ(mode(a), OF_OPEN);
}

TEST_F(HandlesTest, LockHoldersAndExclusiveFilesAreParkedOnlyByForce) {
    Block a(makefile("a", true)), b(makefile("b", true));
    fill(a, "a", 2);
    fill(b, "b", 2);
    a.at(32);
    ASSERT_EQ(a.op(VN_OP_RLOCK), 0);
    ASSERT_NE(+a.cb.lockpos, 0u);
    b.cb.mflags = VN_MF_EXCLUSIVE;
    ASSERT_EQ(b.op(VN_OP_END), 0);
    EXPECT_EQ(closelru(0), -1);
    EXPECT_EQ(mode(a), OF_OPEN);
    EXPECT_EQ(mode(b), OF_OPEN);
    ASSERT_EQ(closelru(1), 0);
    EXPECT_EQ(mode(a), OF_LIMBO);
    ASSERT_EQ(closelru(1), 0);
    EXPECT_EQ(mode(b), OF_LIMBO);
    EXPECT_EQ(closelru(1), -1);
    EXPECT_EQ(readkey(a, "a1"), "a1");
    EXPECT_EQ(readkey(b, "b2"), "b2");
}

TEST_F(HandlesTest, LimbAllThenEveryFileReads) {
    EXPECT_EQ(fhlimball(), -1);  // nothing open
    Block a(makefile("a", true)), b(makefile("b", true)), c(makefile("c", false));
    fill(a, "a", 5);
    fill(b, "b", 5);
    ASSERT_EQ(c.op(VN_OP_OPEN), 0);
    ASSERT_EQ(c.write("c1"), 0);
    EXPECT_EQ(fhlimball(), -1);
    for (Block* x : {&a, &b, &c}) {
        EXPECT_EQ(mode(*x), OF_LIMBO);
        EXPECT_EQ(+x->cb.datfd, 0u);
    }
    EXPECT_EQ(readkey(b, "b5"), "b5");
    EXPECT_EQ(readkey(a, "a1"), "a1");
    ASSERT_EQ(c.readat(32), 0) << int(c.cb.status);
    EXPECT_EQ(c.record().substr(0, 2), "c1");
    // Writes after a reopen land in the files as well.
    ASSERT_EQ(a.write("a6"), 0);
    EXPECT_EQ(fhlimball(), -1);
    EXPECT_EQ(readkey(a, "a6"), "a6");
    EXPECT_EQ(+a.cb.nrecs, 7u);
}

TEST_F(HandlesTest, UnsharedParkingWritesTheHeaderButVfhlimboDoesNot) {
    std::string dat = makefile("u", true);
    Block a(dat);
    ASSERT_EQ(a.op(VN_OP_OPEN), 0);
    a.setnet("SINGLE");
    ASSERT_EQ(a.write("u1"), 0);
    ASSERT_EQ(a.write("u2"), 0);
    EXPECT_EQ(coretest::readfile(dat).substr(0, 9), " 00000001");  // kept in the block
    ASSERT_EQ(vfhlimbo(&a.cb), 0);
    EXPECT_EQ(mode(a), OF_LIMBO);
    EXPECT_EQ(coretest::readfile(dat).substr(0, 9), " 00000001");
    EXPECT_TRUE(a.cb.state & VN_ST_DIRTY);
    EXPECT_EQ(vfhlimbo(&a.cb), 0);  // already parked: nothing more to do
    ASSERT_EQ(a.write("u3"), 0);
    ASSERT_EQ(closelru(0), 0);
    EXPECT_EQ(coretest::readfile(dat).substr(0, 9), " 00000004");
    EXPECT_FALSE(a.cb.state & VN_ST_DIRTY);
    EXPECT_EQ(readkey(a, "u3"), "u3");
    ASSERT_EQ(a.op(VN_OP_CLOSE), 0);
    Block again(dat);
    ASSERT_EQ(again.op(VN_OP_OPEN), 0);
    EXPECT_EQ(+again.cb.nrecs, 4u);
    EXPECT_EQ(readkey(again, "u1"), "u1");
}

TEST_F(HandlesTest, SecureCommitsAndParks) {
    std::string dat = makefile("s", true);
    Block a(dat);
    ASSERT_EQ(a.op(VN_OP_OPEN), 0);
    a.setnet("SINGLE");
    ASSERT_EQ(a.write("s1"), 0);
    ASSERT_EQ(a.op(VN_OP_SECURE), 0) << int(a.cb.status);
    EXPECT_EQ(coretest::readfile(dat).substr(0, 9), " 00000002");
    EXPECT_EQ(mode(a), OF_LIMBO);
    EXPECT_FALSE(a.cb.state & VN_ST_DIRTY);
    // A second reader sees the record through the committed index.
    Block b(dat);
    ASSERT_EQ(b.op(VN_OP_OPEN), 0);
    EXPECT_EQ(readkey(b, "s1"), "s1");
    // Nothing changed: secure does nothing, not even park.
    EXPECT_EQ(readkey(a, "s1"), "s1");
    ASSERT_EQ(a.op(VN_OP_SECURE), 0);
    EXPECT_EQ(mode(a), OF_OPEN);
}

TEST_F(HandlesTest, ClosedBlockGivesEleven) {
    Block a(makefile("z", true));
    fill(a, "z", 1);
    ASSERT_EQ(a.op(VN_OP_CLOSE), 0);
    for (int op : {VN_OP_READ, VN_OP_WRITE, VN_OP_CLOSE, VN_OP_SECURE, VN_OP_END}) {
        a.cb.state |= VN_ST_DIRTY;
        a.cb.nitems = 2;
        EXPECT_EQ(a.op(op), -1) << op;
        EXPECT_EQ(+a.cb.status, VN_E_REUSE) << op;
    }
    // A parked file closes without reopening trouble.
    Block b(makefile("y", true));
    fill(b, "y", 2);
    ASSERT_EQ(vfhlimbo(&b.cb), 0);
    ASSERT_EQ(b.op(VN_OP_CLOSE), 0);
    EXPECT_EQ(fhnode(&b.cb), nullptr);
}

TEST_F(HandlesTest, ReopenFailureLeavesFileInLimbo) {
    std::string dat = makefile("r", true);
    Block a(dat);
    fill(a, "r", 2);
    ASSERT_EQ(vfhlimbo(&a.cb), 0);
    std::string moved = tmp.path("moved.dat");
    ASSERT_EQ(std::rename(dat.c_str(), moved.c_str()), 0);
    EXPECT_EQ(a.op(VN_OP_END), -1);
    EXPECT_EQ(+a.cb.status, VN_E_DATOPEN);
    EXPECT_EQ(mode(a), OF_LIMBO);
    ASSERT_EQ(std::rename(moved.c_str(), dat.c_str()), 0);
    std::string idx = tmp.path("r.idx");
    ASSERT_EQ(std::rename(idx.c_str(), moved.c_str()), 0);
    EXPECT_EQ(a.op(VN_OP_END), -1);
    EXPECT_EQ(+a.cb.status, VN_E_IDXOPEN);
    EXPECT_EQ(+a.cb.datfd, 0u);
    ASSERT_EQ(std::rename(moved.c_str(), idx.c_str()), 0);
    EXPECT_EQ(readkey(a, "r2"), "r2");
}

TEST_F(HandlesTest, CloseOfAnUnreopenableFileStillLeavesTheList) {
    std::string dat = makefile("g", false);
    Block a(dat);
    ASSERT_EQ(a.op(VN_OP_OPEN), 0);
    ASSERT_EQ(vfhlimbo(&a.cb), 0);
    ASSERT_EQ(std::remove(dat.c_str()), 0);
    EXPECT_EQ(a.op(VN_OP_CLOSE), -1);
    EXPECT_EQ(+a.cb.status, VN_E_DATOPEN);
    EXPECT_EQ(fhnode(&a.cb), nullptr);
    EXPECT_EQ(+a.cb.items, nullptr);
}
