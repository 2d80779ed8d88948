// fid_tables.cc - allocating and freeing the item, key and thread tables of
// a definition, and the checks that keep every item, segment and key inside
// the record and the index before anything indexes recbuf with them.
#include <cstring>

#include "definition/fidload.h"
#include "support/runtime.h"

namespace {

void* fidalloc(FHCB* cb, uint32_t n, uint32_t size) {
    if (n == 0) n = 1;
    void* p = globalcalloc(n, size);
    if (p == nullptr) cb->status = VN_E_MEMORY;
    return p;
}

}  // namespace

FidItem* fidallocitems(FHCB* cb, uint32_t n) {
    return static_cast<FidItem*>(fidalloc(cb, n, sizeof(FidItem)));
}

FidKey* fidallockeys(FHCB* cb, uint32_t n) {
    return static_cast<FidKey*>(fidalloc(cb, n, sizeof(FidKey)));
}

FidThread* fidallocthreads(FHCB* cb, uint32_t n) {
    return static_cast<FidThread*>(fidalloc(cb, n, sizeof(FidThread)));
}

char* fidname(FHCB* cb, const char* s, uint32_t n) {
    char* p = static_cast<char*>(globalmalloc(n + 1));
    if (p == nullptr) {
        cb->status = VN_E_MEMORY;
        return nullptr;
    }
    std::memcpy(p, s, n);
    p[n] = '\0';
    return p;
}

void fidfreeitems(FHCB* cb) {
    if (cb->items == nullptr) return;
    for (uint32_t i = 0; i < cb->nitems; ++i)
        if (cb->items[i].name != nullptr) globalmfree(cb->items[i].name);
    globalmfree(cb->items);
    cb->items = nullptr;
}

void fidfreekeys(FHCB* cb) {
    if (cb->keys == nullptr) return;
    for (int i = 0; i < cb->nkeys; ++i)
        if (cb->keys[i].name != nullptr) globalmfree(cb->keys[i].name);
    globalmfree(cb->keys);
    cb->keys = nullptr;
}

int32_t fidcheckitems(FHCB* cb) {
    if (cb->reclen < 10) {
        cb->status = VN_E_RECLEN;
        return -1;
    }
    if (cb->nitems > 0 && cb->items == nullptr) return fhfail(cb, VN_CORRUPT(VN_E_FIDREAD));
    // Items lie between the status byte and the newline: [1, reclen - 1).
    uint32_t end = cb->reclen - 1u;
    for (uint32_t i = 0; i < cb->nitems; ++i) {
        const FidItem& it = cb->items[i];
        if (it.name == nullptr || it.offset < 1 || it.order >= cb->nitems) return fhfail(cb, VN_CORRUPT(VN_E_FIDREAD));
        uint64_t last = it.offset + static_cast<uint64_t>(it.length) * it.occurs;
        if (last > end || it.offset + static_cast<uint32_t>(it.length) > end)
            return fhfail(cb, VN_CORRUPT(VN_E_FIDREAD));
    }
    return 0;
}

int32_t fidcheckkeys(FHCB* cb) {
    int maxkeys = (cb->fflags & VN_FF_RECNO) ? FID_MAXINDEX - 1 : FID_MAXINDEX;
    if (cb->nkeys < 0 || cb->nkeys > maxkeys) return fhfail(cb, VN_CORRUPT(VN_E_FIDREAD));
    if (cb->nkeys > 0 && cb->keys == nullptr) return fhfail(cb, VN_CORRUPT(VN_E_FIDREAD));
    uint32_t end = cb->reclen - 1u;
    for (int k = 0; k < cb->nkeys; ++k) {
        const FidKey& key = cb->keys[k];
        if (key.name == nullptr || key.nsegs > FID_MAXSEGS) return fhfail(cb, VN_CORRUPT(VN_E_FIDREAD));
        uint32_t sum = 0;
        for (int s = 0; s < key.nsegs; ++s) {
            const FidSeg& seg = key.seg[s];
            if (seg.segoff + 1u + seg.seglen > end) return fhfail(cb, VN_CORRUPT(VN_E_FIDREAD));
            sum += seg.seglen;
        }
        if (sum > key.keylen) return fhfail(cb, VN_CORRUPT(VN_E_FIDREAD));
    }
    return 0;
}

int32_t fidadjustkeys(FHCB* cb) {
    bool recno = (cb->fflags & VN_FF_RECNO) != 0;
    uint32_t first = cb->nkeys > 0 ? cb->keys[0].keylen : 0;
    for (int k = 0; k < cb->nkeys; ++k) {
        uint32_t len = cb->keys[k].keylen;
        if (recno)
            len += 5;
        else if (k > 0)
            len += first;
        if (len > 255) return fhfail(cb, VN_CORRUPT(VN_E_FIDREAD));
        cb->keys[k].keylen = static_cast<uint8_t>(len);
    }
    return 0;
}

int32_t fidfinishkeys(FHCB* cb) {
    if (cb->fflags & VN_FF_TMPIDX) return fidtmpkey(cb);
    if (fidcheckkeys(cb) != 0) return -1;
    return fidadjustkeys(cb);
}
