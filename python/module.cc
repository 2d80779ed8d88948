// module.cc - the engine as the Python extension _velnor: a record file
// block with its operations, each returning the engine's status (0 for
// success), and file maintenance, keyword search and the archiver with
// their texts collected.  The package velnor (velnor/__init__.py) builds
// records, orders and exceptions on top.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "definition/definition.h"
#include "tools/keystart.h"
#include "velnor.h"

namespace py = pybind11;

namespace {

class File {
public:
    ~File() { close(); }

    // Opens (or with create makes) path, read-only when asked; the network
    // type is set after the open, which starts shared.
    int open(const std::string& path, const std::string& fid, const std::string& index,
             const std::string& network, bool create, bool readonly) {
        if (path.size() > 260 || fid.size() > 260 || index.size() > 260) return VN_E_DATOPEN;
        std::strcpy(cb_.datname, path.c_str());
        std::strcpy(cb_.fidname, fid.c_str());
        std::strcpy(cb_.idxname, index.c_str());
        if (readonly) cb_.mflags |= VN_MF_READONLY;
        if ((create ? vfhmake(&cb_) : vfhopen(&cb_)) != 0) return cb_.status;
        open_ = true;
        std::snprintf(cb_.work, 257, "%s", network.c_str());
        cb_.opcode = VN_OP_NETTYPE;
        if (filehandler(&cb_) != 0) {
            const int status = cb_.status;
            close();
            return status;
        }
        return 0;
    }
    int close() {
        if (!open_) return 0;
        open_ = false;
        return vfhclose(&cb_) == 0 ? 0 : cb_.status;
    }

    // The definition: record length, flags, items (name, type, just, first
    // byte in the record, length, occurrences) and keys (name, segments of
    // (offset in the record, length, flags)).
    py::dict definition() const {
        py::dict d;
        py::list items, keys;
        for (unsigned i = 0; i < cb_.nitems; ++i) {
            const FidItem& it = cb_.items[i];
            items.append(py::make_tuple(std::string(it.name), std::string(1, it.type),
                                        std::string(1, it.just), it.offset, it.length, it.occurs));
        }
        for (int k = 0; k < cb_.nkeys; ++k) {
            const FidKey& key = cb_.keys[k];
            py::list segs;
            for (unsigned s = 0; s < key.nsegs && s < FID_MAXSEGS; ++s)
                segs.append(py::make_tuple(key.seg[s].segoff + 1, key.seg[s].seglen, key.seg[s].segflags));
            keys.append(py::make_tuple(std::string(key.name ? key.name : ""), segs));
        }
        d["reclen"] = cb_.reclen;
        d["numbered"] = (cb_.fflags & VN_FF_RECNO) != 0;
        d["hashed"] = (cb_.fflags & VN_FF_HASHED) != 0;
        d["items"] = items;
        d["keys"] = keys;
        return d;
    }

    int setkey(int key) { return vfhsetkey(&cb_, static_cast<uint8_t>(key)) == 0 ? 0 : cb_.status; }
    // Positions at the first record whose key is at or after value (equal
    // to it when exact).
    int position(const py::bytes& value, bool exact) {
        std::string v = value;
        std::memset(cb_.work, 0, 257);
        std::memcpy(cb_.work, v.data(), std::min<size_t>(v.size(), 256));
        return vfhposn(&cb_, exact ? 1 : 0) == 0 ? 0 : cb_.status;
    }
    // Positions on the first record slot after the header, for a walk in
    // physical order (a hashed file positions through its hash file
    // otherwise, so the slot is set directly).
    int tofirst() {
        if (setkey(0) != 0) return cb_.status;
        if (cb_.fflags & VN_FF_HASHED) {
            std::error_code ec;
            cb_.datpos = cb_.reclen;
            if (std::filesystem::file_size(cb_.datname, ec) > cb_.reclen || ec)
                cb_.state |= VN_ST_CURRENT;
            else
                cb_.state &= static_cast<uint16_t>(~VN_ST_CURRENT);
            return 0;
        }
        return position(py::bytes(), false);
    }
    // A value below every value of key (1-based): where a walk of every
    // record in key order starts.
    py::bytes lowest(int key) const { return py::bytes(vtool::lowestkey(&cb_, key)); }
    int toend() {
        cb_.opcode = VN_OP_END;
        if (filehandler(&cb_) != 0) return cb_.status;
        cb_.state &= static_cast<uint16_t>(~VN_ST_CURRENT);
        return 0;
    }
    bool current() const { return (cb_.state & VN_ST_CURRENT) != 0; }
    int read(bool stay) { return vfhread(&cb_, stay ? 1 : 0) == 0 ? 0 : cb_.status; }
    int backsp() { return vfhbacksp(&cb_) == 0 ? 0 : cb_.status; }
    int write(bool stay) { return vfhwrite(&cb_, stay ? 1 : 0) == 0 ? 0 : cb_.status; }
    int remove() { return vfhdelete(&cb_) == 0 ? 0 : cb_.status; }
    int lock() { return vfhrlock(&cb_) == 0 ? 0 : cb_.status; }
    int unlock() { return vfhrunlock(&cb_) == 0 ? 0 : cb_.status; }
    int secure() { return vfhsecure(&cb_) == 0 ? 0 : cb_.status; }

