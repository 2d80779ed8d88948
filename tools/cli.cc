// cli.cc - the velnor program's command line: every command's options,
// help and checks, and main.  This is the one file that includes CLI11,
// whose header costs far more to compile than any command; the commands'
// files hold their run functions and know nothing of the parser.
#include <CLI/CLI.hpp>

#include <cctype>
#include <memory>

#include "commands.h"

namespace vtool {

namespace {

// FILE, --fid, --index and --network, filling target.
void fileoptions(CLI::App* sub, RecordTarget& target) {
    sub->add_option("FILE", target.path, "Data file")->required();
    sub->add_option("--fid", target.fid, "Definition file (default: FILE with the extension .fid)");
    sub->add_option("--index", target.index,
                    "Index or hash file (default: FILE with the extension .idx or .hsh)");
    sub->add_option("--network", target.network,
                    "Network type: SINGLE (default) for files no one else has open; IBMNET, "
                    "MSNET or NETWARE (locks) and the other names when the files are shared "
                    "with running applications")
        ->capture_default_str();
}

// --format text|csv|json (and sql where withsql) into format.
void formatoption(CLI::App* sub, Format& format, bool withsql = false) {
    std::vector<std::string> names{"text", "csv", "json"};
    if (withsql) names.push_back("sql");
    sub->add_option_function<std::string>(
           "--format", [&format](std::string name) {
               for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
               parseformat(name, &format);
           },
           withsql ? "Output form: text (aligned columns, the default), csv, json, or sql "
                     "(statements that make and fill a table of the same name as the file, "
                     "with an index per key)"
                   : "Output form: text (aligned columns, the default), csv or json")
        ->check(CLI::IsMember(names, CLI::ignore_case));
}

// --encoding: the code page of record text that is not UTF-8.
void encodingoption(CLI::App* sub, Encoding& enc) {
    sub->add_option_function<std::string>(
           "--encoding",
           [&enc](const std::string& name) {
               if (!parseencoding(name, &enc))
                   throw CLI::ValidationError("--encoding", "unknown code page: " + name);
           },
           "Code page of text that is not UTF-8: cp1252 (the default), cp437, latin1, or "
           "utf-8 (other bytes shown as U+FFFD)");
}

// --items A,B,C: the items to show.
void itemsoption(CLI::App* sub, std::vector<std::string>& items) {
    sub->add_option("--items", items, "Show only these items, in this order (NAME,NAME,...)")
        ->delimiter(',');
}

void addinfo(CLI::App& app) {
    auto target = std::make_shared<RecordTarget>();
    CLI::App* sub = app.add_subcommand(
        "info", "Show a record file's definition (items, keys, threads), its type and counts");
    fileoptions(sub, *target);
    sub->callback([target] { runinfo(*target, stdout); });
}

void adddump(CLI::App& app) {
    auto opt = std::make_shared<DumpOptions>();
    CLI::App* sub = app.add_subcommand(
        "dump", "Write the records, item by item, in physical order, key order or along a thread");
    fileoptions(sub, opt->file);
    auto key = sub->add_option("--key", opt->key, "Key order: key N of the definition (1 = first)")
                   ->check(CLI::PositiveNumber);
    auto thread = sub->add_option("--thread", opt->thread,
                                  "Walk thread N of the definition (1 = first)")
                      ->check(CLI::PositiveNumber)
                      ->excludes(key);
    formatoption(sub, opt->format, true);
    encodingoption(sub, opt->encoding);
    itemsoption(sub, opt->items);
    sub->add_flag("--deleted", opt->deleted,
                  "Include deleted records (physical order only), marked D")
        ->excludes(key)
        ->excludes(thread);
    sub->callback([opt] { rundump(*opt, stdout); });
}

void addget(CLI::App& app) {
    auto opt = std::make_shared<GetOptions>();
    CLI::App* sub =
        app.add_subcommand("get", "Write the records whose key starts with VALUE (or equals it)");
    fileoptions(sub, opt->file);
    sub->add_option("VALUE", opt->value, "Key value; a right-justified item may be typed short")
        ->required();
    sub->add_option("--key", opt->key, "Key N of the definition (1 = first, the default)")
        ->capture_default_str()
        ->check(CLI::PositiveNumber);
    sub->add_flag("--exact", opt->exact, "Only keys equal to VALUE, not starting with it");
    formatoption(sub, opt->format);
    encodingoption(sub, opt->encoding);
    itemsoption(sub, opt->items);
    sub->callback([opt] { runget(*opt, stdout); });
}

void adddelete(CLI::App& app) {
    auto target = std::make_shared<RecordTarget>();
    auto value = std::make_shared<std::string>();
    CLI::App* sub = app.add_subcommand("delete", "Delete the record whose primary key is VALUE");
    fileoptions(sub, *target);
    sub->add_option("VALUE", *value, "Primary key value (key 1)")->required();
    sub->callback([target, value] { rundelete(*target, *value, stdout); });
}

void addload(CLI::App& app) {
    auto opt = std::make_shared<LoadOptions>();
    CLI::App* sub = app.add_subcommand(
        "load", "Add records from a CSV file whose header row names the items");
    fileoptions(sub, opt->file);
    auto csv = sub->add_option("--csv", opt->csv,
                               "CSV input, - for standard input; items of several occurrences as NAME[1], NAME[2]");
#ifdef VELNOR_SQLITE
    auto db = sub->add_option("--sqlite", opt->sqlite,
                              "Rows from a table of this SQLite database instead (as export wrote it)")
                  ->excludes(csv);
    sub->add_option("--table", opt->table, "Table of --sqlite (default: FILE without folder or extension)")
        ->needs(db);
    encodingoption(sub, opt->encoding);
#else
    csv->required();
#endif
    sub->add_flag("--replace", opt->replace,
                  "Let a row replace the items it names in the record with its primary key (refused "
                  "otherwise); the other items keep their values");
    sub->add_option_function<std::string>(
           "--delimiter",
           [opt](const std::string& d) {
               if (!parsedelimiter(d, &opt->delimiter))
                   throw CLI::ValidationError("--delimiter", "one character, or tab: " + d);
           },
           "Field separator: ',' (the default), ';', tab, ...");
    sub->add_flag("--lenient", opt->lenient, "Load values that are no number into numeric items as they are");
    sub->add_flag("--create", opt->create,
                  "Make the data file (and its index) first, from its definition");
    sub->callback([opt] {
#ifdef VELNOR_SQLITE
        if (!opt->sqlite.empty()) {
            runloadtable(*opt, stdout);
            return;
        }
        if (opt->csv.empty()) throw CLI::RequiredError("--csv or --sqlite");
#endif
        runload(*opt, stdout);
    });
}

void addfid(CLI::App& app) {
    CLI::App* fid = app.add_subcommand("fid", "Compile or show a file definition");
    fid->require_subcommand(1);

    auto in = std::make_shared<std::string>();
    auto out = std::make_shared<std::string>();
    CLI::App* compile = fid->add_subcommand(
        "compile",
        "Write the binary form of a text definition; only the binary form holds threads, "
        "given in the text as lines 'Thread = LINKITEM, expression'");
    compile->add_option("IN", *in, "Text definition (TKF FID v7.0)")->required();
    compile->add_option("OUT", *out, "Binary definition to write")->required();
    compile->callback([in, out] { runfidcompile(*in, *out, stdout); });

    auto path = std::make_shared<std::string>();
    auto text = std::make_shared<bool>(false);
    CLI::App* show = fid->add_subcommand("show", "Show the items, keys and threads of a definition");
    show->add_option("FILE", *path, "Definition file, text or binary")->required();
    show->add_flag("--text", *text,
                   "Write the text form instead, with its threads as Thread lines, which fid "
                   "compile turns back into the same binary form");
    show->callback([path, text] { runfidshow(*path, *text, stdout); });
}

void addarchive(CLI::App& app) {
    auto opt = std::make_shared<ArchiveOptions>();
    CLI::App* sub = app.add_subcommand(
        "archive", "Add files to a compressed archive (.cmp), extract, list or delete them");
    sub->add_option("ACTION", opt->action, "add, extract, list or delete")
        ->required()
        ->check(CLI::IsMember({"add", "extract", "list", "delete"}));
    sub->add_option("ARCHIVE", opt->archive,
                    "Archive file; .cmp is added when it has no extension.  The archiver takes "
                    "archive and file names in lower case, up to 12 characters")
        ->required();
    sub->add_option("FILES", opt->files,
                    "Files to add, members to delete, or name patterns to extract or list "
                    "(default *.*); @NAME reads the names from a list file");
    sub->add_option("--password", opt->password,
                    "Scramble or unscramble with this password (up to 10 characters)");
    sub->add_option("--target", opt->target, "Extract into this folder");
    sub->add_flag("--overwrite", opt->overwrite,
                  "Replace existing files on extraction without asking");
    sub->add_flag("--quiet", opt->quiet, "No progress (and with --raw no size columns)");
    auto json = sub->add_flag("--json", opt->json, "List as JSON");
    auto raw = sub->add_flag("--raw", opt->raw, "List in the archiver's own text")->excludes(json);
    sub->add_flag("--bits", opt->bits, "With --raw, show the code width column")->needs(raw);
    sub->callback([opt] { runarchive(*opt, stdout); });
}

void adddemo(CLI::App& app) {
    auto opt = std::make_shared<DemoOptions>();
    CLI::App* sub = app.add_subcommand(
        "demo", "Build a sample customer file in a fresh folder and show, step by step, what "
                "velnor does with it");
    sub->add_option("--dir", opt->dir, "Folder to work in (made fresh)")->capture_default_str();
    sub->add_option("--count", opt->count, "Number of sample customers")
        ->capture_default_str()
        ->check(CLI::Range(50u, 100000u));
    sub->callback([opt] { rundemo(*opt); });
}

void addmaint(CLI::App& app) {
    static const char* const exitcodes =
        "Exit status: 0 the file is sound; 1 stopped or refused; 2 the run failed (a file missing or "
        "unreadable); 3 faults found (an Error or Solution line, or counts that cannot be).";
    static const char* const help[] = {
        "Check a record file against its definition and index or hash file, changing nothing",
        "Rebuild the index of a record file from its data file",
        "Copy the active records of a record file into new data and key files, repairing what can be "
        "repaired"};
    static const char* const names[] = {"verify", "recover", "pack"};
    for (int i = 0; i < 3; i++) {
        auto opt = std::make_shared<MaintOptions>();
        opt->operation = names[i];
        CLI::App* sub = app.add_subcommand(names[i], help[i]);
        sub->add_option("FILE", opt->file, "Data file")->required();
        sub->add_option("--fid", opt->fid, "Definition file (default: FILE with .fid)");
        // The record commands' names, with the older spellings kept hidden.
        sub->add_option("--index", opt->key, "Index or hash file (default: FILE with .idx or .hsh)");
        sub->add_option("--key-file", opt->key)->group("");
        sub->add_option("--report", opt->report, "Append the run's report to this text file");
        sub->add_option_function<std::string>(
            "--network", [opt](const std::string& type) { opt->shared = sharednetwork(type); },
            "Network type: SINGLE (default) for files no one else has open; any other (MSNET, "
            "NETWARE, ...) locks what is read, for files in use");
        sub->add_flag("--shared", opt->shared)->group("");
        sub->add_option("--tmpdir", opt->tmpdir, "Build the new files in this folder");
        sub->footer(exitcodes);
        if (i == 0) {
            sub->add_flag("--json", opt->json, "Print the verdict, the counts and every finding as JSON");
            sub->add_flag("--continue", opt->cont, "Go on after an error and report them all");
            sub->add_flag("--skip-keys", opt->skipkeys, "Skip the key-by-key pass");
            sub->add_flag("--skip-records", opt->skiprecords, "Skip the record passes and the counts");
        }
        if (i == 2) sub->add_flag("--strip", opt->strip, "Move records with unprintable text to FILE with .nas");
        // A hashed file is recovered by packing it, which may ask too.
        if (i > 0) sub->add_flag("--yes", opt->yes, "Cut records whose length does not match without asking");
        sub->callback([opt] { runmaint(*opt, stdout); });
    }
}

// VALUE of the keyword commands that take one.
void valueoption(CLI::App* sub, KeywordOptions& opt) {
    sub->add_option("VALUE", opt.value, "The value (0 to 4294967295)")->required();
}

void addkeyword(CLI::App& app) {
    auto opt = std::make_shared<KeywordOptions>();
    CLI::App* kw = app.add_subcommand(
        "keyword", "Keyword indexes: the values (document or record numbers) of each word");
    kw->require_subcommand(1);
    kw->add_option("--network", opt->network,
                   "Network type: SINGLE (default) when no one else has the index open")
        ->capture_default_str();
    const char* indexhelp = "The index: NAME.kwd, .kwf, .kwx and .kwp (from NAME, any extension "
                            "replaced)";

    CLI::App* sub = kw->add_subcommand("create", "Make an empty keyword index");
    sub->add_option("INDEX", opt->index, indexhelp)->required();
    sub->callback([opt] { runkwcreate(opt->index, stdout); });

    sub = kw->add_subcommand("add", "Add words under a value");
    sub->add_option("INDEX", opt->index, indexhelp)->required();
    valueoption(sub, *opt);
    sub->add_option("WORD", opt->words, "Words (folded to lower case; 'and', 'the' and words "
                                        "under 3 letters other than two capitals are ignored)")
        ->required();
    sub->callback([opt] { runkwadd(*opt, stdout); });

    sub = kw->add_subcommand("addlines", "Add the words of each line of a text file");
    sub->add_option("INDEX", opt->index, indexhelp)->required();
    sub->add_option("TEXTFILE", opt->textfile, "Text file; a line's number is its value")
        ->required();
    sub->add_option("--flags", opt->flags,
                    "Also index: 2 numbers and words of letters and digits, 4 or 8 numbers, "
                    "16 words with other characters (add them up)")
        ->check(CLI::Range(0, 65535));
    sub->add_option("--value", opt->value, "One value for every line instead of its number")
        ->each([opt](const std::string&) { opt->onevalue = true; });
    sub->callback([opt] { runkwaddlines(*opt, stdout); });

    sub = kw->add_subcommand("search", "The values of a word, one a line");
    sub->add_option("INDEX", opt->index, indexhelp)->required();
    sub->add_option("WORD", opt->word, "The word (case does not matter)")->required();
    sub->add_flag("--json", opt->json, "Print a JSON array");
    sub->callback([opt] { runkwsearch(*opt, stdout); });

    sub = kw->add_subcommand("list", "The words that hold a value, one a line");
    sub->add_option("INDEX", opt->index, indexhelp)->required();
    valueoption(sub, *opt);
    sub->add_option("--prefix", opt->prefix, "Only words that begin with this");
    sub->callback([opt] { runkwlist(*opt, stdout); });

    sub = kw->add_subcommand("delete", "Remove a value from every word");
    sub->add_option("INDEX", opt->index, indexhelp)->required();
    valueoption(sub, *opt);
    sub->callback([opt] { runkwremove(*opt, stdout); });
}

#ifdef VELNOR_SQLITE
void addexport(CLI::App& app) {
    auto opt = std::make_shared<ExportOptions>();
    CLI::App* sub = app.add_subcommand(
        "export", "Copy the records into an SQLite database: one table, a column per item, "
                  "an index per key");
    fileoptions(sub, opt->file);
    sub->add_option("--sqlite", opt->database, "Database to write (made when missing)")->required();
    sub->add_option("--table", opt->table, "Table name (default: FILE without folder or extension)");
    sub->add_flag("--replace", opt->replace, "Replace a table of that name");
    encodingoption(sub, opt->encoding);
    sub->callback([opt] { runexport(*opt, stdout); });
}
#endif

}  // namespace

}  // namespace vtool

int main(int argc, char** argv) {
    uint16_t major = 0, minor = 0;
    vfhgetversion(&major, &minor);
    CLI::App app{"velnor - look into, load, index, repair and archive velnor record files"};
    std::string version = "velnor " VELNOR_PROGRAM_VERSION "\nengine ";
    version.append(std::to_string(major >> 8)).append(".").append(std::to_string(major & 0xFF));
    version.append(".").append(std::to_string(minor));
    app.set_version_flag("--version", version, "Print the program's and the engine's versions");
    app.require_subcommand(1);
    app.fallthrough();
    vtool::addinfo(app);
    vtool::adddump(app);
    vtool::addget(app);
    vtool::adddelete(app);
    vtool::addload(app);
    vtool::addfid(app);
    vtool::addarchive(app);
    vtool::adddemo(app);
    vtool::addmaint(app);
    vtool::addkeyword(app);
#ifdef VELNOR_SQLITE
    vtool::addexport(app);
#endif
    try {
        vtool::Engine engine;
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        int code = app.exit(e);
        return code == 0 ? 0 : vtool::EXIT_USAGE;
    } catch (const vtool::Failure& f) {
        return f.code;
    }
    return vtool::EXIT_OK;
}
