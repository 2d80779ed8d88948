// posting.cc - fuzz target: the keyword index's posting file.  The input
// replaces the posting file of a sound keyword file; words are searched,
// listed, added and a value deleted through it.
#include <cstdlib>
#include <string>

#include "fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace vnfuzz;
    static const bool built = buildkeyword();
    if (!built) std::abort();
    for (const char* ext : {".fid", ".dat", ".idx"}) copy(std::string("kw") + ext, std::string("k") + ext);
    put("k.pst", data, size);
    const std::string posting = path("k.pst");
    Block b("k.dat");
    if (fhhypinit(&b.cb, posting.c_str(), 1, 0) != 0) {
        if (b.cb.recbuf != nullptr) vfhclose(&b.cb);
        return 0;
    }
    for (const char* word : {"alpha", "gamma", "apple"}) {
        uint32_t count = 0;
        if (uint32_t* values = fhhypsearch(&b.cb, word, &count)) globalmfree(values);
        int32_t cursor = 0;
        for (int i = 0; i < 100 && cursor != -1; ++i) fhhypgetnext(&b.cb, &cursor);
    }
    uint32_t listsize = 0;
    if (char* list = fhhyplist(&b.cb, 2, "a", nullptr, &listsize)) globalmfree(list);
    char word[] = "epsilon";
    fhhypaddword(&b.cb, word, 4);
    char again[] = "alpha";
    fhhypaddword(&b.cb, again, 12);
    fhhypdelete(&b.cb, 3);
    fhhypinit(&b.cb, posting.c_str(), 0, 0);
    b.cb.recbuf = nullptr;
    return 0;
}
