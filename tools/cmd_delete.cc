// cmd_delete.cc - velnor delete: deletes the records whose first key is
// the value given.
#include "commands.h"
#include "walk.h"

namespace vtool {

long rundelete(const RecordTarget& file, const std::string& value, std::FILE* out) {
    RecordFile f(file);
    f.checkcount();
    FHCB* cb = f.cb();
    if (cb->nkeys == 0 || (cb->fflags & VN_FF_HASHED))
        fail(f.path(), "delete needs an indexed file with a primary key", EXIT_USAGE);
    KeyShape shape = keyshape(cb, 1);
    std::string keyval = keyvalue(shape, value, true);
    long n = 0;
    // Each deletion takes the record out of the index: look again each time.
    for (;;) {
        bool found = false;
        walkkey(f, 1, keyval, [&](bool deleted) {
            found = !deleted && keymatches(cb, 1, shape, keyval, true);
            return false;
        });
        if (!found) break;
        if (vfhdelete(cb) != 0) f.fail_status();
        if (++n > static_cast<long>(cb->nrecs))
            fail(f.path(), "the deleted records stay in the index");
    }
    f.close();
    if (n == 0) fail(file.path, "no record whose key 1 is '" + value + "'");
    std::fprintf(out, "Deleted %ld record%s.\n", n, n == 1 ? "" : "s");
    return n;
}

}  // namespace vtool
