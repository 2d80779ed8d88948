// fastio_test.cc - the buffered streams on real files: random writes, reads
// and seeks against a string, and coded records.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "support/fastio.h"
#include "common/files.h"
#include "velnor.h"

namespace {

constexpr uint32_t kCreate = VN_O_BINARY | VN_O_CREAT | VN_O_TRUNC | VN_O_RDWR;
constexpr uint32_t kRead = VN_O_BINARY | VN_O_RDONLY;

class FastIo : public vntest::TmpDirTest {
protected:
    int32_t openread(const std::string& name, const std::string& bytes) {
        writefile(name, bytes);
        return fastopen(path(name).c_str(), kRead, 0);
    }
};

}  // namespace

TEST_F(FastIo, RandomChunksReadBackLikeAString) {
    std::mt19937 rng(42);
    std::string model;
    int32_t s = fastopen(path("r").c_str(), kCreate, 511);
    while (model.size() < 20000) {
        std::string chunk(rng() % 3000, '\0');
        for (char& c : chunk) c = static_cast<char>(rng());
        if (rng() % 3 == 0 && !chunk.empty()) {
            for (char c : chunk) ASSERT_EQ(fastputc(s, static_cast<unsigned char>(c)), 0);
        } else {
            ASSERT_EQ(fastwrite(s, chunk.data(), static_cast<uint32_t>(chunk.size())), 0);
        }
        model += chunk;
        ASSERT_EQ(fasttell(s), static_cast<int32_t>(model.size()));
    }
    ASSERT_EQ(fastclose(s), 0);
    ASSERT_EQ(readfile("r"), model);

    s = fastopen(path("r").c_str(), kRead, 0);
    size_t at = 0;
    while (at < model.size()) {
        uint32_t want = rng() % 5000;
        if (rng() % 4 == 0) {
            ASSERT_EQ(fastgetc(s), static_cast<unsigned char>(model[at++]));
            continue;
        }
        if (rng() % 5 == 0) {  // seek from the start or from here
            const int32_t to = static_cast<int32_t>(rng() % model.size());
            ASSERT_EQ(rng() % 2 ? fastseek(s, to - static_cast<int32_t>(at), 1) : fastseek(s, to, 0), to);
            at = static_cast<size_t>(to);
            ASSERT_EQ(fasttell(s), to);
        }
        std::string got(want, '\0');
        const size_t expect = std::min<size_t>(want, model.size() - at);
        ASSERT_EQ(fastread(s, got.data(), want), static_cast<int32_t>(expect));
        ASSERT_EQ(got.substr(0, expect), model.substr(at, expect));
        at += expect;
        ASSERT_EQ(fasttell(s), static_cast<int32_t>(at));
    }
    char c;
    EXPECT_EQ(fastread(s, &c, 1), 0);
    EXPECT_EQ(fastgetc(s), -1);
    EXPECT_EQ(fastrewind(s), 0);
    EXPECT_EQ(fastgetc(s), static_cast<unsigned char>(model[0]));
    fastclose(s);
}

// A coded record: 0x1E n stands for n blanks, 0x1F n for n escape bytes,
// and a NUL ends it; it is padded with blanks to the width asked for.
TEST_F(FastIo, CodedRecordsArePaddedAndCutNotOverrun) {
    std::string runs;
    for (int i = 0; i < 100; ++i) runs += "\x1E\x7F";  // 200 bytes coded
    std::string data = std::string("\x1E\x05X\0", 4) + std::string("a\x1F\x02" "b\0", 5) +
                       std::string("\x1E\x7F\0", 3) + runs + std::string("\0next\0", 6) + "tail";
    int32_t s = openread("c", data);
    struct Step {
        int32_t width;
        std::string want;  // then a byte left as it was
    } steps[] = {{8, "     X  "},
                 {3, "a\x1B\x1B" "b"},  // longer than the width: not cut
                 {2, std::string(127, ' ')},
                 {10, std::string(63 * 127, ' ')},  // 63 full runs and a dangling run code
                 {4, "next"}};
    for (const Step& st : steps) {
        std::vector<char> out(9000, '#');
        ASSERT_EQ(fastagets(s, out.data(), st.width), out.data()) << st.width;
        EXPECT_EQ(std::string(out.data(), st.want.size() + 1), st.want + "#") << st.width;
    }
    char last[16];
    EXPECT_EQ(fastagets(s, last, 8), nullptr);  // "tail" has no NUL
    fastclose(s);
}
