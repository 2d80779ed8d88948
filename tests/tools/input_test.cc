// input_test.cc - what the program does with bad input: missing and
// mismatched files, damaged headers, CSV files it must refuse before
// writing anything, and values that need quoting on the way out and in.
#include "fidtext.h"
#include "tooltest.h"

namespace {

class BadInput : public ToolTest {
protected:
    void SetUp() override {
        ToolTest::SetUp();
        write("c.fid", textfid(20, 0,
                               {{"CODE", 'C', 'L', 0, 6, 1},
                                {"NAME", 'C', 'L', 6, 10, 1},
                                {"QTY", 'N', 'R', 16, 4, 1}},
                               {{"CODE", {{0, 6, 0}}}}));
        write("in.csv", "CODE,NAME,QTY\nA1,apple,3\nB2,pear,12\n");
        RunResult r = velnor({"load", "c.dat", "--csv", "in.csv", "--create"});
        ASSERT_EQ(r.code, 0) << r.err;
    }
    // The record file's bytes, to show a refused load changed nothing.
    std::string files() { return read("c.dat") + read("c.idx"); }
};

}  // namespace

TEST_F(BadInput, MissingFilesAreNamedWithTheEngineMessage) {
    RunResult nodat = velnor({"info", "none.dat", "--fid", "c.fid"});
    EXPECT_EQ(nodat.code, 1);
    EXPECT_EQ(nodat.err, "velnor: none.dat: Error opening data file (status 1)\n");
    RunResult nofid = velnor({"dump", "c.dat", "--fid", "gone.fid"});
    EXPECT_EQ(nofid.code, 1);
    EXPECT_EQ(nofid.err, "velnor: gone.fid: Error opening FID file (status 6)\n");
    EXPECT_TRUE(nofid.out.empty());
    std::filesystem::remove(path("c.idx"));
    RunResult noidx = velnor({"get", "c.dat", "A1"});
    EXPECT_EQ(noidx.code, 1);
    EXPECT_EQ(noidx.err, "velnor: c.idx: Error opening index file (status 21)\n");
    RunResult nocsv = velnor({"load", "c.dat", "--csv", "none.csv"});
    EXPECT_EQ(nocsv.code, 1);
    EXPECT_EQ(nocsv.err.rfind("velnor: none.csv: ", 0), 0u) << nocsv.err;
}

TEST_F(BadInput, AWrongDefinitionOrADamagedHeaderIsRefused) {
    // The same items in a longer record: the data file does not fit it.
    write("long.fid", textfid(30, 0, {{"CODE", 'C', 'L', 0, 6, 1}}, {{"CODE", {{0, 6, 0}}}}));
    RunResult mismatch = velnor({"dump", "c.dat", "--fid", "long.fid"});
    EXPECT_EQ(mismatch.code, 1);
    EXPECT_EQ(mismatch.err, "velnor: c.dat: Error : data/FID file mismatch (status 19)\n");

    std::string dat = read("c.dat");
    dat[3] = 'x';  // not a hexadecimal digit in the header count
    write("c.dat", dat);
    RunResult damaged = velnor({"info", "c.dat"});
    EXPECT_EQ(damaged.code, 1);
    EXPECT_EQ(damaged.err, "velnor: c.dat: Error reading data file (status 3)\n");
}

TEST_F(BadInput, CsvFilesAreCheckedBeforeAnythingIsWritten) {
    std::string before = files();
    struct Case {
        const char* name;
        const char* csv;
        const char* message;
    } cases[] = {
        {"unknown column", "CODE,COLOUR\nC3,red\n", "unknown item 'COLOUR' in the header row"},
        {"open quote", "CODE,NAME\nC3,\"red\nC4,blue\n", "line 2: a quoted field is not closed"},
        {"too many fields", "CODE,NAME\nC3,red\nC4,blue,9\n", "line 3: 3 fields, the header has 2"},
        {"empty", "", "no header row"},
    };
    for (const Case& c : cases) {
        write("bad.csv", c.csv);
        RunResult r = velnor({"load", "c.dat", "--csv", "bad.csv"});
        EXPECT_EQ(r.code, 2) << c.name;
        EXPECT_NE(r.err.find(c.message), std::string::npos) << c.name << ": " << r.err;
        EXPECT_EQ(files(), before) << c.name;
        // With --create nothing is made either.
        RunResult fresh = velnor({"load", "new.dat", "--csv", "bad.csv", "--create", "--fid", "c.fid"});
        EXPECT_EQ(fresh.code, 2) << c.name;
        EXPECT_FALSE(exists("new.dat")) << c.name;
        EXPECT_FALSE(exists("new.idx")) << c.name;
    }
}

