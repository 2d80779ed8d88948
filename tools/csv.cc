// csv.cc - the CSV row reader.
#include "csv.h"

#include <string_view>

namespace vtool {

bool CsvReader::fill() {
    at_ = 0;
    end_ = std::fread(buf_.data(), 1, buf_.size(), in_);
    filled_ += end_;
    return end_ > 0;
}

void CsvReader::takerun(std::string& field) {
    size_t stop = at_;
    while (stop < end_) {
        const char c = buf_[stop];
        if (c == delim_ || c == '\n' || c == '\r') break;
        ++stop;
    }
    field.append(buf_.data() + at_, stop - at_);
    at_ = stop;
}

bool CsvReader::next(std::vector<std::string>& fields) {
    unterminated_ = false;
    if (!started_) {
        // A UTF-8 byte-order mark at the start is no part of the first field.
        started_ = true;
        if (fill() && end_ >= 3 && std::string_view(buf_.data(), 3) == "\xEF\xBB\xBF") at_ = 3;
    }
    int c = get();
    if (c == EOF) {
        fields.clear();
        return false;
    }
    rowline_ = lineno_ - (c == '\n' ? 1 : 0);
    // The row's fields reuse the strings of the last row, and their room.
    size_t used = 0;
    auto nextfield = [&]() -> std::string& {
        if (used == fields.size()) fields.emplace_back();
        std::string& f = fields[used++];
        f.clear();
        return f;
    };
    for (;;) {
        std::string& field = nextfield();
        if (c == '"') {
            // Quoted field: up to the closing quote, "" is one quote.
            for (;;) {
                c = get();
                if (c == EOF) {
                    unterminated_ = true;
                    fields.resize(used);
                    return true;
                }
                if (c == '"') {
                    c = get();
                    if (c != '"') break;
                }
                field += static_cast<char>(c);
            }
        }
        while (c != delim_ && c != '\n' && c != EOF) {
            if (c != '\r') field += static_cast<char>(c);
            takerun(field);
            c = get();
        }
        if (c != delim_) {
            fields.resize(used);
            return true;
        }
        c = get();
    }
}

}  // namespace vtool
