// fid_bin.cc - fuzz target: a definition in the binary form, loaded, then
// used to make a file and write and read one record.
#include "fuzz/fidfuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    vnfuzz::fuzzfid("", data, size);
    return 0;
}
