// dirs_posix.cc - directory creation, removal and the one directory search
// of the library on POSIX systems.  The search matches the last component of
// the pattern against each name the way DOS did: "*" and "?" wildcards,
// letters case-blind, and a pattern ending in ".*" also matching names
// without a dot ("*.*" is every name).  Either "/" or "\\" separates the
// directory part, which is searched with "/" in place of each "\\".
#include <cstdio>
#include <cstring>

#include <dirent.h>
#include <fnmatch.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/dostime.h"
#include "support/os.h"
#include "support/runtime.h"

namespace {

// The library-wide search state and result name.
struct Search : RuntimePart {
    DIR* dir = nullptr;
    int withdirs = 0;
    size_t dirlen = 0;        // characters of path before the entry name
    char path[4096] = {};     // directory part, then the entry's full path
    char pattern[256] = {};   // last component of the pattern
    char name[15] = {};       // result: 8.3 name and the directory backslash
    ~Search() override {
        if (dir != nullptr) closedir(dir);
    }
};

Search& search() { return runtimeownpart<Search>(RT_DIRSEARCH); }

#ifdef FNM_CASEFOLD
constexpr int kMatchFlags = FNM_NOESCAPE | FNM_CASEFOLD;
#else
constexpr int kMatchFlags = FNM_NOESCAPE;
#endif

bool matches(const char* pattern, const char* name) {
    if (fnmatch(pattern, name, kMatchFlags) == 0) return true;
    size_t n = strlen(pattern);
    if (n < 2 || pattern[n - 2] != '.' || pattern[n - 1] != '*' || strchr(name, '.') != nullptr)
        return false;
    char stem[sizeof search().pattern];
    memcpy(stem, pattern, n - 2);
    stem[n - 2] = '\0';
    return fnmatch(stem, name, kMatchFlags) == 0;
}

void endsearch() {
    if (search().dir != nullptr) closedir(search().dir);
    search().dir = nullptr;
}

// The next entry that matches and fits, or null at the end of the search().
char* nextentry(uint32_t* size, uint8_t* datetime) {
    while (search().dir != nullptr) {
        struct dirent* e = readdir(search().dir);
        if (e == nullptr) break;
        size_t len = strlen(e->d_name);
        if (len > 14 || search().dirlen + len >= sizeof search().path) continue;
        if (!matches(search().pattern, e->d_name)) continue;
        memcpy(search().path + search().dirlen, e->d_name, len + 1);
        struct stat st;
        if (stat(search().path, &st) != 0) continue;
        bool isdir = S_ISDIR(st.st_mode);
        if (isdir ? (!search().withdirs || len > 13) : !S_ISREG(st.st_mode)) continue;
        memcpy(search().name, e->d_name, len + 1);
        if (isdir) memcpy(search().name + len, "\\", 2);
        if (size != nullptr)
            *size = isdir ? 0 : st.st_size > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(st.st_size);
        if (datetime != nullptr) {
            localdosbytes(st.st_mtime, datetime);
        }
        return search().name;
    }
    endsearch();
    return nullptr;
}

}  // namespace

int32_t osmkdir(const char* path) { return mkdir(path, 0777) == 0 ? 0 : -1; }

int32_t osrmdir(const char* path) { return rmdir(path) == 0 ? 0 : -1; }

char* VELNOR_CALL cfindfirst(const char* pattern, int32_t withdirs, uint32_t* size,
                             uint8_t* datetime) {
    endsearch();
    if (pattern == nullptr) return nullptr;
    const char* last = pattern;
    for (const char* p = pattern; *p != '\0'; ++p)
        if (*p == '/' || *p == '\\') last = p + 1;
    size_t dirlen = static_cast<size_t>(last - pattern);
    size_t patlen = strlen(last);
    if (patlen == 0 || patlen >= sizeof search().pattern || dirlen + 16 > sizeof search().path)
        return nullptr;
    memcpy(search().pattern, last, patlen + 1);
    for (size_t i = 0; i < dirlen; ++i) search().path[i] = pattern[i] == '\\' ? '/' : pattern[i];
    search().path[dirlen] = '\0';
    search().dirlen = dirlen;
    search().withdirs = withdirs;
    search().dir = opendir(dirlen == 0 ? "." : search().path);
    return nextentry(size, datetime);
}

char* VELNOR_CALL cfindnext(uint32_t* size, uint8_t* datetime) { return nextentry(size, datetime); }
