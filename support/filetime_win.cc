// filetime_win.cc - size and modification time of a file by name, in the
// six date-time bytes of the directory search, and setting that time back.
#include "support/filetime_win.h"

#include "support/dostime.h"
#include "support/os.h"

void filetimebytes(const FILETIME* utc, uint8_t* out) {
    FILETIME local;
    SYSTEMTIME st;
    if (!FileTimeToLocalFileTime(utc, &local) || !FileTimeToSystemTime(&local, &st)) {
        dosbytes(1980, 1, 1, 0, 0, 0, out);
        return;
    }
    dosbytes(st.wYear, st.wMonth, st.wDay, st.wHour, st.wMinute, st.wSecond, out);
}

void localdosbytes(int64_t seconds, uint8_t* out) {
    uint64_t ticks = static_cast<uint64_t>(seconds * 10000000 + 116444736000000000LL);
    FILETIME ft;
    ft.dwLowDateTime = static_cast<DWORD>(ticks);
    ft.dwHighDateTime = static_cast<DWORD>(ticks >> 32);
    filetimebytes(&ft, out);
}

int32_t osstat(const char* path, uint32_t* size, uint8_t* datetime) {
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (path == nullptr || !GetFileAttributesExA(path, GetFileExInfoStandard, &data)) return -1;
    if (size != nullptr) *size = data.nFileSizeHigh != 0 ? UINT32_MAX : data.nFileSizeLow;
    if (datetime != nullptr) filetimebytes(&data.ftLastWriteTime, datetime);
    return 0;
}

int32_t ossettime(const char* path, const uint8_t* datetime) {
    if (path == nullptr || datetime == nullptr) return -1;
    SYSTEMTIME st = {};
    st.wYear = static_cast<WORD>(datetime[0] + 1900);
    st.wMonth = datetime[1];
    st.wDay = datetime[2];
    st.wHour = datetime[3];
    st.wMinute = datetime[4];
    st.wSecond = datetime[5];
    FILETIME local, utc;
    if (!SystemTimeToFileTime(&st, &local) || !LocalFileTimeToFileTime(&local, &utc)) return -1;
    HANDLE h = CreateFileA(path, FILE_WRITE_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                           OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (h == INVALID_HANDLE_VALUE) return -1;
    BOOL ok = SetFileTime(h, nullptr, nullptr, &utc);
    CloseHandle(h);
    return ok ? 0 : -1;
}
