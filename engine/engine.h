// engine.h - process-wide state of the record file engine and the entry
// points the dispatcher routes operations to.
#ifndef VELNOR_ENGINE_ENGINE_H
#define VELNOR_ENGINE_ENGINE_H

#include <cstdint>

#include "definition/definition.h"
#include "velnor.h"

struct OpenFile;

extern int8_t initcount;      // outstanding initialisations
extern OpenFile* openfiles;   // head node of the open-file list
extern char tmpdir[72];       // set by vfhsettmpdir

// Operation handlers; each sets cb->status on failure.
void opopen(FHCB* cb);      // 1
void opcreate(FHCB* cb);    // 2
void opclose(FHCB* cb);     // 3
void opread(FHCB* cb);      // 4
void opwrite(FHCB* cb);     // 5
void opdelete(FHCB* cb);    // 6
void opbacksp(FHCB* cb);    // 7
void opposn(FHCB* cb);      // 8
void opsecure(FHCB* cb);    // 9
void opend(FHCB* cb);       // 11
void opnettype(FHCB* cb);   // 12
void oprlock(FHCB* cb);     // 13
void oprunlock(FHCB* cb);   // 14
void optmpidx(FHCB* cb);    // 15
void opsetkey(FHCB* cb);    // 19

// Opens the data file (unless fflags 0x40) and, with keys and fflags lacking
// 0x08, the index or hash file named in cb, read-write unless read-only,
// shared unless exclusive, retrying through the handle cache; then enters cb
// in the open-file list.  0, or -1 with status 1, 21 (31 hashed) or 9 and no
// handle left open.  Loads neither the index nor the hash header.
int32_t fhopenfiles(FHCB* cb);

#endif
