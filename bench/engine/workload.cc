// workload.cc - the benchmark's records: unique ids, names with about one
// in ten repeated, random insertion, lookup and deletion orders.
#include "workload.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <random>

#include "instructions.h"

void fail(const std::string& what) {
    std::fprintf(stderr, "engine_bench: %s\n", what.c_str());
    std::exit(1);
}

namespace {
double reading(clockid_t clock) {
    timespec ts{};
    clock_gettime(clock, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}
}  // namespace

double now() { return reading(CLOCK_MONOTONIC); }

Mark mark() {
    const long long instructions = userinstructions();
    return Mark{reading(CLOCK_MONOTONIC), reading(CLOCK_PROCESS_CPUTIME_ID), instructions};
}

Span took(const Mark& start) {
    const double wall = reading(CLOCK_MONOTONIC), cpu = reading(CLOCK_PROCESS_CPUTIME_ID);
    return Span{wall - start.wall, cpu - start.cpu, instructionsbetween(start.instructions, userinstructions())};
}

Workload makeworkload(size_t n, const std::string& dir) {
    Workload w;
    w.dir = dir;
    w.people.resize(n);
    std::mt19937_64 rng(20240601);
    static const char* const first[] = {"ANNA", "BORIS", "CLARA", "DMITRI", "ELENA", "FELIX", "GRETA", "HUGO"};
    char buf[64];
    for (size_t i = 0; i < n; i++) {
        Person& p = w.people[i];
        // 7919 is prime to 10^10, so the ten-digit ids stay unique for any
        // count up to 10^10 (and those of 1,262,786 records or fewer never wrap).
        std::snprintf(buf, sizeof buf, "%010llu", static_cast<unsigned long long>(i) * 7919ull % 10000000000ull);
        std::memcpy(p.id, buf, ID_LEN);
        std::memset(p.name, ' ', NAME_LEN);
        if (i > 0 && rng() % 10 == 0) {
            std::memcpy(p.name, w.people[rng() % i].name, NAME_LEN);
        } else {
            const int len = std::snprintf(buf, sizeof buf, "%s %016llX", first[rng() % 8],
                                          static_cast<unsigned long long>(rng()));
            std::memcpy(p.name, buf, static_cast<size_t>(len));
        }
        for (int k = 0; k < FILL_LEN; k++) p.fill[k] = static_cast<char>('a' + (i + k) % 26);
    }
    std::shuffle(w.people.begin(), w.people.end(), rng);
    w.lookups.resize(n);
    for (size_t i = 0; i < n; i++) w.lookups[i] = i;
    std::shuffle(w.lookups.begin(), w.lookups.end(), rng);
    w.deletions.assign(w.lookups.begin(), w.lookups.begin() + static_cast<std::ptrdiff_t>(n / 10));
    std::shuffle(w.deletions.begin(), w.deletions.end(), rng);
    return w;
}
