// fmdriver.cc - filemaint, the single entry of file maintenance: one run at
// a time, the engine started around it, the progress lines handed to the
// window or the caller's callback, the stop poll, the report file and the
// error line built from a status.
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <initializer_list>

#include "index/hash.h"
#include "maint/fm.h"
#include "support/os.h"
#include "support/ui.h"
#include "support/limits.h"
#include "support/nothrow.h"

MaintState& fmstate() { return runtimeownpart<MaintState>(RT_MAINT); }

namespace {

enum { L_HEADER, L_FILETYPE, L_STATUS, L_CURRENT, L_COMPLETE, L_MESSAGE };

// Network type number of "IBMNET", whose locks reach the OS.
constexpr uint16_t kIbmnet = 1;

// What each line shows before its text; the header and the percentage are
// made whole by their own functions.
const char* const kLabel[FM_LINES] = {"", "File type: ", "Status: ", "Current: ", "", "Message: "};

// Shows line n: the callback gets it, or the window repaints its band.
void show(int n) {
    MaintState& m = fmstate();
    if (m.callback != nullptr) {
        m.callback(n, m.line[n]);
    } else {
        const int32_t top = 35 + 25 * (n - 1);
        fmwndband(top, top + 24);
    }
    uipump();
}

// Line n becomes its label and text, cut to its buffer, the rest of
// which is zeros.  A run sets the Current line once a record: no format
// is parsed for it.
void setline(int n, const char* text) {
    char* line = fmstate().line[n];
    size_t at = 0;
    for (const char* p = kLabel[n]; *p != '\0' && at < FM_LINESIZE - 1;) line[at++] = *p++;
    for (const char* p = text; *p != '\0' && at < FM_LINESIZE - 1;) line[at++] = *p++;
    std::memset(line + at, 0, FM_LINESIZE - at);
    show(n);
}

int32_t run(int32_t op, const char* dat, const char* fid, const char* key, uint32_t flags) {
    switch (op) {
        case VN_FM_VERIFY: return fmverify(dat, fid, key, flags);
        case VN_FM_RECOVER: return fmrecover(dat, fid, key, flags);
        case VN_FM_PACK: return fmpack(dat, fid, key, flags);
        default: return -1;
    }
}

bool given(const char* s) { return s != nullptr && *s != '\0'; }

// True when both names have the same base name and extension, case-blind.
bool samename(const char* a, const char* b) {
    char dir[FH_NAMESIZE], na[FH_NAMESIZE], ea[FH_NAMESIZE], nb[FH_NAMESIZE], eb[FH_NAMESIZE];
    if (std::strlen(a) > FH_NAMEMAX || std::strlen(b) > FH_NAMEMAX) return false;
    split_name(a, dir, na, ea);
    split_name(b, dir, nb, eb);
    return casecmp(na, nb) == 0 && casecmp(ea, eb) == 0;
}

}  // namespace

void fmfiletype(const FHCB* cb) {
    char text[FM_LINESIZE] = "";
    if (cb != nullptr) {
        int n = 0;
        if (cb->fflags & VN_FF_HASHED) {
            // The table holds the first size of its classes that is not
            // below the definition's count: the same before and after open.
            unsigned cls;
            const uint32_t entries = hshtablesize(cb->hashrecs, &cls);
            n = std::snprintf(text, sizeof text, "Hashed with %ld table entries.", static_cast<long>(entries));
        } else if (cb->nkeys <= 0) {
            n = std::snprintf(text, sizeof text, "Random.");
        } else {
            n = std::snprintf(text, sizeof text, "Indexed on %d key%s.", cb->nkeys, cb->nkeys == 1 ? "" : "s");
        }
        if (cb->fflags & VN_FF_VARLEN) std::snprintf(text + n, sizeof text - n, " Variable length records.");
    }
    setline(L_FILETYPE, text);
}

void fmstatus(const char* format, ...) {
    char text[FM_LINESIZE];
    va_list ap;
    va_start(ap, format);
    std::vsnprintf(text, sizeof text, format, ap);
    va_end(ap);
    setline(L_STATUS, text);
}

void fmcurrent(const char* text) { setline(L_CURRENT, text); }

void fmpercent(int32_t percent) {
    std::snprintf(fmstate().line[L_COMPLETE], FM_COMPLETESIZE, "Complete: %d%%", static_cast<int>(percent));
    show(L_COMPLETE);
}

void fmmessage(const char* text) { setline(L_MESSAGE, text); }

int32_t fmpoll() {
    MaintState& m = fmstate();
    // A band held back is shown once its time has come, even if no line
    // changes meanwhile.
    if (m.callback == nullptr && m.pendingtop >= 0 && ostickcount() - m.painted >= FM_REPAINT_MS) fmwndshow();
    uipump();
    if (m.callback != nullptr) {
        char empty[1] = "";
        m.stop = static_cast<int8_t>(m.callback(VN_FM_POLL, empty) & 0xFF);
    }
    return m.stop;
}

