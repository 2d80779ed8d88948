// contend_posix_test.cc - two processes adding to one keyword index at the
// same time, the same word and words of their own: nothing is lost.
#include <algorithm>

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

}  // namespace
