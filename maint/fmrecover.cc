// fmrecover.cc - RECOVER: builds a new index from the data file under a
// temporary name (".ziq"), entering every active record's keys and every
// deleted record's space, and puts it in place of the old index at the end.
// The data file is only read.  Hashed files are rebuilt by PACK.
#include <vector>

#include "engine/engine.h"
#include "definition/fid.h"
#include "engine/fileutil.h"
#include "definition/keys.h"
#include "record/record.h"
#include "index/btree.h"
#include "index/idxfile.h"
#include "index/pagecache.h"
#include "maint/fm.h"
#include "support/os.h"
#include "support/limits.h"
#include "record/keyfile.h"

namespace {

constexpr int32_t kFlushEvery = 5000;
const char kLenMismatch[] = "Error: Data/FID record length mismatch. Solution: PACK or Edit.";

struct Recover : FmRun {
    bool loaded = false;
    char* buf = nullptr;
    std::vector<char> raw;
    int32_t datfd = 0;
    BlockReader data;
    int32_t tmpfd = 0;
    bool created = false;
    char tmp[FH_NAMESIZE] = "";
    char final[FH_NAMESIZE] = "";
    int32_t hdrcount = 0;
    int32_t deleted = 0;

    int32_t mismatch(const char* text) {
        fmmessage(text);
        fmreport(1, "%s", text);
        return fail(VN_E_DATREAD);
    }

    int32_t prepare(const char* key);
    int32_t enter(int32_t pos, int32_t len);
    int32_t scan();
    void close(bool keep);
};

int32_t Recover::prepare(const char* key) {
    buf = static_cast<char*>(globalmalloc(cb.reclen + 16u));
    if (buf == nullptr) return fail(VN_E_MEMORY);
    cb.recbuf = buf;
    raw.assign(REC_MAX, '\0');
    const char* base = *key != '\0' ? key : cb.datname;
    fmtmpname(base, "ziq", tmp);
    if (*key != '\0') {
        nstrncpy(final, key, FH_NAMEMAX);
    } else {
        setext(cb.datname, final, ".idx");
    }
    fmfiletype(&cb);
    fmstatus("Creating temporary file...");
    nstrncpy(cb.idxname, tmp, FH_NAMEMAX);
    if (keyfilecreate(&cb) != 0) return cb.status;
    created = true;
    tmpfd = osopen(tmp, VN_O_RDWR | VN_O_BINARY, 0);
    if (tmpfd < 1) {
        tmpfd = 0;
        return fail(VN_E_DATOPEN);
    }
    cb.idxfd = static_cast<uint32_t>(tmpfd);
    if (keyfileopen(&cb) != 0) return cb.status;
    fmstatus("Opening data file...");
    datfd = osopen(cb.datname, VN_O_RDONLY | VN_O_BINARY, 0);
    if (datfd < 1) {
        datfd = 0;
        return fail(VN_E_DATOPEN);
    }
    data.attach(datfd);
    fmstatus("Reading data file header...");
    if (data.readat(0, buf, cb.reclen) < cb.reclen) return fail(VN_E_DATREAD);
    hdrcount = fmhex(buf + 1, 8);
    if (buf[cb.reclen - 1] != '\n') return mismatch("Error: Data/FID record length mismatch.");
    return 0;
}

// Enters the record read at pos: its keys, or its space when deleted.
int32_t Recover::enter(int32_t pos, int32_t len) {
    const char* rec = varlen() ? raw.data() : buf;
    if (rec[0] != ' ') {
        deleted++;
        if (spacefree(&cb, static_cast<uint32_t>(pos), static_cast<uint16_t>(len)) != 0) return cb.status;
        return 0;
    }
    if (varlen()) unpackrec(&cb, raw.data(), len, buf);
    char key[FH_KEYSIZE];
    bldkey(&cb, 0, key);
    fmcurrent(key);
    for (int k = 0; k < nindexes(&cb); k++) {
        bldkey(&cb, k, cb.index->keybuf);
        if (keyinsert(&cb, k, static_cast<uint32_t>(pos)) < 0) return cb.status != 0 ? cb.status : fail(VN_E_IDXWRITE);
    }
    return 0;
}

int32_t Recover::scan() {
    fmstatus("File RECOVER in progress...");
    const int32_t datlen = osfilesize(datfd);
    int32_t pos = cb.reclen;
    int32_t last = -1;
    // Every kFlushEvery records the changed pages of the new index and its
    // header are written and the handle flushed.  The index is this run's
    // alone, so its pages stay cached for the next records (as far as the
    // cache's budget goes) instead of being read back.
    while (!fmpoll()) {
        if (fmstate().flushcount++ == kFlushEvery) {
            fmstate().flushcount = 0;
            if (pgclean(cb.idxfd) != 0) return fail(VN_E_IDXWRITE);
            keyhdrwrite(&cb);
            fhclopen(cb.idxfd);
        }
        int32_t len = cb.reclen;
        if (varlen()) {
            char head[5];
            if (data.readat(pos, head, 5) < 5) return 0;
            len = fmhex(head + 1, 4);
            if (len < 0 || len > cb.reclen) return mismatch(kLenMismatch);
        }
        char* rec = varlen() ? raw.data() : buf;
        if (len <= 0 || data.readat(pos, rec, len) < len) return 0;
        if (rec[len - 1] != '\n') return mismatch(kLenMismatch);
        if (int32_t r = enter(pos, len); r != 0) return r;
        pos += len;
        const int32_t pct = fmpct(pos, datlen, 100, 1, true);
        if (pct != last) fmpercent(last = pct);
    }
    return -1;
}

// Closes the data file, the new index and its handle; the temporary file
// is deleted unless keep.
void Recover::close(bool keep) {
    if (datfd > 0) osclose(datfd);
    datfd = 0;
    if (cb.index != nullptr) keyfileclose(&cb);
    cb.index = nullptr;
    if (tmpfd > 0) osclose(tmpfd);
    tmpfd = 0;
    cb.idxfd = 0;
    if (created && !keep) osunlink(tmp);
    if (buf != nullptr) globalmfree(buf);
    buf = nullptr;
    cb.recbuf = nullptr;
    if (loaded) fhdropfid(&cb);
    loaded = false;
}

int32_t finish(Recover& rc, int32_t r) {
    if (r == -1) fmstopped();
    rc.close(false);
    if (r > 0) {
        rc.cb.status = static_cast<uint8_t>(r);
        fmerror(&rc.cb);
    }
    return r;
}

}  // namespace

