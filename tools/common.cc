// common.cc - failure reporting, engine start and stop, and opening record
// files for the velnor program.
#include "common.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <vector>

#include "libinternal.h"

namespace vtool {

void fail(const std::string& what, const std::string& message, int code) {
    std::fflush(stdout);
    std::fprintf(stderr, "velnor: %s: %s\n", what.c_str(), message.c_str());
    throw Failure{code};
}

void warn(const std::string& message) {
    std::fflush(stdout);
    std::fprintf(stderr, "velnor: %s\n", message.c_str());
}

std::string statustext(int status) {
    const char* msg = fhmessage(status);
    if (msg != nullptr) return *msg ? std::string("Error ") + msg : std::string("Error");
    switch (status) {
    case VN_C_NOREC: return "no current record";
    case VN_C_BADOP: return "unknown operation";
    case VN_C_NOTAPPLY: return "operation does not apply to this file";
    case VN_C_READONLY: return "the file is open read only";
    case VN_C_NETNAME: return "unknown network type";
    case VN_C_RLOCKED: return "the record is locked by another user";
    case VN_C_FLOCKED: return "the file is locked by another user";
    case VN_C_DELETED: return "the record is deleted";
    case VN_C_VARBACK: return "cannot step back in a variable-length file";
    case VN_C_KEYEXPR: return "bad key expression";
    default: return "unexpected condition";
    }
}

namespace {

enum class Use { Open, Create, Write };

// What the system says now about using path that way, "" when it allows it.
std::string osreason(const std::string& path, Use use) {
    namespace fs = std::filesystem;
    if (path.empty()) return "";
    if (path.size() > PATH_LIMIT)
        return "the path is longer than the library's limit of " + std::to_string(PATH_LIMIT) +
               " characters";
    std::error_code ec;
    if (use == Use::Create) {
        fs::path dir = fs::path(path).parent_path();
        if (dir.empty()) dir = ".";
        if (!fs::is_directory(dir, ec)) return std::strerror(fs::exists(dir, ec) ? ENOTDIR : ENOENT);
        return "";
    }
    if (fs::is_directory(path, ec)) return std::strerror(EISDIR);
    std::FILE* f = std::fopen(path.c_str(), use == Use::Write ? "r+b" : "rb");
    if (f == nullptr) return std::strerror(errno);
    std::fclose(f);
    return "";
}

}  // namespace

std::string statusline(int status, const std::string& path) {
    std::string line = statustext(status) + " (status " + std::to_string(status) + ")";
    Use use;
    switch (status) {
    case VN_E_DATOPEN: case VN_E_FIDOPEN: case VN_E_IDXOPEN: case VN_E_HSHOPEN:
    case VN_E_DATREAD: case VN_E_FIDREAD: case VN_E_IDXREAD: case VN_E_HSHREAD:
        use = Use::Open;
        break;
    case VN_E_DATCREATE: case VN_E_IDXCREATE: case VN_E_HSHCREATE: use = Use::Create; break;
    case VN_E_DATWRITE: case VN_E_IDXWRITE: case VN_E_HSHWRITE: use = Use::Write; break;
    default: return line;
    }
    std::string why = osreason(path, use);
    if (why.empty()) return line;
    if (use == Use::Write) return why + ": cannot write (status " + std::to_string(status) + ")";
    return line + ": " + why;
}

void checkpath(const std::string& path, size_t limit) {
    if (path.size() > limit)
        fail(path.substr(0, 40) + "...", "the path is " + std::to_string(path.size()) +
                                             " characters, over the library's limit of " +
                                             std::to_string(limit));
}

std::string counted(long n, const std::string& noun) {
    return std::to_string(n) + " " + noun + (n == 1 ? "" : "s");
}

std::string lowered(std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

std::string derivedname(const std::string& datname, const char* ext) {
    size_t slash = datname.find_last_of("/\\");
    size_t dot = datname.rfind('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash))
        return datname + ext;
    return datname.substr(0, dot) + ext;
}

Engine::Engine() {
    FHCB cb{};
    cb.opcode = VN_OP_INIT;
    if (filehandler(&cb) != 0) fail("engine", statusline(cb.status, ""));
}

Engine::~Engine() {
    FHCB cb{};
    cb.opcode = VN_OP_SHUTDOWN;
    filehandler(&cb);
}

namespace {

// Copies name into a fixed name field of the block; too long is an error.
void setname(char (&field)[PATH_LIMIT + 1], const std::string& name) {
    checkpath(name);
    std::memcpy(field, name.c_str(), name.size() + 1);
}

// The engine's number for a network type name; a name it does not know is
// a usage failure.
int nettypeof(const std::string& name) {
    FHCB cb{};
    char work[257] = {};
    std::snprintf(work, sizeof work, "%s", name.c_str());
    cb.work = work;
    cb.opcode = VN_OP_NETTYPE;
    if (filehandler(&cb) != 0)
        fail(name, "unknown network type (status " + std::to_string(cb.status) + ")", EXIT_USAGE);
    return cb.nettype;
}

// name with "~part-" before its last part: the name a new file is made
// under before it is put in place.
std::string partname(const std::string& name) {
    const size_t slash = name.find_last_of("/\\");
    const size_t at = slash == std::string::npos ? 0 : slash + 1;
    return name.substr(0, at) + "~part-" + name.substr(at);
}

// Makes the files of target new under part names, and puts each in place
// once the engine has written its header, the data file last: a run
// killed on the way leaves no data file without its header, which no
// repair could mend, only part files that the next run makes again.
void makenew(const RecordTarget& target) {
    FHCB cb{};
    const std::string dat = partname(target.path);
    setname(cb.datname, dat);
    setname(cb.fidname, target.fid.empty() ? derivedname(target.path, ".fid") : target.fid);
    setname(cb.idxname, target.index.empty() ? "" : partname(target.index));
    if (vfhmake(&cb) != 0 || vfhclose(&cb) != 0) fail(target.path, statusline(cb.status, target.path));
    std::vector<std::pair<std::string, std::string>> moves;  // part name, final name
    if (!target.index.empty()) moves.emplace_back(partname(target.index), target.index);
    else
        for (const char* ext : {".idx", ".hsh"}) moves.emplace_back(derivedname(dat, ext), derivedname(target.path, ext));
    moves.emplace_back(dat, target.path);
    std::error_code ec;
    for (const auto& [from, to] : moves)
        if (std::filesystem::exists(from, ec) && osreplace(from.c_str(), to.c_str()) != 0)
            fail(to, std::string("cannot put the new file in place: ") + std::strerror(errno));
}

}  // namespace

bool takeslocks(const std::string& network) {
    const int nettype = nettypeof(network);
    return nettype == 1 || nettype == 2;
}

RecordFile::RecordFile(const RecordTarget& target, bool create) : target_(target) {
    setname(cb_.datname, target.path);
    setname(cb_.fidname, target.fid);
    setname(cb_.idxname, target.index);
    // Without the engine's byte locks the program holds the file alone.
    bool unshared = !takeslocks(target.network);
    unshared_ = unshared;
    if (create) makenew(target);
    hold(unshared);
    if (vfhopen(&cb_) != 0) fail_status();
    open_ = true;
    // The network type comes after the open, which always starts shared.
    std::snprintf(cb_.work, 257, "%s", target.network.c_str());
    cb_.opcode = VN_OP_NETTYPE;
    if (filehandler(&cb_) != 0) {
        // The destructor does not run for a half-made object: close here.
        uint8_t status = cb_.status;
        open_ = false;
        vfhclose(&cb_);
        cb_.status = status;
        if (cb_.status == VN_C_NETNAME)
            fail(target.network, "unknown network type (status " + std::to_string(cb_.status) + ")",
                 EXIT_USAGE);
        fail_status();
    }
}

int32_t holdkind(bool unshared, bool readsonly) {
    return !unshared ? OS_HOLD_SHARED : readsonly ? OS_HOLD_READING : OS_HOLD_ALONE;
}

bool Holds::hold(const std::string& path, int32_t kind, const std::string& hint) {
    const int32_t token = osholdfile(path.c_str(), kind);
    if (token > 0) tokens_.push_back(token);
    if (token != 0) return token > 0;  // held, or the open names the problem
    release();
    std::fflush(stdout);
    std::fprintf(stderr, "velnor: %s is in use by another process%s\n", path.c_str(), hint.c_str());
    throw Failure{EXIT_FAILED};
}

void Holds::release() {
    for (int32_t token : tokens_) osunholdfile(token);
    tokens_.clear();
}

RecordFile::~RecordFile() {
    if (open_) vfhclose(&cb_);
}

void RecordFile::hold(bool unshared) {
    const std::string hint = unshared ? " (use --network MSNET to share it)" : " that holds it unshared";
    const int32_t kind = holdkind(unshared, target_.readsonly);
    try {
        holds_.hold(target_.path, kind, hint);
        if (!target_.index.empty()) {
            holds_.hold(target_.index, kind, hint);
        } else if (!holds_.hold(derivedname(target_.path, ".idx"), kind, hint)) {
            holds_.hold(derivedname(target_.path, ".hsh"), kind, hint);
        }
    } catch (const Failure&) {
        if (open_) {
            open_ = false;
            vfhclose(&cb_);
        }
        throw;
    }
}

long uncounted(const FHCB* cb, const std::string& path) {
    if (cb->reclen == 0 || (cb->fflags & (VN_FF_VARLEN | VN_FF_HASHED)) != 0) return 0;
    std::error_code ec;
    const uintmax_t size = std::filesystem::file_size(path, ec);
    if (ec) return 0;
    const uintmax_t records = size / cb->reclen;
    return records > cb->nrecs ? static_cast<long>(records - cb->nrecs) : 0;
}

long uncounted(const std::string& path, const std::string& fid) {
    if (path.size() > PATH_LIMIT || fid.size() > PATH_LIMIT) return 0;
    FHCB cb{};
    std::memcpy(cb.datname, path.c_str(), path.size() + 1);
    std::memcpy(cb.fidname, fid.c_str(), fid.size() + 1);
    cb.fflags = VN_FF_NOKEY;  // the data file alone
    if (vfhopen(&cb) != 0) return 0;
    const long extra = uncounted(&cb, path);
    vfhclose(&cb);
    return extra;
}

void RecordFile::checkcount() const {
    const long extra = unshared_ ? uncounted(&cb_, target_.path) : 0;
    if (extra > 0)
        fail(target_.path, "holds " + counted(extra, "record") + " past the count in its header (a run was cut "
                         "short); a write would overwrite one: run velnor pack " + target_.path + " first");
}

void RecordFile::close() {
    if (!open_) return;
    open_ = false;
    if (vfhclose(&cb_) != 0) fail_status();
}

std::string RecordFile::fileof(int status) const {
    bool hashed = (cb_.fflags & VN_FF_HASHED) != 0;
    auto idx = [&](const char* ext) {
        return cb_.idxname[0] ? std::string(cb_.idxname) : derivedname(target_.path, ext);
    };
    if ((status >= 6 && status <= 8) || status == 13 || status == 41 || status == 42)
        return cb_.fidname[0] ? std::string(cb_.fidname) : derivedname(target_.path, ".fid");
    if (status >= 21 && status <= 30) return idx(".idx");
    if (status >= 31 && status <= 39 && status != 37) return idx(".hsh");
    if (status == 10) return idx(hashed ? ".hsh" : ".idx");
    return target_.path;
}

void RecordFile::fail_status() const {
    std::string file = fileof(cb_.status);
    fail(file, statusline(cb_.status, file));
}

void RecordFile::setkey(int key) {
    if (key == 0 && cb_.nkeys == 0) return;  // already in physical order
    if (key < 0 || key > cb_.nkeys)
        fail(target_.path, "no key " + std::to_string(key) + " (the file has " +
                             std::to_string(cb_.nkeys) + ")",
             EXIT_USAGE);
    if (vfhsetkey(&cb_, static_cast<uint8_t>(key)) != 0) fail_status();
}

void RecordFile::checkthread(int thread) const {
    if (thread < 1 || thread > cb_.nthreads)
        fail(target_.path, "no thread " + std::to_string(thread) + " (the file has " +
                             std::to_string(cb_.nthreads) + ")",
             EXIT_USAGE);
}

}  // namespace vtool
