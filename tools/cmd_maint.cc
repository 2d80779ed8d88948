// cmd_maint.cc - velnor verify|recover|pack FILE: the library's file
// maintenance on the command line, its progress lines printed as they come
// (with a bar on a terminal), Ctrl-C as its Stop button, and the length
// question asked on the terminal or answered by --yes.
#include <csignal>
#include <iostream>

#include "cliopts.h"
#include "progress.h"

namespace vtool {

namespace {

// What the callbacks need; one run at a time.
struct Run {
    std::FILE* out = stdout;
    bool yes = false;
    bool terminal = false;
    ProgressBar* bar = nullptr;
    std::string current;
    std::string message;
};
Run run;
volatile std::sig_atomic_t interrupted = 0;

void onsigint(int) { interrupted = 1; }

int32_t VELNOR_CALL onprogress(int32_t code, char* text) {
    switch (code) {
        case VN_FM_POLL:
            return interrupted ? 1 : 0;
        case VN_FM_CURRENT:
            run.current = text;
            return 0;
        case VN_FM_COMPLETE:
            if (run.bar) {
                int pct = 0;
                std::sscanf(text, "Complete: %d", &pct);
                run.bar->update(static_cast<uint64_t>(pct < 0 ? 0 : pct), 100);
            }
            return 0;
        case VN_FM_MESSAGE:
            run.message = text;
            break;
        default:
            break;
    }
    if (run.bar) run.bar->finish();
    std::fprintf(run.out, "%s\n", text);
    std::fflush(run.out);
    return 0;
}

int32_t VELNOR_CALL onask(const char* question, const char*) {
    if (run.yes) return 1;
    if (run.bar) run.bar->finish();
    if (!stdinistty()) {
        std::fprintf(stderr, "velnor: %s No: not asked, as input is not a terminal (--yes fixes)\n", question);
        return 2;
    }
    std::fprintf(stderr, "%s [y/N] ", question);
    std::fflush(stderr);
    std::string answer;
    if (!std::getline(std::cin, answer)) return 2;
    return !answer.empty() && (answer[0] == 'y' || answer[0] == 'Y') ? 1 : 2;
}

}  // namespace

int runmaint(const MaintOptions& opt, std::FILE* out) {
    static const char* const names[] = {"verify", "recover", "pack"};
    int32_t op = 0;
    while (op < 3 && opt.operation != names[op]) op++;
    if (op == 3) fail(opt.file, "no such maintenance run: " + opt.operation, EXIT_USAGE);
    uint32_t flags = (opt.cont ? VN_FM_CONTINUE : 0) | (opt.skipkeys ? VN_FM_NOKEYPASS : 0) |
                     (opt.skiprecords ? VN_FM_NORECPASS : 0) | (opt.strip ? VN_FM_STRIP : 0) |
                     (opt.shared ? VN_FM_SHARED : 0);
    const std::string asideline = op > 0 ? setaside(opt) : std::string();
    if (!asideline.empty()) std::fprintf(out, "%s\n", asideline.c_str());
    ProgressBar bar(opt.file);
    run = Run{};
    run.out = out;
    run.yes = opt.yes;
    run.terminal = stderristty();
    if (run.terminal) run.bar = &bar;
    interrupted = 0;
    auto oldsig = std::signal(SIGINT, onsigint);
    fmsetask(onask);
    vfhsettmpdir(opt.tmpdir.c_str());
    const int32_t r = filemaint(op, opt.file.c_str(), opt.fid.c_str(), opt.key.c_str(), nullptr, flags,
                                opt.report.c_str(), onprogress);
    vfhsettmpdir(nullptr);
    fmsetask(nullptr);
    std::signal(SIGINT, oldsig == SIG_ERR ? SIG_DFL : oldsig);
    bar.finish();
    run.bar = nullptr;
    if (!asideline.empty() && !opt.report.empty())
        if (std::FILE* rep = std::fopen(opt.report.c_str(), "a")) {
            std::fprintf(rep, "  %s\n", asideline.c_str());
            std::fclose(rep);
        }
    if (r == -1) fail(opt.file, "stopped; the files are left as they were", MAINT_STOPPED);
    if (r == 1) fail(opt.file, "the data file and the key file have the same name", MAINT_FAILED);
    if (r > 0) {
        std::string why = run.message.rfind("Message: ", 0) == 0 ? run.message.substr(9) : statustext(r);
        fail(opt.file, why, MAINT_FAILED);
    }
    return EXIT_OK;
}

void addmaint(CLI::App& app) {
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
        sub->add_option("--key-file", opt->key, "Index or hash file (default: FILE with .idx or .hsh)");
        sub->add_option("--report", opt->report, "Append the run's report to this text file");
        sub->add_flag("--shared", opt->shared, "Lock what is read, for files in use on a network");
        sub->add_option("--tmpdir", opt->tmpdir, "Build the new files in this folder");
        if (i == 0) {
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

}  // namespace vtool
