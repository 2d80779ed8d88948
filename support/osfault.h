// osfault.h - a fault the tests plant in the OS layer, to see how every
// caller above it copes: the n-th read, write, seek, open, close or lock
// from the moment it is armed fails, or moves fewer bytes than asked.  For
// tests only: the shared library does not export it, and while nothing is
// armed each OS call pays one test of a counter that stays 0.
#ifndef VELNOR_SUPPORT_OSFAULT_H
#define VELNOR_SUPPORT_OSFAULT_H

#include <cstdint>

// The kinds of call counted.  Read: osread, osreadat.  Write: oswrite,
// oswriteat.  Seek: osseek.  Open: osopen (oscreat too).  Close: osclose.
// Lock: oslock and osholdfile.  Sync: ossync, and osreplace's sync of the
// new file before the rename.
enum OsFaultKind { OSF_READ, OSF_WRITE, OSF_SEEK, OSF_OPEN, OSF_CLOSE, OSF_LOCK, OSF_SYNC, OSF_KINDS };

// Whether a call of kind is armed to fail (the count of calls still to come
// up to and including the armed one is not 0).
bool osfaultarmed(int32_t kind);

// Arms the n-th call (1-based, counted from now) of kind: it fails with -1
// and errno err, or, with shortio, a read or write moves only half the
// bytes asked (rounded down) and returns that count; shortio on any other
// kind fails it as above.  A failed close still releases the handle, as
// POSIX close does on an I/O error.  Replaces whatever was armed; n 0 (or
// a kind out of range) disarms.
void osfaultarm(int32_t kind, uint32_t n, bool shortio, int32_t err);
// True when the armed call has come since the last osfaultarm.
bool osfaultfired();

// A power cut (POSIX face only): from now on every write is journalled
// with the bytes it replaces, until its file is synced (ossync, osflush in
// the direct face, the syncs of osreplace).  The n-th write (1-based)
// never happens: instead every file loses each write since its last sync
// (a file now and then, as seed picks, keeps them all, since a cut does
// not reach every file alike), and the process ends at once with exit
// status OSF_POWERCUT_EXIT.  n 0 disarms; osfaultarm disarms too.
enum { OSF_POWERCUT_EXIT = 86 };
void osfaultpowercut(uint32_t n, uint32_t seed);

// For the POSIX face: whether a cut is armed; the journal entries of a
// write of count bytes at offset (-1: at the file position) about to be
// made through h, of an open that is about to truncate path, and of a sync
// of h just made.
bool oscutarmed();
void oscutnote(int32_t h, int64_t offset, uint32_t count);
void oscuttrunc(const char* path);
void oscutsynced(int32_t h);

// For the OS faces only, at each call of kind: counts the call when one is
// armed.  True when this call is to fail (errno is set), else false with
// *count (when count is not null) halved for a short call.
bool osfaultdue(int32_t kind, uint32_t* count);

#endif
