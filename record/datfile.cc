// datfile.cc - the data file's header record (the 'V'/blank mark, the hex-8
// record count and the thread heads as b95-4 at their link offsets) and the
// reading of one record with the lock probe and 0x1A padding.
#include <cstring>

#include "definition/fid.h"
#include "definition/keys.h"
#include "record/lock.h"
#include "record/record.h"
#include "record/recstate.h"
#include "support/os.h"
#include "support/strutil.h"

namespace {

bool ishex(const char* s, int n) {
    for (int i = 0; i < n; i++) {
        const char c = s[i];
        if (!((c >= '0' && c <= '9') || (c >= 'A' && c <= 'F'))) return false;
    }
    return true;
}

// Reads through the file's map.  A shared file may have been cut short by
// another process since the map last measured it; bytes past its end then
// read as zeros, the last byte among them, so a read that ends in a zero
// is measured again before it is taken.
int32_t readat(FHCB* cb, int32_t pos, void* buf, int32_t len) {
    if (pos < 0) return -1;
    const int32_t fd = static_cast<int32_t>(cb->datfd);
    const uint32_t n = static_cast<uint32_t>(len), at = static_cast<uint32_t>(pos);
    if (len > 0 && osreadmapped(fd, buf, n, at) == len) {
        if (!isshared(cb) || static_cast<const char*>(buf)[n - 1] != 0) return len;
        if (osremeasure(fd) == 0 && osreadmapped(fd, buf, n, at) == len) return len;
    }
    return osreadat(fd, buf, n, at);
}

}  // namespace

RecordState& recstate() { return runtimepart<RecordState>(RT_RECORD); }

// An unshared file's writes may wait in memory for the ones that follow;
// the OS layer puts them on the file before anything else touches it.
int32_t writeat(FHCB* cb, int32_t pos, const void* buf, int32_t len) {
    const int32_t fd = static_cast<int32_t>(cb->datfd);
    const uint32_t n = static_cast<uint32_t>(len), at = static_cast<uint32_t>(pos);
    if (pos < 0 || (isshared(cb) ? oswriteat(fd, buf, n, at) : oswritelater(fd, buf, n, at)) != len) {
        cb->status = VN_E_DATWRITE;
        return -1;
    }
    return 0;
}

int32_t datend(FHCB* cb) {
    const int32_t size = osfilesize(static_cast<int32_t>(cb->datfd));
    if (size < 0) cb->status = VN_E_DATREAD;
    return size;
}

int32_t writehdrcount(FHCB* cb) {
    char hdr[9];
    hdr[0] = (cb->fflags & VN_FF_VARLEN) ? 'V' : ' ';
    tohexn(cb->nrecs, 8, hdr + 1);
    return writeat(cb, 0, hdr, 9);
}

int32_t writeheads(FHCB* cb) {
    if (cb->nthreads == 0 || !cb->threads || cb->reclen < 11) return 0;
    char* const buf = recstate().heads;
    const int32_t rl = cb->reclen;
    memset(buf, ' ', static_cast<size_t>(rl));
    for (int t = 0; t < cb->nthreads; t++) {
        const FidThread& th = cb->threads[t];
        if (th.thoff >= 9 && th.thoff + 4 <= rl - 1)
            memcpy(buf + th.thoff, tobase95(th.head, 4), 4);
    }
    return writeat(cb, 9, buf + 9, rl - 10);
}

int32_t readhdrcount(FHCB* cb) {
    char hdr[9];
    if (readat(cb, 0, hdr, 9) != 9 || !ishex(hdr + 1, 8) || fromhex(hdr + 1, 8) < 0) {
        cb->status = VN_E_DATREAD;
        return -1;
    }
    cb->nrecs = static_cast<uint32_t>(fromhex(hdr + 1, 8));
    return 0;
}

int32_t readheads(FHCB* cb) {
    if (!cb->threads) return 0;
    for (int t = 0; t < cb->nthreads; t++) {
        FidThread& th = cb->threads[t];
        char link[4];
        if (readat(cb, th.thoff, link, 4) != 4) {
            cb->status = VN_E_DATREAD;
            return -1;
        }
        th.head = frombase95(link, 4);
    }
    return 0;
}

int32_t storedlen(FHCB* cb, int32_t pos) {
    char len[4];
    if (readat(cb, pos + 1, len, 4) != 4 || !ishex(len, 4)) {
        cb->status = VN_E_DATREAD;
        return -1;
    }
    return fromhex(len, 4);
}

int32_t readrec(FHCB* cb, char* buf) {
    const int32_t rl = cb->reclen;
    const bool var = (cb->fflags & VN_FF_VARLEN) && cb->nitems > 0;
    char* const raw = recstate().raw;  // the stored bytes, before unpacking
    char* dst = var ? raw : buf;
    const int32_t got = readat(cb, cb->datpos, dst, rl);
    // Another process holding the record's lock owns its first byte: the
    // record is read from its second byte on and taken as active.  A record
    // that starts with a blank and has more after it reads the same either
    // way, so only the others ask whether the lock is held.
    const bool plain = got >= 2 && dst[0] == ' ' && (!var || got < 5 || !ishex(dst + 1, 4) || fromhex(dst + 1, 4) >= 2);
    const int32_t skip = !plain && locking(cb) && recprobe(cb) ? 1 : 0;
    if (got - skip < 1) {
        cb->status = VN_E_DATREAD;
        return -1;
    }
    if (skip) dst[0] = ' ';
    int32_t stored = rl;
    int32_t len = rl;
    if (var) {
        if (got < 5 || !ishex(dst + 1, 4)) {
            cb->status = VN_E_DATREAD;
            return -1;
        }
        stored = fromhex(dst + 1, 4);
        len = stored < rl ? stored : rl;
        if (len - skip < 1) {
            cb->status = VN_E_DATREAD;
            return -1;
        }
    } else if (cb->nitems == 0) {
        stored = got;
    }
    if (got < len) memset(dst + got, 0x1A, static_cast<size_t>(len - got));
    if (var) unpackrec(cb, raw, len, buf);
    return stored;
}

int32_t readrecat(FHCB* cb, int32_t pos, char* buf) {
    const int32_t save = cb->datpos;
    cb->datpos = pos;
    const int32_t r = readrec(cb, buf);
    cb->datpos = save;
    return r;
}
