// common.cc - failure reporting, engine start and stop, and opening record
// files for the velnor program.
#include "common.h"

#include <cstdio>
#include <cstring>

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
    if (filehandler(&cb) != 0) fail("engine", statustext(cb.status) + " (status " +
                                                  std::to_string(cb.status) + ")");
}

Engine::~Engine() {
    FHCB cb{};
    cb.opcode = VN_OP_SHUTDOWN;
    filehandler(&cb);
}

namespace {

// Copies name into a fixed name field of the block; too long is an error.
void setname(char (&field)[261], const std::string& name) {
    if (name.size() >= sizeof field) fail(name, "file name too long");
    std::memcpy(field, name.c_str(), name.size() + 1);
}

}  // namespace

RecordFile::RecordFile(const OpenSpec& target, bool create) : spec_(target) {
    setname(cb_.datname, target.path);
    setname(cb_.fidname, target.fid);
    setname(cb_.idxname, target.index);
    if ((create ? vfhmake(&cb_) : vfhopen(&cb_)) != 0) fail_status();
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

RecordFile::~RecordFile() {
    if (open_) vfhclose(&cb_);
}

void RecordFile::close() {
    if (!open_) return;
    open_ = false;
    if (vfhclose(&cb_) != 0) fail_status();
}

std::string RecordFile::fileof(int status) const {
    bool hashed = (cb_.fflags & VN_FF_HASHED) != 0;
    auto idx = [&](const char* ext) {
        return cb_.idxname[0] ? std::string(cb_.idxname) : derivedname(spec_.path, ext);
    };
    if ((status >= 6 && status <= 8) || status == 13 || status == 41 || status == 42)
        return cb_.fidname[0] ? std::string(cb_.fidname) : derivedname(spec_.path, ".fid");
    if (status >= 21 && status <= 30) return idx(".idx");
    if (status >= 31 && status <= 39 && status != 37) return idx(".hsh");
    if (status == 10) return idx(hashed ? ".hsh" : ".idx");
    return spec_.path;
}

void RecordFile::fail_status() const {
    fail(fileof(cb_.status),
         statustext(cb_.status) + " (status " + std::to_string(cb_.status) + ")");
}

void RecordFile::setkey(int key) {
    if (key == 0 && cb_.nkeys == 0) return;  // already in physical order
    if (key < 0 || key > cb_.nkeys)
        fail(spec_.path, "no key " + std::to_string(key) + " (the file has " +
                             std::to_string(cb_.nkeys) + ")",
             EXIT_USAGE);
    if (vfhsetkey(&cb_, static_cast<uint8_t>(key)) != 0) fail_status();
}

void RecordFile::checkthread(int thread) const {
    if (thread < 1 || thread > cb_.nthreads)
        fail(spec_.path, "no thread " + std::to_string(thread) + " (the file has " +
                             std::to_string(cb_.nthreads) + ")",
             EXIT_USAGE);
}

}  // namespace vtool
