// hostile_test.cc - damaged posting files and chain heads: every operation
// ends with a result, none loops or reads outside the file.
#include <fstream>

#include "kwtest.h"

namespace {

using namespace kwtest;


struct Damage {
    const char* what;
    uint32_t at;           // where bytes go in the posting file (0: none)
    std::string bytes;
    const char* posn;      // a new "POSN" for apple, or null
    uint8_t searchstatus;  // status a search of apple leaves
};

// apple holds 1 then 2 (nodes 16 and 24), berry 1 (node 32).
const Damage kDamage[] = {
    {"link past the end", 28, le32(4096), nullptr, VN_E_HYPREAD},
    {"link into the header", 28, le32(8), nullptr, VN_E_HYPREAD},
    {"link between nodes", 28, le32(19), nullptr, VN_E_HYPREAD},
    {"cycle", 28, le32(16), nullptr, VN_E_HYPREAD},
    {"head past the end", 0, "", "  ~~~", VN_E_HYPREAD},
    {"head not base 95", 0, "", "\xff\xff\xff\xff\xff", VN_E_HYPREAD},
    {"negative head", 0, "", "~~~~~", 0},
};

TEST_F(KeywordTest, DamagedChainsEndWithAStatus) {
    for (const Damage& d : kDamage) {
        SCOPED_TRACE(d.what);
        Index ix;
        for (const char* f : {"kw.pst", "kw.dat", "kw.idx"}) std::filesystem::remove(path(f));
        ASSERT_EQ(ix.open(dir()), 0);
        ASSERT_EQ(ix.add("apple", 1) | ix.add("apple", 2) | ix.add("berry", 1), 0);
        if (d.at != 0)
            std::fstream(path("kw.pst"), std::ios::in | std::ios::out | std::ios::binary).seekp(d.at)
                << d.bytes;
        if (d.posn != nullptr) ix.setposn("apple", d.posn);

        EXPECT_EQ(ix.search("apple"), std::vector<uint32_t>{});
        EXPECT_EQ(ix.cb.status, d.searchstatus);
        bool ok = true;
        if (d.searchstatus != 0) {
            EXPECT_EQ(ix.add("apple", 3), -1);
            EXPECT_EQ(ix.cb.status, VN_E_HYPREAD);
            EXPECT_EQ(ix.list(7, "a", &ok), std::vector<std::string>{});
            EXPECT_FALSE(ok);
        }
        // The damaged word is passed over; the others lose the value.
        EXPECT_EQ(fhhypdelete(&ix.cb, 1), 0);
        EXPECT_EQ(ix.search("berry"), std::vector<uint32_t>{});
        EXPECT_EQ(ix.add("cherry", 5), 0);
        EXPECT_EQ(ix.search("cherry"), std::vector<uint32_t>{5});
    }
}

TEST_F(KeywordTest, ALoopingFreeListOrAShortFileEndsToo) {
    Index ix;
    ASSERT_EQ(ix.open(dir()), 0);
    ASSERT_EQ(ix.add("apple", 1), 0);
    // A free node at 24 that names itself as the next free node.
    std::fstream(path("kw.pst"), std::ios::in | std::ios::out | std::ios::binary).seekp(8)
        << le32(24) << le32(0) << le32(1) << le32(0) << le32(0xFFFFFFFF) << le32(24);
    EXPECT_EQ(ix.add("berry", 2), 0);   // takes 24, whose next free is 24
    EXPECT_EQ(ix.add("cherry", 3), 0);  // 24 is in use now: the end
    EXPECT_EQ(ix.search("berry"), std::vector<uint32_t>{2});
    EXPECT_EQ(ix.search("cherry"), std::vector<uint32_t>{3});
    EXPECT_EQ(readfile("kw.pst").size(), 40u);

    std::filesystem::resize_file(path("kw.pst"), 12);
    EXPECT_EQ(ix.add("date", 4), -1);
    EXPECT_EQ(ix.cb.status, VN_E_HYPREAD);
    EXPECT_EQ(ix.search("apple"), std::vector<uint32_t>{});
    EXPECT_EQ(ix.cb.status, VN_E_HYPREAD);
    EXPECT_EQ(fhhypdelete(&ix.cb, 1), 0);  // passes over what it cannot read
}

}  // namespace
