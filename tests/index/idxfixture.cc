// idxfixture.cc - the index test scaffolding: hand-made definitions, and
// the structure check read from the file's own bytes.
#include "idxfixture.h"

#include <cstdio>

#include "support/os.h"

TestIndex::TestIndex(const std::string& p, const std::vector<KeyDef>& keys, uint8_t fflags) : path(p) {
    unsigned off = 0;
    for (const KeyDef& k : keys) {
        FidKey fk{};
        unsigned len = 0;
        for (const Seg& s : k) {
            fk.seg[fk.nsegs++] = {static_cast<uint16_t>(off), static_cast<uint8_t>(s.len),
                                  static_cast<uint8_t>(s.flags)};
            off += s.len;
            len += s.len;
        }
        // What follows each key: the record number, else the primary key.
        len += (fflags & VN_FF_RECNO) ? 5 : table.empty() ? 0 : table[0].keylen;
        fk.keylen = static_cast<uint8_t>(len);
        table.push_back(fk);
    }
    f.keys = table.data();
    f.nkeys = static_cast<int>(table.size());
    f.fflags = fflags;
    f.path = path.c_str();
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
    setkey(key);
    uint32_t pos = 0;
    status = idxsearch(f, index, mode, &pos);
    return status ? -1 : static_cast<int32_t>(pos);
}

uint32_t TestIndex::take(uint16_t len) {
    uint32_t pos = 0;
    status = spacetake(f, len, &pos);
    return pos;
}

std::string numkey(int v, int width) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%0*d", width, v);
    return buf;
}

namespace {

struct Walker {
    TestIndex& f;
    const std::string& bytes;
    unsigned P;
    int index;
    unsigned cap, k;
    int leafdepth = -1;
    std::vector<uint32_t>& pages;
    size_t entries = 0;
    std::string prev;  // highest key seen so far in order

    std::string page(uint32_t n) const { return bytes.substr(size_t(n) * P, P); }
    std::string key(const std::string& pg, unsigned i) const { return pg.substr(4 + 4 * cap + k * i, k); }

    // Walks the subtree at n and returns its highest key.
    std::string walk(uint32_t n, int depth) {
        EXPECT_GT(n, 0u);
        EXPECT_LT(size_t(n + 1) * P, bytes.size() + 1) << "page " << n << " beyond the file";
        if (n == 0 || size_t(n + 1) * P > bytes.size() || depth > IDX_MAXDEPTH) return prev;
        pages.push_back(n);
        std::string pg = page(n);
        unsigned count = static_cast<unsigned char>(pg[1]);
        EXPECT_EQ(static_cast<unsigned char>(pg[2]), unsigned(index)) << "owner of page " << n;
        EXPECT_GE(count, 1u) << "page " << n;
        EXPECT_LT(count, cap) << "page " << n;
        // Unused slots are zero.
        for (unsigned i = count; i < cap; i++) {
            EXPECT_EQ(le32(bytes, size_t(n) * P + 4 + 4 * i), 0u);
            EXPECT_EQ(key(pg, i), std::string(k, '\0'));
        }
        bool leaf = pg[0] & 2;
        EXPECT_EQ(static_cast<unsigned char>(pg[0]), leaf ? 2u : 1u);
        if (leaf) {
            if (leafdepth < 0) leafdepth = depth;
            EXPECT_EQ(depth, leafdepth) << "leaf " << n << " out of level";
            for (unsigned i = 0; i < count; i++) {
                std::string ki = key(pg, i);
                if (!prev.empty()) {
                    EXPECT_LE(keycmp(f.f, index, prev.data(), ki.data()), 0)
                        << "order at page " << n << " entry " << i;
                }
                prev = ki;
                entries++;
            }
            return prev;
        }
        std::string high;
        for (unsigned i = 0; i < count; i++) {
            high = walk(le32(bytes, size_t(n) * P + 4 + 4 * i), depth + 1);
            if (i + 1 < count) {
                EXPECT_EQ(key(pg, i), high) << "separator " << i << " of page " << n;
            }
        }
        return high;
    }
};

}  // namespace

Layout checkstructure(TestIndex& f) {
    Layout out;
    EXPECT_EQ(pgflush(f.f.fd), 0);
    EXPECT_EQ(hdrwrite(f.f), 0);
    std::string b = readfile(f.path);
    const IdxState* st = f.st();
    unsigned P = le16(b, 94);
    uint32_t next = le32(b, 8);
    EXPECT_EQ(P, st->pagesize);
    EXPECT_EQ(next, st->nextpage);
    EXPECT_EQ(b.size(), size_t(next) * P) << "file length";
    std::vector<int> owner(next, 0);
    if (next) owner[0] = 1;
    auto claim = [&](uint32_t p, const char* what) {
        if (p >= next) {
            ADD_FAILURE() << what << " page " << p << " beyond nextpage";
            return false;
        }
        EXPECT_EQ(owner[p]++, 0) << what << " page " << p << " is in two places";
        return owner[p] == 1;
    };
    out.treepages.resize(st->nindex);
    for (int i = 0; i < st->nindex; i++) {
        uint32_t root = le32(b, 20 + 4 * i);
        EXPECT_EQ(root, st->root[i]);
        out.entries.push_back(0);
        if (!root) continue;
        Walker w{f, b, P, i, st->cursor[i].cap, st->keylen[i], -1, out.treepages[i], 0, {}};
        w.walk(root, 0);
        out.entries[i] = w.entries;
        for (uint32_t p : out.treepages[i]) claim(p, "tree");
    }
    for (uint32_t p = le32(b, 12); p; p = le32(b, size_t(p) * P)) {
        if (!claim(p, "free")) break;
        out.freepages.push_back(p);
        for (size_t i = 4; i < P; i++) EXPECT_EQ(b[size_t(p) * P + i], 0) << "freed page " << p;
    }
    for (uint32_t p = le32(b, 16); p; p = le32(b, size_t(p) * P)) {
        if (!claim(p, "space")) break;
        out.spacepages.push_back(p);
        EXPECT_LE(le16(b, size_t(p) * P + 4), (P - 6) / 6);
    }
    for (uint32_t p = 1; p < next; p++) EXPECT_EQ(owner[p], 1) << "page " << p << " is lost";
    return out;
}
