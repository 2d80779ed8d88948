// cmpbulk.h - large transfers on the library's buffered streams, so that
// the coder and expander move their data in few system calls: a block
// appended to a write stream in one write, and a read stream read in
// 64 KB pieces while it is handed out in blocks.
#ifndef VELNOR_COMPRESS_CMPBULK_H
#define VELNOR_COMPRESS_CMPBULK_H

#include <cstdint>

// Appends n bytes to write stream s: whatever the stream buffers goes
// first, then the bytes in one write.  0, or -1 when a write failed.
int32_t cmpputblock(int32_t s, const uint8_t* p, int32_t n);

// Reads a stream nobody else reads in 64 KB pieces.
struct CmpBulkReader {
    int32_t s;
    int32_t pos;
    int32_t len;
    uint8_t buf[65536];
};

// Starts reading stream s from its current position.
void cmpreaderinit(CmpBulkReader* r, int32_t s);
// Copies the next n bytes to dst: fewer only at the end of the file.
int32_t cmpreadblock(CmpBulkReader* r, uint8_t* dst, int32_t n);

#endif
