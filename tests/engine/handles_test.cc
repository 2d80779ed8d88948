// handles_test.cc - the open-file list: which file closelru parks, what
// parking writes, and transparent reopening with the positions restored.
#include <cstdio>
#include <cstring>

#include "engine/engine.h"
#include "engine/handles.h"
#include "common/engine.h"

using vntest::Block;
using vntest::EngineTest;

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
        if (b.op(VN_OP_READ) != 0) return vntest::numbered("<status ", b.cb.status) + ">";
        std::string r = b.record();
        return r.substr(0, r.find(' '));
    }
    static uint16_t mode(Block& b) { return fhnode(&b.cb)->mode; }
};

}  // namespace

TEST_F(HandlesTest, UnsharedParkingWritesTheHeaderButVfhlimboDoesNot) {
    std::string dat = makefile("u", true);
    Block a(dat);
    ASSERT_EQ(a.op(VN_OP_OPEN), 0);
    a.setnet("SINGLE");
    ASSERT_EQ(a.write("u1"), 0);
    ASSERT_EQ(a.write("u2"), 0);
    EXPECT_EQ(vntest::readfile(dat).substr(0, 9), " 00000001");  // kept in the block
    ASSERT_EQ(vfhlimbo(&a.cb), 0);
    EXPECT_EQ(mode(a), OF_LIMBO);
    EXPECT_EQ(vntest::readfile(dat).substr(0, 9), " 00000001");
    EXPECT_TRUE(a.cb.state & VN_ST_DIRTY);
    EXPECT_EQ(vfhlimbo(&a.cb), 0);  // already parked: nothing more to do
    ASSERT_EQ(a.write("u3"), 0);
    ASSERT_EQ(closelru(0), 0);
    EXPECT_EQ(vntest::readfile(dat).substr(0, 9), " 00000004");
    EXPECT_FALSE(a.cb.state & VN_ST_DIRTY);
    EXPECT_EQ(readkey(a, "u3"), "u3");
    ASSERT_EQ(a.op(VN_OP_CLOSE), 0);
    Block again(dat);
    ASSERT_EQ(again.op(VN_OP_OPEN), 0);
    EXPECT_EQ(+again.cb.nrecs, 4u);
    EXPECT_EQ(readkey(again, "u1"), "u1");
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
