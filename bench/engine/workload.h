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
    // Commit after every this many inserts, and again every this many
    // deletes, and at the end of each of those steps; 0 for no commit
    // until the store closes.
    size_t every = 0;
};

Workload makeworkload(size_t n, const std::string& dir);

// Seconds a step took on the wall clock and in the process's CPU time
// (user and system), which other programs on a busy machine disturb
// less, and the user-space instructions it ran (-1 without a counter);
// a step a store cannot run stays negative.
struct Span {
    double wall = -1, cpu = -1;
    long long instructions = -1;
};
struct Timing {
    Span insert, lookup, scan, remove;
    double committing = 0;  // wall seconds of the above spent in commits
};

// Each store returns its timings and checks its own answers (counts found,
// records scanned), aborting the run when they are wrong.  With w.every
// set, each commits at those points what it wrote since its last commit:
// velnor secures, SQLite commits its transaction, Berkeley DB syncs its
// two databases, LMDB commits its write transaction.  With shared set
// (wal, pertxn), a store runs as processes sharing its files need: velnor
// in shared use, SQLite in WAL mode with a transaction per statement,
// Berkeley DB in a locking environment of its own files, LMDB with a
// transaction per operation.  Without, each takes the fastest settings a
// single process allows.
Timing runvelnor(const Workload& w, bool shared);
Timing runsqlite(const Workload& w, bool wal);
Timing runbdb(const Workload& w, bool shared);
Timing runlmdb(const Workload& w, bool pertxn);
// LMDB committing every w.every writes with a sync of its file each time,
// as velnor's secure syncs its files.
Timing runlmdbsync(const Workload& w, bool pertxn);

// Seconds on the wall clock, from an arbitrary origin, read without a
// system call; a step's time is the difference of two readings.
double now();
inline double since(double start) { return now() - start; }

// A reading of both clocks and of the instruction counter.  The CPU clock
// is read by a real system call, which marks the steps' bounds in a trace
// of the run; the counter is read outside those bounds.
struct Mark {
    double wall, cpu;
    long long instructions;
};
Mark mark();
Span took(const Mark& start);

// True when the caller should commit after its done-th insert or delete.
inline bool commitdue(const Workload& w, size_t done) { return w.every != 0 && done % w.every == 0; }

// Prints what went wrong and ends the program.
[[noreturn]] void fail(const std::string& what);

#endif
