// cmd_export.cc - velnor export: a record file copied into an SQLite
// database as one table (sqltable.h), in one transaction; and the way
// back, a table written as the CSV that velnor load reads.
#include <sqlite3.h>

#include <cstring>
#include <filesystem>
#include <memory>

#include <unistd.h>

#include "commands.h"
#include "fidtools.h"
#include "progress.h"
#include "sqltable.h"
#include "walk.h"

namespace vtool {

namespace {

// One open database; every failure names it with SQLite's reason.
class Database {
public:
    explicit Database(const std::string& path) : path_(path) {
        if (sqlite3_open_v2(path.c_str(), &db_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                            nullptr) != SQLITE_OK)
            failhere();
    }
    ~Database() { sqlite3_close(db_); }
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    [[noreturn]] void failhere() const { fail(path_, sqlite3_errmsg(db_)); }
    void exec(const std::string& sql) {
        if (sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) failhere();
    }
    sqlite3_stmt* prepare(const std::string& sql) {
        sqlite3_stmt* st = nullptr;
        if (sqlite3_prepare_v2(db_, sql.c_str(), -1, &st, nullptr) != SQLITE_OK) failhere();
        return st;
    }
    bool hastable(const std::string& name) {
        Statement st(prepare("SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = ?"));
        sqlite3_bind_text(st.get(), 1, name.c_str(), -1, SQLITE_TRANSIENT);
        return sqlite3_step(st.get()) == SQLITE_ROW;
    }

    struct Finalize {
        void operator()(sqlite3_stmt* st) const { sqlite3_finalize(st); }
    };
    using Statement = std::unique_ptr<sqlite3_stmt, Finalize>;

private:
    std::string path_;
    sqlite3* db_ = nullptr;
};

}  // namespace

long runexport(const ExportOptions& opt, std::FILE* out) {
    RecordFile f(reading(opt.file));
    FHCB* cb = f.cb();
    if (cb->nitems == 0) fail(f.path(), "the file has no definition to name columns by");
    SqlTable t = sqltable(cb, opt.table.empty() ? defaulttable(f.path()) : opt.table);
    Database db(opt.database);
    db.exec("BEGIN");
    if (db.hastable(t.name)) {
        if (!opt.replace)
            fail(opt.database, "already has a table " + sqlname(t.name) + " (--replace replaces it)");
        db.exec("DROP TABLE " + sqlname(t.name));
    }
    db.exec(t.create);
    std::string marks;
    for (size_t i = 0; i < t.cols.size() + (t.recno.empty() ? 0 : 1); ++i) marks += i ? ",?" : "?";
    Database::Statement insert(db.prepare("INSERT INTO " + sqlname(t.name) + " VALUES (" + marks + ")"));
    std::error_code ec;
    const uint64_t size = std::filesystem::file_size(f.path(), ec);
    ProgressBar bar("Exporting " + f.path());
    long n = 0;
    walkphysical(f, [&](bool deleted) {
        if (deleted) return true;
        sqlite3_stmt* st = insert.get();
        int at = 1;
        if (!t.recno.empty()) sqlite3_bind_int64(st, at++, recordnumber(cb));
        for (size_t i = 0; i < t.cols.size(); ++i, ++at) {
            const std::string v = toutf8(fieldtext(cb, t.cols[i]), opt.encoding);
            // The column's NUMERIC affinity makes numbers of number text.
            if (t.numeric[i] && v.empty()) sqlite3_bind_null(st, at);
            else sqlite3_bind_text(st, at, v.data(), static_cast<int>(v.size()), SQLITE_TRANSIENT);
        }
        if (sqlite3_step(st) != SQLITE_DONE) db.failhere();
        sqlite3_reset(st);
        ++n;
        bar.update(static_cast<uint64_t>(cb->datpos), size);
        return true;
    });
    insert.reset();
    for (const std::string& index : t.indexes) db.exec(index);
    db.exec("COMMIT");
    bar.finish();
    f.close();
    const size_t nidx = t.indexes.size();
    std::fprintf(out, "Exported %s into table %s of %s, %zu index%s.\n", counted(n, "record").c_str(),
                 t.name.c_str(), opt.database.c_str(), nidx, nidx == 1 ? "" : "es");
    return n;
}

void tabletocsv(const std::string& database, const std::string& table, const FHCB* cb,
                Encoding enc, const std::string& csv) {
    std::error_code ec;
    if (!std::filesystem::exists(database, ec)) fail(database, std::strerror(ENOENT));
    Database db(database);
    if (!db.hastable(table)) fail(database, "no table " + sqlname(table));
    // The columns that name items; the record number is the file's to give.
    std::vector<Column> cols = columns(cb);
    Database::Statement info(db.prepare("SELECT name FROM pragma_table_info(?)"));
    sqlite3_bind_text(info.get(), 1, table.c_str(), -1, SQLITE_TRANSIENT);
    std::string select, header;
    while (sqlite3_step(info.get()) == SQLITE_ROW) {
        std::string name = reinterpret_cast<const char*>(sqlite3_column_text(info.get(), 0));
        if (findcolumn(cols, name) < 0) continue;
        if (!select.empty()) select += ", ", header += ",";
        select += sqlname(name);
        header += csvfield(name);
    }
    if (select.empty()) fail(database, "table " + sqlname(table) + " has no column named by an item");
    Database::Statement rows(db.prepare("SELECT " + select + " FROM " + sqlname(table)));
    std::FILE* out = std::fopen(csv.c_str(), "wb");
    if (out == nullptr) fail(csv, std::strerror(errno));
    std::fprintf(out, "%s\n", header.c_str());
    const int n = sqlite3_column_count(rows.get());
    int rc;
    while ((rc = sqlite3_step(rows.get())) == SQLITE_ROW) {
        std::string line;
        for (int i = 0; i < n; ++i) {
            const unsigned char* v = sqlite3_column_text(rows.get(), i);
            std::string text = v ? fromutf8(reinterpret_cast<const char*>(v), enc) : "";
            if (i) line += ',';
            line += csvfield(text);
        }
        line += '\n';
        std::fputs(line.c_str(), out);
    }
    const bool written = std::fclose(out) == 0;
    if (rc != SQLITE_DONE) db.failhere();
    if (!written) fail(csv, std::strerror(errno));
}

long runloadtable(const LoadOptions& opt, std::FILE* out) {
    const std::string table = opt.table.empty() ? defaulttable(opt.file.path) : opt.table;
    std::error_code ec;
    std::string name = "velnor-";
    name.append(std::to_string(getpid())).append("-").append(table).append(".csv");
    const auto csv = std::filesystem::temp_directory_path(ec) / name;
    {
        Definition def(opt.file.fid.empty() ? derivedname(opt.file.path, ".fid") : opt.file.fid);
        tabletocsv(opt.sqlite, table, def.cb(), opt.encoding, csv.string());
    }
    struct Remove {
        std::filesystem::path p;
        ~Remove() { std::error_code e; std::filesystem::remove(p, e); }
    } remove{csv};
    LoadOptions load = opt;
    load.csv = csv.string();
    load.sqlite.clear();
    return runload(load, out);
}

}  // namespace vtool
