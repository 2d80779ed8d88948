// fileopen.cc - operations 1 (open) and 2 (create): deriving the companion
// file names, loading the definition, opening the data and index or hash
// files through the handle cache, entering the open-file list and checking
// the data file's header record.
#include <cstring>

#include "engine/engine.h"
#include "definition/fid.h"
#include "engine/fileutil.h"
#include "engine/handles.h"
#include "definition/keys.h"
#include "record/lock.h"
#include "record/record.h"
#include "index/hash.h"
#include "index/idxfile.h"
#include "support/os.h"
#include "record/keyfile.h"

namespace {

constexpr uint32_t kCreateFlags = VN_O_BINARY | VN_O_TRUNC | VN_O_CREAT | VN_O_RDWR;  // 0x8302
constexpr uint32_t kCreatePerm = 511;
constexpr size_t kCountEnd = 9;  // 'V'/blank and the hex-8 record count

bool seqfile(const FHCB* cb) { return std::strncmp(cb->fidname, "*SEQ", 4) == 0; }

bool hexdigit(char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F'); }

// Steps shared by open and create: network type 1, the definition (unless
// "*SEQ" or already loaded), and the refusal of hashed variable-length files.
// *loaded tells whether the definition was loaded here.
// A name that fills its field is refused before any file is opened or
// made, with the status of the file it names.
int32_t prepare(FHCB* cb, bool* loaded) {
    *loaded = false;
    if (!fhnamefits(cb->datname) || !fhnamefits(cb->fidname)) {
        cb->status = fhnamefits(cb->datname) ? VN_E_FIDOPEN : VN_E_DATOPEN;
        return -1;
    }
    cb->nettype = 1;
    if (seqfile(cb)) {
        cb->nitems = 0;
        cb->nkeys = 0;
        cb->nthreads = 0;
    } else if (!(cb->fflags & VN_FF_FIDDONE)) {
        if (cb->fidname[0] == '\0' && fhderive(cb, cb->fidname, ".fid") != 0) {
            cb->status = VN_E_FIDOPEN;
            return -1;
        }
        if (loadfid(cb) != 0) {
            fhforgetfid(cb);
            return -1;
        }
        *loaded = true;
    }
    if ((cb->fflags & VN_FF_HASHED) && (cb->fflags & VN_FF_VARLEN)) {
        cb->status = VN_E_HSHFID;
        if (*loaded) fhdropfid(cb);
        return -1;
    }
    if (!fhnamefits(cb->idxname)) {
        cb->status = (cb->fflags & VN_FF_HASHED) ? VN_E_HSHOPEN : VN_E_IDXOPEN;
        if (*loaded) fhdropfid(cb);
        return -1;
    }
    return 0;
}

// Undoes a half-done open: index state, list node and handles, definition.
// The status of the failure is kept.
void abandon(FHCB* cb, bool loaded) {
    uint8_t status = cb->status;
    if (cb->index != nullptr) {
        keyfileclose(cb);
        cb->index = nullptr;
    }
    fhleave(cb);
    if (loaded) fhdropfid(cb);
    cb->status = status;
}

// Opens an existing file once read-write, then once read-only (a read-only
// file keeps the read-only flags for its reopening), then through the
// handle cache.
int32_t openexisting(const char* path, uint32_t* flags) {
    int32_t h = osopen(path, *flags, 0);
    if (h >= 1) return h;
    if (*flags & VN_O_RDWR) {
        uint32_t rdonly = *flags & ~static_cast<uint32_t>(VN_O_RDWR | VN_O_WRONLY);
        h = osopen(path, rdonly, 0);
        if (h >= 1) {
            *flags = rdonly;
            return h;
        }
    }
    return lruopen(path, *flags, 0);
}

// Reads the header record under the file lock: 'V' decides variable length,
// then the hex-8 record count, the newline at reclen - 1 and the thread heads.
int32_t readheader(FHCB* cb) {
    int32_t fd = static_cast<int32_t>(cb->datfd);
    char head[kCountEnd];
    if (osseek(fd, 0, 0) != 0 || osread(fd, head, kCountEnd) != static_cast<int32_t>(kCountEnd)) {
        cb->status = VN_E_DATREAD;
        return -1;
    }
    if (head[0] == 'V') {
        cb->fflags |= VN_FF_VARLEN;
    } else {
        cb->fflags &= static_cast<uint8_t>(~VN_FF_VARLEN);
    }
    for (size_t i = 1; i < kCountEnd; i++) {
        if (!hexdigit(head[i])) {
            cb->status = VN_E_DATREAD;
            return -1;
        }
    }
    int32_t count = fromhex(head + 1, 8);
    if (count < 0) {
        cb->status = VN_E_DATREAD;
        return -1;
    }
    cb->nrecs = static_cast<uint32_t>(count);
    int32_t last = static_cast<int32_t>(cb->reclen) - 1;
    char nl = 0;
    if (last < static_cast<int32_t>(kCountEnd) || osseek(fd, last, 0) != last || osread(fd, &nl, 1) != 1 ||
        nl != '\n') {
        cb->status = VN_E_DATFID;
        return -1;
    }
    if (cb->nthreads > 0 && cb->threads != nullptr) return readheads(cb);
    return 0;
}

// Opens the files and loads the index or the hash header (unless deferred
// by fflags 0x08).  On failure everything opened here is undone.
int32_t openandload(FHCB* cb, bool loaded) {
    if (fhopenfiles(cb) != 0) {
        if (loaded) fhdropfid(cb);
        return -1;
    }
    if (!(cb->fflags & VN_FF_NOKEY) && cb->nkeys > 0) {
        int32_t r = keyfileopen(cb);
        if (r != 0) {
            abandon(cb, loaded);
            return -1;
        }
    }
    return 0;
}

// The closing steps of open and create: work buffer, key mode, curkey.
int32_t finish(FHCB* cb, bool loaded) {
    cb->work = static_cast<char*>(globalmalloc(FH_WORKSIZE));
    if (cb->work == nullptr) {
        cb->status = VN_E_MEMORY;
        abandon(cb, loaded);
        return -1;
    }
    cb->fflags &= static_cast<uint8_t>(~VN_FF_NOKEY);
    cb->curkey = (cb->fflags & VN_FF_RECNO) ? 1 : 0;
    return 0;
}

// Writes the header record of a new data file: 'V' or blank, the count 1
// as hex-8, blanks, a newline at reclen - 1.  0, or -1 with status 4 (9 when
// no buffer).
int32_t newheader(FHCB* cb, int32_t fd) {
    uint32_t len = cb->reclen;
    if (len <= kCountEnd) {
        cb->status = VN_E_RECLEN;
        return -1;
    }
    char* rec = static_cast<char*>(globalmalloc(len));
    if (rec == nullptr) {
        cb->status = VN_E_MEMORY;
        return -1;
    }
    std::memset(rec, ' ', len);
    if (cb->fflags & VN_FF_VARLEN) rec[0] = 'V';
    std::memcpy(rec + 1, "00000001", 8);
    rec[len - 1] = '\n';
    int32_t r = oswrite(fd, rec, len) == static_cast<int32_t>(len) ? 0 : -1;
    globalmfree(rec);
    if (r != 0) cb->status = VN_E_DATWRITE;
    return r;
}

// Creates the data file (two attempts, parking a file in between) and, with
// a definition, writes its header record holding the count 1.
int32_t createdata(FHCB* cb) {
    int32_t fd = osopen(cb->datname, kCreateFlags, kCreatePerm);
    if (fd < 1) {
        closelru(0);
        fd = osopen(cb->datname, kCreateFlags, kCreatePerm);
    }
    if (fd < 1) {
        cb->status = VN_E_DATCREATE;
        return -1;
    }
    int32_t r = 0;
    if (cb->nitems > 0) {
        r = newheader(cb, fd);
        cb->datpos = cb->reclen;
        cb->nrecs = 1;
    } else {
        cb->datpos = 0;
        cb->nrecs = 0;
    }
    osclose(fd);
    return r;
}

}  // namespace

int32_t fhopenfiles(FHCB* cb) {
    uint32_t flags = (cb->mflags & VN_MF_READONLY) ? VN_O_BINARY | VN_O_RDONLY : VN_O_BINARY | VN_O_RDWR;
    if (isshared(cb)) {
        flags = fshare(cb->datname, flags);
    } else if (cb->mflags & VN_MF_EXCLUSIVE) {
        flags = funshare(cb->datname, flags);
    }
    cb->datfd = 0;
    cb->idxfd = 0;
    if (!(cb->fflags & VN_FF_NODATA)) {
        int32_t h = openexisting(cb->datname, &flags);
        if (h < 1) {
            cb->status = VN_E_DATOPEN;
            return -1;
        }
        cb->datfd = static_cast<uint32_t>(h);
    }
    if (cb->nkeys > 0 && !(cb->fflags & VN_FF_NOKEY)) {
        int32_t h = lruopen(cb->idxname, flags, 0);
        if (h < 1) {
            cb->status = (cb->fflags & VN_FF_HASHED) ? VN_E_HSHOPEN : VN_E_IDXOPEN;
            if (cb->datfd != 0) osclose(static_cast<int32_t>(cb->datfd));
            cb->datfd = 0;
            return -1;
        }
        cb->idxfd = static_cast<uint32_t>(h);
    }
    return fhenter(cb, flags);
}

void opopen(FHCB* cb) {
    bool loaded = false;
    if (prepare(cb, &loaded) != 0) return;
    if (cb->nkeys > 0 && !(cb->fflags & VN_FF_NOKEY) && cb->idxname[0] == '\0' &&
        fhderive(cb, cb->idxname, (cb->fflags & VN_FF_HASHED) ? ".hsh" : ".idx") != 0) {
        cb->status = (cb->fflags & VN_FF_HASHED) ? VN_E_HSHOPEN : VN_E_IDXOPEN;
        if (loaded) fhdropfid(cb);
        return;
    }
    if (openandload(cb, loaded) != 0) return;
    cb->state |= VN_ST_CURRENT;
    if (cb->nitems > 0) {
        if (filelock(cb, cb->flockretry) != 0 || readheader(cb) != 0) {
            abandon(cb, loaded);
            return;
        }
        fileunlock(cb);
        cb->datpos = cb->reclen;
        if (cb->nrecs == 1) cb->state &= static_cast<uint16_t>(~VN_ST_CURRENT);
    } else {
        cb->datpos = 0;
    }
    finish(cb, loaded);
}

void opcreate(FHCB* cb) {
    bool loaded = false;
    if (prepare(cb, &loaded) != 0) return;
    if (!(cb->fflags & VN_FF_NODATA) && createdata(cb) != 0) {
        if (loaded) fhdropfid(cb);
        return;
    }
    if (cb->nkeys > 0) {
        bool hashed = cb->fflags & VN_FF_HASHED;
        int32_t r = -1;
        if (cb->idxname[0] != '\0' || fhderive(cb, cb->idxname, hashed ? ".hsh" : ".idx") == 0) {
            r = keyfilecreate(cb);
        } else {
            cb->status = hashed ? VN_E_HSHCREATE : VN_E_IDXCREATE;
        }
        if (r != 0) {
            if (loaded) fhdropfid(cb);
            return;
        }
    }
    if (openandload(cb, loaded) != 0) return;
    if (finish(cb, loaded) != 0) return;
    cb->state |= VN_ST_DIRTY;
    cb->state &= static_cast<uint16_t>(~VN_ST_CURRENT);
}
