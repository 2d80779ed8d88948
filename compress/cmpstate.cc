// cmpstate.cc - the archiver's persistent options, its shared input buffer,
// and the report and error sinks.
#include "compress/cmpstate.h"

CmpOptions cmpopt;
uint8_t cmpinbuf[CMP_INBUF];

namespace {

CMPREPORTFN reportsink;
CMPERRORFN errorsink;

const char* const kErrText[8] = {"Unable to create temporary file.",
                                 "Not enough memory.",
                                 "Not a COMPRESS file.",
                                 "Corrupt COMPRESS file.",
                                 "Unable to create.",
                                 "Unable to open.",
                                 "CRC failure.",
                                 "Bad disk write, disk full?"};

}  // namespace

void VELNOR_CALL compress_setsinks(CMPREPORTFN report, CMPERRORFN error) {
    reportsink = report;
    errorsink = error;
}

void cmpreport(const char* line) {
    if (reportsink != nullptr) {
        reportsink(line);
    }
}

void cmperror(int32_t errnum) {
    if (errorsink != nullptr) {
        errorsink(errnum);
    }
}

const char* cmperrtext(int32_t errnum) {
    return errnum >= 0 && errnum < 8 ? kErrText[errnum] : "";
}
