// lzwcode.cc - the coder: LZW over the source file in 2048-byte blocks with
// an open-addressed hash table sized to the code width, a first-block test
// that narrows the width or stores the file, and codes packed through a
// 64-bit accumulator that forms four bytes at a time.
#include <cstdlib>
#include <cstring>

#include "compress/cmpbulk.h"
#include "compress/cmpstate.h"
#include "compress/cmpwnd.h"
#include "compress/lzw.h"
#include "support/fastio.h"

namespace {

// Bytes of coded output gathered before they are written to the archive.
constexpr int32_t kOutBuf = 65536;

struct Coder {
    int32_t arc;        // archive stream
    int32_t bits;       // code width
    int32_t size;       // hash table size
    int32_t shift;      // hash shift
    int32_t hash[256];  // each byte shifted left by it
    int32_t guard;      // the size is not prime: probes are bounded
    int32_t maxcode;    // 2^bits - 1, the end code
    int32_t next;       // next free code
    int32_t* key;       // the hash table: pair keys (prefix + byte * 65536, -1 empty)
    uint16_t* code;     // and the codes of their strings; apart, so that the
                        // keys a probe passes lie close together
    uint64_t acc;       // bits not yet formed into bytes (the low nbits)
    int32_t nbits;      // number of them
    int32_t outpos;     // bytes formed in out
    int64_t outtotal;   // bytes already written to the archive
    int32_t failed;     // a write to the archive failed
    uint8_t key8;       // password key
    uint8_t out[kOutBuf + 8];
    CmpBulkReader src;  // the source file
};

__attribute__((noinline)) void flushout(Coder& c) {
    if (c.outpos > 0 && cmpputblock(c.arc, c.out, c.outpos) != 0 && !c.failed) {
        c.failed = 1;
        cmperror(CMP_E_WRITE);
    }
    c.outtotal += c.outpos;
    c.outpos = 0;
}

// Forms the four oldest of the nbits pending bits into bytes, scrambled.
inline void formfour(uint8_t* o, uint64_t acc, int32_t nbits, uint8_t k) {
    const uint32_t w = static_cast<uint32_t>(acc >> nbits);
    o[0] = static_cast<uint8_t>((w >> 24) + k);
    o[1] = static_cast<uint8_t>((w >> 16) + k);
    o[2] = static_cast<uint8_t>((w >> 8) + k);
    o[3] = static_cast<uint8_t>(w + k);
}

// Appends one code.  Bytes are formed four at a time once more than 40
// bits wait; the pending bits then still hold more than a byte, so every
// byte formed is one a later code has completed.
inline void putcode(Coder& c, uint32_t v) {
    c.acc = (c.acc << c.bits) | v;
    c.nbits += c.bits;
    if (c.nbits > 40) {
        c.nbits -= 32;
        formfour(c.out + c.outpos, c.acc, c.nbits, c.key8);
        c.outpos += 4;
        if (c.outpos >= kOutBuf) {
            flushout(c);
        }
    }
}

// Bytes completed so far when a byte is completed only as a later code
// needs room beyond it: all but the last 1-8 pending bits.
int64_t completed(const Coder& c) {
    return c.outtotal + c.outpos + (c.nbits > 8 ? (c.nbits - 1) / 8 : 0);
}

// The end of the stream: forms the completed bytes, drops the last one.
void finish(Coder& c) {
    while (c.nbits > 8) {
        c.nbits -= 8;
        c.out[c.outpos++] = static_cast<uint8_t>((c.acc >> c.nbits) + c.key8);
    }
    flushout(c);
}

void clearkeys(Coder& c) {
    std::memset(c.key, 0xFF, sizeof(int32_t) * c.size);  // every key -1
    c.next = LZW_FIRST;
}

bool isprime(int32_t n) {
    for (int32_t d = 2; d * d <= n; d++) {
        if (n % d == 0) {
            return false;
        }
    }
    return n > 1;
}

void setwidth(Coder& c, int32_t bits) {
    c.bits = bits;
    c.size = lzwtablesize(bits);
    c.guard = !isprime(c.size);
    c.shift = lzwshift(bits);
    for (int32_t b = 0; b < 256; b++) {
        c.hash[b] = b << c.shift;
    }
    c.maxcode = (1 << bits) - 1;
    c.acc = 0;
    c.nbits = 0;
    c.outpos = 0;
    c.outtotal = 0;
    clearkeys(c);
}

// Codes the n bytes at p, extending the string whose code is *prefix.
// The table and packing state live in locals while the block runs.  Only
// a table whose size is not prime can send a probe round a cycle of full
// slots; guard bounds the probes for those.
template <bool guard>
void codeblock(Coder& c, const uint8_t* p, int32_t n, int32_t* prefix) {
    int32_t* const keys = c.key;
    uint16_t* const codes = c.code;
    const int32_t size = c.size;
    const int32_t* const hash = c.hash;
    const int32_t bits = c.bits;
    const int32_t maxcode = c.maxcode;
    uint64_t acc = c.acc;
    int32_t nbits = c.nbits;
    int32_t next = c.next;
    int32_t ent = *prefix;
    const uint8_t* const end = p + n;
    while (p < end) {
        const int32_t ch = *p++;
        const int32_t fk = ent + (ch << 16);
        int32_t i = hash[ch] ^ ent;
        int32_t key = keys[i];
        if (key == fk) {
            ent = codes[i];
            continue;
        }
        if (key != -1) {
            const int32_t step = i == 0 ? 1 : size - i;
            int32_t probes = size;
            do {
                i -= step;
                i += i < 0 ? size : 0;
                key = keys[i];
            } while (key != fk && key > 0 && (!guard || --probes != 0));
            if (key == fk) {
                ent = codes[i];
                continue;
            }
        }
        acc = (acc << bits) | static_cast<uint32_t>(ent);
        nbits += bits;
        ent = ch;
        if (next < maxcode) {
            keys[i] = fk;
            codes[i] = static_cast<uint16_t>(next++);
        } else {
            c.acc = acc;
            c.nbits = nbits;
            putcode(c, LZW_CLEAR);
            acc = c.acc;
            nbits = c.nbits;
            clearkeys(c);
            next = LZW_FIRST;
        }
        if (nbits > 40) {
            nbits -= 32;
            formfour(c.out + c.outpos, acc, nbits, c.key8);
            c.outpos += 4;
            if (c.outpos >= kOutBuf) {
                flushout(c);
            }
        }
    }
    *prefix = ent;
    c.acc = acc;
    c.nbits = nbits;
    c.next = next;
}

void code(Coder& c, const uint8_t* p, int32_t n, int32_t* prefix) {
    if (c.guard) {
        codeblock<true>(c, p, n, prefix);
    } else {
        codeblock<false>(c, p, n, prefix);
    }
}

void showblock(int64_t in, uint32_t size) {
    if (!cmpopt.quiet) {
        cmppercent(CMP_F_FILEPCT, size == 0 ? 0 : in * 100 / size);
    }
}

// Stores the file as it is, starting with the n bytes already in the
// input buffer.  0, or -1 on a failed write or Stop.
int32_t storefile(Coder& c, int32_t n, CmpHeader* h) {
    uint16_t check = 0;
    int64_t in = 0;
    h->method = 0;
    while (n > 0) {
        check = cmpsum(check, cmpinbuf, n);
        if (c.key8 != 0) {
            cmpscramble(cmpinbuf, n, c.key8);
        }
        if (fastwrite(c.arc, cmpinbuf, n) != 0) {
            cmperror(CMP_E_WRITE);
            return -1;
        }
        in += n;
        showblock(in, h->size);
        if (cmpstopped()) {
            return -1;
        }
        n = cmpreadblock(&c.src, cmpinbuf, CMP_INBUF);
    }
    h->check = check;
    h->stored = static_cast<uint32_t>(in);
    return 0;
}

// The first-block test: 0 to go on coding, 1 to store the file, or the new
// narrower width to restart the block with.
int32_t firstblocktest(const Coder& c, int64_t in) {
    const int64_t out = completed(c);
    if (c.bits == 9 || in < CMP_INBUF) {
        return out >= in - 1 ? 1 : 0;
    }
    if (out < in - 128) {
        return 0;
    }
    int32_t narrow = out >= in + 256 ? 3 : out >= in + 128 ? 2 : 1;
    return c.bits - narrow < 9 ? 9 : c.bits - narrow;
}

// Codes the whole source; the first block is in the input buffer.
int32_t codefile(Coder& c, int32_t n, CmpHeader* h) {
    uint16_t check;
    int32_t ent;
    int64_t in;
    for (;;) {
        check = cmpinbuf[0];
        ent = cmpinbuf[0];
        in = n;
        if (n <= 0) {
            break;
        }
        code(c, cmpinbuf + 1, n - 1, &ent);
        check = cmpsum(check, cmpinbuf + 1, n - 1);
        int32_t t = firstblocktest(c, in);
        if (t == 1) {
            return storefile(c, n, h);
        }
        if (t == 0) {
            break;
        }
        setwidth(c, t);
    }
    while (n > 0) {
        if (c.failed) {
            return -1;
        }
        showblock(in, h->size);
        if (cmpstopped()) {
            return -1;
        }
        n = cmpreadblock(&c.src, cmpinbuf, CMP_INBUF);
        if (n <= 0) {
            break;
        }
        in += n;
        check = cmpsum(check, cmpinbuf, n);
        code(c, cmpinbuf, n, &ent);
    }
    putcode(c, static_cast<uint32_t>(ent));
    putcode(c, static_cast<uint32_t>(c.maxcode));
    finish(c);
    if (c.failed) {
        return -1;
    }
    h->method = 1;
    h->check = check;
    h->stored = static_cast<uint32_t>(c.outtotal);
    if (!cmpopt.quiet) {
        cmpfield(CMP_F_FILEPCT, "100%");
    }
    return 0;
}

}  // namespace

