// cmd_dump.cc - velnor dump and velnor get: records as text, CSV or JSON,
// in physical order, key order, along a thread, or those whose key starts
// with a value.
#include "commands.h"
#include "sqltable.h"
#include "walk.h"

namespace vtool {

long rundump(const DumpOptions& opt, std::FILE* out) {
    RecordFile f(reading(opt.file));
    FHCB* cb = f.cb();
    f.setkey(opt.key);  // a bad key number fails before anything is written
    if (opt.key > 0 && (cb->fflags & VN_FF_HASHED))
        fail(f.path(), "a hashed file keeps no key order: dump it without --key", EXIT_USAGE);
    if (opt.thread) f.checkthread(opt.thread);
    std::vector<Column> cols = selectcolumns(cb, opt.items, f.path());
    std::unique_ptr<RecordWriter> w;
    if (opt.format == Format::Sql) {
        // The table has every item, whatever --items names.
        SqlTable table = sqltable(cb, defaulttable(f.path()));
        cols = table.cols;
        w = makesqlwriter(out, cb, std::move(table), opt.encoding);
    } else {
        w = makewriter(opt.format, out, opt.encoding);
    }
    w->begin(cols, opt.deleted);
    long n = 0;
    auto visit = [&](bool deleted) {
        if (deleted && (!opt.deleted || opt.format == Format::Sql)) return true;
        writerecord(*w, cb, cols, deleted);
        ++n;
        return true;
    };
    if (opt.thread > 0) walkthread(f, opt.thread, visit);
    else if (opt.key > 0) walkkey(f, opt.key, lowestkey(cb, opt.key), visit);
    else walkphysical(f, visit);
    w->end();
    // A key order that misses records is a damaged index: say so.
    const long active = opt.key > 0 ? countactive(f) : n;
    f.close();
    if (n != active)
        fail(f.path(), "key " + std::to_string(opt.key) + " reached " + counted(n, "record") +
                           " of the " + std::to_string(active) + " active; velnor verify " +
                           f.path() + " checks the file");
    return n;
}

long runget(const GetOptions& opt, std::FILE* out) {
    RecordFile f(reading(opt.file));
    FHCB* cb = f.cb();
    if (opt.key < 1) fail(f.path(), "get needs a key from 1 up", EXIT_USAGE);
    f.setkey(opt.key);
    KeyShape shape = keyshape(cb, opt.key);
    std::string value = keyvalue(shape, opt.value, opt.exact);
    std::vector<Column> cols = selectcolumns(cb, opt.items, f.path());
    auto w = makewriter(opt.format, out, opt.encoding);
    long n = 0;
    // In key order the first record that does not match ends the walk; a
    // hashed file has no such order and is read through.
    const bool hashed = cb->fflags & VN_FF_HASHED;
    auto visit = [&](bool deleted) {
        if (!keymatches(cb, opt.key, shape, value, opt.exact)) return hashed;
        if (!deleted) {
            if (n++ == 0) w->begin(cols, false);
            writerecord(*w, cb, cols, false);
        }
        return true;
    };
    if (hashed) walkphysical(f, visit);
    else walkkey(f, opt.key, value, visit);
    if (n > 0) w->end();
    f.close();
    if (n == 0)
        fail(opt.file.path, "no record whose key " + std::to_string(opt.key) +
                                (opt.exact ? " is '" : " starts with '") + opt.value + "'");
    return n;
}

}  // namespace vtool
