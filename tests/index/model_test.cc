// model_test.cc - tens of thousands of random inserts, deletes, searches in
// every mode and free-space list operations on seven indexes of one file,
// each index with different key part kinds, checked against ordered maps
// that order keys by their own simple rules; the file's whole structure is
// checked after every batch, and the file is closed and reopened midway.
// The exclusive run has fixed-length records, the shared one variable.
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

struct Order {
    int index;
    bool operator()(const std::string& sa, const std::string& sb) const {
        const auto* a = reinterpret_cast<const unsigned char*>(sa.data());
        const auto* b = reinterpret_cast<const unsigned char*>(sb.data());
        unsigned off = 0;
        for (const Seg& s : kDefs[index]) {
            if (int r = partorder(a + off, b + off, s.len, s.flags)) return ((s.flags & SEG_DESCEND) ? -r : r) < 0;
            off += s.len;
        }
        const int r = index == 0 ? 0 : partorder(a + off, b + off, kDefs[0][0].len, kDefs[0][0].flags);
        return ((kDefs[index].back().flags & SEG_DESCEND) ? -r : r) < 0;
    }
};
using Oracle = std::multimap<std::string, uint32_t, Order>;

struct Model {
    Model(TestIndex& file, unsigned seed) : f(file), rng(seed) {
        for (int i = 0; i < kIndexes; i++) oracle.emplace_back(Order{i});
    }

    void run(int steps) {
        for (int s = 0; s < steps && !::testing::Test::HasFailure(); s++) {
            const unsigned op = pick(100);
            op < 45 ? insert() : op < 74 ? remove() : op < 94 ? search() : spacelist();
        }
    }

    void check() {
        const Layout l = checkstructure(f);
        EXPECT_EQ(l.spacepages.size(), space.size());
        for (int i = 0; i < kIndexes; i++) {
            EXPECT_EQ(l.entries[i], oracle[i].size()) << "index " << i;
            walk(i);
        }
    }

    // A record: the key of each index, its primary key last; its position.
    struct Rec { std::string keys[kIndexes]; uint32_t pos; };
    struct Space { uint32_t pos; uint16_t len; };

    unsigned pick(unsigned n) { return std::uniform_int_distribution<unsigned>(0, n - 1)(rng); }
    std::string chars(const char* set, int n) {
        std::string s;
        while (n-- > 0) s += set[pick(static_cast<unsigned>(strlen(set)))];
        return s;
    }
    std::string number(const char* form, double v) {
        char buf[32];
        snprintf(buf, sizeof buf, form, v);
        return buf;
    }

    // Primary keys are upper case, so that they are unique however compared.
    Rec fresh() {
        const char* bytes = "\x01\x41\x7F\x80\xFE";
        const std::string id = chars("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789", kDefs[0][0].len);
        const std::string parts[kIndexes] = {
            "", chars("aAbBc", 6), chars(bytes, 4), number("%10.2f", (static_cast<int>(pick(601)) - 300) / 100.0),
            number("%7.0f", pick(60)), chars("abAB", 3) + chars(bytes, 2), number("%4.0f", pick(30)) + chars("xyXY", 3)};
        Rec r;
        for (int i = 0; i < kIndexes; i++) r.keys[i] = parts[i] + id;
        r.pos = 1 + 13 * nextpos++;
        return r;
    }
    Rec& any() { return recs[pick(static_cast<unsigned>(recs.size()))]; }

    void insert() {
        const Rec r = fresh();
        if (!ids.insert(r.keys[0]).second) return;
        for (int i = 0; i < kIndexes; i++) {
            EXPECT_EQ(f.insert(i, r.keys[i], r.pos), 0) << "insert into " << i;
            oracle[i].emplace(r.keys[i], r.pos);
        }
        recs.push_back(r);
    }

