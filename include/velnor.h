/*
 * velnor.h - the public interface of the velnor record-file library.
 *
 * One header for applications: the command block FHCB and its operation,
 * status, flag and open-flag codes, and every exported function.  On 32-bit
 * Windows every export uses the standard calling convention and is exported
 * under its plain name from velnor.dll.
 *
 * Results: 0 for success and -1 for failure unless a function says otherwise;
 * the engine's reason for a failure is the one-byte status in the FHCB.
 *
 * Null pointers: every function that takes a pointer gives its failure
 * result (-1, null, 0, or nothing done for a function without a result) when
 * a pointer it needs is null, and, when it has a block, VN_C_NOTAPPLY in the
 * block's status (a null block itself has no status to hold).  Pointers
 * that a function documents as optional (dest of convdate, size of
 * cfindfirst ...) may be null as before.
 *
 * Memory: blocks the library hands to the caller (record buffers, search
 * results, lists) come from globalmalloc/globalcalloc and are freed with
 * globalmfree, or by the call that says it frees them (vfhclose).
 *
 * Names: an application may define functions of the same names as these
 * (trim, casecmp, instr ...).  Linked with the shared library, the program
 * keeps its own and the library keeps its own.  Linked with the static
 * library, the linker refuses the pair ("multiple definition"): rename the
 * program's function, or link the shared library.
 *
 * Threads: the library keeps process-wide state (the open-file list, the
 * index page cache, the archiver's and maintenance's run state) without
 * locks of its own.  Call it from one thread at a time in a process; a
 * program with several threads serialises its calls itself.  Processes
 * share files through the OS byte locks, as the network type asks.
 */
#ifndef VELNOR_H
#define VELNOR_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32) && !defined(_WIN64)
#define VELNOR_CALL __stdcall
#else
#define VELNOR_CALL
#endif

#if defined(_WIN32)
#if defined(VELNOR_BUILDING)
#define VELNOR_API __declspec(dllexport)
#elif defined(VELNOR_STATIC)
#define VELNOR_API
#else
#define VELNOR_API __declspec(dllimport)
#endif
#elif defined(VELNOR_BUILDING)
#define VELNOR_API __attribute__((visibility("default")))
#else
#define VELNOR_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------
 * The command block.  Byte-packed: applications allocate and fill it
 * directly, so every field follows the previous one with no padding.
 *
 * A block must be all zeros before its first open, create or temporary
 * index (memset, "= {0}", or a static block): the engine takes a non-null
 * index, file lock flag or loaded definition in a block it does not hold as
 * its own.  It refuses a block whose index or lock flag is set (status
 * VN_E_REUSE) rather than follow them, but other leftovers cannot be told
 * from the caller's settings.  After a close the block may be opened again.
 *
 * Names: datname, fidname and idxname are zero-terminated strings of at most
 * 260 characters.  A name that fills its field with no zero is refused, with
 * nothing opened, created or cut: VN_E_DATOPEN, VN_E_FIDOPEN, or
 * VN_E_IDXOPEN (VN_E_HSHOPEN for a hashed file) as the field's file.
 * ------------------------------------------------------------------------ */

struct FidItem;   /* item table of a loaded definition */
struct FidKey;    /* key table */
struct FidThread; /* thread table */
struct IdxState;  /* open index file state */

#pragma pack(push, 1)
typedef struct FHCB {
    uint32_t reserved;          /* never read or written by the engine */
    uint8_t opcode;             /* operation code (VN_OP_*) */
    uint8_t status;             /* status of the last operation, 0 = success */
    uint8_t spare;
    int8_t reqkey;              /* key requested by operation 19 */
    int8_t curkey;              /* active key, internal 0-based number */
    uint16_t nitems;            /* items in the definition; 0 = "*SEQ" file */
    int8_t nkeys;               /* keys in the definition */
    char *recbuf;               /* record buffer of reclen bytes */
    uint16_t reclen;            /* record length + status byte + newline */
    uint32_t datfd;             /* OS handle of the data file, 0 = closed */
    uint32_t idxfd;             /* OS handle of the index or hash file */
    int32_t datpos;             /* position of the current record */
    uint32_t nrecs;             /* records in the file, header included */
    uint16_t state;             /* VN_ST_* bits */
    uint32_t lockpos;           /* record this block holds locked, 0 = none */
    struct IdxState *index;     /* open index, null when none */
    uint32_t hashrecs;          /* hash table entries */
    uint8_t hashstate;          /* owned by the hash file layer */
    uint16_t hypfd;             /* posting file handle of a keyword index */
    uint16_t nthreads;          /* threads in the definition */
    uint8_t fflags;             /* VN_FF_* file flags */
    uint8_t mflags;             /* VN_MF_* mode flags */
    uint16_t nettype;           /* network type number */
    char *work;                 /* 257-byte work buffer */
    char datname[261];          /* data file name */
    char fidname[261];          /* definition file name, "" = derived */
    char idxname[261];          /* index or hash file name, "" = derived */
    struct FidKey *keys;        /* key table */
    struct FidItem *items;      /* item table */
    struct FidThread *threads;  /* thread table */
    uint16_t flockretry;        /* attempts to take the file lock */
    uint16_t rlockretry;        /* attempts to take a record lock */
    uint8_t flocked;            /* 1 while the file lock is held */
} FHCB;
#pragma pack(pop)

