// filetime_posix.cc - size and modification time of a file by name, in the
// six date-time bytes of the directory search, and setting that time back.
#include <ctime>

#include <fcntl.h>
#include <sys/stat.h>

#include "support/dostime.h"
#include "support/os.h"

void localdosbytes(int64_t seconds, uint8_t* out) {
    struct tm tm = {};
    time_t t = static_cast<time_t>(seconds);
    localtime_r(&t, &tm);
    dosbytes(tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec, out);
}

int32_t osstat(const char* path, uint32_t* size, uint8_t* datetime) {
    if (osdrain() < 0) return -1;
    struct stat st;
    if (path == nullptr || stat(path, &st) != 0) return -1;
    if (size != nullptr) *size = st.st_size > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(st.st_size);
    if (datetime != nullptr) {
        localdosbytes(st.st_mtime, datetime);
    }
    return 0;
}

int32_t ossettime(const char* path, const uint8_t* datetime) {
    if (osdrain() < 0) return -1;
    if (path == nullptr || datetime == nullptr) return -1;
    struct tm tm = {};
    tm.tm_year = datetime[0];
    tm.tm_mon = datetime[1] - 1;
    tm.tm_mday = datetime[2];
    tm.tm_hour = datetime[3];
    tm.tm_min = datetime[4];
    tm.tm_sec = datetime[5];
    tm.tm_isdst = -1;
    time_t t = mktime(&tm);
    if (t == static_cast<time_t>(-1)) return -1;
    struct timespec times[2];
    times[0].tv_sec = 0;
    times[0].tv_nsec = UTIME_OMIT;
    times[1].tv_sec = t;
    times[1].tv_nsec = 0;
    return utimensat(AT_FDCWD, path, times, 0) == 0 ? 0 : -1;
}
