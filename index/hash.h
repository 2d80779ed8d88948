// hash.h - the hash file: the primary key of a hashed record file mapped to
// the record's position by open addressing with double hashing.
#ifndef VELNOR_INDEX_HASH_H
#define VELNOR_INDEX_HASH_H

#include <cstdint>

#include "velnor.h"

enum { HSH_VERSION = 1376, HSH_HDRSIZE = 16 };

// Bits of FHCB.hashstate.
enum { HS_FOUND = 0x01 };

int32_t hshcreate(FHCB* cb);
int32_t hshopen(FHCB* cb);
int32_t hshprobe(FHCB* cb);
int32_t hshread(FHCB* cb);
int32_t hshwrite(FHCB* cb);
int32_t hshdelete(FHCB* cb);

#endif
