// cmpstate.cc - the archiver's part of the runtime object, and the report
// and error sinks.
#include "compress/cmpstate.h"

// Small apart from the tables it points to, so made as the support layer's
// parts are: the archiver has no start that could report a failure.
CompressState& cmpstate() { return runtimeownpart<CompressState>(RT_COMPRESS); }

namespace {

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
    cmpstate().reportsink = report;
    cmpstate().errorsink = error;
}

void cmpreport(const char* line) {
    if (CMPREPORTFN sink = cmpstate().reportsink; sink != nullptr) {
        sink(line);
    }
}

void cmperror(int32_t errnum) {
    if (CMPERRORFN sink = cmpstate().errorsink; sink != nullptr) {
        sink(errnum);
    }
}

const char* cmperrtext(int32_t errnum) {
    return errnum >= 0 && errnum < 8 ? kErrText[errnum] : "";
}
