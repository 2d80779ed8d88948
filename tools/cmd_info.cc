// cmd_info.cc - velnor info: a record file's names, definition, type and
// record counts.
#include "commands.h"
#include "fidtools.h"
#include "walk.h"

namespace vtool {

void runinfo(const RecordTarget& file, std::FILE* out) {
    RecordFile f(reading(file));
    FHCB* cb = f.cb();
    std::fprintf(out, "File: %s\n", f.path().c_str());
    if (cb->nitems > 0) std::fprintf(out, "Definition: %s\n", cb->fidname);
    if (cb->nkeys > 0)
        std::fprintf(out, "%s: %s\n", (cb->fflags & VN_FF_HASHED) ? "Hash file" : "Index",
                     cb->idxname);
    printdefinition(out, cb);
    if (const std::string w = reservedoverlap(cb); !w.empty()) warn(f.path() + ": " + w);
    long active = 0, deleted = 0;
    ShortRecord cut;
    walkphysical(
        f,
        [&](bool del) {
            ++(del ? deleted : active);
            return true;
        },
        &cut);
    unsigned long slots = cb->nrecs > 0 ? cb->nrecs - 1ul : 0ul;
    std::fprintf(out, "Records: %lu in the header count; %ld active, %ld deleted\n", slots,
                 active, deleted);
    f.close();
    if (cut.size)
        warn(f.path() + ": the file ends at byte " + std::to_string(cut.size) +
             ", inside the record at byte " + std::to_string(cut.pos));
    if (static_cast<unsigned long>(active + deleted) != slots)
        fail(f.path(), "the header counts " + std::to_string(slots) + " records but " +
                           std::to_string(active + deleted) + " were found; velnor verify " +
                           f.path() + " checks the file");
}

}  // namespace vtool
