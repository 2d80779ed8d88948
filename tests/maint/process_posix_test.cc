// process_posix_test.cc - maintenance against other processes: a record or
// the header locked by another process under shared use, and a run cut off
// by a power cut at each write of a PACK or RECOVER.
#include <filesystem>
#include <map>

#include "common/fork.h"
#include "maintfix.h"
#include "support/os.h"
#include "support/osfault.h"

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

// The files of the test's directory, name -> bytes.
using Files = std::map<std::string, std::string>;
Files snapshot(const std::string& dir) {
    Files files;
    for (const auto& e : std::filesystem::directory_iterator(dir))
        files[e.path().filename().string()] = vntest::readfile(e.path().string());
    return files;
}
void restore(const std::string& dir, const Files& files) {
    for (const auto& [name, bytes] : snapshot(dir))
        if (!files.contains(name)) std::filesystem::remove(dir + "/" + name);
    for (const auto& [name, bytes] : files) vntest::writefile(dir + "/" + name, bytes);
}

// A power cut at every write of the run in turn: the data file and the
// index are each the old one or the new one (the new data file beside the
// old index when the cut came between the two renames, which one RECOVER
// mends), and every record is still there.
TEST_F(MaintTest, PowerCutInPackOrRecoverLeavesOldOrNewFiles) {
    for (Kind kind : {FIXLEN, VARLEN}) {
        for (int32_t op : {VN_FM_PACK, VN_FM_RECOVER}) {
            SCOPED_TRACE(vntest::cat("kind ", kind, " op ", op));
            const std::string dat = build(kind);
            const auto active = records(dat);
            ASSERT_EQ(active.size(), 8u);
            if (op == VN_FM_RECOVER) vntest::writefile(path("f.idx"), "");  // lost, to be rebuilt
            const Files old = snapshot(tmp.dir());
            ASSERT_EQ(run(op, dat), 0);
            const std::string newdat = vntest::readfile(dat), newidx = vntest::readfile(path("f.idx"));
            int cuts = 0;
            for (uint32_t n = 1;; n++) {
                restore(tmp.dir(), old);
                pid_t child = vntest::spawn([&] {
                    osfaultpowercut(n, n * 2654435761u);
                    return run(op, dat) == 0 ? 0 : 1;
                });
                const int exit = vntest::waitexit(child);
                if (exit == 0) break;
                ASSERT_EQ(exit, OSF_POWERCUT_EXIT) << "write " << n;
                cuts++;
                const std::string d = vntest::readfile(dat), i = vntest::readfile(path("f.idx"));
                EXPECT_TRUE(d == old.at("f.dat") || d == newdat) << "data file, write " << n;
                EXPECT_TRUE(i == old.at("f.idx") || i == newidx) << "index, write " << n;
                EXPECT_FALSE(d != newdat && i != old.at("f.idx")) << "new index before new data, write " << n;
                EXPECT_LE(repair(dat), 1) << "write " << n;
                EXPECT_EQ(records(dat), active) << "write " << n;
            }
            EXPECT_GT(cuts, 2);
            restore(tmp.dir(), {});
        }
    }
}

}  // namespace