/* Operation codes (FHCB.opcode). */
enum {
    VN_OP_INIT = 0,      /* initialise the engine (counted) */
    VN_OP_OPEN = 1,      /* open an existing file */
    VN_OP_CREATE = 2,    /* create a new file, replacing an old data file */
    VN_OP_CLOSE = 3,
    VN_OP_READ = 4,      /* read the current record, move to the next */
    VN_OP_WRITE = 5,     /* add or rewrite the record in recbuf */
    VN_OP_DELETE = 6,    /* delete the record whose key 0 is in recbuf */
    VN_OP_BACKSP = 7,    /* move to the previous record */
    VN_OP_POSN = 8,      /* position by the key value in work */
    VN_OP_SECURE = 9,    /* commit header, threads and index pages */
    VN_OP_END = 11,      /* position at the end of the file */
    VN_OP_NETTYPE = 12,  /* set the network type from the name in work */
    VN_OP_RLOCK = 13,    /* lock the current record */
    VN_OP_RUNLOCK = 14,  /* unlock the record this block holds */
    VN_OP_TMPIDX = 15,   /* make a temporary index from the expression in work */
    VN_OP_SETKEY = 19,   /* set the active key from reqkey */
    VN_OP_SHUTDOWN = 20  /* shut down (counted) */
};

/* Status codes (FHCB.status).  1-44 have a message (fhmessage).  Two pairs
 * share a value, so a status tells only the pair: VN_C_NOTFOUND and
 * VN_C_NOREC are both 100 ('d'), VN_C_HSHNOKEY and VN_C_NOTAPPLY both 102
 * ('f'); the operation that failed tells which was meant. */
enum {
    VN_OK = 0,
    VN_E_DATOPEN = 1,
    VN_E_DATCREATE = 2,
    VN_E_DATREAD = 3,
    VN_E_DATWRITE = 4,
    VN_E_DATCLOSE = 5,
    VN_E_FIDOPEN = 6,
    VN_E_FIDREAD = 7,
    VN_E_FIDVERSION = 8,
    VN_E_MEMORY = 9,
    VN_E_INDEX = 10,
    VN_E_REUSE = 11,
    VN_E_NOINIT = 12,
    VN_E_RECLEN = 13,
    VN_E_UNLOCK = 14,
    VN_E_DATFID = 19,
    VN_E_KEYNO = 20,
    VN_E_IDXOPEN = 21,
    VN_E_IDXCREATE = 22,
    VN_E_IDXREAD = 23,
    VN_E_IDXWRITE = 24,
    VN_E_IDXCLOSE = 25,
    VN_E_IDXVERSION = 26,
    VN_E_IDXFID = 27,
    VN_E_IDXCORRUPT = 28,
    VN_E_IDXOLD = 29,
    VN_E_IDXLOCK = 30,
    VN_E_HSHOPEN = 31,
    VN_E_HSHCREATE = 32,
    VN_E_HSHREAD = 33,
    VN_E_HSHWRITE = 34,
    VN_E_HSHCLOSE = 35,
    VN_E_HSHVERSION = 36,
    VN_E_HSHFID = 37,
    VN_E_HSHCORRUPT = 38,
    VN_E_HSHFULL = 39,
    VN_E_THRFIRST8 = 41,
    VN_E_THRSHORT = 42,
    VN_E_THROVERFLOW = 43,
    VN_E_THREXPR = 44,
    VN_E_HYPOPEN = '6',  /* posting file cannot be opened or created, bad magic */
    VN_E_HYPREAD = '7',  /* posting node not read whole (or damaged chain) */
    VN_E_HYPWRITE = '8', /* posting node not written whole */
    VN_C_NOTFOUND = 100, /* hash delete of a key that is not there */
    VN_C_HSHNOKEY = 102, /* hashed definition without a key */
    VN_C_NOREC = 'd',    /* no current record */
    VN_C_BADOP = 'e',    /* unknown operation code */
    VN_C_NOTAPPLY = 'f', /* operation does not apply to this file */
    VN_C_READONLY = 'i', /* write or delete on a read-only file */
    VN_C_NETNAME = 'j',  /* network type name not in the table */
    VN_C_RLOCKED = 'k',  /* record lock refused or held elsewhere */
    VN_C_FLOCKED = 'l',  /* file lock refused */
    VN_C_DELETED = 'm',  /* the record read is deleted */
    VN_C_VARBACK = 'o',  /* backspace on a variable-length file, no key */
    VN_C_KEYEXPR = 'p'   /* bad temporary-index key expression */
};

/* FHCB.state bits. */
enum {
    VN_ST_CURRENT = 0x0001,  /* current record valid */
    VN_ST_DIRTY = 0x0002,    /* header modified since the last flush */
    VN_ST_SUBSTR = 0x0008,   /* operation 8 searches by substring */
    VN_ST_THREAD = 0x0010,   /* walk by thread */
    VN_ST_TMPREUSE = 0x0080, /* temporary index reused */
    VN_ST_REUSE = 0x0100     /* reuse deleted record slots on write */
};

/* FHCB.fflags bits. */
enum {
    VN_FF_RECNO = 0x01,   /* record numbers */
    VN_FF_HASHED = 0x04,  /* hash file instead of an index */
    VN_FF_NOKEY = 0x08,   /* no active key: physical order */
    VN_FF_TMPIDX = 0x10,  /* temporary index */
    VN_FF_VARLEN = 0x20,  /* variable-length records */
    VN_FF_NODATA = 0x40,  /* no data file is opened */
    VN_FF_FIDDONE = 0x80  /* definition already loaded */
};

