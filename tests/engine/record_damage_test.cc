// record_damage_test.cc - damaged data files: a truncated last record and
// variable-length records whose length field lies.  Nothing may crash or
// read out of bounds; each case ends in a clear status.
#include <filesystem>

#include "definition/fid.h"
#include "common/engine.h"

namespace vntest {
namespace {

class Damage : public EngineTest {
protected:
    // A file of the people layout with records A1 and B2.
    std::string two(int flags) {
        const std::string dat = define(flags ? "v" : "p", people(flags));
        File f(dat);
        EXPECT_EQ(f.create(), 0);
        for (const char* id : {"A1", "B2"}) EXPECT_EQ(f.add(id, "SOMEBODY"), 0);
        EXPECT_EQ(f.close(), 0);
        return dat;
    }
    // Opens dat in physical order on the first data record.
    void first(File& f) {
        ASSERT_EQ(f.open(), 0) << int(f.cb.status);
        ASSERT_EQ(f.setkey(0), 0);
        f.at(f.cb.reclen);
    }
};

// Cut after the first read, so that the cut comes under the file's map.
TEST_F(Damage, TruncatedLastRecordIsPaddedWith1A) {
    const std::string dat = two(0);
    File f(dat);
    first(f);
    ASSERT_EQ(f.read(), 0);
    std::filesystem::resize_file(dat, 32 * 3 - 12);
    ASSERT_EQ(f.read(), 0) << int(f.cb.status);
    EXPECT_EQ(f.rec().substr(0, 10), "B2        ");
    EXPECT_EQ(std::string(f.buf.data() + 20, 12), std::string(12, '\x1A'));
    EXPECT_FALSE(f.current());
}

TEST_F(Damage, VariableLengthFieldThatLies) {
    const std::string dat = two(1);
    // Not hex or zero: the read fails with status 3.  Beyond the record or
    // shorter than its own prefix: the record is clipped and the walk goes
    // on.  Either way nothing is read past a buffer and the walk ends.
    for (const std::string bad : {"00G1", "0000", "    ", "-001", "FFFF", "0030", "0001", "0003"}) {
        patch(dat, 37, bad);
        File f(dat);
        first(f);
        const bool refused = bad == "00G1" || bad == "0000" || bad == "    " || bad == "-001";
        for (int i = 0; i < 4 && f.current(); i++) {
            const int32_t r = f.read();
            const int s = f.cb.status;
            if (i == 0) {
                EXPECT_EQ(r != 0, refused) << bad;
            }
            EXPECT_TRUE(s == 0 || s == VN_E_DATREAD || s == VN_C_DELETED) << bad << " " << s;
            if (r != 0) break;
        }
        // Stepping over the bad length to record 1 gives no position.
        if (f.posnrec(1) != 0) {
            EXPECT_EQ(f.cb.status, VN_E_DATREAD) << bad;
        }
        if (refused) {
            EXPECT_FALSE(f.current()) << bad;
        }
    }
}

TEST_F(Damage, OverlappingItemsAreClippedAndRoundTrip) {
    Def d = people(1);
    d.items.push_back({"OVER", 'C', 8, 12});  // overlaps ID and NAME
    File f(define("o", d));
    ASSERT_EQ(f.create(), 0) << int(f.cb.status);
    ASSERT_EQ(f.add("A1", "ALICE"), 0) << int(f.cb.status);
    ASSERT_EQ(f.posn("A1"), 0);
    ASSERT_EQ(f.read(), 0) << int(f.cb.status);
    EXPECT_EQ(f.rec().substr(4, 15), "A1        ALICE");
    ASSERT_EQ(f.close(), 0);
    // OVER, defined last, ends before the fields already packed and is
    // skipped; NAME is no longer the last field and keeps its TAB.
    EXPECT_EQ(readfile(f.cb.datname).substr(36), " 000FA1\tALICE\t\n");
    EXPECT_EQ(f.buf[f.cb.reclen - 1], '\n');
}

}  // namespace
}  // namespace vntest
