// ui_win.cc - the window face on Windows: the progress windows are real
// USER32 windows serviced by pumping the calling thread's queue.
#include <windows.h>

#include "support/os.h"
#include "support/ui.h"

static HINSTANCE uiinstance() {
    void* instance = osinstance();
    return static_cast<HINSTANCE>(instance != nullptr ? instance : GetModuleHandleA(nullptr));
}

int32_t uiregister(const char* classname, uint32_t classstyle, UIWNDPROC proc) {
    WNDCLASSA wc = {};
    wc.style = classstyle;
    wc.lpfnWndProc = reinterpret_cast<WNDPROC>(reinterpret_cast<void*>(proc));
    wc.hInstance = uiinstance();
    wc.hCursor = LoadCursorA(nullptr, reinterpret_cast<LPCSTR>(IDC_ARROW));
    wc.hbrBackground = static_cast<HBRUSH>(GetStockObject(LTGRAY_BRUSH));
    wc.lpszClassName = classname;
    return RegisterClassA(&wc) != 0 ? 0 : -1;
}

void* uicreate(const char* classname, const char* title, uint32_t style, int32_t x, int32_t y,
               int32_t w, int32_t h) {
    HWND wnd = CreateWindowExA(0, classname, title, style, x, y, w, h, nullptr, nullptr,
                               uiinstance(), nullptr);
    if (wnd != nullptr) {
        ShowWindow(wnd, SW_SHOW);
        UpdateWindow(wnd);
        uipump();
    }
    return wnd;
}

void uidestroy(void* window) {
    if (window != nullptr) {
        DestroyWindow(static_cast<HWND>(window));
    }
}

void* uibutton(void* parent, const char* text, int32_t x, int32_t y, int32_t w, int32_t h,
               int32_t id) {
    HWND p = static_cast<HWND>(parent);
    HINSTANCE inst = reinterpret_cast<HINSTANCE>(GetWindowLongPtrA(p, GWLP_HINSTANCE));
    return CreateWindowExA(0, "button", text, WS_CHILD | WS_VISIBLE, x, y, w, h, p,
                           reinterpret_cast<HMENU>(static_cast<intptr_t>(id)), inst, nullptr);
}

void uipaint(void* window, uint32_t background, const UiLine* lines, int32_t count) {
    HWND wnd = static_cast<HWND>(window);
    PAINTSTRUCT ps;
    HDC dc = BeginPaint(wnd, &ps);
    SetBkColor(dc, background);
    for (int32_t i = 0; i < count; i++) {
        const UiLine& l = lines[i];
        if (l.text == nullptr || ps.rcPaint.top >= l.bottom) {
            continue;
        }
        SetTextColor(dc, l.colour);
        TextOutA(dc, l.x, l.y, l.text, lstrlenA(l.text));
    }
    EndPaint(wnd, &ps);
}

void uiinvalidate(void* window, int32_t left, int32_t top, int32_t right, int32_t bottom) {
    if (window != nullptr) {
        RECT r = {left, top, right, bottom};
        InvalidateRect(static_cast<HWND>(window), &r, TRUE);
    }
    uipump();
}

void uipump() {
    MSG msg;
    while (PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&msg);
        DispatchMessageA(&msg);
    }
}

void uidrain(int32_t most) {
    MSG msg;
    for (int32_t i = 0; i < most && PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE); i++) {
        TranslateMessage(&msg);
        DispatchMessageA(&msg);
    }
}

intptr_t uidefault(void* window, uint32_t message, uintptr_t wparam, intptr_t lparam) {
    return DefWindowProcA(static_cast<HWND>(window), message, wparam, lparam);
}

int32_t uiask(const char* question, const char* title) {
    return MessageBoxA(nullptr, question, title, MB_YESNO) == IDYES ? 1 : 0;
}

int32_t uiconfirm(const char* question, const char* title) {
    return MessageBoxA(nullptr, question, title, MB_OKCANCEL | MB_ICONQUESTION) == IDOK ? 1 : 0;
}
