// output.h - writing records as aligned text, CSV or JSON, one record at a
// time so that a dump of any size streams.
#ifndef VELNOR_TOOLS_OUTPUT_H
#define VELNOR_TOOLS_OUTPUT_H

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "encoding.h"
#include "records.h"

namespace vtool {

enum class Format { Text, Csv, Json, Sql };

// Parses "text", "csv", "json" or "sql"; false for anything else.
bool parseformat(const std::string& name, Format* format);

// CSV field: quoted when it holds a comma, quote, line break or an outer
// blank, with quotes doubled.
std::string csvfield(const std::string& value);
// JSON string literal of UTF-8 text.
std::string jsonstring(const std::string& value);

class RecordWriter {
public:
    virtual ~RecordWriter() = default;
    // marks: each record carries its status mark ("D" for deleted).
    virtual void begin(const std::vector<Column>& cols, bool marks) = 0;
    virtual void record(const std::vector<std::string>& values, bool deleted) = 0;
    virtual void end() = 0;
};

// Values reach the writer as UTF-8 (toutf8 with enc).
std::unique_ptr<RecordWriter> makewriter(Format format, std::FILE* out,
                                         Encoding enc = Encoding::Cp1252);

// Writes the record in cb->recbuf through w.
void writerecord(RecordWriter& w, const FHCB* cb, const std::vector<Column>& cols, bool deleted);

}  // namespace vtool

#endif
