// fm.h - what the three maintenance runs share with the driver: the six
// progress lines, the stop poll, the report, the error line, the question,
// the progress window, and the steps on files (temporary names, copying,
// putting a new file in place).
#ifndef VELNOR_MAINT_FM_H
#define VELNOR_MAINT_FM_H

#include <cstdint>
#include <vector>

#include "support/blockread.h"
#include "support/limits.h"
#include "support/runtime.h"
#include "velnor.h"

// The six lines, in the order of their callback codes: header, file type,
// status, current, complete and message.  Each holds 80 characters (the
// complete line 40).
enum { FM_LINES = 6, FM_LINESIZE = 81, FM_COMPLETESIZE = 41 };

// Maintenance's part of the runtime object: the state of the one run at a
// time, and the progress window.
struct MaintState : RuntimePart {
    char line[FM_LINES][FM_LINESIZE] = {};
    // Set by Stop or by the callback's answer to a poll; cleared per run.
    int8_t stop = 0;
    // Records since the last flush of RECOVER or secure of PACK (reset by
    // each run).
    int32_t flushcount = 0;
    int busy = 0;        // a run is under way
    int registered = 0;  // the window class is registered
    FMCALLBACK callback = nullptr;
    char reportname[FH_NAMESIZE] = {};
    void* window = nullptr;
    // The band of the window changed since it was last repainted (top -1:
    // none), and the tick count of that repaint.
    int32_t pendingtop = -1, pendingbottom = -1;
    uint32_t painted = 0;
    FMASKFN askhook = nullptr;
};

// Maintenance's part, made on first use.
MaintState& fmstate();

// What the three runs share: the block they drive the engine with.
struct FmRun {
    FHCB cb{};
    // Sets the block's status and returns it, as a run's steps fail.
    int32_t fail(uint8_t status) {
        cb.status = status;
        return status;
    }
    bool varlen() const { return cb.fflags & VN_FF_VARLEN; }
};

// Progress lines: each formats its line, shows it (the window's band, or
// the callback) and pumps.  fmfiletype describes cb's definition ("" for
// null).
void fmfiletype(const FHCB* cb);
void fmstatus(const char* format, ...) __attribute__((format(printf, 1, 2)));
void fmcurrent(const char* text);
void fmpercent(int32_t percent);
void fmmessage(const char* text);
// Pumps and polls the callback: the stop flag.
int32_t fmpoll();
// Appends indent times two blanks, the text and "\r\n" to the report file,
// opened and closed for this line; dropped when it cannot be opened.
void fmreport(int32_t indent, const char* format, ...) __attribute__((format(printf, 2, 3)));
// For a status below 100: "Error " + its message + "." as message line and
// report line (indent 1).
void fmerror(const FHCB* cb);
// The run's stop: Current empty, Status and report "Stopped.".  -1.
int32_t fmstopped();
// Asks whether to cut records to the definition's length: 1 for OK.
int32_t fmaskfix();

// The progress window (nothing where there are no windows): registered
// once, created with the title, a line band repainted, destroyed.
void fmwndregister();
void fmwndcreate(const char* title);
// A band is marked changed and repainted, with every band changed before
// it, once FM_REPAINT_MS have passed since the last repaint: a run showing
// thousands of records a second repaints a few dozen times.  fmwndshow
// repaints what is changed now, as the run waits or ends.
enum { FM_REPAINT_MS = 40 };
void fmwndband(int32_t top, int32_t bottom);
void fmwndshow();
void fmwndclose();

// The runs: 0, -1 when stopped, or a status (its error line shown).
int32_t fmverify(const char* dat, const char* fid, const char* key, uint32_t flags);
int32_t fmrecover(const char* dat, const char* fid, const char* key, uint32_t flags);
int32_t fmpack(const char* dat, const char* fid, const char* key, uint32_t flags);

// dest (FH_NAMESIZE bytes) = the temporary name with extension ext ("zdq", "ziq")
// for file: beside it, or in the temporary directory when one is set.
void fmtmpname(const char* file, const char* ext, char* dest);
// Puts the finished temporary file tmp in place of final: renamed over it,
// or with a temporary directory copied beside final first, so that the
// last step is always one replacement.  0, or -1 (tmp is kept then).
int32_t fminstall(const char* tmp, const char* final);
// Copies from to to (created or truncated) in blocks of 1,024 bytes through
// the buffered streams: 0, or -1 when either cannot be opened or a write
// failed.
int32_t fmcopy(const char* from, const char* to);

// pos * mul / (len * div) in wrapping 32-bit arithmetic, pos and len first
// divided by 1,024 when len passes 10,000,000 and scaled is set; 0 when the
// divisor is 0.
int32_t fmpct(int32_t pos, int32_t len, int32_t mul, int32_t div, bool scaled);
// Value of the hexadecimal digits at text, read digit by digit.
int32_t fmhex(const char* text, int width);

#endif
