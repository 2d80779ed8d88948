// fid_bin.cc - the binary form of a definition (version 608): a 20-byte
// header, 20-byte item records each followed by a text line, 84-byte key
// records, and two text lines per thread (link item name, expression).
#include <cstring>

#include "definition/fidload.h"
#include "support/runtime.h"

namespace {

enum { HDRSIZE = 20, ITEMSIZE = 20, KEYSIZE = 84, NAMESIZE = 10, VERSION = 608 };

uint16_t le16(const unsigned char* p) { return static_cast<uint16_t>(p[0] | p[1] << 8); }
uint32_t le32(const unsigned char* p) {
    return p[0] | p[1] << 8 | p[2] << 16 | static_cast<uint32_t>(p[3]) << 24;
}

bool readall(int32_t s, unsigned char* buf, uint32_t n) {
    return fastread(s, buf, n) == static_cast<int32_t>(n);
}

// A blank-padded 10-byte name with its trailing blanks removed.
char* padname(FHCB* cb, const unsigned char* p) {
    char name[NAMESIZE + 1];
    std::memcpy(name, p, NAMESIZE);
    name[NAMESIZE] = '\0';
    trim(name);
    return fidname(cb, name, static_cast<uint32_t>(std::strlen(name)));
}

int32_t header(FHCB* cb, int32_t s) {
    unsigned char h[HDRSIZE];
    if (!readall(s, h, HDRSIZE)) return fhfail(cb, VN_CORRUPT(VN_E_FIDREAD));
    if (std::memcmp(h, "TKF", 3) != 0 || le16(h + 4) != VERSION) {
        cb->status = VN_E_FIDVERSION;
        return -1;
    }
    uint16_t reclen = le16(h + 6);
    if (reclen < 8) {
        cb->status = VN_E_RECLEN;
        return -1;
    }
    if (reclen > FID_MAXRECLEN || h[10] > FID_MAXKEYS) return fhfail(cb, VN_CORRUPT(VN_E_FIDREAD));
    cb->reclen = static_cast<uint16_t>(reclen + 2);
    cb->nitems = le16(h + 8);
    cb->nkeys = static_cast<int8_t>(h[10]);
    cb->nthreads = le16(h + 16);
    uint16_t flags = le16(h + 18);
    if (flags & 2) cb->hashrecs = le32(h + 12);
    if (flags & 1) cb->fflags |= VN_FF_VARLEN;
    if (flags & 0xFF80) cb->fflags |= VN_FF_RECNO;
    if (flags & 2) cb->fflags |= VN_FF_HASHED;
    return 0;
}

int32_t items(FHCB* cb, int32_t s) {
    cb->items = fidallocitems(cb, cb->nitems);
    if (cb->items == nullptr) return -1;
    for (uint32_t i = 0; i < cb->nitems; ++i) {
        unsigned char r[ITEMSIZE];
        if (!readall(s, r, ITEMSIZE)) return fhfail(cb, VN_CORRUPT(VN_E_FIDREAD));
        FidItem& it = cb->items[i];
        it.name = padname(cb, r);
        if (it.name == nullptr) return -1;
        it.type = static_cast<char>(r[10]);
        it.just = static_cast<char>(r[11]);
        it.offset = static_cast<uint16_t>(le16(r + 12) + 1);
        it.length = le16(r + 14);
        it.occurs = le16(r + 16);
        it.order = le16(r + 18);
        if (it.offset == 0) return fhfail(cb, VN_CORRUPT(VN_E_FIDREAD));  // 0xFFFF + 1 wrapped
        char note[51];
        fastgets(s, note, 50);  // the item's description line, not kept
    }
    return 0;
}

int32_t keys(FHCB* cb, int32_t s) {
    cb->keys = fidallockeys(cb, static_cast<uint32_t>(cb->nkeys));
    if (cb->keys == nullptr) return -1;
    for (int k = 0; k < cb->nkeys; ++k) {
        unsigned char r[KEYSIZE];
        if (!readall(s, r, KEYSIZE)) return fhfail(cb, VN_CORRUPT(VN_E_FIDREAD));
        FidKey& key = cb->keys[k];
        key.name = padname(cb, r);
        if (key.name == nullptr) return -1;
        key.keylen = r[10];
        key.nsegs = r[11];
        if (key.nsegs > FID_MAXSEGS) return fhfail(cb, VN_CORRUPT(VN_E_FIDREAD));
        for (int g = 0; g < FID_MAXSEGS; ++g) {
            const unsigned char* p = r + 12 + 4 * g;
            key.seg[g].segoff = le16(p);
            key.seg[g].seglen = p[2];
            key.seg[g].segflags = p[3];
        }
    }
    return 0;
}

int32_t threads(FHCB* cb, int32_t s) {
    cb->threads = fidallocthreads(cb, cb->nthreads);
    if (cb->threads == nullptr) return -1;
    for (uint32_t t = 0; t < cb->nthreads; ++t) {
        char name[13];
        char expr[FID_EXPRLEN + 1];
        if (fastgets(s, name, 12) == nullptr) return fhfail(cb, VN_CORRUPT(VN_E_FIDREAD));
        if (fidthreadlink(cb, name, &cb->threads[t]) != 0) return -1;
        if (fastgets(s, expr, FID_EXPRLEN) == nullptr) return fhfail(cb, VN_CORRUPT(VN_E_FIDREAD));
        trim(expr);
        nstrncpy(cb->threads[t].expr, expr, FID_EXPRLEN - 1);
    }
    return 0;
}

}  // namespace

int32_t fidbin(FHCB* cb, int32_t s) {
    fastrewind(s);
    if (header(cb, s) != 0 || items(cb, s) != 0 || fidcheckitems(cb) != 0) return -1;
    if (!(cb->fflags & VN_FF_TMPIDX) && keys(cb, s) != 0) return -1;
    if (fidfinishkeys(cb) != 0) return -1;
    if (cb->nthreads != 0 && threads(cb, s) != 0) return -1;
    return 0;
}
