// keys.cc - fuzz targets index and hash (built with VN_FUZZ_HASH 0 and 1):
// the index file's header and pages, or the hash file's header and probe
// sequences, hostile under a sound data file, through searches, walks,
// adds, rewrites and deletes.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz/fuzz.h"
#include "index/lebytes.h"

namespace {

using namespace vnfuzz;

// Reads forward (or back) at most n records from where the block stands.
void walk(Block& b, int n, bool back) {
    for (int i = 0; i < n; ++i) {
        if ((back ? vfhbacksp(&b.cb) : vfhread(&b.cb, 0)) != 0 && b.cb.status != VN_C_DELETED)
            return;
    }
}

}  // namespace

// Puts the input in place of the index or hash file of a sound file, then
// opens it and searches, walks, adds, rewrites and deletes records.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const char* const ext = VN_FUZZ_HASH ? ".hsh" : ".idx";
    static const bool built = build(VN_FUZZ_HASH ? HASHED : FIXED, "s", 30);
    if (!built) std::abort();
    copy("s.fid", "h.fid");
    copy("s.dat", "h.dat");
    std::string file(reinterpret_cast<const char*>(data), size);
    // A page the header counts but the file lacks is read 100 times, 50 ms
    // apart, in case another process is still writing it.  So that a run
    // takes milliseconds, the file is filled out with zeros to the pages its
    // header counts, or when that passes 1 MB the count is cut to the pages
    // the input holds.
    const uint16_t pagesize = size >= 96 ? getle16(data + 94) : 0;
    if (!VN_FUZZ_HASH && pagesize != 0) {
        uint64_t pages = getle32(data + 8);
        if (pages * pagesize > (1u << 20)) {
            pages = (size + pagesize - 1) / pagesize;
            putle32(reinterpret_cast<uint8_t*>(file.data()) + 8, static_cast<uint32_t>(pages));
        }
        if (pages * pagesize > size) file.resize(pages * pagesize, '\0');
    }
    put(std::string("h") + ext, file);
    Block b("h.dat");
    if (vfhopen(&b.cb) != 0) return 0;
    static const char* const probes[] = {"K05", "Name K2", ""};
    for (int key = 1; key <= b.cb.nkeys; ++key) {
        if (vfhsetkey(&b.cb, static_cast<uint8_t>(key)) != 0) continue;
        for (const char* p : probes) {
            std::snprintf(b.work, sizeof b.work, "%s", p);
            if (vfhposn(&b.cb, 0) == 0) walk(b, 12, false);
            std::snprintf(b.work, sizeof b.work, "%s", p);
            if (vfhposn(&b.cb, 1) == 0) walk(b, 12, true);
        }
    }
    vfhsetkey(&b.cb, 1);
    static const char* const writes[] = {"K99", "K03", "K40", "K12", "K41"};
    for (const char* id : writes) {
        b.fill(id, "Written");
        vfhwrite(&b.cb, 1);
    }
    static const char* const deletes[] = {"K07", "K99", "K08", "K30", "K41"};
    for (const char* id : deletes) b.remove(id);
    vfhsecure(&b.cb);
    return 0;
}
