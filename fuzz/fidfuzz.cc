// fidfuzz.cc - a hostile definition loaded and put to use.
#include "fuzz/fidfuzz.h"

#include <cstring>
#include <string>
#include <vector>

#include "definition/fid.h"
#include "fuzz/fuzz.h"

namespace vnfuzz {

void fuzzfid(const char* head, const uint8_t* data, size_t size) {
    start();
    put("d.fid", std::string(head) + std::string(reinterpret_cast<const char*>(data), size));
    {
        Block b("d.dat");
        std::snprintf(b.cb.fidname, sizeof b.cb.fidname, "%s", path("d.fid").c_str());
        if (loadfid(&b.cb) != 0) return;
        std::vector<char> rec(b.cb.reclen + 8u, ' ');
        b.cb.recbuf = rec.data();
        for (uint16_t i = 0; i < b.cb.nitems; ++i) fhfidoffset(&b.cb, b.cb.items[i].name);
        char key[300];
        for (int k = 0; k < b.cb.nkeys; ++k) bldkey(&b.cb, k, key);
        b.cb.recbuf = nullptr;
        freefid(&b.cb);
    }
    Block b("d.dat");
    if (vfhmake(&b.cb) != 0) return;
    std::memset(b.cb.recbuf + 1, 'a', b.cb.reclen - 2u);
    vfhwrite(&b.cb, 0);
    if (b.cb.nkeys > 0) {
        vfhsetkey(&b.cb, 1);
        std::memset(b.work, 'a', 200);
        b.work[200] = '\0';
        vfhposn(&b.cb, 0);
    }
    vfhread(&b.cb, 0);
}

}  // namespace vnfuzz
