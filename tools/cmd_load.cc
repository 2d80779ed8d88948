// cmd_load.cc - velnor load: adds the rows of a CSV file as records, the
// header row naming the items.
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>

#include "commands.h"
#include "csv.h"
#include "encoding.h"
#include "fidtools.h"
#include "keytable.h"
#include "libinternal.h"
#include "progress.h"

namespace vtool {

namespace {

struct CsvFile {
    // "-" is standard input, kept in a temporary file: the rows are read
    // twice, once to check them all and once to load them.
    explicit CsvFile(const std::string& name) : path(name == "-" ? "standard input" : name) {
        if (name == "-") {
            in = std::tmpfile();
            if (in == nullptr) fail(path, std::string("no temporary file: ") + std::strerror(errno));
            char buf[65536];
            for (size_t n; (n = std::fread(buf, 1, sizeof buf, stdin)) > 0; size += n)
                if (std::fwrite(buf, 1, n, in) != n) fail(path, std::strerror(errno));
            std::rewind(in);
            return;
        }
        in = std::fopen(path.c_str(), "rb");
        if (in == nullptr) fail(path, std::strerror(errno));
        std::error_code ec;
        size = std::filesystem::file_size(path, ec);
    }
    ~CsvFile() { std::fclose(in); }
    std::string path;
    std::FILE* in;
    uint64_t size = 0;
};

// Which column of the definition each CSV column fills.
std::vector<Column> mapheader(const std::vector<std::string>& header, const FHCB* cb,
                              const std::string& csv) {
    std::vector<Column> cols = columns(cb), map;
    std::string unknown;
    for (const std::string& name : header) {
        int i = findcolumn(cols, name);
        if (i < 0) unknown += (unknown.empty() ? "'" : ", '") + name + "'";
        else map.push_back(cols[i]);
    }
    if (!unknown.empty()) {
        std::string known;
        for (const Column& c : cols) known += (known.empty() ? "" : " ") + c.name;
        fail(csv, "unknown item" + std::string(unknown.find(',') != std::string::npos ? "s " : " ") +
                      unknown + " in the header row; the items are: " + known,
             EXIT_USAGE);
    }
    return map;
}

// A record of blanks: status byte blank, newline last.
void blankrecord(FHCB* cb) {
    std::memset(cb->recbuf, ' ', cb->reclen);
    cb->recbuf[cb->reclen - 1] = '\n';
}

[[noreturn]] void badrow(const CsvFile& csv, long line, const std::string& why) {
    fail(csv.path, "line " + std::to_string(line) + ": " + why + "; nothing was loaded",
         EXIT_USAGE);
}

// Whether v is a plain decimal number as a numeric item holds it: blanks,
// a sign, digits with at most one point.  "abc" and "1e5" are not.
bool plainnumber(const std::string& v) {
    size_t i = v.find_first_not_of(' ');
    if (i == std::string::npos) return true;  // blank: no value
    if (v[i] == '-' || v[i] == '+') ++i;
    bool digits = false, point = false;
    for (; i < v.size() && v[i] != ' '; ++i) {
        if (v[i] == '.' && !point) point = true;
        else if (std::isdigit(static_cast<unsigned char>(v[i]))) digits = true;
        else return false;
    }
    return digits && v.find_first_not_of(' ', i) == std::string::npos;
}

// The length of v cut to at most width bytes without splitting a UTF-8
// character (in text that is not UTF-8 every byte is a character).
size_t cutlength(const std::string& v, size_t width) {
    if (v.size() <= width || !validutf8(v)) return std::min(v.size(), width);
    size_t n = width;
    while (n > 0 && (static_cast<unsigned char>(v[n]) & 0xC0) == 0x80) --n;
    return n;
}

// Fills the record buffer from a row, over blanks or (keep) over the
// record already there.  A text value too long for its item is cut at a
// character boundary, with a warning for the first few; a value too long
// for an item that is not text is refused, since cutting a number changes
// it, and so is a value that is no number for a numeric item.
void fillrecord(FHCB* cb, const std::vector<Column>& map, std::vector<std::string>& row,
                const CsvFile& csv, long line, const LoadOptions& opt, long* cut, bool keep = false) {
    if (!keep) blankrecord(cb);
    for (size_t i = 0; i < row.size(); ++i) {
        std::string& v = row[i];
        // Tabs and line ends would split a packed record: blanks instead.
        for (char& c : v)
            if (c == '\t' || c == '\n' || c == '\r') c = ' ';
        const FidItem& it = cb->items[map[i].item];
        if (it.type == 'N' && !opt.lenient && !plainnumber(v))
            badrow(csv, line, map[i].name + " '" + v + "' is not a number (--lenient loads it as it is)");
        if (v.size() > map[i].length) {
            if (it.type != 'C')
                badrow(csv, line, map[i].name + " '" + v + "' is longer than its " +
                                      std::to_string(map[i].length) + " characters");
            v.resize(cutlength(v, map[i].length));
            if (cut && ++*cut <= 3)
                warn(csv.path + ": line " + std::to_string(line) + ": " + map[i].name + " cut to '" + v +
                     "', the " + std::to_string(map[i].length) + " bytes of the item");
        }
        vfhitemset(cb, it.name, map[i].occ, v.c_str());
    }
}

// Fails unless the CSV names every item the primary key is made of.
void checkkeycolumns(const FHCB* cb, const std::vector<Column>& map, const CsvFile& csv) {
    if (cb->nkeys == 0 || (cb->fflags & VN_FF_RECNO)) return;
    const FidKey& key = cb->keys[0];
    for (unsigned g = 0; g < key.nsegs && g < FID_MAXSEGS; ++g) {
        bool named = false;
        for (const Column& c : map) {
            const unsigned from = c.offset - 1u;  // offset counts the status byte
            named = named || (key.seg[g].segoff >= from && key.seg[g].segoff < from + c.length);
        }
        if (!named)
            fail(csv.path, std::string("the header row names no column for the primary key ") +
                               (key.name ? key.name : "") + "; every row needs one",
                 EXIT_USAGE);
    }
}

// The primary key of the record in the buffer, as the engine looks a
// record up on writing ("" when a write never replaces: no keys, or
// numbered records).
std::string primarykey(FHCB* cb) {
    if (cb->nkeys == 0 || (cb->fflags & VN_FF_RECNO)) return "";
    char buf[600];
    int n = bldkey(cb, 0, buf);
    return std::string(buf, n > 0 ? n : 0);
}

// Whether the open file holds a record with the primary key.  Moves the
// file's position and overwrites its record buffer.
bool infile(RecordFile& f, const std::string& key) {
    FHCB* cb = f.cb();
    std::memset(cb->work, 0, 257);
    std::memcpy(cb->work, key.data(), std::min<size_t>(key.size(), 256));
    if (vfhposn(cb, 1) != 0 || !(cb->state & VN_ST_CURRENT)) return false;
    if (vfhread(cb, 1) != 0) return false;
    return primarykey(cb) == key;
}

struct Checked {
    long rows = 0;
    long replaced = 0;
};

// Reads every row once so that a bad row stops the load before anything
// is written: the number of fields, values that do not fit, and primary
// keys given twice or already in the file (unless replace).  cb holds the
// definition and a record buffer; f is the file loaded into, if it exists.
Checked checkrows(CsvFile& csv, const std::vector<Column>& map, FHCB* cb, RecordFile* f,
                  const LoadOptions& opt) {
    const bool replace = opt.replace;
    CsvReader r(csv.in, opt.delimiter);
    std::vector<std::string> row;
    r.next(row);
    Checked c;
    // Primary key -> line.  Hashed, since a million keys in a tree cost a
    // miss in memory at every level of each lookup.
    KeyTable seen(static_cast<size_t>(std::min<uint64_t>(csv.size / 32, 1u << 22)));
    while (r.next(row)) {
        if (r.unterminated()) badrow(csv, r.line(), "a quoted field is not closed");
        if (row.size() == 1 && row[0].empty()) continue;
        if (row.size() != map.size())
            badrow(csv, r.line(), std::to_string(row.size()) + " field" +
                                      (row.size() == 1 ? "" : "s") + ", the header has " +
                                      std::to_string(map.size()));
        fillrecord(cb, map, row, csv, r.line(), opt, nullptr);
        ++c.rows;
        std::string key = primarykey(cb);
        if (key.empty()) continue;
        std::string shown = key.substr(0, key.find_last_not_of(' ') + 1);
        shown.erase(0, shown.find_first_not_of(' '));
        const auto [first, fresh] = seen.emplace(key, r.line());
        if (!fresh || (f && infile(*f, key))) {
            if (!replace)
                badrow(csv, r.line(), "key '" + shown + "' " +
                                          (fresh ? std::string("is already in the file")
                                                 : "repeats line " + std::to_string(first)) +
                                          " (--replace replaces records)");
            ++c.replaced;
        }
    }
    std::rewind(csv.in);
    return c;
}

}  // namespace

bool parsedelimiter(const std::string& name, char* delimiter) {
    if (name == "tab" || name == "\\t" || name == "\t") *delimiter = '\t';
    else if (name.size() == 1 && name != "\"" && name != "\n") *delimiter = name[0];
    else return false;
    return true;
}

long runload(const LoadOptions& opt, std::FILE* out) {
    CsvFile csv(opt.csv);
    std::vector<std::string> header;
    {
        CsvReader r(csv.in, opt.delimiter);
        if (!r.next(header)) fail(csv.path, "empty: no header row", EXIT_USAGE);
        if (r.unterminated())
            fail(csv.path, "line 1: a quoted field is not closed", EXIT_USAGE);
        std::rewind(csv.in);
    }
    std::unique_ptr<RecordFile> f;
    Checked checked;
    std::vector<Column> map;
    if (opt.create) {
        // Check everything against the definition before making anything.
        std::error_code ec;
        if (std::filesystem::exists(opt.file.path, ec))
            fail(opt.file.path, "already exists; load into it without --create, or remove it");
        Definition def(opt.file.fid.empty() ? derivedname(opt.file.path, ".fid") : opt.file.fid);
        map = mapheader(header, def.cb(), csv.path);
        checkkeycolumns(def.cb(), map, csv);
        std::vector<char> rec(def.cb()->reclen + 1u);
        def.cb()->recbuf = rec.data();
        checked = checkrows(csv, map, def.cb(), nullptr, opt);
        def.cb()->recbuf = nullptr;
        f = std::make_unique<RecordFile>(opt.file, true);
    } else {
        f = std::make_unique<RecordFile>(opt.file);
        f->checkcount();
        if (f->cb()->nitems == 0) fail(f->path(), "the file has no definition to name items by");
        map = mapheader(header, f->cb(), csv.path);
        checkkeycolumns(f->cb(), map, csv);
        checked = checkrows(csv, map, f->cb(), f.get(), opt);
    }
    FHCB* cb = f->cb();
    if (const std::string w = reservedoverlap(cb); !w.empty()) warn(f->path() + ": " + w);
    bool keyed = cb->nkeys > 0;
    if (!keyed) {
        // Without keys a write lands on the current record: start at the end.
        cb->opcode = VN_OP_END;
        if (filehandler(cb) != 0) f->fail_status();
        cb->state &= static_cast<uint16_t>(~VN_ST_CURRENT);
    } else {
        // A keyed write finds its place by its key: no step to the next key
        // after each.
        cb->mflags |= VN_MF_STAY;
    }
    CsvReader r(csv.in, opt.delimiter);
    std::vector<std::string> row;
    r.next(row);
    ProgressBar bar("Loading " + csv.path);
    long n = 0, cut = 0;
    while (r.next(row)) {
        if (row.size() == 1 && row[0].empty()) continue;
        fillrecord(cb, map, row, csv, r.line(), opt, &cut);
        // A replacing row changes only the items it names: lay it over the
        // record that holds its key.
        if (checked.replaced > 0) {
            const std::string key = primarykey(cb);
            if (!key.empty() && infile(*f, key)) fillrecord(cb, map, row, csv, r.line(), opt, nullptr, true);
            else fillrecord(cb, map, row, csv, r.line(), opt, nullptr);
        }
        if (vfhwrite(cb, keyed ? 1 : 0) != 0) {
            bar.finish();
            warn(std::to_string(n) + " of " + std::to_string(checked.rows) +
                 " records were loaded");
            std::string file = f->fileof(cb->status);
            fail(file, "line " + std::to_string(r.line()) + ": " + statusline(cb->status, file));
        }
        ++n;
        bar.update(r.consumed(), csv.size);
    }
    bar.finish();
    f->close();
    if (cut)
        warn(std::to_string(cut) + (cut == 1 ? " value was" : " values were") +
             " longer than its item and cut");
    std::fprintf(out, "Loaded %ld record%s into %s", n, n == 1 ? "" : "s", opt.file.path.c_str());
    if (checked.replaced)
        std::fprintf(out, "; %ld replaced record%s", checked.replaced,
                     checked.replaced == 1 ? "" : "s");
    std::fprintf(out, ".\n");
    return n;
}

}  // namespace vtool
