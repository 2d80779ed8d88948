// cmplisting.cc - the L operation: a listing of the matching entries with
// their dates, sizes, savings, check values and widths, and the totals.
#include <cstdio>

#include "compress/cmpstate.h"
#include "compress/driver.h"

static int32_t saving(int64_t stored, int64_t size) {
    return size == 0 ? 0 : static_cast<int32_t>(100 - stored * 100 / size);
}

static void entryline(const CmpRun& run, const CmpHeader& h) {
    char line[160];
    const int hour = h.datetime[3];
    int n = std::snprintf(line, sizeof line, "%-12.12s  %02d-%02d-%02d  %02d:%02d%cm", h.name,
                          h.datetime[1], h.datetime[2], h.datetime[0],
                          hour == 0 ? 12 : hour > 12 ? hour - 12 : hour, h.datetime[4],
                          hour < 12 ? 'a' : 'p');
    if (!cmpstate().opt.quiet) {
        n += std::snprintf(line + n, sizeof line - n, "  %8lu  %8lu  %3d  %04x",
                           static_cast<unsigned long>(h.size), static_cast<unsigned long>(h.stored),
                           saving(h.stored, h.size), static_cast<unsigned>(h.check));
    }
    if (run.bits) {
        n += std::snprintf(line + n, sizeof line - n, "  %3d", h.bits);
    }
    std::snprintf(line + n, sizeof line - n, "\r\n");
    cmpreport(line);
}

static void totals(int32_t count, int64_t size, int64_t stored) {
    char line[200];
    int n = std::snprintf(line, sizeof line, " ----%s\r\n %04d",
                          cmpstate().opt.quiet ? "" : "                            --------  --------  ----",
                          static_cast<int>(count));
    if (!cmpstate().opt.quiet) {
        n += std::snprintf(line + n, sizeof line - n, "                            %8lld  %8lld  %3d%%",
                           static_cast<long long>(size), static_cast<long long>(stored),
                           saving(stored, size));
    }
    std::snprintf(line + n, sizeof line - n, "\r\n");
    cmpreport(line);
}

int32_t cmplisting(CmpRun& run) {
    cmpreport("COMPRESS File: ");
    cmpreport(run.arcname);
    cmpreport("\r\n\r\n");
    char line[128];
    std::snprintf(line, sizeof line, " File Name      Date     Time%s%s\r\n",
                  cmpstate().opt.quiet ? "" : "       Size       Now    %   CRC", run.bits ? "   Bits" : "");
    cmpreport(line);
    std::snprintf(line, sizeof line, " ---------      ----     ----%s%s\r\n",
                  cmpstate().opt.quiet ? "" : "       ----       ---    -   ---", run.bits ? "   ----" : "");
    cmpreport(line);
    int32_t count = 0;
    int64_t size = 0;
    int64_t stored = 0;
    CmpHeader h;
    int32_t r;
    for (int32_t first = 1; (r = cmpnexthdr(run.arc, first, CMP_HDRSIZE, &h)) == 1; first = 0) {
        if (cmpmatches(run, h.name)) {
            entryline(run, h);
            count++;
            size += h.size;
            stored += h.stored;
        }
        if (cmpskip(run.arc, h) != 0) {
            return -1;
        }
    }
    if (r < 0) {
        return -1;
    }
    if (count > 0) {
        totals(count, size, stored);
    }
    return 0;
}
