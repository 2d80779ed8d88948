// contend_posix_test.cc - two processes adding to one keyword index at the
// same time, the same word and words of their own: nothing is lost; and
// one process's adds see the other's changes to the chains.
#include <algorithm>
#include <functional>

#include "common/fork.h"
#include "kwtest.h"

namespace {

using namespace kwtest;

constexpr uint32_t kAdds = 150;

TEST_F(KeywordTest, TwoProcessesAddingLoseNothing) {
    ASSERT_EQ(Index().open(dir()), 0);  // made, and closed again
    vntest::Signal go[2];
    pid_t pid[2];
    for (int c = 0; c < 2; c++) {
        pid[c] = vntest::spawn([&, c] {
            Index ix;
            if (ix.open(dir(), 0) != 0) return 1;
            go[c].childsays();
            go[c].childhears();
            for (uint32_t i = 0; i < kAdds; i++) {
                const uint32_t value = c * kAdds + i;
                if (ix.add("shared", value) != 0) return 2;
                if (ix.add("own" + std::to_string(value), value) != 0) return 3;
            }
            return 0;
        });
    }
    for (auto& g : go) ASSERT_TRUE(g.parenthears());
    for (auto& g : go) g.parentsays();
    for (pid_t p : pid) ASSERT_EQ(vntest::waitexit(p), 0);

    Index ix;
    ASSERT_EQ(ix.open(dir(), 0), 0);
    std::vector<uint32_t> shared = ix.search("shared");
    std::sort(shared.begin(), shared.end());
    ASSERT_EQ(shared.size(), 2 * kAdds);
    for (uint32_t v = 0; v < 2 * kAdds; v++) {
        EXPECT_EQ(shared[v], v);
        EXPECT_EQ(ix.search("own" + std::to_string(v)), std::vector<uint32_t>{v});
    }
    EXPECT_EQ(readfile("kw.pst").size(), 16 + 8 * 4 * kAdds);
}

// Another process's adds, and deletes whose freed nodes other adds take
// back, are seen between two adds of a shared block.
TEST_F(KeywordTest, WhatAnotherProcessChangedIsSeenBetweenAdds) {
    Index ix;
    ASSERT_EQ(ix.open(dir()), 0);
    auto other = [&](const std::function<int(Index&)>& step) {
        return vntest::child([&] {
            Index b;
            return b.open(dir(), 0) == 0 ? step(b) : 9;
        });
    };
    ASSERT_EQ(ix.add("alpha", 1), 0);
    ASSERT_EQ(other([](Index& b) { return b.add("alpha", 2); }), 0);
    ASSERT_EQ(ix.add("alpha", 3), 0);  // after the node the other linked
    // 3 goes, and its node comes back at once as beta's: the file's size
    // and free list are as they were.
    ASSERT_EQ(other([](Index& b) { return fhhypdelete(&b.cb, 3) == 0 ? b.add("beta", 3) : 8; }), 0);
    ASSERT_EQ(ix.add("alpha", 4), 0);
    ASSERT_EQ(ix.add("alpha", 3), 0);  // gone from alpha, so added again
    // Two documents indexed again under another word: their freed nodes
    // come back in the same shape, the same values in a chain's last two
    // nodes, and no node is free.
    ASSERT_EQ(ix.add("alpha", 5), 0);
    ASSERT_EQ(ix.add("alpha", 7), 0);
    ASSERT_EQ(other([](Index& b) {
                  return fhhypdelete(&b.cb, 7) == 0 && fhhypdelete(&b.cb, 5) == 0 && b.add("gamma", 5) == 0
                             ? b.add("gamma", 7) : 8;
              }), 0);
    ASSERT_EQ(ix.add("alpha", 9), 0);
    Index fresh;
    ASSERT_EQ(fresh.open(dir(), 0), 0);
    EXPECT_EQ(fresh.search("alpha"), (std::vector<uint32_t>{1, 2, 4, 3, 9}));
    EXPECT_EQ(fresh.search("beta"), std::vector<uint32_t>{3});
    EXPECT_EQ(fresh.search("gamma"), (std::vector<uint32_t>{5, 7}));
}

}  // namespace
