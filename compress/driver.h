// driver.h - one run of the archiver: the archive and temporary names, the
// open streams, the patterns, and the four operations.
#ifndef VELNOR_COMPRESS_DRIVER_H
#define VELNOR_COMPRESS_DRIVER_H

#include <cstdint>

#include "compress/archive.h"
#include "compress/filelist.h"

constexpr int32_t CMP_MAXPATTERNS = 1000;

struct CmpRun {
    char arcname[CMP_PATHMAX + 8];  // lower-cased name, ".cmp" added
    char display[CMP_PATHMAX + 8];  // its name and extension
    char temp[CMP_PATHMAX + 8];     // same directory and name, ".$$$"
    int32_t arc;                    // archive stream, -1 when closed
    int32_t tmp;                    // temporary stream, -1 when closed
    int32_t tempmade;               // the temporary file was created
    int32_t temphold;               // its hold (osholdfile), 0 when none
    int32_t bits;                   // B: listing shows the width
    int32_t npatterns;
    CmpFileList list;
    // The patterns of the run, each lower-cased in its name part.
    char patterns[CMP_MAXPATTERNS][CMP_PATHMAX + 1];
};

// 1 when an entry name (with "." added when it has none) is like one of
// the patterns.
int32_t cmpmatches(const CmpRun& run, const char* name);

// The operations; each returns the call's result code.
int32_t cmplisting(CmpRun& run);
int32_t cmpextract(CmpRun& run);
int32_t cmpadd(CmpRun& run);
int32_t cmpdelete(CmpRun& run);

// Adds the file of node to the archive stream arc as a new entry: a
// provisional header, the data, then the header rewritten in place.
// 0, or -1 after reporting an error or when stopped.
int32_t cmpaddentry(int32_t arc, const CmpNode& node);

#endif
