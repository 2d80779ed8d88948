// keys.h - engine helpers of key building and the number forms stored in
// files (bldkey, tobase95 and frombase95 are exported from velnor.h).
#ifndef VELNOR_DEFINITION_KEYS_H
#define VELNOR_DEFINITION_KEYS_H

#include <cstdint>

#include "velnor.h"

// Key keyno of the record rec (reclen bytes, the fixed layout) at dest, as
// bldkey builds it from recbuf but without the position suffix of a
// temporary index: a secondary key ends with key 0.  Its length; dest is
// not ended with a NUL.
int32_t recordkey(const FHCB* cb, int32_t keyno, const char* rec, char* dest);

// Value of width hexadecimal characters; does not validate.
int32_t fromhex(const char* text, uint32_t width);
// dest = name with the extension (from the last "." anywhere) replaced by
// ext, or ext appended when there is no ".".
void setext(const char* name, char* dest, const char* ext);

#endif
