// os.h - the OS file, lock and memory layer every other part of the library
// goes through; nothing above this layer calls the operating system directly.
//
// Handles are signed 32-bit numbers; a value below 1 from osopen is a failure.
// Each file call looks at the I/O mode (the support state's iomode, the last
// network type chosen by operation 12): 9 selects direct system handles (Win32
// handles on Windows), anything else the C runtime's descriptors.  On POSIX
// systems both faces are plain descriptors.  Byte locks belong to a handle:
// a byte locked through one handle is refused to every other handle, in this
// process or another, and closing a handle drops only its own locks.
#ifndef VELNOR_SUPPORT_OS_H
#define VELNOR_SUPPORT_OS_H

#include <cstdint>

#include "velnor.h"

// Opens path with the numeric open flags (VN_O_*) and, with VN_O_CREAT, the
// permission bits (511 = octal 777).  On POSIX a new file never gets the
// execute bits: at most 0666, less the umask.  Tries once.  Handle, or -1 (also for
// a null or empty path).  The handle is never inherited by child programs.
// On Windows 0x10 denies other openers and 0x40 denies nothing (no sharing
// bit: nothing is denied either, except on the direct face, which then
// denies all).  POSIX has no share modes: there 0x10 locks a byte far past
// the file's end, so that an exclusive open is refused while another
// exclusive open of the file is in place (two read-only ones excepted),
// and 0x40 is ignored.  An exclusive open with 0x200 truncates only once
// it has its lock.
int32_t osopen(const char* path, uint32_t flags, uint32_t perm);
int32_t osclose(int32_t h);                             // 0, or -1
int32_t osread(int32_t h, void* buf, uint32_t count);   // bytes, 0 at end, -1
int32_t oswrite(int32_t h, const void* buf, uint32_t count);  // bytes, or -1
// Read and write at a given offset from the start, without a separate seek:
// bytes (0 at end for a read), or -1.  The file position afterwards is not
// defined (POSIX leaves it alone, Windows moves it past the bytes), so a
// caller that relies on the position seeks itself.
int32_t osreadat(int32_t h, void* buf, uint32_t count, uint32_t offset);
int32_t oswriteat(int32_t h, const void* buf, uint32_t count, uint32_t offset);
// Reads count bytes at offset through a memory map of the file, made on
// first use and widened as the file grows, without a system call once the
// bytes are mapped.  What other processes write shows in the map as it
// does to osreadat.  The file is measured only when a read goes past what
// was last seen, so a read of bytes another process has cut off since
// fails, and one in the last page left would read zeros: where another
// process may have cut the file short, osremeasure it before the read, or
// after one whose zeros may lie past such a cut.  count, or -1
// when the bytes are not all in the file, the file cannot be mapped (or
// this system maps nothing) or a fault is armed; the caller then reads
// with osreadat, which reports what is there.  osclose drops the map.
int32_t osreadmapped(int32_t h, void* buf, uint32_t count, uint32_t offset);
// The count bytes at offset that osreadmapped would copy, shown in place:
// null where it would fail.  What other processes write shows in them at
// once, and reading them faults if another process cuts the file short
// under the map, so read them only inside osmapguard on the same handle,
// and no longer than it runs.
const uint8_t* osmapview(int32_t h, uint32_t count, uint32_t offset);
// Runs fn(arg), which reads views of h's map: true, or false when a view
// faulted because the file had been cut short, fn being left where it
// was; the file is then measured again before its next read through the
// map.  fn must hold nothing that would need releasing if it is left.
bool osmapguard(int32_t h, void (*fn)(void*), void* arg);
// Measures the file of h again for osreadmapped, so that bytes another
// process has cut off since are left to osreadat.  0, or -1 when the file
// cannot be measured, nothing then being read through its map until it
// can.  Does nothing on a handle without a map.
int32_t osremeasure(int32_t h);
int32_t osflush(int32_t h);  // direct face: nonzero on success; runtime face: 0
// Writes like oswriteat, but may keep the bytes in memory and write them
// with the bytes that follow them, for a file that no other process reads
// while it is open.  Held bytes reach the file before any other call of
// this layer writes, opens, renames or removes a file, or reads, seeks in,
// measures, locks or closes the handle they belong to, so that the files
// see their writes in the order they were made and every read sees them.
// A held write that then fails fails that later call, whatever it was,
// with the bytes still held for the next one; osclose of their handle
// drops them on failure.  count, or -1.  Windows writes at once.
int32_t oswritelater(int32_t h, const void* buf, uint32_t count, uint32_t offset);
// Writes whatever oswritelater holds: 0, or -1 with it still held.
int32_t osdrain();
// New position from the start, or -1 (0xFFFFFFFF).  origin: 0 start,
// 1 current, 2 end.
int32_t osseek(int32_t h, int32_t offset, int32_t origin);
int32_t oscreat(const char* path, uint32_t perm);
// One attempt, never waits: 0 locked, -1 refused.  A zero length locks
// nothing and succeeds.  On POSIX a handle opened read-only takes a shared
// lock, which keeps out every writable handle's lock but not another
// read-only handle's.
int32_t oslock(int32_t h, uint32_t offset, uint32_t length);
int32_t osunlock(int32_t h, uint32_t offset, uint32_t length);
// Whether oslock of the same bytes would be refused now, without taking
// the lock: 0 it would succeed (a zero length always does), 1 it would be
// refused or the test itself failed.  Another holder's lock is never held
// up by the test.
int32_t osprobe(int32_t h, uint32_t offset, uint32_t length);
// The kinds of whole-file hold.
enum : int32_t {
    OS_HOLD_SHARED = 0,   // runs sharing the file through the byte locks: beside one another
    OS_HOLD_ALONE = 1,    // one run alone
    OS_HOLD_READING = 2,  // runs that only read, taking no byte locks: beside one another only
};
// Holds a whole file against other processes: an ALONE hold keeps out every
// other hold; SHARED holds and READING holds each keep out ALONE holds and
// the other kind.  The hold is byte-range locks at 2^62 and a few bytes
// above it, far beyond any offset the library touches, so the record and
// file byte locks above never meet it, and file servers that honour
// byte-range locks (NFSv4, SMB) keep it across machines.  On POSIX a file
// this process may not write is held shared even when alone is asked.
// The path is checked to name the held file once the lock is taken, so a
// file replaced by rename meanwhile is opened again.  Never waits.  A token
// above 0 for osunholdfile, 0 when another hold is in the way, or -1 when
// the file cannot be opened (or kind is none of the three).
int32_t osholdfile(const char* path, int32_t kind);
// Gives the hold up (closing its handle); a token below 1 is ignored.
void osunholdfile(int32_t token);
// The separator put between a folder and a name: '/', or '\' on Windows.
extern const char ospathsep;

