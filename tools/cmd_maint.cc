// cmd_maint.cc - velnor verify|recover|pack FILE: the library's file
// maintenance on the command line, its progress lines printed as they come
// (with a bar on a terminal), Ctrl-C as its Stop button, and the length
// question asked on the terminal or answered by --yes.
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <thread>

#include "commands.h"
#include "fidtools.h"
#include "libinternal.h"
#include "progress.h"
#include "walk.h"

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
    std::vector<std::string> findings;  // lines that report a fault
    bool done = false;                  // a "Done." line with counts came
    long active = 0, deleted = 0;       // its counts
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
            // "Error: ..." and "... Solution: ..." name a fault in the file;
            // the closing error line of a failed run ("Error opening data
            // file.") does not.
            if (std::strstr(text, "Solution") || std::strncmp(text, "Message: Error:", 15) == 0)
                run.findings.push_back(text);
            break;
        case VN_FM_STATUS:
            if (std::sscanf(text, "Status: Done. %ld active data records, %ld deleted", &run.active,
                            &run.deleted) == 2)
                run.done = true;
            break;
        default:
            break;
    }
    if (run.bar) run.bar->finish();
    if (run.out == nullptr) return 0;
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

// Records of the data file counted from its bytes, without the engine (a
// damaged header stops the engine's open): the header record, then
// records of the definition's length, or of the length each holds.
struct RawCounts {
    bool ok = false;
    long active = 0, deleted = 0;
};

RawCounts rawcounts(const std::string& datname, const std::string& fid) {
    RawCounts c;
    try {
        Definition def(fid.empty() ? derivedname(datname, ".fid") : fid);
        const FHCB* cb = def.cb();
        if (const std::string w = reservedoverlap(cb); !w.empty()) warn(datname + ": " + w);
        // A hashed file's slots are laid out by the hash table: not counted.
        if (cb->fflags & VN_FF_HASHED) return c;
        const bool varlen = cb->fflags & VN_FF_VARLEN;
        std::ifstream in(datname, std::ios::binary);
        std::vector<char> rec(cb->reclen);
        if (!in.read(rec.data(), cb->reclen)) return c;
        for (;;) {
            uint32_t len = cb->reclen;
            if (varlen) {
                char head[5];
                if (!in.read(head, 5)) break;
                if (std::sscanf(std::string(head + 1, 4).c_str(), "%4x", &len) != 1 || len < 6 ||
                    len > cb->reclen)
                    return c;
                in.seekg(-5, std::ios::cur);
            }
            if (!in.read(rec.data(), len)) break;
            ++(rec[0] == ' ' ? c.active : c.deleted);
        }
        c.ok = true;
    } catch (const Failure&) {
    }
    return c;
}

// Records that the library's key pass cannot see: it starts at a zeroed
// key, and a key that begins with a byte above 0x7F (or a negative number)
// sorts below it.  The count over all keys, or -1 when some key's own walk
// from below every key misses an active record, which they do not explain.
long hiddenkeys(const MaintOptions& opt) {
    try {
        RecordTarget target;
        target.path = opt.file;
        target.fid = opt.fid;
        target.index = opt.key;
        // Held as the verify that calls this holds the files, which goes
        // beside a hold of its own kind.
        target.network = opt.shared ? "MSNET" : "SINGLE";
        RecordFile f(reading(target));
        FHCB* cb = f.cb();
        if (cb->fflags & VN_FF_HASHED) return -1;
        const long active = countactive(f);
        long hidden = 0;
        for (int k = 1; k <= cb->nkeys; ++k) {
            long all = 0, seen = 0;
            walkkey(f, k, lowestkey(cb, k), [&](bool) {
                ++all;
                return true;
            });
            walkkey(f, k, std::string(), [&](bool) {  // where the library's walk starts
                ++seen;
                return true;
            });
            if (all != active) return -1;
            hidden += all - seen;
        }
        f.close();
        return hidden;
    } catch (const Failure&) {
        return -1;
    }
}

// The library reports a key mismatch, and then fails to read on, for keys
// its walk cannot see; nothing else.
bool onlykeymismatch(const std::vector<std::string>& findings) {
    for (const std::string& f : findings)
        if (f.find("Key entries/data file header mismatch") == std::string::npos &&
            f.find("Error reading index file") == std::string::npos)
            return false;
    return !findings.empty();
}

