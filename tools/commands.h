// commands.h - the subcommands of the velnor program: the options each
// takes and its plain entry, which the command line (cli.cc) calls and the
// demo reuses.  Every entry prints to out and reports failures through
// fail() (common.h).
#ifndef VELNOR_TOOLS_COMMANDS_H
#define VELNOR_TOOLS_COMMANDS_H

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "common.h"
#include "output.h"

namespace vtool {

// velnor info FILE
void runinfo(const RecordTarget& file, std::FILE* out);

// velnor dump FILE [--key N | --thread N] [--format F] [--deleted]
struct DumpOptions {
    RecordTarget file;
    int key = 0;      // 0 = physical order
    int thread = 0;   // 1-based thread to walk, 0 = none
    Format format = Format::Text;
    Encoding encoding = Encoding::Cp1252;
    bool deleted = false;
    std::vector<std::string> items;  // items to show, all when empty
};
// Returns the number of records written.
long rundump(const DumpOptions& opt, std::FILE* out);

// velnor get FILE --key N VALUE [--exact]
struct GetOptions {
    RecordTarget file;
    int key = 1;
    std::string value;
    bool exact = false;
    Format format = Format::Text;
    std::vector<std::string> items;
    Encoding encoding = Encoding::Cp1252;
};
long runget(const GetOptions& opt, std::FILE* out);

// velnor fid compile IN OUT: writes the binary form of the text
// definition in to bin.
void runfidcompile(const std::string& in, const std::string& bin, std::FILE* out);
// velnor fid show FILE [--text]
void runfidshow(const std::string& path, bool text, std::FILE* out);

// velnor delete FILE VALUE
long rundelete(const RecordTarget& file, const std::string& value, std::FILE* out);

// velnor load FILE --csv IN [--create] [--replace]
struct LoadOptions {
    RecordTarget file;
    std::string csv;
    bool create = false;
    bool replace = false;  // a row may replace the items it names in the record with its key
    bool lenient = false;  // numeric items take values that are no number
    char delimiter = ',';
    std::string sqlite{}, table{};  // rows from this database's table instead of csv
    Encoding encoding = Encoding::Cp1252;  // code page the table's text goes into
};
// The --delimiter given as name: one character, or tab spelled "tab", "\t"
// or itself.  False, leaving delimiter alone, for anything else.
bool parsedelimiter(const std::string& name, char* delimiter);
long runload(const LoadOptions& opt, std::FILE* out);
// Writes the rows of table in database as CSV at csv, the columns that
// name an item of cb's definition only, text in enc.  Built with SQLite.
void tabletocsv(const std::string& database, const std::string& table, const FHCB* cb,
                Encoding enc, const std::string& csv);
// velnor load FILE --sqlite DB [--table NAME]: the table's rows through a
// temporary CSV file.
long runloadtable(const LoadOptions& opt, std::FILE* out);

// velnor export FILE --sqlite DB [--table NAME]
struct ExportOptions {
    RecordTarget file;
    std::string database, table;
    Encoding encoding = Encoding::Cp1252;
    bool replace = false;
};
long runexport(const ExportOptions& opt, std::FILE* out);

// velnor archive ACTION ARCHIVE [FILES...]
struct ArchiveOptions {
    std::string action;  // add, extract, list, delete
    std::string archive;
    std::vector<std::string> files;
    std::string password;
    std::string target;
    bool overwrite = false;
    bool quiet = false;
    bool bits = false;  // --raw listing: the width column
    bool json = false;  // listing as JSON
    bool raw = false;   // listing in the archiver's own text
};
void runarchive(const ArchiveOptions& opt, std::FILE* out);

// velnor verify|recover|pack FILE
struct MaintOptions {
    std::string operation;  // verify, recover or pack
    std::string file, fid, key, report, tmpdir;
    bool cont = false, skipkeys = false, skiprecords = false, strip = false, shared = false, yes = false;
    bool json = false;  // verify: the verdict and findings as JSON
};
// Exit statuses of a maintenance run beside EXIT_OK: stopped or refused,
// the run failed, faults found.
enum { MAINT_STOPPED = 1, MAINT_FAILED = 2, MAINT_FAULTS = 3 };
// Before recover or pack: copies every active record whose key 0 an earlier
// active record has to FILE with .dup, then marks it deleted.  What was done,
// for the run's output, or empty when nothing was set aside; fails when the
// side file cannot be written.
std::string setaside(const MaintOptions& opt);
// Prints the run's lines to out; EXIT_OK, or fails with the exit status.
int runmaint(const MaintOptions& opt, std::FILE* out);
// Whether the --network type locks what is read: any whose name does not
// begin with SINGLE, in any case.
bool sharednetwork(const std::string& type);

// velnor keyword create|add|addlines|search|list|delete INDEX ...
struct KeywordOptions {
    std::string index, network = "SINGLE", word, prefix, textfile;
    std::vector<std::string> words;
    uint32_t value = 0;
    uint16_t flags = 0;
    bool json = false;
    bool onevalue = false;  // value for every line of textfile
};
void runkwcreate(const std::string& index, std::FILE* out);
void runkwadd(const KeywordOptions& opt, std::FILE* out);
// Returns the number of lines.
long runkwaddlines(const KeywordOptions& opt, std::FILE* out);
std::vector<uint32_t> runkwsearch(const KeywordOptions& opt, std::FILE* out);
void runkwlist(const KeywordOptions& opt, std::FILE* out);
void runkwremove(const KeywordOptions& opt, std::FILE* out);

// velnor demo [--dir DIR] [--count N]
struct DemoOptions {
    std::string dir = "velnor-demo";
    unsigned count = 3000;
};
void rundemo(const DemoOptions& opt);

}  // namespace vtool

#endif
