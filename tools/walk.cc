// walk.cc - physical, keyed and thread walks over an open record file.
#include "walk.h"

#include "libinternal.h"

#include <algorithm>
#include <cstring>
#include <filesystem>

namespace vtool {

namespace {

// Bytes the record just read from the file takes there: the record
// length, or in a variable-length file the length it holds in hexadecimal
// after its status byte (0 when that is not a number).
uint64_t storedlength(const FHCB* cb) {
    if (!(cb->fflags & VN_FF_VARLEN)) return cb->reclen;
    uint64_t n = 0;
    for (int i = 1; i <= 4; ++i) {
        char c = cb->recbuf[i];
        int d = c >= '0' && c <= '9' ? c - '0' : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
        if (d < 0) return 0;
        n = n * 16 + static_cast<uint64_t>(d);
    }
    return n;
}

// Reads on from the current position until the end or the visitor stops.
// A record that runs past the end of the file (the engine fills what is
// missing) is never shown.
void readon(RecordFile& f, const Visitor& visit, ShortRecord* cut) {
    FHCB* cb = f.cb();
    std::error_code ec;
    uint64_t size = std::filesystem::file_size(f.path(), ec);
    while (cb->state & VN_ST_CURRENT) {
        bool deleted = false;
        uint64_t pos = static_cast<uint32_t>(cb->datpos);
        if (vfhread(cb, 0) != 0) {
            if (cb->status == VN_C_NOREC) return;
            if (cb->status != VN_C_DELETED) f.fail_status();
            deleted = true;
        }
        if (!ec && pos + storedlength(cb) > size) {
            ShortRecord s{pos, size};
            if (cut) {
                *cut = s;
                return;
            }
            fail(f.path(), "the record at byte " + std::to_string(pos) +
                               " is cut short: the file ends at byte " + std::to_string(size) +
                               "; velnor verify " + f.path() + " checks the file");
        }
        if (!visit(deleted)) return;
    }
}

}  // namespace

void walkphysical(RecordFile& f, const Visitor& visit, ShortRecord* cut) {
    FHCB* cb = f.cb();
    f.setkey(0);
    if (cb->fflags & VN_FF_HASHED) {
        // Positioning goes through the hash file whatever the order: start
        // at the first record after the header directly, if there is one.
        std::error_code ec;
        cb->datpos = cb->reclen;
        if (std::filesystem::file_size(f.path(), ec) <= cb->reclen && !ec) return;
        cb->state |= VN_ST_CURRENT;
    } else {
        // Position on record index 0, the first after the header.
        std::memset(cb->work, 0, 257);
        if (vfhposn(cb, 0) != 0) f.fail_status();
    }
    readon(f, visit, cut);
}

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

long countactive(RecordFile& f) {
    long n = 0;
    walkphysical(f, [&](bool deleted) {
        n += !deleted;
        return true;
    });
    return n;
}

void walkkey(RecordFile& f, int key, const std::string& start, const Visitor& visit) {
    FHCB* cb = f.cb();
    f.setkey(key);
    std::memset(cb->work, 0, 257);
    std::memcpy(cb->work, start.data(), std::min<size_t>(start.size(), 256));
    if (vfhposn(cb, 0) != 0) f.fail_status();
    readon(f, visit, nullptr);
}

void walkthread(RecordFile& f, int thread, const Visitor& visit) {
    FHCB* cb = f.cb();
    f.checkthread(thread);
    f.setkey(0);
    cb->state |= VN_ST_THREAD;
    cb->curkey = static_cast<int8_t>(thread - 1);
    if (vfhposn(cb, 0) != 0) f.fail_status();
    readon(f, visit, nullptr);
    cb->state &= static_cast<uint16_t>(~VN_ST_THREAD);
    cb->curkey = 0;
}

}  // namespace vtool
