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
// Looks up the key buffer: the slot number, with HS_FOUND set when it
// holds the key's record (read into recbuf, datpos at it), or clear when it
// is the empty slot where the key belongs.  -1 with status 3, or 39 when a
// probe has visited more slots than the table holds.
int32_t hshprobe(FHCB* cb);
// Finds key buffer's record; a deleted one counts as not found.  0 (see
// HS_FOUND), or -1.
int32_t hshread(FHCB* cb);
// Stores recbuf under its key 0: a new key takes the end of the data file,
// a known one (even deleted) is overwritten in place.  0, or -1.
int32_t hshwrite(FHCB* cb);
// Marks the record whose key 0 is in recbuf deleted.  0, or -1 (100 when
// the key is not there).
int32_t hshdelete(FHCB* cb);

#endif
