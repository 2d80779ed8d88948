// input_test.cc - what the program does with bad input: missing and
// mismatched files, damaged and truncated data files, CSV files it must
// refuse before writing anything, and text in other code pages or needing
// quotes on the way out and in.
#include "tooltest.h"

using BadInput = Customers;

// Missing, mismatched, damaged and cut files are named with the engine's
// message and the reason.
TEST_F(BadInput, BadFilesAreNamedWithTheEngineMessageAndTheReason) {
    // The same items in a longer record: the data file does not fit it.
    writefile("long.fid", textfid(30, 0, {{"CODE", 'C', 0, 6}}, {{"CODE", 6, {{0, 6, 0}}}}));
    struct Case {
        std::vector<std::string> args;
        std::string err;
    } cases[] = {
        {{"info", "none.dat", "--fid", "c.fid"},
         "velnor: none.dat: Error opening data file (status 1): No such file or directory\n"},
#ifndef _WIN32
        {{"dump", "c.dat", "--fid", "c.dat/x.fid"},
         "velnor: c.dat/x.fid: Error opening FID file (status 6): Not a directory\n"},
#endif
        {{"info", std::string(300, 'x') + ".dat"}, "over the library's limit of 260\n"},
        {{"load", "c.dat", "--csv", "none.csv"}, "velnor: none.csv: No such file or directory\n"},
        {{"dump", "c.dat", "--fid", "long.fid"}, "velnor: c.dat: Error : data/FID file mismatch (status 19)\n"},
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
        {"CODE,QTY\nC3,1e5\n", "line 2: QTY '1e5' is not a number"},
        {"NAME,QTY\nx,1\n", "names no column for the primary key CODE"},
        {"", "no header row"},
    };
    for (const auto& [csv, message] : cases) {
        writefile("bad.csv", csv);
        EXPECT_TRUE(exits(2, {"load", "c.dat", "--csv", "bad.csv"}, message));
        EXPECT_EQ(files(), before) << message;
        // With --create nothing is made either (no record is in a new file).
        if (message.find("already in") != std::string::npos) continue;
        EXPECT_TRUE(exits(2, {"load", "new.dat", "--csv", "bad.csv", "--create", "--fid", "c.fid"}));
        EXPECT_FALSE(exists("new.dat")) << message;
    }
    writefile("re.csv", "CODE,NAME\nA1,Mallory\nC3,Carol\nC3,Dave\n");
    EXPECT_EQ(ok({"load", "c.dat", "--csv", "re.csv", "--replace"}),
              "Loaded 3 records into c.dat; 2 replaced records.\n");
    // A replacing row keeps the items it does not name.
    EXPECT_EQ(velnor({"dump", "c.dat", "--format", "csv"}).out,
              "CODE,NAME,QTY\nA1,Mallory,3\nB2,pear,12\nC3,Dave,\n");
}

// A spreadsheet's export piped in with semicolons, a name cut between
// characters only, quotes, a byte-order mark and CRLF; the dump loads back
// as the same records, and text comes out as UTF-8 from its code page.
TEST_F(BadInput, CsvVariantsRoundTripAndTextLeavesAsUtf8) {
    RunResult r = velnor({"load", "c.dat", "--csv", "-", "--delimiter", ";"}, "CODE;NAME;QTY\nD1;Ćma Łóżka;7\n");
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_TRUE(holds(r.err, "standard input: line 2: NAME cut to 'Ćma Łó', the 10 bytes of the item"));
    // Columns line up by the characters shown, not their bytes.
    EXPECT_EQ(lines(ok({"get", "c.dat", "D1", "--encoding", "utf-8"})).at(1), "D1     Ćma Łó" + std::string(8, ' ') + "7");
    writefile("q.csv", "\xEF\xBB\xBF" "CODE,NAME,QTY\r\nQ1,\"a, b\",1\r\nQ2,\"say \"\"hi\"\"\",22\r\n"
                       "Q3,back\\slash,333\r\nQ4,\"two\nlines\",4\r\n");
    ASSERT_EQ(velnor({"load", "c.dat", "--csv", "q.csv"}).code, 0);
    const std::string csv = ok({"get", "c.dat", "Q", "--format", "csv"});
    EXPECT_EQ(csv, "CODE,NAME,QTY\nQ1,\"a, b\",1\nQ2,\"say \"\"hi\"\"\",22\nQ3,back\\slash,333\nQ4,two lines,4\n");
    writefile("again.csv", csv);
    ASSERT_EQ(velnor({"load", "d.dat", "--csv", "again.csv", "--create", "--fid", "c.fid"}).code, 0);
    EXPECT_EQ(velnor({"dump", "d.dat", "--fid", "c.fid", "--format", "csv"}).out, csv);
    EXPECT_EQ(ok({"get", "c.dat", "Q2", "--format", "json"}), "[\n  {\"CODE\": \"Q2\", \"NAME\": \"say \\\"hi\\\"\", \"QTY\": \"22\"}\n]\n");

    writefile("u.csv", "CODE,NAME\nU2,caf\xE9 \x80\n");
    ASSERT_EQ(velnor({"load", "c.dat", "--csv", "u.csv"}).code, 0);
    for (const auto& [encoding, name] : {std::pair<const char*, const char*>{"cp1252", "caf\xC3\xA9 \xE2\x82\xAC"},
                                         {"UTF-8", "caf\xEF\xBF\xBD \xEF\xBF\xBD"}})
        EXPECT_EQ(ok({"get", "c.dat", "U", "--items", "NAME", "--format", "csv", "--encoding", encoding}),
                  vntest::cat("NAME\n", name, "\n")) << encoding;
    EXPECT_EQ(velnor({"dump", "c.dat", "--encoding", "ebcdic"}).code, 2);
}
