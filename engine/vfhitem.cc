// vfhitem.cc - item access by name on the record buffer: get and set an
// occurrence (set justifies right-justified items to the right), the
// address of an item, and copying items between two files by name.
#include <cstring>

#include "definition/fid.h"

namespace {

// The field of occurrence occ of item name in cb->recbuf, or null when the
// item is unknown or occ is not below its occurrences.  A negative occ is
// refused too, so that nothing outside the record is reached.
char* field(FHCB* cb, const char* name, int32_t occ, const FidItem** item) {
    if (cb == nullptr || cb->recbuf == nullptr || name == nullptr) return nullptr;
    int32_t at = fhfidoffset(cb, name);
    if (at < 0) return nullptr;
    const FidItem& it = cb->items[at];
    if (occ < 0 || occ >= it.occurs) return nullptr;
    *item = &it;
    return cb->recbuf + it.offset + static_cast<size_t>(occ) * it.length;
}

// A null pointer handed to an item call: -1 (or null), and the status says
// the call did not apply.
bool refused(FHCB* cb, const void* a, const void* b) {
    if (cb != nullptr && a != nullptr && b != nullptr) return false;
    if (cb != nullptr) cb->status = VN_C_NOTAPPLY;
    return true;
}

// Writes the n characters of text into the item's field: blanks first for
// a right-justified item when text is shorter, blanks after otherwise, and
// a longer text is cut on the right.
void put(char* f, const FidItem& it, const char* text, size_t n) {
    size_t len = it.length;
    if (it.just == 'R' && n < len) {
        std::memset(f, ' ', len - n);
        f += len - n;
        len = n;
    }
    size_t copy = n < len ? n : len;
    std::memcpy(f, text, copy);
    std::memset(f + copy, ' ', len - copy);
}

}  // namespace

extern "C" {

int32_t VELNOR_CALL vfhitemget(FHCB* cb, const char* name, int32_t occ, char* dest) {
    if (refused(cb, name, dest)) return -1;
    const FidItem* it = nullptr;
    char* f = field(cb, name, occ, &it);
    if (f == nullptr) return -1;
    nstrncpy(dest, f, it->length);
    return 0;
}

int32_t VELNOR_CALL vfhitemset(FHCB* cb, const char* name, int32_t occ, const char* src) {
    if (refused(cb, name, src)) return -1;
    const FidItem* it = nullptr;
    char* f = field(cb, name, occ, &it);
    if (f == nullptr) return -1;
    put(f, *it, src, std::strlen(src));
    return 0;
}

char* VELNOR_CALL vfhitemoffset(FHCB* cb, const char* name) {
    if (refused(cb, name, name)) return nullptr;
    int32_t at = cb->recbuf != nullptr ? fhfidoffset(cb, name) : -1;
    return at < 0 ? nullptr : cb->recbuf + cb->items[at].offset;
}

// Only occurrence 0 of each item is copied.
int32_t VELNOR_CALL vfhcopy(FHCB* dst, FHCB* src) {
    if (dst == nullptr || src == nullptr) return -1;
    for (uint32_t i = 0; src->items != nullptr && i < src->nitems; ++i) {
        const FidItem* from = nullptr;
        const FidItem* to = nullptr;
        const char* name = src->items[i].name;
        const char* f = field(src, name, 0, &from);
        char* t = field(dst, name, 0, &to);
        if (f == nullptr || t == nullptr) continue;
        put(t, *to, f, strnlen(f, from->length));
    }
    return 0;
}

}  // extern "C"
