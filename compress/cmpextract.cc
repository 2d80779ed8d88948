// cmpextract.cc - the X operation: expands every matching entry into the
// target directory, asking before an existing file is overwritten.
#include <cstdio>
#include <cstring>

#include "compress/cmpstate.h"
#include "compress/cmpwnd.h"
#include "compress/driver.h"
#include "compress/lzw.h"
#include "support/fastio.h"
#include "support/os.h"

// A name that could leave the target directory is never extracted.
static int32_t safename(const char* name) {
    if (name[0] == 0 || std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) {
        return 0;
    }
    return std::strpbrk(name, "/\\:") == nullptr ? 1 : 0;
}

static int32_t exists(const char* path) {
    int32_t probe = fastopen(path, 0, 0);
    if (probe >= 0) {
        fastclose(probe);
    }
    return probe > 0 ? 1 : 0;
}

// Extracts the entry h whose data is next in the archive.  1 when the walk
// goes on, 0 when it ends, -1 when the file cannot be created.
static int32_t extractone(CmpRun& run, const CmpHeader& h) {
    cmpfieldf(CMP_F_FILE, "Extracting: %-12s ", h.name);
    cmppercent(CMP_F_FILEPCT, 0);
    char path[sizeof cmpstate().opt.target + 16];
    std::snprintf(path, sizeof path, "%s%s", cmpstate().opt.target, h.name);
    if (!cmpstate().opt.overwrite && exists(path)) {
        char question[sizeof path + 48];
        std::snprintf(question, sizeof question, "File '%s' already exists, overwrite it?", path);
        if (cmpask(question) != 1) {
            return 1;
        }
    }
    int32_t out = fastopen(path, VN_O_BINARY | VN_O_CREAT | VN_O_TRUNC | VN_O_EXCL | VN_O_RDWR, 511);
    if (out < 0) {
        cmperror(CMP_E_CREATE);
        return -1;
    }
    uint16_t check = 0;
    if (cmpexpand(run.arc, out, h, &check) != 0) {
        fastclose(out);
        osunlink(path);
        return 0;
    }
    if (fastcloseall(out) != 0) {
        cmperror(CMP_E_WRITE);
        osunlink(path);
        return 0;
    }
    ossettime(path, h.datetime);
    if (check != h.check) {
        cmperror(CMP_E_CRC);
    } else if (!cmpstate().opt.quiet) {
        cmpreport(" Done.");
    }
    return 1;
}

int32_t cmpextract(CmpRun& run) {
    cmpfieldf(CMP_F_STATUS, "Searching: %s", run.display);
    const int64_t length = fastseek(run.arc, 0, 2);
    if (length < 0 || fastrewind(run.arc) != 0 || fastfailed(run.arc)) {
        cmperror(CMP_E_CORRUPT);
        return -1;
    }
    CmpHeader h;
    for (int32_t first = 1; cmpnexthdr(run.arc, first, 1, &h) == 1; first = 0) {
        if (cmpstopped()) {
            break;
        }
        const int32_t start = fasttell(run.arc);
        if (cmpmatches(run, h.name) && safename(h.name)) {
            int32_t r = extractone(run, h);
            if (r < 0) {
                return -1;
            }
            if (r == 0) {
                break;
            }
            if (start < 0 || fastseek(run.arc, start, 0) != start) {
                cmperror(CMP_E_CORRUPT);
                return -1;
            }
        }
        if (cmpskip(run.arc, h) != 0) {
            break;
        }
        cmppercent(CMP_F_OVERALL, length > 0 ? static_cast<int64_t>(fasttell(run.arc)) * 100 / length : 0);
    }
    return 0;
}
