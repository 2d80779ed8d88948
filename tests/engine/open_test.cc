// open_test.cc - create and open of record files: refusal of a damaged
// file with the right status, and the settings a real shutdown keeps.
#include "engine/engine.h"
#include "engine/handles.h"
#include "index/pagecache.h"
#include "common/engine.h"

using vntest::File;
using vntest::failedwith;
using vntest::EngineTest;
using vntest::writefile;

namespace {

// An open that must fail: status, nothing entered, definition dropped.
void expectrefused(File& b, int opcode, int status) {
    EXPECT_EQ(failedwith(b.op(opcode), b.cb), status);
    EXPECT_TRUE(fhnode(&b.cb) == nullptr && b.cb.items == nullptr && b.cb.datfd == 0 && b.cb.idxfd == 0);
}

}  // namespace

// The real shutdown frees what a run of the engine built, and nothing a
// caller set: the date form and the page-cache size asked for outlive it.
TEST_F(EngineTest, SettingsOutliveTheRealShutdown) {
    set_dateform(2);
    pgsetcapacity(300);
    vntest::enginestop();
    EXPECT_EQ(idxstate().cache.slots, nullptr);
    EXPECT_EQ(enginestate().openfiles, nullptr);
    ASSERT_TRUE(vntest::enginestart());
    EXPECT_EQ(idxstate().cache.capacity, 300);
    EXPECT_EQ(set_dateform(0), 2);
}

TEST_F(EngineTest, DamagedHeaderCount) {
    std::string dat = makefile("c", false);
    const char* bad[] = {" 0000000g", " 0000001a", " 0000 001", " FFFFFFFF", " 8000000"};
    for (const char* head : bad) {
        vntest::patch(dat, 0, head);
        File b(dat);
        expectrefused(b, VN_OP_OPEN, VN_E_DATREAD);
    }
    for (size_t len : {0u, 5u, 20u}) {
        writefile(dat, std::string(" 00000001" + std::string(22, ' ') + "\n").substr(0, len));
        File b(dat);
        expectrefused(b, VN_OP_OPEN, len < 9 ? VN_E_DATREAD : VN_E_DATFID);
    }
}
