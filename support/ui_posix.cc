// ui_posix.cc - the window face on systems without windows: nothing is
// shown, nothing is pumped, and every question is answered No.
#include "support/ui.h"

int32_t uiregister(const char*, uint32_t, UIWNDPROC) { return 0; }

void* uicreate(const char*, const char*, uint32_t, int32_t, int32_t, int32_t, int32_t) {
    return nullptr;
}

void uidestroy(void*) {}

void* uibutton(void*, const char*, int32_t, int32_t, int32_t, int32_t, int32_t) { return nullptr; }

void uipaint(void*, uint32_t, const UiLine*, int32_t) {}

void uiinvalidate(void*, int32_t, int32_t, int32_t, int32_t) {}

void uipump() {}

void uidrain(int32_t) {}

intptr_t uidefault(void*, uint32_t, uintptr_t, intptr_t) { return 0; }

int32_t uiask(const char*, const char*) { return 0; }

int32_t uiconfirm(const char*, const char*) { return 0; }
