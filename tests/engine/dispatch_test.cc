// dispatch_test.cc - the engine entry: counted start and stop, status 12
// before start, unknown operation codes, the message table and network
// type names.
#include <cstring>

#include "engine/engine.h"
#include "engine/handles.h"
#include "open_support.h"
#include "support/os.h"

using coretest::Block;
using coretest::EngineTest;

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

TEST(Dispatch, NullBlockIsRefused) {
    EXPECT_EQ(filehandler(nullptr), -1);
}

TEST(Dispatch, StartAndStopAreCountedAsymmetrically) {
    coretest::TempDir tmp;
    std::string dat = tmp.path("a.dat");
    coretest::writefile(tmp.path("a.fid"), coretest::fidtext(false));
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

TEST_F(EngineTest, UnknownCodesGiveE) {
    FHCB cb{};
    for (int op = 0; op < 256; op++) {
        bool known = op <= 9 || op == 11 || op == 12 || op == 13 || op == 14 || op == 15 || op == 19 ||
                     op == 20;
        if (known) continue;
        cb.status = 1;
        EXPECT_EQ(bare(op, &cb), -1) << op;
        EXPECT_EQ(+cb.status, VN_C_BADOP) << op;
    }
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

TEST(Messages, TableTexts) {
    EXPECT_STREQ(fhmessage(1), "opening data file");
    EXPECT_STREQ(fhmessage(9), ": out of memory");
    EXPECT_STREQ(fhmessage(11), "during file handle reuse");
    EXPECT_STREQ(fhmessage(12), "initializing file system");
    EXPECT_STREQ(fhmessage(19), ": data/FID file mismatch");
    EXPECT_STREQ(fhmessage(27), ": index/FID file mismatch");
    EXPECT_STREQ(fhmessage(37), ": hash/FID file mismatch");
    EXPECT_STREQ(fhmessage(42), ": thread item less than 8 bytes long");
    EXPECT_STREQ(fhmessage(44), ": bad thread expression");
    for (int empty : {15, 16, 17, 18, 29, 30, 40}) EXPECT_STREQ(fhmessage(empty), "") << empty;
    for (int none : {0, -1, 45, 99, 100, int('d'), int('e'), int('m'), 255}) EXPECT_EQ(fhmessage(none), nullptr) << none;
    int texts = 0;
    for (int s = 1; s <= 44; s++) texts += fhmessage(s)[0] != '\0';
    EXPECT_EQ(texts, 37);
}

TEST_F(EngineTest, NetworkTypeNames) {
    std::string dat = makefile("n", false);
    Block b(dat);
    ASSERT_EQ(b.op(VN_OP_OPEN), 0);
    EXPECT_EQ(+b.cb.nettype, 1);  // open sets 1
    struct {
        const char* name;
        int number;
    } cases[] = {{"single", 0}, {"DOS", 0},     {"multi", 7},   {"IBMNET", 1}, {"msnet", 1},   {"NetWare", 2},
                 {"PCMOS", 0},  {"pcmos-s", 0}, {"PCMOS-M", 3}, {"pcmos-n", 2}, {"MSS", 9}};
    for (const auto& c : cases) {
        std::strcpy(b.cb.work, c.name);
        ASSERT_EQ(b.op(VN_OP_NETTYPE), 0) << c.name;
        EXPECT_EQ(+b.cb.nettype, c.number) << c.name;
        EXPECT_EQ(iomode, c.number) << c.name;
    }
    std::strcpy(b.cb.work, "netware");
    ASSERT_EQ(b.op(VN_OP_NETTYPE), 0);
    EXPECT_STREQ(b.cb.work, "NETWARE");  // raised in place
    for (const char* bad : {"", "SINGLEX", "MS", "NETWARE ", "PCMOS-X"}) {
        std::strcpy(b.cb.work, bad);
        EXPECT_EQ(b.op(VN_OP_NETTYPE), -1) << bad;
        EXPECT_EQ(+b.cb.status, VN_C_NETNAME) << bad;
        EXPECT_EQ(+b.cb.nettype, 2) << bad;  // unchanged
    }
    std::memset(b.cb.work, 'a', 257);  // no terminator anywhere
    EXPECT_EQ(b.op(VN_OP_NETTYPE), -1);
    EXPECT_EQ(+b.cb.status, VN_C_NETNAME);
    b.setnet("SINGLE");
    iomode = 0;
}
