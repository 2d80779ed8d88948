// fid_text.cc - the text form of a definition: a "TKF FID v7.0" line, then
// keyword lines (RecLen, NItems, NKeys, NThreads, Flags, HashRecs, Item,
// Key with its segment lines, Thread) in any order, counts before the lines
// that fill their tables.
#include <cstdlib>
#include <cstring>

#include "definition/fidload.h"
#include "support/runtime.h"

namespace {

enum { LINEMAX = 200 };

const char* skipblanks(const char* p) {
    while (*p == ' ' || *p == '\t') ++p;
    return p;
}

// Cuts a line into comma-separated fields.  A field is cut at the next
// comma, blanks after the comma are skipped and blanks before it stay.
// When no comma follows, the field keeps the previous field's text.
class Fields {
   public:
    explicit Fields(const char* p) : p_(p) { fld_[0] = '\0'; }
    const char* next() {
        const char* comma = std::strchr(p_, ',');
        if (comma != nullptr) {
            size_t n = static_cast<size_t>(comma - p_);
            std::memcpy(fld_, p_, n);
            fld_[n] = '\0';
            p_ = skipblanks(comma + 1);
        }
        return fld_;
    }
    // The last field runs to the end of the line.
    const char* rest() {
        std::strcpy(fld_, p_);
        return fld_;
    }
    // The field as a number in [lo, hi]; false when outside.
    static bool num(const char* f, long lo, long hi, long* v) {
        *v = std::strtol(f, nullptr, 10);
        return *v >= lo && *v <= hi;
    }

   private:
    const char* p_;
    char fld_[LINEMAX + 1];
};

class TextLoader {
   public:
    TextLoader(FHCB* cb, int32_t s) : cb_(cb), s_(s) {}
    int32_t run();

   private:
    int32_t line(const char* text);
    int32_t reclen(long v);
    int32_t items(long v);
    int32_t keys(long v);
    void flags(long v);
    int32_t item(const char* p);
    int32_t key(const char* p);
    int32_t segment(FidSeg* seg, bool keep);

