// model_test.cc - tens of thousands of random inserts, deletes, searches in
// every mode and free-space list operations on seven indexes of one file,
// each index with different key part kinds, checked against ordered maps
// that order keys by their own simple rules; the file's whole structure is
// checked after every batch, and the file is closed and reopened midway.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <random>
#include <set>

#include "idxfixture.h"

namespace {

// The primary key is case-blind text in the exclusive run and 7 bytes in
// the shared one, where index 2 then compares as plain bytes end to end.
std::vector<KeyDef> kDefs = {
    {{8, 0}},                                    // primary: text, case-blind
    {{6, SEG_CASE}},                             // case-sensitive text
    {{4, SEG_BINARY}},                           // bytes
    {{10, SEG_NUMERIC}},                         // decimal number
    {{7, SEG_INTEGER}},                          // integer
    {{3, SEG_DESCEND}, {2, SEG_BINARY | SEG_DESCEND}},  // descending parts
    {{4, SEG_INTEGER | SEG_DESCEND}, {3, SEG_CASE}},
};
const int kIndexes = 7;

// The key order, written out plainly.
int partorder(const unsigned char* a, const unsigned char* b, unsigned n, unsigned flags) {
    if (flags & (SEG_NUMERIC | SEG_INTEGER)) {
        // A decimal number, or an integer of at most 10 digits.
        auto value = [&](const unsigned char* p) {
            const std::string s(reinterpret_cast<const char*>(p), (flags & SEG_NUMERIC) ? n : std::min(n, 10u));
            return (flags & SEG_NUMERIC) ? strtod(s.c_str(), nullptr) : static_cast<double>(strtoll(s.c_str(), nullptr, 10));
        };
        const double u = value(a), v = value(b);
        return (u > v) - (u < v);
    }
    for (unsigned i = 0; i < n; i++) {
        int x = a[i], y = b[i];
        if (!(flags & (SEG_BINARY | SEG_CASE))) {
            // Case-blind: lower case raised, bytes taken as signed.
            x = static_cast<signed char>(x >= 'a' && x <= 'z' ? x - 32 : x);
            y = static_cast<signed char>(y >= 'a' && y <= 'z' ? y - 32 : y);
        }
        if (x != y) return x < y ? -1 : 1;
        if ((flags & SEG_CASE) && !(flags & SEG_BINARY) && x == 0) return 0;
    }
    return 0;
}

int keyorder(int index, const std::string& sa, const std::string& sb) {
    const unsigned char* a = reinterpret_cast<const unsigned char*>(sa.data());
    const unsigned char* b = reinterpret_cast<const unsigned char*>(sb.data());
    unsigned off = 0;
    for (const Seg& s : kDefs[index]) {
        int r = partorder(a + off, b + off, s.len, s.flags);
        if (r) return (s.flags & SEG_DESCEND) ? -r : r;
        off += s.len;
    }
    if (index == 0) return 0;
    int r = partorder(a + off, b + off, kDefs[0][0].len, kDefs[0][0].flags);
    return (kDefs[index].back().flags & SEG_DESCEND) ? -r : r;
}

struct Order {
    int index;
    bool operator()(const std::string& a, const std::string& b) const { return keyorder(index, a, b) < 0; }
};
using Oracle = std::multimap<std::string, uint32_t, Order>;

struct Rec {
    std::string fields[kIndexes];  // the key parts of each index
    uint32_t pos;
};

class Model {
public:
    Model(TestIndex& file, unsigned seed) : f(file), rng(seed) {
        for (int i = 0; i < kIndexes; i++) oracle.emplace_back(Order{i});
    }

    void run(int steps) {
        for (int s = 0; s < steps; s++) {
            const unsigned op = pick(100);
            op < 45 ? insert() : op < 70 ? remove() : op < 74 ? removemissing() : op < 94 ? search() : spacelist();
            if (::testing::Test::HasFailure()) return;
        }
    }

    void check() {
        Layout l = checkstructure(f);
        for (int i = 0; i < kIndexes; i++) EXPECT_EQ(l.entries[i], oracle[i].size()) << "index " << i;
        size_t listed = 0;
        for (auto& pg : space) listed += pg.size() ? 1 : 0;
        EXPECT_EQ(l.spacepages.size(), listed);
        for (int i = 0; i < kIndexes; i++) walk(i);
    }

