// lzwexpand.cc - the expander: decodes an entry's code stream (or copies a
// stored entry) into the output stream, unscrambling with the password and
// summing the check value of the bytes written.
//
// Output is decoded into one contiguous history.  Each dictionary entry
// remembers where its string stands in that history, so a code is decoded
// by copying its string from there; a string not held there (or any string
// of a damaged stream) is decoded by walking its chain through the
// decoding stack.  The 256 single bytes stand at the front of the history.
#include <cstdlib>
#include <cstring>

#include "compress/cmpbulk.h"
#include "compress/cmpstate.h"
#include "compress/cmpwnd.h"
#include "compress/lzw.h"
#include "support/fastio.h"

namespace {

// Longest string a 15-bit dictionary can hold is below this.
constexpr int32_t kStack = 32768;
constexpr int32_t kTable = 32767;
// The history: the 256 single bytes, then the output.  When the output
// reaches kHistory bytes, all but the last kKeep are dropped.
constexpr int32_t kBytes = 256;
constexpr int32_t kHistory = 4 << 20;
constexpr int32_t kKeep = 512 << 10;
// Strings are copied 16 bytes at a time, so the history has room to spare.
constexpr int32_t kSlack = 2 * kStack + 32;

// The dictionary, in two tables: each entry's link (prefix code | suffix
// byte << 16), walked only for strings not held in the history, and where
// its string stands: the index in the history (-1 when it is not held
// there or its chain cannot be trusted) and its length.
struct DictString {
    int32_t pos;
    uint32_t len;
};
struct Expander : RuntimePart {
    uint8_t* in;        // the archiver's shared input buffer
    int32_t out;
    uint32_t left;      // stored bytes not yet loaded
    int32_t bits;
    uint32_t endcode;
    uint8_t key8;
    uint16_t check;
    int64_t written;    // bytes written to the output file
    uint32_t size;
    int32_t outpos;     // next free byte of hist
    int32_t checked;    // end of the bytes of hist summed and past their Stop test
    int32_t flushed;    // end of the bytes of hist already written
    uint8_t hist[kBytes + kHistory + kSlack];
    uint8_t stack[kStack];
    uint32_t links[kTable];
    DictString strs[kTable];
    CmpBulkReader src;  // the archive, read ahead in large pieces
};

// Loads the next input block into the shared buffer: the bytes loaded,
// or 0 once the stored bytes are used up.
int32_t refill(Expander& e) {
    int32_t want = e.left < static_cast<uint32_t>(CMP_INBUF) ? static_cast<int32_t>(e.left) : CMP_INBUF;
    int32_t got = want > 0 ? cmpreadblock(&e.src, e.in, want) : 0;
    if (got <= 0) {
        e.left = 0;
        return 0;
    }
    e.left -= got;
    if (e.key8 != 0) {
        cmpscramble(e.in, got, -e.key8);
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
    if (!cmpstate().opt.quiet) {
        cmppercent(CMP_F_FILEPCT, e.size == 0 ? 0 : e.written * 100 / e.size);
    }
}

// Passes every full 8192-byte block of new output: tests Stop, sums it
// and shows progress; the blocks are written 64 KB at a time.  0, or -1.
__attribute__((noinline)) int32_t drainout(Expander& e) {
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
    return 0;
}

// Drops all but the last kKeep bytes of output from the history (they have
// been written) and moves the string positions with them.  The distance
// moved.
__attribute__((noinline)) int32_t slide(Expander& e, uint32_t maxcode) {
    const int32_t shift = e.outpos - kBytes - kKeep;
    std::memmove(e.hist + kBytes, e.hist + kBytes + shift, kKeep);
    e.outpos -= shift;
    e.checked -= shift;
    e.flushed -= shift;
    for (uint32_t i = 256; i < maxcode; i++) {
        int32_t& pos = e.strs[i].pos;
        pos = pos - shift >= kBytes ? pos - shift : -1;
    }
    return shift;
}

// Writes the string of code at o (with the byte last added in the
// string-plus-first-byte case), walking the chain link by link through the
// decoding stack.  The length, or -1 when a link is out of range.
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
        e.stack[sp++] = static_cast<uint8_t>(e.links[code] >> 16);  // the suffix byte
        code = e.links[code] & 0xFFFF;                              // the prefix code
    }
    e.stack[sp++] = static_cast<uint8_t>(code);
    for (int32_t i = 0; i < sp; i++) {
        o[i] = e.stack[sp - 1 - i];
    }
    return sp;
}

inline void copy16(uint8_t* to, const uint8_t* from) {
    uint64_t a, b;
    std::memcpy(&a, from, 8);
    std::memcpy(&b, from + 8, 8);
    std::memcpy(to, &a, 8);
    std::memcpy(to + 8, &b, 8);
}

// Empties the string codes below maxcode: none is held in the history,
// and their links are reset, so that a damaged stream naming a code not
// yet made decodes the same whatever earlier entries left in the table.
void forget(Expander& e, uint32_t maxcode) {
    for (uint32_t i = 256; i < maxcode; i++) {
        e.links[i] = 0;
        e.strs[i] = DictString{-1, 1};
    }
}

