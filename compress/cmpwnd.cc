// cmpwnd.cc - the archiver's progress window "Compress v2.2", its window
// procedure and the hooks that mirror it for applications.
#include "compress/cmpwnd.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "compress/cmpstate.h"
#include "support/ui.h"

namespace {

constexpr int32_t kStopId = 101;
constexpr int32_t kFieldSize[4] = {80, 20, 40, 22};

char fields[4][80];
int32_t stopflag;
int32_t registered;
void* window;
CMPPROGRESSFN progresshook;
CMPSTOPFN stophook;
CMPASKFN askhook;

}  // namespace

void VELNOR_CALL compress_sethooks(CMPPROGRESSFN progress, CMPSTOPFN stop, CMPASKFN ask) {
    progresshook = progress;
    stophook = stop;
    askhook = ask;
}

intptr_t VELNOR_CALL cmpwndproc(void* wnd, uint32_t message, uintptr_t wparam, intptr_t lparam) {
    switch (message) {
    case UI_CREATE:
        uibutton(wnd, "Stop", 85, 70, 55, 20, kStopId);
        return 0;
    case UI_PAINT: {
        const UiLine lines[4] = {{8, 10, 0x7FFFFFFF, 0, fields[CMP_F_STATUS]},
                                 {175, 10, 0x7FFFFFFF, 0, fields[CMP_F_OVERALL]},
                                 {8, 40, 0x7FFFFFFF, 0, fields[CMP_F_FILE]},
                                 {175, 40, 0x7FFFFFFF, 0, fields[CMP_F_FILEPCT]}};
        uipaint(wnd, 0xC0C0C0, lines, 4);
        return 0;
    }
    case UI_COMMAND:
        // The notification test looks at lparam, not wparam; kept as it is.
        if (wparam == kStopId && ((static_cast<uintptr_t>(lparam) >> 16) & 0xFFFF) == 0) {
            stopflag = 1;
        }
        return 0;
    default:
        return uidefault(wnd, message, wparam, lparam);
    }
}

void cmpwndopen() {
    stopflag = 0;
    std::memset(fields, 0, sizeof fields);
    if (!registered && uiregister("Compress", 3, cmpwndproc) == 0) {
        registered = 1;
    }
    window = uicreate("Compress", "Compress v2.2", 0xC00000, 50, 50, 225, 125);
}

void cmpwndclose() {
    uidrain(50000);
    uidestroy(window);
    window = nullptr;
}

void cmpfield(int32_t field, const char* text) {
    char now[80];
    std::snprintf(now, kFieldSize[field], "%s", text);
    if (std::strcmp(now, fields[field]) != 0) {  // the same text needs no repaint
        std::strcpy(fields[field], now);
        uiinvalidate(window, 0, 10, 224, 60);
    }
    if (progresshook != nullptr) {
        progresshook(field, fields[field]);
    }
}

void cmpfieldf(int32_t field, const char* format, ...) {
    char text[128];
    va_list ap;
    va_start(ap, format);
    std::vsnprintf(text, sizeof text, format, ap);
    va_end(ap);
    cmpfield(field, text);
}

void cmppercent(int32_t field, int64_t percent) { cmpfieldf(field, "%d%%", static_cast<int>(percent)); }

int32_t cmpstopped() {
    uipump();
    if (stophook != nullptr && stophook() != 0) {
        stopflag = 1;
    }
    return stopflag;
}

int32_t cmpask(const char* question) {
    if (askhook != nullptr) {
        return askhook(question, "Compress") == 1 ? 1 : 0;
    }
    return uiask(question, "Compress");
}
