// osfault.cc - the state of the test fault of osfault.h, shared by both
// faces of the OS layer.
#include "support/osfault.h"

#include <cerrno>

uint32_t osfaultleft[OSF_KINDS];
void (*osfaultcutter)() = nullptr;

namespace {

bool shortcall;
int32_t faulterr;
bool fired;

}  // namespace

void osfaultarm(int32_t kind, uint32_t n, bool shortio, int32_t err) {
    for (uint32_t& left : osfaultleft) left = 0;
    osfaultcutter = nullptr;
    if (kind >= 0 && kind < OSF_KINDS) osfaultleft[kind] = n;
    shortcall = shortio;
    faulterr = err;
    fired = false;
}

bool osfaultfired() { return fired; }

int32_t osfaulthit(int32_t kind, uint32_t* count) {
    if (--osfaultleft[kind] != 0) return 0;
    fired = true;
    if (osfaultcutter != nullptr && kind == OSF_WRITE) osfaultcutter();
    if (shortcall && count != nullptr) {
        *count /= 2;
        return 0;
    }
    errno = faulterr;
    return -1;
}