// A finding of the report: its text and the detail lines under it.
struct Finding {
    std::string message, detail;
};

// The findings a run appended to the report after byte from.
std::vector<Finding> reportfindings(const std::string& report, std::streamoff from) {
    std::vector<Finding> out;
    std::ifstream in(report, std::ios::binary);
    in.seekg(from);
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        const size_t indent = line.find_first_not_of(' ');
        if (indent == std::string::npos || indent == 0) continue;
        const std::string text = line.substr(indent);
        if (indent <= 2) {
            if (text != "Successful." && text != "Stopped.") out.push_back({text, ""});
        } else if (!out.empty()) {
            out.back().detail += (out.back().detail.empty() ? "" : "  ") + text;
        }
    }
    return out;
}

const char* verdictname(int code) {
    static const char* const names[] = {"sound", "stopped", "failed", "faults"};
    return names[code];
}

void printjson(std::FILE* out, const MaintOptions& opt, int code, const std::vector<Finding>& findings,
               const RawCounts& raw, const std::string& note) {
    std::fprintf(out, "{\n  \"file\": %s,\n  \"run\": %s,\n  \"verdict\": %s,\n  \"exit\": %d,\n",
                 jsonstring(opt.file).c_str(), jsonstring(opt.operation).c_str(),
                 jsonstring(verdictname(code)).c_str(), code);
    if (run.done)
        std::fprintf(out, "  \"header\": {\"active\": %ld, \"deleted\": %ld},\n", run.active, run.deleted);
    if (raw.ok)
        std::fprintf(out, "  \"found\": {\"active\": %ld, \"deleted\": %ld},\n", raw.active, raw.deleted);
    if (!note.empty()) std::fprintf(out, "  \"note\": %s,\n", jsonstring(note).c_str());
    std::fprintf(out, "  \"findings\": [");
    for (size_t i = 0; i < findings.size(); ++i)
        std::fprintf(out, "%s\n    {\"message\": %s, \"position\": %s}", i ? "," : "",
                     jsonstring(findings[i].message).c_str(), jsonstring(findings[i].detail).c_str());
    std::fprintf(out, "%s]\n}\n", findings.empty() ? "" : "\n  ");
}

namespace fs = std::filesystem;

// Whether a and b name one file or folder: the same file on disk, or the
// same normal form (which also covers names of files not yet there, and a
// folder named with a trailing separator, which Windows' equivalent misses).
bool samefile(const fs::path& a, const fs::path& b) {
    std::error_code ec;
    if (fs::exists(a, ec) && fs::exists(b, ec) && fs::equivalent(a, b, ec)) return true;
    const fs::path x = fs::weakly_canonical(a, ec), y = fs::weakly_canonical(b, ec);
    return !x.empty() && x == y;
}

// The folder of a file name, "." for a bare name.
fs::path folderof(const std::string& file) {
    fs::path dir = fs::path(file).parent_path();
    return dir.empty() ? fs::path(".") : dir;
}

// Holds the files a run works on, and settles its temporary folder so that
// no temporary file is one the run reads: a folder that is the files' own
// is dropped (the new files are then renamed into place), and a temporary
// name that is one of the run's files is refused before anything is
// touched.  Returns the temporary folder to use.
std::string prepare(const MaintOptions& opt, bool verify, const std::string& key, Holds& holds) {
    // pack and recover replace the files; verify only reads them.
    const int32_t kind = verify ? holdkind(!opt.shared, true) : OS_HOLD_ALONE;
    const std::string hint = verify ? (kind == OS_HOLD_READING ? " (verify --network MSNET runs beside programs that share it)" : "")
                                    : " (pack and recover need the files alone)";
    holds.hold(opt.file, kind, hint);
    if (!key.empty()) holds.hold(key, kind, hint);
    if (verify) return opt.tmpdir;
    std::string tmpdir = opt.tmpdir;
    if (!tmpdir.empty() && (samefile(tmpdir, folderof(opt.file)) || samefile(tmpdir, folderof(key))))
        tmpdir.clear();
    const std::string fid = opt.fid.empty() ? derivedname(opt.file, ".fid") : opt.fid;
    for (const std::string& base : {opt.file, key}) {
        if (base.empty()) continue;
        for (const char* ext : {".zdq", ".ziq"}) {
            fs::path temp = derivedname(base, ext);
            if (!tmpdir.empty()) temp = fs::path(tmpdir) / temp.filename();
            for (const std::string& used : {opt.file, key, fid, opt.report})
                if (!used.empty() && samefile(temp, used))
                    fail(opt.file, "the temporary file " + temp.string() + " would be " + used +
                                       ", which the run reads: rename it or give another --tmpdir",
                         EXIT_USAGE);
        }
    }
    return tmpdir;
}

