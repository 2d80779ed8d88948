// input_test.cc - what the program does with bad input: missing files,
// damaged and truncated data files, and CSV files it must refuse before
// writing anything.
#include "tooltest.h"

using BadInput = Customers;

// Missing, damaged and cut files are named with the engine's
// message and the reason.
TEST_F(BadInput, BadFilesAreNamedWithTheEngineMessageAndTheReason) {
    struct Case {
        std::vector<std::string> args;
        std::string err;
    } cases[] = {
        {{"info", "none.dat", "--fid", "c.fid"},
         "velnor: none.dat: Error opening data file (status 1): No such file or directory\n"},
        {{"info", std::string(300, 'x') + ".dat"}, "over the library's limit of 260\n"},
        {{"load", "c.dat", "--csv", "none.csv"}, "velnor: none.csv: No such file or directory\n"},
    };
    for (const Case& c : cases) {
        RunResult r = velnor(c.args);
        EXPECT_EQ(r.code, 1) << c.err;
        EXPECT_TRUE(holds(r.err, c.err));
        EXPECT_TRUE(r.out.empty()) << r.out;
    }
    std::string dat = readfile("c.dat");
    writefile("c.dat", dat.substr(0, dat.size() - 8));  // the last record cut mid-field
    RunResult dump = velnor({"dump", "c.dat"});
    EXPECT_EQ(dump.code, 1);
    EXPECT_TRUE(holds(dump.err, "the record at byte 44 is cut short: the file ends at byte 58; "
                                "velnor verify c.dat checks the file"));
    EXPECT_EQ(dump.out.find("pear"), std::string::npos) << dump.out;
    EXPECT_TRUE(exits(1, {"info", "c.dat"}, "the header counts 2 records but 1 were found; velnor verify c.dat"));
}

TEST_F(BadInput, CsvFilesAreCheckedBeforeAnythingIsWritten) {
    const std::string before = files();
    const std::pair<const char*, std::string> cases[] = {  // CSV text, message
        {"CODE,COLOUR\nC3,red\n", "unknown item 'COLOUR' in the header row"},
        {"CODE,NAME\nC3,\"red\nC4,blue\n", "line 2: a quoted field is not closed"},
        {"CODE,NAME\nC3,red\nC4,blue,9\n", "line 3: 3 fields, the header has 2"},
        {"CODE,QTY\nC3,1\nC4,12345\n", "line 3: QTY '12345' is longer than its 4 characters"},
        {"CODE,NAME\nC3,red\nA1,Mallory\n", "line 3: key 'A1' is already in the file"},
        {"CODE,NAME\nC3,Carol\nC3,Dave\n", "line 3: key 'C3' repeats line 2"},
        {"CODE,QTY\nC3,1\nC4,abc\n", "line 3: QTY 'abc' is not a number (--lenient"},
        {"NAME,QTY\nx,1\n", "names no column for the primary key CODE"},
        {"", "no header row"},
    };
    for (const auto& [csv, message] : cases) {
        writefile("bad.csv", csv);
        EXPECT_TRUE(exits(2, {"load", "c.dat", "--csv", "bad.csv"}, message));
        EXPECT_EQ(files(), before) << message;
    }
}

