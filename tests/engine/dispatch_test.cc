// dispatch_test.cc - the engine entry: counted start and stop, status 12
// before start, unknown operation codes, the message table and network
// type names.
#include <cstring>

#include "engine/engine.h"
#include "engine/handles.h"
#include "common/engine.h"
#include "support/os.h"

using vntest::Block;
using vntest::EngineTest;

namespace {

int32_t bare(int opcode, FHCB* cb) {
    cb->opcode = static_cast<uint8_t>(opcode);
    return filehandler(cb);
}

}  // namespace

TEST(Dispatch, OperationsBeforeStartGiveTwelve) {
    ASSERT_EQ(initcount, 0);
    FHCB cb{};
    cb.status = 77;
    for (int op : {1, 2, 3, 4, 5, 9, 12, 13, 14, 19, 10, 21, 255}) {
        EXPECT_EQ(bare(op, &cb), -1) << op;
        EXPECT_EQ(+cb.status, VN_E_NOINIT) << op;
    }
    // A shutdown of an engine never started only drops the page cache.
    EXPECT_EQ(bare(VN_OP_SHUTDOWN, &cb), 0);
    EXPECT_EQ(initcount, 0);
    EXPECT_EQ(openfiles, nullptr);
    EXPECT_EQ(bare(VN_OP_CLOSE, &cb), -1);
    EXPECT_EQ(+cb.status, VN_E_NOINIT);
}

TEST(Dispatch, StartAndStopAreCountedAsymmetrically) {
    vntest::TempDir tmp;
    std::string dat = tmp.path("a.dat");
    vntest::writefile(tmp.path("a.fid"), vntest::fidtext(false));
    FHCB ctl{};
    ASSERT_EQ(bare(VN_OP_INIT, &ctl), 0);
    ASSERT_EQ(bare(VN_OP_INIT, &ctl), 0);
    EXPECT_EQ(initcount, 2);
    Block b(dat);
    ASSERT_EQ(b.op(VN_OP_CREATE), 0) << int(b.cb.status);

    ASSERT_EQ(bare(VN_OP_SHUTDOWN, &ctl), 0);
    EXPECT_EQ(initcount, 1);
    EXPECT_EQ(b.op(VN_OP_END), 0);  // still open and usable
    ASSERT_EQ(bare(VN_OP_SHUTDOWN, &ctl), 0);
    EXPECT_EQ(initcount, 0);
    EXPECT_NE(fhnode(&b.cb), nullptr);  // the count reached 0, nothing closed yet
    EXPECT_EQ(b.op(VN_OP_END), -1);
    EXPECT_EQ(+b.cb.status, VN_E_NOINIT);

    // Only a stop at count 0 closes every file and drops the list.
    ASSERT_EQ(bare(VN_OP_SHUTDOWN, &ctl), 0);
    EXPECT_EQ(openfiles, nullptr);
    EXPECT_EQ(+b.cb.datfd, 0u);
    EXPECT_EQ(+b.cb.items, nullptr);

    ASSERT_EQ(bare(VN_OP_INIT, &ctl), 0);
    EXPECT_EQ(b.op(VN_OP_READ), -1);
    EXPECT_EQ(+b.cb.status, VN_E_REUSE);  // no longer in the list
    ASSERT_EQ(bare(VN_OP_SHUTDOWN, &ctl), 0);
    ASSERT_EQ(bare(VN_OP_SHUTDOWN, &ctl), 0);
}

TEST_F(EngineTest, UnopenedBlockGivesEleven) {
    FHCB cb{};
    for (int op : {VN_OP_CLOSE, VN_OP_READ, VN_OP_WRITE, VN_OP_END, VN_OP_RLOCK, VN_OP_RUNLOCK}) {
        EXPECT_EQ(bare(op, &cb), -1) << op;
        EXPECT_EQ(+cb.status, VN_E_REUSE) << op;
    }
    EXPECT_EQ(vfhlimbo(&cb), -1);
    EXPECT_EQ(+cb.status, VN_E_REUSE);
}
