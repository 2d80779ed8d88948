// handles_posix.cc - the open-file list under a real handle shortage: a
// child process lowers its handle limit and then keeps more files open than
// it has handles, using each in turn.
#include <sys/resource.h>
#include <unistd.h>

#include <memory>
#include <vector>

#include "engine/engine.h"
#include "engine/handles.h"
#include "common/fork.h"
#include "common/engine.h"

using vntest::File;
using vntest::EngineTest;

namespace {

constexpr int kFiles = 12;
constexpr int kSpare = 7;  // handles left for the engine: fewer than a third of the files

// Lowers the handle limit to the handles in use plus spare.
bool limithandles(int spare) {
    const int next = dup(0);
    if (next < 0) return false;
    close(next);
    const rlimit lim{static_cast<rlim_t>(next + spare), static_cast<rlim_t>(next + spare)};
    return setrlimit(RLIMIT_NOFILE, &lim) == 0;
}

bool readkey(File& b, const std::string& key) { return b.lookup(key).compare(0, key.size(), key) == 0; }
std::string keyof(int file, int round) { return vntest::cat("f", file, "r", round); }

}  // namespace

TEST_F(EngineTest, MoreFilesThanHandles) {
    std::vector<std::string> names;
    for (int f = 0; f < kFiles; f++) names.push_back(makefile(vntest::numbered("h", f), true));
    pid_t child = vntest::spawn([&] {
        if (!limithandles(kSpare)) return 1;
        std::vector<std::unique_ptr<File>> blocks;
        for (int f = 0; f < kFiles; f++) {
            blocks.push_back(std::make_unique<File>(names[f]));
            if (blocks.back()->op(VN_OP_OPEN) != 0) return 10 + blocks.back()->cb.status % 100;
        }
        // Round robin: each use of a file reopens it and parks another.
        for (int round = 0; round < 4; round++) {
            for (int f = 0; f < kFiles; f++) {
                if (blocks[f]->write(keyof(f, round)) != 0) return 120;
                if (!readkey(*blocks[f], keyof(f, round))) return 121;
            }
        }
        int parked = 0;
        for (auto& b : blocks) parked += fhnode(&b->cb)->mode == OF_LIMBO;
        if (parked < kFiles - kSpare / 2) return 122;
        if (fhlimball() != -1) return 123;
        for (int f = kFiles - 1; f >= 0; f--)
            for (int round = 0; round < 4; round++) if (!readkey(*blocks[f], keyof(f, round))) return 124;
        for (auto& b : blocks) if (b->op(VN_OP_CLOSE) != 0) return 125;
        return 0;
    });
    EXPECT_EQ(vntest::waitexit(child), 0);
    // The files hold everything the child wrote.
    for (int f = 0; f < kFiles; f++) {
        File b(names[f]);
        ASSERT_EQ(b.op(VN_OP_OPEN), 0);
        EXPECT_EQ(+b.cb.nrecs, 5u);
        for (int round = 0; round < 4; round++) EXPECT_TRUE(readkey(b, keyof(f, round))) << f << "/" << round;
    }
}