    // A record's keys go, now and then each right after a search has put
    // the cursor on its leaf, where an unshared delete may resume.  Keys
    // that are not there, or are there with another position, are refused.
    void remove() {
        if (recs.empty() || pick(8) == 0) {
            const int i = static_cast<int>(pick(kIndexes));
            const Rec r = recs.empty() || pick(2) ? fresh() : any();
            EXPECT_EQ(f.remove(i, r.keys[i], r.pos + (ids.count(r.keys[0]) ? 1 : 0)), VN_E_INDEX);
            return;
        }
        std::swap(any(), recs.back());
        const Rec r = recs.back();
        recs.pop_back();
        ids.erase(r.keys[0]);
        const bool found = pick(2);
        for (int i = 0; i < kIndexes; i++) {
            if (found) probe(i, SRCH_GE, r.keys[i]);
            EXPECT_EQ(f.remove(i, r.keys[i], r.pos), 0) << "delete from " << i;
            oracle[i].erase(oracle[i].find(r.keys[i]));
        }
    }

    // The key a first or last search starts from.
    std::string limit(int i, bool highest) {
        const unsigned k = f.st()->keylen[i], flags = kDefs[i][0].flags;
        if (flags & SEG_DESCEND) highest = !highest;
        if (!(flags & (SEG_NUMERIC | SEG_INTEGER))) return std::string(k, highest ? '\x7f' : '\0');
        std::string s = std::string("999999999999").substr(0, k);
        s.resize(k, '\0');
        if (!highest) s[0] = '-';
        return s;
    }

    // Runs one search and compares it with the oracle's answer.
    bool probe(int i, int mode, const std::string& key) {
        Oracle& o = oracle[i];
        const std::string from = mode == SRCH_FIRST ? limit(i, false) : mode == SRCH_LAST ? limit(i, true) : key;
        auto before = [&](Oracle::iterator it) { return it == o.begin() ? o.end() : std::prev(it); };
        const bool up = mode == SRCH_NEXT || mode == SRCH_STEP || mode == SRCH_FIRST;
        const bool down = mode == SRCH_PREV || mode == SRCH_STEPBACK || mode == SRCH_LAST;
        const auto want = mode == SRCH_EQUAL ? o.find(from)
                          : up               ? o.upper_bound(from)
                          : down             ? before(o.lower_bound(from))
                          : mode == SRCH_GE  ? o.lower_bound(from)
                                             : before(o.upper_bound(from));
        const int32_t got = f.search(i, key, mode);
        EXPECT_EQ(got, want == o.end() ? 0 : static_cast<int32_t>(want->second)) << "index " << i << " mode " << mode;
        if (want == o.end()) return false;
        EXPECT_EQ(f.foundkey(i), want->first) << "index " << i << " mode " << mode;
        return got > 0;
    }

    void search() {
        static const int modes[] = {SRCH_EQUAL, SRCH_NEXT, SRCH_PREV, SRCH_GE, SRCH_LE,
                                    SRCH_FIRST, SRCH_LAST, SRCH_STEP, SRCH_STEPBACK};
        const int i = static_cast<int>(pick(kIndexes));
        probe(i, modes[pick(9)], (recs.empty() || pick(2) ? fresh() : any()).keys[i]);
        // Step on from there a few times, as reading in key order does,
        // also from where a search that found nothing stopped.
        for (int n = pick(4); n > 0 && f.status == 0; n--)
            if (!probe(i, pick(2) ? SRCH_STEP : SRCH_STEPBACK, f.foundkey(i))) break;
    }

    // Every entry forwards; backwards, those below the highest key.
    void walk(int i) {
        size_t seen = 0, below = 0;
        for (bool ok = probe(i, SRCH_FIRST, ""); ok; ok = probe(i, SRCH_STEP, f.foundkey(i))) seen++;
        EXPECT_EQ(seen, oracle[i].size()) << "forward walk of index " << i;
        for (const auto& e : oracle[i]) below += Order{i}(e.first, limit(i, true));
        seen = 0;
        for (bool ok = probe(i, SRCH_LAST, ""); ok; ok = probe(i, SRCH_STEPBACK, f.foundkey(i))) seen++;
        EXPECT_EQ(seen, below) << "backward walk of index " << i;
    }

