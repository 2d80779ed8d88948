// records.cc - fuzz target: fixed and variable-length data records.  The
// first byte picks the layout; the rest replaces the data file (its header
// record included) under a sound index, and records are read in physical
// and key order, unpacked, taken apart item by item, added and deleted.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz/fuzz.h"

namespace {

using namespace vnfuzz;

const Kind kinds[] = {FIXED, VARLEN, RECNO, PLAIN, PLAINVAR};
constexpr int nkinds = sizeof kinds / sizeof kinds[0];

// Reads at most n records in the block's order, taking each apart.
void walk(Block& b, int n) {
    char field[64];
    static const char* const items[] = {"ID", "NAME", "AMOUNT", "LINK"};
    for (int i = 0; i < n; ++i) {
        if (vfhread(&b.cb, 0) != 0 && b.cb.status != VN_C_DELETED) return;
        for (const char* item : items) vfhitemget(&b.cb, item, 0, field);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool built = [] {
        for (int k = 0; k < nkinds; ++k)
            if (!build(kinds[k], "r" + std::to_string(k), 12)) return false;
        return true;
    }();
    if (!built) std::abort();
    if (size == 0) return 0;
    const int k = data[0] % nkinds;
    const std::string src = "r" + std::to_string(k);
    copy(src + ".fid", "d.fid");
    copy(src + ".idx", "d.idx");
    put("d.dat", data + 1, size - 1);
    Block b("d.dat");
    if (vfhopen(&b.cb) != 0) return 0;
    vfhsetkey(&b.cb, 0);
    walk(b, 60);
    for (int i = 0; i < 5 && vfhbacksp(&b.cb) == 0; ++i) vfhread(&b.cb, 1);
    if (b.cb.nkeys > 0) {
        vfhsetkey(&b.cb, 2);
        std::snprintf(b.work, sizeof b.work, "Name");
        if (vfhposn(&b.cb, 0) == 0) walk(b, 20);
        b.remove("K06");
        b.fill("K02", "Rewritten, longer than it was");
        vfhwrite(&b.cb, 1);
    }
    b.fill("K77", "Added");
    vfhwrite(&b.cb, 1);
    vfhsecure(&b.cb);
    return 0;
}
