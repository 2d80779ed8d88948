// fmfiles.cc - the files of RECOVER and PACK: temporary names beside the
// data file or in the temporary directory, the block copy, and putting a
// finished file in place of the old one in a single step.
#include <cstdio>
#include <cstring>

#include "engine/engine.h"
#include "definition/keys.h"
#include "maint/fm.h"
#include "support/os.h"
#include "support/limits.h"

void fmtmpname(const char* file, const char* ext, char* dest) {
    char dotted[8];
    std::snprintf(dotted, sizeof dotted, ".%s", ext);
    if (enginestate().tmpdir[0] == '\0') {
        char name[FH_NAMESIZE];
        nstrncpy(name, file, 250);
        setext(name, dest, dotted);
        return;
    }
    char dir[80], base[FH_NAMESIZE];
    split_name(file, nullptr, base, nullptr);
    std::snprintf(dir, sizeof dir, "%s", enginestate().tmpdir);
    // creat_name joins with a backslash; a slash, which every system takes,
    // is put here instead when the directory lacks a separator.
    const size_t n = std::strlen(dir);
    if (n > 0 && dir[n - 1] != '/' && dir[n - 1] != '\\' && dir[n - 1] != ':') std::strcat(dir, "/");
    char joined[400];
    creat_name(joined, dir, base, ext);
    nstrncpy(dest, joined, FH_NAMEMAX);
}

int32_t fmcopy(const char* from, const char* to) {
    const int32_t in = fastopen(from, VN_O_RDONLY | VN_O_BINARY, 0);
    if (in < 0) return -1;
    const int32_t out = fastopen(to, VN_O_WRONLY | VN_O_CREAT | VN_O_TRUNC | VN_O_BINARY, 0666);
    if (out < 0) {
        fastclose(in);
        return -1;
    }
    char block[1024];
    bool ok = true;
    for (int32_t n; (n = fastread(in, block, sizeof block)) > 0;) {
        if (fastwrite(out, block, static_cast<uint32_t>(n)) != 0) ok = false;
    }
    if (fastflush(out) != 0) ok = false;
    fastclose(out);
    fastclose(in);
    return ok ? 0 : -1;
}

int32_t fminstall(const char* tmp, const char* final) {
    if (enginestate().tmpdir[0] == '\0') return osreplace(tmp, final);
    // From another directory (perhaps another disk) a rename cannot replace
    // in one step: the copy goes beside the old file under the temporary
    // extension first.
    char beside[FH_NAMESIZE];
    char ext[FH_NAMESIZE];
    split_name(tmp, nullptr, nullptr, ext);
    char dotted[262];
    std::snprintf(dotted, sizeof dotted, ".%s", ext);
    nstrncpy(beside, final, 250);
    setext(beside, beside, dotted);
    if (fmcopy(tmp, beside) != 0) return -1;
    if (osreplace(beside, final) != 0) {
        osunlink(beside);
        return -1;
    }
    osunlink(tmp);
    return 0;
}