/* FHCB.mflags bits. */
enum {
    VN_MF_EXACT = 0x01,     /* operation 8 wants an exact match */
    VN_MF_STAY = 0x02,      /* do not move after read or write */
    VN_MF_DESCEND = 0x04,   /* descending order */
    VN_MF_EXCLUSIVE = 0x10, /* exclusive use: no locks, no header re-reads */
    VN_MF_READONLY = 0x20   /* read only */
};

/* Open flags of osopen and fastopen. */
enum {
    VN_O_RDONLY = 0x0000,
    VN_O_WRONLY = 0x0001,
    VN_O_RDWR = 0x0002,
    VN_O_EXCL = 0x0010,  /* deny other openers (funshare) */
    VN_O_SHARE = 0x0040, /* deny nothing (fshare) */
    VN_O_CREAT = 0x0100,
    VN_O_TRUNC = 0x0200,
    VN_O_BINARY = 0x8000
};

/* ------------------------------------------------------------------------
 * Record file engine.
 * ------------------------------------------------------------------------ */

/* Runs the operation in cb->opcode; 0 when cb->status is 0 afterwards, -1
 * (and -1 for a null cb, with no status).  Start and stop: operation 0
 * (VN_OP_INIT) must come first, once per process or once per user of the
 * engine: it counts.  Any other operation before it fails with
 * VN_E_NOINIT.  Operation 20 (VN_OP_SHUTDOWN) only counts down while the
 * count is above zero; only an operation 20 with the count already zero
 * really stops the engine, closing every file still open.  So a program
 * that started once stops with its second operation 20, and until then a
 * block left open stays open.
 *
 * Keys in work (operation 8, vfhposn): the value is the key's bytes as the
 * record holds them, zero-terminated, taken up to its zero (at most the
 * key's own width).  Positioning finds the first key at or after it; with
 * exact the key found must begin with it, so a shorter value is a prefix.
 * Items are stored blank-padded: a right-justified ('R') item holds 42 in
 * five bytes as "   42", and only that value finds it.  The sure way: set
 * the items in recbuf with vfhitemset and build the value with
 * bldkey(cb, key, cb->work).
 *
 * Sharing: two blocks on the same file in one process each hold their own
 * header count and thread heads while the network type is "SINGLE" (0): one
 * does not see the other's writes until it is closed or secured. */
VELNOR_API int32_t VELNOR_CALL filehandler(FHCB *cb);

/* The message of status 1-44 ("opening data file", ...), "" for an entry
 * without text, and null for any other status. */
VELNOR_API const char *VELNOR_CALL fhmessage(int32_t status);

/* Index of the item called name (exact, case-sensitive) in the item table,
 * or -1 (also for a block with no definition). */
VELNOR_API int32_t VELNOR_CALL fhfidoffset(FHCB *cb, const char *name);

/* Key keyno (0 the primary key, as operation 19 counts less one) of the
 * record in cb->recbuf into dest, zero-terminated; returns its length.  A
 * secondary key ends with the primary key.  dest needs the key's length + 1
 * bytes (at most 256: cb->work serves).  0 for a null cb or dest. */
VELNOR_API int32_t VELNOR_CALL bldkey(FHCB *cb, int32_t keyno, char *dest);
/* value as width base-95 digits in a static buffer each call overwrites. */
VELNOR_API char *VELNOR_CALL tobase95(uint32_t value, uint32_t width);
/* The value of the width base-95 digits at text (digit = byte - 32); 0 for
 * a null text. */
VELNOR_API uint32_t VELNOR_CALL frombase95(const char *text, uint32_t width);

/* Simplified record API.  Each record call clears cb->status, runs one
 * operation through filehandler and returns 0 when cb->status is still 0,
 * else -1 with the reason there.
 *
 * Open, create, temporary index: cb->datname names the data file;
 * cb->fidname and cb->idxname may be "" for the names derived from it
 * (".fid", ".idx" or ".hsh").  The file opens shared (network type 1):
 * operation 12 chooses another type afterwards.  On success cb->recbuf is a
 * new record buffer of reclen + 8 bytes, blank, with the newline at
 * reclen - 1; vfhclose frees it (also when the close fails).  vfhopen of a
 * missing file gives status VN_E_DATOPEN (VN_E_FIDOPEN when the definition
 * is missing) and no buffer.  vfhmake replaces an existing data file.
 * vfhmaketidx takes the key expression in cb->work, which must be a
 * globalmalloc block: the engine frees it and hands out a new one.
 * The block must be zeroed first (see FHCB).  cb->work is the engine's:
 * 257 bytes, allocated by the open, freed by the close. */
VELNOR_API int32_t VELNOR_CALL vfhopen(FHCB *cb);
VELNOR_API int32_t VELNOR_CALL vfhmake(FHCB *cb);
VELNOR_API int32_t VELNOR_CALL vfhmaketidx(FHCB *cb);
VELNOR_API int32_t VELNOR_CALL vfhclose(FHCB *cb);
/* Reads the current record into cb->recbuf and moves to the next in the
 * active order, unless stay is nonzero.  A deleted record is read too and
 * returns -1 with VN_C_DELETED.  Past the last record (or with no current
 * record) the result is -1 with VN_C_NOREC: that is the end of the file. */
VELNOR_API int32_t VELNOR_CALL vfhread(FHCB *cb, int32_t stay);
/* Writes cb->recbuf: a new record, or a rewrite of the one whose primary
 * key (key 0) it holds, which it silently replaces.  stay: as for read. */
