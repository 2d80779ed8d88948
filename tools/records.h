// records.h - a record seen through its definition: the columns (every
// occurrence of every item), their trimmed values, and the key values the
// get and delete subcommands look for.
#ifndef VELNOR_TOOLS_RECORDS_H
#define VELNOR_TOOLS_RECORDS_H

#include <string>
#include <vector>

#include "velnor.h"

namespace vtool {

// One occurrence of one item.  An item of several occurrences gives the
// columns NAME[1], NAME[2], ...
struct Column {
    std::string name;     // column heading
    int item;             // index in the item table
    int occ;              // 0-based occurrence
    unsigned offset;      // first byte in recbuf
    unsigned length;      // bytes
    bool right;           // right-justified
};

// The columns of the definition loaded in cb, in definition order.
std::vector<Column> columns(const FHCB* cb);

// The columns of the items named (every occurrence of each), in the order
// named; all of them when names is empty.  An unknown name is a usage
// failure naming file.
std::vector<Column> selectcolumns(const FHCB* cb, const std::vector<std::string>& names,
                                  const std::string& file);

// The column's bytes of recbuf with trailing blanks removed (and leading
// ones of a right-justified item).
std::string fieldtext(const FHCB* cb, const Column& col);

// Finds the column called name: exact, else case-blind when that is
// unambiguous; -1 when none.
int findcolumn(const std::vector<Column>& cols, const std::string& name);

// The part of a key the definition declares (segments only, without the
// primary key or record number the engine appends), for the key of
// 1-based number key.
struct KeyShape {
    unsigned length = 0;        // declared bytes
    bool casesensitive = false;  // first segment compared with case
    bool right = false;          // first segment is a right-justified item
    unsigned firstlen = 0;       // bytes of the first segment
};
KeyShape keyshape(const FHCB* cb, int key);

// The value a user typed, shaped as the key holds it: right-justified in
// the first segment when that segment's item is right-justified (blanks
// typed in front are dropped first); for an exact match trailing blanks
// are dropped too.
std::string keyvalue(const KeyShape& shape, const std::string& typed, bool exact);

// Whether the record in recbuf has key `key` beginning with value (exact:
// equal to value once trailing blanks are removed).
bool keymatches(FHCB* cb, int key, const KeyShape& shape, const std::string& value, bool exact);

}  // namespace vtool

#endif
