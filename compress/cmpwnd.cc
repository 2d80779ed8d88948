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

}  // namespace

void VELNOR_CALL compress_sethooks(CMPPROGRESSFN progress, CMPSTOPFN stop, CMPASKFN ask) {
    CompressState& st = cmpstate();
    st.progresshook = progress;
    st.stophook = stop;
    st.askhook = ask;
}

intptr_t VELNOR_CALL cmpwndproc(void* wnd, uint32_t message, uintptr_t wparam, intptr_t lparam) {
    switch (message) {
    case UI_CREATE:
        uibutton(wnd, "Stop", 85, 70, 55, 20, kStopId);
        return 0;
    case UI_PAINT: {
        const char(&fields)[4][80] = cmpstate().fields;
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
            cmpstate().stopflag = 1;
        }
        return 0;
    default:
        return uidefault(wnd, message, wparam, lparam);
    }
}

void cmpwndopen() {
    CompressState& st = cmpstate();
    st.stopflag = 0;
    std::memset(st.fields, 0, sizeof st.fields);
    if (!st.registered && uiregister("Compress", 3, cmpwndproc) == 0) {
        st.registered = 1;
    }
    st.window = uicreate("Compress", "Compress v2.2", 0xC00000, 50, 50, 225, 125);
}

void cmpwndclose() {
    uidrain(50000);
    CompressState& st = cmpstate();
    uidestroy(st.window);
    st.window = nullptr;
}

void cmpfield(int32_t field, const char* text) {
    char now[80];
    std::snprintf(now, kFieldSize[field], "%s", text);
    CompressState& st = cmpstate();
    if (std::strcmp(now, st.fields[field]) != 0) {  // the same text needs no repaint
        std::strcpy(st.fields[field], now);
        uiinvalidate(st.window, 0, 10, 224, 60);
    }
    if (st.progresshook != nullptr) {
        st.progresshook(field, st.fields[field]);
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
    CompressState& st = cmpstate();
    if (st.stophook != nullptr && st.stophook() != 0) {
        st.stopflag = 1;
    }
    return st.stopflag;
}

int32_t cmpask(const char* question) {
    if (CMPASKFN ask = cmpstate().askhook; ask != nullptr) {
        return ask(question, "Compress") == 1 ? 1 : 0;
    }
    return uiask(question, "Compress");
}
