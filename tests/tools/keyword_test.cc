// keyword_test.cc - velnor keyword from making an index to removing a
// value, and its answers for a missing or damaged index.  A word that goes
// on with a byte above 0x7F sorts below the blank the library pads a prefix
// with; the program's listing still finds it.
#include "tooltest.h"

TEST_F(ToolTest, KeywordIndexFromCreateToDelete) {
    ASSERT_EQ(velnor({"keyword", "create", "notes"}).code, 0);
    EXPECT_TRUE(exists("notes.kwd") && exists("notes.kwf") && exists("notes.kwp"));
    writefile("text.txt", "Pays by check, usually late.\n\nLate again; US office 1995\n");
    ok({"keyword", "addlines", "notes", "text.txt", "--flags", "4"});
    EXPECT_EQ(velnor({"keyword", "search", "notes", "LATE"}).out, "1\n3\n");
    EXPECT_EQ(velnor({"keyword", "search", "notes", "1995", "--json"}).out, "[3]\n");
    ASSERT_EQ(velnor({"keyword", "add", "notes.kwd", "7", "Cheque", "late"}).code, 0);
    EXPECT_EQ(lines(velnor({"keyword", "list", "notes", "3"}).out),
              (std::vector<std::string>{"1995", "again", "late", "office", "us"}));
    EXPECT_EQ(velnor({"keyword", "list", "notes", "7", "--prefix", "CH"}).out, "cheque\n");
    ASSERT_EQ(velnor({"keyword", "delete", "notes", "3"}).code, 0);
    EXPECT_EQ(velnor({"keyword", "search", "notes", "late"}).out, "1\n7\n");
    ok({"keyword", "add", "notes", "4", "köln", "kiel", "zürich", "Über", "zug"});
    EXPECT_EQ(lines(velnor({"keyword", "list", "notes", "4"}).out),
              (std::vector<std::string>{"köln", "kiel", "zürich", "zug", "Über"}));
    EXPECT_EQ(velnor({"keyword", "list", "notes", "4", "--prefix", "k"}).out, "köln\nkiel\n");
    EXPECT_EQ(velnor({"keyword", "delete", "notes", "4"}).out, "Removed 4 from 5 words.\n");
    EXPECT_TRUE(exits(1, {"keyword", "delete", "notes", "999999"}, "no word holds the value 999999"));

    EXPECT_TRUE(exits(1, {"keyword", "search", "notes", "office"}, "not in the index"));
    EXPECT_TRUE(exits(1, {"keyword", "search", "other", "late"}, "other.kwd: no such file"));
    writefile("notes.kwp", "garbage of some length");
    EXPECT_TRUE(exits(1, {"keyword", "search", "notes", "late"}, "notes.kwp: not a posting file"));
}
