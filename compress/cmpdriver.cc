// cmpdriver.cc - compress_files and compress_file_list: options, the
// patterns and list files, archive naming, and the run's cleanup.
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "compress/archive.h"
#include "compress/cmpstate.h"
#include "compress/cmpwnd.h"
#include "compress/driver.h"
#include "support/os.h"
#include "support/strutil.h"

namespace {

enum { OP_ADD = 1, OP_EXTRACT = 2, OP_LIST = 4, OP_DELETE = 8 };

// Lowers the name part of a path; the directory keeps its case, which
// matters where file names are case-sensitive.
void lowername(char* path) { lowerstr(path + cmpdirlen(path)); }

// Reads a quoted option value starting at *p (which must be the opening
// quote) into dest of at most max characters.  0, or -1 when malformed.
int32_t quoted(const char** p, char* dest, int32_t max) {
    const char* s = *p;
    if (*s != '"') {
        return -1;
    }
    const char* end = std::strchr(s + 1, '"');
    if (end == nullptr || end - (s + 1) > max) {
        return -1;
    }
    std::memcpy(dest, s + 1, end - (s + 1));
    dest[end - (s + 1)] = 0;
    *p = end;
    return 0;
}

// Parses the option string: the operation bits, or -2 after a bad
// password or target directory.
int32_t parseoptions(const char* options, CmpRun& run) {
    int32_t ops = 0;
    if (options == nullptr || *options == 0) {
        return 0;
    }
    for (const char* p = options + 1; *p; p++) {
        switch (lowerchar(static_cast<unsigned char>(*p))) {
        case 'a': ops |= OP_ADD; break;
        case 'x': ops |= OP_EXTRACT; break;
        case 'l': ops |= OP_LIST; break;
        case 'd': ops |= OP_DELETE; break;
        case 'b': run.bits = 1; break;
        case 'o': cmpstate().opt.overwrite = 1; break;
        case 'q': cmpstate().opt.quiet = 1; break;
        case 'p': {
            p++;
            char pw[sizeof cmpstate().opt.password];
            if (quoted(&p, pw, 10) != 0) {
                cmpreport("Error: Bad password.\r\n");
                return -2;
            }
            std::memcpy(cmpstate().opt.password, pw, sizeof pw);
            cmpstate().opt.key = cmpkeyof(pw);
            break;
        }
        case 't': {
            p++;
            char dir[sizeof cmpstate().opt.target];
            if (quoted(&p, dir, 40) != 0) {
                cmpreport("Error: Bad target directory.\r\n");
                return -2;
            }
            size_t n = std::strlen(dir);
            if (n > 0 && dir[n - 1] != '\\' && dir[n - 1] != ':' && dir[n - 1] != '/') {
                dir[n] = ospathsep;
                dir[n + 1] = 0;
            }
            std::memcpy(cmpstate().opt.target, dir, sizeof dir);
            break;
        }
        default: break;
        }
    }
    return ops;
}

void addpattern(CmpRun& run, const char* pattern) {
    if (run.npatterns < CMP_MAXPATTERNS && *pattern) {
        char* d = run.patterns[run.npatterns++];
        std::snprintf(d, CMP_PATHMAX + 1, "%s", pattern);
        lowername(d);
    }
}

// Collects the patterns; "@name" reads one from each line of the
// list file name.  0, or -2 when a list file cannot be opened.
int32_t collectpatterns(CmpRun& run, int32_t npatterns, char** patterns) {
    for (int32_t i = 0; i < npatterns && patterns != nullptr; i++) {
        const char* pattern = patterns[i];
        if (pattern == nullptr) {
            continue;
        }
        if (pattern[0] != '@') {
            addpattern(run, pattern);
            continue;
        }
        int32_t s = fastopen(pattern + 1, 0, 0);
        if (s < 0) {
            char text[CMP_PATHMAX + 48];
            std::snprintf(text, sizeof text, "Error: Unable to open list file: %s\r\n", pattern + 1);
            cmpreport(text);
            return -2;
        }
        char line[66];
        while (fastgets(s, line, 65) != nullptr) {
            addpattern(run, line);
        }
        fastclose(s);
    }
    if (run.npatterns == 0) {
        addpattern(run, "*.*");
    }
    return 0;
}

// Derives the archive and temporary names, and the display name: the
// given name and extension without directory.
void namearchive(CmpRun& run, const char* archive) {
    std::snprintf(run.arcname, CMP_PATHMAX + 1, "%s", archive);
    lowername(run.arcname);
    const int32_t dirlen = cmpdirlen(run.arcname);
    const char* last = run.arcname + dirlen;
    std::snprintf(run.display, sizeof run.display, "%s", last);
    const char* dot = std::strchr(last, '.');
    if (dot == nullptr) {
        std::strcat(run.arcname, ".cmp");
        dot = std::strchr(last, '.');
    }
    std::snprintf(run.temp, sizeof run.temp, "%.*s.$$$", static_cast<int>(dot - run.arcname),
                  run.arcname);
}

int32_t dispatch(int32_t ops, CmpRun& run) {
    switch (ops) {
    case OP_ADD: return cmpadd(run);
    case OP_EXTRACT: return cmpextract(run);
    case OP_LIST: return cmplisting(run);
    default: return cmpdelete(run);
    }
}

int32_t runcall(const char* options, const char* archive, int32_t npatterns, char** patterns,
                CmpRun& run) {
    // A name longer than the run can hold would be cut, and the archive
    // written somewhere the caller did not name.
    if (archive == nullptr || std::strlen(archive) > CMP_PATHMAX) {
        cmperror(CMP_E_OPEN);
        return -1;
    }
    const int32_t ops = parseoptions(options, run);
    if (ops < 0) {
        return ops;
    }
    if (ops != OP_ADD && ops != OP_EXTRACT && ops != OP_LIST && ops != OP_DELETE) {
        return -1;
    }
    if (ops == OP_DELETE && npatterns < 1) {
        return -1;
    }
    if (collectpatterns(run, npatterns, patterns) != 0) {
        return -2;
    }
    namearchive(run, archive);
    run.arc = fastopen(run.arcname, VN_O_BINARY, 0);
    // An archive that is there but cannot be opened is never replaced.
    if (run.arc < 0 && (ops != OP_ADD || osstat(run.arcname, nullptr, nullptr) == 0)) {
        cmpreport("Error: Unable to open COMPRESS file.\r\n");
        return -2;
    }
    return dispatch(ops, run);
}

}  // namespace

