// hash.cc - fuzz target: the hash file's header and probe sequences,
// through lookups, adds and deletes on a hostile .hsh.
#include "fuzz/keyfuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    vnfuzz::fuzzkeys(vnfuzz::HASHED, ".hsh", data, size);
    return 0;
}
