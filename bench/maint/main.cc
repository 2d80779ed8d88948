// main.cc - maint_bench [N]: N records (default 1,000,000) of the engine
// benchmark loaded into a velnor file with two keys and into an SQLite
// table given the same two indexes after its rows (as a command-line
// import would), a tenth of them deleted; then VERIFY against
// PRAGMA integrity_check, RECOVER against REINDEX and PACK against VACUUM.
// One table: wall seconds of each, velnor's CPU seconds, the ratio
// (SQLite's time over velnor's: above 1 means velnor is faster), and
// velnor's user-space instructions per record where the processor's
// counter can be read; then the goal line, each run against its peer.
//
// Each velnor step starts and ends with a reading of the process's CPU
// clock, a real system call, so that `bench.sh maint-syscalls` can split a
// trace of the run into its steps.
#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>

#include <unistd.h>

#include "instructions.h"
#include "velnor.h"
#include "workload.h"

namespace {

const char kFid[] =
    "TKF FID v7.0\nRecLen = 118\nNItems = 3\nNKeys = 2\nFlags = 0\n"
    "Item = ID, 'C', 'L', 0, 10, 1, 1,\nItem = NAME, 'C', 'L', 10, 30, 1, 2,\nItem = FILL, 'C', 'L', 40, 78, 1, 0,\n"
    "Key = ID, 10, 1\n0, 10, 8\nKey = NAME, 30, 1\n10, 30, 8\n";

double cpuseconds() {
    timespec ts{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

// One velnor step's costs.
struct Cost {
    double wall = 0, cpu = 0;
    long long instructions = -1;
};

template <typename F>
Cost measure(F step) {
    const long long i0 = userinstructions();
    const double c0 = cpuseconds();
    const double w0 = now();
    step();
    Cost c;
    c.wall = since(w0);
    c.cpu = cpuseconds() - c0;
    c.instructions = instructionsbetween(i0, userinstructions());
    return c;
}

void put(FHCB& cb, const Person& p) {
    std::memcpy(cb.recbuf + 1, p.id, ID_LEN);
    std::memcpy(cb.recbuf + 1 + ID_LEN, p.name, NAME_LEN);
    std::memcpy(cb.recbuf + 1 + ID_LEN + NAME_LEN, p.fill, FILL_LEN);
}

// Creates the file and writes every record in exclusive use: the load.
void loadvelnor(const Workload& w, const std::string& dat) {
    if (FILE* f = std::fopen((w.dir + "/people.fid").c_str(), "wb")) {
        std::fputs(kFid, f);
        std::fclose(f);
    }
    FHCB cb{};
    std::snprintf(cb.datname, sizeof cb.datname, "%s", dat.c_str());
    if (vfhmake(&cb) != 0) fail("velnor: cannot create " + dat);
    cb.mflags |= VN_MF_EXCLUSIVE;
    for (const Person& p : w.people) {
        put(cb, p);
        if (vfhwrite(&cb, 1) != 0) fail("velnor: write");
    }
    if (vfhclose(&cb) != 0) fail("velnor: close");
}

void deletevelnor(const Workload& w, const std::string& dat) {
    FHCB cb{};
    std::snprintf(cb.datname, sizeof cb.datname, "%s", dat.c_str());
    if (vfhopen(&cb) != 0) fail("velnor: cannot open " + dat);
    cb.mflags |= VN_MF_EXCLUSIVE;
    for (size_t i : w.deletions) {
        put(cb, w.people[i]);
        if (vfhdelete(&cb) != 0) fail("velnor: delete");
    }
    vfhclose(&cb);
}

void exec(sqlite3* db, const char* sql) {
    if (sqlite3_exec(db, sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail(std::string("sqlite: ") + sqlite3_errmsg(db));
}

// The rows in one transaction, then the two indexes.
void loadsqlite(sqlite3* db, const Workload& w) {
    exec(db, "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF;");
    exec(db, "CREATE TABLE people(id TEXT, name TEXT, fill TEXT)");
    exec(db, "BEGIN");
    sqlite3_stmt* ins = nullptr;
    sqlite3_prepare_v2(db, "INSERT INTO people VALUES(?, ?, ?)", -1, &ins, nullptr);
    for (const Person& p : w.people) {
        sqlite3_bind_text(ins, 1, p.id, ID_LEN, SQLITE_STATIC);
        sqlite3_bind_text(ins, 2, p.name, NAME_LEN, SQLITE_STATIC);
        sqlite3_bind_text(ins, 3, p.fill, FILL_LEN, SQLITE_STATIC);
        if (sqlite3_step(ins) != SQLITE_DONE) fail("sqlite: insert");
        sqlite3_reset(ins);
    }
    sqlite3_finalize(ins);
    exec(db, "COMMIT");
    exec(db, "CREATE UNIQUE INDEX byid ON people(id); CREATE INDEX byname ON people(name)");
}

void deletesqlite(sqlite3* db, const Workload& w) {
    exec(db, "BEGIN");
    sqlite3_stmt* del = nullptr;
    sqlite3_prepare_v2(db, "DELETE FROM people WHERE id = ?", -1, &del, nullptr);
    for (size_t i : w.deletions) {
        sqlite3_bind_text(del, 1, w.people[i].id, ID_LEN, SQLITE_STATIC);
        if (sqlite3_step(del) != SQLITE_DONE) fail("sqlite: delete");
        sqlite3_reset(del);
    }
    sqlite3_finalize(del);
    exec(db, "COMMIT");
}

void maint(int32_t op, const std::string& dat) {
    const int32_t r = filemaint(op, dat.c_str(), "", "", nullptr, 0, nullptr, nullptr);
    if (r != 0) fail("velnor: filemaint " + std::to_string(op) + " gave " + std::to_string(r));
}

double timesql(sqlite3* db, const char* sql) {
    const double start = now();
    exec(db, sql);
    return since(start);
}

}  // namespace

int main(int argc, char** argv) {
    const size_t n = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 1000000;
    const std::string dir = (std::filesystem::temp_directory_path() / ("maint_bench." + std::to_string(getpid()))).string();
    std::filesystem::create_directories(dir);
    Workload w = makeworkload(n, dir);
    FHCB init{};
    init.opcode = VN_OP_INIT;
    filehandler(&init);
    const std::string dat = w.dir + "/people.dat";
    sqlite3* db = nullptr;
    if (sqlite3_open((w.dir + "/peer.sqlite").c_str(), &db) != SQLITE_OK) fail("sqlite: open");
    struct Row {
        const char* what;
        Cost velnor;
        double sqlite;
        size_t records;
    } rows[4] = {};
    rows[0] = {"load / insert + 2 indexes", measure([&] { loadvelnor(w, dat); }), 0, n};
    const double start = now();
    loadsqlite(db, w);
    rows[0].sqlite = since(start);
    deletevelnor(w, dat);
    deletesqlite(db, w);
    rows[1] = {"verify / integrity_check", measure([&] { maint(VN_FM_VERIFY, dat); }),
               timesql(db, "PRAGMA integrity_check"), n};
    rows[2] = {"recover / REINDEX", measure([&] { maint(VN_FM_RECOVER, dat); }), timesql(db, "REINDEX"),
               n};
    rows[3] = {"pack / VACUUM", measure([&] { maint(VN_FM_PACK, dat); }), timesql(db, "VACUUM"), n};
    maint(VN_FM_VERIFY, dat);  // the packed file must verify clean
    sqlite3_close(db);
    std::printf("%zu records, %zu deleted before verify; wall seconds, and velnor's CPU seconds and\n"
                "user-space instructions per record (-1: no counter)\n%-26s %9s %9s %9s %7s %12s\n",
                n, w.deletions.size(), "run", "velnor", "cpu", "sqlite", "ratio", "instr/rec");
    std::string goal = "goal (each faster than SQLite):";
    for (const Row& r : rows) {
        const double ratio = r.sqlite / r.velnor.wall;
        const long long per = r.velnor.instructions < 0 ? -1 : r.velnor.instructions / static_cast<long long>(r.records);
        std::printf("%-26s %9.3f %9.3f %9.3f %7.2f %12lld\n", r.what, r.velnor.wall, r.velnor.cpu, r.sqlite, ratio,
                    per);
        char part[96];
        const char* name = r.what;
        const int len = static_cast<int>(std::strcspn(name, " "));
        if (ratio >= 1) {
            std::snprintf(part, sizeof part, " %.*s met;", len, name);
        } else {
            std::snprintf(part, sizeof part, " %.*s missed (%.2fx slower);", len, name, 1 / ratio);
        }
        goal += part;
    }
    goal.pop_back();
    std::printf("%s\n", goal.c_str());
    std::filesystem::remove_all(dir);
    return 0;
}