int32_t cmpmatches(const CmpRun& run, const char* name) {
    char probe[16];
    std::snprintf(probe, sizeof probe, std::strchr(name, '.') != nullptr ? "%s" : "%s.", name);
    for (int32_t i = 0; i < run.npatterns; i++) {
        if (islike(probe, run.patterns[i] + cmpdirlen(run.patterns[i]))) {
            return 1;
        }
    }
    return 0;
}

int32_t VELNOR_CALL compress_files(const char* options, const char* archive, int32_t npatterns,
                                   char** patterns) {
    // A run holds a thousand patterns: made for the call, not kept.
    std::unique_ptr<CmpRun> made(new (std::nothrow) CmpRun());
    if (made == nullptr) {
        cmperror(CMP_E_MEMORY);
        return -1;
    }
    CmpRun& run = *made;
    run.arc = -1;
    run.tmp = -1;
    cmpwndopen();
    const int32_t result = runcall(options, archive, npatterns, patterns, run);
    if (run.arc >= 0) {
        fastclose(run.arc);
    }
    if (run.tmp >= 0) {
        fastclose(run.tmp);
    }
    if (run.tempmade) {
        osunlink(run.temp);
    }
    osunholdfile(run.temphold);
    cmpfreelist(&run.list);
    cmpwndclose();
    return result;
}

int32_t VELNOR_CALL compress_file_list(const char* options, const char* archive, const char* patterns) {
    char* pieces[50];
    int32_t n = 0;
    int32_t result = 0;
    const char* p = patterns != nullptr ? patterns : "";
    while (*p && n < 50) {
        while (*p == ' ' || *p == '\t') {
            p++;
        }
        const char* start = p;
        while (*p && *p != ' ' && *p != '\t') {
            p++;
        }
        if (p == start) {
            continue;
        }
        char* copy = static_cast<char*>(globalmalloc(static_cast<uint32_t>(p - start + 1)));
        if (copy == nullptr) {
            result = -1;
            break;
        }
        std::memcpy(copy, start, p - start);
        copy[p - start] = 0;
        pieces[n++] = copy;
    }
    if (result == 0) {
        result = compress_files(options, archive, n, pieces);
    }
    for (int32_t i = 0; i < n; i++) {
        globalmfree(pieces[i]);
    }
    return result;
}
