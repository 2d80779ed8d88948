// idxfixture.cc - the index test scaffolding: hand-made definitions, and
// the structure check read from the file's own bytes.
#include "idxfixture.h"

#include "support/os.h"

TestIndex::TestIndex(const std::string& p, const std::vector<KeyDef>& keys, uint8_t fflags) : path(p) {
    unsigned off = 0;
    for (const KeyDef& k : keys) {
        FidKey fk{};
        for (const Seg& s : k) {
            fk.seg[fk.nsegs++] = {static_cast<uint16_t>(off), static_cast<uint8_t>(s.len), static_cast<uint8_t>(s.flags)};
            off += s.len;
        }
        // Each key ends in the record number, else in the primary key.
        fk.keylen = static_cast<uint8_t>(off + ((fflags & VN_FF_RECNO) ? 5 : table.empty() ? 0 : table[0].keylen));
        table.push_back(fk);
        off = 0;
    }
    f = IdxFile{nullptr, 0, path.c_str(), table.data(), static_cast<int>(table.size()), fflags, false, 0, 0};
}

int32_t TestIndex::open() {
    int32_t fd = osopen(f.path, VN_O_BINARY | VN_O_RDWR, 0);
    if (fd < 1) return -2;
    f.fd = static_cast<uint32_t>(fd);
    const int32_t r = idxopen(f);
    if (r != 0) close();
    return r;
}

int32_t TestIndex::close() {
    const int32_t r = f.state ? idxclose(f) : 0;
    if (f.fd) osclose(static_cast<int32_t>(f.fd));
    f.fd = 0;
    return r;
}

int32_t TestIndex::search(int index, const std::string& key, int mode) {
    uint32_t pos = 0;
    setkey(key);
    status = idxsearch(f, index, mode, &pos);
    return status ? -1 : static_cast<int32_t>(pos);
}

uint32_t TestIndex::take(uint16_t len) {
    uint32_t pos = 0;
    status = spacetake(f, len, &pos);
    return pos;
}

namespace {

// Walks the trees of one index in the file's bytes b.
struct Walker {
    TestIndex& f;
    const std::string& b;
    unsigned P, cap, k;
    int index, leafdepth = -1;
    std::vector<uint32_t>& pages;
    size_t entries = 0;
    std::string prev;  // highest key seen so far in order

    std::string key(size_t at, unsigned i) const { return b.substr(at + 4 + 4 * cap + k * i, k); }

    // Walks the subtree at n and returns its highest key.
    std::string walk(uint32_t n, int depth) {
        const size_t at = size_t{n} * P;
        if (n == 0 || at + P > b.size() || depth > IDX_MAXDEPTH) {
            ADD_FAILURE() << "page " << n << " is no page of the file";
            return prev;
        }
        pages.push_back(n);
        const unsigned count = static_cast<uint8_t>(b[at + 1]);
        const bool leaf = b[at] & 2;
        EXPECT_TRUE(b[at] == (leaf ? 2 : 1) && b[at + 2] == index) << "kind or owner of page " << n;
        EXPECT_TRUE(count >= 1 && count < cap) << "count of page " << n;
        for (unsigned i = count; i < cap; i++)
            EXPECT_TRUE(le32(b, at + 4 + 4 * i) == 0 && key(at, i) == std::string(k, '\0')) << "slot " << i;
        if (leaf) {
            if (leafdepth < 0) leafdepth = depth;
            EXPECT_EQ(depth, leafdepth) << "leaf " << n << " out of level";
            for (unsigned i = 0; i < count; i++, entries++) {
                const std::string ki = key(at, i);
                EXPECT_TRUE(prev.empty() || keycmp(f.f, index, prev.data(), ki.data()) <= 0) << "page " << n;
                prev = ki;
            }
            return prev;
        }
        std::string high;
        for (unsigned i = 0; i < count; i++) {
            high = walk(le32(b, at + 4 + 4 * i), depth + 1);
            EXPECT_TRUE(i + 1 == count || key(at, i) == high) << "separator " << i << " of page " << n;
        }
        return high;
    }
};

}  // namespace

Layout checkstructure(TestIndex& f) {
    Layout out;
    EXPECT_EQ(pgflush(f.f.fd) | hdrwrite(f.f), 0);
    const std::string b = vntest::readfile(f.path);
    const IdxState* st = f.st();
    const unsigned P = le16(b, 94);
    const uint32_t next = le32(b, 8);
    EXPECT_TRUE(P == st->pagesize && next == st->nextpage && b.size() == size_t{next} * P) << "header or length";
    // Every page but the header in exactly one place.
    std::vector<int> owner(next, 0);
    auto claim = [&](uint32_t p, const char* what) {
        const bool ok = p > 0 && p < next && owner[p]++ == 0;
        if (!ok) ADD_FAILURE() << what << " page " << p << " lies beyond the file or in two places";
        return ok;
    };
    for (int i = 0; i < st->nindex; i++) {
        const uint32_t root = le32(b, 20 + 4 * i);
        EXPECT_EQ(root, st->root[i]);
        std::vector<uint32_t> pages;
        Walker w{f, b, P, st->cursor[i].cap, st->keylen[i], i, -1, pages, 0, {}};
        if (root) w.walk(root, 0);
        out.entries.push_back(w.entries);
        for (uint32_t p : pages) claim(p, "tree");
    }
    for (uint32_t p = le32(b, 12); p && claim(p, "free"); p = le32(b, size_t{p} * P)) {
        out.freepages.push_back(p);
        EXPECT_EQ(b.substr(size_t{p} * P + 4, P - 4), std::string(P - 4, '\0')) << "freed page " << p;
    }
    for (uint32_t p = le32(b, 16); p && claim(p, "space"); p = le32(b, size_t{p} * P)) {
        out.spacepages.push_back(p);
        EXPECT_LE(le16(b, size_t{p} * P + 4), (P - 6) / 6);
    }
    for (uint32_t p = 1; p < next; p++) EXPECT_EQ(owner[p], 1) << "page " << p << " is lost";
    return out;
}