    FHCB* cb_;
    int32_t s_;
    uint32_t itemfill_ = 0;
    int keyfill_ = 0;
    char buf_[LINEMAX + 1] = {};
};

int32_t TextLoader::run() {
    while (fastgets(s_, buf_, LINEMAX) != nullptr)
        if (line(buf_) != 0) return -1;
    if (fidcheckitems(cb_) != 0) return -1;
    return fidfinishkeys(cb_);
}

int32_t TextLoader::line(const char* text) {
    static const char* const words[] = {"RecLen", "NItems", "NKeys", "NThreads", "Flags",
                                        "HashRecs", "Item", "Key", "Thread"};
    for (int w = 0; w < 9; ++w) {
        size_t n = std::strlen(words[w]);
        if (casencmp(text, words[w], static_cast<int32_t>(n)) != 0) continue;
        const char* p = skipblanks(text + n);
        if (*p == '=') p = skipblanks(p + 1);
        long v = std::strtol(p, nullptr, 10);
        switch (w) {
            case 0: return reclen(v);
            case 1: return items(v);
            case 2: return keys(v);
            case 3: return 0;  // the text form holds no thread table
            case 4: flags(v); return 0;
            case 5: cb_->hashrecs = v < 0 ? 0 : static_cast<uint32_t>(v); return 0;
            case 6: return item(p);
            case 7: return key(p);
            default: return 0;  // Thread lines are accepted and ignored
        }
    }
    return 0;
}

int32_t TextLoader::reclen(long v) {
    if (v < 8) {
        cb_->status = VN_E_RECLEN;
        return -1;
    }
    if (v > FID_MAXRECLEN) return fhfail(cb_, VN_CORRUPT(VN_E_FIDREAD));
    cb_->reclen = static_cast<uint16_t>(v + 2);
    return 0;
}

int32_t TextLoader::items(long v) {
    if (v < 0 || v > FID_MAXITEMS) return fhfail(cb_, VN_CORRUPT(VN_E_FIDREAD));
    fidfreeitems(cb_);
    cb_->nitems = static_cast<uint16_t>(v);
    itemfill_ = 0;
    cb_->items = fidallocitems(cb_, static_cast<uint32_t>(v));
    return cb_->items != nullptr ? 0 : -1;
}

int32_t TextLoader::keys(long v) {
    if (v < 0 || v > FID_MAXKEYS) return fhfail(cb_, VN_CORRUPT(VN_E_FIDREAD));
    fidfreekeys(cb_);
    cb_->nkeys = static_cast<int8_t>(v);
    keyfill_ = 0;
    cb_->keys = fidallockeys(cb_, static_cast<uint32_t>(v));
    return cb_->keys != nullptr ? 0 : -1;
}

void TextLoader::flags(long v) {
    if (v & 1) cb_->fflags |= VN_FF_VARLEN;
    if (v & 128) cb_->fflags |= VN_FF_RECNO;
    if (v & 2) cb_->fflags |= VN_FF_HASHED;
}

// Item = name, 'T', 'J', offset, length, occurrences, order,
int32_t TextLoader::item(const char* p) {
    if (cb_->items == nullptr || itemfill_ >= cb_->nitems) return 0;
    FidItem& it = cb_->items[itemfill_++];
    Fields f(p);
    const char* name = f.next();
    it.name = fidname(cb_, name, static_cast<uint32_t>(std::strlen(name)));
    if (it.name == nullptr) return -1;
    const char* t = f.next();
    it.type = std::strlen(t) >= 2 ? t[1] : '\0';
    const char* j = f.next();
    it.just = std::strlen(j) >= 2 ? j[1] : '\0';
    long off, len, occ, ord;
    if (!Fields::num(f.next(), 0, 65534, &off) || !Fields::num(f.next(), 0, 65535, &len) ||
        !Fields::num(f.next(), 0, 65535, &occ) || !Fields::num(f.next(), 0, 65535, &ord))
        return fhfail(cb_, VN_CORRUPT(VN_E_FIDREAD));
    it.offset = static_cast<uint16_t>(off + 1);
    it.length = static_cast<uint16_t>(len);
    it.occurs = static_cast<uint16_t>(occ);
    it.order = static_cast<uint16_t>(ord);
    return 0;
}

// Key = name, key length, segments; then one line per segment.
int32_t TextLoader::key(const char* p) {
    Fields f(p);
    const char* name = f.next();
    bool keep = cb_->keys != nullptr && keyfill_ < cb_->nkeys;
    FidKey scratch{};
    FidKey& k = keep ? cb_->keys[keyfill_++] : scratch;
    if (keep) {
        k.name = fidname(cb_, name, static_cast<uint32_t>(std::strlen(name)));
        if (k.name == nullptr) return -1;
    }
    long len, nsegs;
    if (!Fields::num(f.next(), 0, 255, &len) || !Fields::num(f.rest(), 0, FID_MAXSEGS, &nsegs))
        return fhfail(cb_, VN_CORRUPT(VN_E_FIDREAD));
    k.keylen = static_cast<uint8_t>(len);
    k.nsegs = static_cast<uint8_t>(nsegs);
    for (int s = 0; s < nsegs; ++s)
        if (segment(&k.seg[s], keep) != 0) return -1;
    return 0;
}

// offset, length, flags
int32_t TextLoader::segment(FidSeg* seg, bool keep) {
    char text[LINEMAX + 1];
    if (fastgets(s_, text, LINEMAX) == nullptr) return fhfail(cb_, VN_CORRUPT(VN_E_FIDREAD));
    if (!keep) return 0;
    Fields f(text);
    long off, len, flg;
    if (!Fields::num(f.next(), 0, 65535, &off) || !Fields::num(f.next(), 0, 255, &len) ||
        !Fields::num(f.rest(), 0, 255, &flg))
        return fhfail(cb_, VN_CORRUPT(VN_E_FIDREAD));
    seg->segoff = static_cast<uint16_t>(off);
    seg->seglen = static_cast<uint8_t>(len);
    seg->segflags = static_cast<uint8_t>(flg);
    return 0;
}

}  // namespace

int32_t fidtext(FHCB* cb, int32_t s) {
    char magic[21];
    if (fastgets(s, magic, 20) == nullptr || std::strcmp(magic, "TKF FID v7.0") != 0)
        return FID_NOTTEXT;
    cb->curkey = 0;
    TextLoader loader(cb, s);
    return loader.run();
}
