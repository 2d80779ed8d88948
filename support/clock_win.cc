// clock_win.cc - the millisecond tick count and the busy wait on it.
#include <windows.h>

#include "support/os.h"

uint32_t ostickcount() { return GetTickCount(); }

void osbusywait(uint32_t ms) {
    uint32_t start = ostickcount();
    while (ostickcount() - start < ms) Sleep(1);
}
