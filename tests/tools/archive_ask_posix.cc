// archive_ask_posix.cc - the overwrite question is never answered from
// input that is not a terminal: without --overwrite an existing file stays.
// (The Windows emulator reports redirected input as a terminal, so this
// runs natively only.)
#include "tooltest.h"

TEST_F(ToolTest, ExtractingOverAFileNeedsOverwriteWithoutATerminal) {
    writefile("text.txt", "original");
    ASSERT_EQ(velnor({"archive", "add", "a.cmp", "text.txt"}).code, 0);
    writefile("text.txt", "changed");
    EXPECT_TRUE(exits(1, {"archive", "extract", "a.cmp"}, "--overwrite"));
    EXPECT_EQ(readfile("text.txt"), "changed");
    // Typed answers are not taken from a pipe either.
    EXPECT_EQ(velnor({"archive", "extract", "a.cmp"}, "y\n").code, 1);
    EXPECT_EQ(readfile("text.txt"), "changed");
    ok({"archive", "extract", "a.cmp", "--overwrite"});
    EXPECT_EQ(readfile("text.txt"), "original");
}
