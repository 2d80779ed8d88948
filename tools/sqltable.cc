// sqltable.cc - the SQL table of a record file.
#include "sqltable.h"

#include <cctype>
#include <filesystem>

#include "libinternal.h"

namespace vtool {

namespace {

// Items holding numbers: the rest is text.
bool numbertype(char type) { return type == 'N' || type == 'J'; }

// The column expression for a key segment: the column itself when the
// segment covers one item exactly, else the part of the item it cuts.
// "" when the segment starts in no item.
std::string segmentterm(const std::vector<Column>& cols, const FidSeg& seg) {
    const unsigned start = seg.segoff + 1u;
    for (const Column& c : cols)
        if (c.offset == start && c.length == seg.seglen) return sqlname(c.name);
    for (const Column& c : cols)
        if (start >= c.offset && start < c.offset + c.length)
            return "substr(" + sqlname(c.name) + ", " + std::to_string(start - c.offset + 1) + ", " +
                   std::to_string(seg.seglen) + ")";
    return "";
}

}  // namespace

std::string sqlname(const std::string& name) {
    std::string s = "\"";
    for (char c : name) s += c == '"' ? std::string("\"\"") : std::string(1, c);
    return s + "\"";
}

std::string sqlliteral(const std::string& text) {
    std::string s = "'";
    for (char c : text) s += c == '\'' ? std::string("''") : std::string(1, c);
    return s + "'";
}

bool plainnumber(const std::string& text) {
    size_t i = text.size() > 1 && (text[0] == '-' || text[0] == '+') ? 1 : 0;
    bool digits = false, point = false;
    for (; i < text.size(); ++i) {
        if (std::isdigit(static_cast<unsigned char>(text[i]))) digits = true;
        else if (text[i] == '.' && !point) point = true;
        else return false;
    }
    return digits;
}

std::string defaulttable(const std::string& path) {
    std::string stem = std::filesystem::path(path).stem().string();
    return stem.empty() ? "records" : stem;
}

uint32_t recordnumber(const FHCB* cb) {
    // Five base-95 characters after the status byte, after the length too
    // in a file of variable-length records.
    return frombase95(cb->recbuf + ((cb->fflags & VN_FF_VARLEN) ? 5 : 1), 5);
}

SqlTable sqltable(const FHCB* cb, const std::string& name) {
    SqlTable t;
    t.name = name;
    t.cols = columns(cb);
    std::string body;
    if (cb->fflags & VN_FF_RECNO) {
        t.recno = findcolumn(t.cols, "recno") < 0 ? "recno" : "_recno";
        body = sqlname(t.recno) + " INTEGER";
    }
    for (const Column& c : t.cols) {
        t.numeric.push_back(numbertype(cb->items[c.item].type));
        if (!body.empty()) body += ", ";
        body += sqlname(c.name) + (t.numeric.back() ? " NUMERIC" : " TEXT");
    }
    t.create = "CREATE TABLE " + sqlname(name) + " (" + body + ")";
    for (int k = 0; k < cb->nkeys; ++k) {
        const FidKey& key = cb->keys[k];
        std::string terms;
        for (unsigned s = 0; s < key.nsegs && s < FID_MAXSEGS; ++s) {
            const FidSeg& seg = key.seg[s];
            std::string term = segmentterm(t.cols, seg);
            if (term.empty()) continue;
            // Text compared without case, as the key compares it.
            if (!(seg.segflags & (SEG_CASE | SEG_NUMERIC | SEG_INTEGER | SEG_BINARY)))
                term += " COLLATE NOCASE";
            if (seg.segflags & SEG_DESCEND) term += " DESC";
            terms += (terms.empty() ? "" : ", ") + term;
        }
        if (terms.empty()) continue;
        std::string keyname = key.name && *key.name ? key.name : "key" + std::to_string(k + 1);
        t.indexes.push_back("CREATE INDEX " + sqlname(name + "_" + keyname) + " ON " +
                            sqlname(name) + " (" + terms + ")");
    }
    return t;
}

namespace {

class SqlWriter : public RecordWriter {
public:
    SqlWriter(std::FILE* out, const FHCB* cb, SqlTable t, Encoding enc)
        : out_(out), cb_(cb), t_(std::move(t)), enc_(enc) {}
    void begin(const std::vector<Column>&, bool) override {
        std::fprintf(out_, "BEGIN TRANSACTION;\n%s;\n", t_.create.c_str());
    }
    void record(const std::vector<std::string>& values, bool) override {
        std::string line = "INSERT INTO " + sqlname(t_.name) + " VALUES(";
        if (!t_.recno.empty()) line += std::to_string(recordnumber(cb_)) + ",";
        for (size_t i = 0; i < values.size(); ++i) {
            const bool number = i < t_.numeric.size() && t_.numeric[i];
            if (number && values[i].empty()) line += "NULL";
            else if (number && plainnumber(values[i])) line += values[i];
            else line += sqlliteral(toutf8(values[i], enc_));
            line += i + 1 < values.size() ? "," : "";
        }
        line += ");\n";
        std::fputs(line.c_str(), out_);
    }
    void end() override {
        for (const std::string& index : t_.indexes) std::fprintf(out_, "%s;\n", index.c_str());
        std::fputs("COMMIT;\n", out_);
    }

private:
    std::FILE* out_;
    const FHCB* cb_;
    SqlTable t_;
    Encoding enc_;
};

}  // namespace

std::unique_ptr<RecordWriter> makesqlwriter(std::FILE* out, const FHCB* cb, SqlTable t,
                                            Encoding enc) {
    return std::make_unique<SqlWriter>(out, cb, std::move(t), enc);
}

}  // namespace vtool
