// dllmain_win.cc - the module instance: captured when the library is loaded
// as a DLL, or on first use when it is linked into a program.
#include <windows.h>

#include "support/os.h"

void* modinstance = nullptr;

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) modinstance = instance;
    return TRUE;
}

void* osinstance() {
    if (modinstance == nullptr) {
        HMODULE self = nullptr;
        if (GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                               reinterpret_cast<LPCSTR>(&osinstance), &self))
            modinstance = self;
    }
    return modinstance;
}
