// runtime.cc - making and dropping the one runtime object, and the record
// of where corruption was last seen.
#include "support/runtime.h"

#include <cstdio>
#include <cstdlib>

Runtime* runtimedetail::current = nullptr;

void runtimenomemory() {
    std::fputs("velnor: no memory for the library's state\n", stderr);
    std::abort();
}

Runtime& runtimedetail::make() {
    current = new (std::nothrow) Runtime();
    if (current == nullptr) runtimenomemory();
    return *current;
}

// Upper layers' parts go first: their destructors may still call down.
Runtime::~Runtime() {
    for (int slot = RT_SLOTS - 1; slot >= 0; --slot) {
        delete parts[slot];
        parts[slot] = nullptr;
    }
}

void runtimedrop(RuntimeSlot slot) {
    Runtime& r = runtime();
    delete r.parts[slot];
    r.parts[slot] = nullptr;
}

uint8_t runtimecorrupt(uint8_t status, const char* file, int line) {
    CorruptionSeen& seen = runtime().corruption;
    seen.status = status;
    seen.file = file;
    seen.line = line;
    return status;
}

void runtimereset() {
    delete runtimedetail::current;
    runtimedetail::current = nullptr;
}
