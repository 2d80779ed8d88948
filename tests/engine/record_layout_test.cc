// record_layout_test.cc - the bytes on disk of each kind of data file:
// header record, fixed and packed variable-length records, record numbers,
// deletion marks, and what the engine returns for them.
#include <cstring>

#include "engine/fid.h"
#include "common/engine.h"

namespace vntest {
namespace {

std::string header(char mark, const char* count, int reclen) {
    std::string h(reclen, ' ');
    h[0] = mark;
    std::memcpy(&h[1], count, 8);
    h[reclen - 1] = '\n';
    return h;
}

using Layout = EngineTest;

TEST_F(Layout, FixedRecordsLieReclenApartAndCountTheHeader) {
    File f(define("p", people()));
    ASSERT_EQ(f.create(), 0);
    f.net("SINGLE");
    ASSERT_EQ(f.add("B2", "BOB"), 0);
    ASSERT_EQ(f.add("A1", "ALICE"), 0);
    ASSERT_EQ(f.close(), 0);
    const std::string want = header(' ', "00000003", 32) + " B2        BOB                 \n" +
                             " A1        ALICE               \n";
    EXPECT_EQ(readfile(f.cb.datname), want);
}

TEST_F(Layout, VariableLengthRecordsArePackedWithTabsAndHexLength) {
    File f(define("v", people(1)));
    ASSERT_EQ(f.create(), 0);
    EXPECT_EQ(+f.cb.reclen, 36);
    ASSERT_EQ(f.add("A1", "ALICE"), 0);
    ASSERT_EQ(f.add("ABCDEFGHIJ", "NAME WITH BLANKS    "), 0);
    ASSERT_EQ(f.add("C3", ""), 0);
    ASSERT_EQ(f.close(), 0);
    const std::string want = header('V', "00000004", 36) + " 000EA1\tALICE\n" +
                             " 0020ABCDEFGHIJNAME WITH BLANKS\n" + " 0009C3\t\n";
    EXPECT_EQ(readfile(f.cb.datname), want);

    // Unpacked on reading: the fixed layout comes back.
    File g(f.cb.datname);
    ASSERT_EQ(g.open(), 0);
    EXPECT_TRUE(g.cb.fflags & VN_FF_VARLEN);
    ASSERT_EQ(g.setkey(0), 0);
    g.cb.datpos = g.cb.reclen;
    g.cb.state |= VN_ST_CURRENT;
    std::vector<std::string> recs;
    while (g.read() == 0) recs.push_back(g.rec());
    ASSERT_EQ(recs.size(), 3u);
    EXPECT_EQ(recs[0], std::string(4, ' ').replace(0, 4, "000E") + "A1        ALICE               ");
    EXPECT_EQ(recs[1].substr(4), "ABCDEFGHIJNAME WITH BLANKS    ");
    EXPECT_EQ(recs[2].substr(4), "C3                            ");
    EXPECT_EQ(g.cb.status, VN_C_NOREC);
}

TEST_F(Layout, RecordNumbersStartAtOneInBase95) {
    File f(define("n", people(128)));
    ASSERT_EQ(f.create(), 0);
    for (int i = 0; i < 96; i++) ASSERT_EQ(f.add(vntest::numbered("K", i), "N"), 0) << i;
    ASSERT_EQ(f.close(), 0);
    const std::string b = readfile(f.cb.datname);
    const int rl = 37;
    ASSERT_EQ(b.size(), size_t(rl * 97));
    EXPECT_EQ(b.substr(rl + 1, 5), "    !");       // 1
    EXPECT_EQ(b.substr(2 * rl + 1, 5), "    \"");  // 2
    EXPECT_EQ(b.substr(95 * rl + 1, 5), "   ! ");  // 95
    EXPECT_EQ(b.substr(96 * rl + 1, 5), "   !!");  // 96
    EXPECT_EQ(b.substr(rl + 6, 4), "K0  ");
}

TEST_F(Layout, VariableLengthRecordNumbersFollowTheLength) {
    File f(define("vn", people(129)));
    ASSERT_EQ(f.create(), 0);
    ASSERT_EQ(f.add("A1", "ALICE"), 0);
    ASSERT_EQ(f.close(), 0);
    EXPECT_EQ(readfile(f.cb.datname).substr(41), " 0013    !A1\tALICE\n");
}

TEST_F(Layout, DeletedRecordReadsAsDeletedWithPositionMoved) {
    File f(define("p", people()));
    ASSERT_EQ(f.create(), 0);
    ASSERT_EQ(f.add("A1", "ALICE"), 0);
    ASSERT_EQ(f.add("B2", "BOB"), 0);
    f.fill("A1", "ALICE");  // a fixed record's secondary keys come from recbuf
    ASSERT_EQ(f.op(VN_OP_DELETE), 0) << int(f.cb.status);
    EXPECT_EQ(readfile(f.cb.datname)[32], 'D');
    f.fill("A1", "");
    EXPECT_EQ(f.op(VN_OP_DELETE), -1);
    EXPECT_EQ(f.cb.status, VN_C_NOREC);

    ASSERT_EQ(f.setkey(0), 0);
    f.cb.datpos = 32;
    f.cb.state |= VN_ST_CURRENT;
    EXPECT_EQ(f.read(), -1);
    EXPECT_EQ(f.cb.status, VN_C_DELETED);
    EXPECT_EQ(f.rec().substr(0, 2), "A1");
    EXPECT_EQ(f.buf[0], 'D');
    EXPECT_EQ(+f.cb.datpos, 64);
    EXPECT_EQ(f.read(), 0);
    EXPECT_EQ(f.rec().substr(0, 2), "B2");
    EXPECT_FALSE(f.current());
}

TEST_F(Layout, ShorterVariableRewriteLeavesDeletedCopyAndAppends) {
    File f(define("v", people(1)));
    ASSERT_EQ(f.create(), 0);
    ASSERT_EQ(f.add("A1", "ALICE LONGNAME"), 0);
    ASSERT_EQ(f.add("B2", "BOB"), 0);
    ASSERT_EQ(f.add("B2", "BOZ"), 0);  // same length: in place
    ASSERT_EQ(f.add("A1", "AL"), 0);   // shorter: delete and append
    ASSERT_EQ(f.close(), 0);
    const std::string b = readfile(f.cb.datname);
    EXPECT_EQ(b.substr(36), "D0017A1\tALICE LONGNAME\n 000CB2\tBOZ\n 000BA1\tAL\n");
    EXPECT_EQ(b.substr(1, 8), "00000004");

    File g(f.cb.datname);
    ASSERT_EQ(g.open(), 0);
    ASSERT_EQ(g.posn("A1", true), 0);
    ASSERT_TRUE(g.current());
    ASSERT_EQ(g.read(), 0);
    EXPECT_EQ(g.rec().substr(4, 12), "A1        AL");
}

}  // namespace
}  // namespace vntest
