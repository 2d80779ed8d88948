// csv.cc - the CSV row reader.
#include "csv.h"

namespace vtool {

int CsvReader::get() {
    int c;
    if (!pushed_.empty()) {
        c = static_cast<unsigned char>(pushed_.front());
        pushed_.erase(0, 1);
    } else {
        c = std::getc(in_);
        if (c != EOF) ++consumed_;
    }
    if (c == '\n') ++lineno_;
    return c;
}

void CsvReader::skipmark() {
    for (int i = 0; i < 3; ++i) {
        int c = std::getc(in_);
        if (c == EOF) break;
        ++consumed_;
        pushed_ += static_cast<char>(c);
    }
    if (pushed_ == "\xEF\xBB\xBF") pushed_.clear();
}

bool CsvReader::next(std::vector<std::string>& fields) {
    fields.clear();
    unterminated_ = false;
    if (!started_) {
        started_ = true;
        skipmark();
    }
    int c = get();
    if (c == EOF) return false;
    rowline_ = lineno_ - (c == '\n' ? 1 : 0);
    fields.emplace_back();
    for (;;) {
        if (c == '"' && fields.back().empty()) {
            // Quoted field: up to the closing quote, "" is one quote.
            for (;;) {
                c = get();
                if (c == EOF) {
                    unterminated_ = true;
                    return true;
                }
                if (c == '"') {
                    c = get();
                    if (c != '"') break;
                }
                fields.back() += static_cast<char>(c);
            }
        }
        while (c != delim_ && c != '\n' && c != EOF) {
            if (c != '\r') fields.back() += static_cast<char>(c);
            c = get();
        }
        if (c != delim_) return true;
        fields.emplace_back();
        c = get();
    }
}

}  // namespace vtool
