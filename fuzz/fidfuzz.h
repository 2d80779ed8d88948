// fidfuzz.h - the body of the two definition targets.
#ifndef VELNOR_FUZZ_FIDFUZZ_H
#define VELNOR_FUZZ_FIDFUZZ_H

#include <cstddef>
#include <cstdint>

namespace vnfuzz {

// Writes head and the input to d.fid and loads it; when it loads, looks up
// every item, builds every key of a blank record, and makes d.dat with it,
// writing, finding and reading back one record.
void fuzzfid(const char* head, const uint8_t* data, size_t size);

}  // namespace vnfuzz

#endif
