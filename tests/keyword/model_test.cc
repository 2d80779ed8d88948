// model_test.cc - random adds, deletes, searches and lists against a map of
// each word's values in order of adding; after each round every node of the
// posting file is in exactly one place: a chain, or the free list; the
// files end the same whether the block is shared or not.
#include <filesystem>
#include <map>
#include <random>

#include "kwtest.h"

namespace {

using namespace kwtest;
using Model = std::map<std::string, std::vector<uint32_t>>;

// Every node is on a chain or free, none twice.
void checknodes(const std::string& file, const Model& model) {
    ASSERT_EQ((file.size() - 16) % 8, 0u);
    size_t free = 0, used = 0;
    for (uint32_t at = vntest::le32(file, 8); at != 0; at = vntest::le32(file, at + 4)) {
        ASSERT_LT(at, file.size());
        ASSERT_EQ(vntest::le32(file, at), 0xFFFFFFFFu);
        ASSERT_LE(++free, file.size() / 8);
    }
    for (const auto& [word, values] : model) used += values.size();
    EXPECT_EQ(used + free, (file.size() - 16) / 8);
}

// Shared, every step reads the files; unshared, the block keeps what it read.
class KeywordModel : public KeywordTest, public testing::WithParamInterface<bool> {};

TEST_P(KeywordModel, RandomOperationsMatchAModel) {
    const bool single = GetParam();
    std::mt19937 rng(20261123);
    auto pick = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng); };
    std::vector<std::string> vocab;
    for (int i = 0; i < 60; i++) vocab.push_back(std::string(1, "abc"[i % 3]) + "w" + std::to_string(i));
    Model model;
    Index ix;
    ASSERT_EQ(ix.open(dir(), 1, single), 0);
    for (int round = 0; round < 30; round++) {
        for (int op = 0; op < 40; op++) {
            const uint32_t value = 1 + pick(25);
            if (pick(8) == 0) {
                ASSERT_EQ(fhhypdelete(&ix.cb, value), 0);
                for (auto it = model.begin(); it != model.end();) {
                    std::erase(it->second, value);
                    it = it->second.empty() ? model.erase(it) : std::next(it);
                }
            } else {
                const std::string& w = vocab[pick(vocab.size())];
                ASSERT_EQ(ix.add(w, value), 0);
                auto& vs = model[w];
                if (std::find(vs.begin(), vs.end(), value) == vs.end()) vs.push_back(value);
            }
        }
        if (round == 15) {  // what is on disk is all there is
            ix.close();
            ASSERT_EQ(ix.open(dir(), 0, single), 0);
        }
        for (const std::string& w : vocab) {
            auto it = model.find(w);
            ASSERT_EQ(ix.search(w), it == model.end() ? std::vector<uint32_t>{} : it->second) << w;
        }
        const uint32_t value = 1 + pick(25);
        const std::string prefix(1, "abc"[pick(3)]);
        std::vector<std::string> expect;
        for (const auto& [word, values] : model)
            if (word[0] == prefix[0] && std::find(values.begin(), values.end(), value) != values.end())
                expect.push_back(word);
        EXPECT_EQ(ix.list(value, prefix), expect);
        checknodes(readfile("kw.pst"), model);
    }
    // Shared, chains are read from the file; unshared, from the block's
    // copy: the same operations leave the same bytes either way.
    static std::map<bool, std::string> made;
    ix.close();
    made[single] = readfile("kw.pst") + readfile("kw.dat") + readfile("kw.idx");
    if (made.size() == 2) {
        EXPECT_TRUE(made[false] == made[true]);
    }
}

// Lines added, where a word seen before skips its lookup, leave the files
// and the block as the same words added one by one, each looked up;
// keyword records deleted behind the index's back are noticed.
TEST_F(KeywordTest, LinesLeaveWhatWordByWordAddsLeave) {
    std::mt19937 rng(7);
    auto pick = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng); };
    auto name = [](int k) { return std::string("kw") + char('a' + k % 26) + char('a' + k / 26); };
    Index lines, words;
    for (const char* sub : {"/lines", "/words"}) std::filesystem::create_directory(dir() + sub);
    ASSERT_EQ(lines.open(dir() + "/lines", 1, true), 0);
    ASSERT_EQ(words.open(dir() + "/words", 1, true), 0);
    for (uint32_t value = 1; value <= 400; value++) {
        std::string text;
        for (int i = 0, n = 1 + pick(12); i < n; i++) {
            const std::string w = pick(20) == 0 ? "and" : name(pick(40));
            text += (i ? " " : "") + w;
            ASSERT_EQ(words.add(w, value), 0);
        }
        ASSERT_EQ(fhhypaddline(&lines.cb, text.c_str(), value, 0), 0);
        ASSERT_EQ(std::string(lines.cb.recbuf, lines.cb.reclen), std::string(words.cb.recbuf, words.cb.reclen)) << text;
        ASSERT_EQ(+lines.cb.datpos, +words.cb.datpos) << text;  // packed: by value
        if (pick(50) == 0) {  // a word's record deleted through the block
            const std::string gone = name(pick(40));
            for (Index* ix : {&lines, &words}) {
                if (!ix->search(gone).empty()) {
                    ASSERT_EQ(vfhdelete(&ix->cb), 0);
                }
            }
        }
    }
    lines.close();
    words.close();
    for (const char* file : {"/kw.pst", "/kw.dat", "/kw.idx"})
        EXPECT_TRUE(readfile(dir() + "/lines" + file) == readfile(dir() + "/words" + file)) << file;
}

INSTANTIATE_TEST_SUITE_P(Sharing, KeywordModel, testing::Values(false, true));

}  // namespace
