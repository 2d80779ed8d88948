// idxctx.h - one open index or hash file as the index layer sees it, and
// the statuses the layer returns.  The engine fills an IdxFile for each
// operation and takes back what the layer changed; nothing below the
// engine reads or writes the caller's command block.
#ifndef VELNOR_INDEX_IDXCTX_H
#define VELNOR_INDEX_IDXCTX_H

#include <cstdint>

struct FidKey;
struct IdxState;

struct IdxFile {
    IdxState* state;     // the open index, null until opened; set by
                         // idxopen and hshopen, cleared by idxclose
    uint32_t fd;         // the index or hash file's OS handle; a page read
                         // that failed once may take a fresh one
    const char* path;    // its name, for creating and reopening
    const FidKey* keys;  // the definition's keys
    int nkeys;
    uint8_t fflags;      // the definition's VN_FF_* bits: record-number
                         // key, temporary index, variable length are read
    bool shared;         // re-read and written through on every operation
    uint32_t hashrecs;   // hash file: the table size asked for, then made
    uint8_t hashstate;   // hash file: found flag and size class (hash.h)
};

// Every index, page cache and hash routine that can fail returns 0 or a
// status (VN_E_*, VN_C_*).  A status that stands for a failure of the page
// cache (a page that could not be read, written or locked) is marked with
// IDX_CACHEFAIL by the tree and space-list routines: the engine gives it to
// its caller only when the caller holds no status yet, while any other
// status replaces the caller's.
enum : int32_t { IDX_CACHEFAIL = 0x100 };

// The status byte of a result.
inline uint8_t idxstatusbyte(int32_t s) { return static_cast<uint8_t>(s & 0xFF); }
// A page cache status as the tree passes it on.
inline int32_t fromcache(int32_t s) { return s != 0 ? s | IDX_CACHEFAIL : 0; }
// What the caller holds after held and then s: a cache failure never hides
// another status, and a later cache failure's cause replaces an earlier one.
inline int32_t idxthen(int32_t held, int32_t s) {
    if (s == 0) return held;
    if ((s & IDX_CACHEFAIL) && held != 0 && !(held & IDX_CACHEFAIL)) return held;
    return s;
}

#endif
