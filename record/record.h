// record.h - internals shared by the record operations (read, write,
// delete, backspace, position, temporary index): the two record layouts of
// the data file, moving to the next record, thread links and the removal of
// one record.
#ifndef VELNOR_RECORD_RECORD_H
#define VELNOR_RECORD_RECORD_H

#include <cstdint>

#include "velnor.h"

// The deletion mark written over a record's status byte.
inline constexpr char deletemark[2] = "D";

// Data file header: writes 'V'/blank and the hex-8 count at position 0;
// writes the thread heads at their link offsets.  0, or -1 (status 4).
int32_t writehdrcount(FHCB* cb);
int32_t writeheads(FHCB* cb);
// Re-reads the count (and the thread heads) from the header: 0, or -1.
int32_t readhdrcount(FHCB* cb);
int32_t readheads(FHCB* cb);
// Reads the record at cb->datpos into buf (reclen bytes), unpacking a
// variable-length one; the stored length, or -1 with status 3.
int32_t readrec(FHCB* cb, char* buf);

// Largest record a data file can describe (reclen is 16 bits), plus room
// for the packing slack.
enum { REC_MAX = 65536 + 16 };

// True when a key steers the file (keys, and not physical order).
inline bool activekey(const FHCB* cb) {
    return cb->nkeys > 0 && !(cb->fflags & VN_FF_NOKEY);
}

// Index numbers in the index file: the keys, plus the record-number index.
inline int nindexes(const FHCB* cb) {
    return cb->nkeys + ((cb->fflags & VN_FF_RECNO) ? 1 : 0);
}

// Bytes in front of the packed items of a variable-length record: status
// byte, hex-4 length and, with record numbers, the b95-5 number.
inline int packprefix(const FHCB* cb) {
    return (cb->fflags & VN_FF_RECNO) ? 10 : 5;
}

// Packs the unpacked record rec (reclen bytes) into out (reclen + 8 bytes):
// items with trailing blanks removed (types 'I' and 'S' and thread links
// kept whole), a TAB after each shortened field but the very last, the
// stored length as hex-4 in bytes 1-4 and a newline at the end.  Returns the
// stored length.
int32_t packrec(const FHCB* cb, const char* rec, char* out);
// Offset within the packed form of rec of the field that starts at record
// byte at, or -1 when no field starts there.
int32_t packedoffset(const FHCB* cb, const char* rec, int32_t at);
// Unpacks the stored record src of srclen bytes into dst (reclen bytes),
// the fixed layout.  Never reads past srclen nor writes past reclen.
void unpackrec(const FHCB* cb, const char* src, int32_t srclen, char* dst);

// Reads the record at pos into buf like readrec (lock probe, 0x1A
// padding, unpacking); the stored length, or -1 with status 3.
int32_t readrecat(FHCB* cb, int32_t pos, char* buf);
// The hex-4 length stored in the variable-length record at pos, or -1
// (status 3) when it cannot be read or is not hex.
int32_t storedlen(FHCB* cb, int32_t pos);
// Writes len bytes at pos of the data file.  0, or -1 with status 4.
int32_t writeat(FHCB* cb, int32_t pos, const void* buf, int32_t len);
// Size of the data file, or -1 with status 3.
int32_t datend(FHCB* cb);

// Moves to the next record after a read or write of a record whose stored
// length is len: in key order, along the thread, or physically.  Does
// nothing with mflags 0x02.
void movenext(FHCB* cb, int32_t len);

// Removes the record at pos of stored length len, held unpacked in rec:
// unlinks it from its threads, deletes its keys, gives its slot to the
// free-space list and, unless mark is false, writes the deletion mark (a
// move writes it itself once the record's new copy is on the file).  0, or
// -1 with status.
int32_t removerec(FHCB* cb, int32_t pos, int32_t len, char* rec, bool mark = true);

// Moves to the next record of the thread being walked (curkey), through
// the link of the record just read.  Clears VN_ST_CURRENT at the end of the
// chain, and also, with status VN_E_DATREAD, when the chain goes round:
// unshared, a record the walk met before comes back; shared, the walk has
// taken more steps since the head than chainlimit.
void threadstep(FHCB* cb);

// Sets the thread links of record rec, to be written at pos; old is the
// record it replaces, or null for a new record.  A thread the record enters
// gets it as head (link = the old head), one it leaves is unlinked, one it
// stays in keeps the old link.  Sets *changed when a head moved.  0, or -1
// with status (44 for a bad expression).
int32_t threadupdate(FHCB* cb, int32_t pos, char* rec, const char* old, bool* changed);
// Takes record rec (at pos) out of thread t's chain.  Sets *changed when
// the head moved.  0 (also when the chain ends without rec), or -1 with
// status (VN_E_DATREAD when the chain outruns chainlimit: a loop).
int32_t threadunlink(FHCB* cb, int t, int32_t pos, const char* rec, bool* changed);
// Most records a thread can pass in the data file as it stands: the
// header count (fixed layout) or the room for the shortest records
// (variable layout); 0 when the size cannot be read (status VN_E_DATREAD).
int64_t chainlimit(FHCB* cb);

// Steps the active key's index with mode (2 next, 3 previous) until a key
// holds the text in work within its compare length: the record position,
// 0 for none, or -1.
int32_t substrscan(FHCB* cb, int mode);
// Length of the active key's value, without the appended primary key or
// record number.
int cmplength(const FHCB* cb);

// Flushes the index pages of a shared file (keys loaded, shared).  A page
// that cannot be written sets the cache's status (VN_E_IDXWRITE) unless a
// status is already set.
void sharedflush(FHCB* cb);

// A shared search takes no lock, so it can copy a page while another
// process rewrites it: keys of one version beside record positions of the
// other, or a page that has just left the index.  True for a search of cb
// that can meet such a page: shared with OS locks, outside the file lock,
// not a temporary index.
bool searchunlocked(const FHCB* cb);
// Whether such a search of index that gave r (a position, 0, or -1 with
// status) must be made again under the file lock: a page that looked
// damaged, or a record that does not carry the key of its entry (in the
// key buffer).  The status stays.
bool searchdoubtful(FHCB* cb, int index, int32_t r);
// Before the search is made again: forgets the pages read so far and takes
// the file lock, under which no other process writes (the operation's end
// releases it).  0, or -1 with status.
int32_t searchagainlocked(FHCB* cb);
// One step of the active key's index in key order (a keysearch mode), made
// again from the same key under the file lock when searchdoubtful says so.
int32_t keystep(FHCB* cb, int mode);

#endif
