// recordpack.cc - the variable-length record layout: packing a record of
// the fixed layout into its stored form (trailing blanks dropped, TABs
// ending shortened fields, hex-4 length) and unpacking it back.
#include <cstring>

#include "definition/fid.h"
#include "record/record.h"
#include "support/strutil.h"

namespace {

// Walks every item occurrence in definition order, clipped so that fields
// never overlap: a field ending at or before the cursor is skipped, one
// starting before it is cut.  Fields never reach the final newline.
template <typename F>
void eachfield(const FHCB* cb, F&& f) {
    const int32_t last = cb->reclen - 1;
    int32_t cursor = packprefix(cb);
    for (int i = 0; i < cb->nitems; i++) {
        const FidItem& it = cb->items[i];
        for (int k = 0; k < it.occurs; k++) {
            int32_t start = it.offset + k * it.length;
            int32_t end = start + it.length;
            if (end > last) end = last;
            if (end <= cursor || start >= end) continue;
            if (start < cursor) start = cursor;
            const bool lastfield = (i == cb->nitems - 1) && (k == it.occurs - 1);
            f(it, start, end, lastfield);
            cursor = end;
        }
    }
}

bool islink(const FHCB* cb, int32_t start) {
    if (!cb->threads) return false;
    for (int t = 0; t < cb->nthreads; t++)
        if (cb->threads[t].thoff == start) return true;
    return false;
}

// Bytes of the field rec[start, end) that its packed form keeps.
int32_t keptlen(const FHCB* cb, const FidItem& it, const char* rec, int32_t start, int32_t end) {
    int32_t n = end - start;
    if (it.type == 'I' || it.type == 'S' || (cb->nthreads && islink(cb, start))) return n;
    while (n > 0 && rec[start + n - 1] == ' ') n--;
    return n;
}

}  // namespace

int32_t packedoffset(const FHCB* cb, const char* rec, int32_t at) {
    int32_t o = packprefix(cb);
    int32_t found = -1;
    eachfield(cb, [&](const FidItem& it, int32_t start, int32_t end, bool lastfield) {
        if (start == at && found < 0) found = o;
        const int32_t n = keptlen(cb, it, rec, start, end);
        o += n + ((n < end - start && !lastfield) ? 1 : 0);
    });
    return found;
}

int32_t packrec(const FHCB* cb, const char* rec, char* out) {
    const int32_t pre = packprefix(cb);
    out[0] = ' ';
    if (pre > 5) memcpy(out + 5, rec + 5, static_cast<size_t>(pre - 5));
    int32_t o = pre;
    eachfield(cb, [&](const FidItem& it, int32_t start, int32_t end, bool lastfield) {
        const int32_t n = keptlen(cb, it, rec, start, end);
        memcpy(out + o, rec + start, static_cast<size_t>(n));
        o += n;
        if (n < end - start && !lastfield) out[o++] = '\t';
    });
    out[o++] = '\n';
    tohexn(static_cast<uint32_t>(o), 4, out + 1);
    return o;
}

void unpackrec(const FHCB* cb, const char* src, int32_t srclen, char* dst) {
    const int32_t rl = cb->reclen;
    const int32_t pre = packprefix(cb);
    memset(dst, ' ', static_cast<size_t>(rl));
    memcpy(dst, src, static_cast<size_t>(srclen < pre ? srclen : pre));
    int32_t s = pre;
    eachfield(cb, [&](const FidItem&, int32_t start, int32_t end, bool) {
        int32_t d = start;
        while (d < end && s < srclen) {
            const char c = src[s];
            if (c == '\n') break;  // ends this and every later field
            s++;
            if (c == '\t') break;
            dst[d++] = c;
        }
    });
    dst[rl - 1] = '\n';
}
