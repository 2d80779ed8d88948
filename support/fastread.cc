// fastread.cc - reading the buffered streams: blocks, bytes, text lines and
// run-length-coded records.
#include <cstdint>
#include <cstring>

#include "support/fastio.h"
#include "support/os.h"
#include "support/runtime.h"

namespace {

constexpr int kCodedMax = 128;  // work area of a coded record, NUL included
constexpr char kSpaceRun = 30;  // followed by a count: that many spaces
constexpr char kEscRun = 31;    // followed by a count: that many escapes

// Bytes still unread in the buffer (never negative).
int32_t left(const FastStream* f) { return f->count > f->pos ? f->count - f->pos : 0; }

}  // namespace

bool fastfill(FastStream* f) {
    f->pos = 0;
    int32_t n = osread(f->handle, f->buffer, kFastBuffer);
    f->count = n < 1 ? 0 : n;
    if (n < 0) f->failed = 1;
    return n >= 1;
}

int32_t VELNOR_CALL fastread(int32_t s, void* dest, uint32_t count) {
    FastStream* f = faststream(s);
    if (f == nullptr || (dest == nullptr && count > 0)) return 0;
    if (count > INT32_MAX) count = INT32_MAX;
    char* out = static_cast<char*>(dest);
    uint32_t done = 0;
    while (static_cast<uint32_t>(left(f)) < count - done) {
        uint32_t n = static_cast<uint32_t>(left(f));
        memcpy(out + done, f->buffer + f->pos, n);
        done += n;
        if (!fastfill(f)) return static_cast<int32_t>(done);
    }
    uint32_t n = count - done;
    memcpy(out + done, f->buffer + f->pos, n);
    f->pos += static_cast<int32_t>(n);
    return static_cast<int32_t>(count);
}

int32_t VELNOR_CALL fastgetc(int32_t s) {
    FastStream* f = faststream(s);
    if (f == nullptr) return -1;
    if (f->pos >= f->count && !fastfill(f)) return -1;
    return static_cast<unsigned char>(f->buffer[f->pos++]);
}

char* VELNOR_CALL fastgets(int32_t s, char* dest, int32_t limit) {
    FastStream* f = faststream(s);
    if (f == nullptr || dest == nullptr) return nullptr;
    int32_t stored = 0;
    for (int32_t turns = limit; turns > 0;) {
        if (f->pos >= f->count && !fastfill(f)) {
            if (stored == 0) return nullptr;
            break;
        }
        // Copy the run of ordinary bytes in the buffer in one go; each byte
        // taken uses one turn.
        const char* from = f->buffer + f->pos;
        int32_t avail = f->count - f->pos;
        int32_t n = avail < turns ? avail : turns;
        int32_t run = 0;
        while (run < n && from[run] != '\n' && from[run] != '\r' && from[run] != 26) ++run;
        memcpy(dest + stored, from, static_cast<size_t>(run));
        stored += run;
        f->pos += run;
        turns -= run;
        if (run == n) continue;
        char c = f->buffer[f->pos++];
        --turns;
        if (c == '\n') break;
        runtime().support.fastlineflag = 1;
        if (c == 26) {
            if (stored == 0) return nullptr;
            break;
        }
    }
    dest[stored] = '\0';
    return dest;
}

char* VELNOR_CALL fastagets(int32_t s, char* dest, int32_t width) {
    FastStream* f = faststream(s);
    if (f == nullptr || dest == nullptr) return nullptr;
    // A record longer than the work area keeps its first 127 bytes; the rest
    // is read and dropped so the next record starts in the right place.
    char work[kCodedMax];
    int len = 0;
    for (;;) {
        int c = fastgetc(s);
        if (c < 0) return nullptr;
        if (c == 0) break;
        if (len < kCodedMax - 1) work[len++] = static_cast<char>(c);
    }
    work[len] = '\0';
    int32_t out = 0;
    for (int i = 0; i < len; ++i) {
        char c = work[i];
        if ((c == kSpaceRun || c == kEscRun) && i + 1 < len) {
            int n = static_cast<signed char>(work[++i]);
            char fill = c == kSpaceRun ? ' ' : 27;
            for (int k = 0; k < n; ++k) dest[out++] = fill;
        } else if (c != kSpaceRun && c != kEscRun) {
            dest[out++] = c;
        }
    }
    while (out < width) dest[out++] = ' ';
    return dest;
}
