// recordscan.cc - the substring scan that positioning and moving on share:
// stepping the active key's index until a key holds the text in work.
#include <cstring>

#include "index/btree.h"
#include "index/idxfile.h"
#include "record/record.h"
#include "support/limits.h"
#include "record/keyfile.h"

namespace {

bool contains(const char* hay, size_t haylen, const char* needle, size_t len) {
    if (len == 0) return true;
    for (size_t i = 0; i + len <= haylen; i++)
        if (hay[i] == needle[0] && memcmp(hay + i, needle, len) == 0) return true;
    return false;
}

}  // namespace

int cmplength(const FHCB* cb) {
    const IdxState* ix = cb->index;
    const int k = cb->curkey;
    const int len = ix->keylen[k];
    if (k == 0) return len;
    const int appended = (cb->fflags & VN_FF_RECNO) ? 5 : ix->keylen[0];
    return len > appended ? len - appended : 0;
}

int32_t substrscan(FHCB* cb, int mode) {
    const size_t cmp = static_cast<size_t>(cmplength(cb));
    const size_t len = strnlen(cb->work, FH_WORKMAX);
    for (;;) {
        const int32_t r = keysearch(cb, cb->curkey, mode);
        if (r <= 0 || contains(cb->index->keybuf, cmp, cb->work, len)) return r;
    }
}
