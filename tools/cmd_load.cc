// cmd_load.cc - velnor load: adds the rows of a CSV file as records, the
// header row naming the items.
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "cliopts.h"
#include "csv.h"
#include "engine/fid.h"
#include "fidtools.h"
#include "progress.h"

namespace vtool {

namespace {

struct CsvFile {
    explicit CsvFile(const std::string& path) : path(path) {
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

// Reads every row once so that a bad row stops the load before anything
// is written.  Returns the number of data rows.
long checkrows(CsvFile& csv, size_t ncols) {
    CsvReader r(csv.in);
    std::vector<std::string> row;
    r.next(row);
    long n = 0;
    while (r.next(row)) {
        if (r.unterminated())
            fail(csv.path, "line " + std::to_string(r.line()) + ": a quoted field is not closed",
                 EXIT_USAGE);
        if (row.size() == 1 && row[0].empty()) continue;
        if (row.size() > ncols)
            fail(csv.path, "line " + std::to_string(r.line()) + ": " + std::to_string(row.size()) +
                               " fields, the header has " + std::to_string(ncols),
                 EXIT_USAGE);
        ++n;
    }
    std::rewind(csv.in);
    return n;
}

// A record of blanks: status byte blank, newline last.
void blankrecord(FHCB* cb) {
    std::memset(cb->recbuf, ' ', cb->reclen);
    cb->recbuf[cb->reclen - 1] = '\n';
}

}  // namespace

long runload(const LoadOptions& opt, std::FILE* out) {
    CsvFile csv(opt.csv);
    std::vector<std::string> header;
    {
        CsvReader r(csv.in);
        if (!r.next(header)) fail(csv.path, "empty: no header row", EXIT_USAGE);
        if (r.unterminated())
            fail(csv.path, "line 1: a quoted field is not closed", EXIT_USAGE);
        std::rewind(csv.in);
    }
    if (opt.create) {
        // Check the header against the definition before making anything.
        std::error_code ec;
        if (std::filesystem::exists(opt.file.path, ec))
            fail(opt.file.path, "already exists; load into it without --create, or remove it");
        Definition def(opt.file.fid.empty() ? derivedname(opt.file.path, ".fid") : opt.file.fid);
        mapheader(header, def.cb(), csv.path);
    }
    long rows = checkrows(csv, header.size());
    RecordFile f(opt.file, opt.create);
    FHCB* cb = f.cb();
    if (cb->nitems == 0) fail(f.path(), "the file has no definition to name items by");
    std::vector<Column> map = mapheader(header, cb, csv.path);

    bool keyed = cb->nkeys > 0;
    if (!keyed) {
        // Without keys a write lands on the current record: start at the end.
        cb->opcode = VN_OP_END;
        if (filehandler(cb) != 0) f.fail_status();
        cb->state &= static_cast<uint16_t>(~VN_ST_CURRENT);
    }
    CsvReader r(csv.in);
    std::vector<std::string> row;
    r.next(row);
    ProgressBar bar("Loading " + csv.path);
    long n = 0, cut = 0;
    while (r.next(row)) {
        if (row.size() == 1 && row[0].empty()) continue;
        blankrecord(cb);
        for (size_t i = 0; i < row.size(); ++i) {
            std::string& v = row[i];
            // Tabs and line ends would split a packed record: blanks instead.
            for (char& c : v)
                if (c == '\t' || c == '\n' || c == '\r') c = ' ';
            if (v.size() > map[i].length) ++cut;
            vfhitemset(cb, cb->items[map[i].item].name, map[i].occ, v.c_str());
        }
        if (vfhwrite(cb, keyed ? 1 : 0) != 0) {
            bar.finish();
            warn(std::to_string(n) + " of " + std::to_string(rows) + " records were loaded");
            fail(f.fileof(cb->status), "line " + std::to_string(r.line()) + ": " +
                                           statustext(cb->status) + " (status " +
                                           std::to_string(cb->status) + ")");
        }
        ++n;
        if ((n & 255) == 0) bar.update(r.consumed(), csv.size);
    }
    bar.finish();
    f.close();
    if (cut) warn(std::to_string(cut) + " values were longer than their items and were cut");
    std::fprintf(out, "Loaded %ld record%s into %s.\n", n, n == 1 ? "" : "s", opt.file.path.c_str());
    return n;
}

void addload(CLI::App& app) {
    auto opt = std::make_shared<LoadOptions>();
    CLI::App* sub = app.add_subcommand(
        "load", "Add records from a CSV file whose header row names the items");
    fileoptions(sub, opt->file);
    sub->add_option("--csv", opt->csv, "CSV input; items of several occurrences as NAME[1], NAME[2]")
        ->required();
    sub->add_flag("--create", opt->create,
                  "Make the data file (and its index) first, from its definition");
    sub->callback([opt] { runload(*opt, stdout); });
}

}  // namespace vtool