int32_t fmrecover(const char* dat, const char* fid, const char* key, uint32_t flags) {
    Recover rc;
    FHCB& cb = rc.cb;
    cb.mflags = VN_MF_EXCLUSIVE;  // maintenance: the files are ours alone
    nstrncpy(cb.datname, dat, FH_NAMEMAX);
    if (*fid != '\0') {
        nstrncpy(cb.fidname, fid, FH_NAMEMAX);
    } else if (fhderive(&cb, cb.fidname, ".fid") != 0) {
        return finish(rc, VN_E_FIDOPEN);
    }
    fmstatus("Loading FID file...");
    if (loadfid(&cb) != 0) {
        fhforgetfid(&cb);
        return finish(rc, cb.status);
    }
    rc.loaded = true;
    if (cb.fflags & VN_FF_HASHED) {
        rc.close(false);
        return fmpack(dat, fid, key, flags);
    }
    if (cb.nkeys <= 0) {
        fmmessage("Error: No need to Recover RANDOM files.");
        fmreport(1, "Error: No need to Recover RANDOM files.");
        rc.close(false);
        return 0;
    }
    fmstate().flushcount = 0;
    int32_t r = rc.prepare(key);
    if (r == 0) r = rc.scan();
    // The index's last pages reach the file as it closes: a write that
    // fails there fails the run, and the old index stays.  A run that
    // failed before leaves the index for finish to close.
    if (r == 0) {
        cb.status = 0;
        if (keyfileclose(&cb) != 0) r = cb.status != 0 ? cb.status : rc.fail(VN_E_IDXWRITE);
        cb.index = nullptr;
    }
    if (r != 0) return finish(rc, r);
    fmpercent(100);
    rc.close(true);
    if (enginestate().tmpdir[0] == '\0') {
        fmstatus("Renaming temporary file.");
    } else {
        fmstatus("Copying temporary file.");
    }
    fminstall(rc.tmp, rc.final);
    fmstatus("Done. %ld active data records, %ld deleted records.", static_cast<long>(rc.hdrcount - rc.deleted - 1),
             static_cast<long>(rc.deleted));
    fmcurrent("");
    fmmessage("RECOVER completed successfuly.");
    fmreport(1, "Successful.");
    return 0;
}
