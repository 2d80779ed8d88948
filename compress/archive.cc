// archive.cc - entry headers, the walk over an archive's entries, entry
// copying, the check value and password scrambling.
#include "compress/archive.h"

#include <cstdint>
#include <cstring>

#include "compress/cmpstate.h"
#include "support/fastio.h"

static void put16(uint8_t* p, uint32_t v) {
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
}

static void put32(uint8_t* p, uint32_t v) {
    put16(p, v);
    put16(p + 2, v >> 16);
}

static uint32_t get16(const uint8_t* p) { return p[0] | static_cast<uint32_t>(p[1]) << 8; }

static uint32_t get32(const uint8_t* p) { return get16(p) | get16(p + 2) << 16; }

void cmphdrpack(const CmpHeader& h, uint8_t* out) {
    std::memset(out, 0, CMP_HDRSIZE);
    out[0] = CMP_MAGIC1;
    out[1] = CMP_MAGIC2;
    for (int32_t i = 0; i < 12 && h.name[i]; i++) {
        out[2 + i] = static_cast<uint8_t>(h.name[i]);
    }
    out[14] = h.method;
    out[15] = h.bits;
    std::memcpy(out + 16, h.datetime, 6);
    put16(out + 22, h.check);
    put32(out + 24, h.size);
    put32(out + 28, h.stored);
}

int32_t cmphdrunpack(const uint8_t* in, CmpHeader* h) {
    if (in[0] != CMP_MAGIC1 || in[1] != CMP_MAGIC2) {
        return -1;
    }
    std::memcpy(h->raw, in, CMP_HDRSIZE);
    std::memcpy(h->name, in + 2, 12);
    h->name[12] = 0;
    h->method = in[14];
    h->bits = in[15];
    std::memcpy(h->datetime, in + 16, 6);
    h->check = static_cast<uint16_t>(get16(in + 22));
    h->size = get32(in + 24);
    h->stored = get32(in + 28);
    return 0;
}

int32_t cmpnexthdr(int32_t s, int32_t first, int32_t minbytes, CmpHeader* h) {
    uint8_t raw[CMP_HDRSIZE] = {};
    if (fastread(s, raw, CMP_HDRSIZE) < minbytes) {
        if (fastfailed(s)) {  // a read error, not the end of the archive
            cmperror(CMP_E_CORRUPT);
            return -1;
        }
        return 0;
    }
    if (cmphdrunpack(raw, h) != 0) {
        cmperror(first ? CMP_E_NOTCMP : CMP_E_CORRUPT);
        return -1;
    }
    return 1;
}

int32_t cmpskip(int32_t s, const CmpHeader& h) {
    int64_t to = static_cast<int64_t>(fasttell(s)) + h.stored;
    if (to > INT32_MAX) {
        cmperror(CMP_E_CORRUPT);
        return -1;
    }
    if (fastseek(s, static_cast<int32_t>(to), 0) < 0) {
        cmperror(CMP_E_CORRUPT);
        return -1;
    }
    return 0;
}

int32_t cmpcopyentry(int32_t in, int32_t out, const CmpHeader& h) {
    uint8_t buf[CMP_INBUF];
    if (fastwrite(out, h.raw, CMP_HDRSIZE) != 0) {
        cmperror(CMP_E_WRITE);
        return -1;
    }
    uint32_t left = h.stored;
    while (left > 0) {
        int32_t want = left < sizeof buf ? static_cast<int32_t>(left) : CMP_INBUF;
        int32_t got = fastread(in, buf, want);
        if (got <= 0) {
            if (fastfailed(in)) {
                cmperror(CMP_E_CORRUPT);
                return -1;
            }
            break;
        }
        if (fastwrite(out, buf, got) != 0) {
            cmperror(CMP_E_WRITE);
            return -1;
        }
        left -= got;
    }
    return 0;
}

uint8_t cmpkeyof(const char* password) {
    uint32_t k = 0;
    for (const char* p = password; *p; p++) {
        k += static_cast<uint8_t>(*p);
    }
    return static_cast<uint8_t>(k);
}

uint16_t cmpsum(uint16_t sum, const uint8_t* p, int32_t n) {
    // Eight bytes at a time into four 16-bit lanes; 128 words fill a lane
    // to at most 128 * 510 before the lanes are added up.
    constexpr uint64_t kLow = 0x00FF00FF00FF00FFull;
    uint32_t s = sum;
    while (n >= 8) {
        const int32_t words = n / 8 < 128 ? n / 8 : 128;
        uint64_t lanes = 0;
        for (int32_t j = 0; j < words; j++, p += 8) {
            uint64_t w;
            std::memcpy(&w, p, 8);
            lanes += (w & kLow) + ((w >> 8) & kLow);
        }
        n -= words * 8;
        s += static_cast<uint32_t>((lanes & 0xFFFF) + ((lanes >> 16) & 0xFFFF) + ((lanes >> 32) & 0xFFFF) +
                                   (lanes >> 48));
    }
    for (int32_t i = 0; i < n; i++) {
        s += p[i];
    }
    return static_cast<uint16_t>(s);
}

void cmpscramble(uint8_t* p, int32_t n, int32_t key) {
    const uint8_t k = static_cast<uint8_t>(key);
    for (int32_t i = 0; i < n; i++) {
        p[i] = static_cast<uint8_t>(p[i] + k);
    }
}
