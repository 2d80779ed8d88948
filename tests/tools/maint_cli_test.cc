// maint_cli_test.cc - velnor verify, recover and pack as a user runs them:
// a damaged file found, reported and repaired, and the exit statuses.
#include "tooltest.h"

TEST_F(Customers, MaintenanceFindsReportsAndRepairs) {
    EXPECT_EQ(velnor({"verify", "c.dat"}).code, 0);
    std::string dat = readfile("c.dat");
    writefile("c.dat", dat.replace(1, 8, "00000004"));  // one record too many in the header
    RunResult bad = velnor({"verify", "c.dat"});
    EXPECT_EQ(bad.code, 3);
    EXPECT_TRUE(holds(bad.err, "c.dat: faults found"));
    // Going on past a fault still finds it; the program counts the records.
    RunResult cont = velnor({"verify", "c.dat", "--continue", "--report", "r.txt"});
    EXPECT_EQ(cont.code, 3);
    EXPECT_TRUE(holds(cont.out, "the header says 3 active and 0 deleted; the file holds 2 and 0"));
    EXPECT_TRUE(vntest::exists(path("r.txt")));
    // A record without its line feed: pack asks, and off a terminal the
    // answer is no.
    dat[22 * 2 - 1] = 'X';
    writefile("c.dat", dat);
    EXPECT_EQ(velnor({"pack", "c.dat"}).code, 2);
    EXPECT_EQ(readfile("c.dat"), dat);
    EXPECT_EQ(velnor({"pack", "c.dat", "--yes"}).code, 0);
    RunResult good = velnor({"verify", "c.dat"});
    EXPECT_EQ(good.code, 0);
    EXPECT_TRUE(holds(good.out, "Status: Done. 2 active data records, 0 deleted records."));
    // A zeroed header: counts that cannot be are a fault, whatever the
    // library's result.
    writefile("c.dat", std::string(22, '\0') + readfile("c.dat").substr(22));
    RunResult zero = velnor({"verify", "c.dat", "--json"});
    EXPECT_EQ(zero.code, 3) << zero.out;
    EXPECT_TRUE(holds(zero.out, "\"verdict\": \"faults\""));
}

// Two active records with one key: recover would index both and pack would
// write the second over the first.  The later copy goes to c.dup first, so
// that the run leaves a file verify accepts and loses neither record.
TEST_F(Customers, RecordsWhoseKeyIsTakenAreSetAside) {
    // The second record takes the first one's key, or is zeroed after its
    // status byte, newline and all (which only pack mends): a key of zero
    // bytes, the lowest key, which a walk from the first key steps past.
    const std::string dat = readfile("c.dat");
    const struct {
        std::string record, said;
        std::vector<const char*> ops;
    } cases[] = {{" A1" + dat.substr(47, 19), "1 record whose key an earlier record has", {"recover", "pack"}},
                 {" " + std::string(21, '\0'), "1 record whose key is all zero bytes", {"pack"}}};
    for (const auto& c : cases) {
        for (const char* op : c.ops) {
            SCOPED_TRACE(vntest::cat(op, " ", c.said));
            writefile("c.dat", std::string(dat).replace(44, 22, c.record));
            std::filesystem::remove(path("c.dup"));
            RunResult r = velnor({op, "c.dat", "--report", "r.txt", "--yes"});
            ASSERT_EQ(r.code, 0) << r.err;
            EXPECT_TRUE(holds(r.out, c.said + ": copied to c.dup and deleted"));
            EXPECT_TRUE(holds(readfile("r.txt"), "copied to c.dup"));
            EXPECT_EQ(readfile("c.dup"), c.record);
            RunResult v = velnor({"verify", "c.dat"});
            EXPECT_EQ(v.code, 0) << v.out;
            EXPECT_EQ(lines(ok({"dump", "c.dat"})).size(), 2u);
        }
    }
}

// A key longer than its segments is padded with whatever the key buffer
// held, so no index built from it verifies: the repairs refuse it.
TEST_F(Customers, RepairsRefuseAKeyLongerThanItsSegments) {
    writefile("c.fid", textfid(20, 0, {{"CODE", 'C', 0, 6}, {"NAME", 'C', 6, 10}, {"QTY", 'N', 16, 4, 1, 'R'}},
                               {{"CODE", 8, {{0, 6, 0}}}}));
    const std::string before = files();
    for (const char* op : {"recover", "pack"})
        EXPECT_TRUE(exits(2, {op, "c.dat", "--yes"}, "key 1 is 8 bytes long but its segments give 6")) << op;
    EXPECT_EQ(files(), before);
}

// A writer killed before it wrote the header count leaves records past it:
// found, refused where a write would land on one, and mended by pack.
TEST_F(Customers, AHeaderCountShortOfTheDataIsFoundAndPackMendsIt) {
    std::string dat = readfile("c.dat");
    writefile("c.dat", dat.replace(1, 8, "00000002"));
    const std::string before = files();
    const char* past = "holds 1 record past the count in its header";
    EXPECT_TRUE(exits(3, {"verify", "c.dat"}, past));
    EXPECT_TRUE(exits(2, {"recover", "c.dat"}, past));
    writefile("more.csv", "CODE,NAME\nC3,quince\n");
    EXPECT_TRUE(exits(1, {"load", "c.dat", "--csv", "more.csv"}, past));
    EXPECT_TRUE(exits(1, {"delete", "c.dat", "A1"}, past));
    EXPECT_EQ(files(), before);
    EXPECT_TRUE(exits(0, {"pack", "c.dat", "--yes"}));
    EXPECT_TRUE(exits(0, {"load", "c.dat", "--csv", "more.csv"}));
    EXPECT_TRUE(exits(0, {"verify", "c.dat"}));
    EXPECT_EQ(lines(ok({"dump", "c.dat", "--format", "csv", "--items", "CODE"})),
              (std::vector<std::string>{"CODE", "A1", "B2", "C3"}));
}
