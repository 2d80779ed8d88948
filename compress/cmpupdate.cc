// cmpupdate.cc - the A and D operations: a new archive is written to the
// temporary file (old entries copied, new ones coded) and then takes the
// archive's place in one rename; a stopped or failed run leaves the archive
// unchanged.
#include <cstdio>
#include <cstring>

#include "compress/cmpstate.h"
#include "compress/cmpwnd.h"
#include "compress/driver.h"
#include "support/fastio.h"
#include "support/os.h"
#include "support/strutil.h"

namespace {

// Opens the temporary file held alone: NAME.$$$, or while another run
// holds that, NAME.$01 to NAME.$99, so that runs beside each other never
// write into one file.  The file is made before it is held, and the hold
// taken before the stream is opened: a failed open with the create flag
// removes its file, which must never be another run's.
int32_t maketemp(CmpRun& run, uint32_t flags) {
    char* const ext = std::strrchr(run.temp, '.');
    for (int32_t n = 0; n < 100 && run.temphold < 1; n++) {
        if (n > 0) std::snprintf(ext, 5, ".$%02d", static_cast<int>(n));
        const int32_t made = osopen(run.temp, VN_O_BINARY | VN_O_CREAT | VN_O_RDWR, 511);
        if (made < 1) continue;
        osclose(made);
        run.temphold = osholdfile(run.temp, OS_HOLD_ALONE);
    }
    if (run.temphold > 0) run.tmp = fastopen(run.temp, flags, 511);
    if (run.tmp < 0) {
        cmperror(CMP_E_TEMP);
        return -1;
    }
    run.tempmade = 1;
    return 0;
}

// Keeps one old entry: copies header and data to the temporary file,
// reporting it when adding.  0, or -1.
int32_t keepentry(CmpRun& run, const CmpHeader& h, int32_t adding) {
    char line[64];
    if (adding && !cmpstate().opt.quiet) {
        std::snprintf(line, sizeof line, "Copying: %-12s .......... ", h.name);
        cmpreport(line);
    }
    if (cmpcopyentry(run.arc, run.tmp, h) != 0) {
        return -1;
    }
    if (adding && fastflush(run.tmp) != 0) {
        cmperror(CMP_E_WRITE);
        return -1;
    }
    if (adding && !cmpstate().opt.quiet) {
        cmpreport("Done.\r\n");
    }
    return 0;
}

// Walks the old archive, copying the entries not named in the file list;
// deleting reports the others and shows progress against total.  0, or -1.
int32_t copyold(CmpRun& run, int32_t adding, int64_t total) {
    CmpHeader h;
    int32_t r;
    for (int32_t first = 1; (r = cmpnexthdr(run.arc, first, 1, &h)) == 1; first = 0) {
        if (cmpstopped()) {
            return -1;
        }
        if (!cmpinlist(run.list, h.name)) {
            if (keepentry(run, h, adding) != 0) {
                return -1;
            }
        } else {
            if (!adding) {
                char line[48];
                std::snprintf(line, sizeof line, "Deleting: %-12s\r\n", h.name);
                cmpreport(line);
            }
            if (cmpskip(run.arc, h) != 0) {
                return -1;
            }
        }
        if (!adding) {
            cmppercent(CMP_F_OVERALL, total > 0 ? fasttell(run.tmp) * 100 / total : 0);
        }
    }
    return r;
}

// Closes both files and puts the temporary file in the archive's place.
int32_t replacearchive(CmpRun& run) {
    const int32_t failed = fastcloseall(run.tmp);
    run.tmp = -1;
    if (run.arc >= 0) {
        fastclose(run.arc);
        run.arc = -1;
    }
    if (failed != 0) {
        cmperror(CMP_E_WRITE);
        return -1;
    }
    // Windows renames no file that is open, so the hold on the finished
    // temporary ends here, just before the rename.
    osunholdfile(run.temphold);
    run.temphold = 0;
    // One step: a failed or stopped run leaves the old archive in place.
    if (osreplace(run.temp, run.arcname) != 0) {
        cmperror(CMP_E_WRITE);
        return -1;
    }
    run.tempmade = 0;
    return 0;
}

}  // namespace

int32_t cmpadd(CmpRun& run) {
    if (maketemp(run, VN_O_BINARY | VN_O_CREAT | VN_O_TRUNC | VN_O_RDWR) != 0) {
        return -1;
    }
    cmpfieldf(CMP_F_STATUS, "%s: %s", run.arc >= 0 ? "Updating" : "Creating", run.display);
    cmpfield(CMP_F_OVERALL, "0%");
    if (cmpbuildlist(&run.list, run.patterns, run.npatterns) != 0) {
        return -1;
    }
    if (run.arc >= 0 && copyold(run, 1, 0) != 0) {
        return -1;
    }
    for (int32_t i = 0; i < run.list.count; i++) {
        const CmpNode& node = run.list.nodes[i];
        if (casecmp(node.path, run.arcname) == 0 || casecmp(node.path, run.temp) == 0) {
            continue;
        }
        if (cmpstopped() || cmpaddentry(run.tmp, node) != 0) {
            return -1;
        }
        cmppercent(CMP_F_OVERALL, static_cast<int64_t>(i + 1) * 100 / run.list.count);
    }
    return replacearchive(run);
}

int32_t cmpdelete(CmpRun& run) {
    if (maketemp(run, VN_O_BINARY | VN_O_CREAT | VN_O_RDWR) != 0) {
        return -1;
    }
    const int64_t total = fastseek(run.tmp, 0, 2);
    fastrewind(run.tmp);
    cmpfieldf(CMP_F_STATUS, "Updating: %s", run.display);
    cmpfield(CMP_F_OVERALL, "0%");
    if (cmpbuildlist(&run.list, run.patterns, run.npatterns) != 0) {
        return -1;
    }
    if (copyold(run, 0, total) != 0) {
        return -1;
    }
    return replacearchive(run);
}
