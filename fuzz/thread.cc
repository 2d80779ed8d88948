// thread.cc - fuzz target: thread expressions.  The input's first line (at
// most the 55 characters a definition holds) is evaluated, as a number and
// as a text, on a record made of the rest.
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "definition/fid.h"
#include "record/thread.h"
#include "fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace vnfuzz;
    static FHCB* def = [] {
        start();
        put("t.fid", fidtext(FIXED));
        static Block b("t.dat");
        std::snprintf(b.cb.fidname, sizeof b.cb.fidname, "%s", path("t.fid").c_str());
        if (loadfid(&b.cb) != 0) std::abort();
        return &b.cb;
    }();
    const char* text = reinterpret_cast<const char*>(data);
    const char* nl = static_cast<const char*>(std::memchr(text, '\n', size));
    const size_t len = nl ? static_cast<size_t>(nl - text) : size;
    const std::string expr(text, len < 55 ? len : 55);
    std::vector<char> rec(def->reclen + 8u, ' ');
    if (nl) std::memcpy(rec.data(), nl + 1, std::min(size - len - 1, rec.size()));
    ThreadVal val;
    threadeval(def, rec.data(), expr.c_str(), &val, 1);
    threadeval(def, rec.data(), expr.c_str(), &val, 0);
    return 0;
}
