// dynlib_win.cc - loads velnor.dll, copied beside the test program, with
// LoadLibrary.
#include "dynlib.h"

#include <windows.h>

namespace dynlib {

const bool kRoundAlias = true;

void* load(std::string* why) {
    HMODULE lib = LoadLibraryA("velnor.dll");
    if (!lib) *why = "LoadLibrary failed with error " + std::to_string(GetLastError());
    return reinterpret_cast<void*>(lib);
}

void* find(void* lib, const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(lib), name));
}

}  // namespace dynlib
