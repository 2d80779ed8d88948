// handles.cc - the open-file list: every open command block with its age
// and open mode.  When an OS open fails the least recently used file is
// parked in limbo (handles closed, positions saved) and reopened
// transparently by its next operation.
#include "engine/handles.h"
#include "record/record.h"

#include "engine/engine.h"
#include "definition/keys.h"
#include "index/hash.h"
#include "index/idxfile.h"
#include "index/pagecache.h"
#include "support/os.h"
#include "record/keyfile.h"

namespace {

constexpr int kOpenAttempts = 10;
constexpr uint32_t kRetryWaitMs = 20;

bool haskeys(const FHCB* cb) { return cb->nkeys > 0; }
bool hasdata(const FHCB* cb) { return !(cb->fflags & VN_FF_NODATA); }
bool hashed(const FHCB* cb) { return cb->fflags & VN_FF_HASHED; }

// Closes the handle in *fd (if any) and zeroes it; 0, or -1 (handle kept).
int32_t closefd(uint32_t& fd) {
    if (fd == 0) return 0;
    if (osclose(static_cast<int32_t>(fd)) != 0) return -1;
    fd = 0;
    return 0;
}

uint32_t tell(uint32_t fd) { return static_cast<uint32_t>(osseek(static_cast<int32_t>(fd), 0, 1)); }

void savepositions(OpenFile* node) {
    FHCB* cb = node->owner;
    if (cb->datfd != 0) node->datsave = tell(cb->datfd);
    if (haskeys(cb) && cb->idxfd != 0) node->idxsave = tell(cb->idxfd);
}

// Closes both handles of a parked or leaving file.  0, or -1 with status 5
// (data) or 25 (index or hash).
int32_t closehandles(FHCB* cb) {
    uint32_t fd = cb->datfd;
    int32_t r = 0;
    if (closefd(fd) != 0) {
        cb->status = VN_E_DATCLOSE;
        r = -1;
    }
    cb->datfd = fd;
    fd = cb->idxfd;
    if (closefd(fd) != 0) {
        if (r == 0) cb->status = VN_E_IDXCLOSE;
        r = -1;
    }
    cb->idxfd = fd;
    return r;
}

// The index or hash file name, derived from the data file name when empty.
void deriveidxname(FHCB* cb) {
    if (cb->idxname[0] != '\0') return;
    setext(cb->datname, cb->idxname, hashed(cb) ? ".hsh" : ".idx");
}

// Reopens a file parked in limbo: data file, index or hash file, their
// loaded state, and the saved positions.
int32_t reopen(OpenFile* node) {
    FHCB* cb = node->owner;
    if (hasdata(cb)) {
        int32_t h = lruopen(cb->datname, node->openflags, 0);
        if (h < 1) {
            cb->status = VN_E_DATOPEN;
            return -1;
        }
        cb->datfd = static_cast<uint32_t>(h);
    }
    if (haskeys(cb)) {
        deriveidxname(cb);
        int32_t h = lruopen(cb->idxname, node->openflags, 0);
        if (h < 1) {
            cb->status = hashed(cb) ? VN_E_HSHOPEN : VN_E_IDXOPEN;
            uint32_t fd = cb->datfd;
            closefd(fd);
            cb->datfd = fd;
            return -1;
        }
        cb->idxfd = static_cast<uint32_t>(h);
        int32_t loaded = 0;
        if (hashed(cb)) {
            loaded = keyfileopen(cb);
        } else if (cb->index == nullptr) {
            loaded = keyfileopen(cb);
        }
        if (loaded != 0) {
            uint8_t status = cb->status;
            closehandles(cb);
            cb->status = status;
            return -1;
        }
        osseek(static_cast<int32_t>(cb->idxfd), static_cast<int32_t>(node->idxsave), 0);
    }
    if (cb->datfd != 0) osseek(static_cast<int32_t>(cb->datfd), static_cast<int32_t>(node->datsave), 0);
    node->mode = OF_OPEN;
    return 0;
}

// Parks the victim of closelru: the header count, thread heads and index
// header are written first when nobody else shares the file.
void parklru(OpenFile* node) {
    FHCB* cb = node->owner;
    uint8_t status = cb->status;  // the victim's last result stays as it was
    savepositions(node);
    if (!isshared(cb)) {
        if ((cb->state & VN_ST_DIRTY) && cb->nitems > 0 && hasdata(cb) && cb->datfd != 0) {
            writehdrcount(cb);
            if (cb->nthreads > 0) writeheads(cb);
        }
        if (cb->index != nullptr) {
            pgflush(cb->idxfd);
            keyhdrwrite(cb);
        }
    }
    uint32_t fd = cb->datfd;
    closefd(fd);
    cb->datfd = fd;
    if (haskeys(cb)) {
        if (cb->index != nullptr) pgflush(cb->idxfd);
        fd = cb->idxfd;
        closefd(fd);
        cb->idxfd = fd;
    }
    cb->state &= static_cast<uint16_t>(~VN_ST_DIRTY);
    node->mode = OF_LIMBO;
    cb->status = status;
}

}  // namespace

