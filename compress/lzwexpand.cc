// lzwexpand.cc - the expander: decodes an entry's code stream (or copies a
// stored entry) into the output stream, unscrambling with the password and
// summing the check value of the bytes written.
#include <cstdlib>

#include "compress/cmpstate.h"
#include "compress/cmpwnd.h"
#include "compress/lzw.h"

namespace {

// Longest string a 15-bit dictionary can hold is below this.
constexpr int32_t kStack = 32768;
constexpr int32_t kTable = 32767;

uint16_t prefix[kTable];
uint8_t suffix[kTable];

struct Expander {
    int32_t arc;
    int32_t out;
    uint32_t left;      // stored bytes not yet loaded
    int32_t pos;        // next byte of the input buffer
    int32_t len;        // bytes in the input buffer
    uint64_t acc;       // bits loaded and not yet taken
    int32_t nbits;
    int32_t bits;
    uint32_t endcode;
    uint8_t key8;
    uint16_t check;
    int64_t written;
    uint32_t size;
    int32_t outpos;
    uint8_t obuf[CMP_OUTBUF];
    uint8_t stack[kStack];
};

// Loads the next input block: 0, or -1 when the stored bytes are used up.
int32_t refill(Expander& e) {
    int32_t want = e.left < static_cast<uint32_t>(CMP_INBUF) ? static_cast<int32_t>(e.left) : CMP_INBUF;
    int32_t got = want > 0 ? fastread(e.arc, cmpinbuf, want) : 0;
    if (got <= 0) {
        e.left = 0;
        return -1;
    }
    e.left -= got;
    if (e.key8 != 0) {
        cmpscramble(cmpinbuf, got, -e.key8);
    }
    e.pos = 0;
    e.len = got;
    return 0;
}

// The next code, or the end code once the stored bytes run out.
inline uint32_t getcode(Expander& e) {
    while (e.nbits < e.bits) {
        if (e.pos == e.len && refill(e) != 0) {
            return e.endcode;
        }
        e.acc = (e.acc << 8) | cmpinbuf[e.pos++];
        e.nbits += 8;
    }
    e.nbits -= e.bits;
    return static_cast<uint32_t>(e.acc >> e.nbits) & e.endcode;
}

// Writes the output buffer: 0, or -1 on a failed write (error 7 reported).
int32_t writeout(Expander& e) {
    if (e.outpos == 0) {
        return 0;
    }
    e.check = cmpsum(e.check, e.obuf, e.outpos);
    int32_t r = fastwrite(e.out, e.obuf, e.outpos);
    e.written += e.outpos;
    e.outpos = 0;
    if (r != 0) {
        cmperror(CMP_E_WRITE);
        return -1;
    }
    return 0;
}

void showout(const Expander& e) {
    if (!cmpopt.quiet) {
        cmppercent(CMP_F_FILEPCT, e.size == 0 ? 0 : e.written * 100 / e.size);
    }
}

// Writes a full output buffer after testing Stop: 0, or -1.
int32_t fullout(Expander& e) {
    if (cmpstopped() || writeout(e) != 0) {
        return -1;
    }
    showout(e);
    return 0;
}

// Moves the sp bytes of the decoding stack, last pushed first, to the
// output.  0, or -1 when stopped or a write failed.
int32_t popstack(Expander& e, int32_t sp) {
    while (sp > 0) {
        int32_t room = CMP_OUTBUF - e.outpos;
        int32_t n = sp < room ? sp : room;
        uint8_t* o = e.obuf + e.outpos;
        for (int32_t i = 0; i < n; i++) {
            o[i] = e.stack[sp - 1 - i];
        }
        sp -= n;
        e.outpos += n;
        if (e.outpos == CMP_OUTBUF && fullout(e) != 0) {
            return -1;
        }
    }
    return 0;
}

int32_t decode(Expander& e) {
    const uint32_t maxcode = e.endcode;
    for (int32_t i = 0; i < 256; i++) {
        prefix[i] = 0;
        suffix[i] = static_cast<uint8_t>(i);
    }
    uint32_t next = LZW_FIRST;
    uint32_t old = getcode(e);
    if (old >= e.endcode) {
        return 0;
    }
    uint8_t last = static_cast<uint8_t>(old);
    e.obuf[e.outpos++] = last;
    for (;;) {
        uint32_t code = getcode(e);
        if (code >= e.endcode) {
            break;
        }
        if (code == LZW_CLEAR) {
            for (int32_t i = 0; i < 256; i++) {
                prefix[i] = 0;
            }
            next = LZW_CLEAR;
            code = getcode(e);
            if (code >= e.endcode) {
                break;
            }
        }
        const uint32_t incoming = code;
        int32_t sp = 0;
        if (code >= next) {
            e.stack[sp++] = last;
            code = old;
        }
        while (code > 255) {
            if (code >= maxcode || sp >= kStack - 1) {
                cmperror(CMP_E_CORRUPT);
                return -1;
            }
            e.stack[sp++] = suffix[code];
            code = prefix[code];
        }
        last = suffix[code];
        e.stack[sp++] = last;
        if (popstack(e, sp) != 0) {
            return -1;
        }
        if (next < maxcode) {
            prefix[next] = static_cast<uint16_t>(old);
            suffix[next] = last;
            next++;
        }
        old = incoming;
    }
    return 0;
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
    Expander* e = static_cast<Expander*>(std::malloc(sizeof(Expander)));
    if (e == nullptr) {
        cmperror(CMP_E_MEMORY);
        return -1;
    }
    e->arc = arc;
    e->out = out;
    e->left = h.stored;
    e->pos = 0;
    e->len = 0;
    e->acc = 0;
    e->nbits = 0;
    e->bits = h.bits;
    e->endcode = (1u << (h.bits & 15)) - 1;
    e->key8 = cmpopt.key;
    e->check = 0;
    e->written = 0;
    e->size = h.size;
    e->outpos = 0;
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
    std::free(e);
    return r;
}
