// fmpack.cc - PACK: copies the active records of a record file into new
// data and key files under temporary names (".zdq", ".ziq") through the
// engine's own create and write, repairing on the way what can be repaired
// (records cut to the definition's length after asking once, variable-
// length records found again after damaged bytes, records with unprintable
// text moved to the ".nas" file on request), then puts the new files in
// place of the old ones.
#include <cstring>
#include <vector>

#include "engine/engine.h"
#include "engine/handles.h"
#include "definition/fid.h"
#include "definition/keys.h"
#include "record/record.h"
#include "maint/fm.h"
#include "support/os.h"
#include "support/limits.h"

namespace {

constexpr int32_t kSecureEvery = 5000;

bool hexdigit(char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F'); }

struct Pack : FmRun {
    uint32_t flags = 0;
    bool created = false;
    char* buf = nullptr;
    std::vector<char> raw;
    int32_t olddat = 0;
    BlockReader data;
    int32_t strip = -1;
    char dat[FH_NAMESIZE] = "";
    char tmpdat[FH_NAMESIZE] = "";
    char tmpkey[FH_NAMESIZE] = "";
    char stripname[FH_NAMESIZE] = "";
    int32_t active = 0;
    int32_t deleted = 0;
    int32_t datlen = 0;
    int32_t last = -1;
    bool confirmed = false;

    int32_t op(uint8_t code) {
        cb.opcode = code;
        filehandler(&cb);
        return cb.status;
    }
    void percent(int32_t pos) {
        const int32_t pct = fmpct(pos, datlen, 100, 1, true);
        if (pct != last) fmpercent(last = pct);
    }

    int32_t create(const char* fid, const char* key);
    int32_t prepare();
    bool findrecord(int32_t* pos, int32_t* len);
    int32_t fixlength(int32_t pos, int32_t len, int32_t* next);
    bool unprintable() const;
    int32_t copy(int32_t pos);
    int32_t scan();
    void close(bool keep);
    int32_t install(const char* key);
};

int32_t Pack::create(const char* fid, const char* key) {
    fmtmpname(dat, "zdq", tmpdat);
    fmtmpname(*key != '\0' ? key : dat, "ziq", tmpkey);
    setext(dat, stripname, ".nas");
    nstrncpy(cb.datname, tmpdat, FH_NAMEMAX);
    nstrncpy(cb.idxname, tmpkey, FH_NAMEMAX);
    if (*fid != '\0') {
        nstrncpy(cb.fidname, fid, FH_NAMEMAX);
    } else {
        setext(dat, cb.fidname, ".fid");
    }
    fmstatus("Creating temporary files...");
    cb.fflags = 0;
    // Maintenance: the new files are ours alone, and nothing reads them by
    // position, so a write need not step on to the next key.
    cb.mflags = VN_MF_EXCLUSIVE | VN_MF_STAY;
    created = true;               // even a half-done create leaves files to remove
    if (op(VN_OP_CREATE) != 0) return cb.status;
    fhsettransient(&cb);  // installed only by a syncing rename
    return 0;
}

int32_t Pack::prepare() {
    fmfiletype(&cb);
    fmstatus("Opening data file...");
    buf = static_cast<char*>(globalmalloc(cb.reclen + 16u));
    if (buf == nullptr) return fail(VN_E_MEMORY);
    cb.recbuf = buf;
    raw.assign(REC_MAX, '\0');
    olddat = osopen(dat, VN_O_RDONLY | VN_O_BINARY, 0);
    if (olddat < 1) {
        olddat = 0;
        return fail(VN_E_DATOPEN);
    }
    data.attach(olddat);
    fmstatus("Reading data file header...");
    if (data.readat(0, raw.data(), cb.reclen) < cb.reclen) return fail(VN_E_DATREAD);
    if (raw[cb.reclen - 1] != '\n') {
        fmmessage("Error: Data/FID record length mismatch.");
        fmreport(1, "Error: Data/FID record length mismatch.");
        return fail(VN_E_DATREAD);
    }
    fmstatus("File PACK and RECOVER in progress...");
    datlen = osfilesize(olddat);
    return 0;
}

// The next variable-length record at or after *pos: a status byte (blank
// or "D"), four hexadecimal digits and a length that fits the definition.
// After damage the record announced must also end in a line feed.  False
// at the end of the data.
bool Pack::findrecord(int32_t* pos, int32_t* len) {
    bool resync = false;
    for (;; ++*pos) {
        char head[5];
        if (data.readat(*pos, head, 5) < 5) return false;
        bool ok = head[0] == ' ' || head[0] == 'D';
        for (int i = 1; i < 5 && ok; i++) ok = hexdigit(head[i]);
        // A length below 6 cannot hold the status, the length and the line
        // feed; taking it would never move on.
        const int32_t n = ok ? fmhex(head + 1, 4) : -1;
        if (n < 6 || n > cb.reclen) {
            resync = true;
            percent(*pos);
            continue;
        }
        if (resync) {
            char end = 0;
            if (data.readat(*pos + n - 1, &end, 1) != 1 || end != '\n') continue;
        }
        *len = n;
        return true;
    }
}

// A record whose last byte is not a line feed: asks once per run, then cuts
// it back to its last line feed and sets *next after that line feed.
int32_t Pack::fixlength(int32_t pos, int32_t len, int32_t* next) {
    char* rec = varlen() ? raw.data() : buf;
    if (varlen()) unpackrec(&cb, rec, len, buf);
    char key[FH_KEYSIZE];
    bldkey(&cb, 0, key);
    fmcurrent(key);
    if (!confirmed) {
        if (fmaskfix() != 1) return fail(VN_E_DATREAD);
        confirmed = true;
    }
    int32_t lf = len - 2;
    while (lf >= 0 && rec[lf] != '\n') lf--;
    if (lf >= 0) {
        std::memset(rec + lf, ' ', static_cast<size_t>(len - 1 - lf));
        *next = pos + lf + 1;
    }
    rec[len - 1] = '\n';
    return 0;
}

// True when an item other than "I" and "S" holds a byte outside blank..~.
bool Pack::unprintable() const {
    for (int i = 0; i < cb.nitems; i++) {
        const FidItem& it = cb.items[i];
        if (it.type == 'I' || it.type == 'S') continue;
        const uint32_t end = it.offset + static_cast<uint32_t>(it.length) * it.occurs;
        for (uint32_t b = it.offset; b < end && b < cb.reclen; b++) {
            const unsigned char c = static_cast<unsigned char>(buf[b]);
            if (c < ' ' || c > '~') return true;
        }
    }
    return false;
}

// Writes the active record in buf to the new files, or to the strip file.
int32_t Pack::copy(int32_t pos) {
    active++;
    char key[FH_KEYSIZE];
    bldkey(&cb, 0, key);
    fmcurrent(key);
    if ((flags & VN_FM_STRIP) && unprintable()) {
        if (strip < 0) {
            strip = fastopen(stripname, VN_O_WRONLY | VN_O_CREAT | VN_O_TRUNC | VN_O_BINARY, 0666);
            if (strip < 0) {
                fmmessage("Error: Unable to create strip file.");
                fmreport(1, "Error: Unable to create strip file.");
                return -2;
            }
        }
        fastwrite(strip, buf, cb.reclen);
        return 0;
    }
    if (op(VN_OP_WRITE) != 0) return cb.status;
    percent(pos);
    return 0;
}

int32_t Pack::scan() {
    int32_t pos = cb.reclen;
    for (;;) {
        if (fmpoll()) return -1;
        if (fmstate().flushcount++ == kSecureEvery) {
            fmstate().flushcount = 0;
            if (op(VN_OP_SECURE) != 0) return cb.status;
        }
        int32_t len = cb.reclen;
        if (varlen() && !findrecord(&pos, &len)) return 0;
        char* rec = varlen() ? raw.data() : buf;
        if (data.readat(pos, rec, len) < len) return 0;
        int32_t next = pos + len;
        if (rec[len - 1] != '\n') {
            if (int32_t r = fixlength(pos, len, &next); r != 0) return r;
        }
        if (rec[0] == ' ') {
            if (varlen()) unpackrec(&cb, rec, len, buf);
            if (int32_t r = copy(next); r != 0) return r;
        } else {
            deleted++;
        }
        pos = next;
    }
}

// Closes the strip file, the old data file and the new files; the
// temporary files are deleted unless keep.
void Pack::close(bool keep) {
    if (strip >= 0) fastclose(strip);
    strip = -1;
    if (olddat > 0) osclose(olddat);
    olddat = 0;
    if (buf != nullptr) globalmfree(buf);
    buf = nullptr;
    cb.recbuf = nullptr;
    if (cb.datfd != 0 || cb.items != nullptr) {
        op(VN_OP_CLOSE);
    }
    if (created && !keep) {
        osunlink(tmpdat);
        osunlink(tmpkey);
    }
    created = false;
}

int32_t Pack::install(const char* key) {
    char final[FH_NAMESIZE];
    if (*key != '\0') {
        nstrncpy(final, key, FH_NAMEMAX);
    } else {
        setext(dat, final, (cb.fflags & VN_FF_HASHED) ? ".hsh" : ".idx");
    }
    fmstatus(enginestate().tmpdir[0] == '\0' ? "Renaming temporary files." : "Copying temporary files.");
    fminstall(tmpdat, dat);
    fminstall(tmpkey, final);
    return 0;
}

}  // namespace

int32_t fmpack(const char* dat, const char* fid, const char* key, uint32_t flags) {
    Pack p;
    p.flags = flags;
    nstrncpy(p.dat, dat, FH_NAMEMAX);
    fmstate().flushcount = 0;
    int32_t r = p.create(fid, key);
    if (r == 0 && p.cb.nkeys <= 0) {
        fmmessage("Error: No need to Pack RANDOM files.");
        fmreport(1, "Error: No need to Pack RANDOM files.");
        p.close(false);
        return 0;
    }
    if (r == 0) r = p.prepare();
    if (r == 0) r = p.scan();
    if (r != 0) {
        if (r == -1) fmstopped();
        p.close(false);
        if (r > 0) {
            p.cb.status = static_cast<uint8_t>(r);
            fmerror(&p.cb);
        }
        return r == -2 ? 0 : r;
    }
    fmpercent(100);
    const bool hashed = p.cb.fflags & VN_FF_HASHED;
    p.close(true);
    if (hashed) p.cb.fflags |= VN_FF_HASHED;
    p.install(key);
    fmstatus("Done. %ld active data records. %ld deleted records removed.", static_cast<long>(p.active),
             static_cast<long>(p.deleted));
    fmcurrent("");
    fmmessage("PACK completed successfuly.");
    fmreport(1, "Successful.");
    return 0;
}
