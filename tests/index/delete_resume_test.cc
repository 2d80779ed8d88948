// delete_resume_test.cc - deletes made right after searches and inserts in
// unshared mode, where the cursor still holds a leaf: entries that are last
// or alone in their leaf, taken in descending runs between inserts that
// split pages, must leave a sound tree that holds exactly the keys kept.
#include <random>
#include <set>

#include "idxfixture.h"

namespace {

using DeleteResumeTest = IndexTest;

TEST_F(DeleteResumeTest, DescendingRunsBetweenSplitsKeepTheTreeSound) {
    IdxFile f(path("d.idx"), {{{5, SEG_BINARY}}});
    ASSERT_EQ(f.make(), 0);
    std::set<int> keys;
    std::mt19937 rng(11);
    auto insert = [&](int v) {
        if (keys.insert(v).second) { ASSERT_EQ(f.insert(0, numkey(v), v + 1), 0) << v; }
    };
    for (int i = 0; i < 3000; i++) {
        insert(static_cast<int>(rng() % 100000));
        if (HasFatalFailure()) return;
    }
    for (int round = 0; round < 300; round++) {
        // A burst of inserts around one spot splits leaves and ancestors.
        const int at = static_cast<int>(rng() % 99000);
        for (int i = 0; i < 12; i++) insert(at + static_cast<int>(rng() % 400));
        if (HasFatalFailure()) return;
        // Then the keys just below another spot go, highest first, each
        // deleted after a search has put the cursor on its leaf.
        auto it = keys.lower_bound(static_cast<int>(rng() % 100000));
        for (int n = 0; n < 25 && it != keys.begin(); n++) {
            const int v = *--it;
            ASSERT_EQ(f.search(0, numkey(v), SRCH_EQUAL), v + 1) << v;
            ASSERT_EQ(f.remove(0, numkey(v), v + 1), 0) << v;
            it = keys.erase(it);
        }
        if (round % 50 == 49) { ASSERT_EQ(checkstructure(f).entries[0], keys.size()) << round; }
    }
    for (int v : keys) ASSERT_EQ(f.search(0, numkey(v), SRCH_EQUAL), v + 1) << v;
}

}  // namespace