// The key file the run uses: the one given, else the index or hash file
// beside the data file, whichever is there.
std::string keyfileof(const MaintOptions& opt) {
    if (!opt.key.empty()) return opt.key;
    std::error_code ec;
    const std::string idx = derivedname(opt.file, ".idx");
    const std::string hsh = derivedname(opt.file, ".hsh");
    return fs::exists(idx, ec) || !fs::exists(hsh, ec) ? idx : hsh;
}

// What a pass that may be tried again returns when it found faults.
constexpr int PASS_SAW_FAULTS = -1;

// One run of the library's maintenance, with the program's verdict.  A
// pass that is retryable returns PASS_SAW_FAULTS, having printed nothing
// of its own, where it would report faults.
int runpass(const MaintOptions& opt, std::FILE* out, bool retryable) {
    static const char* const names[] = {"verify", "recover", "pack"};
    int32_t op = 0;
    while (op < 3 && opt.operation != names[op]) op++;
    if (op == 3) fail(opt.file, "no such maintenance run: " + opt.operation, MAINT_FAILED);
    const std::string key = keyfileof(opt);
    Holds holds;
    const std::string tmpdir = prepare(opt, op == 0, key, holds);
    const long extra = op == 0 && opt.shared ? 0 : uncounted(opt.file, opt.fid);
    if (op == 1 && extra > 0)
        fail(opt.file, "holds " + counted(extra, "record") + " past the count in its header; recover "
                       "would keep the short count: run velnor pack " + opt.file + " instead", MAINT_FAILED);
    uint32_t flags = (opt.cont ? VN_FM_CONTINUE : 0) | (opt.skipkeys ? VN_FM_NOKEYPASS : 0) |
                     (opt.skiprecords ? VN_FM_NORECPASS : 0) | (opt.strip ? VN_FM_STRIP : 0) |
                     (opt.shared ? VN_FM_SHARED : 0);
    const std::string asideline = op > 0 ? setaside(opt) : std::string();
    if (!asideline.empty()) std::fprintf(out, "%s\n", asideline.c_str());
    // JSON gathers the findings, with their positions, from the report.
    std::string report = opt.report;
    std::streamoff reportfrom = 0;
    if (opt.json && report.empty()) {
        report = derivedname(opt.file, ".vjr");
        std::remove(report.c_str());
    }
    if (opt.json) {
        std::error_code ec;
        const auto size = std::filesystem::file_size(report, ec);
        reportfrom = ec ? 0 : static_cast<std::streamoff>(size);
    }
    std::FILE* lines = opt.json ? nullptr : out;
    ProgressBar bar(opt.file);
    run = Run{};
    run.out = lines;
    run.yes = opt.yes;
    run.terminal = barswanted();
    if (run.terminal) run.bar = &bar;
    interrupted = 0;
    auto oldsig = std::signal(SIGINT, onsigint);
    fmsetask(onask);
    vfhsettmpdir(tmpdir.c_str());
    const int32_t r = filemaint(op, opt.file.c_str(), opt.fid.c_str(), opt.key.c_str(), nullptr, flags,
                                report.c_str(), onprogress);
    vfhsettmpdir(nullptr);
    // The holds stand to the end of the pass: a verify counts the records
    // and walks the keys again below, and a writer that slipped in between
    // would make the counts differ.
    fmsetask(nullptr);
    std::signal(SIGINT, oldsig == SIG_ERR ? SIG_DFL : oldsig);
    bar.finish();
    run.bar = nullptr;
    if (!asideline.empty() && !opt.report.empty())
        if (std::FILE* rep = std::fopen(opt.report.c_str(), "a")) {
            std::fprintf(rep, "  %s\n", asideline.c_str());
            std::fclose(rep);
        }

    int code = EXIT_OK;
    std::string why, note;
    if (r == -1) {
        code = MAINT_STOPPED;
        why = "stopped; the files are left as they were";
    } else if (r == 1 && (opt.key.empty() || (lowered(opt.file) != lowered(opt.key) && !samefile(opt.file, opt.key)))) {
        code = MAINT_FAILED;
        why = statusline(r, opt.file);
    } else if (r == 1) {
        code = MAINT_STOPPED;
        why = "the data file and the key file have the same name";
    } else if (r > 0 && run.findings.empty()) {
        code = MAINT_FAILED;
        why = run.message.rfind("Message: ", 0) == 0 ? run.message.substr(9) : statustext(r);
    } else if (!run.findings.empty() || (run.done && (run.active < 0 || run.deleted < 0))) {
        code = MAINT_FAULTS;
        why = run.findings.empty() ? "the counts are impossible: the header is damaged"
                                   : "faults found (the lines above name them)";
    }
    RawCounts raw;
    if (op == VN_FM_VERIFY && (code == EXIT_OK || code == MAINT_FAULTS)) {
        raw = rawcounts(opt.file, opt.fid);
        if (code == MAINT_FAULTS && onlykeymismatch(run.findings)) {
            const long hidden = hiddenkeys(opt);
            if (hidden > 0) {
                code = EXIT_OK;
                note = counted(hidden, "key") +
                       " begin with a byte above 0x7F or a negative number; the file is sound; the "
                       "library's check cannot see them (a pack would not change that)";
            }
        }
        if (raw.ok && run.done && (raw.active != run.active || raw.deleted != run.deleted) &&
            !opt.skiprecords) {
            const std::string found = "the header says " + std::to_string(run.active) + " active and " +
                                      std::to_string(run.deleted) + " deleted; the file holds " +
                                      std::to_string(raw.active) + " and " + std::to_string(raw.deleted);
            note += (note.empty() ? "" : "; ") + found;
            if (code == EXIT_OK) {
                code = MAINT_FAULTS;
                why = "the counts differ";
            }
        }
    }
    if (op == VN_FM_VERIFY && extra > 0 && code != MAINT_STOPPED) {
        code = MAINT_FAULTS;
        why = "holds " + counted(extra, "record") + " past the count in its header (a run was cut short); a "
              "write would overwrite one: run velnor pack " + opt.file;
    }
    if (retryable && code == MAINT_FAULTS) {
        if (opt.json && opt.report.empty()) std::remove(report.c_str());
        return PASS_SAW_FAULTS;
    }
    if (opt.json) {
        std::vector<Finding> found = reportfindings(report, reportfrom);
        if (opt.report.empty()) std::remove(report.c_str());
        if (code == MAINT_FAILED || code == MAINT_STOPPED) found.push_back({why, ""});
        printjson(out, opt, code, found, raw, note);
        if (code != EXIT_OK) throw Failure{code};
        return code;
    }
    if (!note.empty()) std::fprintf(out, "velnor: %s\n", note.c_str());
    if (code != EXIT_OK) fail(opt.file, why, code);
    return code;
}

