// window_win.cc - the FileMaint progress window on Windows: created with
// its class, style, place and size when no callback is given, a click on
// its Stop button ending the run with -1, and destroyed afterwards.
#include <windows.h>

#include <string>

#include "maintfix.h"

namespace {

HWND made = nullptr;
CREATESTRUCTA shape{};
std::string title;  // the name the structure points at lives only for the call
HHOOK hook = nullptr;

// Notes the FileMaint window as it is made and posts a click on Stop,
// which the run's first pump delivers.
LRESULT CALLBACK watch(int code, WPARAM wparam, LPARAM lparam) {
    if (code == HCBT_CREATEWND) {
        const CBT_CREATEWNDA* c = reinterpret_cast<CBT_CREATEWNDA*>(lparam);
        const char* cls = c->lpcs->lpszClass;
        if (HIWORD(reinterpret_cast<uintptr_t>(cls)) != 0 && lstrcmpA(cls, "FileMaint") == 0) {
            made = reinterpret_cast<HWND>(wparam);
            shape = *c->lpcs;
            title = c->lpcs->lpszName != nullptr ? c->lpcs->lpszName : "";
            PostMessageA(made, WM_COMMAND, MAKEWPARAM(101, BN_CLICKED), 0);
        }
    }
    return CallNextHookEx(hook, code, wparam, lparam);
}

TEST_F(MaintTest, WindowShowsTheRunAndStopEndsIt) {
    std::string dat = build(FIXLEN);
    hook = SetWindowsHookExA(WH_CBT, watch, nullptr, GetCurrentThreadId());
    ASSERT_NE(hook, nullptr);
    const int32_t r = filemaint(VN_FM_VERIFY, dat.c_str(), "", "", nullptr, 0, nullptr, nullptr);
    UnhookWindowsHookEx(hook);
    EXPECT_EQ(r, -1);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(title, "Velnor File Maintenance v6.1");
    EXPECT_EQ(static_cast<DWORD>(shape.style) & ~WS_VISIBLE, static_cast<DWORD>(WS_CAPTION));
    EXPECT_EQ(shape.x, 50);
    EXPECT_EQ(shape.y, 50);
    EXPECT_EQ(shape.cx, 500);
    EXPECT_EQ(shape.cy, 215);
    EXPECT_FALSE(IsWindow(made));
    WNDCLASSA wc{};
    EXPECT_TRUE(GetClassInfoA(GetModuleHandleA(nullptr), "FileMaint", &wc));
    EXPECT_EQ(wc.style, static_cast<UINT>(CS_HREDRAW | CS_VREDRAW));
}

}  // namespace
