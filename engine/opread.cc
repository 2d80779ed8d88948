// opread.cc - operation 4: read the current record into recbuf, rebuild its
// key, move to the next record and report a deleted record with 'm'.
#include "engine/engine.h"
#include "engine/handles.h"
#include "record/record.h"
#include "index/idxfile.h"

void opread(FHCB* cb) {
    if (fhactivate(cb) < 0) return;
    if (!(cb->state & VN_ST_CURRENT)) {
        cb->status = VN_C_NOREC;
        return;
    }
    const bool key = activekey(cb);
    if ((cb->fflags & VN_FF_HASHED) && key) return;  // read by operation 8
    const int32_t len = readrec(cb, cb->recbuf);
    if (len < 0) return;
    if (cb->nitems == 0) {
        cb->datpos += len;
        return;
    }
    if (key && cb->index) bldkey(cb, cb->curkey, cb->index->keybuf);
    movenext(cb, len);
    if (cb->recbuf[0] != ' ') cb->status = VN_C_DELETED;
    sharedflush(cb);
}