    size_t live() const { return recs.size(); }

private:
    unsigned pick(unsigned n) { return std::uniform_int_distribution<unsigned>(0, n - 1)(rng); }
    char from(const char* set) { return set[pick(static_cast<unsigned>(strlen(set)))]; }
    std::string chars(const char* set, int n) {
        std::string s;
        for (int i = 0; i < n; i++) s += from(set);
        return s;
    }
    template <typename T>
    static std::string fmt(const char* f_, T v) {
        char buf[32];
        snprintf(buf, sizeof buf, f_, v);
        return buf;
    }

    Rec fresh() {
        Rec r;
        const char* bytes = "\x01\x41\x7F\x80\xFE";
        r.fields[0] = chars("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", kDefs[0][0].len);
        r.fields[1] = chars("aAbBc", 6);
        r.fields[2] = chars(bytes, 4);
        r.fields[3] = fmt("%10.2f", (static_cast<int>(pick(601)) - 300) / 100.0);
        r.fields[4] = fmt("%7d", static_cast<int>(pick(60)));
        r.fields[5] = chars("abAB", 3) + chars(bytes, 2);
        r.fields[6] = fmt("%4d", static_cast<int>(pick(30))) + chars("xyXY", 3);
        r.pos = 1 + 13 * nextpos++;
        return r;
    }
    static std::string key(const Rec& r, int i) { return i == 0 ? r.fields[0] : r.fields[i] + r.fields[0]; }
    static std::string upper(std::string s) {
        for (char& c : s)
            if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
        return s;
    }

    void insert() {
        Rec r = fresh();
        if (!ids.insert(upper(r.fields[0])).second) return;
        for (int i = 0; i < kIndexes; i++) {
            EXPECT_EQ(f.insert(i, key(r, i), r.pos), 0) << "insert into " << i;
            oracle[i].emplace(key(r, i), r.pos);
        }
        recs.push_back(r);
    }

    // A record's keys go; now and then each right after a search has put
    // the cursor on its leaf, where an unshared delete may resume.
    void remove() {
        if (recs.empty()) return;
        std::swap(recs[pick(static_cast<unsigned>(recs.size()))], recs.back());
        const Rec r = recs.back();
        recs.pop_back();
        ids.erase(upper(r.fields[0]));
        const bool found = pick(2);
        for (int i = 0; i < kIndexes; i++) {
            if (found) probe(i, SRCH_GE, key(r, i));
            EXPECT_EQ(f.remove(i, key(r, i), r.pos), 0) << "delete from " << i;
            auto it = oracle[i].find(key(r, i));
            ASSERT_NE(it, oracle[i].end());
            oracle[i].erase(it);
        }
    }

    // A key that is not there, or one that is there with another position.
    void removemissing() {
        int i = static_cast<int>(pick(kIndexes));
        Rec r = recs.empty() || pick(2) ? fresh() : recs[pick(static_cast<unsigned>(recs.size()))];
        if (oracle[i].count(key(r, i)) && oracle[i].find(key(r, i))->second == r.pos) r.pos += 1;
        EXPECT_EQ(f.remove(i, key(r, i), r.pos), VN_E_INDEX);
    }

    // The key a first or last search starts from.
    std::string limit(int i, bool highest) {
        unsigned k = f.st()->keylen[i];
        unsigned flags = kDefs[i][0].flags;
        if (flags & SEG_DESCEND) highest = !highest;
        if (flags & (SEG_NUMERIC | SEG_INTEGER)) {
            std::string s = std::string("999999999999").substr(0, k);
            s.resize(k, '\0');
            if (!highest) s[0] = '-';
            return s;
        }
        return std::string(k, highest ? '\x7f' : '\0');
    }

    // The entry a search of mode for probe finds, by the oracle.
    Oracle::iterator expect(int i, int mode, const std::string& probe) {
        Oracle& o = oracle[i];
        auto prevof = [&](Oracle::iterator it) { return it == o.begin() ? o.end() : std::prev(it); };
        switch (mode) {
            case SRCH_EQUAL: return o.find(probe);
            case SRCH_NEXT: case SRCH_STEP: case SRCH_FIRST: return o.upper_bound(probe);
            case SRCH_PREV: case SRCH_STEPBACK: case SRCH_LAST: return prevof(o.lower_bound(probe));
            case SRCH_GE: return o.lower_bound(probe);
            default: return prevof(o.upper_bound(probe));
        }
    }

