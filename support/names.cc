// names.cc - building, splitting and shortening file names, and the check
// of an item name.  "\\" and ":" end a directory part; "/" is taken as a
// separator too, so POSIX paths split the same way.
#include <cstring>

#include "velnor.h"

namespace {

bool separator(char c) { return c == '\\' || c == ':' || c == '/'; }

bool letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

bool namechar(char c) { return letter(c) || (c >= '0' && c <= '9') || c == '_'; }

}  // namespace

char* VELNOR_CALL creat_name(char* result, const char* dir, const char* name, const char* ext) {
    if (result == nullptr) return nullptr;
    if (dir == nullptr) dir = "";
    if (name == nullptr) name = "";
    if (ext == nullptr) ext = "";
    size_t n = strlen(dir);
    memmove(result, dir, n);
    if (n > 0 && !separator(dir[n - 1])) result[n++] = '\\';
    size_t m = strlen(name);
    memmove(result + n, name, m);
    n += m;
    if (*ext != '\0' && *ext != '.') result[n++] = '.';
    m = strlen(ext);
    memmove(result + n, ext, m);
    result[n + m] = '\0';
    return result;
}

void VELNOR_CALL split_name(const char* path, char* dir, char* name, char* ext) {
    if (path == nullptr) path = "";
    size_t len = strlen(path);
    size_t nameend = len, start = len;
    const char* extstart = path + len;
    while (start > 0 && !separator(path[start - 1])) {
        --start;
        if (path[start] == '.') {
            nameend = start;
            extstart = path + start + 1;
        }
    }
    if (ext != nullptr) memmove(ext, extstart, strlen(extstart) + 1);
    if (name != nullptr) {
        memmove(name, path + start, nameend - start);
        name[nameend - start] = '\0';
    }
    if (dir != nullptr) {
        memmove(dir, path, start);
        dir[start] = '\0';
    }
}

void VELNOR_CALL abbrname(const char* path, int32_t width, char* result) {
    if (result == nullptr) return;
    if (path == nullptr) path = "";
    if (width < 0) width = 0;
    size_t len = strlen(path);
    if (len <= static_cast<size_t>(width)) {
        memmove(result, path, len + 1);
        return;
    }
    const char* last = strrchr(path, '\\');
    if (last == nullptr) {
        size_t keep = width > 3 ? static_cast<size_t>(width - 3) : 0;
        memmove(result + 3, path + len - keep, keep + 1);
        memcpy(result, "...", 3);
        return;
    }
    long limit = static_cast<long>(width) - 5 - static_cast<long>(strlen(last + 1));
    size_t keep = 0;  // characters kept before "..."
    for (const char* p = strchr(path, '\\'); p != last; p = strchr(p + 1, '\\')) {
        if (p - path > limit) break;
        keep = static_cast<size_t>(p - path) + 1;
    }
    size_t tail = strlen(last);
    char* out = result;
    memmove(out, path, keep);
    out += keep;
    memmove(out + 3, last, tail + 1);
    memcpy(out, "...", 3);
}

int32_t VELNOR_CALL vlnname(const char* name) {
    if (name == nullptr || !(letter(name[0]) || name[0] == '_')) return 0;
    for (int i = 1; i < 10; ++i) {
        if (name[i] == '\0') return 1;
        if (!namechar(name[i])) return 0;
    }
    return 1;
}
