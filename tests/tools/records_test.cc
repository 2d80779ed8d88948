// records_test.cc - load, dump, get, delete and info on one small file of
// variable-length records: a repeated primary key rewrites its
// record, a value too long for its item is cut, a thread holds the large
// amounts newest first, and a deleted record leaves every order.  (The
// engine's model tests drive the same operations at random.)
#include "tooltest.h"

namespace {

class Records : public ToolTest {
protected:
    void SetUp() override {
        ToolTest::SetUp();
        // Items start at 4: a variable-length record keeps its length there.
        std::vector<vntest::Item> items{{"CODE", 'C', 4, 8}, {"NAME", 'C', 12, 12}, {"AMOUNT", 'N', 24, 7, 1, 'R'},
                                        {"TAGS", 'C', 31, 5, 3}, {"LINK", 'C', 46, 4}};
        std::vector<vntest::Key> keys{{"CODE", 8, {{4, 8, 0}}}, {"NAME", 12, {{12, 12, 0}}}};
        writefile("c.txt", textfid(50, 1, items, keys, {{"LINK", "AMOUNT > 500"}}));
        ASSERT_EQ(velnor({"fid", "compile", "c.txt", "c.fid"}).code, 0);
    }
    // The data lines of velnor ARGS as CSV.
    std::vector<std::string> query(std::vector<std::string> args) {
        for (const char* a : {"--format", "csv", "--items", "CODE,NAME,AMOUNT,TAGS"}) args.push_back(a);
        std::vector<std::string> l = lines(ok(args));
        if (!l.empty()) l.erase(l.begin());
        return l;
    }
    std::vector<std::string> dump(std::vector<std::string> args) {
        args.insert(args.begin(), {"dump", "c.dat"});
        return query(args);
    }
};

using Lines = std::vector<std::string>;

}  // namespace

TEST_F(Records, LoadDumpGetDeleteAndInfo) {
    // A1 enters the thread, then its rewrite (same length: its place kept)
    // leaves it; C3 and D4 enter it.
    writefile("in.csv", "CODE,NAME,AMOUNT,TAGS[1],TAGS[2],TAGS[3]\n"
                        "A1,PEAR TREE,700,x,,\nB2,APPLE,20,,,\nC3,APPLE,900,longtag,,\nA1,PEAR TREE,30,x,,\n"
                        "D4,ZED,600,,,\n");
    RunResult load = velnor({"load", "c.dat", "--csv", "in.csv", "--create", "--replace"});
    ASSERT_EQ(load.code, 0) << load.err;
    EXPECT_EQ(load.out, "Loaded 5 records into c.dat; 1 replaced record.\n");
    EXPECT_TRUE(holds(load.err, "line 4: TAGS[1] cut to 'longt', the 5 bytes of the item"));
    EXPECT_EQ(load.err.find('\r'), std::string::npos) << "progress drawn off a terminal";
    EXPECT_TRUE(holds(velnor({"load", "c.dat", "--csv", "in.csv", "--create"}).err, "already exists"));

    const std::string a1 = "A1,PEAR TREE,30,x,,", b2 = "B2,APPLE,20,,,", c3 = "C3,APPLE,900,longt,,",
                      d4 = "D4,ZED,600,,,";
    EXPECT_EQ(dump({}), (Lines{a1, b2, c3, d4}));
    EXPECT_EQ(dump({"--key", "2"}), (Lines{b2, c3, a1, d4}));
    EXPECT_EQ(dump({"--thread", "1"}), (Lines{d4, c3}));
    EXPECT_EQ(query({"get", "c.dat", "--key", "2", "AP"}), (Lines{b2, c3}));
    EXPECT_EQ(query({"get", "c.dat", "A1", "--exact"}), Lines{a1});

    EXPECT_EQ(ok({"delete", "c.dat", "C3"}), "Deleted 1 record.\n");
    EXPECT_TRUE(exits(1, {"delete", "c.dat", "C3"}, "no record whose key 1 is"));
    RunResult nomatch = velnor({"get", "c.dat", "C3", "--exact"});
    EXPECT_EQ(nomatch.code, 1);
    EXPECT_TRUE(nomatch.out.empty()) << nomatch.out;
    EXPECT_EQ(dump({"--key", "2"}), (Lines{b2, a1, d4}));
    EXPECT_EQ(dump({"--deleted"}), (Lines{"," + a1, "," + b2, "D," + c3, "," + d4}));
    EXPECT_EQ(dump({"--thread", "1"}), Lines{d4});

    const std::string info = ok({"info", "c.dat"});
    EXPECT_TRUE(holds(info, "Records: 4 in the header count; 3 active, 1 deleted"));
    EXPECT_TRUE(holds(info, "Indexed on 2 keys."));
    EXPECT_TRUE(holds(info, "Variable-length records."));
}
