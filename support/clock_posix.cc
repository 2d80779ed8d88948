// clock_posix.cc - the millisecond tick count and the busy wait on it.
#include <ctime>

#include <sched.h>

#include "support/os.h"

uint32_t ostickcount() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint32_t>(static_cast<uint64_t>(ts.tv_sec) * 1000u +
                                 static_cast<uint64_t>(ts.tv_nsec) / 1000000u);
}

void osbusywait(uint32_t ms) {
    uint32_t start = ostickcount();
    while (ostickcount() - start < ms) sched_yield();
}
