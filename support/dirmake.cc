// dirmake.cc - makedir and removdir: the path goes through a 68-byte local
// buffer, so one longer than 67 characters fails instead of overflowing.
#include <cstring>

#include "support/os.h"

namespace {

constexpr size_t kDirPath = 68;

// Copies path into buf; false when it is null or too long.
bool shortpath(const char* path, char (&buf)[kDirPath]) {
    if (path == nullptr) return false;
    size_t n = strlen(path);
    if (n >= kDirPath) return false;
    memcpy(buf, path, n + 1);
    return true;
}

}  // namespace

int32_t VELNOR_CALL makedir(const char* path) {
    char buf[kDirPath];
    return shortpath(path, buf) ? osmkdir(buf) : -1;
}

int32_t VELNOR_CALL removdir(const char* path) {
    char buf[kDirPath];
    return shortpath(path, buf) ? osrmdir(buf) : -1;
}
