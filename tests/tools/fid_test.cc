// fid_test.cc - velnor fid compile and show: threads carried over into the
// binary form and back to text, and definitions that must be refused.
// (The binary form's bytes are checked where the library writes them.)
#include "tooltest.h"

namespace {

const std::vector<vntest::Item> items{
    {"CODE", 'C', 0, 8}, {"AMOUNT", 'N', 8, 7, 1, 'R'}, {"LINK", 'C', 15, 4}, {"NAME", 'C', 19, 12}};
const std::vector<vntest::Key> keys{{"CODE", 8, {{0, 8, 0}}}, {"NAME", 12, {{19, 12, 0}}}};

}  // namespace

TEST_F(ToolTest, CompileRefusesBadDefinitions) {
    auto thread = [](const std::string& link, const std::string& expr) {
        return textfid(31, 0, items, keys, {{link, expr}});
    };
    auto item = [](const vntest::Item& it) { return textfid(31, 0, {it}, {}); };
    const std::string plain = textfid(31, 0, items, keys);
    const std::string one = "TKF FID v7.0\nRecLen = 31\nNItems = 1\nNKeys = 0\nFlags = 0\n";
    const std::pair<std::string, std::string> cases[] = {  // the definition, the message
        {thread("NOPE", "AMOUNT > 1"), "NOPE"},
        {plain + "Thread = LINK AMOUNT > 1\n", "Thread = LINKITEM"},
        {plain + "Colour = red\n", "line 14: unknown keyword 'Colour = red'"},
        {item({"ELEVENCHARS", 'C', 0, 4}), "10 characters"},
        {item({"A", 'X', 0, 4}), "line 6: item A: unknown type 'X'"},
        {item({"A", 'C', 28, 2, 2}), "line 6: item A ends at byte 32, past the record's 31"},
        {textfid(31, 0, {{"A", 'C', 0, 4}, {"A", 'C', 4, 4}}, {}), "line 7: item A is defined twice"},
        {textfid(31, 0, items, {{"K", 4, {{2, 4, 0}}}}), "line 11: key K: no item starts at byte 2"},
        // The engine keeps a variable-length record's length in its first
        // 4 bytes, and its number in the 5 after them with Flags 128.
        {one + "Item = A,'C','L',0,4,1,1,\n", "line 6: item A: its order field 1 must be below NItems 1"},
        {textfid(31, 0, items, {{"K", 4, {{0, 8, 0}}}}), "line 10: key K: its length 4 is shorter than its segments' 8"},
        {textfid(31, 1, items, keys), "line 6: item CODE: offset 0 is inside the first 4 bytes"},
        {textfid(31, 129, {{"A", 'C', 4, 4}, {"B", 'C', 9, 4}}, {}), "line 6: item A: offset 4 is inside the first 9"},
    };
    for (const auto& [text, message] : cases) {
        writefile("bad.txt", text);
        RunResult r = velnor({"fid", "compile", "bad.txt", "bad.fid"});
        EXPECT_EQ(r.code, 1) << message;
        EXPECT_TRUE(holds(r.err, message));
        EXPECT_EQ(r.err.rfind("velnor: bad.txt", 0), 0u) << r.err;
    }
}

// The thread only the binary form holds is kept, shown, and written back
// as text that compiles to the same bytes.
TEST_F(ToolTest, CompileKeepsTheThreadAndShowTextCompilesBack) {
    writefile("t.txt", textfid(31, 0, {{"CODE", 'C', 0, 8}, {"AMOUNT", 'N', 8, 7, 1, 'R'}, {"LINK", 'C', 15, 4}},
                               {{"CODE", 8, {{0, 8, 0}}}, {"AMT", 15, {{8, 7, 1}, {0, 8, 4}}}},
                               {{"LINK", "AMOUNT > 100"}}));
    EXPECT_TRUE(holds(ok({"fid", "compile", "t.txt", "a.fid"}), "3 items, 2 keys, 1 thread."));
    EXPECT_TRUE(holds(ok({"fid", "show", "a.fid"}), "linked through LINK: AMOUNT > 100"));
    writefile("shown.txt", ok({"fid", "show", "--text", "a.fid"}));
    ok({"fid", "compile", "shown.txt", "b.fid"});
    EXPECT_EQ(vntest::hex(readfile("b.fid")), vntest::hex(readfile("a.fid")));
}
