// fileutil.h - small steps shared by the open, create and close handlers:
// companion file names, dropping a definition, the work buffer size.
#ifndef VELNOR_ENGINE_FILEUTIL_H
#define VELNOR_ENGINE_FILEUTIL_H

#include <cstdint>

#include "velnor.h"
#include "support/limits.h"

// dest (a name field of cb, FH_NAMESIZE bytes) = cb->datname with its
// extension replaced by ext.  -1 when the result would not fit.
int32_t fhderive(const FHCB* cb, char* dest, const char* ext);
// A name field of FHCB (datname, fidname, idxname) holds its zero: a name
// that fills the field without one has no known end and is refused.
bool fhnamefits(const char* field);
// Frees the loaded definition and clears the three table pointers.
void fhdropfid(FHCB* cb);
// Clears the table pointers after a failed load (the loader freed them).
void fhforgetfid(FHCB* cb);

#endif
