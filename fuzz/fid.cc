// fid.cc - fuzz targets fid_text and fid_bin (built with VN_FUZZ_TEXT 1
// and 0): a definition in the text form (the input follows the magic line)
// or the binary form, loaded, then used to make a file and write and read
// one record.
#include <cstring>
#include <string>
#include <vector>

#include "definition/fid.h"
#include "fuzz/fuzz.h"

using namespace vnfuzz;

// Writes the magic line (text form) and the input to d.fid and loads it;
// when it loads, looks up every item, builds every key of a blank record,
// and makes d.dat with it, writing, finding and reading back one record.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    start();
    put("d.fid", std::string(VN_FUZZ_TEXT ? "TKF FID v7.0\n" : "") + std::string(reinterpret_cast<const char*>(data), size));
    {
        Block b("d.dat");
        std::snprintf(b.cb.fidname, sizeof b.cb.fidname, "%s", path("d.fid").c_str());
        if (loadfid(&b.cb) != 0) return 0;
        std::vector<char> rec(b.cb.reclen + 8u, ' ');
        b.cb.recbuf = rec.data();
        for (uint16_t i = 0; i < b.cb.nitems; ++i) fhfidoffset(&b.cb, b.cb.items[i].name);
        char key[300];
        for (int k = 0; k < b.cb.nkeys; ++k) bldkey(&b.cb, k, key);
        b.cb.recbuf = nullptr;
        freefid(&b.cb);
    }
    Block b("d.dat");
    if (vfhmake(&b.cb) != 0) return 0;
    std::memset(b.cb.recbuf + 1, 'a', b.cb.reclen - 2u);
    vfhwrite(&b.cb, 0);
    if (b.cb.nkeys > 0) {
        vfhsetkey(&b.cb, 1);
        std::memset(b.work, 'a', 200);
        b.work[200] = '\0';
        vfhposn(&b.cb, 0);
    }
    vfhread(&b.cb, 0);
    return 0;
}
