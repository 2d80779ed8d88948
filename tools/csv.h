// csv.h - a reader of comma-separated rows: quoted fields with doubled
// quotes and line breaks inside, CR LF or LF line ends, a leading UTF-8
// byte-order mark skipped.
#ifndef VELNOR_TOOLS_CSV_H
#define VELNOR_TOOLS_CSV_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace vtool {

class CsvReader {
public:
    // Fields are separated by delim: ',' or, as spreadsheets write in many
    // countries, ';' or a tab.
    explicit CsvReader(std::FILE* in, char delim = ',') : in_(in), delim_(delim) {}
    // Reads the next row into fields; false at the end of the input.  A
    // blank line is a row of one empty field.
    bool next(std::vector<std::string>& fields);
    // 1-based line number where the last row began.
    long line() const { return rowline_; }
    // Bytes consumed so far.
    uint64_t consumed() const { return consumed_; }
    // Set when the last row ended inside an open quote.
    bool unterminated() const { return unterminated_; }

private:
    int get();
    void skipmark();
    std::FILE* in_;
    char delim_;
    std::string pushed_;  // bytes read ahead, given back before the input
    long lineno_ = 1;
    long rowline_ = 0;
    uint64_t consumed_ = 0;
    bool started_ = false;
    bool unterminated_ = false;
};

}  // namespace vtool

#endif
