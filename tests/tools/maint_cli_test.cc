// maint_cli_test.cc - velnor verify, recover and pack as a user runs them:
// a damaged file found, reported and repaired, and the exit statuses.
#include "tooltest.h"

TEST_F(ToolTest, MaintenanceFindsReportsAndRepairs) {
    write("m.fid", textfid(20, 0, {{"CODE", 'C', 0, 8}, {"NAME", 'C', 8, 12}}, {{"CODE", 8, {{0, 8, 0}}}}));
    write("in.csv", "CODE,NAME\nA1,Ann\nB2,Bob\nC3,Cy\n");
    ASSERT_EQ(velnor({"load", "m.dat", "--csv", "in.csv", "--create"}).code, 0);
    EXPECT_EQ(velnor({"verify", "m.dat"}).code, 0);
    std::string dat = read("m.dat");
    write("m.dat", dat.replace(1, 8, "00000005"));  // one record too many in the header
    RunResult bad = velnor({"verify", "m.dat"});
    EXPECT_EQ(bad.code, 2);
    EXPECT_TRUE(holds(bad.out, "Message: Data records/data file header mismatch. Solution: PACK."));
    EXPECT_TRUE(holds(bad.err, "m.dat: Error reading data file."));
    EXPECT_EQ(velnor({"verify", "m.dat", "--continue", "--report", "r.txt"}).code, 0);
    EXPECT_EQ(lines(read("r.txt")), (std::vector<std::string>{"Verifying file: m.dat",
                                                               "  Data records/data file header mismatch. Solution: PACK.",
                                                               "    Recs=4  HeaderRecs=5", "  Successful."}));
    // A record without its line feed: pack asks, and off a terminal the
    // answer is no.
    dat[22 * 2 - 1] = 'X';
    write("m.dat", dat);
    EXPECT_EQ(velnor({"pack", "m.dat"}).code, 2);
    EXPECT_EQ(read("m.dat"), dat);
    EXPECT_EQ(velnor({"pack", "m.dat", "--yes"}).code, 0);
    RunResult good = velnor({"verify", "m.dat"});
    EXPECT_EQ(good.code, 0);
    EXPECT_TRUE(holds(good.out, "Status: Done. 3 active data records, 0 deleted records."));
    EXPECT_EQ(velnor({"recover", "m.dat", "--key-file", "M.DAT"}).code, 2);
}
