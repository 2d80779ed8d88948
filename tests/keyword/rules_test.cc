// rules_test.cc - which words a line and a single word give: the word
// rules of fhhypaddword and the splitting and filter of fhhypaddline.
#include <algorithm>
#include <string>
#include <vector>

#include "kwtest.h"

namespace {

using namespace kwtest;
using Words = std::vector<std::string>;

struct LineCase {
    const char* text;
    uint16_t flags;
    Words words;  // in key order
};

const std::string kLong = std::string(256, 'x') + std::string(44, '9');

const LineCase kLines[] = {
    {"x86-based systems, (1995).", 0, {"based", "systems"}},
    {"x86-based systems, (1995).", VN_HYP_ALNUM, {"1995", "based", "systems", "x86"}},
    {"x86-based systems, (1995).", VN_HYP_NUMBERS, {"1995", "based", "systems"}},
    {"US and The Us of a OK", 0, {"ok", "us"}},
    {"e-mail: me@host.org!", VN_HYP_MIXED, {"mail", "me@host", "org"}},
    {"\"Quoted\" 'single' (paren);", 0, {"paren", "quoted", "single"}},
    {"tab\tcr\rlf\nend", 0, {"end", "tab"}},
    {"x\x7fyz caf\xe9", 0, {}},
    {"x\x7fyz caf\xe9", VN_HYP_MIXED, {"caf\xe9", "x\x7fyz"}},
    {kLong.c_str(), 0, {std::string(30, 'x')}},  // cut at 256: letters only
};

TEST_F(KeywordTest, LinesGiveTheWordsTheFilterAllows) {
    Index ix;
    ASSERT_EQ(ix.open(dir()), 0);
    uint32_t value = 1;
    for (const LineCase& c : kLines) {
        SCOPED_TRACE(c.text);
        ASSERT_EQ(fhhypaddline(&ix.cb, c.text, value, c.flags), 0);
        EXPECT_EQ(ix.words(value), c.words);
        value++;
    }
}

struct WordCase {
    const char* word;
    const char* after;    // the caller's buffer afterwards
    bool indexed;
};

const WordCase kWords[] = {
    {"US", "us", true},   {"Us", "Us", false},   {"of", "of", false},
    {"a", "a", false},    {"", "", false},       {"AND", "and", false},
    {"The", "the", false}, {"MiXeD", "mixed", true}, {"theme", "theme", true},
};

TEST_F(KeywordTest, WordRulesFoldInTheCallersBuffer) {
    Index ix;
    ASSERT_EQ(ix.open(dir()), 0);
    uint32_t value = 1;
    for (const WordCase& c : kWords) {
        SCOPED_TRACE(c.word);
        char buf[16];
        std::snprintf(buf, sizeof buf, "%s", c.word);
        ASSERT_EQ(fhhypaddword(&ix.cb, buf, value), 0);
        EXPECT_STREQ(buf, c.after);
        const std::vector<uint32_t> found = ix.search(c.after);
        EXPECT_EQ(std::count(found.begin(), found.end(), value), c.indexed ? 1 : 0);
        value++;
    }
    // A search folds its word but applies no other rule.
    EXPECT_EQ(ix.search("MIXED"), std::vector<uint32_t>{8});
}

}  // namespace
