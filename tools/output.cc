// output.cc - the text, CSV and JSON record writers.
#include "output.h"

#include <algorithm>

namespace vtool {

bool parseformat(const std::string& name, Format* format) {
    if (name == "text") *format = Format::Text;
    else if (name == "csv") *format = Format::Csv;
    else if (name == "json") *format = Format::Json;
    else if (name == "sql") *format = Format::Sql;
    else return false;
    return true;
}

std::string csvfield(const std::string& value) {
    bool quote = !value.empty() && (value.front() == ' ' || value.back() == ' ');
    for (char c : value)
        if (c == ',' || c == '"' || c == '\n' || c == '\r') quote = true;
    if (!quote) return value;
    std::string out = "\"";
    for (char c : value) {
        if (c == '"') out += '"';
        out += c;
    }
    return out + '"';
}

std::string jsonstring(const std::string& value) {
    std::string out = "\"";
    for (unsigned char c : value) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20 || c == 0x7F) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04x", c);
            out += buf;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + '"';
}

namespace {

std::vector<std::string> headings(const std::vector<Column>& cols) {
    std::vector<std::string> heads;
    for (const Column& c : cols) heads.push_back(c.name);
    return heads;
}

// Columns as wide as their items (or headings); the last is not padded.
class TextWriter : public RecordWriter {
public:
    explicit TextWriter(std::FILE* out) : out_(out) {}
    void begin(const std::vector<Column>& cols, bool marks) override {
        marks_ = marks;
        for (const Column& c : cols) {
            widths_.push_back(std::max<size_t>(c.length, c.name.size()));
            right_.push_back(c.right);
        }
        line(headings(cols), "M");
    }
    void record(const std::vector<std::string>& values, bool deleted) override {
        line(values, marks_ ? (deleted ? "D" : " ") : "");
    }
    void end() override {}

private:
    void line(const std::vector<std::string>& values, const char* mark) {
        std::string s;
        if (marks_) s = std::string(mark) + " ";
        for (size_t i = 0; i < values.size(); ++i) {
            // Pad by the columns the text takes on a terminal, not its bytes.
            size_t fill = widths_[i] - std::min(widths_[i], displaywidth(values[i]));
            if (right_[i]) s.append(fill, ' ');
            s += values[i];
            if (!right_[i] && i + 1 < values.size()) s.append(fill, ' ');
            if (i + 1 < values.size()) s += ' ';
        }
        while (!s.empty() && s.back() == ' ') s.pop_back();
        std::fprintf(out_, "%s\n", s.c_str());
    }
    std::FILE* out_;
    bool marks_ = false;
    std::vector<size_t> widths_;
    std::vector<bool> right_;
};

class CsvWriter : public RecordWriter {
public:
    explicit CsvWriter(std::FILE* out) : out_(out) {}
    void begin(const std::vector<Column>& cols, bool marks) override {
        marks_ = marks;
        line(headings(cols), "MARK");
    }
    void record(const std::vector<std::string>& values, bool deleted) override {
        line(values, deleted ? "D" : "");
    }
    void end() override {}

private:
    void line(const std::vector<std::string>& values, const char* mark) {
        std::string s;
        if (marks_) s = std::string(mark) + ",";
        for (size_t i = 0; i < values.size(); ++i) {
            if (i) s += ',';
            s += csvfield(values[i]);
        }
        std::fprintf(out_, "%s\n", s.c_str());
    }
    std::FILE* out_;
    bool marks_ = false;
};

// An array of objects; an item of several occurrences is an array.
class JsonWriter : public RecordWriter {
public:
    explicit JsonWriter(std::FILE* out) : out_(out) {}
    void begin(const std::vector<Column>& cols, bool marks) override {
        cols_ = cols;
        marks_ = marks;
        std::fputs("[", out_);
    }
    void record(const std::vector<std::string>& values, bool deleted) override {
        std::string s = first_ ? "\n  {" : ",\n  {";
        first_ = false;
        if (marks_) s += std::string("\"deleted\": ") + (deleted ? "true" : "false") + ", ";
        for (size_t i = 0; i < values.size(); ++i) {
            const Column& c = cols_[i];
            bool many = i + 1 < cols_.size() && cols_[i + 1].item == c.item;
            bool inlist = c.occ > 0 || many;
            if (c.occ == 0) {
                if (i) s += ", ";
                std::string name = c.name.substr(0, c.name.find('['));
                s += jsonstring(name) + ": ";
                if (inlist) s += "[";
            } else {
                s += ", ";
            }
            s += jsonstring(values[i]);
            if (inlist && !many) s += "]";
        }
        s += "}";
        std::fputs(s.c_str(), out_);
    }
    void end() override { std::fputs(first_ ? "]\n" : "\n]\n", out_); }

private:
    std::FILE* out_;
    std::vector<Column> cols_;
    bool marks_ = false;
    bool first_ = true;
};

}  // namespace

// Converts each value to UTF-8 on its way to the writer.
class Converter : public RecordWriter {
public:
    Converter(std::unique_ptr<RecordWriter> w, Encoding enc) : w_(std::move(w)), enc_(enc) {}
    void begin(const std::vector<Column>& cols, bool marks) override { w_->begin(cols, marks); }
    void record(const std::vector<std::string>& values, bool deleted) override {
        std::vector<std::string> v;
        v.reserve(values.size());
        for (const std::string& s : values) v.push_back(toutf8(s, enc_));
        w_->record(v, deleted);
    }
    void end() override { w_->end(); }

private:
    std::unique_ptr<RecordWriter> w_;
    Encoding enc_;
};

std::unique_ptr<RecordWriter> makewriter(Format format, std::FILE* out, Encoding enc) {
    std::unique_ptr<RecordWriter> w;
    switch (format) {
    case Format::Csv: w = std::make_unique<CsvWriter>(out); break;
    case Format::Json: w = std::make_unique<JsonWriter>(out); break;
    default: w = std::make_unique<TextWriter>(out); break;
    }
    return std::make_unique<Converter>(std::move(w), enc);
}

void writerecord(RecordWriter& w, const FHCB* cb, const std::vector<Column>& cols, bool deleted) {
    std::vector<std::string> values;
    values.reserve(cols.size());
    for (const Column& c : cols) values.push_back(fieldtext(cb, c));
    w.record(values, deleted);
}

}  // namespace vtool