    // Runs one search and compares it with the oracle.
    bool probe(int i, int mode, const std::string& key) {
        std::string from = mode == SRCH_FIRST ? limit(i, false) : mode == SRCH_LAST ? limit(i, true) : key;
        auto want = expect(i, mode, from);
        const int32_t got = f.search(i, key, mode);
        const bool none = want == oracle[i].end();
        EXPECT_EQ(got, none ? 0 : static_cast<int32_t>(want->second)) << "index " << i << " mode " << mode;
        if (none) return false;
        EXPECT_EQ(f.foundkey(i), want->first) << "index " << i << " mode " << mode;
        return got > 0;
    }

    void search() {
        static const int modes[] = {SRCH_EQUAL, SRCH_NEXT, SRCH_PREV, SRCH_GE, SRCH_LE,
                                    SRCH_FIRST, SRCH_LAST, SRCH_STEP, SRCH_STEPBACK};
        int i = static_cast<int>(pick(kIndexes));
        int mode = modes[pick(9)];
        std::string k = recs.empty() || pick(2) ? key(fresh(), i) : key(recs[pick(static_cast<unsigned>(recs.size()))], i);
        probe(i, mode, k);
        // Step on from there a few times, as reading in key order does.
        for (int n = pick(4); n > 0 && f.status == 0; n--) {
            int step = pick(2) ? SRCH_STEP : SRCH_STEPBACK;
            if (!probe(i, step, f.foundkey(i))) break;
        }
    }

    void walk(int i) {
        size_t seen = 0;
        std::string k;
        for (bool ok = probe(i, SRCH_FIRST, k); ok; ok = probe(i, SRCH_STEP, f.foundkey(i))) seen++;
        EXPECT_EQ(seen, oracle[i].size()) << "forward walk of index " << i;
        // Backwards from the last key below the highest key.
        auto it = expect(i, SRCH_LAST, limit(i, true));
        size_t below = it == oracle[i].end() ? 0 : std::distance(oracle[i].begin(), it) + 1;
        seen = 0;
        for (bool ok = probe(i, SRCH_LAST, k); ok; ok = probe(i, SRCH_STEPBACK, f.foundkey(i))) seen++;
        EXPECT_EQ(seen, below) << "backward walk of index " << i;
    }

    void spacelist() {
        const unsigned per = (f.st()->pagesize - 6u) / 6u;
        if (pick(3)) {
            uint32_t pos = 1 + 7 * nextpos++;
            ASSERT_EQ(spaceadd(f.f, pos, 40), 0);
            auto room = std::find_if(space.begin(), space.end(), [&](auto& pg) { return pg.size() < per; });
            if (room != space.end())
                room->push_back(pos);
            else
                space.push_front({pos});
            return;
        }
        uint16_t len = pick(5) ? 40 : 41;
        uint32_t want = 0;
        if (len == 40 && !space.empty()) {
            want = space.front().front();
            space.front().erase(space.front().begin());
            if (space.front().empty()) space.pop_front();
        }
        EXPECT_EQ(f.take(len), want);
        EXPECT_EQ(f.status, 0);
    }

    TestIndex& f;
    std::mt19937 rng;
    std::vector<Oracle> oracle;
    std::vector<Rec> recs;
    std::set<std::string> ids;
    std::deque<std::vector<uint32_t>> space;
    uint32_t nextpos = 0;
};

class BTreeModel : public IndexTest, public ::testing::WithParamInterface<bool> {};

TEST_P(BTreeModel, AgreesWithOrderedMaps) {
    bool shared = GetParam();
    kDefs[0][0] = shared ? Seg{7, SEG_BINARY} : Seg{8, 0};
    TestIndex f(path("model.idx"), kDefs);
    ASSERT_EQ(f.create(), 0);
    ASSERT_EQ(f.open(), 0);
    f.f.shared = shared;
    Model m(f, shared ? 7u : 11u);
    const int batches = shared ? 8 : 16, steps = 1500;
    for (int b = 0; b < batches && !HasFailure(); b++) {
        m.run(steps);
        m.check();
        if (b == batches / 2) {
            // Everything must come back from the file alone.
            ASSERT_EQ(f.close(), 0);
            ASSERT_EQ(f.open(), 0);
            f.f.shared = shared;
            m.check();
        }
    }
    EXPECT_GT(m.live(), 1000u);
}

INSTANTIATE_TEST_SUITE_P(Modes, BTreeModel, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Shared" : "Exclusive"; });

}  // namespace
