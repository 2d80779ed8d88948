// maint.cc - fuzz target: the maintenance passes.  The first byte picks the
// layout; the rest replaces the data file of a sound definition and index
// (or hash file), which VERIFY checks, RECOVER rebuilds, and VERIFY checks
// again.
#include <cstdlib>
#include <string>

#include "fuzz/fuzz.h"

namespace {

int32_t VELNOR_CALL quiet(int32_t, char*) { return 0; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace vnfuzz;
    static const vnfuzz::Kind kinds[] = {FIXED, VARLEN, HASHED, PLAIN};
    static const bool built = [] {
        for (int k = 0; k < 4; ++k)
            if (!build(kinds[k], "m" + std::to_string(k), 12)) return false;
        return true;
    }();
    if (!built) std::abort();
    if (size == 0) return 0;
    const int k = data[0] % 4;
    const std::string src = "m" + std::to_string(k);
    copy(src + ".fid", "v.fid");
    const char* keyext = kinds[k] == HASHED ? ".hsh" : ".idx";
    copy(src + keyext, std::string("v") + keyext);
    put("v.dat", data + 1, size - 1);
    const std::string dat = path("v.dat");
    filemaint(VN_FM_VERIFY, dat.c_str(), "", "", nullptr, VN_FM_CONTINUE, nullptr, quiet);
    filemaint(VN_FM_RECOVER, dat.c_str(), "", "", nullptr, 0, nullptr, quiet);
    filemaint(VN_FM_VERIFY, dat.c_str(), "", "", nullptr, VN_FM_CONTINUE, nullptr, quiet);
    return 0;
}
