// lzw.h - the entry data coder and expander: LZW with fixed-width codes
// 9-15 bits wide, clear code 256, an all-ones end code, codes packed most
// significant bit first, and the stored form for data that does not shrink.
#ifndef VELNOR_COMPRESS_LZW_H
#define VELNOR_COMPRESS_LZW_H

#include <cstdint>

#include "compress/archive.h"

constexpr int32_t LZW_CLEAR = 256;
constexpr int32_t LZW_FIRST = 257;  // first code given to a new string

// Code width for a file of size bytes: the smallest b from 9 to 15 with
// 2^b > size, else 15.
int32_t lzwwidth(uint32_t size);
// Hash table size of a width (601 ... 35023) and its hash shift.
int32_t lzwtablesize(int32_t bits);
int32_t lzwshift(int32_t bits);

// Codes the file at path into archive stream arc (appending) as one entry's
// data.  h->size must hold the file's size; method, bits, check and stored
// are filled in.  Shows progress and tests Stop after each 2048-byte block.
// 0, or -1 after reporting CMP_E_MEMORY, CMP_E_OPEN or CMP_E_WRITE, or when
// stopped (no error).  The coder's tables, about 17 MB, are made on the
// first call and kept; without the largest (16 MB) it codes more slowly,
// to the same bytes.
int32_t cmpcompress(int32_t arc, const char* path, CmpHeader* h);

// Expands the data of the entry h from archive stream arc (positioned at
// the data) into stream out, unscrambling with the current password;
// *check receives the sum of the bytes written.  Method 1 is decoded,
// method 0 copied, any other writes nothing.  0, or -1 after reporting
// error 3 or 7, or when stopped; the caller then deletes the output.
// The archive is read ahead past the entry: the caller seeks it again.
int32_t cmpexpand(int32_t arc, int32_t out, const CmpHeader& h, uint16_t* check);

#endif
