// walk.cc - physical, keyed and thread walks over an open record file.
#include "walk.h"

#include <cstring>

namespace vtool {

namespace {

// Reads on from the current position until the end or the visitor stops.
void readon(RecordFile& f, const Visitor& visit) {
    FHCB* cb = f.cb();
    while (cb->state & VN_ST_CURRENT) {
        bool deleted = false;
        if (vfhread(cb, 0) != 0) {
            if (cb->status == VN_C_NOREC) return;
            if (cb->status != VN_C_DELETED) f.fail_status();
            deleted = true;
        }
        if (!visit(deleted)) return;
    }
}

}  // namespace

void walkphysical(RecordFile& f, const Visitor& visit) {
    FHCB* cb = f.cb();
    f.setkey(0);
    // Position on record index 0, the first after the header.
    std::memset(cb->work, 0, 257);
    if (vfhposn(cb, 0) != 0) f.fail_status();
    readon(f, visit);
}

void walkkey(RecordFile& f, int key, const std::string& start, const Visitor& visit) {
    FHCB* cb = f.cb();
    f.setkey(key);
    std::memset(cb->work, 0, 257);
    std::memcpy(cb->work, start.data(), std::min<size_t>(start.size(), 256));
    if (vfhposn(cb, 0) != 0) f.fail_status();
    readon(f, visit);
}

void walkthread(RecordFile& f, int thread, const Visitor& visit) {
    FHCB* cb = f.cb();
    f.checkthread(thread);
    f.setkey(0);
    cb->state |= VN_ST_THREAD;
    cb->curkey = static_cast<int8_t>(thread - 1);
    if (vfhposn(cb, 0) != 0) f.fail_status();
    readon(f, visit);
    cb->state &= static_cast<uint16_t>(~VN_ST_THREAD);
    cb->curkey = 0;
}

}  // namespace vtool
