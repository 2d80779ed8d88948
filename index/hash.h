// hash.h - the hash file: the primary key of a hashed record file mapped to
// the record's position by open addressing with double hashing.
#ifndef VELNOR_INDEX_HASH_H
#define VELNOR_INDEX_HASH_H

#include <cstdint>

#include "velnor.h"

enum { HSH_VERSION = 1376, HSH_HDRSIZE = 16 };

// FHCB.hashstate: bit 0x01 the found flag of the last probe; the high four
// bits the size class c of the open table (hshclass).
enum { HS_FOUND = 0x01, HS_CLASSSHIFT = 4 };
inline unsigned hshclass(uint8_t hashstate) { return hashstate >> HS_CLASSSHIFT; }

// A hashed file's key buffer is the keybuf of a small IdxState that hshopen
// hangs on cb->index (no trees: nindex 0, keylen[0] the length of key 0,
// keybuf of 257 bytes); idxclose frees it like any other.  The probe looks
// up the key in that buffer.

// Size class and table size for hashrecs: the first of 281, 601, ...,
// 288359 not below it (class 10 beyond).  Returns the size.
uint32_t hshtablesize(uint32_t hashrecs, unsigned* cls);
// Hash of the key (up to its first zero byte) for a table of size t and
// class c: the first slot h (not reduced below t) and the probe step d.
void hshkey(const char* key, uint32_t t, unsigned c, uint32_t* h, uint32_t* d);

// Creates (truncates) the file named idxname: header and zeroed table;
// the file is closed again.  0, or -1 with status 102, 32 or 34.
int32_t hshcreate(FHCB* cb);
// Reads and checks the header of the open hash file (idxfd); sets hashrecs
// to the table size and the class.  0, or -1 with status 102, 33, 36, 37, 9.
int32_t hshopen(FHCB* cb);
// The record position held in table slot slot: 0 for an empty slot, and 0
// too when the slot cannot be read (past the end of a short file).
uint32_t hshslotread(FHCB* cb, uint32_t slot);
// Stores pos in table slot slot.  0, or -1 with status VN_E_HSHWRITE.
int32_t hshslotwrite(FHCB* cb, uint32_t slot, uint32_t pos);

#endif