VELNOR_API int32_t VELNOR_CALL vfhwrite(FHCB *cb, int32_t stay);
/* Positions at the first record whose active key is at or after the value
 * in cb->work (exact nonzero: that begins with it); see "Keys in work" at
 * filehandler.  When no record qualifies the result is still 0 with status
 * 0, but VN_ST_CURRENT is cleared in cb->state and a read then gives
 * VN_C_NOREC: test the bit, as in
 *     if (vfhposn(cb, 1) == 0 && (cb->state & VN_ST_CURRENT)) found...
 * -1 with the status for a failure (a file that cannot be read, a block
 * that is not open). */
VELNOR_API int32_t VELNOR_CALL vfhposn(FHCB *cb, int32_t exact);
/* Moves to the previous record in the active order; VN_C_NOREC before the
 * first, VN_C_VARBACK in physical order on a variable-length file. */
VELNOR_API int32_t VELNOR_CALL vfhbacksp(FHCB *cb);
/* Deletes the record whose primary key cb->recbuf holds: marked "D", its
 * keys taken out and its slot kept for reuse. */
VELNOR_API int32_t VELNOR_CALL vfhdelete(FHCB *cb);
/* Locks the current record, or unlocks the one this block holds; only
 * network types 1 and 2 take OS locks, others succeed without any. */
VELNOR_API int32_t VELNOR_CALL vfhrlock(FHCB *cb);
VELNOR_API int32_t VELNOR_CALL vfhrunlock(FHCB *cb);
/* Commits the header count, thread heads and index pages to disk. */
VELNOR_API int32_t VELNOR_CALL vfhsecure(FHCB *cb);
/* Selects the order of later reads: key (1-based as in the definition), or
 * 0 for physical order; a key the file does not have fails. */
VELNOR_API int32_t VELNOR_CALL vfhsetkey(FHCB *cb, uint8_t key);
/* Closes the file's OS handles but keeps its state; the next operation on
 * cb reopens it. */
VELNOR_API int32_t VELNOR_CALL vfhlimbo(FHCB *cb);
/* Item access by name (exact case) on cb->recbuf; occ is the 0-based
 * occurrence and must be below the item's occurrences.  get copies the
 * field with its trailing blanks into dest (length + 1 bytes) and a zero;
 * set writes src blank-filled (on the left for a right-justified item) and
 * cuts a longer value on the right without a word.  0, or -1 for an
 * unknown item or occurrence.  vfhitemoffset: the item's first byte in
 * recbuf, or null.  vfhcopy copies occurrence 0 of each item of src to the
 * item of that name in dst (skipping those dst lacks) and returns 0. */
VELNOR_API int32_t VELNOR_CALL vfhitemget(FHCB *cb, const char *name, int32_t occ, char *dest);
VELNOR_API int32_t VELNOR_CALL vfhitemset(FHCB *cb, const char *name, int32_t occ, const char *src);
VELNOR_API char *VELNOR_CALL vfhitemoffset(FHCB *cb, const char *name);
VELNOR_API int32_t VELNOR_CALL vfhcopy(FHCB *dst, FHCB *src);
/* Stores 1792 (0x0700) in *major and 144 (0x0090) in *minor. */
VELNOR_API void VELNOR_CALL vfhgetversion(uint16_t *major, uint16_t *minor);
/* Folder for the temporary files of file maintenance (at most 71
 * characters are kept); null or "" puts them beside the data file. */
VELNOR_API void VELNOR_CALL vfhsettmpdir(const char *dir);
/* fastopen, and when that fails, closelru(0) and one more try: the stream
 * (0-4) or -1. */
VELNOR_API int32_t VELNOR_CALL fastlruopen(const char *name, int32_t mode, uint32_t extra);
/* Parks the least recently used open file in limbo (its header written
 * unless shared, its OS handles closed; the next operation reopens it).
 * Unless force, files in exclusive use or holding a record lock are
 * skipped.  0, or -1 when the engine is not started or none qualifies. */
VELNOR_API int32_t VELNOR_CALL closelru(int32_t force);
/* Parks every open file (closelru(1) until it fails); always -1. */
VELNOR_API int32_t VELNOR_CALL fhlimball(void);
/* Flushes an OS handle's buffers; always -1 ("not committed"). */
VELNOR_API int32_t VELNOR_CALL fhclopen(uint32_t handle);
/* Locks or unlocks the byte at pos of the data file (0 is the file lock, a
 * record's position its record lock) for network types 1 and 2; other
 * types succeed without a lock.  0, or -1 when the OS refuses or cb is
 * null. */
VELNOR_API int32_t VELNOR_CALL dlock(FHCB *cb, uint32_t pos);
VELNOR_API int32_t VELNOR_CALL udlock(FHCB *cb, uint32_t pos);

/* ------------------------------------------------------------------------
 * File maintenance: VERIFY, RECOVER and PACK of a record file.
 * ------------------------------------------------------------------------ */

/* Operations of filemaint. */
enum { VN_FM_VERIFY = 0, VN_FM_RECOVER = 1, VN_FM_PACK = 2 };

/* Flags of filemaint. */
enum {
    VN_FM_CONTINUE = 0x01,  /* VERIFY: go on after a continuable error */
    VN_FM_NOKEYPASS = 0x02, /* VERIFY: skip the key-by-key pass */
    VN_FM_NORECPASS = 0x04, /* VERIFY: skip the record passes and counts */
    VN_FM_STRIP = 0x10,     /* PACK: move records with unprintable text to .nas */
    VN_FM_SHARED = 0x20     /* network use: lock what is read */
};

/* Codes the progress callback receives: the header, "File type: ",
 * "Status: ", "Current: ", "Complete: %d%%" and "Message: " lines (the
 * result is ignored), and the stop poll, whose answer's low byte taken as a
 * signed char stops the run when it is not 0. */
