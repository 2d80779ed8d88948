// fastio.cc - the five buffered streams: opening, closing, flushing,
// writing and positioning.  Reading is in fastread.cc.
#include <cstring>

#include "support/fastio.h"
#include "support/os.h"
#include "support/runtime.h"

namespace {

// Stores n bytes, flushing each time the buffer fills: false when a flush
// failed (the bytes before it were taken).
bool putbytes(FastStream* f, const char* p, size_t n) {
    while (n > 0) {
        if (f->pos < 0 || f->pos >= kFastBuffer) f->pos = 0;  // a stream read before
        size_t room = static_cast<size_t>(kFastBuffer - f->pos);
        size_t take = n < room ? n : room;
        memcpy(f->buffer + f->pos, p, take);
        f->pos += static_cast<int32_t>(take);
        p += take;
        n -= take;
        if (f->pos == kFastBuffer && fastflush(static_cast<int32_t>(f - runtime().support.streams)) != 0) return false;
    }
    return true;
}

// The logical position plus offset, wrapping as 32-bit positions do.
int32_t logical(const FastStream* f, int32_t offset) {
    uint32_t at = static_cast<uint32_t>(osseek(f->handle, 0, 1)) - static_cast<uint32_t>(f->count) +
                  static_cast<uint32_t>(f->pos) + static_cast<uint32_t>(offset);
    return static_cast<int32_t>(at);
}

}  // namespace

FastStream* faststream(int32_t s) {
    if (s < 0 || s >= kFastStreams || runtime().support.streams[s].handle == 0) return nullptr;
    return &runtime().support.streams[s];
}

int32_t VELNOR_CALL fastopen(const char* path, uint32_t flags, uint32_t perm) {
    if (path == nullptr || *path == '\0') return -1;
    int32_t s = 0;
    while (s < kFastStreams && runtime().support.streams[s].handle != 0) ++s;
    if (s == kFastStreams) return -1;
    int32_t h = osopen(path, flags, perm);
    if (h < 1) {
        if (flags & VN_O_CREAT) osunlink(path);
        return -1;
    }
    char* buffer = static_cast<char*>(globalmalloc(kFastBuffer));
    if (buffer == nullptr) {
        osclose(h);
        if (flags & VN_O_CREAT) osunlink(path);
        return -2;
    }
    runtime().support.streams[s] = FastStream{h, flags, 0, 0, buffer, 0};
    return s;
}

int32_t VELNOR_CALL fastflush(int32_t s) {
    FastStream* f = faststream(s);
    if (f == nullptr) return 1;
    if (f->pos == 0) return 0;
    // A write may take fewer bytes than asked (a full disk, a signal): the
    // rest goes after it, and only a write that takes none fails.
    const char* p = f->buffer;
    int32_t left = f->pos;
    while (left > 0) {
        int32_t n = oswrite(f->handle, p, static_cast<uint32_t>(left));
        if (n < 1) break;
        p += n;
        left -= n;
    }
    osflush(f->handle);
    f->pos = 0;
    if (left > 0) f->failed = 1;
    return left > 0 ? 1 : 0;
}

bool fastfailed(int32_t s) {
    FastStream* f = faststream(s);
    return f != nullptr && f->failed != 0;
}

namespace {

// fastclose, and whether the OS close itself failed.
int32_t closestream(int32_t s, bool* closefailed) {
    FastStream* f = faststream(s);
    if (f == nullptr) return 1;
    int32_t result = (f->flags & VN_O_CREAT) ? fastflush(s) : 0;
    globalmfree(f->buffer);
    *closefailed = osclose(f->handle) != 0;
    *f = FastStream{};
    return result;
}

}  // namespace

int32_t VELNOR_CALL fastclose(int32_t s) {
    bool closefailed = false;
    return closestream(s, &closefailed);
}

int32_t fastcloseall(int32_t s) {
    bool closefailed = false;
    const int32_t r = closestream(s, &closefailed);
    return r != 0 || closefailed ? 1 : 0;
}

int32_t VELNOR_CALL fastwrite(int32_t s, const void* src, uint32_t count) {
    FastStream* f = faststream(s);
    if (f == nullptr) return -1;
    if (src == nullptr && count > 0) return -1;
    return putbytes(f, static_cast<const char*>(src), count) ? 0 : -1;
}

int32_t VELNOR_CALL fastputc(int32_t s, int32_t c) {
    FastStream* f = faststream(s);
    if (f == nullptr) return -1;
    char byte = static_cast<char>(c);
    return putbytes(f, &byte, 1) ? 0 : -1;
}

const char* VELNOR_CALL fastputs(int32_t s, const char* str) {
    FastStream* f = faststream(s);
    if (f == nullptr || str == nullptr) return nullptr;
    return putbytes(f, str, strlen(str)) ? str : nullptr;
}

int32_t VELNOR_CALL fastseek(int32_t s, int32_t offset, int32_t origin) {
    FastStream* f = faststream(s);
    if (f == nullptr) return -1;
    if (origin == 1) {
        offset = logical(f, offset);
        origin = 0;
    }
    f->pos = 0;
    f->count = 0;
    return osseek(f->handle, offset, origin);
}

int32_t VELNOR_CALL fasttell(int32_t s) {
    FastStream* f = faststream(s);
    if (f == nullptr) return -1;
    return logical(f, 0);
}

int32_t VELNOR_CALL fastrewind(int32_t s) {
    FastStream* f = faststream(s);
    if (f == nullptr) return -1;
    f->pos = 0;
    f->count = 0;
    // The result stays 0; a failed seek shows through fastfailed.
    if (osseek(f->handle, 0, 0) != 0) f->failed = 1;
    return 0;
}
