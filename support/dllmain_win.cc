// dllmain_win.cc - the module instance: the module that holds this code
// (the DLL, or the program the library is linked into), captured on first
// use into the support state.
#include <windows.h>

#include "support/os.h"
#include "support/runtime.h"

void* osinstance() {
    void*& instance = runtime().support.modinstance;
    if (instance == nullptr) {
        HMODULE self = nullptr;
        if (GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                               reinterpret_cast<LPCSTR>(&osinstance), &self))
            instance = self;
    }
    return instance;
}
