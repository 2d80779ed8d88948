// dirs_win.cc - directory creation, removal and the one directory search of
// the library on Windows.  Like the DOS search it replaces, hidden and
// system entries are never returned and directories only when asked for.
#include <windows.h>

#include <direct.h>

#include <cstring>

#include "support/filetime_win.h"
#include "support/os.h"
#include "support/runtime.h"

namespace {

// The library-wide search state and result name.
struct Search : RuntimePart {
    HANDLE find = INVALID_HANDLE_VALUE;
    int withdirs = 0;
    bool pending = false;  // data holds an entry not yet looked at
    WIN32_FIND_DATAA data = {};
    char name[15] = {};  // result: 8.3 name and the directory backslash
    ~Search() override {
        if (find != INVALID_HANDLE_VALUE) FindClose(find);
    }
};

Search& search() { return runtimeownpart<Search>(RT_DIRSEARCH); }

void endsearch() {
    if (search().find != INVALID_HANDLE_VALUE) FindClose(search().find);
    search().find = INVALID_HANDLE_VALUE;
    search().pending = false;
}

bool acceptable(const WIN32_FIND_DATAA& d) {
    DWORD a = d.dwFileAttributes;
    if (a & (FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM)) return false;
    bool isdir = (a & FILE_ATTRIBUTE_DIRECTORY) != 0;
    if (isdir && !search().withdirs) return false;
    size_t len = strlen(d.cFileName);
    return len <= (isdir && (a & 0xFF) == FILE_ATTRIBUTE_DIRECTORY ? 13u : 14u);
}

char* nextentry(uint32_t* size, uint8_t* datetime) {
    while (search().find != INVALID_HANDLE_VALUE) {
        if (!search().pending && !FindNextFileA(search().find, &search().data)) break;
        search().pending = false;
        const WIN32_FIND_DATAA& d = search().data;
        if (!acceptable(d)) continue;
        size_t len = strlen(d.cFileName);
        memcpy(search().name, d.cFileName, len + 1);
        if ((d.dwFileAttributes & 0xFF) == FILE_ATTRIBUTE_DIRECTORY) memcpy(search().name + len, "\\", 2);
        if (size != nullptr) *size = d.nFileSizeHigh != 0 ? UINT32_MAX : d.nFileSizeLow;
        if (datetime != nullptr) filetimebytes(&d.ftLastWriteTime, datetime);
        return search().name;
    }
    endsearch();
    return nullptr;
}

}  // namespace

int32_t osmkdir(const char* path) { return _mkdir(path) == 0 ? 0 : -1; }

int32_t osrmdir(const char* path) { return _rmdir(path) == 0 ? 0 : -1; }

char* VELNOR_CALL cfindfirst(const char* pattern, int32_t withdirs, uint32_t* size,
                             uint8_t* datetime) {
    endsearch();
    if (pattern == nullptr || *pattern == '\0' || strlen(pattern) >= MAX_PATH) return nullptr;
    search().withdirs = withdirs;
    search().find = FindFirstFileA(pattern, &search().data);
    search().pending = search().find != INVALID_HANDLE_VALUE;
    return nextentry(size, datetime);
}

char* VELNOR_CALL cfindnext(uint32_t* size, uint8_t* datetime) { return nextentry(size, datetime); }
