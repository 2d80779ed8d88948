// fid.h - loading and saving file definitions: a ".fid" file (text
// "TKF FID v7.0" or binary version 608) read into the tables of
// definition/definition.h that hang off the command block, and written back.
#ifndef VELNOR_DEFINITION_FID_H
#define VELNOR_DEFINITION_FID_H

#include <cstdint>

#include "definition/definition.h"
#include "velnor.h"

// Loads the definition named by cb->fidname into cb.  0, or -1 with status.
int32_t loadfid(FHCB* cb);
// Frees the tables (not the pointers' values); nothing when items is null.
void freefid(FHCB* cb);

// Writers of a loaded definition, so that loadfid reads back the same
// tables.  The binary form (version 608) holds items, keys and threads;
// item and key names must fit 10 bytes.  The text form ("TKF FID v7.0")
// cannot hold threads.  0, or -1 when the definition does not fit the form
// or the file cannot be written.
int32_t savefidbin(const FHCB* cb, const char* path);
int32_t savefidtext(const FHCB* cb, const char* path);

// Appends a thread on the link item called item (upper-cased, as the binary
// loader looks it up) with the selection expression expr (at most 55
// characters).  0, or -1 with status 7 (unknown item or expression too
// long), 41, 42 or 9.
int32_t fidaddthread(FHCB* cb, const char* item, const char* expr);

#endif
