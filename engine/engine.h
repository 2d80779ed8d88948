// engine.h - the engine's part of the runtime object and the entry points
// the dispatcher routes operations to.
#ifndef VELNOR_ENGINE_ENGINE_H
#define VELNOR_ENGINE_ENGINE_H

#include <cstdint>

#include <memory>

#include "definition/definition.h"
#include "record/record.h"
#include "support/limits.h"
#include "support/runtime.h"
#include "velnor.h"

struct OpenFile;

// The buffers of one write (opwrite.cc).
struct WriteScratch {
    char packed[REC_MAX];     // the stored form of a variable-length record
    char old[REC_MAX];        // the record a rewrite replaces
    char oldkey[FH_KEYSIZE];  // a key of it
    char undone[REC_MAX];     // the new record, while a failed rewrite is undone
};

struct EngineState : RuntimePart {
    int8_t initcount = 0;          // outstanding initialisations
    OpenFile* openfiles = nullptr;  // head node of the open-file list, from the first start
    std::unique_ptr<WriteScratch> scratch;  // from the first start to the real shutdown
    char tmpdir[72] = "";           // set by vfhsettmpdir; outlives a shutdown
};

// The engine's part, made on first use.
EngineState& enginestate();

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
