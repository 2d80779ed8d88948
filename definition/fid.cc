// fid.cc - loading a file definition into a command block: opening the
// ".fid" file, choosing the text or binary form, and freeing the tables;
// fhfidoffset finds an item by name.
#include "definition/fid.h"

#include <cstring>

#include "definition/fidload.h"
#include "support/strutil.h"

namespace {

// Opens the definition file: shared reading when the block is shared, two
// tries with the least recently used file parked in between.  Stream, or
// -1 with status 9 (no buffer) or 6.
int32_t openfid(FHCB* cb) {
    uint32_t flags = VN_O_RDONLY | VN_O_BINARY;
    if (isshared(cb)) flags = fshare(cb->fidname, flags);
    int32_t s = fastopen(cb->fidname, flags, 0);
    if (s == -1) {
        closelru(0);
        s = fastopen(cb->fidname, flags, 0);
    }
    if (s == -2) cb->status = VN_E_MEMORY;
    else if (s < 0) cb->status = VN_E_FIDOPEN;
    return s < 0 ? -1 : s;
}

void clearfid(FHCB* cb) {
    cb->reclen = 0;
    cb->nitems = 0;
    cb->nkeys = 0;
    cb->nthreads = 0;
    cb->hashrecs = 0;
    cb->items = nullptr;
    cb->keys = nullptr;
    cb->threads = nullptr;
    cb->fflags &= static_cast<uint8_t>(~(VN_FF_RECNO | VN_FF_HASHED | VN_FF_VARLEN));
}

}  // namespace

int32_t loadfid(FHCB* cb) {
    clearfid(cb);
    int32_t s = openfid(cb);
    if (s < 0) return -1;
    int32_t r = fidtext(cb, s);
    if (r == FID_NOTTEXT) r = fidbin(cb, s);
    fastclose(s);
    if (r != 0) {
        uint8_t status = cb->status;
        freefid(cb);
        cb->nitems = 0;
        cb->nkeys = 0;
        cb->nthreads = 0;
        cb->status = status;
        return -1;
    }
    return 0;
}

// Unlike a plain release this also clears the table pointers, so that a
// second call (a failed open after a failed load) frees nothing twice.
void freefid(FHCB* cb) {
    fidfreeitems(cb);
    fidfreekeys(cb);
    if (cb->threads != nullptr) globalmfree(cb->threads);
    cb->threads = nullptr;
}

extern "C" int32_t VELNOR_CALL fhfidoffset(FHCB* cb, const char* name) {
    if (cb == nullptr || name == nullptr || cb->items == nullptr || cb->nitems == 0) return -1;
    uint32_t lo = 0;
    uint32_t hi = cb->nitems;
    for (;;) {
        uint32_t half = (hi - lo) / 2;
        uint32_t i = lo + half;
        uint16_t at = cb->items[i].order;
        int cmp = std::strcmp(name, cb->items[at].name);
        if (cmp == 0) return at;
        if (half == 0) return -1;
        if (cmp < 0)
            hi = i;
        else
            lo = i;
    }
}

int32_t fidthreadlink(FHCB* cb, const char* name, FidThread* t) {
    char link[16];
    nstrncpy(link, name, 12);
    upperstr(link);
    for (int i = 0; i < 10 && link[i] != '\0'; ++i)
        if (link[i] == ' ') link[i] = '\0';
    int32_t at = fhfidoffset(cb, link);
    if (at < 0) {
        cb->status = VN_E_FIDREAD;
        return -1;
    }
    const FidItem& item = cb->items[at];
    if (item.offset < 9) {
        cb->status = VN_E_THRFIRST8;
        return -1;
    }
    if (item.length < 4) {
        cb->status = VN_E_THRSHORT;
        return -1;
    }
    t->thoff = item.offset;
    return 0;
}

int32_t fidaddthread(FHCB* cb, const char* item, const char* expr) {
    if (std::strlen(expr) >= FID_EXPRLEN || cb->nthreads == 0xFFFF) {
        cb->status = VN_E_FIDREAD;
        return -1;
    }
    FidThread t{};
    if (fidthreadlink(cb, item, &t) != 0) return -1;
    std::strcpy(t.expr, expr);
    FidThread* table = fidallocthreads(cb, cb->nthreads + 1u);
    if (table == nullptr) return -1;
    if (cb->threads != nullptr) {
        std::memcpy(table, cb->threads, sizeof(FidThread) * cb->nthreads);
        globalmfree(cb->threads);
    }
    table[cb->nthreads] = t;
    cb->threads = table;
    cb->nthreads++;
    return 0;
}
