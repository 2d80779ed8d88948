// osfault.cc - the state of the test fault of osfault.h, shared by both
// faces of the OS layer.  The fault lives in the support state.
#include "support/osfault.h"

#include <cerrno>

#include "support/runtime.h"

void osfaultarm(int32_t kind, uint32_t n, bool shortio, int32_t err) {
    SupportState& s = runtime().support;
    for (uint32_t& left : s.faultleft) left = 0;
    s.faultcutter = nullptr;
    if (kind >= 0 && kind < OSF_KINDS) s.faultleft[kind] = n;
    s.faultshort = shortio;
    s.faulterr = err;
    s.faultfired = false;
}

bool osfaultfired() { return runtime().support.faultfired; }

bool osfaultarmed(int32_t kind) { return runtime().support.faultleft[kind] != 0; }

bool oscutarmed() { return runtime().support.faultcutter != nullptr; }

bool osfaultdue(int32_t kind, uint32_t* count) {
    SupportState& s = runtime().support;
    if (s.faultleft[kind] == 0 || --s.faultleft[kind] != 0) return false;
    s.faultfired = true;
    if (s.faultcutter != nullptr && kind == OSF_WRITE) s.faultcutter();
    if (s.faultshort && count != nullptr) {
        *count /= 2;
        return false;
    }
    errno = s.faulterr;
    return true;
}