enum {
    VN_FM_HEADER = 0,
    VN_FM_FILETYPE = 1,
    VN_FM_STATUS = 2,
    VN_FM_CURRENT = 3,
    VN_FM_COMPLETE = 4,
    VN_FM_MESSAGE = 5,
    VN_FM_POLL = -1
};
typedef int32_t(VELNOR_CALL *FMCALLBACK)(int32_t code, char *text);

/* Runs operation op (VN_FM_*) on the record file datfile, with its
 * definition fidfile ("" = datfile with ".fid") and its index or hash file
 * keyfile ("" = datfile with ".idx" or ".hsh").  title captions the
 * progress window (null or "" = "Velnor File Maintenance v6.1"); flags are
 * VN_FM_* bits; report names a text file the header, errors, "Stopped." and
 * "Successful." are appended to (null or "" = none; a report that cannot be
 * opened loses its line).  With a callback the progress lines go to it and
 * no window is made; without one a window with a Stop button shows them
 * (where there are windows).
 * Returns -2 while a run is already going on in this process (the callback
 * included), 1 when datfile and keyfile have the same name and extension
 * (case-blind, directories not compared), the status when the engine cannot
 * start, -1 when stopped (the old files stay as they were) or for an op
 * that is none of the three (nothing is done), 0 on success, or the
 * status of the failure, whose "Error ..." line was shown and reported.
 * RECOVER and PACK put their new files in place only at the end, each in
 * one step; their temporary files (".ziq", ".zdq", in the directory of
 * vfhsettmpdir when set) are removed on every failure. */
VELNOR_API int32_t VELNOR_CALL filemaint(int32_t op, const char *datfile, const char *fidfile,
                                         const char *keyfile, const char *title, uint32_t flags,
                                         const char *report, FMCALLBACK callback);

/* The progress window's procedure; on systems without windows it still
 * takes the Stop command (message 273, wparam 101). */
VELNOR_API intptr_t VELNOR_CALL fmwndproc(void *window, uint32_t message, uintptr_t wparam,
                                          intptr_t lparam);

/* PACK asks once per run before it cuts records whose length does not match
 * the definition: "Data/FID record length mismatch. Do you want to fix it?",
 * caption "FileMaint: Error".  ask, when set, answers in place of the
 * message box: 1 (OK) fixes, anything else ends the run with status 3 and
 * nothing changed.  Without it the answer is Cancel where there are no
 * windows.  Null removes the hook. */
typedef int32_t(VELNOR_CALL *FMASKFN)(const char *question, const char *caption);
VELNOR_API void VELNOR_CALL fmsetask(FMASKFN ask);

/* ------------------------------------------------------------------------
 * Keyword index: words mapped to 32-bit values.  A keyword file (a record
 * file of the application's definition, with the items "KEYWORD", key 1 on
 * it, and "POSN", 5 base-95 digits) holds one record per word; a posting
 * file ("ezhyp1", a free-list head, then 8-byte nodes {value, next}) holds
 * one chain of values per word.  The block must name the keyword file
 * (datname, and fidname/idxname when not derived) and serves one keyword
 * index at a time: the posting file's handle is kept in cb->hypfd.
 *
 * Failures return -1 (or null) with the reason in cb->status: VN_E_HYPOPEN,
 * VN_E_HYPREAD (also for a damaged chain: a link into the header, between
 * nodes, past the end, or round a cycle), VN_E_HYPWRITE, VN_E_MEMORY, or
 * the status of the record operation that failed.  No failure undoes what
 * was already written.
 *
 * Sharing: while the block is shared (a network type other than "SINGLE"
 * and not exclusive), fhhypaddword and fhhypdelete hold a one-byte lock of
 * the posting file (at offset 0x7FFFFFFF, beyond its data) while they read
 * the free-list head, choose a new node's place and write the node, the
 * chain link and the head.  A program that shares the files without taking
 * that lock can choose the same place as one of ours for two different
 * words, and one of the two values is then lost (or a chain crosses into
 * another word's); it can also take a node from the free list that another
 * program is taking at the same moment.
 * ------------------------------------------------------------------------ */

/* open != 0: opens the keyword file (vfhopen; with create non-zero,
 * vfhmake when that fails) and the posting file at path (with create,
 * making a new one of 16 bytes when it cannot be opened).  A posting file
 * that does not begin "ezhyp" closes both and gives VN_E_HYPOPEN, as does
 * one that cannot be created.  A missing posting file without create
 * returns -1 with the keyword file still open and no status set.
 * open == 0: closes both files; returns 0. */
VELNOR_API int32_t VELNOR_CALL fhhypinit(FHCB *cb, const char *path, uint32_t open,
                                         int32_t create);
/* Adds value to the chain of word (a writable string, folded to lower case
 * in place) unless the chain holds it already.  Words of fewer than 2
 * characters, 2-character words that are not two upper-case letters, and
 * "and" and "the" are ignored.  A new node reuses the first free node of an
 * "ezhyp1" file, else goes at the end.  The record lock of the keyword
 * record is held from the lookup to the return.  0 (added, present or
 * ignored), or -1. */
VELNOR_API int32_t VELNOR_CALL fhhypaddword(FHCB *cb, char *word, uint32_t value);

/* Flags of fhhypaddline: which words besides plain letter words are
 * indexed. */