    // Adds of two lengths and takes of three.  Fixed-length records reuse
    // only the first entry of the first page; variable-length ones the
    // first of their length anywhere, and a page emptied cuts the list
    // there, the pages ahead of it leaving with it.
    void spacelist() {
        const unsigned per = (f.st()->pagesize - 6u) / 6u;
        const bool anywhere = f.f.fflags & VN_FF_VARLEN;
        if (pick(3)) {
            const Space e{1 + 7 * nextpos++, static_cast<uint16_t>(40 + pick(2))};
            ASSERT_EQ(spaceadd(f.f, e.pos, e.len), 0);
            auto room = std::find_if(space.begin(), space.end(), [&](auto& pg) { return pg.size() < per; });
            room != space.end() ? room->push_back(e) : space.push_front({e});
            return;
        }
        const auto len = static_cast<uint16_t>(40 + pick(3));
        uint32_t want = 0;
        for (size_t p = 0; p < space.size() && want == 0 && (anywhere || p == 0); p++) {
            auto& pg = space[p];
            const auto end = anywhere ? pg.end() : pg.begin() + 1;
            const auto it = std::find_if(pg.begin(), end, [&](const Space& e) { return e.len == len; });
            if (it == end) continue;
            want = it->pos;
            pg.erase(it);
            if (pg.empty()) space.erase(space.begin(), space.begin() + static_cast<long>(p) + 1);
        }
        EXPECT_EQ(f.take(len), want);
        EXPECT_EQ(f.status, 0);
    }

    TestIndex& f;
    std::mt19937 rng;
    std::vector<Oracle> oracle;
    std::vector<Rec> recs;
    std::set<std::string> ids;
    std::deque<std::vector<Space>> space;  // the list's pages, head first
    uint32_t nextpos = 0;
};

class BTreeModel : public IndexTest, public ::testing::WithParamInterface<bool> {};

TEST_P(BTreeModel, AgreesWithOrderedMaps) {
    const bool shared = GetParam();
    kDefs[0][0] = shared ? Seg{7, SEG_BINARY} : Seg{8, 0};
    TestIndex f(path("model.idx"), kDefs, shared ? VN_FF_VARLEN : 0);
    ASSERT_EQ(f.make(), 0);
    f.f.shared = shared;
    Model m(f, shared ? 7u : 11u);
    const int batches = shared ? 8 : 16;
    for (int b = 0; b < batches && !HasFailure(); b++) {
        m.run(1500);
        m.check();
        if (b != batches / 2) continue;
        // Everything must come back from the file alone.
        ASSERT_EQ(f.close(), 0);
        ASSERT_EQ(f.open(), 0);
        f.f.shared = shared;
        m.check();
    }
    EXPECT_GT(m.recs.size(), 1000u);
}

// Case-blind parts long enough for the comparison's eight-byte steps, in
// keys that share long prefixes and differ by case or in high bytes.
TEST_F(IndexTest, CaseBlindLongPartsOrderAsWrittenOut) {
    TestIndex f(path("fold.idx"), {{{27, 0}}});
    std::mt19937 rng(5);
    const char alphabet[] = "aAbBzZ{`@[\x80\xFE\x01 ";
    auto text = [&](std::string base) {
        for (int k = rng() % 4; k >= 0; k--) base[rng() % base.size()] = alphabet[rng() % (sizeof alphabet - 1)];
        return base;
    };
    for (int i = 0; i < 20000; i++) {
        const std::string a = text(std::string(27, 'q')), b = text(a);
        const int want = partorder(reinterpret_cast<const unsigned char*>(a.data()),
                                   reinterpret_cast<const unsigned char*>(b.data()), 27, 0);
        ASSERT_EQ(keycmp(f.f, 0, a.data(), b.data()), want) << a << " / " << b;
    }
}

INSTANTIATE_TEST_SUITE_P(Modes, BTreeModel, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Shared" : "Exclusive"; });

}  // namespace
