// keyfile.cc - the engine's side of the index layer: each call builds the
// layer's view of the block's file, runs, takes back what changed and
// gives the block the status.
#include "record/keyfile.h"

#include "definition/definition.h"
#include "index/btree.h"
#include "index/hash.h"
#include "index/idxfile.h"

IdxFile indexof(FHCB* cb) {
    return IdxFile{cb->index,    cb->idxfd,    cb->idxname,   cb->keys,         cb->nkeys,
                   cb->fflags,   isshared(cb), cb->hashrecs,  cb->hashstate};
}

void indexback(FHCB* cb, const IdxFile& f) {
    cb->index = f.state;
    cb->idxfd = f.fd;
    cb->hashrecs = f.hashrecs;
    cb->hashstate = f.hashstate;
}

int32_t takestatus(FHCB* cb, int32_t s) {
    if (s == 0) return 0;
    if (!(s & IDX_CACHEFAIL) || cb->status == 0) cb->status = idxstatusbyte(s);
    return -1;
}

namespace {

// Runs call on cb's file and takes back what it changed; its status.
template <typename Call>
int32_t oncb(FHCB* cb, Call call) {
    IdxFile f = indexof(cb);
    const int32_t s = call(f);
    indexback(cb, f);
    return s;
}

}  // namespace

int32_t keysearch(FHCB* cb, int index, int mode) {
    uint32_t pos = 0;
    if (takestatus(cb, oncb(cb, [&](IdxFile& f) { return idxsearch(f, index, mode, &pos); })) < 0) return -1;
    return static_cast<int32_t>(pos);
}

int32_t keyinsert(FHCB* cb, int index, uint32_t pos) {
    return takestatus(cb, oncb(cb, [&](IdxFile& f) { return idxinsert(f, index, pos); }));
}

int32_t keydelete(FHCB* cb, int index, uint32_t pos) {
    return takestatus(cb, oncb(cb, [&](IdxFile& f) { return idxdelete(f, index, pos); }));
}

int32_t spacefree(FHCB* cb, uint32_t pos, uint16_t len) {
    return takestatus(cb, oncb(cb, [&](IdxFile& f) { return spaceadd(f, pos, len); }));
}

uint32_t spacereuse(FHCB* cb, uint16_t len) {
    uint32_t pos = 0;
    const int32_t s = oncb(cb, [&](IdxFile& f) { return spacetake(f, len, &pos); });
    if (!(s & IDX_CACHEFAIL)) takestatus(cb, s);
    return pos;
}

int32_t keyfilecreate(FHCB* cb) {
    const bool hashed = cb->fflags & VN_FF_HASHED;
    return takestatus(cb, oncb(cb, [&](IdxFile& f) { return hashed ? hshcreate(f) : idxcreate(f); }));
}

int32_t keyfileopen(FHCB* cb) {
    const bool hashed = cb->fflags & VN_FF_HASHED;
    return takestatus(cb, oncb(cb, [&](IdxFile& f) { return hashed ? hshopen(f) : idxopen(f); }));
}

int32_t keyfileclose(FHCB* cb) {
    const int32_t s = oncb(cb, [](IdxFile& f) { return idxclose(f); });
    if (!(s & IDX_CACHEFAIL)) takestatus(cb, s);
    return s == 0 ? 0 : -1;
}

int32_t keyhdrwrite(FHCB* cb) {
    return takestatus(cb, oncb(cb, [](IdxFile& f) { return hdrwrite(f); }));
}
