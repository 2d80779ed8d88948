// keycmp.cc - the order of the keys of one index: each key part compared
// by its kind (number, integer, bytes, case-sensitive or case-blind text),
// descending parts inverted, and a secondary key's tail compared as the
// primary key it ends in.  Comparison never allocates.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "index/btint.h"
#include "index/btree.h"
#include "definition/definition.h"
#include "index/idxfile.h"
#include "support/numconv.h"
#include "velnor.h"

namespace {

int sign(int v) { return (v > 0) - (v < 0); }

// The text of at most limit characters of a part, as an integer the way a
// 32-bit runtime reads it: leading blanks, a sign, digits; saturating.
int32_t partint(const char* p, unsigned n) {
    char buf[11];
    nstrncpy(buf, p, static_cast<int32_t>(n < 10 ? n : 10));
    long long v = strtoll(buf, nullptr, 10);
    if (v > INT32_MAX) return INT32_MAX;
    if (v < INT32_MIN) return INT32_MIN;
    return static_cast<int32_t>(v);
}

double partnum(const char* p, unsigned n) {
    char buf[51];
    nstrncpy(buf, p, static_cast<int32_t>(n < 50 ? n : 50));
    return textnum(buf);
}

// Number and integer parts, kept out of line so that the text and byte
// comparisons in the search loop need no stack for their buffers.
[[gnu::noinline]] int numpartcmp(const char* a, const char* b, unsigned n, unsigned flags) {
    if (flags & SEG_NUMERIC) return sign(numcmp(partnum(a, n), partnum(b, n)));
    int32_t x = partint(a, n), y = partint(b, n);
    if (x == y) return 0;
    // The difference is taken in 32 bits and may wrap.
    int32_t d = static_cast<int32_t>(static_cast<uint32_t>(x) - static_cast<uint32_t>(y));
    return d < 1 ? -1 : 1;
}

// Case-blind text: lower-case letters raised, every byte taken as signed,
// as casencmp compares.  Equal bytes fold equal, so a run of eight equal
// bytes is passed over in one step; a search compares many keys that
// share their first bytes.
int foldcmp(const char* a, const char* b, unsigned n) {
    unsigned i = 0;
    for (uint64_t x, y; i + 8 <= n; i += 8) {
        std::memcpy(&x, a + i, 8);
        std::memcpy(&y, b + i, 8);
        if (x != y) break;
    }
    for (; i < n; i++) {
        int x = static_cast<signed char>(a[i]), y = static_cast<signed char>(b[i]);
        if (x >= 'a' && x <= 'z') x -= 32;
        if (y >= 'a' && y <= 'z') y -= 32;
        if (x != y) return x < y ? -1 : 1;
    }
    return 0;
}

int partcmp(const char* a, const char* b, unsigned n, unsigned flags) {
    if (flags & (SEG_NUMERIC | SEG_INTEGER)) return numpartcmp(a, b, n, flags);
    if (flags & SEG_BINARY) return sign(memcmp(a, b, n));
    if (flags & SEG_CASE) return sign(strncmp(a, b, n));
    return foldcmp(a, b, n);
}

}  // namespace

int keycmp(const IdxFile& f, int index, const char* a, const char* b) {
    bool recno = (f.fflags & VN_FF_RECNO) != 0;
    bool tmp = (f.fflags & VN_FF_TMPIDX) != 0;
    if (index == 0 && recno) {
        int r = memcmp(a, b, 5);
        if (r || !tmp) return sign(r);
        return sign(memcmp(a + 5, b + 5, 4));
    }
    const FidKey& key = f.keys[recno ? index - 1 : index];
    unsigned nsegs = key.nsegs < FID_MAXSEGS ? key.nsegs : unsigned{FID_MAXSEGS};
    for (unsigned s = 0; s < nsegs; s++) {
        unsigned n = key.seg[s].seglen, flags = key.seg[s].segflags;
        int r = partcmp(a, b, n, flags);
        if (r) return (flags & SEG_DESCEND) ? -r : r;
        a += n;
        b += n;
    }
    if (index != 0) {
        int r = keycmp(f, 0, a, b);
        return (nsegs && (key.seg[nsegs - 1].segflags & SEG_DESCEND)) ? -r : r;
    }
    return tmp ? sign(memcmp(a, b, 4)) : 0;
}

unsigned keyflatlen(const IdxFile& f, int index) {
    const bool recno = (f.fflags & VN_FF_RECNO) != 0;
    const unsigned tmp = (f.fflags & VN_FF_TMPIDX) ? 4 : 0;
    if (index == 0 && recno) return 5 + tmp;
    const FidKey& key = f.keys[recno ? index - 1 : index];
    const unsigned nsegs = key.nsegs < FID_MAXSEGS ? key.nsegs : unsigned{FID_MAXSEGS};
    unsigned n = 0;
    for (unsigned s = 0; s < nsegs; s++) {
        const unsigned flags = key.seg[s].segflags;
        if (!(flags & SEG_BINARY) || (flags & (SEG_NUMERIC | SEG_INTEGER | SEG_DESCEND))) return 0;
        n += key.seg[s].seglen;
    }
    if (index == 0) return n + tmp;
    const unsigned tail = keyflatlen(f, 0);
    return tail ? n + tail : 0;
}

void keylimit(const IdxFile& f, int index, bool highest) {
    IdxState* st = f.state;
    unsigned k = st->keylen[index];
    char* key = st->keybuf;
    bool recno = (f.fflags & VN_FF_RECNO) != 0;
    unsigned flags = 0;
    if (!(index == 0 && recno)) {
        const FidKey& fk = f.keys[recno ? index - 1 : index];
        if (fk.nsegs) flags = fk.seg[0].segflags;
    }
    if (flags & SEG_DESCEND) highest = !highest;
    if (flags & (SEG_NUMERIC | SEG_INTEGER)) {
        nstrncpy(key, "999999999999", static_cast<int32_t>(k));
        if (!highest && k) key[0] = '-';
    } else {
        memset(key, highest ? 0x7F : 0x00, k);
    }
    key[k] = 0;
}