// Decodes the code stream; the input and output positions live in locals.
int32_t decode(Expander& e) {
    const int32_t bits = e.bits;
    const uint32_t endcode = e.endcode;
    const uint32_t maxcode = endcode;
    uint8_t* const hist = e.hist;
    const uint8_t* const in = e.in;
    uint32_t* const links = e.links;
    DictString* const strs = e.strs;
    uint64_t acc = 0;
    int32_t nbits = 0;
    int32_t pos = 0;
    int32_t len = 0;
    int32_t outpos = e.outpos;
    int32_t drainat = e.checked + CMP_OUTBUF;
    // The next code, or the end code once the stored bytes run out.
    auto getcode = [&]() __attribute__((always_inline)) -> uint32_t {
        if (nbits < bits) {
            if (pos + 4 <= len) {
                uint32_t w;
                std::memcpy(&w, in + pos, 4);
                acc = (acc << 32) | __builtin_bswap32(w);
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
                    acc = (acc << 8) | in[pos++];
                    nbits += 8;
                }
            }
        }
        nbits -= bits;
        return static_cast<uint32_t>(acc >> nbits) & endcode;
    };
    for (uint32_t i = 0; i < 256; i++) {
        links[i] = i << 16;
        strs[i] = DictString{static_cast<int32_t>(i), 1};
        hist[i] = static_cast<uint8_t>(i);
    }
    forget(e, maxcode);
    uint32_t next = LZW_FIRST;
    uint32_t old = getcode();
    if (old >= endcode) {
        return 0;
    }
    uint8_t last = static_cast<uint8_t>(old);
    // Where the string of old stands when it is the chain of old, else -1.
    int32_t oldstart = old <= 255 ? outpos : -1;
    hist[outpos++] = last;
    for (;;) {
        uint32_t code = getcode();
        if (code >= next || code == LZW_CLEAR) {
            if (code >= endcode) {
                break;
            }
            if (code == LZW_CLEAR) {
                next = LZW_CLEAR;
                oldstart = -1;  // entry 256 is never a string
                code = getcode();
                if (code >= endcode) {
                    break;
                }
            }
        }
        const int32_t start = code <= next ? outpos : -1;
        uint8_t* const o = hist + outpos;
        const uint32_t c = code < next ? code : old;
        // A code from next on was made before the last clear: where its
        // string stood no longer counts (only a damaged stream names one).
        const DictString d = strs[c];
        int32_t n;
        if (d.pos >= 0 && c < next) {
            const uint8_t* from = hist + d.pos;  // the string ends before o
            n = static_cast<int32_t>(d.len);
            copy16(o, from);
            for (int32_t i = 16; i < n; i += 16) {
                copy16(o + i, from + i);
            }
            if (c != code) {
                o[n++] = last;
            }
        } else {
            n = slowstring(e, o, code, next, old, last);
            if (n < 0) {
                cmperror(CMP_E_CORRUPT);
                e.outpos = outpos;
                return -1;
            }
        }
        last = o[0];
        outpos += n;
        if (next < maxcode) {
            const DictString od = strs[old];
            links[next] = old | static_cast<uint32_t>(last) << 16;
            strs[next] = DictString{od.pos >= 0 && old < next ? oldstart : -1, od.len + 1};
            next++;
        }
        oldstart = start;
        old = code;
        if (outpos >= drainat) {
            e.outpos = outpos;
            if (drainout(e) != 0) {
                return -1;
            }
            if (e.outpos >= kHistory) {
                if (flushchecked(e) != 0) {
                    return -1;
                }
                const int32_t shift = slide(e, maxcode);
                oldstart = oldstart - shift >= kBytes ? oldstart - shift : -1;
            }
            outpos = e.outpos;
            drainat = e.checked + CMP_OUTBUF;
        }
    }
    e.outpos = outpos;
    return 0;
}

int32_t unstore(Expander& e, uint32_t stored) {
    while (stored > 0) {
        int32_t want = stored < static_cast<uint32_t>(CMP_INBUF) ? static_cast<int32_t>(stored) : CMP_INBUF;
        int32_t got = cmpreadblock(&e.src, e.in, want);
        if (got <= 0) {
            break;
        }
        stored -= got;
        if (e.key8 != 0) {
            cmpscramble(e.in, got, -e.key8);
        }
        e.check = cmpsum(e.check, e.in, got);
        if (cmpstopped()) {
            return -1;
        }
        if (fastwrite(e.out, e.in, got) != 0) {
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
    CompressState& state = cmpstate();
    if (state.expander == nullptr) {
        state.expander = new (std::nothrow) Expander;  // every table is set before it is read
        if (state.expander == nullptr) {
            cmperror(CMP_E_MEMORY);
            return -1;
        }
    }
    Expander* e = static_cast<Expander*>(state.expander);
    e->in = state.inbuf;
    cmpreaderinit(&e->src, arc);
    e->out = out;
    e->left = h.stored;
    e->bits = h.bits;
    e->endcode = (1u << (h.bits & 15)) - 1;
    e->key8 = state.opt.key;
    e->check = 0;
    e->written = 0;
    e->size = h.size;
    e->outpos = kBytes;
    e->checked = kBytes;
    e->flushed = kBytes;
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
    if (r == 0 && fastfailed(arc)) {  // the entry was cut short by a read error
        cmperror(CMP_E_CORRUPT);
        r = -1;
    }
    *check = e->check;
    return r;
}
