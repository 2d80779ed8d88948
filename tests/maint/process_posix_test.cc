// process_posix_test.cc - maintenance against other processes: a record or
// the header locked by another process under shared use, and a process
// that dies between putting the new data file and the new index in place.
#include <unistd.h>

#include "common/fork.h"
#include "maintfix.h"
#include "support/os.h"
#include "support/runtime.h"

namespace {

TEST_F(MaintTest, SharedVerifyWaitsOnLocksOfAnotherProcess) {
    std::string dat = build(FIXLEN);
    // A record or the header locked; only a shared run heeds the lock.
    const struct {
        uint32_t lockpos, flags;
        int32_t result;
    } cases[] = {{128, VN_FM_SHARED, 0}, {0, VN_FM_SHARED, VN_E_DATREAD}, {0, 0, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.lockpos);
        vntest::Signal sig;
        pid_t child = vntest::spawn([&] {
            FHCB cb{};
            cb.nettype = 1;
            cb.datfd = static_cast<uint32_t>(osopen(dat.c_str(), VN_O_RDWR | VN_O_BINARY, 0));
            if (dlock(&cb, c.lockpos) != 0) return 1;
            sig.childsays();
            sig.childhears();
            return 0;
        });
        ASSERT_TRUE(sig.parenthears());
        EXPECT_EQ(run(VN_FM_VERIFY, dat, c.flags), c.result);
        EXPECT_EQ(report().back(), c.result == 0 ? "  Successful." : "  Error reading data file.");
        sig.parentsays();
        EXPECT_EQ(vntest::waitexit(child), 0);
    }
}

TEST_F(MaintTest, CrashBetweenReplacementsLosesNoFile) {
    std::string dat = build(FIXLEN);
    patch(dat, 1, "0000000C");
    const std::string oldidx = vntest::readfile(path("f.idx"));
    pid_t child = vntest::spawn([&] {
        runtime().support.replaced = [](const char*) { _exit(7); };
        return run(VN_FM_PACK, dat) == 0 ? 0 : 1;
    });
    ASSERT_EQ(vntest::waitexit(child), 7);
    // The new data file is in place, the old index still beside it.
    EXPECT_EQ(vntest::readfile(dat).substr(0, 9), " 00000009");
    EXPECT_EQ(vntest::readfile(dat).size(), 9u * 32u);
    EXPECT_EQ(vntest::readfile(path("f.idx")), oldidx);
    EXPECT_EQ(count(".ziq"), 1);
    EXPECT_EQ(run(VN_FM_RECOVER, dat), 0);
    EXPECT_EQ(run(VN_FM_VERIFY, dat), 0);
    EXPECT_EQ(records(dat).size(), 8u);
}

}  // namespace
