// setaside.cc - before recover or pack: an active record whose key 0 an
// earlier active record already has cannot be indexed beside it (recover
// would enter both and leave a file verify rejects; pack would write the
// second over the first).  Nor can one whose key is all zero bytes under
// some index: that is the lowest key, where every walk from the first key
// starts, and the walk steps past an entry equal to its start, so verify
// would count one entry short.  Such records are copied to a side file,
// FILE with .dup, and only then marked deleted in the data file, so that a
// run cut short at any point leaves each record in one of the two files.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "commands.h"
#include "common.h"
#include "keytable.h"
#include "libinternal.h"

namespace vtool {

namespace {

int hexdigit(char c) { return c >= '0' && c <= '9' ? c - '0' : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1; }

// The stored length a variable-length record announces, or -1.
int32_t announced(const char* head) {
    int32_t n = 0;
    for (int i = 1; i <= 4; i++) {
        const int d = hexdigit(head[i]);
        if (d < 0) return -1;
        n = n * 16 + d;
    }
    return n;
}

// Closes an OS handle when it goes out of scope.
struct Handle {
    int32_t h;
    ~Handle() {
        if (h > 0) osclose(h);
    }
};

}  // namespace

std::string setaside(const MaintOptions& opt) {
    FHCB cb{};
    const std::string fid = opt.fid.empty() ? derivedname(opt.file, ".fid") : opt.fid;
    if (fid.size() >= sizeof cb.fidname) return {};
    std::memcpy(cb.fidname, fid.c_str(), fid.size() + 1);
    // A definition that does not load is the maintenance run's to report.
    if (loadfid(&cb) != 0) return {};
    struct Definition {
        FHCB* cb;
        ~Definition() { freefid(cb); }
    } owner{&cb};
    if (cb.nkeys < 1 || cb.reclen < 2) return {};
    const bool var = cb.fflags & VN_FF_VARLEN;
    Handle dat{osopen(opt.file.c_str(), VN_O_RDWR | VN_O_BINARY, 0)};
    if (dat.h < 1) return {};
    const int32_t size = osfilesize(dat.h);
    BlockReader in(dat.h);
    std::vector<char> stored(cb.reclen), record(cb.reclen + 8);
    std::vector<std::pair<int32_t, std::string>> extra;  // position, fixed layout
    long lowest = 0;                                      // of them, set aside for a key of zeros
    char key[FH_KEYSIZE];
    KeyTable keys(size > 0 ? static_cast<size_t>(std::min<int32_t>(size / static_cast<int32_t>(cb.reclen), 1 << 22)) : 0);
    cb.recbuf = record.data();
    // A key whose segments do not fill its length is padded with whatever
    // the key buffer held: no index built from it would verify.
    std::memset(record.data(), ' ', record.size());
    for (int k = 0; k < cb.nkeys && !(cb.fflags & VN_FF_RECNO); k++) {
        const int32_t n = bldkey(&cb, k, key);
        if (n != cb.keys[k].keylen)
            fail(fid, "key " + std::to_string(k + 1) + " is " + std::to_string(cb.keys[k].keylen) +
                          " bytes long but its segments give " + std::to_string(n) +
                          ": the definition is damaged, and nothing was changed",
                 MAINT_FAILED);
    }
    // The walk stops where the records stop making sense; pack's own
    // reader deals with what lies beyond.  Fixed-length records are where
    // their length puts them, a newline lost to damage or not, as pack
    // reads them.
    for (int32_t pos = cb.reclen; pos >= 0 && pos + (var ? 0 : cb.reclen) <= size;) {
        int32_t len = cb.reclen;
        if (var) {
            if (in.readat(pos, stored.data(), 5) != 5) break;
            len = announced(stored.data());
            if (len < 6 || len > cb.reclen) break;
        }
        if (in.readat(pos, stored.data(), len) != len || (var && stored[static_cast<size_t>(len) - 1] != '\n'))
            break;
        if (stored[0] == ' ') {
            if (var) unpackrec(&cb, stored.data(), len, record.data());
            else std::memcpy(record.data(), stored.data(), static_cast<size_t>(len));
            // Every other key ends in this one, so it is the one that can
            // be all zero bytes when any is.
            const int32_t n = bldkey(&cb, 0, key);
            const bool taken = !keys.emplace(std::string_view(key, static_cast<size_t>(n)), pos).second;
            if (taken || std::all_of(key, key + n, [](char c) { return c == '\0'; })) {
                extra.emplace_back(pos, std::string(record.data(), static_cast<size_t>(cb.reclen)));
                lowest += !taken;
            }
        }
        pos += len;
    }
    if (extra.empty()) return {};
    const std::string side = derivedname(opt.file, ".dup");
    Handle out{osopen(side.c_str(), VN_O_WRONLY | VN_O_CREAT | VN_O_BINARY, 0666)};
    if (out.h < 1) fail(side, "cannot create the file for records whose key is taken: " + std::string(std::strerror(errno)));
    const int32_t had = osfilesize(out.h);
    uint32_t at = had > 0 ? static_cast<uint32_t>(had) : 0;
    for (const auto& e : extra) {
        const std::string& rec = e.second;
        const auto n = static_cast<uint32_t>(rec.size());
        if (oswriteat(out.h, rec.data(), n, at) != static_cast<int32_t>(n))
            fail(side, "cannot write a record whose key is taken: " + std::string(std::strerror(errno)));
        at += n;
    }
    ossync(out.h);
    for (const auto& e : extra)
        if (oswriteat(dat.h, "D", 1, static_cast<uint32_t>(e.first)) != 1)
            fail(opt.file, "cannot mark a record set aside deleted: " + std::string(std::strerror(errno)));
    ossync(dat.h);
    const long taken = static_cast<long>(extra.size()) - lowest;
    std::string what = taken > 0 ? counted(taken, "record") + " whose key an earlier record has" : "";
    if (lowest > 0) what += (taken > 0 ? " and " : "") + counted(lowest, "record") + " whose key is all zero bytes";
    return what + ": copied to " + side + " and deleted";
}

}  // namespace vtool
