// walk.h - visiting the records of an open file: in physical order (with
// or without the deleted ones), in the order of a key from a starting
// value, or along a thread.  The visitor sees each record in the block's
// recbuf and returns false to stop the walk.
#ifndef VELNOR_TOOLS_WALK_H
#define VELNOR_TOOLS_WALK_H

#include <cstdint>
#include <functional>
#include <string>

#include "common.h"
#include "keystart.h"

namespace vtool {

using Visitor = std::function<bool(bool deleted)>;

// A record that runs past the end of its file.
struct ShortRecord {
    uint64_t pos = 0;   // where it starts
    uint64_t size = 0;  // where the file ends
};

// Every walk stops at a record cut short by the end of the file: with a
// failure naming it, or for walkphysical given cut, quietly with *cut set.

// Every record slot from the first; deleted ones are passed with
// deleted = true.
void walkphysical(RecordFile& f, const Visitor& visit, ShortRecord* cut = nullptr);
// Records in the order of key (1-based) from the first whose key is at or
// after start (the bytes as the key holds them).  A zeroed start is not
// the lowest key: case-blind text compares signed bytes, so a name that
// begins with a byte above 0x7F sorts below it, as a negative number does
// in a numeric part; start a walk of every record at lowestkey.
void walkkey(RecordFile& f, int key, const std::string& start, const Visitor& visit);
// The active records of the file, counted in physical order.
long countactive(RecordFile& f);
// The records of thread (1-based), newest first.
void walkthread(RecordFile& f, int thread, const Visitor& visit);

}  // namespace vtool

#endif
