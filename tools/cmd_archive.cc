// cmd_archive.cc - velnor archive add|extract|list|delete: a careful front
// over the library's archiver.  The program checks every argument before
// the archiver runs, reads the archive's entries itself to list and delete
// them by their own names, and extracts each member into a temporary file
// that takes the place of the old one only when its size and check value
// match the entry's.
#include <cctype>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <random>

#include "commands.h"
#include "libinternal.h"
#include "progress.h"

namespace fs = std::filesystem;

namespace vtool {

namespace {

// The longest name an archive entry holds.
constexpr size_t NAME_LIMIT = 12;
// The longest target folder the archiver takes.
constexpr size_t TARGET_LIMIT = 40;

// What the archiver's callbacks need; one archive run at a time.
struct Run {
    std::FILE* out = stdout;
    std::string archive;
    bool report = true;       // pass the archiver's report on (else drop it)
    std::vector<int> errors;  // error numbers the archiver gave
    ProgressBar* bar = nullptr;
    std::map<std::string, uint64_t> sizes;  // file name -> bytes, for the bar
};
Run run;
volatile std::sig_atomic_t interrupted = 0;

const char* const errortexts[] = {"Unable to create temporary file.", "Not enough memory.",
                                  "Not a COMPRESS file.", "Corrupt COMPRESS file.",
                                  "Unable to create.", "Unable to open.", "CRC failure.",
                                  "Bad disk write, disk full?"};

void VELNOR_CALL onreport(const char* line) {
    std::string s(line);
    std::string::size_type cr;
    while ((cr = s.find('\r')) != std::string::npos) s.erase(cr, 1);
    if (s.rfind("Error: ", 0) == 0) {
        if (run.bar) run.bar->finish();
        run.errors.push_back(-1);
        while (!s.empty() && s.back() == '\n') s.pop_back();
        std::fflush(run.out);
        std::fprintf(stderr, "velnor: %s: %s\n", run.archive.c_str(), s.substr(7).c_str());
        return;
    }
    if (!run.report) return;
    if (run.bar) run.bar->finish();
    std::fputs(s.c_str(), run.out);
    std::fflush(run.out);
}

void VELNOR_CALL onerror(int32_t errnum) { run.errors.push_back(errnum); }

// Field 2 names the file ("Adding:  name"), field 3 its percentage.
void VELNOR_CALL onprogress(int32_t field, const char* text) {
    if (run.bar == nullptr) return;
    static uint64_t size = 0;
    if (field == 2) {
        std::string name(text);
        name.erase(0, name.find(':') + 1);
        name.erase(0, name.find_first_not_of(' '));
        name.erase(name.find_last_not_of(' ') + 1);
        auto it = run.sizes.find(name);
        size = it == run.sizes.end() ? 0 : it->second;
        run.bar->setlabel(name);
    } else if (field == 3 && size > 0) {
        run.bar->update(size * static_cast<uint64_t>(std::atoi(text)) / 100, size);
    }
}

int32_t VELNOR_CALL onstop() { return interrupted ? 1 : 0; }

void onsigint(int) { interrupted = 1; }

// Calls the archiver with the hooks set; its result.
int32_t archiver(const std::string& options, const std::string& archive,
                 const std::vector<std::string>& specs, ProgressBar* bar) {
    run.bar = bar;
    auto oldsig = std::signal(SIGINT, onsigint);
    compress_setsinks(onreport, onerror);
    compress_sethooks(onprogress, onstop, nullptr);
    std::vector<char*> p;
    for (const std::string& s : specs) p.push_back(const_cast<char*>(s.c_str()));
    int32_t r = compress_files(options.c_str(), archive.c_str(), static_cast<int32_t>(p.size()),
                               p.data());
    compress_sethooks(nullptr, nullptr, nullptr);
    compress_setsinks(nullptr, nullptr);
    std::signal(SIGINT, oldsig == SIG_ERR ? SIG_DFL : oldsig);
    if (bar) bar->finish();
    run.bar = nullptr;
    return r;
}

// The option string; its first character is skipped by the archiver.  The
// password is always given, empty or not: the archiver keeps the last one.
std::string optionstring(char action, const ArchiveOptions& opt, bool quiet,
                         const std::string& target) {
    std::string s = "-";
    s += action;
    if (quiet) s += 'Q';
    if (opt.overwrite || action == 'X') s += 'O';
    if (opt.bits) s += 'B';
    s += "P\"" + opt.password + "\"";
    s += "T\"" + target + "\"";
    return s;
}

// The archive as the archiver names it: the name part lowered, ".cmp" added
// when it has no extension.
std::string archivepath(const std::string& given) {
    fs::path p(given);
    std::string name = lowered(p.filename().string());
    if (name.find('.') == std::string::npos) name += ".cmp";
    return (p.parent_path() / name).string();
}

// One entry of the archive.
struct Member {
    CmpHeader h;
    uint64_t at;    // offset of its header
    bool cut;       // the archive ends inside its data
};

// The entries of the archive at path.  A foreign or damaged file fails; an
// archive cut short inside an entry's data gives that entry marked cut
// and ends there.
std::vector<Member> readmembers(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) fail(path, std::string("cannot open the archive: ") + std::strerror(errno));
    std::error_code ec;
    uint64_t size = fs::file_size(path, ec);
    std::vector<Member> members;
    uint64_t at = 0;
    while (at < size) {
        uint8_t raw[CMP_HDRSIZE];
        in.seekg(static_cast<std::streamoff>(at));
        in.read(reinterpret_cast<char*>(raw), CMP_HDRSIZE);
        Member m{};
        m.at = at;
        if (in.gcount() < CMP_HDRSIZE && (raw[0] == CMP_MAGIC1 || members.size()))
            fail(path, "cut short inside the entry header at byte " + std::to_string(at));
        if (in.gcount() < CMP_HDRSIZE || cmphdrunpack(raw, &m.h) != 0) {
            if (members.empty()) fail(path, "not an archive (Not a COMPRESS file.)");
            fail(path, "damaged: no entry header at byte " + std::to_string(at) +
                           " (Corrupt COMPRESS file.)");
        }
        at += CMP_HDRSIZE + uint64_t{m.h.stored};
        m.cut = at > size;
        members.push_back(m);
    }
    return members;
}

// Whether the entry name is like one of the patterns (all when none), as
// the archiver matches: "." added to a name without one.
bool selected(const std::string& name, const std::vector<std::string>& patterns) {
    if (patterns.empty()) return true;
    std::string probe = name.find('.') == std::string::npos ? name + "." : name;
    for (const std::string& p : patterns)
        if (islike(probe.c_str(), lowered(fs::path(p).filename().string()).c_str())) return true;
    return false;
}

std::string datetext(const CmpHeader& h) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%04d-%02d-%02d  %02d:%02d:%02d", 1900 + h.datetime[0],
                  h.datetime[1], h.datetime[2], h.datetime[3], h.datetime[4], h.datetime[5]);
    return buf;
}

