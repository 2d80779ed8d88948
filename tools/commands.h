// commands.h - the subcommands of the velnor program: each registers
// itself on the command line and has a plain entry the demo reuses.  Every
// entry prints to out and reports failures through fail() (common.h).
#ifndef VELNOR_TOOLS_COMMANDS_H
#define VELNOR_TOOLS_COMMANDS_H

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "common.h"
#include "output.h"

namespace CLI {
class App;
}

namespace vtool {

// velnor info FILE
void runinfo(const OpenSpec& file, std::FILE* out);

// velnor dump FILE [--key N | --thread N] [--format F] [--deleted]
struct DumpOptions {
    OpenSpec file;
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
    OpenSpec file;
    int key = 1;
    std::string value;
    bool exact = false;
    Format format = Format::Text;
    std::vector<std::string> items;
    Encoding encoding = Encoding::Cp1252;
};
long runget(const GetOptions& opt, std::FILE* out);

// velnor delete FILE VALUE
long rundelete(const OpenSpec& file, const std::string& value, std::FILE* out);

// velnor load FILE --csv IN [--create] [--replace]
struct LoadOptions {
    OpenSpec file;
    std::string csv;
    bool create = false;
    bool replace = false;  // a row may replace the items it names in the record with its key
    bool lenient = false;  // numeric items take values that are no number
    char delimiter = ',';
    std::string sqlite{}, table{};  // rows from this database's table instead of csv
    Encoding encoding = Encoding::Cp1252;  // code page the table's text goes into
};
long runload(const LoadOptions& opt, std::FILE* out);
// Writes the rows of table in database as CSV at csv, the columns that
// name an item of cb's definition only, text in enc.  Built with SQLite.
void tabletocsv(const std::string& database, const std::string& table, const FHCB* cb,
                Encoding enc, const std::string& csv);
// velnor load FILE --sqlite DB [--table NAME]: the table's rows through a
// temporary CSV file.
long runloadtable(const LoadOptions& opt, std::FILE* out);

// velnor export FILE --sqlite DB [--table NAME]

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
// Returns the number of lines.
long runkwaddlines(const KeywordOptions& opt, std::FILE* out);
std::vector<uint32_t> runkwsearch(const KeywordOptions& opt, std::FILE* out);
void runkwlist(const KeywordOptions& opt, std::FILE* out);

// Registration on the command line.
void addinfo(CLI::App& app);
void adddump(CLI::App& app);
void addget(CLI::App& app);
void adddelete(CLI::App& app);
void addload(CLI::App& app);
void addfid(CLI::App& app);
void addarchive(CLI::App& app);
void adddemo(CLI::App& app);
void addmaint(CLI::App& app);
void addkeyword(CLI::App& app);
void addexport(CLI::App& app);

}  // namespace vtool

#endif
