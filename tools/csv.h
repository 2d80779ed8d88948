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

// The reader takes its input in blocks: the stream is read ahead of the
// rows given, so whoever reads it next rewinds it first.
class CsvReader {
public:
    static constexpr size_t kBuffer = 64 * 1024;
    // Fields are separated by delim: ',' or, as spreadsheets write in many
    // countries, ';' or a tab.
    explicit CsvReader(std::FILE* in, char delim = ',') : in_(in), delim_(delim), buf_(kBuffer) {}
    // Reads the next row into fields; false at the end of the input.  A
    // blank line is a row of one empty field.
    bool next(std::vector<std::string>& fields);
    // 1-based line number where the last row began.
    long line() const { return rowline_; }
    // Bytes consumed so far.
    uint64_t consumed() const { return filled_ - (end_ - at_); }
    // Set when the last row ended inside an open quote.
    bool unterminated() const { return unterminated_; }

private:
    // The next byte, or EOF; counts lines.
    int get() {
        if (at_ == end_ && !fill()) return EOF;
        const int c = static_cast<unsigned char>(buf_[at_++]);
        if (c == '\n') ++lineno_;
        return c;
    }
    bool fill();
    // Appends to field the bytes up to the next delimiter, CR or line
    // feed, taken from the buffer in one step.
    void takerun(std::string& field);
    std::FILE* in_;
    char delim_;
    // Input read ahead: bytes at_ to end_ of buf_ are still to be taken.
    std::vector<char> buf_;
    size_t at_ = 0, end_ = 0;
    uint64_t filled_ = 0;  // bytes read into the buffer so far
    long lineno_ = 1;
    long rowline_ = 0;
    bool started_ = false;
    bool unterminated_ = false;
};

}  // namespace vtool

#endif