void fmreport(int32_t indent, const char* format, ...) {
    const char* const name = fmstate().reportname;
    if (name[0] == '\0') return;
    int32_t s = fastopen(name, VN_O_WRONLY | VN_O_BINARY, 0);
    if (s < 0) s = fastopen(name, VN_O_WRONLY | VN_O_BINARY | VN_O_CREAT, 0666);
    if (s < 0) return;
    char text[512];
    va_list ap;
    va_start(ap, format);
    std::vsnprintf(text, sizeof text, format, ap);
    va_end(ap);
    fastseek(s, 0, 2);
    for (int32_t i = 0; i < indent; i++) fastputs(s, "  ");
    fastputs(s, text);
    fastputs(s, "\r\n");
    fastflush(s);
    fastclose(s);
}

void fmerror(const FHCB* cb) {
    if (cb->status >= 100) return;
    const char* text = fhmessage(cb->status);
    char line[FM_LINESIZE];
    std::snprintf(line, sizeof line, "Error %s.", text != nullptr ? text : "");
    fmmessage(line);
    fmreport(1, "%s", line);
}

int32_t fmstopped() {
    fmcurrent("");
    fmstatus("Stopped.");
    fmreport(1, "Stopped.");
    return -1;
}

int32_t fmpct(int32_t pos, int32_t len, int32_t mul, int32_t div, bool scaled) {
    if (scaled && len > 10000000) {
        pos /= 1024;
        len /= 1024;
    }
    const int32_t d = static_cast<int32_t>(static_cast<uint32_t>(len) * static_cast<uint32_t>(div));
    if (d == 0) return 0;
    const int32_t n = static_cast<int32_t>(static_cast<uint32_t>(pos) * static_cast<uint32_t>(mul));
    return n / d;
}

int32_t fmhex(const char* text, int width) {
    uint32_t v = 0;
    for (int i = 0; i < width; i++) {
        const int c = static_cast<signed char>(text[i]);
        v = v * 16 + static_cast<uint32_t>(c < 'A' ? c - '0' : c - 55);
    }
    return static_cast<int32_t>(v);
}

extern "C" VELNOR_API int32_t VELNOR_CALL filemaint(int32_t op, const char* datfile, const char* fidfile,
                                                    const char* keyfile, const char* title, uint32_t flags,
                                                    const char* report, FMCALLBACK cb) {
    MaintState& m = fmstate();
    if (m.busy) return -2;
    m.callback = cb;
    if (given(datfile) && given(keyfile) && samename(datfile, keyfile)) return 1;
    nstrncpy(m.reportname, given(report) ? report : "", sizeof m.reportname - 1);
    FHCB block{};
    block.opcode = VN_OP_INIT;
    if (filehandler(&block) != 0) {
        m.reportname[0] = '\0';
        return block.status;
    }
    if (flags & VN_FM_SHARED) {
        block.nettype = kIbmnet;
        block.opcode = VN_OP_INIT;
        if (filehandler(&block) != 0) {
            m.reportname[0] = '\0';
            return block.status;
        }
    }
    m.stop = 0;
    m.busy = 1;
    for (int n : {L_MESSAGE, L_STATUS, L_CURRENT, L_FILETYPE}) m.line[n][0] = '\0';
    if (m.callback == nullptr && !m.registered) {
        fmwndregister();
        m.registered = 1;
    }
    static const char* const kHeader[3] = {"Verifying file: %s", "Recovering file: %s", "Packing file: %s"};
    if (op >= 0 && op < 3) std::snprintf(m.line[L_HEADER], FM_LINESIZE, kHeader[op], given(datfile) ? datfile : "");
    fmreport(0, "%s", m.line[L_HEADER]);
    if (m.callback == nullptr) {
        fmwndcreate(given(title) ? title : "Velnor File Maintenance v6.1");
    } else {
        m.callback(VN_FM_HEADER, m.line[L_HEADER]);
    }
    const char* none = "";
    uint8_t status = 0;  // VN_E_MEMORY when the run ran out of memory
    const int32_t result = nothrow(&status, int32_t{VN_E_MEMORY}, [&] {
        return run(op, given(datfile) ? datfile : none, given(fidfile) ? fidfile : none,
                   given(keyfile) ? keyfile : none, flags);
    });
    if (m.callback == nullptr) fmwndclose();
    block.opcode = VN_OP_SHUTDOWN;
    filehandler(&block);
    m.reportname[0] = '\0';
    m.busy = 0;
    return result;
}
