// engine.h - definition builders and engine command blocks for the tests of
// the index, the engine and the program: definitions written in the text or
// the binary form from a small description, loaded definitions, random
// definitions, and open files driven through filehandler.
#ifndef VELNOR_TESTS_COMMON_ENGINE_H
#define VELNOR_TESTS_COMMON_ENGINE_H

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "common/files.h"
#include "definition/fid.h"
#include "velnor.h"

namespace vntest {

// A definition described field by field.
struct Item {
    std::string name;
    char type;
    int off;  // 0-based after the status byte
    int len;
    int occurs = 1;
    char just = 'L';
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

// The definition in the text form.
std::string fidtext(const Def& d);

// Fixed 30-byte records: ID (10 bytes, the only key when keyed) and NAME
// (20 bytes), in the text form; flags is the Flags value.
std::string fidtext(bool keyed, int flags = 0);

// The usual record layout: ID (10) key 0, NAME (20) key 1 (secondary),
// shifted past the length and record number fields the flags add.
Def people(int flags = 0);

// A random text definition: up to 30 items over a record of up to 300
// bytes, names sorted through the order column, up to 6 keys whose
// segments lie on the items, random flags (never hashed with
// variable-length).
std::string randomfid(std::mt19937& rng);

// A zeroed command block holding a loaded definition, freed at the end.
struct Loaded {
    FHCB cb{};
    char work[257] = {};
    Loaded() { cb.work = work; }
    ~Loaded() { freefid(&cb); }
    Loaded(const Loaded&) = delete;
    Loaded& operator=(const Loaded&) = delete;
    // Loads the definition file path: loadfid's result.
    int32_t load(const std::string& path, uint8_t fflags = 0);
    // Writes text to t.fid in dir and loads it.
    int32_t loadtext(const TempDir& dir, const std::string& text, uint8_t fflags = 0);
};

// A zeroed command block naming datname, with a record buffer of its own:
// 512 zero bytes at first, sized to the record by create() and open().
class File {
public:
    explicit File(const std::string& datname);
    ~File();
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    int32_t op(int opcode);
    int32_t create();  // the operation, then a record buffer and lock retries
    int32_t open();
    int32_t close();
    void net(const char* name);
    int32_t setkey(int key);

    // Fills the record after the status byte with text, blank-padded.
    void set(const std::string& text);
    // Puts text at record byte at (1-based, as item offsets in memory).
    void put(int at, const std::string& text);
    std::string rec() const;  // record bytes 1 .. reclen-2
    int32_t write(const std::string& text);
    int32_t read();
    int32_t posn(const std::string& value, bool exact = false);
    int32_t posnrec(uint32_t n);  // by physical record number
    void at(int32_t pos);         // makes the record at pos current
    int32_t readat(int32_t pos);  // at(pos), then a read
    // Positions exactly on key (blank-padded to 10) and reads: the record,
    // "" when no record has the key, or the failing step and status.
    std::string lookup(const std::string& key);
    // Blanks the record, then puts id and name at the first two items.
    void fill(const std::string& id, const std::string& name);
    int32_t add(const std::string& id, const std::string& name);  // fill, then write
    bool current() const { return cb.state & VN_ST_CURRENT; }

    FHCB cb;
    std::vector<char> buf;
};

// Starts the engine (operation 0); false when it would not start.
bool enginestart();
// Stops it for good: the count back to 0, then the real shutdown.
void enginestop();

// The engine started for each test, and a fresh directory.
class EngineTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    // Creates data file name with fidtext(keyed).
    std::string makefile(const std::string& name, bool keyed);
    // Writes name.fid (text, or binary through the library when bin: the
    // form that holds threads) and returns name.dat.
    std::string define(const std::string& name, const Def& d, bool bin = false);
    TempDir tmp;
};

// What a call that returns 0 or -1 did: 0 when it succeeded, the status it
// left in cb when it failed with one, else -1.
inline int failedwith(int32_t r, const FHCB& cb) { return r == 0 ? 0 : r == -1 && cb.status != 0 ? +cb.status : -1; }

// Reads records in the current order until the read fails: the record texts
// (trimmed on the right) of active ones.
std::vector<std::string> scan(File& f);
std::string rtrim(std::string s);

}  // namespace vntest

#endif
