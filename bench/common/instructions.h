// instructions.h - the process's user-space instructions, read from the
// processor's counter, for the benchmarks' "instructions per operation"
// figures: unlike times, they hardly move when other programs share the
// machine.  Linux only, as are the benchmarks.
#ifndef VELNOR_BENCH_COMMON_INSTRUCTIONS_H
#define VELNOR_BENCH_COMMON_INSTRUCTIONS_H

#include <linux/perf_event.h>
#include <sys/syscall.h>
#include <unistd.h>

// The counter is opened once per process, on first use, and counts from
// there; -1 where it cannot be opened (a virtual machine without the
// counter, or perf_event_paranoid above 2).
inline long long userinstructions() {
    static const int fd = [] {
        perf_event_attr a{};
        a.size = sizeof a;
        a.type = PERF_TYPE_HARDWARE;
        a.config = PERF_COUNT_HW_INSTRUCTIONS;
        a.exclude_kernel = 1;
        a.exclude_hv = 1;
        return static_cast<int>(syscall(SYS_perf_event_open, &a, 0, -1, -1, 0));
    }();
    long long v = 0;
    return fd >= 0 && read(fd, &v, sizeof v) == static_cast<ssize_t>(sizeof v) ? v : -1;
}

// Instructions between two readings, or -1 when either failed.
inline long long instructionsbetween(long long from, long long to) { return from < 0 || to < 0 ? -1 : to - from; }

#endif