// Deletes and renames files by name: 0, or -1.  Renaming onto an existing
// file replaces it on POSIX and fails on Windows.
int32_t osunlink(const char* path);
int32_t osrename(const char* from, const char* to);
// Puts the closed file from in place of to in one step, replacing any old
// to, so that a crash leaves either the old or the new file under that name,
// never none: the new file is forced to disk first, then renamed over the
// old one, then (POSIX) the directory is forced to disk.  0, or -1 with both
// files as they were.  This process's holds on the old to are carried
// over to the new file under the same tokens: on POSIX without a break, on
// Windows (which replaces no open file) with the old file let go just
// before the move.
int32_t osreplace(const char* from, const char* to);
// Creates and removes one directory: 0, or -1.
int32_t osmkdir(const char* path);
int32_t osrmdir(const char* path);
// Size of an open file in bytes, or -1 (also beyond 2 GiB).
int32_t osfilesize(int32_t h);

// Moveable global-memory blocks: reached only between lock and unlock.  A
// zero size gives a valid block like any other (its lock returns a unique
// pointer to no usable bytes).  count * size overflowing 32 bits fails.
// Null handles are harmless everywhere (lock gives null, free gives null).
void* globalhalloc(uint32_t size);                 // handle, or null
void* globalhcalloc(uint32_t count, uint32_t size);  // zeroed; null on failure
void* globalhlock(void* handle);                   // pointer, or null
void globalhunlock(void* handle);
void* globalhfree(void* handle);                   // null on success
// Compaction hooks the page cache calls; they do nothing.
int32_t globalcompact(uint32_t a, uint32_t b);
void globalsettle();
// A zeroed table of size bytes, looked up at random and kept long: on
// POSIX in huge pages where the system gives them on request, which spares
// most address-translation misses.  Null on failure.  osbigfree gives it
// back (nothing for null).
void* osbigtable(size_t size);
void osbigfree(void* table);

// Milliseconds from an arbitrary start (the system tick count).
uint32_t ostickcount();
// Busy-waits ms milliseconds on the tick count.
void osbusywait(uint32_t ms);

// The module that holds this code, captured on first use into the support
// state's modinstance.  Null on POSIX.
void* osinstance();

// Stat of a path: 0 and the size and six DOS date-time bytes (as the
// directory search gives them), or -1.  Either out-pointer may be null.
int32_t osstat(const char* path, uint32_t* size, uint8_t* datetime);
// Sets a file's last-write time from the six date-time bytes: 0, or -1.
int32_t ossettime(const char* path, const uint8_t* datetime);

#endif
