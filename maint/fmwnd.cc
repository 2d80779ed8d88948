// fmwnd.cc - the maintenance progress window "FileMaint": its procedure,
// which paints the six lines and takes the Stop button, and the question
// PACK asks, which an application's hook may answer instead.
#include "maint/fm.h"
#include "support/os.h"
#include "support/ui.h"

namespace {

constexpr int32_t kStopId = 101;
constexpr uint32_t kClassStyle = 0x0003;  // CS_HREDRAW | CS_VREDRAW
constexpr uint32_t kCaption = 0x00C00000;  // WS_CAPTION: no system menu, no close box
constexpr uint32_t kGrey = 0xC0C0C0;
constexpr uint32_t kBlue = 0xFF0000;  // 0x00BBGGRR

}  // namespace

extern "C" VELNOR_API void VELNOR_CALL fmsetask(FMASKFN ask) { fmstate().askhook = ask; }

extern "C" VELNOR_API intptr_t VELNOR_CALL fmwndproc(void* wnd, uint32_t message, uintptr_t wparam,
                                                     intptr_t lparam) {
    switch (message) {
        case UI_CREATE:
            uibutton(wnd, "Stop", 222, 165, 55, 20, kStopId);
            return 0;
        case UI_PAINT: {
            UiLine lines[FM_LINES];
            for (int i = 0; i < FM_LINES; i++) {
                const int32_t y = i == 0 ? 10 : 35 + 25 * (i - 1);
                lines[i] = {10, y, i == 0 ? 35 : y + 25, i == 0 ? kBlue : 0, fmstate().line[i]};
            }
            uipaint(wnd, kGrey, lines, FM_LINES);
            return 0;
        }
        case UI_COMMAND:
            if ((wparam & 0xFFFF) == kStopId && ((wparam >> 16) & 0xFFFF) == 0) fmstate().stop = 1;
            return 0;
        default:
            return uidefault(wnd, message, wparam, lparam);
    }
}

void fmwndregister() { uiregister("FileMaint", kClassStyle, fmwndproc); }

void fmwndcreate(const char* title) {
    MaintState& m = fmstate();
    m.pendingtop = m.pendingbottom = -1;
    m.painted = ostickcount();
    m.window = uicreate("FileMaint", title, kCaption, 50, 50, 500, 215);
}

void fmwndshow() {
    MaintState& m = fmstate();
    if (m.pendingtop < 0) return;
    uiinvalidate(m.window, 0, m.pendingtop, 499, m.pendingbottom);
    m.pendingtop = m.pendingbottom = -1;
    m.painted = ostickcount();
}

void fmwndband(int32_t top, int32_t bottom) {
    MaintState& m = fmstate();
    if (m.pendingtop < 0 || top < m.pendingtop) m.pendingtop = top;
    if (bottom > m.pendingbottom) m.pendingbottom = bottom;
    if (ostickcount() - m.painted >= FM_REPAINT_MS) fmwndshow();
}

// The last state stays on screen for a moment: 100,000 pumps, then the
// window goes.
void fmwndclose() {
    fmwndshow();
    for (int i = 0; i < 100000; i++) uipump();
    uidestroy(fmstate().window);
    fmstate().window = nullptr;
}

int32_t fmaskfix() {
    static const char kQuestion[] = "Data/FID record length mismatch. Do you want to fix it?";
    static const char kCaptionText[] = "FileMaint: Error";
    if (FMASKFN ask = fmstate().askhook; ask != nullptr) return ask(kQuestion, kCaptionText) == 1 ? 1 : 0;
    fmwndshow();  // the record asked about is on the window
    return uiconfirm(kQuestion, kCaptionText);
}
