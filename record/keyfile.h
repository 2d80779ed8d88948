// keyfile.h - the engine's side of the index layer: the index layer's view
// of a block's index or hash file, built for each call, what the layer
// changed taken back into the block, and the layer's status given to the
// block.  Only here does a status of the index layer reach the caller.
#ifndef VELNOR_RECORD_KEYFILE_H
#define VELNOR_RECORD_KEYFILE_H

#include <cstdint>

#include "index/idxctx.h"
#include "velnor.h"

// The index layer's view of cb's index or hash file.
IdxFile indexof(FHCB* cb);
// Takes back into cb what the layer may change: the handle (a page read
// may reopen the file), the state (open and close) and the hash fields.
void indexback(FHCB* cb, const IdxFile& f);
// Gives cb the status s of an index call: a status of the layer replaces
// the one cb holds, a failure of the page cache only fills an empty one.
// -1 when s is a failure, else 0.
int32_t takestatus(FHCB* cb, int32_t s);

// The calls of the index layer on cb's file, each returning 0, or -1 with
// the status taken as takestatus says (the position calls: the position).
// Record position of the entry found (key in the key buffer), 0 for none.
int32_t keysearch(FHCB* cb, int index, int mode);
int32_t keyinsert(FHCB* cb, int index, uint32_t pos);
int32_t keydelete(FHCB* cb, int index, uint32_t pos);
// Records a deleted record's slot on the free-space list.
int32_t spacefree(FHCB* cb, uint32_t pos, uint16_t len);
// A deleted slot of length len to reuse, or 0.  A failure of the page
// cache leaves no status (the record is appended instead); VN_E_IDXCORRUPT
// and a failed header write do.
uint32_t spacereuse(FHCB* cb, uint16_t len);
// Creates cb's index file, or its hash file when the file is hashed.
int32_t keyfilecreate(FHCB* cb);
// Loads the state of cb's open index or hash file into cb->index.
int32_t keyfileopen(FHCB* cb);
// Flushes, writes the header and frees the state.  A failed flush is -1
// with no status, for the caller to name.
int32_t keyfileclose(FHCB* cb);
// Writes the header's changing span when it is dirty.
int32_t keyhdrwrite(FHCB* cb);

#endif
