// lzwexpand.cc - the expander: decodes an entry's code stream (or copies a
// stored entry) into the output stream, unscrambling with the password and
// summing the check value of the bytes written.
//
// Each string is written straight from an earlier place in the output when
// that place is still held (at least the last 512 KB are kept), and otherwise by
// walking the dictionary chain through the decoding stack, which is also
// the way every code of a damaged stream is decoded.
#include <climits>
#include <cstdlib>
#include <cstring>

#include "compress/cmpbulk.h"
#include "compress/cmpstate.h"
#include "compress/cmpwnd.h"
#include "compress/lzw.h"

namespace {

// Longest string a 15-bit dictionary can hold is below this.
constexpr int32_t kStack = 32768;
constexpr int32_t kTable = 32767;
// Output kept for copying strings from: when it reaches kHistory bytes,
// the last kKeep are moved to the front.
constexpr int32_t kHistory = 4 << 20;
constexpr int32_t kKeep = 512 << 10;

// The dictionary: entry = prefix code | suffix byte << 16, the length of
// the entry's string, and the output position where that string stands,
// or -1 when its chain cannot be trusted (a damaged stream).
// Positions are kept while the output stays below 2 GB.
struct DictEntry {
    uint32_t link;
    int32_t pos;
    uint32_t len;
};
DictEntry dict[kTable];
constexpr int64_t kPosLimit = INT32_MAX - 2 * kHistory;

inline uint32_t prefixof(uint32_t code) { return dict[code].link & 0xFFFF; }
inline uint8_t suffixof(uint32_t code) { return static_cast<uint8_t>(dict[code].link >> 16); }

struct Expander {
    int32_t arc;
    int32_t out;
    uint32_t left;      // stored bytes not yet loaded
    int32_t bits;
    uint32_t endcode;
    uint8_t key8;
    uint16_t check;
    int64_t written;    // bytes written to the output file
    uint32_t size;
    int64_t base;       // output position of hist[0]
    int32_t outpos;     // next free byte of hist
    int32_t checked;    // bytes of hist summed and past their Stop test
    int32_t flushed;    // bytes of hist already written
    uint8_t hist[kHistory + 2 * kStack];
    uint8_t stack[kStack];
};

// Loads the next input block into the shared buffer: the bytes loaded,
// or 0 once the stored bytes are used up.
int32_t refill(Expander& e) {
    int32_t want = e.left < static_cast<uint32_t>(CMP_INBUF) ? static_cast<int32_t>(e.left) : CMP_INBUF;
    int32_t got = want > 0 ? fastread(e.arc, cmpinbuf, want) : 0;
    if (got <= 0) {
        e.left = 0;
        return 0;
    }
    e.left -= got;
    if (e.key8 != 0) {
        cmpscramble(cmpinbuf, got, -e.key8);
    }
    return got;
}

// Writes the checked bytes not yet written: 0, or -1 on a failed write.
int32_t flushchecked(Expander& e) {
    const int32_t n = e.checked - e.flushed;
    e.flushed = e.checked;
    if (n > 0 && cmpputblock(e.out, e.hist + e.flushed - n, n) != 0) {
        cmperror(CMP_E_WRITE);
        return -1;
    }
    return 0;
}

// Sums and writes all the output held: 0, or -1 on a failed write.
int32_t writeout(Expander& e) {
    const int32_t n = e.outpos - e.checked;
    e.check = cmpsum(e.check, e.hist + e.checked, n);
    e.written += n;
    e.checked = e.outpos;
    return flushchecked(e);
}

void showout(const Expander& e) {
    if (!cmpopt.quiet) {
        cmppercent(CMP_F_FILEPCT, e.size == 0 ? 0 : e.written * 100 / e.size);
    }
}

// Passes every full 8192-byte block of new output: tests Stop, sums it
// and shows progress; the blocks are written 64 KB at a time.  Keeps the
// last kKeep bytes of the history when it is full.  0, or -1.
int32_t drainout(Expander& e) {
    while (e.outpos - e.checked >= CMP_OUTBUF) {
        if (cmpstopped()) {
            return -1;
        }
        e.check = cmpsum(e.check, e.hist + e.checked, CMP_OUTBUF);
        e.checked += CMP_OUTBUF;
        e.written += CMP_OUTBUF;
        if (e.checked - e.flushed >= 8 * CMP_OUTBUF && flushchecked(e) != 0) {
            return -1;
        }
        showout(e);
    }
    if (e.outpos >= kHistory) {
        if (flushchecked(e) != 0) {
            return -1;
        }
        const int32_t shift = e.outpos - kKeep;
        std::memmove(e.hist, e.hist + shift, e.outpos - shift);
        e.base += shift;
        e.outpos -= shift;
        e.checked -= shift;
        e.flushed -= shift;
    }
    return 0;
}

// Writes the string of code at o (with the byte last added in the
// string-plus-first-byte case), walking the chain link by link through the
// decoding stack.  Returns first byte | length << 8, or -1 when a link is
// out of range.
int32_t slowstring(Expander& e, uint8_t* o, uint32_t code, uint32_t next, uint32_t old, uint8_t last) {
    int32_t sp = 0;
    if (code >= next) {
        e.stack[sp++] = last;
        code = old;
    }
    while (code > 255) {
        if (code >= e.endcode || sp >= kStack - 1) {
            return -1;
        }
        e.stack[sp++] = suffixof(code);
        code = prefixof(code);
    }
    e.stack[sp++] = suffixof(code);
    for (int32_t i = 0; i < sp; i++) {
        o[i] = e.stack[sp - 1 - i];
    }
    return o[0] | sp << 8;
}

// The same, copied from where the string stands earlier in the output
// when it is still held there; otherwise the slow walk.
inline int32_t putstring(Expander& e, uint8_t* o, uint32_t code, uint32_t next, uint32_t old,
                         uint8_t last) {
    uint32_t c = code;
    int32_t extra = 0;
    if (c >= next) {
        c = old;
        extra = 1;
    }
    int32_t len = 1;
    if (c <= 255) {
        o[0] = static_cast<uint8_t>(c);
    } else if (dict[c].pos >= e.base) {
        const uint8_t* from = e.hist + (dict[c].pos - e.base);
        len = static_cast<int32_t>(dict[c].len);
        for (int32_t i = 0; i < len; i += 8) {  // the string ends before o
            std::memcpy(o + i, from + i, 8);
        }
    } else {
        return slowstring(e, o, code, next, old, last);
    }
    if (extra) {
        o[len] = last;
    }
    return o[0] | (len + extra) << 8;
}

// Empties every string code: not yet placed in the output, and linked to
// byte 0, so that a damaged stream naming a code not yet made decodes the
// same whatever earlier extractions left in the table.
void forgetpositions(uint32_t maxcode) {
    for (uint32_t i = 256; i < maxcode; i++) {
        dict[i] = DictEntry{0, -1, 1};
    }
}

// Decodes the code stream; the input and output positions live in locals.
int32_t decode(Expander& e) {
    const int32_t bits = e.bits;
    const uint32_t endcode = e.endcode;
    const uint32_t maxcode = endcode;
    uint8_t* const hist = e.hist;
    uint64_t acc = 0;
    int32_t nbits = 0;
    int32_t pos = 0;
    int32_t len = 0;
    int32_t outpos = e.outpos;
    // The next code, or the end code once the stored bytes run out.
    auto getcode = [&]() -> uint32_t {
        if (nbits < bits) {
            if (pos + 4 <= len) {
                const uint8_t* p = cmpinbuf + pos;
                acc = (acc << 32) | (static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16 |
                                     static_cast<uint32_t>(p[2]) << 8 | p[3]);
                pos += 4;
                nbits += 32;
            } else {
                while (nbits < bits) {
                    if (pos == len) {
                        len = refill(e);
                        pos = 0;
                        if (len == 0) {
                            return endcode;
                        }
                    }
                    acc = (acc << 8) | cmpinbuf[pos++];
                    nbits += 8;
                }
            }
        }
        nbits -= bits;
        return static_cast<uint32_t>(acc >> nbits) & endcode;
    };
    for (uint32_t i = 0; i < 256; i++) {
        dict[i].link = i << 16;
        dict[i].len = 1;
    }
    forgetpositions(maxcode);
    uint32_t next = LZW_FIRST;
    uint32_t old = getcode();
    if (old >= endcode) {
        return 0;
    }
    uint8_t last = static_cast<uint8_t>(old);
    int64_t oldstart = e.base + outpos;  // where the string of old stands
    bool oldsure = old <= 255;           // and that it is the chain of old
    hist[outpos++] = last;
    int32_t result = 0;
    for (;;) {
        uint32_t code = getcode();
        if (code >= endcode) {
            break;
        }
        if (code == LZW_CLEAR) {
            for (uint32_t i = 0; i < 256; i++) {
                dict[i].link = i << 16;
            }
            next = LZW_CLEAR;
            forgetpositions(maxcode);
            code = getcode();
            if (code >= endcode) {
                break;
            }
        }
        const int64_t start = e.base + outpos;
        const bool codesure = code <= next;
        const int32_t got = putstring(e, hist + outpos, code, next, old, last);
        if (got < 0) {
            cmperror(CMP_E_CORRUPT);
            result = -1;
            break;
        }
        last = static_cast<uint8_t>(got);
        outpos += got >> 8;
        if (outpos >= CMP_OUTBUF) {
            e.outpos = outpos;
            if (drainout(e) != 0) {
                return -1;
            }
            outpos = e.outpos;
        }
        if (next < maxcode) {
            DictEntry& d = dict[next];
            const DictEntry& o = dict[old];
            d.link = old | static_cast<uint32_t>(last) << 16;
            d.len = o.len + 1;
            const bool sure = oldsure && next != LZW_CLEAR && (old <= 255 || o.pos >= 0) &&
                              oldstart < kPosLimit;
            d.pos = sure ? static_cast<int32_t>(oldstart) : -1;
            next++;
        }
        oldsure = codesure;
        oldstart = start;
        old = code;
    }
    e.outpos = outpos;
    return result;
}

int32_t unstore(Expander& e, uint32_t stored) {
    while (stored > 0) {
        int32_t want = stored < static_cast<uint32_t>(CMP_INBUF) ? static_cast<int32_t>(stored) : CMP_INBUF;
        int32_t got = fastread(e.arc, cmpinbuf, want);
        if (got <= 0) {
            break;
        }
        stored -= got;
        if (e.key8 != 0) {
            cmpscramble(cmpinbuf, got, -e.key8);
        }
        e.check = cmpsum(e.check, cmpinbuf, got);
        if (cmpstopped()) {
            return -1;
        }
        if (fastwrite(e.out, cmpinbuf, got) != 0) {
            cmperror(CMP_E_WRITE);
            return -1;
        }
        e.written += got;
        showout(e);
    }
    return 0;
}

}  // namespace

int32_t cmpexpand(int32_t arc, int32_t out, const CmpHeader& h, uint16_t* check) {
    *check = 0;
    if (h.method == 1 && (h.bits < 9 || h.bits > 15)) {
        cmperror(CMP_E_CORRUPT);
        return -1;
    }
    // The expander's buffers are made once and kept, like its tables.
    static Expander* e = nullptr;
    if (e == nullptr) {
        e = static_cast<Expander*>(std::malloc(sizeof(Expander)));
    }
    if (e == nullptr) {
        cmperror(CMP_E_MEMORY);
        return -1;
    }
    e->arc = arc;
    e->out = out;
    e->left = h.stored;
    e->bits = h.bits;
    e->endcode = (1u << (h.bits & 15)) - 1;
    e->key8 = cmpopt.key;
    e->check = 0;
    e->written = 0;
    e->size = h.size;
    e->base = 0;
    e->outpos = 0;
    e->checked = 0;
    e->flushed = 0;
    int32_t r = 0;
    if (h.method == 1) {
        r = decode(*e);
        if (r == 0) {
            r = writeout(*e);
            showout(*e);
        }
    } else if (h.method == 0) {
        r = unstore(*e, h.stored);
    }
    *check = e->check;
    return r;
}
