// optmpidx.cc - operation 15: make (or reuse) a temporary ".itx" index over
// the key expression in work.  The caller then writes every record, which
// only enters its key.
#include <cstring>

#include "engine/engine.h"
#include "definition/fid.h"
#include "engine/fileutil.h"
#include "engine/handles.h"
#include "record/record.h"
#include "index/idxfile.h"
#include "support/os.h"
#include "support/limits.h"
#include "record/keyfile.h"

namespace {

// Opens the data file and the index, making the index when only it is
// missing.  0, or -1 with status (nothing left open).
int32_t opentmp(FHCB* cb) {
    if (fhopenfiles(cb) == 0) {
        cb->state |= VN_ST_TMPREUSE;
        return 0;
    }
    if (cb->status != VN_E_IDXOPEN) return -1;
    cb->status = 0;
    if (keyfilecreate(cb) < 0) return -1;
    if (fhopenfiles(cb) < 0) {
        osunlink(cb->idxname);
        return -1;
    }
    return 0;
}

// The data file's header: the record count, and the newline that shows
// the definition fits the data.
int32_t checkheader(FHCB* cb) {
    if (readhdrcount(cb) < 0) return -1;
    const int32_t last = cb->reclen - 1;
    char nl = 0;
    if (osseek(static_cast<int32_t>(cb->datfd), last, 0) != last ||
        osread(static_cast<int32_t>(cb->datfd), &nl, 1) != 1 || nl != '\n') {
        cb->status = VN_E_DATFID;
        return -1;
    }
    return 0;
}

void abandon(FHCB* cb) {
    const uint8_t status = cb->status;
    if (cb->index) {
        keyfileclose(cb);
        cb->index = nullptr;
    }
    fhleave(cb);
    fhdropfid(cb);
    cb->status = status;
}

}  // namespace

void optmpidx(FHCB* cb) {
    if (!fhnamefits(cb->datname) || !fhnamefits(cb->fidname) || !fhnamefits(cb->idxname)) {
        cb->status = !fhnamefits(cb->datname) ? VN_E_DATOPEN : !fhnamefits(cb->fidname) ? VN_E_FIDOPEN : VN_E_IDXOPEN;
        return;
    }
    cb->fflags |= VN_FF_TMPIDX;
    if (cb->fidname[0] == '\0' && fhderive(cb, cb->fidname, ".fid") != 0) {
        cb->status = VN_E_FIDOPEN;
        return;
    }
    if (loadfid(cb) != 0) {
        fhforgetfid(cb);
        return;
    }
    cb->fflags &= ~VN_FF_HASHED;
    if (cb->idxname[0] == '\0' && fhderive(cb, cb->idxname, ".itx") != 0) {
        cb->status = VN_E_IDXOPEN;
        fhdropfid(cb);
        return;
    }
    if (opentmp(cb) < 0) {
        fhdropfid(cb);
        return;
    }
    if (keyfileopen(cb) < 0) {
        abandon(cb);
        return;
    }
    cb->state |= VN_ST_CURRENT | VN_ST_DIRTY;
    if (checkheader(cb) < 0) {
        abandon(cb);
        return;
    }
    char* work = static_cast<char*>(globalmalloc(FH_WORKSIZE));
    if (!work) {
        cb->status = VN_E_MEMORY;
        abandon(cb);
        return;
    }
    if (cb->work) globalmfree(cb->work);
    cb->work = work;
    cb->datpos = cb->reclen;
    if (cb->nrecs == 1) cb->state &= ~VN_ST_CURRENT;
}
