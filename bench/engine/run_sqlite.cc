// run_sqlite.cc - the workload through SQLite: a table with a TEXT primary
// key and an index on name, one transaction, no journal, no syncing.
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

}  // namespace

Timing runsqlite(const Workload& w) {
    const std::string path = w.dir + "/peer.sqlite";
    sqlite3* db = nullptr;
    if (sqlite3_open(path.c_str(), &db) != SQLITE_OK) fail("sqlite: cannot open " + path);
    exec(db, "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF;");
    exec(db, "CREATE TABLE people(id TEXT PRIMARY KEY, name TEXT, fill TEXT)");
    exec(db, "CREATE INDEX byname ON people(name)");
    exec(db, "BEGIN");
    Timing t;

    auto start = std::chrono::steady_clock::now();
    sqlite3_stmt* ins = prepare(db, "INSERT INTO people VALUES(?, ?, ?)");
    for (const Person& p : w.people) {
        sqlite3_bind_text(ins, 1, p.id, ID_LEN, SQLITE_STATIC);
        sqlite3_bind_text(ins, 2, p.name, NAME_LEN, SQLITE_STATIC);
        sqlite3_bind_text(ins, 3, p.fill, FILL_LEN, SQLITE_STATIC);
        if (sqlite3_step(ins) != SQLITE_DONE) fail("sqlite insert failed");
        sqlite3_reset(ins);
    }
    sqlite3_finalize(ins);
    t.insert = since(start);

    start = std::chrono::steady_clock::now();
    sqlite3_stmt* sel = prepare(db, "SELECT name, fill FROM people WHERE id = ?");
    for (size_t i : w.lookups) {
        sqlite3_bind_text(sel, 1, w.people[i].id, ID_LEN, SQLITE_STATIC);
        if (sqlite3_step(sel) != SQLITE_ROW) fail("sqlite lookup missed");
        sqlite3_reset(sel);
    }
    sqlite3_finalize(sel);
    t.lookup = since(start);

    start = std::chrono::steady_clock::now();
    sqlite3_stmt* all = prepare(db, "SELECT id, name, fill FROM people ORDER BY name");
    size_t seen = 0;
    while (sqlite3_step(all) == SQLITE_ROW) seen++;
    sqlite3_finalize(all);
    if (seen != w.people.size()) fail("sqlite scan saw " + std::to_string(seen));
    t.scan = since(start);

    start = std::chrono::steady_clock::now();
    sqlite3_stmt* del = prepare(db, "DELETE FROM people WHERE id = ?");
    for (size_t i : w.deletions) {
        sqlite3_bind_text(del, 1, w.people[i].id, ID_LEN, SQLITE_STATIC);
        if (sqlite3_step(del) != SQLITE_DONE) fail("sqlite delete failed");
        sqlite3_reset(del);
    }
    sqlite3_finalize(del);
    t.remove = since(start);
    exec(db, "COMMIT");
    sqlite3_close(db);
    return t;
}
