// main.cc - maint_bench [N]: N records (default 1,000,000) of the engine
// benchmark, a tenth of them deleted, in a velnor file with two keys and in
// an SQLite table with the same two indexes; then VERIFY against
// PRAGMA integrity_check, RECOVER against REINDEX and PACK against VACUUM,
// with seconds and ratios (SQLite's time over velnor's: above 1 means
// velnor is faster).
#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include <unistd.h>

#include "velnor.h"
#include "workload.h"

namespace {

const char kFid[] =
    "TKF FID v7.0\nRecLen = 118\nNItems = 3\nNKeys = 2\nFlags = 0\n"
    "Item = ID, 'C', 'L', 0, 10, 1, 1,\nItem = NAME, 'C', 'L', 10, 30, 1, 2,\nItem = FILL, 'C', 'L', 40, 78, 1, 0,\n"
    "Key = ID, 10, 1\n0, 10, 8\nKey = NAME, 30, 1\n10, 30, 8\n";

void put(FHCB& cb, const Person& p) {
    std::memcpy(cb.recbuf + 1, p.id, ID_LEN);
    std::memcpy(cb.recbuf + 1 + ID_LEN, p.name, NAME_LEN);
    std::memcpy(cb.recbuf + 1 + ID_LEN + NAME_LEN, p.fill, FILL_LEN);
}

std::string buildvelnor(const Workload& w) {
    const std::string dat = w.dir + "/people.dat";
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
    for (size_t i : w.deletions) {
        put(cb, w.people[i]);
        if (vfhdelete(&cb) != 0) fail("velnor: delete");
    }
    vfhclose(&cb);
    return dat;
}

void exec(sqlite3* db, const char* sql) {
    if (sqlite3_exec(db, sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail(std::string("sqlite: ") + sqlite3_errmsg(db));
}

sqlite3* buildsqlite(const Workload& w) {
    sqlite3* db = nullptr;
    if (sqlite3_open((w.dir + "/peer.sqlite").c_str(), &db) != SQLITE_OK) fail("sqlite: open");
    exec(db, "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF;");
    exec(db, "CREATE TABLE people(id TEXT PRIMARY KEY, name TEXT, fill TEXT)");
    exec(db, "CREATE INDEX byname ON people(name)");
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
    sqlite3_stmt* del = nullptr;
    sqlite3_prepare_v2(db, "DELETE FROM people WHERE id = ?", -1, &del, nullptr);
    for (size_t i : w.deletions) {
        sqlite3_bind_text(del, 1, w.people[i].id, ID_LEN, SQLITE_STATIC);
        if (sqlite3_step(del) != SQLITE_DONE) fail("sqlite: delete");
        sqlite3_reset(del);
    }
    sqlite3_finalize(del);
    exec(db, "COMMIT");
    return db;
}

double timemaint(int32_t op, const std::string& dat) {
    const double start = now();
    const int32_t r = filemaint(op, dat.c_str(), "", "", nullptr, 0, nullptr, nullptr);
    const double t = since(start);
    if (r != 0) fail("velnor: filemaint " + std::to_string(op) + " gave " + std::to_string(r));
    return t;
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
    const std::string dat = buildvelnor(w);
    sqlite3* db = buildsqlite(w);
    struct Row {
        const char* what;
        double velnor, sqlite;
    } rows[] = {
        {"VERIFY / integrity_check", timemaint(VN_FM_VERIFY, dat), timesql(db, "PRAGMA integrity_check")},
        {"RECOVER / REINDEX", timemaint(VN_FM_RECOVER, dat), timesql(db, "REINDEX")},
        {"PACK / VACUUM", timemaint(VN_FM_PACK, dat), timesql(db, "VACUUM")},
    };
    timemaint(VN_FM_VERIFY, dat);  // the packed file must verify clean
    sqlite3_close(db);
    std::printf("%zu records, %zu deleted\n%-26s %10s %10s %8s\n", n, w.deletions.size(), "run", "velnor s",
                "sqlite s", "ratio");
    for (const Row& r : rows) std::printf("%-26s %10.3f %10.3f %8.2f\n", r.what, r.velnor, r.sqlite, r.sqlite / r.velnor);
    std::filesystem::remove_all(dir);
    return 0;
}
