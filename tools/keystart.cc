// keystart.cc - the lowest value a key can hold, where a walk of every
// record in key order starts.  The Python package builds this file too.
#include "keystart.h"

#include <algorithm>

#include "definition/definition.h"

namespace vtool {

std::string lowestkey(const FHCB* cb, int key) {
    std::string k;
    if (key < 1 || key > cb->nkeys) return k;
    const FidKey& def = cb->keys[key - 1];
    for (unsigned s = 0; s < def.nsegs && s < FID_MAXSEGS; ++s) {
        const unsigned n = def.seg[s].seglen, flags = def.seg[s].segflags;
        const bool high = flags & SEG_DESCEND;
        std::string part;
        if (flags & SEG_NUMERIC) {
            // The widest number the part's text can hold, with an exponent
            // where it fits: "-9e300" is below any "-99999".
            const unsigned room = high ? n : n - 1;  // after the sign
            if (!high && n > 1) part.push_back('-');
            if (room >= 5) part += "9e300";
            else if (room == 4) part += "9e99";
            else if (room == 3) part += "9e9";
            else part.append(room, '9');
        } else if (flags & SEG_INTEGER) {
            // Read as a 32-bit integer from at most ten characters.
            const unsigned digits = std::min(n, 10u);
            if (!high && digits > 1) part.push_back('-');
            part.append(high ? digits : digits > 1 ? digits - 1 : 0, '9');
        } else if (flags & (SEG_BINARY | SEG_CASE)) {
            // Bytes compared unsigned: the zero byte is lowest and also ends
            // the value the engine copies, leaving the rest zero.
            part.assign(n, high ? '\xFF' : '\0');
        } else {
            // Case-blind text compares signed bytes: 0x80 is the lowest.
            part.assign(n, high ? '\x7F' : '\x80');
        }
        part.resize(n, ' ');
        k += part;
    }
    return k;
}

}  // namespace vtool
