// libinternal.h - the library's internals the program reaches past
// velnor.h, and only these.  Everything else goes through the public
// interface.
//
// - definitions: the item, key and thread tables (FidItem, FidSeg, FidKey,
//   FidThread, SEG_*, FID_MAXSEGS, FID_EXPRLEN), loading a definition on
//   its own (loadfid, freefid), writing the binary form (savefidbin) and
//   adding a thread to it (fidaddthread);
// - thread expressions: threadeval, to try a thread's expression when it
//   is compiled;
// - archives: one entry header unpacked (CmpHeader, cmphdrunpack,
//   CMP_HDRSIZE), so that the program can list, check and delete members;
// - the whole-file hold of the OS layer (osholdfile, osunholdfile) that
//   keeps a second program off a file in the unshared mode;
// - the OS layer's file calls, its windowed reader (BlockReader) and
//   unpackrec, with which recover and pack set aside records whose key is
//   taken before the library runs.
#ifndef VELNOR_TOOLS_LIBINTERNAL_H
#define VELNOR_TOOLS_LIBINTERNAL_H

#include <cstdint>

#include "velnor.h"
#include "compress/archive.h"
#include "definition/fid.h"
#include "record/record.h"
#include "record/thread.h"
#include "support/blockread.h"
#include "support/limits.h"
#include "support/os.h"
#include "support/ossync.h"

int32_t osholdfile(const char* path, int32_t exclusive);
void osunholdfile(int32_t token);

#endif
