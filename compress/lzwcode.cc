// lzwcode.cc - the coder: LZW over the source file in 2048-byte blocks, a
// first-block test that narrows the width or stores the file, and each
// block's codes packed after it through a 64-bit accumulator that forms
// four bytes at a time.
//
// The codes are those an open-addressed hash table sized to the code width
// gives.  A pair (prefix code, byte) has the key prefix + byte * 65536 and
// is probed from slot hash[byte] ^ prefix, by steps of size - slot (of 1
// from slot 0).  A probe past its first slot stops at a key not above 0,
// and the pair of code 0 and byte 0 has the key 0.  Once that pair lies in
// a slot other than 0, a probe that meets its slot misses there, even when
// its own pair lies further on, and enters its pair in that slot in place
// of 0, 0; the codes written depend on this.  In slot 0 it does no harm: a
// probe from any other first slot would reach slot 0 only after passing
// every other slot, full (the table never fills), and one from slot 0 only
// starts there.
//
// So while the dictionary holds no such key 0, the table answers just as a
// plain dictionary would, and the coder uses a direct table from pair to
// code instead, with no probes (kDirect); at the wide widths a small table
// of the byte classes that extend each string turns most absent pairs
// away before the large direct table is read.  The pair 0, 0 goes to slot
// 0 unless a pair whose first slot is 0 came before it since the last
// clear.  When one did, the coder builds the hash table by entering the
// pairs made since the clear again in order, and goes on with it (kProbe)
// until the next clear.  It uses the hash table throughout at the one
// width whose table size is not prime (a probe there can cycle, so it is
// bounded), and when the direct table cannot be had.
#include <cstdlib>
#include <cstring>

#include "compress/cmpbulk.h"
#include "compress/cmpstate.h"
#include "compress/cmpwnd.h"
#include "compress/lzw.h"
#include "support/fastio.h"
#include "support/os.h"

