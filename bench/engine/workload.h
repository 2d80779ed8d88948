// workload.h - the benchmark's records and the four timed steps every
// store runs: insert in random order, exact lookups by id, a full scan in
// name order, and deletion of a tenth of the records by id.
#ifndef VELNOR_BENCH_ENGINE_WORKLOAD_H
#define VELNOR_BENCH_ENGINE_WORKLOAD_H

#include <cstddef>
#include <string>
#include <vector>

enum { ID_LEN = 10, NAME_LEN = 30, FILL_LEN = 78, REC_LEN = ID_LEN + NAME_LEN + FILL_LEN };

struct Person {
    char id[ID_LEN];      // unique, digits
    char name[NAME_LEN];  // about one in ten repeats an earlier name
    char fill[FILL_LEN];
};

struct Workload {
    std::vector<Person> people;       // in insertion (random) order
    std::vector<size_t> lookups;      // indexes into people, random order
    std::vector<size_t> deletions;    // a tenth of the indexes
    std::string dir;                  // scratch directory for the stores
};

Workload makeworkload(size_t n, const std::string& dir);

// Seconds of each step; a step a store cannot run stays negative.
struct Timing {
    double insert = -1, lookup = -1, scan = -1, remove = -1;
};

// Each store returns its timings and checks its own answers (counts found,
// records scanned), aborting the run when they are wrong.  With shared set
// (wal, pertxn), a store runs as processes sharing its files need: velnor
// in shared use, SQLite in WAL mode with a transaction per statement,
// Berkeley DB in a locking environment of its own files, LMDB with a
// transaction per operation.  Without, each takes the fastest settings a
// single process allows.
Timing runvelnor(const Workload& w, bool shared);
Timing runsqlite(const Workload& w, bool wal);
Timing runbdb(const Workload& w, bool shared);
Timing runlmdb(const Workload& w, bool pertxn);

// Chooses the clock that steps are timed by: wall time (the default) or,
// with cpu set, the process's user and system time, which other programs
// on a busy machine disturb less.
void setclock(bool cpu);

// Seconds on that clock, from an arbitrary origin; a step's time is the
// difference of two readings.
double now();
inline double since(double start) { return now() - start; }

// Prints what went wrong and ends the program.
[[noreturn]] void fail(const std::string& what);

#endif
