// idxfile.h - the index file: header page, tree pages, free-page chain and
// the free-space list of deleted records, all in pages of one size P.
// Up to 18 B-trees (index numbers) share one file.
#ifndef VELNOR_INDEX_IDXFILE_H
#define VELNOR_INDEX_IDXFILE_H

#include <cstdint>

#include "index/idxctx.h"

enum {
    IDX_MAXINDEX = 18,
    IDX_MAXDEPTH = 16,
    IDX_HDRSIZE = 114,
    IDX_VERSION = 865,
    IDX_OLDVERSION = 864,
    IDX_SPANOFF = 8,    // the changing span of the header: nextpage..roots
    IDX_SPANSIZE = 84
};

struct IdxPath {
    uint32_t page;
    uint8_t slot;
    uint8_t count;
};

// One per index number: its position in the tree and its page image.
struct IdxCursor {
    uint8_t cap;       // entries per page
    uint32_t page;     // page held in the image; 0 = none
    uint8_t slot;      // current entry
    uint8_t atend;     // last search ran past the last entry
    IdxPath path[IDX_MAXDEPTH];  // inner pages passed, root first
    uint8_t depth;
    uint64_t walked;   // entries stepped to since the walk began (first, equal...)
    void* image;       // moveable global-memory block of P bytes
    uint8_t* img;      // image, kept locked while the index is open
};

struct IdxState {
    uint16_t version;
    uint32_t nextpage;
    uint32_t freepage;
    uint32_t spacelist;
    uint32_t root[IDX_MAXINDEX];
    uint16_t nindex;
    uint16_t pagesize;
    uint8_t keylen[IDX_MAXINDEX];
    uint8_t dirty;      // header span changed since last written
    char* keybuf;       // largest key length + 1 bytes
    IdxCursor* cursor;  // nindex cursors
    void* spare;        // a second page image: the new page of a split, the
    uint8_t* spareimg;  // chain head read by pagealloc (kept locked)
    uint32_t lockepoch;  // idxlockepoch() when the engine took a file lock
                         // that keeps other processes off the file
    uint32_t hdrepoch;   // idxlockepoch() when the span was read under it
};

// The lock epoch, bumped by the engine whenever a file lock it took may have
// gone.  A span read while the lock of the same epoch stood is still the
// file's, since no other process can have changed it.
uint32_t idxlockepoch();
// Ends the present epoch: every span read under a lock must be read again.
void idxlockends();

// Reads n bytes at off of an index file: through the file's map when it
// can, else with a plain read.  Bytes that come through the map all zero
// are read again after the file is measured, so that a file another
// process created afresh reads as short as a plain read finds it.  True
// when all n came.
bool idxreadat(int32_t fd, uint32_t off, void* buf, uint32_t n);

// Page size for a largest key length m: (24m + 228) & 0xFF80 in 16 bits.
uint16_t idxpagesize(unsigned m);
// Entries per page for key length k in pages of p bytes, kept in 8 bits.
uint8_t idxcapacity(uint16_t p, unsigned k);

// The calls below return 0 or a status, as idxctx.h says; f.state is the
// open index.

// Creates or truncates f.path and writes page 0 for the definition's keys.
// 0, VN_E_IDXCREATE, VN_E_IDXWRITE, VN_E_MEMORY, or VN_E_IDXFID for more
// than 18 indexes.
int32_t idxcreate(const IdxFile& f);
// Reads and checks the header of the open f.fd and sets f.state.  0,
// VN_E_IDXREAD (short header), VN_E_IDXOLD (old version), VN_E_IDXVERSION
// (other version), VN_E_IDXFID (index count, key lengths or page size do
// not fit the definition) or VN_E_MEMORY; f.state stays null on failure.
int32_t idxopen(IdxFile& f);
// Flushes the file's cached pages, writes a dirty header and frees the
// state (f.state null).  A failed flush gives VN_E_IDXWRITE marked
// IDX_CACHEFAIL; a failed header write, VN_E_IDXWRITE.  With no state it
// only flushes.
int32_t idxclose(IdxFile& f);
// whole: all 114 bytes; else the 84-byte changing span.  0, VN_E_IDXREAD,
// or VN_E_IDXFID when the whole header no longer fits the state.
int32_t hdrread(IdxFile& f, int whole);
// Before an index operation in shared use: rereads the changing span
// unless it was read under the file lock that still stands.  As hdrread.
int32_t hdrrefresh(IdxFile& f);
// Writes the changing span when dirty.  0, or VN_E_IDXWRITE.
int32_t hdrwrite(IdxFile& f);
// In shared mode, writes the file's cached pages and the header; returns
// held followed (idxthen) by the failures of either.  Unshared, held.
int32_t idxsync(IdxFile& f, int32_t held);
// A page from the free-page chain in *page, 0 when the chain is empty (the
// caller then appends at nextpage).  0; the marked cache status when the
// head could not be read; VN_E_IDXCORRUPT when the head is not a freed
// page (the chain is damaged or loops back into pages in use).
int32_t pagealloc(IdxFile& f, int index, uint32_t* page);
// A page for new content in *page: the chain head, else nextpage
// (incremented).  Marks the header dirty.  0, the status of pagealloc, or
// VN_E_IDXWRITE marked IDX_CACHEFAIL when the file is full.
int32_t pagenew(IdxFile& f, int index, uint32_t* page);
// Zeroes the image of index, chains it as freed page and writes it.  0,
// or the marked status of the write.
int32_t pagefree(IdxFile& f, int index, uint32_t page);
// Records a deleted record's slot.  0, or a status (VN_E_IDXCORRUPT when
// the list runs through more pages than the file holds: a loop).
int32_t spaceadd(IdxFile& f, uint32_t pos, uint16_t len);
// Takes a deleted slot of length len: its position in *pos, 0 for none.
// The status: VN_E_IDXCORRUPT when the list loops; a marked cache status
// when a page could not be read or written (*pos 0); VN_E_IDXWRITE when the
// header could not be written after the slot was taken (*pos the slot).
int32_t spacetake(IdxFile& f, uint16_t len, uint32_t* pos);

#endif
