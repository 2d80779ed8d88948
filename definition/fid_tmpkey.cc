// fid_tmpkey.cc - the key of a temporary index, built from an expression
// of item names in the work buffer: "-name" descending, "+name" ascending,
// a name written starting in lower case compares case-sensitively.
#include <cctype>
#include <cstring>

#include "definition/fidload.h"
#include "support/limits.h"

namespace {

enum { NAMEMAX = 10 };

bool namechar(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }

// True when term equals name, or name with its underscores removed.
bool matches(const char* term, const char* name) {
    if (std::strcmp(term, name) == 0) return true;
    const char* t = term;
    for (const char* n = name; *n != '\0'; ++n) {
        if (*n == '_') continue;
        if (*t++ != *n) return false;
    }
    return *t == '\0';
}

int32_t badexpr(FHCB* cb) {
    cb->status = VN_C_KEYEXPR;
    return -1;
}

int32_t findterm(FHCB* cb, const char* term) {
    for (uint32_t i = 0; i < cb->nitems; ++i)
        if (matches(term, cb->items[i].name)) return static_cast<int32_t>(i);
    return -1;
}

}  // namespace

int32_t fidtmpkey(FHCB* cb) {
    fidfreekeys(cb);
    cb->nkeys = 1;
    cb->keys = fidallockeys(cb, 1);
    if (cb->keys == nullptr) {
        cb->nkeys = 0;
        return -1;
    }
    FidKey& key = cb->keys[0];
    const char* p = cb->work != nullptr ? cb->work : "";
    const char* end = p + strnlen(p, FH_WORKMAX);
    uint32_t sum = 0;
    while (p < end && *p == ' ') ++p;
    while (p < end) {
        uint8_t flags = 0;
        if (*p == '+') {
            ++p;
        } else if (*p == '-') {
            flags |= SEG_DESCEND;
            ++p;
        }
        if (std::islower(static_cast<unsigned char>(*p))) flags |= SEG_CASE;
        char term[NAMEMAX + 1];
        int n = 0;
        for (; p < end && namechar(*p); ++p, ++n)
            if (n < NAMEMAX) term[n] = static_cast<char>(std::toupper(static_cast<unsigned char>(*p)));
        if (n < 1 || n > NAMEMAX || key.nsegs >= FID_MAXSEGS) return badexpr(cb);
        term[n] = '\0';
        int32_t at = findterm(cb, term);
        if (at < 0) return badexpr(cb);
        const FidItem& it = cb->items[at];
        if (it.length > 255) return badexpr(cb);
        FidSeg& seg = key.seg[key.nsegs++];
        seg.segoff = static_cast<uint16_t>(it.offset - 1);
        seg.seglen = static_cast<uint8_t>(it.length);
        if (it.type == 'J' || (it.type == 'D' && it.length < 11)) flags |= SEG_INTEGER;
        seg.segflags = flags;
        sum += it.length;
        while (p < end && *p == ' ') ++p;
    }
    if (sum + 4 > 255) return badexpr(cb);
    key.keylen = static_cast<uint8_t>(sum + 4);
    return 0;
}