OpenFile* fhnode(const FHCB* cb) {
    OpenFile* const head = enginestate().openfiles;
    if (head == nullptr) return nullptr;
    for (OpenFile* n = head->next; n != nullptr; n = n->next) {
        if (n->owner == cb) return n;
    }
    return nullptr;
}

void fhsettransient(FHCB* cb) {
    if (OpenFile* node = fhnode(cb)) node->transient = true;
}

int32_t fhenter(FHCB* cb, uint32_t openflags) {
    // A block opened again without a close keeps its one node.
    if (OpenFile* node = fhnode(cb)) {
        node->mode = OF_OPEN;
        node->openflags = openflags;
        node->age = 0;
        node->transient = false;
        return 0;
    }
    OpenFile* const head = enginestate().openfiles;
    OpenFile* node = nullptr;
    if (head != nullptr) node = static_cast<OpenFile*>(globalmalloc(sizeof(OpenFile)));
    if (node == nullptr) {
        closehandles(cb);
        cb->status = VN_E_MEMORY;
        return -1;
    }
    node->mode = OF_OPEN;
    node->openflags = openflags;
    node->owner = cb;
    OpenFile* tail = head;
    while (tail->next != nullptr) tail = tail->next;
    tail->next = node;
    return 0;
}

int32_t fhactivate(FHCB* cb) {
    OpenFile* const head = enginestate().openfiles;
    OpenFile* mine = nullptr;
    if (head != nullptr) {
        for (OpenFile* n = head->next; n != nullptr; n = n->next) {
            if (n->owner == cb) {
                n->age = 0;
                mine = n;
            } else if (n->age != UINT16_MAX) {
                n->age++;
            }
        }
    }
    if (mine == nullptr) {
        cb->status = VN_E_REUSE;
        return -1;
    }
    if (mine->mode == OF_LIMBO) return reopen(mine);
    return 0;
}

int32_t fhpark(FHCB* cb) {
    OpenFile* node = fhnode(cb);
    if (node == nullptr) {
        cb->status = VN_E_REUSE;
        return -1;
    }
    if (node->mode == OF_OPEN) {
        node->mode = OF_LIMBO;
        savepositions(node);
    }
    // Pages cached under the index handle must not outlive it.
    if (cb->index != nullptr && cb->idxfd != 0) pgflush(cb->idxfd);
    return closehandles(cb);
}

int32_t fhleave(FHCB* cb) {
    OpenFile* prev = enginestate().openfiles;
    while (prev != nullptr && prev->next != nullptr && prev->next->owner != cb) prev = prev->next;
    if (prev == nullptr || prev->next == nullptr) {
        cb->status = VN_E_REUSE;
        return -1;
    }
    OpenFile* node = prev->next;
    int32_t r = node->mode == OF_OPEN ? closehandles(cb) : 0;
    prev->next = node->next;
    globalmfree(node);
    return r;
}

int32_t lruopen(const char* path, uint32_t flags, uint32_t perm) {
    for (int attempt = 0; attempt < kOpenAttempts; attempt++) {
        if (attempt >= 1) osbusywait(kRetryWaitMs);
        int32_t h = osopen(path, flags, perm);
        if (h >= 1) return h;
        if (attempt + 1 < kOpenAttempts) closelru(0);
    }
    return -1;
}

extern "C" VELNOR_API int32_t VELNOR_CALL closelru(int32_t force) {
    const EngineState& e = enginestate();
    if (e.initcount == 0 || e.openfiles == nullptr) return -1;
    OpenFile* victim = nullptr;
    for (OpenFile* n = e.openfiles->next; n != nullptr; n = n->next) {
        if (n->mode != OF_OPEN) continue;
        const FHCB* f = n->owner;
        if (!force && ((f->mflags & VN_MF_EXCLUSIVE) || f->lockpos != 0)) continue;
        if (victim == nullptr || n->age >= victim->age) victim = n;
    }
    if (victim == nullptr) return -1;
    parklru(victim);
    return 0;
}

extern "C" VELNOR_API int32_t VELNOR_CALL fhlimball(void) {
    while (closelru(1) == 0) {
    }
    return -1;
}

extern "C" VELNOR_API int32_t VELNOR_CALL vfhlimbo(FHCB* cb) {
    if (cb == nullptr) return -1;
    cb->status = 0;
    return fhpark(cb) == 0 ? 0 : -1;
}

extern "C" VELNOR_API int32_t VELNOR_CALL fhclopen(uint32_t handle) {
    osflush(static_cast<int32_t>(handle));
    return -1;
}