int saving(uint64_t stored, uint64_t size) {
    return size == 0 ? 0 : static_cast<int>(100 - static_cast<int64_t>(stored * 100 / size));
}

void listmembers(const ArchiveOptions& opt, const std::string& path, std::FILE* out) {
    std::vector<Member> members = readmembers(path);
    std::vector<const Member*> shown;
    for (const Member& m : members)
        if (selected(m.h.name, opt.files)) shown.push_back(&m);
    if (opt.json) {
        std::fputs("[", out);
        for (size_t i = 0; i < shown.size(); ++i) {
            const CmpHeader& h = shown[i]->h;
            std::string dt = datetext(h);
            std::fprintf(out,
                         "%s\n  {\"name\": %s, \"date\": \"%s\", \"time\": \"%s\", \"size\": %u, "
                         "\"stored\": %u, \"saving\": %d, \"method\": \"%s\", \"width\": %u, "
                         "\"check\": \"%04x\"}",
                         i ? "," : "", jsonstring(h.name).c_str(), dt.substr(0, 10).c_str(),
                         dt.substr(12).c_str(), h.size, h.stored, saving(h.stored, h.size),
                         h.method == 1 ? "lzw" : "stored", h.bits, h.check);
        }
        std::fputs(shown.empty() ? "]\n" : "\n]\n", out);
    } else {
        std::fprintf(out, "%-12s  %-10s  %-8s  %10s  %10s  %6s  %-6s  %5s  %5s\n", "Name", "Date",
                     "Time", "Size", "Stored", "Saving", "Method", "Width", "Check");
        uint64_t size = 0, stored = 0;
        for (const Member* m : shown) {
            const CmpHeader& h = m->h;
            std::fprintf(out, "%-12s  %s  %10u  %10u  %5d%%  %-6s  %5u   %04x\n", h.name,
                         datetext(h).c_str(), h.size, h.stored, saving(h.stored, h.size),
                         h.method == 1 ? "lzw" : "stored", h.bits, h.check);
            size += h.size;
            stored += h.stored;
        }
        std::fprintf(out, "%-34s  %10llu  %10llu  %5d%%\n", counted(static_cast<long>(shown.size()), "file").c_str(),
                     static_cast<unsigned long long>(size), static_cast<unsigned long long>(stored),
                     saving(stored, size));
    }
    for (const Member& m : members)
        if (m.cut) fail(path, std::string("cut short: the archive ends inside ") + m.h.name);
}

