// fastio.h - the stream table behind the fast* buffered streams, shared by
// the files that read, write and position them.
#ifndef VELNOR_SUPPORT_FASTIO_H
#define VELNOR_SUPPORT_FASTIO_H

#include <cstdint>

constexpr int kFastStreams = 5;
constexpr int32_t kFastBuffer = 2048;

struct FastStream {
    int32_t handle;  // from osopen; 0 = slot free
    uint32_t flags;  // open flags given to fastopen
    int32_t pos;     // next byte of the buffer to read or write
    int32_t count;   // valid bytes when reading; 0 while writing
    char* buffer;    // kFastBuffer bytes from globalmalloc
    uint8_t failed;  // 1 once a read or write of the stream failed
};

// The open stream numbered s, or null for a number out of range or a free
// slot.
FastStream* faststream(int32_t s);

// Refills the buffer of a reading stream: false at end of file or on a read
// error (count is then 0; an error also sets failed).
bool fastfill(FastStream* f);

// True when a read or write of open stream s has failed, which a short
// read alone does not tell from the end of the file.  False for a number
// that names no open stream.
bool fastfailed(int32_t s);

// fastclose for a writer that must know its bytes are on the file: 1 also
// when the OS close fails (a write can fail late, at the close).
int32_t fastcloseall(int32_t s);

#endif