TEST_F(BadInput, BadNumbersAndNamesAreUsageErrors) {
    EXPECT_EQ(velnor({"dump", "c.dat", "--key", "4"}).code, 2);
    EXPECT_EQ(velnor({"dump", "c.dat", "--thread", "1"}).code, 2);
    RunResult items = velnor({"dump", "c.dat", "--items", "CODE,WEIGHT"});
    EXPECT_EQ(items.code, 2);
    EXPECT_NE(items.err.find("no item called 'WEIGHT'"), std::string::npos) << items.err;
    RunResult net = velnor({"info", "c.dat", "--network", "TOKENRING"});
    EXPECT_EQ(net.code, 2);
    EXPECT_NE(net.err.find("unknown network type (status 106)"), std::string::npos) << net.err;
    for (const char* name : {"single", "IBMNET", "MSNET", "NETWARE", "MULTI", "PCMOS-M"})
        EXPECT_EQ(velnor({"get", "c.dat", "B2", "--network", name}).code, 0) << name;
}

TEST_F(BadInput, QuotedValuesSurviveADumpAndALoadAgain) {
    write("q.csv",
          "\xEF\xBB\xBF" "CODE,NAME,QTY\r\n"
          "Q1,\"a, b\",1\r\n"
          "Q2,\"say \"\"hi\"\"\",22\r\n"
          "Q3,back\\slash,333\r\n"
          "Q4,\"two\nlines\",4\r\n");
    ASSERT_EQ(velnor({"load", "c.dat", "--csv", "q.csv"}).code, 0);
    RunResult csv = velnor({"dump", "c.dat", "--format", "csv"});
    ASSERT_EQ(csv.code, 0);
    EXPECT_EQ(csv.out,
              "CODE,NAME,QTY\nA1,apple,3\nB2,pear,12\nQ1,\"a, b\",1\nQ2,\"say \"\"hi\"\"\",22\n"
              "Q3,back\\slash,333\nQ4,two lines,4\n");
    // The dump loads back into a second file as the same records.
    write("again.csv", csv.out);
    ASSERT_EQ(velnor({"load", "d.dat", "--csv", "again.csv", "--create", "--fid", "c.fid"}).code, 0);
    RunResult second = velnor({"dump", "d.dat", "--fid", "c.fid", "--format", "csv"});
    EXPECT_EQ(second.out, csv.out);

    RunResult json = velnor({"get", "c.dat", "Q", "--format", "json"});
    ASSERT_EQ(json.code, 0);
    EXPECT_EQ(json.out,
              "[\n  {\"CODE\": \"Q1\", \"NAME\": \"a, b\", \"QTY\": \"1\"},\n"
              "  {\"CODE\": \"Q2\", \"NAME\": \"say \\\"hi\\\"\", \"QTY\": \"22\"},\n"
              "  {\"CODE\": \"Q3\", \"NAME\": \"back\\\\slash\", \"QTY\": \"333\"},\n"
              "  {\"CODE\": \"Q4\", \"NAME\": \"two lines\", \"QTY\": \"4\"}\n]\n");
    RunResult text = velnor({"get", "c.dat", "b2"});
    EXPECT_EQ(text.out, "CODE   NAME        QTY\nB2     pear         12\n");
}

TEST_F(BadInput, OtherNamesForTheCompanionFiles) {
    std::filesystem::rename(path("c.fid"), path("other.fid"));
    std::filesystem::rename(path("c.idx"), path("other.idx"));
    RunResult r = velnor({"info", "c.dat", "--fid", "other.fid", "--index", "other.idx"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find("Definition: other.fid\nIndex: other.idx\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("2 active, 0 deleted"), std::string::npos) << r.out;
    RunResult d = velnor({"delete", "c.dat", "A1", "--fid", "other.fid", "--index", "other.idx"});
    EXPECT_EQ(d.code, 0) << d.err;
    EXPECT_FALSE(exists("c.idx"));
}