    py::bytes record() const { return py::bytes(cb_.recbuf, cb_.reclen); }
    void setrecord(const py::bytes& bytes) {
        std::string b = bytes;
        std::memset(cb_.recbuf, ' ', cb_.reclen);
        std::memcpy(cb_.recbuf, b.data(), std::min<size_t>(b.size(), cb_.reclen));
    }
    // Key key (1-based) of the record in the buffer, as the index holds it.
    py::bytes key(int key) {
        char buf[600];
        const int internal = (cb_.fflags & VN_FF_RECNO) ? key : key - 1;
        const int n = bldkey(&cb_, internal, buf);
        return py::bytes(buf, n > 0 ? n : 0);
    }

private:
    FHCB cb_{};
    bool open_ = false;
};

// The texts go to Python as bytes: they quote records in the file's code
// page, which the package decodes.
std::vector<std::pair<int, py::bytes>>* maintlines = nullptr;

int32_t VELNOR_CALL maintline(int32_t code, char* text) {
    if (code != VN_FM_POLL && maintlines && text) maintlines->emplace_back(code, text);
    return 0;
}

// Runs VERIFY, RECOVER or PACK: the result and the progress lines.
py::tuple maint(int op, const std::string& path, const std::string& fid,
                const std::string& index, uint32_t flags, const std::string& report) {
    std::vector<std::pair<int, py::bytes>> lines;
    maintlines = &lines;
    const int rc = filemaint(op, path.c_str(), fid.c_str(), index.c_str(), "", flags,
                             report.c_str(), maintline);
    maintlines = nullptr;
    return py::make_tuple(rc, lines);
}

// The values of word in the keyword index whose keyword file is path (with
// its definition and index) and posting file posting; (status, values).
py::tuple keywordsearch(const std::string& path, const std::string& fid, const std::string& index,
                        const std::string& posting, const std::string& word) {
    FHCB cb{};
    if (path.size() > 260 || fid.size() > 260 || index.size() > 260)
        return py::make_tuple(int(VN_E_DATOPEN), std::vector<uint32_t>());
    std::strcpy(cb.datname, path.c_str());
    std::strcpy(cb.fidname, fid.c_str());
    std::strcpy(cb.idxname, index.c_str());
    if (fhhypinit(&cb, posting.c_str(), 1, 0) != 0)
        return py::make_tuple(cb.status ? int(cb.status) : int(VN_E_HYPOPEN), std::vector<uint32_t>());
    uint32_t count = 0;
    uint32_t* found = fhhypsearch(&cb, word.c_str(), &count);
    std::vector<uint32_t> values(found, found + (found ? count : 0));
    const int status = found ? 0 : cb.status;
    if (found) globalmfree(found);
    fhhypinit(&cb, posting.c_str(), 0, 0);
    return py::make_tuple(status, values);
}

std::string* archivetext = nullptr;
std::vector<int>* archiveerrors = nullptr;
void VELNOR_CALL archivereport(const char* line) {
    if (archivetext && line) *archivetext += line;
}
void VELNOR_CALL archiveerror(int32_t errnum) {
    if (archiveerrors) archiveerrors->push_back(errnum);
}

// One archiver run: (result, report text, error numbers).
py::tuple archive(const std::string& options, const std::string& name,
                  const std::vector<std::string>& patterns) {
    std::string text;
    std::vector<int> errors;
    archivetext = &text;
    archiveerrors = &errors;
    compress_setsinks(archivereport, archiveerror);
    std::vector<char*> args;
    for (const std::string& p : patterns) args.push_back(const_cast<char*>(p.c_str()));
    const int rc = compress_files(options.c_str(), name.c_str(), static_cast<int32_t>(args.size()),
                                  args.empty() ? nullptr : args.data());
    compress_setsinks(nullptr, nullptr);
    archivetext = nullptr;
    archiveerrors = nullptr;
    return py::make_tuple(rc, py::bytes(text), errors);
}

}  // namespace

PYBIND11_MODULE(_velnor, m) {
    m.doc() = "The velnor engine, low level; use the velnor package.";
    FHCB start{};
    start.opcode = VN_OP_INIT;
    filehandler(&start);
    py::class_<File>(m, "File")
        .def(py::init<>())
        .def("open", &File::open)
        .def("close", &File::close)
        .def("definition", &File::definition)
        .def("setkey", &File::setkey)
        .def("position", &File::position)
        .def("tofirst", &File::tofirst)
        .def("lowest", &File::lowest)
        .def("toend", &File::toend)
        .def("current", &File::current)
        .def("read", &File::read)
        .def("backsp", &File::backsp)
        .def("write", &File::write)
        .def("remove", &File::remove)
        .def("lock", &File::lock)
        .def("unlock", &File::unlock)
        .def("secure", &File::secure)
        .def("record", &File::record)
        .def("setrecord", &File::setrecord)
        .def("key", &File::key);
    m.def("message", [](int status) {
        const char* text = fhmessage(status);
        return py::bytes(text ? text : "");
    });
    m.def("maint", &maint);
    m.def("keywordsearch", &keywordsearch);
    m.def("archive", &archive);
    py::dict codes;
    codes["NOREC"] = int(VN_C_NOREC);
    codes["DELETED"] = int(VN_C_DELETED);
    codes["RLOCKED"] = int(VN_C_RLOCKED);
    codes["FLOCKED"] = int(VN_C_FLOCKED);
    codes["IDXLOCK"] = int(VN_E_IDXLOCK);
    codes["READONLY"] = int(VN_C_READONLY);
    py::list damaged;
    for (int s : {VN_E_DATREAD, VN_E_FIDREAD, VN_E_FIDVERSION, VN_E_INDEX, VN_E_IDXREAD,
                  VN_E_IDXVERSION, VN_E_IDXFID, VN_E_IDXCORRUPT, VN_E_IDXOLD, VN_E_HSHREAD,
                  VN_E_HSHVERSION, VN_E_HSHFID, VN_E_HSHCORRUPT, VN_E_DATFID, VN_E_HYPREAD})
        damaged.append(s);
    codes["DAMAGED"] = damaged;
    m.attr("codes") = codes;
}
