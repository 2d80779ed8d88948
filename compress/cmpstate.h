// cmpstate.h - the archiver's part of the runtime object: the options that
// persist from call to call, the shared input buffer, the sinks and hooks
// an application sets, the progress window, the coder's and expander's
// tables; and the error numbers with their texts.
#ifndef VELNOR_COMPRESS_CMPSTATE_H
#define VELNOR_COMPRESS_CMPSTATE_H

#include <cstdint>

#include "support/runtime.h"
#include "velnor.h"

// Error numbers reported through the error sink.
enum {
    CMP_E_TEMP = 0,     // "Unable to create temporary file."
    CMP_E_MEMORY = 1,   // "Not enough memory."
    CMP_E_NOTCMP = 2,   // "Not a COMPRESS file."
    CMP_E_CORRUPT = 3,  // "Corrupt COMPRESS file."
    CMP_E_CREATE = 4,   // "Unable to create."
    CMP_E_OPEN = 5,     // "Unable to open."
    CMP_E_CRC = 6,      // "CRC failure."
    CMP_E_WRITE = 7     // "Bad disk write, disk full?"
};

// Size of the shared input buffer; also the block size of every read.
constexpr int32_t CMP_INBUF = 2048;
// Size of the coder's and expander's output buffer.
constexpr int32_t CMP_OUTBUF = 8192;

// Options that stay set from one call to the next; never reset.
struct CmpOptions {
    char password[11];   // 0-10 characters
    uint8_t key;         // sum of the password's characters, modulo 256
    char target[42];     // extraction directory, with its separator
    uint8_t quiet;       // Q: no per-file progress, short listing
    uint8_t overwrite;   // O: overwrite on extraction without asking
};

// The archiver's state, made on the first call that needs it (the archiver
// runs without a start of the engine) and kept until the process ends.
struct CompressState : RuntimePart {
    CmpOptions opt = {};
    // The input buffer shared by the coder and the expander.  It keeps its
    // contents between calls: an empty file is coded from whatever its
    // first byte holds.
    uint8_t inbuf[CMP_INBUF] = {};
    CMPREPORTFN reportsink = nullptr;
    CMPERRORFN errorsink = nullptr;
    // The progress window (cmpwnd.cc): its four fields, the Stop flag and
    // the application's hooks.
    char fields[4][80] = {};
    int32_t stopflag = 0;
    int32_t registered = 0;
    void* window = nullptr;
    CMPPROGRESSFN progresshook = nullptr;
    CMPSTOPFN stophook = nullptr;
    CMPASKFN askhook = nullptr;
    // The coder's and the expander's tables (lzwcode.cc, lzwexpand.cc):
    // large, so made by the first compression or expansion and kept.
    RuntimePart* coder = nullptr;
    RuntimePart* expander = nullptr;
    ~CompressState() override {
        delete coder;
        delete expander;
    }
};

// The archiver's state, made on first use.
CompressState& cmpstate();

// Hands a text line to the report sink (nothing when none is set).
void cmpreport(const char* line);
// Hands an error number to the error sink.
void cmperror(int32_t errnum);
// The text of error number errnum, or "" when there is none.
const char* cmperrtext(int32_t errnum);

#endif