// The files an add names, each checked: a missing file or one whose name an
// entry cannot hold is an error; a name the archiver lowers is a warning.
// Patterns are looked up here the same way, and "@LIST" read.
std::map<std::string, uint64_t> checkadd(const std::vector<std::string>& args) {
    std::vector<std::string> names;
    for (const std::string& a : args) {
        if (a.empty() || a[0] != '@') {
            names.push_back(a);
            continue;
        }
        std::ifstream list(a.substr(1));
        if (!list) fail(a.substr(1), std::string("cannot open the list file: ") + std::strerror(errno));
        for (std::string line; std::getline(list, line);) {
            line.erase(line.find_last_not_of(" \r\t") + 1);
            if (!line.empty()) names.push_back(line);
        }
    }
    std::map<std::string, uint64_t> sizes;
    std::string errors;
    auto check = [&](const fs::path& file) {
        std::string name = file.filename().string();
        std::error_code ec;
        if (name.size() > NAME_LIMIT) {
            errors += "velnor: " + file.string() + ": the name is longer than the " +
                      std::to_string(NAME_LIMIT) + " characters an archive entry holds\n";
        } else if (!fs::is_regular_file(file, ec)) {
            errors += "velnor: " + file.string() + ": " +
                      std::strerror(fs::exists(file, ec) ? EISDIR : ENOENT) + "\n";
        } else {
            if (lowered(name) != name)
                warn("the archiver takes names in lower case: " + name + " is kept as " +
                     lowered(name));
            sizes[lowered(name)] = fs::file_size(file, ec);
        }
    };
    for (const std::string& n : names) {
        fs::path p(n);
        std::string pattern = p.filename().string();
        if (pattern.find_first_of("*?") == std::string::npos) {
            check(p);
            continue;
        }
        fs::path dir = p.parent_path().empty() ? fs::path(".") : p.parent_path();
        std::error_code ec;
        bool any = false;
        for (const auto& e : fs::directory_iterator(dir, ec)) {
            if (!e.is_regular_file(ec)) continue;
            std::string name = lowered(e.path().filename().string());
            std::string probe = name.find('.') == std::string::npos ? name + "." : name;
            if (!islike(probe.c_str(), lowered(pattern).c_str())) continue;
            any = true;
            check(p.parent_path() / e.path().filename());
        }
        if (!any) errors += "velnor: " + n + ": no file matches\n";
    }
    if (!errors.empty()) {
        std::fflush(stdout);
        std::fputs(errors.c_str(), stderr);
        std::fprintf(stderr, "velnor: nothing was added\n");
        throw Failure{EXIT_FAILED};
    }
    return sizes;
}

void addfiles(const ArchiveOptions& opt, const std::string& path) {
    run.sizes = checkadd(opt.files.empty() ? std::vector<std::string>{"*.*"} : opt.files);
    run.sizes.erase(fs::path(path).filename().string());  // never added to itself
    std::error_code ec;
    // An empty file is the one runarchive made to hold a new archive;
    // never add to a file that is not an archive.
    if (fs::file_size(path, ec) > 0) readmembers(path);
    ProgressBar bar("");
    run.report = !opt.quiet;
    int32_t r = archiver(optionstring('A', opt, opt.quiet, ""), opt.archive, opt.files,
                         opt.quiet ? nullptr : &bar);
    if (r != 0 || !run.errors.empty()) {
        for (int e : run.errors)
            if (e >= 0 && e < 8)
                std::fprintf(stderr, "velnor: %s: %s (error %d)\n", path.c_str(), errortexts[e], e);
        fail(path, interrupted ? "stopped; the archive is left as it was"
                               : "nothing was added; the archive is left as it was");
    }
    // Where names are case-sensitive the archiver looks for a name lowered.
    std::string missing;
    std::vector<Member> members = readmembers(path);
    for (const auto& [name, size] : run.sizes) {
        bool in = false;
        for (const Member& m : members) in = in || name == m.h.name;
        if (!in) missing += " " + name;
    }
    if (!missing.empty()) fail(path, "the archiver did not find:" + missing);
}