enum {
    VN_HYP_ALNUM = 0x02, /* numbers, and words of letters and digits */
    VN_HYP_NUMBERS = 0x04,
    VN_HYP_NUMBERS2 = 0x08, /* numbers (a second bit with the same effect) */
    VN_HYP_MIXED = 0x10     /* words holding other characters */
};
/* Splits text at NUL, TAB, LF, CR, blank, '-' and '.' (a word keeps its
 * first 256 characters), strips the trailing , . : ; ! " ' ( ) and the
 * leading " ' ( ) of each word, and adds those the flags allow under value.
 * 0, or -1 at the first word whose fhhypaddword fails. */
VELNOR_API int32_t VELNOR_CALL fhhypaddline(FHCB *cb, const char *text, uint32_t value,
                                            uint16_t flags);
/* The values of word (folded to lower case; no other word rule applies) in
 * the order they were added, in a block from globalcalloc that the caller
 * frees with globalmfree, and their number in *count.  At most 64,897
 * values come back; a longer chain is cut silently.  Null with *count 0
 * when the word is absent or on failure.  On success the word's record is
 * the block's current record (for fhhypgetnext). */
VELNOR_API uint32_t *VELNOR_CALL fhhypsearch(FHCB *cb, const char *word, uint32_t *count);
/* The words from prefix (compared as it is, not folded) to the last word
 * sharing prefix's first character whose chain holds value, each as the
 * keyword item holds it (trailing blanks kept) followed by "\r\n", appended
 * to buffer.  buffer is null (a 256-byte one is made and *size set) or a
 * block from globalmalloc/globalcalloc of *size bytes; it is replaced by a
 * block 256 bytes larger, and *size raised, whenever a word would not fit,
 * so the caller keeps only the returned pointer.  An empty prefix lists
 * nothing.  On failure the buffer (whichever it is) is freed and null is
 * returned; VN_E_MEMORY when a buffer cannot be had.  Leaves the record
 * lock of the first word looked at held. */
VELNOR_API char *VELNOR_CALL fhhyplist(FHCB *cb, uint32_t value, const char *prefix,
                                       char *buffer, uint32_t *size);
/* Removes value from every word's chain: a word left without values loses
 * its record.  Freed nodes go on the free list of an "ezhyp1" file.  0, or
 * -1 when a record write or delete or a node write fails (a damaged chain
 * is skipped). */
VELNOR_API int32_t VELNOR_CALL fhhypdelete(FHCB *cb, uint32_t value);
/* One value of the current word's chain: *cursor 0 starts at the chain's
 * head; afterwards *cursor holds the next node, or -1 after the last.  A
 * node that cannot be read gives 0xFFFFFFFF, *cursor -1 and
 * VN_E_HYPREAD. */
VELNOR_API uint32_t VELNOR_CALL fhhypgetnext(FHCB *cb, int32_t *cursor);

/* ------------------------------------------------------------------------
 * Support library: OS layer, memory, directories.
 * ------------------------------------------------------------------------ */

/* The open flags for path opened shared (flags | VN_O_SHARE) or exclusive
 * (flags | VN_O_EXCL); path is not read and may be null. */
VELNOR_API uint32_t VELNOR_CALL fshare(const char *path, uint32_t flags);
VELNOR_API uint32_t VELNOR_CALL funshare(const char *path, uint32_t flags);

/* Fixed, zeroed global-memory blocks; free with globalmfree (null result
 * on success).  A zero size gives a valid unique block (with no usable
 * bytes) that is freed like any other; a count * size beyond 32 bits gives
 * null; globalmfree(null) does nothing. */
VELNOR_API void *VELNOR_CALL globalmalloc(uint32_t size);
VELNOR_API void *VELNOR_CALL globalcalloc(uint32_t count, uint32_t size);
VELNOR_API void *VELNOR_CALL globalmfree(void *block);

VELNOR_API int32_t VELNOR_CALL makedir(const char *path);
VELNOR_API int32_t VELNOR_CALL removdir(const char *path);
/* makedir/removdir: 0, or -1 (also for a null path or one longer than 67
 * characters).
 * Directory search; the name is returned in one static buffer of the
 * library; datetime receives the six bytes year-1900, month, day, hour,
 * minute, second.  Null when nothing (more) matches.  The buffer holds 14
 * characters: entries whose name (with the "\" of a directory) is longer
 * are skipped.  Sizes beyond 32 bits read 0xFFFFFFFF. */
VELNOR_API char *VELNOR_CALL cfindfirst(const char *pattern, int32_t withdirs, uint32_t *size,
                                        uint8_t *datetime);
VELNOR_API char *VELNOR_CALL cfindnext(uint32_t *size, uint8_t *datetime);

/* Buffered streams: five slots, numbered 0-4.  A number out of range or of
 * a closed slot gives the function's failure result (fastclose and
 * fastflush 1, fastread 0, fastgetc/fastputc/fastwrite/fastseek/fasttell/
 * fastrewind -1, the string functions null).  fastflush, and fastclose of
 * a stream opened with VN_O_CREAT, also give 1 when bytes could not be
 * written.  fastgets needs limit + 1
 * bytes at dest; fastagets writes at least width bytes and at most 8002
 * (a coded record keeps its first 127 bytes).
 * fastopen: the stream, or -1 (no free slot, a null or empty path, the open
 * failed) or -2 (no buffer); a failed create removes the file.  fastread:
 * the bytes read (fewer at the end); fastwrite 0 or -1; fastgets/fastagets
 * dest, or null at the end; fastgetc the byte or -1 at the end; fastputc 0
 * or -1; fastputs str or null; fastseek the new position or -1 (origin 0
 * start, 1 current, 2 end); fasttell the position; fastrewind 0.  fastclose
 * and fastflush 0, or 1 (see above). */
