// maint_cli_test.cc - velnor verify, recover and pack as a user runs them:
// a damaged file found, reported and repaired, and the exit statuses.
#include "tooltest.h"

TEST_F(Customers, MaintenanceFindsReportsAndRepairs) {
    EXPECT_EQ(velnor({"verify", "c.dat"}).code, 0);
    std::string dat = readfile("c.dat");
    writefile("c.dat", dat.replace(1, 8, "00000004"));  // one record too many in the header
    RunResult bad = velnor({"verify", "c.dat"});
    EXPECT_EQ(bad.code, 2);
    EXPECT_TRUE(holds(bad.out, "Message: Data records/data file header mismatch. Solution: PACK."));
    EXPECT_TRUE(holds(bad.err, "c.dat: Error reading data file."));
    EXPECT_EQ(velnor({"verify", "c.dat", "--continue", "--report", "r.txt"}).code, 0);
    EXPECT_EQ(lines(readfile("r.txt")),
              (std::vector<std::string>{"Verifying file: c.dat",
                                        "  Data records/data file header mismatch. Solution: PACK.",
                                        "    Recs=3  HeaderRecs=4", "  Successful."}));
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
    EXPECT_EQ(velnor({"recover", "c.dat", "--key-file", "C.DAT"}).code, 2);
}