void deletemembers(const ArchiveOptions& opt, const std::string& path, std::FILE* out) {
    std::vector<Member> members = readmembers(path);
    for (const Member& m : members)
        if (m.cut) fail(path, std::string("cut short: the archive ends inside ") + m.h.name);
    std::string unmatched;
    for (const std::string& f : opt.files) {
        bool any = false;
        for (const Member& m : members) any = any || selected(m.h.name, {f});
        if (!any) unmatched += (unmatched.empty() ? "" : ", ") + f;
    }
    if (!unmatched.empty())
        fail(path, "no member called " + unmatched + "; the archive is left as it was");
    std::string temp = path + ".$$$";
    {
        std::ifstream in(path, std::ios::binary);
        std::ofstream o(temp, std::ios::binary | std::ios::trunc);
        for (const Member& m : members) {
            if (selected(m.h.name, opt.files)) continue;
            std::vector<char> bytes(CMP_HDRSIZE + m.h.stored);
            in.seekg(static_cast<std::streamoff>(m.at));
            in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
            o.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        }
        o.flush();
        if (!in || !o) {
            std::error_code ec;
            fs::remove(temp, ec);
            fail(path, "cannot write the new archive; it is left as it was");
        }
    }
    // One step, and the run's hold goes over to the new archive.
    if (osreplace(temp.c_str(), path.c_str()) != 0) {
        const std::string reason = std::strerror(errno);
        std::error_code ec;
        fs::remove(temp, ec);
        fail(path, "cannot replace the archive: " + reason);
    }
    for (const Member& m : members)
        if (selected(m.h.name, opt.files)) std::fprintf(out, "Deleted: %s\n", m.h.name);
}

// Whether the file at path holds what the entry says: its size and check
// value.  An empty file comes out of the archiver as one stray byte,
// which is dropped here.
bool sound(const std::string& path, const CmpHeader& h) {
    std::error_code ec;
    uint64_t size = fs::file_size(path, ec);
    if (ec || !(size == h.size || (h.size == 0 && size == 1))) return false;
    if (h.size == 0) {
        fs::resize_file(path, 0, ec);
        return !ec;
    }
    std::ifstream in(path, std::ios::binary);
    uint16_t sum = 0;
    char buf[65536];
    while (in.read(buf, sizeof buf) || in.gcount() > 0)
        for (std::streamsize i = 0; i < in.gcount(); ++i)
            sum = static_cast<uint16_t>(sum + static_cast<unsigned char>(buf[i]));
    return sum == h.check;
}

// Whether an existing file may be replaced: --overwrite, or a Yes typed on
// a terminal.
bool mayreplace(const ArchiveOptions& opt, const std::string& file) {
    if (opt.overwrite) return true;
    std::fflush(stdout);
    if (!stdinistty()) {
        std::fprintf(stderr, "velnor: %s already exists; not replaced, as input is not a "
                             "terminal (--overwrite replaces files)\n",
                     file.c_str());
        return false;
    }
    std::fprintf(stderr, "File '%s' already exists, overwrite it? [y/N] ", file.c_str());
    std::fflush(stderr);
    std::string answer;
    if (!std::getline(std::cin, answer)) return false;
    return !answer.empty() && (answer[0] == 'y' || answer[0] == 'Y');
}