int32_t lzwwidth(uint32_t size) {
    for (int32_t b = 9; b < 15; b++) {
        if ((static_cast<uint32_t>(1) << b) > size) {
            return b;
        }
    }
    return 15;
}

int32_t lzwtablesize(int32_t bits) {
    static const int32_t sizes[7] = {601, 1501, 2801, 5003, 9001, 18013, 35023};
    return sizes[bits - 9];
}

int32_t lzwshift(int32_t bits) {
    int32_t doublings = 0;
    for (int32_t s = lzwtablesize(bits); s < 65536; s *= 2) {
        doublings++;
    }
    return 8 - doublings;
}

int32_t cmpcompress(int32_t arc, const char* path, CmpHeader* h) {
    cmpfieldf(CMP_F_FILE, "Adding:  %-12s ", h->name);
    cmppercent(CMP_F_FILEPCT, 0);
    Coder* c = static_cast<Coder*>(std::malloc(sizeof(Coder)));
    const int32_t bits = lzwwidth(h->size);
    const int32_t size = lzwtablesize(bits);
    int32_t* key = static_cast<int32_t*>(std::malloc(sizeof(int32_t) * size));
    uint16_t* code = static_cast<uint16_t*>(std::malloc(sizeof(uint16_t) * size));
    int32_t result = -1;
    if (c == nullptr || key == nullptr || code == nullptr) {
        cmperror(CMP_E_MEMORY);
    } else {
        int32_t src = fastopen(path, VN_O_BINARY | VN_O_SHARE, 0);
        if (src < 0) {
            cmperror(CMP_E_OPEN);
        } else {
            c->arc = arc;
            c->key = key;
            c->code = code;
            c->failed = 0;
            c->key8 = cmpopt.key;
            setwidth(*c, bits);
            cmpreaderinit(&c->src, src);
            int32_t n = cmpreadblock(&c->src, cmpinbuf, CMP_INBUF);
            result = codefile(*c, n, h);
            if (result == 0 && fastfailed(src)) {  // the file could not be read whole
                cmperror(CMP_E_OPEN);
                result = -1;
            }
            h->bits = static_cast<uint8_t>(c->bits);
            fastclose(src);
        }
    }
    std::free(code);
    std::free(key);
    std::free(c);
    return result;
}
