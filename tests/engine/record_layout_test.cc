// record_layout_test.cc - the bytes on disk of each kind of data file:
// header record, fixed and packed variable-length records, record numbers,
// deletion marks, and what the engine returns for them.
#include <iomanip>
#include <map>

#include "definition/fid.h"
#include "common/engine.h"

namespace vntest {
namespace {

std::string header(char mark, const char* count, int reclen) {
    return cat(mark, count, std::string(reclen - 10, ' '), "\n");
}

using Layout = EngineTest;

// Records written in turn to a new file of the people layout with the given
// flags give these bytes, and each id reads back its last name unpacked.
TEST_F(Layout, RecordBytesOnDiskAndBack) {
    const std::string v36 = header('V', "00000004", 36);
    const struct {
        int flags;
        std::vector<std::pair<std::string, std::string>> writes;
        std::string bytes;
    } cases[] = {
        // Fixed: reclen apart, the header counting itself.
        {0, {{"B2", "BOB"}, {"A1", "ALICE"}},
         header(' ', "00000003", 32) + " B2        BOB                 \n A1        ALICE               \n"},
        // Variable: packed, a TAB after each field shorter than its item.
        {1, {{"A1", "ALICE"}, {"ABCDEFGHIJ", "NAME WITH BLANKS    "}, {"C3", ""}},
         v36 + " 000EA1\tALICE\n 0020ABCDEFGHIJNAME WITH BLANKS\n 0009C3\t\n"},
        // Same length rewritten in place; shorter: a deleted copy and an append.
        {1, {{"A1", "ALICE LONGNAME"}, {"B2", "BOB"}, {"B2", "BOZ"}, {"A1", "AL"}},
         v36 + "D0017A1\tALICE LONGNAME\n 000CB2\tBOZ\n 000BA1\tAL\n"},
        // The record number follows the length.
        {129, {{"A1", "ALICE"}}, header('V', "00000002", 41) + " 0013    !A1\tALICE\n"},
    };
    int n = 0;
    for (const auto& c : cases) {
        const std::string dat = define(numbered("f", n++), people(c.flags));
        File f(dat);
        ASSERT_EQ(f.create(), 0);
        // A new file is its header record alone.
        const std::string head = c.bytes.substr(0, f.cb.reclen);
        EXPECT_EQ(readfile(dat), cat(head[0], "00000001", head.substr(9)));
        EXPECT_EQ(failedwith(f.read(), f.cb), VN_C_NOREC);
        f.net("SINGLE");
        std::map<std::string, std::string> last;
        for (const auto& [id, name] : c.writes) {
            ASSERT_EQ(f.add(id, name), 0) << id;
            last[id] = name;
        }
        ASSERT_EQ(f.close(), 0);
        EXPECT_EQ(readfile(dat), c.bytes) << c.flags;
        File g(dat);
        ASSERT_EQ(g.open(), 0);
        EXPECT_EQ((g.cb.fflags & VN_FF_VARLEN) != 0, (c.flags & 1) != 0);
        const int at = g.cb.items[0].offset - 1;
        for (const auto& [id, name] : last) {
            EXPECT_EQ(g.lookup(id).substr(at), cat(std::left, std::setw(10), id, std::setw(20), name)) << id;
        }
    }
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
    EXPECT_EQ(failedwith(f.op(VN_OP_DELETE), f.cb), VN_C_NOREC);

    ASSERT_EQ(f.setkey(0), 0);
    EXPECT_EQ(failedwith(f.readat(32), f.cb), VN_C_DELETED);
    EXPECT_EQ(f.rec().substr(0, 2), "A1");
    EXPECT_EQ(f.buf[0], 'D');
    EXPECT_EQ(+f.cb.datpos, 64);
    EXPECT_EQ(f.read(), 0);
    EXPECT_EQ(f.rec().substr(0, 2), "B2");
    EXPECT_FALSE(f.current());
}

}  // namespace
}  // namespace vntest
