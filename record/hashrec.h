// hashrec.h - the records of a hashed file, found, written and deleted by
// their primary key through the hash table of index/hash.h.
#ifndef VELNOR_RECORD_HASHREC_H
#define VELNOR_RECORD_HASHREC_H

#include <cstdint>

#include "velnor.h"

// Looks up the key buffer: the slot number, with HS_FOUND set when it
// holds the key's record (read into recbuf, datpos at it), or clear when it
// is the empty slot where the key belongs.  -1 with status VN_E_DATREAD;
// or, when the probe comes back round without meeting the key or an empty
// slot, VN_E_HSHFULL if the data file has a record for every slot passed,
// else VN_E_HSHCORRUPT (slots that share records: a damaged table).
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
