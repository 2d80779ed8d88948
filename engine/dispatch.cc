// dispatch.cc - the engine's single entry: filehandler runs the operation in
// the command block, counts initialisations and shutdowns, and after every
// operation releases a file lock the handler left held.
#include "engine/engine.h"
#include "engine/handles.h"
#include "record/lock.h"
#include "record/recstate.h"
#include "index/pagecache.h"
#include "support/nothrow.h"
#include "support/os.h"
#include "record/keyfile.h"

EngineState& enginestate() { return runtimeownpart<EngineState>(RT_ENGINE); }

namespace {

// Creates the head node of the open-file list, the page cache and the
// scratch buffers of the record and write paths.  On failure nothing is
// left allocated and status is 9.  An engine whose count fell to 0 without
// a real shutdown still has them all and keeps them.
void engineinit(FHCB* cb) {
    EngineState& e = enginestate();
    if (e.openfiles != nullptr) return;
    const bool made = nothrow(&cb->status, false, [&] {
        recstate();
        e.scratch = std::make_unique<WriteScratch>();
        return true;
    });
    e.openfiles = made ? static_cast<OpenFile*>(globalmalloc(sizeof(OpenFile))) : nullptr;
    if (e.openfiles == nullptr) {
        e.scratch.reset();
        runtimedrop(RT_RECORD);
        cb->status = VN_E_MEMORY;
        return;
    }
    pgsetreopen(lruopen);
    if (pgcacheinit() != 0) {
        globalmfree(e.openfiles);
        e.openfiles = nullptr;
        e.scratch.reset();
        runtimedrop(RT_RECORD);
        cb->status = VN_E_MEMORY;
    }
}

// Closes every open file as operation 3 does, stopping at the first close
// that fails (the files behind it stay open), then drops the list, the page
// cache, the scratch buffers and the keyword caches.  The settings (the
// temporary directory here, the date form and the page-cache size below)
// stay.
void engineshutdown() {
    EngineState& e = enginestate();
    while (e.openfiles != nullptr && e.openfiles->next != nullptr) {
        FHCB* f = e.openfiles->next->owner;
        f->status = 0;
        opclose(f);
        if (f->status != 0) break;
    }
    if (e.openfiles != nullptr) {
        globalmfree(e.openfiles);
        e.openfiles = nullptr;
    }
    pgcachefree();
    e.scratch.reset();
    runtimedrop(RT_RECORD);
    runtimedrop(RT_KEYWORD);
}

// Operation 20: only an engine whose count is already 0 really stops.
void shutdown() {
    int8_t& count = enginestate().initcount;
    if (count > 0) {
        count = static_cast<int8_t>(count - 1);
        return;
    }
    engineshutdown();
}

void run(FHCB* cb) {
    switch (cb->opcode) {
        case VN_OP_OPEN: opopen(cb); break;
        case VN_OP_CREATE: opcreate(cb); break;
        case VN_OP_CLOSE: opclose(cb); break;
        case VN_OP_READ: opread(cb); break;
        case VN_OP_WRITE: opwrite(cb); break;
        case VN_OP_DELETE: opdelete(cb); break;
        case VN_OP_BACKSP: opbacksp(cb); break;
        case VN_OP_POSN: opposn(cb); break;
        case VN_OP_SECURE: opsecure(cb); break;
        case VN_OP_END: opend(cb); break;
        case VN_OP_NETTYPE: opnettype(cb); break;
        case VN_OP_RLOCK: oprlock(cb); break;
        case VN_OP_RUNLOCK: oprunlock(cb); break;
        case VN_OP_TMPIDX: optmpidx(cb); break;
        case VN_OP_SETKEY: opsetkey(cb); break;
        case VN_OP_SHUTDOWN: shutdown(); break;
        default: cb->status = VN_C_BADOP; break;
    }
}

// Open, create and make-temporary-index take a block that the engine does
// not hold yet (or holds already, for a reopen).  A block it does not hold
// must come zeroed: an index state, a held file lock or a definition said to
// be loaded without its tables are not the engine's, and following them
// would read or free memory it never handed out.
bool strayblock(const FHCB* cb) {
    if (fhnode(cb) != nullptr) return false;
    if (cb->index != nullptr || cb->flocked != 0) return true;
    return (cb->fflags & VN_FF_FIDDONE) && (cb->items == nullptr || (cb->nkeys > 0 && cb->keys == nullptr));
}

bool opensblock(uint8_t opcode) {
    return opcode == VN_OP_OPEN || opcode == VN_OP_CREATE || opcode == VN_OP_TMPIDX;
}

// A shared file still holding the file lock gets its index pages flushed
// before the lock goes.
void afteroperation(FHCB* cb) {
    if (!cb->flocked) return;
    if (cb->index != nullptr && cb->nettype != 0 && !(cb->mflags & VN_MF_EXCLUSIVE)) pgflush(cb->idxfd);
    fileunlock(cb);
}

}  // namespace

extern "C" VELNOR_API int32_t VELNOR_CALL filehandler(FHCB* cb) {
    if (cb == nullptr) return -1;  // no block to report a status in
    cb->status = 0;
    int8_t& count = enginestate().initcount;
    if (cb->opcode == VN_OP_INIT) {
        // Counted even when the initialisation failed.
        if (count == 0) engineinit(cb);
        count = static_cast<int8_t>(count + 1);
    } else if (count == 0 && cb->opcode != VN_OP_SHUTDOWN) {
        cb->status = VN_E_NOINIT;
    } else if (opensblock(cb->opcode) && strayblock(cb)) {
        cb->status = VN_E_REUSE;
        return -1;  // nothing of the block is touched, its lock flag included
    } else {
        nothrow(&cb->status, 0, [&] {
            run(cb);
            return 0;
        });
    }
    afteroperation(cb);
    return cb->status == 0 ? 0 : -1;
}
