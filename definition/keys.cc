// keys.cc - key building (bldkey) and the number forms stored in files:
// base 95 (digit = character - 32) and upper-case hexadecimal.
#include "definition/keys.h"

#include <cstring>

#include "definition/fid.h"
#include "support/runtime.h"

namespace {

// Longest base-95 text tobase95 produces; wider requests are cut to this.
constexpr uint32_t B95_MAXWIDTH = 255;

// The definition layer's part of the runtime object: the text tobase95
// returns, which the next call overwrites.
struct DefinitionState : RuntimePart {
    char b95[B95_MAXWIDTH + 1] = {};
};

// Copies the segments of key in rec to dest; the bytes written.
int32_t copysegs(const FidKey& key, const char* rec, char* dest) {
    int32_t n = 0;
    for (int s = 0; s < key.nsegs && s < FID_MAXSEGS; ++s) {
        const FidSeg& seg = key.seg[s];
        std::memcpy(dest + n, rec + seg.segoff + 1, seg.seglen);
        n += seg.seglen;
    }
    return n;
}

}  // namespace

int32_t recordkey(const FHCB* cb, int32_t keyno, const char* rec, char* dest) {
    bool recno = (cb->fflags & VN_FF_RECNO) != 0;
    if (keyno == 0 && recno) {
        std::memcpy(dest, rec + ((cb->fflags & VN_FF_VARLEN) ? 5 : 1), 5);
        return 5;
    }
    int32_t entry = recno ? keyno - 1 : keyno;
    if (entry < 0 || entry >= cb->nkeys || cb->keys == nullptr) return 0;
    int32_t n = copysegs(cb->keys[entry], rec, dest);
    if (keyno > 0) n += recordkey(cb, 0, rec, dest + n);
    return n;
}

extern "C" int32_t VELNOR_CALL bldkey(FHCB* cb, int32_t keyno, char* dest) {
    if (cb == nullptr || dest == nullptr) {
        if (cb != nullptr) cb->status = VN_C_NOTAPPLY;
        return 0;
    }
    int32_t n = recordkey(cb, keyno, cb->recbuf, dest);
    if (cb->fflags & VN_FF_TMPIDX) {
        std::memcpy(dest + n, tobase95(static_cast<uint32_t>(cb->datpos), 4), 4);
        n += 4;
    }
    dest[n] = '\0';
    return n;
}

extern "C" char* VELNOR_CALL tobase95(uint32_t value, uint32_t width) {
    if (width > B95_MAXWIDTH) width = B95_MAXWIDTH;
    char* const b95buf = runtimeownpart<DefinitionState>(RT_DEFINITION).b95;
    std::memset(b95buf, ' ', width);
    b95buf[width] = '\0';
    for (uint32_t i = width; i > 0; --i) {
        b95buf[i - 1] = static_cast<char>(value % 95 + 32);
        value /= 95;
        if (value == 0) break;
    }
    return b95buf;
}

extern "C" uint32_t VELNOR_CALL frombase95(const char* text, uint32_t width) {
    if (text == nullptr) return 0;
    uint32_t value = 0;
    uint32_t place = 1;
    for (uint32_t i = width; i > 0; --i) {
        int32_t digit = static_cast<signed char>(text[i - 1]) - 32;
        value += static_cast<uint32_t>(digit) * place;
        place *= 95;
    }
    return value;
}

int32_t fromhex(const char* text, uint32_t width) {
    uint32_t value = 0;
    uint32_t place = 1;
    for (uint32_t i = width; i > 0; --i) {
        int c = static_cast<signed char>(text[i - 1]);
        int digit = c < 'A' ? c - '0' : c - 'A' + 10;
        value += static_cast<uint32_t>(digit) * place;
        place *= 16;
    }
    return static_cast<int32_t>(value);
}

void setext(const char* name, char* dest, const char* ext) {
    if (dest != name) std::memmove(dest, name, std::strlen(name) + 1);
    char* dot = std::strrchr(dest, '.');
    if (dot != nullptr)
        std::strcpy(dot, ext);
    else
        std::strcat(dest, ext);
}
