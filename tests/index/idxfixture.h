// idxfixture.h - scaffolding of the index tests: a fresh temporary
// directory per test, an index file made for a hand-made key table with
// the context the index layer works on, and an independent reader of the
// file's bytes that checks the whole structure.
#ifndef VELNOR_TESTS_INDEX_IDXFIXTURE_H
#define VELNOR_TESTS_INDEX_IDXFIXTURE_H

#include <algorithm>
#include <string>
#include <vector>

#include "common/files.h"
#include "definition/definition.h"
#include "index/btree.h"
#include "index/idxfile.h"
#include "index/pagecache.h"

struct Seg { unsigned len, flags; };
using KeyDef = std::vector<Seg>;

// One index file and the layer's context on it.  Calls return the layer's
// status; search returns the position (0 none) or -1, keeping the status.
class TestIndex {
public:
    // keys as the definition declares them; VN_FF_RECNO in fflags adds the
    // record-number index.  Key lengths are adjusted as the loader does.
    TestIndex(const std::string& path, const std::vector<KeyDef>& keys, uint8_t fflags = 0);
    ~TestIndex() { close(); }
    int32_t create() { return idxcreate(f); }
    // Opens the file for update and loads its state: the status of idxopen.
    int32_t open();
    int32_t make() { return create() != 0 ? -1 : open(); }
    // idxclose (when open), then the handle: the status of idxclose.
    int32_t close();
    IdxState* st() { return f.state; }
    std::string foundkey(int index) const { return std::string(f.state->keybuf, f.state->keylen[index]); }
    int32_t insert(int index, const std::string& key, uint32_t pos) {
        setkey(key);
        return idxinsert(f, index, pos);
    }
    int32_t remove(int index, const std::string& key, uint32_t pos) {
        setkey(key);
        return idxdelete(f, index, pos);
    }
    int32_t search(int index, const std::string& key, int mode);
    uint32_t take(uint16_t len);  // spacetake's position, its status kept
    IdxFile f{};
    int32_t status = 0;
    std::string path;

private:
    void setkey(const std::string& key) { f.state->keybuf[key.copy(f.state->keybuf, key.size())] = 0; }
    std::vector<FidKey> table;
};

// The index tests check the classic 128-slot table; each starts from a
// fresh state and throws its own away.
class IndexTest : public vntest::TmpDirTest {
protected:
    void SetUp() override {
        runtimereset();
        pgsetcapacity(PGCACHE_SLOTS);
        ASSERT_EQ(pgcacheinit(), 0);
    }
    void TearDown() override { runtimereset(); }
};

// v in decimal, zero-padded to width digits: keys that sort as numbers.
inline std::string numkey(int v, int width = 5) {
    const std::string digits = std::to_string(v);
    return std::string(width - std::min<size_t>(width, digits.size()), '0') + digits;
}
using vntest::le16;
using vntest::le32;

// What the structure check found: entries per index, the chains' pages.
struct Layout {
    std::vector<size_t> entries;
    std::vector<uint32_t> freepages, spacepages;
};

// Writes the file's pages and header out, then reads the file back and
// checks every tree (one leaf depth, counts, keys in order, exact
// separators below the last slot, owners, zeroed unused slots) and that
// every page is in exactly one place.  Failures are reported through gtest.
Layout checkstructure(TestIndex& f);

#endif
