// run_sqlite.cc - the workload through SQLite: a table with a TEXT primary
// key and an index on name, never synced.  Unshared, the whole run is one
// transaction with no journal (or one every w.every writes); in WAL mode,
// which processes sharing the file can use, every statement is a
// transaction of its own.
#include <sqlite3.h>

#include "workload.h"

namespace {

sqlite3_stmt* prepare(sqlite3* db, const char* sql) {
    sqlite3_stmt* s = nullptr;
    if (sqlite3_prepare_v2(db, sql, -1, &s, nullptr) != SQLITE_OK) fail(std::string("sqlite: ") + sqlite3_errmsg(db));
    return s;
}

void exec(sqlite3* db, const char* sql) {
    if (sqlite3_exec(db, sql, nullptr, nullptr, nullptr) != SQLITE_OK)
        fail(std::string("sqlite: ") + sqlite3_errmsg(db));
}

// Runs sql once per record index in which, binding that record's id (and,
// with all, its name and fill); each step must give want.  With write set,
// the open transaction is committed and another begun where w asks.
void each(sqlite3* db, const char* sql, const Workload& w, const std::vector<size_t>& which, bool all, int want,
          bool write, Timing& t) {
    sqlite3_stmt* s = prepare(db, sql);
    size_t done = 0;
    for (size_t i : which) {
        const Person& p = w.people[i];
        sqlite3_bind_text(s, 1, p.id, ID_LEN, SQLITE_STATIC);
        if (all) {
            sqlite3_bind_text(s, 2, p.name, NAME_LEN, SQLITE_STATIC);
            sqlite3_bind_text(s, 3, p.fill, FILL_LEN, SQLITE_STATIC);
        }
        if (sqlite3_step(s) != want) fail(std::string("sqlite: ") + sql);
        sqlite3_reset(s);
        if (write && commitdue(w, ++done)) {
            const double at = now();
            exec(db, "COMMIT; BEGIN");
            t.committing += now() - at;
        }
    }
    sqlite3_finalize(s);
}

__attribute__((noinline)) void sqliteinsert(sqlite3* db, const Workload& w, const std::vector<size_t>& all, Timing& t) {
    each(db, "INSERT INTO people VALUES(?, ?, ?)", w, all, true, SQLITE_DONE, true, t);
}
__attribute__((noinline)) void sqlitelookup(sqlite3* db, const Workload& w, Timing& t) {
    each(db, "SELECT name, fill FROM people WHERE id = ?", w, w.lookups, false, SQLITE_ROW, false, t);
}
__attribute__((noinline)) void sqlitescan(sqlite3* db, const Workload& w) {
    sqlite3_stmt* all = prepare(db, "SELECT id, name, fill FROM people ORDER BY name");
    size_t seen = 0;
    while (sqlite3_step(all) == SQLITE_ROW) seen++;
    sqlite3_finalize(all);
    if (seen != w.people.size()) fail("sqlite scan saw " + std::to_string(seen));
}
__attribute__((noinline)) void sqlitedelete(sqlite3* db, const Workload& w, Timing& t) {
    each(db, "DELETE FROM people WHERE id = ?", w, w.deletions, false, SQLITE_DONE, true, t);
}

}  // namespace

Timing runsqlite(const Workload& w, bool wal) {
    const std::string path = w.dir + "/peer.sqlite";
    sqlite3* db = nullptr;
    if (sqlite3_open(path.c_str(), &db) != SQLITE_OK) fail("sqlite: cannot open " + path);
    exec(db, wal ? "PRAGMA journal_mode=WAL; PRAGMA synchronous=OFF"
                 : "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF");
    exec(db, "CREATE TABLE people(id TEXT PRIMARY KEY, name TEXT, fill TEXT)");
    exec(db, "CREATE INDEX byname ON people(name)");
    if (!wal) exec(db, "BEGIN");
    Timing t;

    std::vector<size_t> order(w.people.size());
    for (size_t i = 0; i < order.size(); i++) order[i] = i;
    Mark start = mark();
    sqliteinsert(db, w, order, t);
    t.insert = took(start);
    start = mark();
    sqlitelookup(db, w, t);
    t.lookup = took(start);
    start = mark();
    sqlitescan(db, w);
    t.scan = took(start);
    start = mark();
    sqlitedelete(db, w, t);
    t.remove = took(start);
    if (!wal) exec(db, "COMMIT");
    sqlite3_close(db);
    return t;
}