namespace {

// Bytes of coded output gathered before they are written to the archive.
constexpr int32_t kOutBuf = 65536;
// Codes of the widest dictionary, and slots of the largest hash table.
constexpr int32_t kCodes = 1 << 15;
constexpr int32_t kSlots = 35023;

enum { kDirect, kProbe };

// The direct table: the code of each pair at byte * stride + prefix code,
// or 0 (no string has code 0).  Byte first, so that the pairs of codes made
// about the same time, which tend to be looked up about the same time, lie
// close together; the stride is a cache line more than the codes of the
// width, so that the pairs of one prefix do not all fall in the same cache
// sets.  The table is large, so it is made once and kept, and only the
// entries a dictionary used are zeroed again: between calls it holds zeros
// only.
constexpr int32_t kSkew = 32;
// The narrowest width whose direct table (8 MB) is large enough for the
// extension classes to pay: at 12 bits the table mostly lies in the cache,
// and the extra test costs text a tenth more time; at 15 bits the test
// saves a sixth.
constexpr int32_t kFilterBits = 14;

struct Coder : RuntimePart {
    uint8_t* in;        // the archiver's shared input buffer
    uint16_t* direct;   // the direct table, or null when it cannot be had
    int32_t arc;        // archive stream
    int32_t bits;       // code width
    int32_t size;       // hash table size
    int32_t shift;      // hash shift
    int32_t hash[256];  // each byte shifted left by it
    int32_t guard;      // the size is not prime: probes are bounded
    int32_t maxcode;    // 2^bits - 1, the end code
    int32_t next;       // next free code
    int32_t mode;       // kDirect or kProbe
    uint32_t stride;    // kDirect: 2^bits + kSkew
    uint64_t acc;       // bits not yet formed into bytes (the low nbits)
    int32_t nbits;      // number of them
    int32_t outpos;     // bytes formed in out
    int64_t outtotal;   // bytes already written to the archive
    int32_t failed;     // a write to the archive failed
    uint8_t key8;       // password key
    uint16_t* cq;       // end of the codes of the block not yet packed
    // The codes of a block, packed once it is coded so that the coding loop
    // does only the dictionary's work: at most a code and a clear code for
    // each byte.
    uint16_t codes[2 * CMP_INBUF];
    uint8_t out[kOutBuf + 8];
    CmpBulkReader src;  // the source file
    // kDirect: where in the direct table each code made since the last
    // clear stands.
    uint32_t pair[kCodes];
    // kDirect at the widths of kFilterBits and up: for each code, the
    // classes (low six bits) of the bytes that extend its string in the
    // dictionary, one bit each.  A string with no extension in the byte's
    // class has no such pair, which this table, small enough to stay in the
    // processor's cache, tells long before the direct table would.  A bit
    // may stay set after its pairs are forgotten (that costs a look in the
    // direct table, never a wrong code); a bit is never clear for a pair
    // the dictionary holds.
    uint64_t extended[kCodes];
    // kProbe: the hash table: pair keys (-1 empty) and, apart so that the
    // keys a probe passes lie close together, the codes of their strings.
    int32_t key[kSlots];
    uint16_t code[kSlots];
    ~Coder() override { osbigfree(direct); }
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

// Packs the codes gathered since the last pack.
void pack(Coder& c) {
    const int32_t bits = c.bits;
    uint64_t acc = c.acc;
    int32_t nbits = c.nbits;
    for (const uint16_t* r = c.codes; r < c.cq; r++) {
        acc = (acc << bits) | *r;
        nbits += bits;
        if (nbits > 40) {  // as putcode does
            nbits -= 32;
            formfour(c.out + c.outpos, acc, nbits, c.key8);
            c.outpos += 4;
            if (c.outpos >= kOutBuf) {
                flushout(c);
            }
        }
    }
    c.acc = acc;
    c.nbits = nbits;
    c.cq = c.codes;
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

// Forgets the pairs the direct table holds and empties the dictionary.
void forgetpairs(Coder& c) {
    if (c.mode == kDirect) {
        for (int32_t k = LZW_FIRST; k < c.next; k++) {
            c.direct[c.pair[k]] = 0;
        }
        if (c.bits >= kFilterBits) {
            std::memset(c.extended, 0, sizeof(uint64_t) * c.next);
        }
    }
    c.next = LZW_FIRST;
}

// Empties the dictionary and goes back to the direct table where it serves.
void clearkeys(Coder& c) {
    forgetpairs(c);
    c.mode = c.guard || c.direct == nullptr ? kProbe : kDirect;
    if (c.mode == kProbe) {
        std::memset(c.key, 0xFF, sizeof(int32_t) * c.size);  // every key -1
    }
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
    c.stride = (1u << bits) + kSkew;
    c.acc = 0;
    c.nbits = 0;
    c.cq = c.codes;
    c.outpos = 0;
    c.outtotal = 0;
    clearkeys(c);
}

// Codes bytes from p towards end with the hash table, extending the string
// whose code is *prefix, until end or until a clear returns the coder to
// kDirect; where it stopped.  The table and packing state live in locals
// while it runs.  Only a table whose size is not prime can send a probe
// round a cycle of full slots; guard bounds the probes for those.
template <bool guard>
const uint8_t* codeprobe(Coder& c, const uint8_t* p, const uint8_t* end, int32_t* prefix) {
    int32_t* const keys = c.key;
    uint16_t* const codes = c.code;
    const int32_t size = c.size;
    const int32_t* const hash = c.hash;
    const int32_t maxcode = c.maxcode;
    uint16_t* q = c.cq;
    int32_t next = c.next;
    int32_t ent = *prefix;
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
        *q++ = static_cast<uint16_t>(ent);
        ent = ch;
        if (next < maxcode) {
            keys[i] = fk;
            codes[i] = static_cast<uint16_t>(next++);
        } else {
            *q++ = LZW_CLEAR;
            clearkeys(c);
            next = LZW_FIRST;
            end = c.mode != kProbe ? p : end;  // on with the direct table
        }
    }
    *prefix = ent;
    c.cq = q;
    c.next = next;
    return p;
}

// Leaves kDirect as the pair 0, 0 is entered with code c.next while a pair
// whose first slot is 0 is in the dictionary: builds the hash table by
// entering the pairs made since the clear, and then 0, 0, as the table
// would have had them.  No key is 0 until the last, so each probe stops
// at the first empty slot.
__attribute__((noinline)) void enterprobe(Coder& c) {
    std::memset(c.key, 0xFF, sizeof(int32_t) * c.size);
    c.pair[c.next] = 0;
    for (int32_t k = LZW_FIRST; k <= c.next; k++) {
        const int32_t ent = static_cast<int32_t>(c.pair[k] % c.stride);
        const int32_t ch = static_cast<int32_t>(c.pair[k] / c.stride);
        int32_t i = c.hash[ch] ^ ent;
        if (c.key[i] != -1) {
            const int32_t step = i == 0 ? 1 : c.size - i;
            do {
                i -= step;
                i += i < 0 ? c.size : 0;
            } while (c.key[i] != -1);
        }
        c.key[i] = ent + (ch << 16);
        c.code[i] = static_cast<uint16_t>(k);
    }
    forgetpairs(c);  // the direct entries; next is set again by the caller
    c.mode = kProbe;
}

// kDirect, as the pair 0, 0 is entered: whether a pair whose first slot in
// the hash table is 0 came before it since the clear, so that 0, 0 would
// lie elsewhere.  Such a pair has the prefix hash[byte].
bool slotzerotaken(const Coder& c) {
    for (uint32_t ch = 1; ch < 256; ch++) {
        if (c.direct[ch * c.stride + static_cast<uint32_t>(c.hash[ch])] != 0) {
            return true;
        }
    }
    return false;
}

// Codes bytes from p towards end with the direct table, extending the
// string whose code is *prefix, until end or until the coder leaves
// kDirect; where it stopped.  filtered: the extension classes are kept
// and tested first.
template <bool filtered>
const uint8_t* codedirect(Coder& c, const uint8_t* p, const uint8_t* end, int32_t* prefix) {
    uint16_t* const dir = c.direct;
    uint64_t* const extended = c.extended;
    const uint32_t stride = c.stride;
    const int32_t maxcode = c.maxcode;
    uint16_t* q = c.cq;
    int32_t next = c.next;
    uint32_t ent = static_cast<uint32_t>(*prefix);
    while (p < end) {
        const uint32_t ch = *p++;
        const uint32_t at = ch * stride + ent;
        const uint64_t byteclass = uint64_t{1} << (ch & 63);
        if (!filtered || (extended[ent] & byteclass) != 0) {
            const uint32_t d = dir[at];
            if (d != 0) {
                ent = d;
                continue;
            }
        }
        *q++ = static_cast<uint16_t>(ent);
        const uint32_t extendedcode = ent;
        ent = ch;
        if (next < maxcode) {
            if (at == 0 && slotzerotaken(c)) {
                c.next = next;
                enterprobe(c);
                end = p;  // on with the hash table
            } else {
                dir[at] = static_cast<uint16_t>(next);
                c.pair[next] = at;
                if (filtered) {
                    extended[extendedcode] |= byteclass;
                }
            }
            next++;
        } else {
            *q++ = LZW_CLEAR;
            c.next = next;
            clearkeys(c);
            next = LZW_FIRST;
        }
    }
    *prefix = static_cast<int32_t>(ent);
    c.cq = q;
    c.next = next;
    return p;
}

void code(Coder& c, const uint8_t* p, int32_t n, int32_t* prefix) {
    const uint8_t* const end = p + n;
    while (p < end) {
        if (c.mode == kDirect && c.bits >= kFilterBits) {
            p = codedirect<true>(c, p, end, prefix);
        } else if (c.mode == kDirect) {
            p = codedirect<false>(c, p, end, prefix);
        } else if (c.guard) {
            p = codeprobe<true>(c, p, end, prefix);
        } else {
            p = codeprobe<false>(c, p, end, prefix);
        }
    }
    pack(c);
}

void showblock(int64_t in, uint32_t size) {
    if (!cmpstate().opt.quiet) {
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
        check = cmpsum(check, c.in, n);
        if (c.key8 != 0) {
            cmpscramble(c.in, n, c.key8);
        }
        if (fastwrite(c.arc, c.in, n) != 0) {
            cmperror(CMP_E_WRITE);
            return -1;
        }
        in += n;
        showblock(in, h->size);
        if (cmpstopped()) {
            return -1;
        }
        n = cmpreadblock(&c.src, c.in, CMP_INBUF);
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
        check = c.in[0];
        ent = c.in[0];
        in = n;
        if (n <= 0) {
            break;
        }
        code(c, c.in + 1, n - 1, &ent);
        check = cmpsum(check, c.in + 1, n - 1);
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
        n = cmpreadblock(&c.src, c.in, CMP_INBUF);
        if (n <= 0) {
            break;
        }
        in += n;
        check = cmpsum(check, c.in, n);
        code(c, c.in, n, &ent);
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
    if (!cmpstate().opt.quiet) {
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
    // The coder and its tables are made once and kept, like the expander's.
    CompressState& state = cmpstate();
    if (state.coder == nullptr) {
        // Left uninitialised but for what the first block reads: the
        // tables are large and every one is set before it is read.
        Coder* made = new (std::nothrow) Coder;
        if (made == nullptr) {
            cmperror(CMP_E_MEMORY);
            return -1;
        }
        made->mode = kProbe;
        made->next = LZW_FIRST;
        std::memset(made->extended, 0, sizeof made->extended);
        made->direct = static_cast<uint16_t*>(osbigtable(size_t{kCodes + kSkew} * 256 * sizeof(uint16_t)));
        state.coder = made;
    }
    Coder* c = static_cast<Coder*>(state.coder);
    c->in = state.inbuf;
    int32_t src = fastopen(path, VN_O_BINARY | VN_O_SHARE, 0);
    if (src < 0) {
        cmperror(CMP_E_OPEN);
        return -1;
    }
    c->arc = arc;
    c->failed = 0;
    c->key8 = state.opt.key;
    setwidth(*c, lzwwidth(h->size));
    cmpreaderinit(&c->src, src);
    int32_t n = cmpreadblock(&c->src, c->in, CMP_INBUF);
    int32_t result = codefile(*c, n, h);
    if (result == 0 && fastfailed(src)) {  // the file could not be read whole
        cmperror(CMP_E_OPEN);
        result = -1;
    }
    h->bits = static_cast<uint8_t>(c->bits);
    forgetpairs(*c);
    fastclose(src);
    return result;
}
