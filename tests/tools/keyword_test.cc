// keyword_test.cc - velnor keyword from making an index to removing a
// value, and its answers for a missing or damaged index.
#include "tooltest.h"

TEST_F(ToolTest, KeywordIndexFromCreateToDelete) {
    ASSERT_EQ(velnor({"keyword", "create", "notes"}).code, 0);
    EXPECT_TRUE(exists("notes.kwd") && exists("notes.kwf") && exists("notes.kwp"));
    write("text.txt", "Pays by check, usually late.\n\nLate again; US office 1995\n");
    RunResult r = velnor({"keyword", "addlines", "notes", "text.txt", "--flags", "4"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(velnor({"keyword", "search", "notes", "LATE"}).out, "1\n3\n");
    EXPECT_EQ(velnor({"keyword", "search", "notes", "1995", "--json"}).out, "[3]\n");
    ASSERT_EQ(velnor({"keyword", "add", "notes.kwd", "7", "Cheque", "late"}).code, 0);
    EXPECT_EQ(lines(velnor({"keyword", "list", "notes", "3"}).out),
              (std::vector<std::string>{"1995", "again", "late", "office", "us"}));
    EXPECT_EQ(velnor({"keyword", "list", "notes", "7", "--prefix", "CH"}).out, "cheque\n");
    ASSERT_EQ(velnor({"keyword", "delete", "notes", "3"}).code, 0);
    EXPECT_EQ(velnor({"keyword", "search", "notes", "late"}).out, "1\n7\n");

    RunResult none = velnor({"keyword", "search", "notes", "office"});
    EXPECT_EQ(none.code, 1);
    EXPECT_NE(none.err.find("not in the index"), std::string::npos) << none.err;
    RunResult missing = velnor({"keyword", "search", "other", "late"});
    EXPECT_EQ(missing.code, 1);
    EXPECT_NE(missing.err.find("other.kwd: no such file"), std::string::npos) << missing.err;
    write("notes.kwp", "garbage of some length");
    RunResult damaged = velnor({"keyword", "search", "notes", "late"});
    EXPECT_EQ(damaged.code, 1);
    EXPECT_NE(damaged.err.find("notes.kwp: not a posting file"), std::string::npos) << damaged.err;
}
