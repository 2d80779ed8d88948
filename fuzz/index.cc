// index.cc - fuzz target: the index file's header and pages, through
// search, walks, insert and delete on a hostile .idx.
#include "fuzz/keyfuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    vnfuzz::fuzzkeys(vnfuzz::FIXED, ".idx", data, size);
    return 0;
}
