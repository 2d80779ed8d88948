// kwtest.h - a keyword index in a fresh folder for each test: its
// definition, the open block, and the calls the tests make, in plain C++
// types.
#ifndef VELNOR_TESTS_KEYWORD_KWTEST_H
#define VELNOR_TESTS_KEYWORD_KWTEST_H

#include <filesystem>
#include <string>
#include <vector>

#include "common/files.h"
#include "velnor.h"

namespace kwtest {

// The keyword file's definition: KEYWORD of 30 characters (key 1), POSN of 5.
extern const char* const kDefinition;

// A block for the keyword index kw.dat / kw.pst in a folder.
struct Index {
    FHCB cb{};
    char work[257] = {};
    std::string posting;
    // Opens (with create, making) the index in dir, shared unless single;
    // fhhypinit's result.
    int32_t open(const std::string& dir, int32_t create = 1, bool single = false);
    void close();
    ~Index() { close(); }

    // fhhypaddword on a copy of word.
    int32_t add(const std::string& word, uint32_t value);
    // fhhypsearch's values (empty when it returns null).
    std::vector<uint32_t> search(const std::string& word);
    // fhhyplist's words for prefix, trailing blanks removed; *ok is false
    // when it returned null.
    std::vector<std::string> list(uint32_t value, const std::string& prefix, bool* ok = nullptr);
    // The words of every first character that hold value.
    std::vector<std::string> words(uint32_t value);
    // Sets "POSN" of word's record to the five characters posn.
    void setposn(const std::string& word, const std::string& posn);
};

// A posting node.
using vntest::le32;
inline std::string node(uint32_t value, uint32_t next) { return le32(value) + le32(next); }

// Engine started and stopped around each test; a folder for the files.
class KeywordTest : public vntest::TmpDirTest {
protected:
    void SetUp() override;
    void TearDown() override;
    std::string dir() const { return tmp.dir(); }
};

}  // namespace kwtest

#endif
