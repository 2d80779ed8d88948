// fmverify.cc - VERIFY: reads a record file, its definition and its index
// or hash file without changing them, and reports every inconsistency with
// the run that repairs it.  Record passes look each active record's keys up;
// the key pass walks every index and checks each entry against its record;
// the counts are checked against the header and the indexes.
#include <cstring>
#include <vector>

#include "engine/engine.h"
#include "definition/fid.h"
#include "engine/fileutil.h"
#include "record/lock.h"
#include "record/record.h"
#include "record/hashrec.h"
#include "index/btree.h"
#include "index/hash.h"
#include "index/idxfile.h"
#include "maint/fm.h"
#include "support/os.h"
#include "support/limits.h"
#include "record/keyfile.h"

namespace {

constexpr uint32_t kReadFlags = VN_O_RDONLY | VN_O_BINARY;
constexpr int kLockTries = 100;
constexpr int kLockSpin = 200000;

const char kLenMismatch[] = "Error: Data/FID record length mismatch. Solution: PACK or Edit.";

// The pause between two lock tries: empty rounds the compiler may not drop.
void spin() {
    volatile int32_t rounds = 0;
    while (rounds < kLockSpin) rounds = rounds + 1;
}

struct Verify : FmRun {
    uint32_t flags = 0;
    int32_t datfd = 0;
    BlockReader data;
    int32_t keyfd = 0;
    char* buf = nullptr;           // the record, fixed layout
    std::vector<char> raw;         // the record as stored
    bool loaded = false;
    int32_t passes = 0;            // keys, plus the record-number index
    int32_t datlen = 0;
    int32_t hdrcount = 0;
    int32_t deleted = 0;
    std::vector<int32_t> count;    // per-key counts
    char key[FH_KEYSIZE] = "";
    char ikey[FH_KEYSIZE] = "";

    bool shared() const { return flags & VN_FM_SHARED; }
    bool hashed() const { return cb.fflags & VN_FF_HASHED; }

    // Locks byte pos of the data file for reading, when shared: up to 100
    // tries with a short spin between them.  False when every try failed.
    bool lock(int32_t pos) {
        if (!shared() || !locking(&cb)) return true;
        for (int i = 0; i < kLockTries; i++) {
            if (dlock(&cb, static_cast<uint32_t>(pos)) == 0) return true;
            spin();
        }
        return false;
    }
    void unlock(int32_t pos, bool locked) {
        if (locked && shared() && locking(&cb)) udlock(&cb, static_cast<uint32_t>(pos));
    }

    // Reads n bytes at pos into dst under the record lock; bytes read.  A
    // record another process keeps locked is read all the same.  Unshared,
    // the record passes read through the window, and the key passes, which
    // go to the records in key order, through the file's map.
    int32_t readlocked(int32_t pos, char* dst, int32_t n, bool ahead = false) {
        if (ahead && !shared()) return data.readat(pos, dst, n);
        if (!shared() && n > 0 && osreadmapped(datfd, dst, static_cast<uint32_t>(n), static_cast<uint32_t>(pos)) == n)
            return n;
        const bool locked = lock(pos);
        const int32_t got = n > 0 ? osreadat(datfd, dst, static_cast<uint32_t>(n), static_cast<uint32_t>(pos)) : 0;
        unlock(pos, locked);
        return got;
    }

    // The stored length of the variable-length record at pos: 0 when fewer
    // than 5 bytes remain.
    bool headlen(int32_t pos, int32_t* len, bool ahead = false) {
        char head[5];
        if (readlocked(pos, head, 5, ahead) < 5) return false;
        *len = fmhex(head + 1, 4);
        return true;
    }

    void expand(int32_t len) {
        if (varlen()) unpackrec(&cb, raw.data(), len, buf);
    }

    // Reports a continuable error; status when the run must end, else 0.
    int32_t problem(uint8_t status) { return (flags & VN_FM_CONTINUE) ? 0 : fail(status); }

