// fid_text.cc - fuzz target: a definition in the text form (the input
// follows the magic line), loaded, then used to make a file and write and
// read one record.
#include "fuzz/fidfuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    vnfuzz::fuzzfid("TKF FID v7.0\n", data, size);
    return 0;
}
