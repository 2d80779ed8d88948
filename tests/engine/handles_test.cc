// handles_test.cc - the open-file list where the model test does not go:
// files that cannot be reopened stay parked, or leave the list on close.
#include <cstdio>

#include "engine/engine.h"
#include "engine/handles.h"
#include "common/engine.h"

using vntest::File;
using vntest::failedwith;
using vntest::EngineTest;

namespace {

class HandlesTest : public EngineTest {
protected:
    static uint16_t mode(File& b) { return fhnode(&b.cb)->mode; }
};

}  // namespace

TEST_F(HandlesTest, ReopenFailureLeavesFileInLimbo) {
    std::string dat = makefile("r", true);
    File a(dat);
    ASSERT_EQ(a.op(VN_OP_OPEN), 0);
    ASSERT_EQ(a.write("r1"), 0);
    ASSERT_EQ(a.write("r2"), 0);
    ASSERT_EQ(vfhlimbo(&a.cb), 0);
    // With either file away the reopen fails and the file stays parked.
    const std::string moved = tmp.path("moved");
    for (const auto& [file, status] : {std::pair{dat, VN_E_DATOPEN}, {tmp.path("r.idx"), VN_E_IDXOPEN}}) {
        ASSERT_EQ(std::rename(file.c_str(), moved.c_str()), 0);
        EXPECT_EQ(failedwith(a.op(VN_OP_END), a.cb), status);
        EXPECT_EQ(mode(a), OF_LIMBO);
        EXPECT_EQ(+a.cb.datfd, 0u);
        ASSERT_EQ(std::rename(moved.c_str(), file.c_str()), 0);
    }
    EXPECT_EQ(a.lookup("r2").substr(0, 2), "r2");
}

TEST_F(HandlesTest, CloseOfAnUnreopenableFileStillLeavesTheList) {
    std::string dat = makefile("g", false);
    File a(dat);
    ASSERT_EQ(a.op(VN_OP_OPEN), 0);
    ASSERT_EQ(vfhlimbo(&a.cb), 0);
    ASSERT_EQ(std::remove(dat.c_str()), 0);
    EXPECT_EQ(failedwith(a.op(VN_OP_CLOSE), a.cb), VN_E_DATOPEN);
    EXPECT_EQ(fhnode(&a.cb), nullptr);
    EXPECT_EQ(+a.cb.items, nullptr);
}
