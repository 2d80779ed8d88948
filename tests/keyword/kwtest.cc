// kwtest.cc - the keyword index the tests work on.
#include "kwtest.h"

#include <cstring>
#include <filesystem>
#include <fstream>

#include "common/engine.h"

namespace kwtest {

const char* const kDefinition = "TKF FID v7.0\nRecLen=35\nNItems=2\nNKeys=1\nFlags=0\nItem=KEYWORD,'C','L',0,30,1,0,\n"
                                "Item=POSN,'C','L',30,5,1,1,\nKey=KEYWORD,30,1\n0,30,0\n";

int32_t Index::open(const std::string& dir, int32_t create, bool single) {
    const std::string fid = dir + "/kw.fid";
    if (!std::filesystem::exists(fid)) std::ofstream(fid) << kDefinition;
    std::snprintf(cb.datname, sizeof cb.datname, "%s/kw.dat", dir.c_str());
    cb.work = work;
    posting = dir + "/kw.pst";
    const int32_t r = fhhypinit(&cb, posting.c_str(), 1, create);
    if (r == 0 && single) {
        std::snprintf(cb.work, 257, "SINGLE");
        cb.opcode = VN_OP_NETTYPE;
        EXPECT_EQ(filehandler(&cb), 0);
    }
    return r;
}

void Index::close() {
    if (cb.recbuf != nullptr) fhhypinit(&cb, posting.c_str(), 0, 0);
}

int32_t Index::add(const std::string& word, uint32_t value) {
    std::string copy = word;
    return fhhypaddword(&cb, copy.data(), value);
}

std::vector<uint32_t> Index::search(const std::string& word) {
    uint32_t n = 99;
    uint32_t* v = fhhypsearch(&cb, word.c_str(), &n);
    std::vector<uint32_t> out(v, v + (v ? n : 0));
    EXPECT_EQ(n, v != nullptr ? n : 0u);
    globalmfree(v);
    return out;
}

std::vector<std::string> Index::list(uint32_t value, const std::string& prefix, bool* ok) {
    uint32_t size = 0;
    char* text = fhhyplist(&cb, value, prefix.c_str(), nullptr, &size);
    vfhrunlock(&cb);
    if (ok != nullptr) *ok = text != nullptr;
    std::vector<std::string> out;
    for (const char *p = text, *end; p != nullptr && (end = std::strstr(p, "\r\n")) != nullptr; p = end + 2)
        out.push_back(vntest::rtrim(std::string(p, end)));
    globalmfree(text);
    return out;
}

std::vector<std::string> Index::words(uint32_t value) {
    std::vector<std::string> out;
    for (int c = '!'; c <= '~'; c++)
        for (const std::string& w : list(value, std::string(1, static_cast<char>(c)))) out.push_back(w);
    return out;
}

void Index::setposn(const std::string& word, const std::string& posn) {
    std::memset(cb.work, ' ', 256);
    std::memcpy(cb.work, word.data(), word.size());
    ASSERT_FALSE(vfhsetkey(&cb, 1) || vfhposn(&cb, 1) || vfhread(&cb, 1) || vfhitemset(&cb, "POSN", 0, posn.c_str()) ||
                 vfhwrite(&cb, 1))
        << "status " << +cb.status;
}

void KeywordTest::SetUp() { ASSERT_TRUE(vntest::enginestart()); }

void KeywordTest::TearDown() { vntest::enginestop(); }

}  // namespace kwtest
