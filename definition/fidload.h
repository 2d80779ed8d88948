// fidload.h - the pieces of the definition loader shared by its files: the
// two encodings, the temporary-index key expression, the bounds checks and
// table allocation.
#ifndef VELNOR_DEFINITION_FIDLOAD_H
#define VELNOR_DEFINITION_FIDLOAD_H

#include <cstdint>

#include "definition/fid.h"

// Largest values the command block's count fields hold.
enum { FID_MAXITEMS = 65535, FID_MAXKEYS = 127, FID_MAXRECLEN = 65533 };
// Keys one index file holds: 18 trees, one of them the record numbers.
enum { FID_MAXINDEX = 18 };

// Result of fidtext when the first line is not the text magic.
enum { FID_NOTTEXT = 1 };

// Loads the text form from stream s: 0, FID_NOTTEXT, or -1 with status.
int32_t fidtext(FHCB* cb, int32_t s);
// Loads the binary form from the start of stream s: 0, or -1 with status.
int32_t fidbin(FHCB* cb, int32_t s);
// Replaces the key table by one key built from the expression in cb->work.
// 0, or -1 with status 'p' or 9.
int32_t fidtmpkey(FHCB* cb);
// Checks that every item lies inside the record and the name order is a
// permutation of the items: 0, or -1 with status 7 (13 for a record length
// below 8).  Items must pass before fhfidoffset may search them.
int32_t fidcheckitems(FHCB* cb);
// Checks the key table: at most what one index file holds, at most 18
// segments each, segments inside the record and within the declared key
// length.  0, or -1 with status 7.
int32_t fidcheckkeys(FHCB* cb);
// Adds to every key's length what key building appends to it: 5 with
// record numbers, else the first key's length to every later key.  0, or
// -1 with status 7 when a length passes 255.
int32_t fidadjustkeys(FHCB* cb);
// The key table's last step: built from the expression for a temporary
// index, else checked and adjusted.  0, or -1 with status.
int32_t fidfinishkeys(FHCB* cb);
// Points thread t at the item called name (upper-cased, cut at the first
// blank within its first 10 characters).  0, or -1 with status 7 (no such
// item), 41 (item in the first 8 bytes) or 42 (item shorter than 4 bytes).
int32_t fidthreadlink(FHCB* cb, const char* name, FidThread* t);

// Zeroed tables of n entries (at least one); set status 9 on failure.
FidItem* fidallocitems(FHCB* cb, uint32_t n);
FidKey* fidallockeys(FHCB* cb, uint32_t n);
// A global-memory copy of the first n bytes of s, or null with status 9.
char* fidname(FHCB* cb, const char* s, uint32_t n);
// Zeroed thread table of n entries (at least one), or null with status 9.
FidThread* fidallocthreads(FHCB* cb, uint32_t n);
// Frees the key table and its names and clears the pointer.
void fidfreekeys(FHCB* cb);
// Frees the item table and its names and clears the pointer.
void fidfreeitems(FHCB* cb);

#endif
