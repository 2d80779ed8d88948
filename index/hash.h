// hash.h - the hash file: the primary key of a hashed record file mapped to
// the record's position by open addressing with double hashing.
#ifndef VELNOR_INDEX_HASH_H
#define VELNOR_INDEX_HASH_H

#include <cstdint>

#include "index/idxctx.h"

enum { HSH_VERSION = 1376, HSH_HDRSIZE = 16 };

// IdxFile.hashstate (kept in the engine's block): bit 0x01 the found flag of the last probe; the high four
// bits the size class c of the open table (hshclass).
enum { HS_FOUND = 0x01, HS_CLASSSHIFT = 4 };
inline unsigned hshclass(uint8_t hashstate) { return hashstate >> HS_CLASSSHIFT; }

// A hashed file's key buffer is the keybuf of a small IdxState that hshopen
// makes f.state (no trees: nindex 0, keylen[0] the length of key 0,
// keybuf of 257 bytes); idxclose frees it like any other.  The probe looks
// up the key in that buffer.

// Size class and table size for hashrecs: the first of 281, 601, ...,
// 288359 not below it (class 10 beyond).  Returns the size.
uint32_t hshtablesize(uint32_t hashrecs, unsigned* cls);
// Hash of the key (up to its first zero byte) for a table of size t and
// class c: the first slot h (not reduced below t) and the probe step d.
void hshkey(const char* key, uint32_t t, unsigned c, uint32_t* h, uint32_t* d);

// Creates (truncates) the file named f.path: header and zeroed table; the
// file is closed again.  Sets f.hashrecs to the table size and the class.
// 0, VN_C_HSHNOKEY, VN_E_HSHCREATE or VN_E_HSHWRITE.
int32_t hshcreate(IdxFile& f);
// Reads and checks the header of the open hash file f.fd; sets f.hashrecs
// to the table size and the class, and f.state.  0, VN_C_HSHNOKEY,
// VN_E_HSHREAD, VN_E_HSHVERSION, VN_E_HSHFID or VN_E_MEMORY.
int32_t hshopen(IdxFile& f);
// The record position held in table slot slot: 0 for an empty slot, and 0
// too when the slot cannot be read (past the end of a short file).
uint32_t hshslotread(const IdxFile& f, uint32_t slot);
// Stores pos in table slot slot.  0, or VN_E_HSHWRITE.
int32_t hshslotwrite(const IdxFile& f, uint32_t slot, uint32_t pos);

#endif
