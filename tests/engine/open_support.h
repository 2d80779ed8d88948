// open_support.h - helpers of the engine tests: a fresh temporary directory
// per test, definition files written as text, and command blocks set up for
// open and create.
#ifndef VELNOR_TESTS_ENGINE_OPEN_SUPPORT_H
#define VELNOR_TESTS_ENGINE_OPEN_SUPPORT_H

#include <gtest/gtest.h>

#include <string>

#include "velnor.h"

namespace coretest {

// A directory made for one test and removed with everything in it.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    std::string path(const std::string& name) const;

private:
    std::string dir_;
};

// Writes text to path, replacing it.
void writefile(const std::string& path, const std::string& text);
// The whole file, or "" when it cannot be read.
std::string readfile(const std::string& path);

// A text definition of fixed 30-byte records: ID (10 bytes, key 1 when
// keyed) and NAME (20 bytes).  flags is the Flags value.
std::string fidtext(bool keyed, int flags = 0);

// A zeroed command block naming datname (fidname and idxname derived).
struct Block {
    FHCB cb;
    explicit Block(const std::string& datname);
    ~Block();
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;
    int32_t op(int opcode);             // filehandler with opcode
    int32_t write(const char* record);  // fills recbuf then operation 5
    void at(int32_t pos);               // makes the record at pos current
    int32_t readat(int32_t pos);        // at(pos), then operation 4
    void setnet(const char* name);      // operation 12, asserts success
    std::string record() const;         // recbuf as text without the newline
    char buf[512];                      // record buffer for the block
};

// Engine start and stop around a test.
class EngineTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    // Creates data file name with the given definition, keyed or not.
    std::string makefile(const std::string& name, bool keyed);
    TempDir tmp;
};

}  // namespace coretest

#endif
