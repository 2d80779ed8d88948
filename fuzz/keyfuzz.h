// keyfuzz.h - the body of the index and hash file targets.
#ifndef VELNOR_FUZZ_KEYFUZZ_H
#define VELNOR_FUZZ_KEYFUZZ_H

#include <cstddef>
#include <cstdint>

#include "fuzz/fuzz.h"

namespace vnfuzz {

// Puts the input in place of the index (ext ".idx") or hash file (".hsh")
// of a sound file of kind, then opens it and searches, walks, adds,
// rewrites and deletes records through it.
void fuzzkeys(Kind kind, const char* ext, const uint8_t* data, size_t size);

}  // namespace vnfuzz

#endif