VELNOR_API int32_t VELNOR_CALL fastopen(const char *path, uint32_t flags, uint32_t perm);
VELNOR_API int32_t VELNOR_CALL fastclose(int32_t s);
VELNOR_API int32_t VELNOR_CALL fastflush(int32_t s);
VELNOR_API int32_t VELNOR_CALL fastread(int32_t s, void *dest, uint32_t count);
VELNOR_API int32_t VELNOR_CALL fastwrite(int32_t s, const void *src, uint32_t count);
VELNOR_API char *VELNOR_CALL fastgets(int32_t s, char *dest, int32_t limit);
VELNOR_API char *VELNOR_CALL fastagets(int32_t s, char *dest, int32_t width);
VELNOR_API int32_t VELNOR_CALL fastgetc(int32_t s);
VELNOR_API int32_t VELNOR_CALL fastputc(int32_t s, int32_t c);
VELNOR_API const char *VELNOR_CALL fastputs(int32_t s, const char *str);
VELNOR_API int32_t VELNOR_CALL fastseek(int32_t s, int32_t offset, int32_t origin);
VELNOR_API int32_t VELNOR_CALL fasttell(int32_t s);
VELNOR_API int32_t VELNOR_CALL fastrewind(int32_t s);

/* String helpers.  Case is ASCII only; the caller's buffers must be large
 * enough, as each says.  A null string gives the failure result (0, null,
 * nothing written); casecmp takes it as "", casencmp sorts it first. */
/* 0-based position of ch in str, or the length of str when absent. */
VELNOR_API int32_t VELNOR_CALL argpos(const char *str, int32_t ch);
/* Copies src up to its zero or count characters; writes no zero. */
VELNOR_API void VELNOR_CALL blcpy(char *dest, const char *src, int32_t count);
/* 1-based position of needle in haystack, or 0; "" is found at 1. */
VELNOR_API int32_t VELNOR_CALL instr(const char *needle, const char *haystack);
/* result = dir, a "\" unless dir is "" or ends in one (or ":" or "/"),
 * name, a "." unless ext is "" or begins with one, ext; returns result. */
VELNOR_API char *VELNOR_CALL creat_name(char *result, const char *dir, const char *name,
                                        const char *ext);
/* Splits path into dir (with its last separator), name and ext (without
 * its dot; the first dot of the last part starts it: "a.b.c" gives "a" and
 * "b.c").  Each output needs strlen(path) + 1 bytes; a null one is skipped. */
VELNOR_API void VELNOR_CALL split_name(const char *path, char *dir, char *name, char *ext);
/* Copies at most n characters and zero-fills up to and including dest[n]
 * (dest needs n + 1 bytes); returns dest. */
VELNOR_API char *VELNOR_CALL nstrncpy(char *dest, const char *src, int32_t n);
/* Removes trailing blanks and tabs in place; returns str. */
VELNOR_API char *VELNOR_CALL trim(char *str);
/* The first character of str that is not white space. */
VELNOR_API char *VELNOR_CALL leading(const char *str);
/* Case-blind comparison: the difference of the first unequal characters
 * (a minus b, signed bytes), -1 when a ends first, 0 when equal.
 * casencmp compares exactly n bytes, past a zero too (both strings need n
 * readable bytes). */
VELNOR_API int32_t VELNOR_CALL casecmp(const char *a, const char *b);
VELNOR_API int32_t VELNOR_CALL casencmp(const char *a, const char *b, int32_t n);
/* 1 when str matches pattern ("*" any run, "?" one character, "\" makes
 * the next literal; case counts), else 0.  A string that runs out with one
 * pattern character left still matches. */
VELNOR_API int32_t VELNOR_CALL islike(const char *str, const char *pattern);
/* path shortened to width characters for display ("c:\...\file.txt");
 * result needs width + 1 bytes, or strlen(path) + 1 when it fits. */
VELNOR_API void VELNOR_CALL abbrname(const char *path, int32_t width, char *result);
/* 1 when name is a valid item name (a letter or "_", then letters, digits
 * or "_"; only the first ten characters are looked at), else 0. */
VELNOR_API int32_t VELNOR_CALL vlnname(const char *name);
/* Justify a field of width bytes (no zero needed) in place: its text (the
 * field without leading and trailing blanks) moves to the centre, left or
 * right, and the rest becomes fill; just_none only replaces the leading
 * and trailing blanks with fill. */
VELNOR_API void VELNOR_CALL just_center(char *field, int32_t width, int32_t fill);
VELNOR_API void VELNOR_CALL just_left(char *field, int32_t width, int32_t fill);
VELNOR_API void VELNOR_CALL just_right(char *field, int32_t width, int32_t fill);
VELNOR_API void VELNOR_CALL just_none(char *field, int32_t width, int32_t fill);

/* Numbers at the library-wide precision (5 decimal places).  numcmp: below,
 * at or above 0 as a is below, equal to (at the precision) or above b.
 * flasc: the value as the shortest decimal text, in a static buffer that
 * the next flasc or velnor_round overwrites. */
VELNOR_API int32_t VELNOR_CALL numcmp(double a, double b);
VELNOR_API char *VELNOR_CALL flasc(double value);
/* Rounds value to places decimals.  velnor.dll also exports it as "round". */
VELNOR_API long double VELNOR_CALL velnor_round(double value, int32_t places);

/* Integer formatters: value in the given radix (2-36, upper-case digits)
 * into dest, which is returned (at most 34 bytes are written).  A negative
 * value has a "-" in radix 10 and is taken as unsigned 32 bits in any other
 * radix; a bad radix gives "". */
