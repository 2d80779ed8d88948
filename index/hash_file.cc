// hash_file.cc - the hash file itself: its 16-byte header ("TKF", 0,
// version 1376, key length, table size), the table of u32 record positions
// behind it, the size classes and the hash function.  The records the
// table points at are the engine's business.
#include <cstring>

#include "definition/definition.h"
#include "index/hash.h"
#include "index/idxfile.h"
#include "index/lebytes.h"
#include "support/os.h"
#include "velnor.h"

namespace {

enum { NCLASS = 11, KEYBUFLEN = 257 };
constexpr uint32_t ZEROBLOCK = 4096;
const uint32_t classsize[NCLASS] = {281,   601,   1501,  2801,   5003,  9001,
                                    18013, 35023, 72089, 144203, 288359};

// Length of key 0 as key building makes it.
uint32_t key0len(const IdxFile& f) {
    return (f.fflags & VN_FF_RECNO) ? 5u : f.keys[0].keylen;
}

// Takes the table size and class from hashrecs into f.
uint32_t settable(IdxFile& f) {
    unsigned c;
    uint32_t t = hshtablesize(f.hashrecs, &c);
    f.hashrecs = t;
    f.hashstate = static_cast<uint8_t>((f.hashstate & HS_FOUND) | c << HS_CLASSSHIFT);
    return t;
}

// Writes t slots of zeros (rounded up to whole blocks of 32) after the
// header.
bool writetable(int32_t h, uint32_t t) {
    static const unsigned char zeros[ZEROBLOCK] = {};
    uint64_t left = ((t + 31u) / 32u) * 128u;
    while (left > 0) {
        uint32_t n = left < ZEROBLOCK ? static_cast<uint32_t>(left) : ZEROBLOCK;
        if (oswrite(h, zeros, n) != static_cast<int32_t>(n)) return false;
        left -= n;
    }
    return true;
}

// The key-buffer state of a hashed file (see hash.h).
int32_t keystate(IdxFile& f, uint32_t keylen) {
    if (f.state != nullptr) {
        f.state->keylen[0] = static_cast<uint8_t>(keylen);
        return 0;
    }
    IdxState* st = static_cast<IdxState*>(globalcalloc(1, sizeof(IdxState)));
    char* buf = static_cast<char*>(globalmalloc(KEYBUFLEN));
    if (st == nullptr || buf == nullptr) {
        if (st != nullptr) globalmfree(st);
        if (buf != nullptr) globalmfree(buf);
        return VN_E_MEMORY;
    }
    st->version = HSH_VERSION;
    st->keylen[0] = static_cast<uint8_t>(keylen);
    st->keybuf = buf;
    f.state = st;
    return 0;
}

}  // namespace

uint32_t hshtablesize(uint32_t hashrecs, unsigned* cls) {
    unsigned c = 0;
    while (c < NCLASS - 1 && classsize[c] < hashrecs) ++c;
    *cls = c;
    return classsize[c];
}

void hshkey(const char* key, uint32_t t, unsigned c, uint32_t* h, uint32_t* d) {
    uint32_t acc = 0;
    uint16_t sum = 0;
    int phase = 0;
    for (const unsigned char* p = reinterpret_cast<const unsigned char*>(key); *p != 0; ++p) {
        uint32_t b = *p;
        sum = static_cast<uint16_t>(sum + b);
        switch (phase) {
            case 0: acc ^= b << c; break;
            case 1: acc ^= ~(t % b) & 0xFFu; break;
            case 2: acc ^= (t % b) << c; break;
            case 3: acc ^= b; break;
            case 4: acc ^= (~b & 0xFFu) << c; break;
            default: acc ^= t % b; break;
        }
        phase = phase == 5 ? 0 : phase + 1;
    }
    uint32_t step = t - acc + sum;
    if (step == 0) step = 1;
    *h = acc;
    *d = step % t;  // subtracting t while not below it
}

int32_t hshcreate(IdxFile& f) {
    if (f.nkeys < 1 || f.keys == nullptr) return VN_C_HSHNOKEY;
    int32_t h = osopen(f.path, VN_O_RDWR | VN_O_CREAT | VN_O_TRUNC | VN_O_BINARY, 0777);
    if (h < 1) return VN_E_HSHCREATE;
    uint32_t t = settable(f);
    uint8_t hdr[HSH_HDRSIZE] = {'T', 'K', 'F', 0};
    putle16(hdr + 4, HSH_VERSION);
    putle16(hdr + 6, static_cast<uint16_t>(key0len(f)));
    putle32(hdr + 8, t);
    bool ok = oswrite(h, hdr, HSH_HDRSIZE) == HSH_HDRSIZE && writetable(h, t);
    osclose(h);
    if (!ok) {
        osunlink(f.path);
        return VN_E_HSHWRITE;
    }
    return 0;
}

int32_t hshopen(IdxFile& f) {
    if (f.nkeys < 1 || f.keys == nullptr) return VN_C_HSHNOKEY;
    int32_t h = static_cast<int32_t>(f.fd);
    uint8_t hdr[HSH_HDRSIZE];
    if (osseek(h, 0, 0) != 0 || osread(h, hdr, HSH_HDRSIZE) != HSH_HDRSIZE) return VN_E_HSHREAD;
    if (std::memcmp(hdr, "TKF", 3) != 0 || getle16(hdr + 4) != HSH_VERSION) return VN_E_HSHVERSION;
    uint32_t t = settable(f);
    if (getle16(hdr + 6) != key0len(f) || getle32(hdr + 8) != t) return VN_E_HSHFID;
    return keystate(f, key0len(f));
}

uint32_t hshslotread(const IdxFile& f, uint32_t slot) {
    uint8_t b[4];
    uint32_t off = HSH_HDRSIZE + 4 * slot;
    if (osreadat(static_cast<int32_t>(f.fd), b, 4, off) != 4) return 0;
    return getle32(b);
}

int32_t hshslotwrite(const IdxFile& f, uint32_t slot, uint32_t pos) {
    uint8_t b[4];
    putle32(b, pos);
    uint32_t off = HSH_HDRSIZE + 4 * slot;
    if (oswriteat(static_cast<int32_t>(f.fd), b, 4, off) != 4) return VN_E_HSHWRITE;
    return 0;
}
