// sqltable.h - a record file seen as one SQL table: a column per item
// occurrence (TEXT, or NUMERIC for number items), the record number where
// the file numbers its records, and an index per key with the key's
// segments, order and case rule.  Shared by the export to a database and
// the SQL text of dump, so that both make the same table.
#ifndef VELNOR_TOOLS_SQLTABLE_H
#define VELNOR_TOOLS_SQLTABLE_H

#include <cstdint>
#include <string>
#include <vector>

#include "encoding.h"
#include "output.h"
#include "records.h"

namespace vtool {

struct SqlTable {
    std::string name;                  // table name, unquoted
    std::vector<Column> cols;          // the item columns, in definition order
    std::vector<bool> numeric;         // per column: NUMERIC rather than TEXT
    std::string recno;                 // record number column, "" when none
    std::string create;                // CREATE TABLE statement, without ';'
    std::vector<std::string> indexes;  // CREATE INDEX statements, one per key
};

// The table for the definition loaded in cb, called name.
SqlTable sqltable(const FHCB* cb, const std::string& name);

// The table name a file gets by default: its file name without folder or
// extension.
std::string defaulttable(const std::string& path);

// A quoted SQL name ("a""b") and a quoted text literal ('it''s').
std::string sqlname(const std::string& name);
std::string sqlliteral(const std::string& text);

// Whether text is a plain decimal number (sign, digits, one point), the
// values a NUMERIC column keeps as numbers.
bool plainnumber(const std::string& text);

// The number of the record in cb->recbuf, for a file with numbered records.
uint32_t recordnumber(const FHCB* cb);

// Writes the records of cb's file as SQL text that makes the table t and
// fills it: a transaction holding CREATE TABLE, one INSERT per record and
// the CREATE INDEX statements.  Text is written as UTF-8 (toutf8 with enc);
// an empty number is NULL.  begin() must be given t.cols.
std::unique_ptr<RecordWriter> makesqlwriter(std::FILE* out, const FHCB* cb, SqlTable t,
                                            Encoding enc);

}  // namespace vtool

#endif