// Copies what a pass printed into the real output, and closes it.
void release(std::FILE* held, std::FILE* out) {
    std::rewind(held);
    char buf[4096];
    for (size_t n; (n = std::fread(buf, 1, sizeof buf, held)) > 0;) std::fwrite(buf, 1, n, out);
    std::fclose(held);
}

}  // namespace

bool sharednetwork(const std::string& type) { return !lowered(type).starts_with("single"); }

// A verify beside programs that share the file can meet a write half done:
// the counts and keys it reads then belong to different moments.  Such a
// verify checks again, up to SHARED_VERIFY_PASSES times in all, and reports
// what the last pass saw; the earlier passes' lines are not shown.
int runmaint(const MaintOptions& opt, std::FILE* out) {
    constexpr int SHARED_VERIFY_PASSES = 3;
    if (opt.operation == "verify" && opt.shared)
        for (int pass = 1; pass < SHARED_VERIFY_PASSES; pass++) {
            std::FILE* held = std::tmpfile();
            if (held == nullptr) break;
            int code;
            try {
                code = runpass(opt, held, true);
            } catch (...) {
                release(held, out);
                throw;
            }
            if (code != PASS_SAW_FAULTS) {
                release(held, out);
                return code;
            }
            std::fclose(held);
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
    return runpass(opt, out, false);
}

}  // namespace vtool