void extractmembers(const ArchiveOptions& opt, const std::string& path, std::FILE* out) {
    std::vector<Member> members = readmembers(path);
    fs::path target = opt.target.empty() ? fs::path(".") : fs::path(opt.target);
    std::error_code ec;
    fs::create_directories(target, ec);
    if (ec) fail(opt.target, "cannot make the folder: " + ec.message());
    // Members land in a folder of their own beside their targets first.
    // Named apart from every other run's, which may extract beside this one.
    std::string tempname = ".velnor" + std::to_string(std::random_device{}() % 100000);
    fs::path temp = opt.target.empty() ? fs::path(tempname) : target / tempname;
    if (temp.string().size() + 1 > TARGET_LIMIT)
        fail(opt.target, "the target folder is longer than the " +
                             std::to_string(TARGET_LIMIT - tempname.size() - 2) +
                             " characters the archiver leaves for it");
    fs::create_directories(temp, ec);
    if (ec) fail(temp.string(), "cannot make the folder: " + ec.message());
    ProgressBar bar("");
    int failed = 0, done = 0;
    for (const Member& m : members) {
        const CmpHeader& h = m.h;
        if (!selected(h.name, opt.files)) continue;
        fs::path final = opt.target.empty() ? fs::path(h.name) : target / h.name;
        std::string shown = final.generic_string();
        auto bad = [&](const std::string& why) {
            std::fflush(out);
            std::fprintf(stderr, "velnor: %s: %s; %s\n", path.c_str(), h.name, why.c_str());
            ++failed;
        };
        if (m.cut) {
            bad("the archive ends inside it; nothing was extracted");
            continue;
        }
        fs::path part = temp / h.name;
        run.errors.clear();
        run.report = false;
        run.sizes = {{h.name, h.size}};
        // The archiver matches an entry name without a dot with "."
        // appended, so the pattern for such a member carries it too.
        std::string pattern = std::strchr(h.name, '.') ? h.name : std::string(h.name) + ".";
        archiver(optionstring('X', opt, true, temp.string()), opt.archive, {pattern},
                 opt.quiet ? nullptr : &bar);
        if (interrupted) {
            fs::remove_all(temp, ec);
            fail(path, "stopped");
        }
        if (!fs::exists(part, ec) || !sound(part.string(), h)) {
            fs::remove(part, ec);
            bad(std::string(fs::exists(final, ec) ? "the file there is left as it was" : "not extracted") +
                ": its check value differs (a wrong password, or a damaged archive)");
            continue;
        }
        if (fs::exists(final, ec) && !mayreplace(opt, shown)) {
            fs::remove(part, ec);
            ++failed;
            continue;
        }
        fs::remove(final, ec);  // a rename does not replace on every system
        fs::rename(part, final, ec);
        if (ec) {
            bad("cannot put it in place: " + ec.message());
            continue;
        }
        ++done;
        std::fprintf(out, "%s  ok\n", shown.c_str());
    }
    fs::remove_all(temp, ec);
    if (failed)
        fail(path, counted(failed, "member") + " not extracted, " + std::to_string(done) +
                       " extracted");
}

}  // namespace

void runarchive(const ArchiveOptions& opt, std::FILE* out) {
    if (opt.action == "delete" && opt.files.empty())
        fail(opt.archive, "delete needs the names of the members to take out", EXIT_USAGE);
    if (opt.password.find('"') != std::string::npos || opt.password.size() > 10)
        fail(opt.archive, "a password has up to 10 characters and no double quote", EXIT_USAGE);
    if (opt.target.find('"') != std::string::npos)
        fail(opt.archive, "a target folder cannot hold a double quote", EXIT_USAGE);
    checkpath(opt.archive);
    std::string path = archivepath(opt.archive);
    if (lowered(opt.archive) != opt.archive && path != opt.archive)
        warn("the archiver takes names in lower case: " + opt.archive + " is used as " + path);
    run = Run{};
    run.out = out;
    run.archive = path;
    interrupted = 0;
    std::error_code ec;
    if (opt.action != "add" && !fs::exists(path, ec))
        fail(path, std::strerror(ENOENT));
    if (opt.action == "add") {
        // The archiver reports only that it could not create the file.
        const fs::path folder = fs::path(path).parent_path();
        if (!folder.empty() && !fs::is_directory(folder, ec))
            fail(folder.string(), std::string("cannot make the archive in this folder: ") +
                                      std::strerror(fs::exists(folder, ec) ? ENOTDIR : ENOENT));
    }
    // Adding and deleting replace the archive: held alone for the run.  A
    // new archive is made empty first, so that there is a file to hold.
    const bool changes = opt.action == "add" || opt.action == "delete";
    Holds holds;
    bool made = false;
    for (int tries = 0; tries < 3; tries++) {
        if (opt.action == "add" && !fs::exists(path, ec))
            if (std::FILE* f = std::fopen(path.c_str(), "wbx")) made = std::fclose(f) == 0;
        if (holds.hold(path, changes ? OS_HOLD_ALONE : OS_HOLD_READING)) break;
    }
    if (opt.action == "add") {
        try {
            addfiles(opt, path);
        } catch (const Failure&) {
            if (made && fs::file_size(path, ec) == 0) fs::remove(path, ec);
            throw;
        }
    } else if (opt.action == "extract") {
        extractmembers(opt, path, out);
    } else if (opt.action == "delete") {
        deletemembers(opt, path, out);
    } else if (opt.raw) {
        readmembers(path);
        if (archiver(optionstring('L', opt, opt.quiet, ""), opt.archive, opt.files, nullptr) != 0)
            throw Failure{EXIT_FAILED};
    } else {
        listmembers(opt, path, out);
    }
}

}  // namespace vtool