VELNOR_API char *VELNOR_CALL longtoa(int32_t value, char *dest, int32_t radix);
VELNOR_API char *VELNOR_CALL inttoa(int32_t value, char *dest, int32_t radix);

/* Dates, kept as Julian day numbers of the proleptic Gregorian calendar
 * (2000-01-01 is 2451545).  Years 1-9999; jdpack of an impossible date is
 * -1 and jdunpack of a day outside the range gives 0, 0, 0. */
VELNOR_API int32_t VELNOR_CALL jdpack(int32_t year, int32_t month, int32_t day);
VELNOR_API void VELNOR_CALL jdunpack(int32_t jd, int32_t *year, int32_t *month, int32_t *day);
/* Selects the date form used by convdate; returns the previous form, or -1
 * (form unchanged) for an unknown one.  Forms: 0 "MM/DD/YY" (the initial
 * one), 1 "DD/MM/YY", 2 "YYYY-MM-DD", 3 "DD MONTHNAME YYYY",
 * 4 "DAYNAME, MONTHNAME DD, YYYY", with names "JANUARY".."DECEMBER" and
 * "SUNDAY".."SATURDAY". */
VELNOR_API int32_t VELNOR_CALL set_dateform(int32_t form);
/* Parses the date in text and writes it to dest in the current form;
 * returns its Julian day number, or -1 when text is not a date (dest then
 * gets "").  Three numbers are read in the order of the current form (month
 * first for forms 0 and 4, day first for 1 and 3, year first for 2), except
 * that a first number of three or more digits is always a year, month and
 * day.  A month name (case-blind, in full or abbreviated to three or more
 * letters) takes the month's place, with the day and year in either order
 * (a year first has three or more digits); day names are ignored.  Any
 * other characters separate.  A one- or two-digit year lies in 1950-2049.
 * dest needs 32 bytes and may be null. */
VELNOR_API int32_t VELNOR_CALL convdate(const char *text, char *dest);

/* ------------------------------------------------------------------------
 * Compress archiver.
 * ------------------------------------------------------------------------ */

/* Runs one archive operation.  options: its first character is skipped,
 * then letters in either case: exactly one of A (add or update the named
 * files), X (extract matching entries), L (list them) or D (delete entries
 * named by files that exist on disk); B (the listing's width column);
 * O (overwrite on extraction without asking); Q (quiet: no progress, a
 * listing without sizes); P"pw" (password, up to 10 characters);
 * T"dir" (extraction folder, up to 40 characters, the system's separator
 * added).  Q, O, the password and the folder are library-wide and sticky:
 * once given they apply to every later call until replaced, so give
 * P"" and T"" to clear them; there is no way to clear Q or O.  Archive and
 * file names are taken in lower case; an archive name without an extension
 * gets ".cmp"; entry names hold 12 characters.  An archive path of more
 * than 260 characters, or a null one, is refused: error 5 ("Unable to
 * open.") and -1, with no file touched.  patterns: file names or wildcard
 * patterns (none means "*.*"), "@name" for a list file of them.
 * Returns 0; -1 for an error by number (see compress_setsinks), a bad
 * combination of letters or a stop; -2 for a bad password, folder or list
 * file, or a missing archive for X, L or D.  An extraction returns 0 even
 * when an entry failed its check: only the error sink says so. */
VELNOR_API int32_t VELNOR_CALL compress_files(const char *options, const char *archive,
                                              int32_t npatterns, char **patterns);
/* compress_files with the patterns in one string, split at blanks
 * and tabs (at most 50). */
VELNOR_API int32_t VELNOR_CALL compress_file_list(const char *options, const char *archive,
                                                  const char *patterns);
/* The progress window's procedure; on systems without windows it still
 * takes the Stop command (message 273, wparam 101). */
VELNOR_API intptr_t VELNOR_CALL cmpwndproc(void *window, uint32_t message, uintptr_t wparam,
                                           intptr_t lparam);

/* Where the archiver's texts and error numbers go: report receives the
 * report's text piece by piece, in order (messages, listing lines and the
 * " Done." after an extraction; the pieces joined give the lines with their
 * "\r\n"), error each error number 0-7.  Null sinks (the default) discard
 * them. */
typedef void(VELNOR_CALL *CMPREPORTFN)(const char *line);
typedef void(VELNOR_CALL *CMPERRORFN)(int32_t errnum);
VELNOR_API void VELNOR_CALL compress_setsinks(CMPREPORTFN report, CMPERRORFN error);

/* Hooks that let an application follow and steer a run, on every system
 * (with or without the progress window): progress receives each text set in
 * field 0 (status), 1 (overall percentage), 2 (current file) or 3 (per-file
 * percentage); stop is polled at every Stop test and a nonzero answer stops
 * the run; ask answers an overwrite question (1 yes, 0 no) in place of the
 * message box.  Without an ask hook the answer is No where there are no
 * windows.  Null hooks are not called. */
typedef void(VELNOR_CALL *CMPPROGRESSFN)(int32_t field, const char *text);
typedef int32_t(VELNOR_CALL *CMPSTOPFN)(void);
typedef int32_t(VELNOR_CALL *CMPASKFN)(const char *question, const char *title);
VELNOR_API void VELNOR_CALL compress_sethooks(CMPPROGRESSFN progress, CMPSTOPFN stop,
                                              CMPASKFN ask);

#ifdef __cplusplus
}
#endif

#endif /* VELNOR_H */