    int32_t prepare(const char* dat, const char* fid, const char* keyname);
    int32_t recordpass(int k);
    int32_t keypass(int k);
    int32_t run(const char* dat, const char* fid, const char* keyname);
    void close();
};

int32_t Verify::prepare(const char* dat, const char* fid, const char* keyname) {
    nstrncpy(cb.datname, dat, FH_NAMEMAX);
    if (*fid != '\0') {
        nstrncpy(cb.fidname, fid, FH_NAMEMAX);
    } else if (fhderive(&cb, cb.fidname, ".fid") != 0) {
        return fail(VN_E_FIDOPEN);
    }
    if (shared()) cb.nettype = 1;
    fmstatus("Loading FID file...");
    if (loadfid(&cb) != 0) {
        fhforgetfid(&cb);
        return cb.status;
    }
    loaded = true;
    if (hashed() && varlen()) return fail(VN_E_HSHFID);
    if (*keyname != '\0') {
        nstrncpy(cb.idxname, keyname, FH_NAMEMAX);
    } else if (fhderive(&cb, cb.idxname, hashed() ? ".hsh" : ".idx") != 0) {
        return fail(hashed() ? VN_E_HSHOPEN : VN_E_IDXOPEN);
    }
    buf = static_cast<char*>(globalmalloc(cb.reclen + 16u));
    if (buf == nullptr) return fail(VN_E_MEMORY);
    cb.recbuf = buf;
    raw.assign(REC_MAX, '\0');
    fmfiletype(&cb);
    fmstatus("Opening data file...");
    datfd = osopen(dat, kReadFlags, 0);
    if (datfd < 1) {
        datfd = 0;
        return fail(VN_E_DATOPEN);
    }
    cb.datfd = static_cast<uint32_t>(datfd);
    data.attach(datfd);
    fmstatus("Reading data file header...");
    if (!lock(0)) return fail(VN_E_DATREAD);
    const int32_t got = osreadat(datfd, buf, cb.reclen, 0);
    unlock(0, true);
    if (got < cb.reclen) return fail(VN_E_DATREAD);
    if (buf[cb.reclen - 1] != '\n') {
        fmmessage("Error: Data/FID record length mismatch.");
        fmreport(1, "Error: Data/FID record length mismatch.");
        return fail(VN_E_DATREAD);
    }
    hdrcount = fmhex(buf + 1, 8);
    if (cb.nkeys > 0) {
        fmstatus("Opening %s file...", hashed() ? "hash" : "index");
        keyfd = osopen(cb.idxname, kReadFlags, 0);
        if (keyfd < 1) {
            keyfd = 0;
            return fail(hashed() ? VN_E_HSHOPEN : VN_E_IDXOPEN);
        }
        cb.idxfd = static_cast<uint32_t>(keyfd);
        fmstatus(hashed() ? "Reading hash file header..." : "Reading index file header...");
        if (keyfileopen(&cb) != 0) return cb.status;
    }
    datlen = osfilesize(datfd);
    passes = nindexes(&cb);
    count.assign(passes > 0 ? passes : 1, 0);
    return 0;
}

int32_t Verify::recordpass(int k) {
    if (cb.nkeys <= 0) {
        fmstatus("Random record verification in progress...");
    } else {
        fmstatus("Record/Key verification for key #%d in progress...", k + 1);
    }
    // A file without keys or record numbers has no passes to share the
    // scale among; its one pass takes the first half.
    const int32_t div = passes > 0 ? passes : 1;
    const int32_t base = k * 50 / div;
    int32_t last = -1;
    int32_t pos = cb.reclen;
    count[k] = 1;
    for (;;) {
        if (fmpoll()) return -1;
        int32_t len = cb.reclen;
        if (varlen()) {
            if (!headlen(pos, &len, true)) break;
            if (len < 0 || len > cb.reclen) {
                fmmessage(kLenMismatch);
                fmreport(1, kLenMismatch);
                fmreport(2, "DatPos=%ld  Record length=%d  This record=%d", static_cast<long>(pos), cb.reclen,
                         static_cast<int>(len));
                return fail(VN_E_DATREAD);
            }
        }
        char* rec = varlen() ? raw.data() : buf;
        if (readlocked(pos, rec, len, true) < len || len <= 0) break;
        if (rec[len - 1] != '\n') {
            fmmessage(kLenMismatch);
            fmreport(1, kLenMismatch);
            fmreport(2, "DatPos=%ld   Length=%d", static_cast<long>(pos), static_cast<int>(len));
            return fail(VN_E_DATREAD);
        }
        count[k]++;
        if (rec[0] == ' ') {
            expand(len);
            if (cb.nkeys > 0) {
                const int32_t n = bldkey(&cb, k, key);
                fmcurrent(key);
                std::memcpy(cb.index->keybuf, key, static_cast<size_t>(n) + 1);
                if (!hashed()) {
                    const int32_t found = keysearch(&cb, k, SRCH_EQUAL);
                    if (found < 0) return cb.status;
                    if (found != pos) {
                        fmmessage("Error: Bad/No index entry for this key. Solution: RECOVER.");
                        fmreport(1, "Error: Bad/No index entry for this key. Solution: RECOVER.");
                        fmreport(2, "DatPos=%ld  IdxPos=%ld  Key(%d)=%s", static_cast<long>(pos),
                                 static_cast<long>(found > 0 ? found : -1), k + 1, key);
                        if (problem(VN_E_IDXREAD)) return cb.status;
                    }
                } else {
                    if (hshprobe(&cb) < 0) return cb.status;
                    if (!(cb.hashstate & HS_FOUND)) {
                        fmmessage("Error: No hash entry for this key. Solution: RECOVER.");
                        fmreport(1, "Error: No hash entry for this key. Solution: RECOVER.");
                        fmreport(2, "%s", key);
                        if (problem(VN_E_IDXREAD)) return cb.status;
                    }
                }
            }
        } else if (k == 0) {
            deleted++;
        }
        pos += len;
        const int32_t pct = fmpct(pos, datlen, 50, div, true) + base;
        if (pct != last) fmpercent(last = pct);
    }
    return 0;
}

int32_t Verify::keypass(int k) {
    fmstatus("Key/Record verification for key #%d in progress...", k + 1);
    const int32_t base = (passes + k) * 50 / passes;
    int32_t last = -1;
    int32_t read = 0;
    const unsigned klen = cb.index->keylen[k];
    for (int mode = SRCH_FIRST;; mode = SRCH_STEP) {
        if (fmpoll()) return -1;
        const int32_t pos = keysearch(&cb, k, mode);
        if (pos < 0) return cb.status;
        if (pos == 0) break;
        std::memcpy(ikey, cb.index->keybuf, klen + 1);
        count[k]--;
        int32_t len = cb.reclen;
        if (varlen() && !headlen(pos, &len)) break;
        char* rec = varlen() ? raw.data() : buf;
        if (len <= 0 || len > REC_MAX || readlocked(pos, rec, len) < len) return fail(VN_E_DATREAD);
        if (rec[0] != ' ') {
            fmmessage("Error: Index entry is deleted in data file. Solution: RECOVER.");
            fmreport(1, "Error: Index entry is deleted in data file. Solution: RECOVER.");
            fmreport(2, "Key(%d)=%s", k + 1, ikey);
            if (problem(VN_E_DATREAD)) return cb.status;
        }
        expand(len);
        fmcurrent(ikey);
        bldkey(&cb, k, key);
        if (std::memcmp(key, ikey, klen) != 0) {
            fmmessage("Error: Index entry doesn't match data rec. Solution: RECOVER.");
            fmreport(1, "Error: Index entry doesn't match data record. Solution: RECOVER.");
            fmreport(2, "Current(%d)=%s  Data=%s", k + 1, ikey, key);
            if (problem(VN_E_IDXREAD)) return cb.status;
        }
        read += len;
        const int32_t pct = fmpct(cb.reclen + read, datlen, 50, passes, false) + base;
        if (pct != last) fmpercent(last = pct);
    }
    return 0;
}

int32_t Verify::run(const char* dat, const char* fid, const char* keyname) {
    int32_t r = prepare(dat, fid, keyname);
    if (r != 0) return r;
    const int npass = cb.nkeys <= 0 || hashed() ? 1 : passes;
    if (!(flags & VN_FM_NORECPASS)) {
        for (int k = 0; k < npass; k++) {
            if ((r = recordpass(k)) != 0) return r;
        }
        if (count[0] != hdrcount) {
            fmmessage("Data records/data file header mismatch. Solution: PACK.");
            fmreport(1, "Data records/data file header mismatch. Solution: PACK.");
            fmreport(2, "Recs=%ld  HeaderRecs=%ld", static_cast<long>(count[0]), static_cast<long>(hdrcount));
            if (problem(VN_E_DATREAD)) return cb.status;
        }
    }
    if (cb.nkeys > 0 && !hashed() && !(flags & VN_FM_NOKEYPASS)) {
        for (int k = 0; k < passes; k++) {
            if ((r = keypass(k)) != 0) return r;
        }
        if (!(flags & VN_FM_NORECPASS)) {
            for (int k = 0; k < passes; k++) {
                if (count[k] == deleted + 1) continue;
                fmmessage("Key entries/data file header mismatch. Solution: PACK.");
                fmreport(1, "Key entries/data file header mismatch. Solution: PACK.");
                if (problem(VN_E_IDXREAD)) return cb.status;
            }
        }
    }
    fmpercent(100);
    close();
    if (flags & VN_FM_NORECPASS) {
        fmstatus("Done.");
    } else {
        fmstatus("Done. %ld active data records, %ld deleted records.", static_cast<long>(hdrcount - deleted - 1),
                 static_cast<long>(deleted));
    }
    fmcurrent("");
    fmmessage("VERIFY completed successfuly.");
    fmreport(1, "Successful.");
    return 0;
}

void Verify::close() {
    if (cb.index != nullptr) keyfileclose(&cb);
    cb.index = nullptr;
    if (keyfd > 0) osclose(keyfd);
    if (datfd > 0) osclose(datfd);
    keyfd = datfd = 0;
    cb.datfd = cb.idxfd = 0;
    if (buf != nullptr) globalmfree(buf);
    buf = nullptr;
    cb.recbuf = nullptr;
    if (loaded) fhdropfid(&cb);
    loaded = false;
}

}  // namespace

int32_t fmverify(const char* dat, const char* fid, const char* key, uint32_t flags) {
    Verify v;
    v.flags = flags;
    int32_t r = v.run(dat, fid, key);
    if (r == -1) fmstopped();
    v.close();
    if (r > 0) {
        v.cb.status = static_cast<uint8_t>(r);
        fmerror(&v.cb);
    }
    return r;
}
