// lzwcode.cc - the coder: LZW over the source file in 2048-byte blocks with
// an open-addressed hash table sized to the code width, a first-block test
// that narrows the width or stores the file, and codes packed through a
// 64-bit accumulator into an 8192-byte output buffer.
#include <cstdlib>
#include <cstring>

#include "compress/cmpbulk.h"
#include "compress/cmpstate.h"
#include "compress/cmpwnd.h"
#include "compress/lzw.h"

namespace {

// One hash slot: the pair's key (prefix + byte * 65536, -1 when empty) and
// the code of its string, side by side so that a probe touches one line.
struct CoderSlot {
    int32_t key;
    int32_t code;
};

struct Coder {
    int32_t arc;        // archive stream
    int32_t bits;       // code width
    int32_t size;       // hash table size
    int32_t shift;      // hash shift
    int32_t maxcode;    // 2^bits - 1, the end code
    int32_t next;       // next free code
    CoderSlot* slot;    // the hash table
    uint64_t acc;       // bits not yet formed into completed bytes
    int32_t nbits;      // number of them
    int32_t outpos;     // completed bytes in out
    int64_t outtotal;   // bytes already written to the archive
    int32_t failed;     // a write to the archive failed
    uint8_t key8;       // password key
    uint8_t out[CMP_OUTBUF];
    CmpBulkReader src;  // the source file
};

void flushout(Coder& c) {
    if (c.outpos > 0 && cmpputblock(c.arc, c.out, c.outpos) != 0 && !c.failed) {
        c.failed = 1;
        cmperror(CMP_E_WRITE);
    }
    c.outtotal += c.outpos;
    c.outpos = 0;
}

// Appends one code.  A byte is completed only when a later code needs room
// beyond it, so the final byte of the stream is never completed.
inline void putcode(Coder& c, uint32_t v) {
    c.acc = (c.acc << c.bits) | v;
    c.nbits += c.bits;
    while (c.nbits > 8) {
        c.nbits -= 8;
        c.out[c.outpos++] = static_cast<uint8_t>((c.acc >> c.nbits) + c.key8);
        if (c.outpos == CMP_OUTBUF) {
            flushout(c);
        }
    }
}

void clearkeys(Coder& c) {
    std::memset(c.slot, 0xFF, sizeof(CoderSlot) * c.size);  // every key -1
    c.next = LZW_FIRST;
}

void setwidth(Coder& c, int32_t bits) {
    c.bits = bits;
    c.size = lzwtablesize(bits);
    c.shift = lzwshift(bits);
    c.maxcode = (1 << bits) - 1;
    c.acc = 0;
    c.nbits = 0;
    c.outpos = 0;
    c.outtotal = 0;
    clearkeys(c);
}

// Codes the n bytes at p, extending the string whose code is *prefix.
// The packing state lives in locals while the block runs.
void codeblock(Coder& c, const uint8_t* p, int32_t n, int32_t* prefix) {
    CoderSlot* const slot = c.slot;
    const int32_t size = c.size;
    const int32_t shift = c.shift;
    const int32_t bits = c.bits;
    const int32_t maxcode = c.maxcode;
    const uint8_t k = c.key8;
    uint8_t* const out = c.out;
    uint64_t acc = c.acc;
    int32_t nbits = c.nbits;
    int32_t outpos = c.outpos;
    int32_t next = c.next;
    // A byte is completed only when a later code needs room beyond it.
    auto put = [&](uint32_t v) {
        acc = (acc << bits) | v;
        nbits += bits;
        while (nbits > 8) {
            nbits -= 8;
            out[outpos++] = static_cast<uint8_t>((acc >> nbits) + k);
            if (outpos == CMP_OUTBUF) {
                c.outpos = outpos;
                flushout(c);
                outpos = 0;
            }
        }
    };
    int32_t ent = *prefix;
    for (int32_t j = 0; j < n; j++) {
        const int32_t ch = p[j];
        const int32_t fk = ent + (ch << 16);
        int32_t i = (ch << shift) ^ ent;
        int32_t key = slot[i].key;
        if (key == fk) {
            ent = slot[i].code;
            continue;
        }
        if (key != -1) {
            const int32_t step = i == 0 ? 1 : size - i;
            int32_t probes = size;  // a table whose size is not prime may cycle
            for (;;) {
                i -= step;
                if (i < 0) {
                    i += size;
                }
                key = slot[i].key;
                if (key == fk || key <= 0 || --probes == 0) {
                    break;
                }
            }
            if (key == fk) {
                ent = slot[i].code;
                continue;
            }
        }
        put(static_cast<uint32_t>(ent));
        ent = ch;
        if (next < maxcode) {
            slot[i].key = fk;
            slot[i].code = next++;
        } else {
            put(LZW_CLEAR);
            clearkeys(c);
            next = LZW_FIRST;
        }
    }
    *prefix = ent;
    c.acc = acc;
    c.nbits = nbits;
    c.outpos = outpos;
    c.next = next;
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
    const int64_t out = c.outtotal + c.outpos;
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
        codeblock(c, cmpinbuf + 1, n - 1, &ent);
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
        codeblock(c, cmpinbuf, n, &ent);
    }
    putcode(c, static_cast<uint32_t>(ent));
    putcode(c, static_cast<uint32_t>(c.maxcode));
    flushout(c);
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
    CoderSlot* slot = static_cast<CoderSlot*>(std::malloc(sizeof(CoderSlot) * size));
    int32_t result = -1;
    if (c == nullptr || slot == nullptr) {
        cmperror(CMP_E_MEMORY);
    } else {
        int32_t src = fastopen(path, VN_O_BINARY | VN_O_SHARE, 0);
        if (src < 0) {
            cmperror(CMP_E_OPEN);
        } else {
            c->arc = arc;
            c->slot = slot;
            c->failed = 0;
            c->key8 = cmpopt.key;
            setwidth(*c, bits);
            cmpreaderinit(&c->src, src);
            int32_t n = cmpreadblock(&c->src, cmpinbuf, CMP_INBUF);
            result = codefile(*c, n, h);
            h->bits = static_cast<uint8_t>(c->bits);
            fastclose(src);
        }
    }
    std::free(slot);
    std::free(c);
    return result;
}
