// dostime.h - the six date-time bytes of a directory entry (year - 1900,
// month, day, hour, minute, second) built through the packed DOS date and
// time, shared by both faces of the directory search.
#ifndef VELNOR_SUPPORT_DOSTIME_H
#define VELNOR_SUPPORT_DOSTIME_H

#include <cstdint>

// Packs a broken-down local time (full year, month 1-12, ...) into the DOS
// date and time words.  Times before 1980 become 1 January 1980 00:00:00 and
// times after 2107 become 31 December 2107 23:59:58; seconds lose their
// lowest bit.
void dospack(int year, int month, int day, int hour, int minute, int second, uint16_t* date,
             uint16_t* time);

// Unpacks DOS date and time words into the six bytes.
void dosunpack(uint16_t date, uint16_t time, uint8_t* out);

// dospack then dosunpack.
void dosbytes(int year, int month, int day, int hour, int minute, int second, uint8_t* out);

// The six bytes of a time in seconds since 1970, taken as local time
// (each platform face defines it).
void localdosbytes(int64_t seconds, uint8_t* out);

#endif
