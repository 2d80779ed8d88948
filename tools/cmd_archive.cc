// cmd_archive.cc - velnor archive add|extract|list|delete: a front over the
// library's archiver, with its listing and messages on the terminal, its
// overwrite question asked there, and a progress line while it works.
#include <cctype>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <iostream>

#include "cliopts.h"
#include "progress.h"

namespace vtool {

namespace {

// What the archiver's callbacks need; one archive run at a time.
struct Run {
    std::FILE* out = stdout;
    std::string archive;
    bool overwrite = false;
    int errors = 0;
    int refused = 0;  // overwrite questions answered No for want of a terminal
    ProgressBar* bar = nullptr;
    std::string fields[4];
};
Run run;
volatile std::sig_atomic_t interrupted = 0;

const char* const errortexts[] = {"Unable to create temporary file.", "Not enough memory.",
                                  "Not a COMPRESS file.", "Corrupt COMPRESS file.",
                                  "Unable to create.", "Unable to open.", "CRC failure.",
                                  "Bad disk write, disk full?"};

void VELNOR_CALL onreport(const char* line) {
    if (run.bar) run.bar->finish();
    std::string s(line);
    std::string::size_type cr;
    while ((cr = s.find('\r')) != std::string::npos) s.erase(cr, 1);
    if (s.rfind("Error: ", 0) == 0) {
        ++run.errors;
        while (!s.empty() && s.back() == '\n') s.pop_back();
        std::fflush(run.out);
        std::fprintf(stderr, "velnor: %s: %s\n", run.archive.c_str(), s.substr(7).c_str());
        return;
    }
    std::fputs(s.c_str(), run.out);
    std::fflush(run.out);
}

void VELNOR_CALL onerror(int32_t errnum) {
    if (run.bar) run.bar->finish();
    ++run.errors;
    // The current-file field reads "Extracting: name": keep the name.
    std::string file = run.fields[2];
    size_t colon = file.find(": ");
    if (colon != std::string::npos) file.erase(0, colon + 2);
    while (!file.empty() && file.back() == ' ') file.pop_back();
    std::fflush(run.out);
    std::fprintf(stderr, "velnor: %s: %s%s%s (error %d)\n", run.archive.c_str(),
                 file.empty() ? "" : file.c_str(), file.empty() ? "" : ": ",
                 errnum >= 0 && errnum < 8 ? errortexts[errnum] : "archiver error", errnum);
}

void VELNOR_CALL onprogress(int32_t field, const char* text) {
    if (field < 0 || field > 3 || run.bar == nullptr) return;
    run.fields[field] = text;
    run.bar->text(run.fields[0] + "  " + run.fields[1] + "  " + run.fields[2] + " " +
                  run.fields[3]);
}

int32_t VELNOR_CALL onstop() { return interrupted ? 1 : 0; }

int32_t VELNOR_CALL onask(const char* question, const char*) {
    if (run.bar) run.bar->finish();
    std::fflush(run.out);
    if (!stdinistty()) {
        std::fprintf(stderr, "velnor: %s No: not asked, as input is not a terminal "
                             "(--overwrite replaces files)\n",
                     question);
        ++run.refused;
        return 0;
    }
    std::fprintf(stderr, "%s [y/N] ", question);
    std::fflush(stderr);
    std::string answer;
    if (!std::getline(std::cin, answer)) return 0;
    return !answer.empty() && (answer[0] == 'y' || answer[0] == 'Y') ? 1 : 0;
}

void onsigint(int) { interrupted = 1; }

// The option string: its first character is skipped by the archiver.
std::string optionstring(const ArchiveOptions& opt) {
    static const struct {
        const char* action;
        char letter;
    } actions[] = {{"add", 'A'}, {"extract", 'X'}, {"list", 'L'}, {"delete", 'D'}};
    std::string s = "-";
    for (const auto& a : actions)
        if (opt.action == a.action) s += a.letter;
    if (opt.quiet) s += 'Q';
    if (opt.overwrite) s += 'O';
    if (opt.bits) s += 'B';
    if (!opt.password.empty()) s += "P\"" + opt.password + "\"";
    if (!opt.target.empty()) {
        // The archiver joins the folder and the name with a backslash unless
        // the folder already ends in a separator: give it the portable one.
        std::string dir = opt.target;
        char last = dir.back();
        if (last != '/' && last != '\\' && last != ':') dir += '/';
        s += "T\"" + dir + "\"";
    }
    return s;
}

}  // namespace

void runarchive(const ArchiveOptions& opt, std::FILE* out) {
    if (opt.action == "delete" && opt.files.empty())
        fail(opt.archive, "delete needs the names of the files to take out", EXIT_USAGE);
    if (opt.password.find('"') != std::string::npos)
        fail(opt.archive, "a password cannot hold a double quote", EXIT_USAGE);
    if (opt.target.find('"') != std::string::npos)
        fail(opt.archive, "a target folder cannot hold a double quote", EXIT_USAGE);
    if (opt.action == "extract" && !opt.target.empty()) {
        std::error_code ec;
        std::filesystem::create_directories(opt.target, ec);
        if (ec) fail(opt.target, "cannot make the folder: " + ec.message());
    }
    // The archiver lowers every name; say so where that changes one.
    auto lowered = [](std::string s) {
        for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        return s;
    };
    std::vector<std::string> names = opt.files;
    names.push_back(opt.archive);
    for (const std::string& name : names)
        if (lowered(name) != name)
            warn("the archiver takes names in lower case: " + name + " is used as " + lowered(name));
    ProgressBar bar(opt.action == "list" ? "" : opt.archive);
    run = Run{};
    run.out = out;
    run.archive = opt.archive;
    run.overwrite = opt.overwrite;
    if (!opt.quiet && opt.action != "list") run.bar = &bar;
    interrupted = 0;
    auto oldsig = std::signal(SIGINT, onsigint);
    compress_setsinks(onreport, onerror);
    compress_sethooks(onprogress, onstop, onask);

    std::vector<char*> specs;
    for (const std::string& s : opt.files) specs.push_back(const_cast<char*>(s.c_str()));
    int32_t r = compress_files(optionstring(opt).c_str(), opt.archive.c_str(),
                               static_cast<int32_t>(specs.size()), specs.data());

    compress_sethooks(nullptr, nullptr, nullptr);
    compress_setsinks(nullptr, nullptr);
    std::signal(SIGINT, oldsig == SIG_ERR ? SIG_DFL : oldsig);
    bar.finish();
    run.bar = nullptr;
    if (interrupted) fail(opt.archive, "stopped; the archive is left as it was");
    if (r != 0 && run.errors == 0) fail(opt.archive, "the archiver failed (result " + std::to_string(r) + ")");
    if (r != 0 || run.errors != 0) throw Failure{EXIT_FAILED};
    if (run.refused)
        fail(opt.archive, std::to_string(run.refused) + " file" + (run.refused == 1 ? "" : "s") +
                              " not extracted");
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
                    "archive and file names in lower case")
        ->required();
    sub->add_option("FILES", opt->files,
                    "Files to add or delete, or name patterns to extract or list (default "
                    "*.*); @NAME reads the names from a list file");
    sub->add_option("--password", opt->password, "Scramble or unscramble with this password (up to 10 characters)");
    sub->add_option("--target", opt->target, "Extract into this folder (up to 40 characters)");
    sub->add_flag("--overwrite", opt->overwrite, "Replace existing files on extraction without asking");
    sub->add_flag("--quiet", opt->quiet, "No progress, no size columns in the listing");
    sub->add_flag("--bits", opt->bits, "Show the code width column in the listing");
    sub->callback([opt] { runarchive(*opt, stdout); });
}

}  // namespace vtool
