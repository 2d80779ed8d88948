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
        // Another process may have added records since the file was
        // measured: measure it again before calling a record cut short.
        if (!ec && pos + storedlength(cb) > size) size = std::filesystem::file_size(f.path(), ec);
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
