// cmd_fid.cc - velnor fid compile and velnor fid show.
#include "commands.h"
#include "fidtools.h"

namespace vtool {

void runfidcompile(const std::string& in, const std::string& bin, std::FILE* out) {
    compilefid(in, bin);
    Definition def(bin);
    const FHCB* cb = def.cb();
    std::fprintf(out, "Wrote %s: %s, %s, %s.\n", bin.c_str(), counted(cb->nitems, "item").c_str(),
                 counted(cb->nkeys, "key").c_str(), counted(cb->nthreads, "thread").c_str());
}

void runfidshow(const std::string& path, bool text, std::FILE* out) {
    Definition def(path);
    if (text) {
        std::fputs(textdefinition(def.cb(), path).c_str(), out);
        return;
    }
    std::fprintf(out, "Definition: %s\n", path.c_str());
    printdefinition(out, def.cb());
}

}  // namespace vtool
