// record_support.h - helpers of the record tests: definitions written in
// the text or the binary form from a small description, and an open file
// with a record buffer of its own driven through filehandler.
#ifndef VELNOR_TESTS_ENGINE_RECORD_SUPPORT_H
#define VELNOR_TESTS_ENGINE_RECORD_SUPPORT_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "open_support.h"
#include "velnor.h"

namespace rectest {

struct Item {
    std::string name;
    char type;
    int off;  // 0-based after the status byte
    int len;
    int occurs = 1;
};
struct Seg {
    int off, len, flags;
};
struct Key {
    std::string name;
    int keylen;
    std::vector<Seg> segs;
};
struct Thread {
    std::string item;  // the link item
    std::string expr;
};
struct Def {
    int reclen = 0;  // without status byte and newline
    int flags = 0;
    int hashrecs = 0;
    std::vector<Item> items;
    std::vector<Key> keys;
    std::vector<Thread> threads;
};

std::string fidtext(const Def& d);
std::string fidbin(const Def& d);

// An engine file: a command block and its record buffer.
class File {
public:
    explicit File(const std::string& datname);
    ~File();
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    int32_t op(int opcode);
    int32_t create();  // operation 2, then a record buffer
    int32_t open();    // operation 1, then a record buffer
    int32_t close();
    void net(const char* name);  // operation 12
    int32_t setkey(int key);     // operation 19

    // Fills the record after the status byte with text, blank-padded.
    void set(const std::string& text);
    // Puts text at record byte at (1-based, as item offsets in memory).
    void put(int at, const std::string& text);
    std::string rec() const;  // record bytes 1 .. reclen-2
    int32_t write(const std::string& text);
    int32_t read();
    int32_t posn(const std::string& value, bool exact = false);
    int32_t posnrec(uint32_t n);  // by physical record number
    int32_t del(const std::string& text);
    bool current() const { return cb.state & VN_ST_CURRENT; }

    FHCB cb;
    std::vector<char> buf;
};

// Engine up for each test, and a fresh directory.
class RecordTest : public coretest::EngineTest {
protected:
    // Writes name.fid (text, or binary when bin) and returns name.dat.
    std::string define(const std::string& name, const Def& d, bool bin = false);
    std::string bytes(const std::string& dat) { return coretest::readfile(dat); }
};

// The usual test layout: ID (10) key 0, NAME (20) key 1 (secondary).
Def people(int flags = 0);

// Reads records in the current order until the read fails: the record texts
// (trimmed on the right) of active ones.
std::vector<std::string> scan(File& f);
std::string rtrim(std::string s);

}  // namespace rectest

#endif
