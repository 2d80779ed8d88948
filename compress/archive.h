// archive.h - the archive file: a plain sequence of entries, each a 32-byte
// header followed at once by its data.  Headers are little-endian and never
// scrambled; data bytes are scrambled with the password's key.
#ifndef VELNOR_COMPRESS_ARCHIVE_H
#define VELNOR_COMPRESS_ARCHIVE_H

#include <cstdint>

constexpr int32_t CMP_HDRSIZE = 32;
constexpr uint8_t CMP_MAGIC1 = 0xBF;
constexpr uint8_t CMP_MAGIC2 = 0x20;

// An entry header, unpacked.
struct CmpHeader {
    char name[13];        // lower case, at most 12 characters, NUL-terminated
    uint8_t method;       // 1 compressed, 0 stored
    uint8_t bits;         // code width 9-15 of compressed data
    uint8_t datetime[6];  // year-1900, month, day, hour, minute, second
    uint16_t check;       // sum of the original bytes, modulo 65536
    uint32_t size;        // original length
    uint32_t stored;      // data bytes after the header
    uint8_t raw[32];      // the header's bytes as read, for copying
};

// Packs h into its 32 on-disk bytes.  A 12-character name fills its field
// without a terminator.
void cmphdrpack(const CmpHeader& h, uint8_t* out);
// Unpacks 32 on-disk bytes into h; a name field without NUL is cut at 12.
// 0, or -1 when the two magic bytes are wrong.
int32_t cmphdrunpack(const uint8_t* in, CmpHeader* h);

// Reads the next header of the walk from stream s.  A read of fewer than
// minbytes bytes (32 for the listing, 1 for the others) ends the walk; the
// missing bytes of a short header read as 0.  Returns 1 with h filled,
// 0 at the end, or -1 after reporting error 2 (first header) or 3.
int32_t cmpnexthdr(int32_t s, int32_t first, int32_t minbytes, CmpHeader* h);

// Skips the entry's data.  0, or -1 after reporting error 3 when its stored
// size would run past any possible position.
int32_t cmpskip(int32_t s, const CmpHeader& h);

// Copies the header and data of the entry just read from stream in to
// stream out.  0, or -1 after reporting error 7; data missing at the end of
// a truncated archive is not copied.
int32_t cmpcopyentry(int32_t in, int32_t out, const CmpHeader& h);

// The scrambling key of a password: the sum of its characters modulo 256.
uint8_t cmpkeyof(const char* password);

// Adds the n bytes at p to the 16-bit check value sum.
uint16_t cmpsum(uint16_t sum, const uint8_t* p, int32_t n);

// Adds key to each of the n bytes at p (subtracts with a negative key).
void cmpscramble(uint8_t* p, int32_t n, int32_t key);

#endif
