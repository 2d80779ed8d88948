// idxfixture.h - scaffolding of the index tests: a fresh temporary
// directory per test, a command block with a hand-made key table, an index
// file created and opened in it, and an independent reader of the file's
// bytes that checks the whole structure.
#ifndef VELNOR_TESTS_INDEX_IDXFIXTURE_H
#define VELNOR_TESTS_INDEX_IDXFIXTURE_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "common/engine.h"
#include "index/btree.h"
#include "definition/definition.h"
#include "index/idxfile.h"
#include "index/pagecache.h"
#include "velnor.h"

struct Seg {
    unsigned len;
    unsigned flags;
};
using KeyDef = std::vector<Seg>;

// One index file and the command block that works on it.
class IdxFile {
public:
    // keys as the definition declares them; fflags VN_FF_RECNO adds the
    // record-number index.  Key lengths are adjusted as the loader does.
    IdxFile(const std::string& path, const std::vector<KeyDef>& keys, uint8_t fflags = 0);
    ~IdxFile();
    int32_t create() { return idxcreate(&cb); }
    // Opens the file for update and loads its state; the result of idxopen.
    int32_t open();
    // create(), then open(): 0 when both worked.
    int32_t make() { return create() != 0 ? -1 : open(); }
    // idxclose, then the file handle; the result of idxclose.
    int32_t close();
    void shared(bool on) { cb.nettype = on ? 1 : 0; }
    IdxState* st() { return cb.index; }
    unsigned keylen(int index) const { return lens[index]; }
    // The key buffer: set to key, or the key of the entry found in index.
    void setkey(const std::string& key) { cb.index->keybuf[key.copy(cb.index->keybuf, key.size())] = 0; }
    std::string foundkey(int index) const { return std::string(cb.index->keybuf, lens[index]); }
    // key into the key buffer, then idxinsert, idxdelete or idxsearch: its result.
    int32_t insert(int index, const std::string& key, uint32_t pos) { setkey(key); return idxinsert(&cb, index, pos); }
    int32_t remove(int index, const std::string& key, uint32_t pos) { setkey(key); return idxdelete(&cb, index, pos); }
    int32_t search(int index, const std::string& key, int mode) { setkey(key); return idxsearch(&cb, index, mode); }
    FHCB cb{};
    std::string path;

private:
    std::vector<FidKey> table;
    std::vector<unsigned> lens;
};

class IndexTest : public ::testing::Test {
protected:
    // The index tests check the classic 128-slot table.
    void SetUp() override {
        pgsetcapacity(PGCACHE_SLOTS);
        ASSERT_EQ(pgcacheinit(), 0);
    }
    void TearDown() override { pgcachefree(); }
    std::string path(const std::string& name) const { return tmp.path(name); }
    vntest::TempDir tmp;
};

// v in decimal, zero-padded to width digits: keys that sort as numbers.
inline std::string numkey(int v, int width = 5) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%0*d", width, v);
    return buf;
}

using vntest::le16;
using vntest::patch;
using vntest::le32;
using vntest::readfile;

// What the structure check found: pages per tree, entries per index.
struct Layout {
    std::vector<std::vector<uint32_t>> treepages;
    std::vector<size_t> entries;
    std::vector<uint32_t> freepages;
    std::vector<uint32_t> spacepages;
};

// Writes the file's pages and header out, then reads the file back and
// checks every tree (one leaf depth, counts, keys never descending, exact
// separators below the last slot, owners) and that every page is in
// exactly one place.  Failures are reported through gtest.
Layout checkstructure(IdxFile& f);

#endif
