// dynlib_posix.cc - loads libvelnor.so from the build tree with dlopen.
#include "dynlib.h"

#include <dlfcn.h>

namespace dynlib {

const bool kRoundAlias = false;

void* load(std::string* why) {
    void* lib = dlopen(VELNOR_SHARED_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    if (!lib) *why = dlerror();
    return lib;
}

void* find(void* lib, const char* name) {
    void* sym = dlsym(lib, name);
    if (!sym) return nullptr;
    // dlsym also searches the library's dependencies; only a definition
    // inside the library itself counts.
    Dl_info info{};
    void* probe = dlsym(lib, "filehandler");
    Dl_info own{};
    if (!dladdr(sym, &info) || !probe || !dladdr(probe, &own)) return nullptr;
    return info.dli_fbase == own.dli_fbase ? sym : nullptr;
}

}  // namespace dynlib
