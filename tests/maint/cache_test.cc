// cache_test.cc - the files RECOVER and PACK write do not depend on how
// much of the new index the page cache holds.  With the classic 128 slots
// pages are written back one by one as they are evicted, and read again;
// with the default cache they stay in memory, RECOVER writing each once
// at the end and PACK the changed ones at each secure, in runs of
// consecutive pages.  The same keys go in in the same order either way,
// so every byte must match.
#include "index/pagecache.h"
#include "common/engine.h"
#include "maintfix.h"

namespace {

TEST_F(MaintTest, NewFilesDoNotDependOnTheCache) {
    // 12,000 records in a shuffled order: two secures in PACK, and an index
    // of many more pages than 128.
    std::set<int> dead;
    for (int i = 5; i <= 12000; i += 7) dead.insert(i);
    for (Kind kind : {FIXLEN, VARLEN}) {
        for (int32_t op : {VN_FM_RECOVER, VN_FM_PACK}) {
            SCOPED_TRACE(std::to_string(kind) + " " + std::to_string(op));
            std::string written[2][2];  // [small cache][data, index]
            for (int small = 0; small < 2; small++) {
                vntest::enginestop();
                pgsetcapacity(small ? PGCACHE_SLOTS : PGCACHE_DEFAULT_SLOTS);
                ASSERT_TRUE(vntest::enginestart());
                const std::string dat = build(kind, 12000, dead, "f", 20261126);
                ASSERT_EQ(run(op, dat), 0);
                written[small][0] = readfile("f.dat");
                written[small][1] = readfile("f.idx");
            }
            EXPECT_TRUE(written[0][0] == written[1][0]);
            EXPECT_TRUE(written[0][1] == written[1][1]);
            EXPECT_EQ(run(VN_FM_VERIFY, path("f.dat")), 0);
            EXPECT_EQ(records(path("f.dat")).size(), 12000u - dead.size());
        }
    }
    vntest::enginestop();
    pgsetcapacity(PGCACHE_DEFAULT_SLOTS);
    ASSERT_TRUE(vntest::enginestart());
}

}  // namespace
