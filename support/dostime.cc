// dostime.cc - packing and unpacking of the DOS date and time words.
#include "support/dostime.h"

void dospack(int year, int month, int day, int hour, int minute, int second, uint16_t* date,
             uint16_t* time) {
    if (year < 1980) {
        year = 1980, month = 1, day = 1, hour = 0, minute = 0, second = 0;
    } else if (year > 2107) {
        year = 2107, month = 12, day = 31, hour = 23, minute = 59, second = 58;
    }
    if (second > 59) second = 59;  // a leap second
    *date = static_cast<uint16_t>(((year - 1980) << 9) | ((month & 15) << 5) | (day & 31));
    *time = static_cast<uint16_t>(((hour & 31) << 11) | ((minute & 63) << 5) | ((second / 2) & 31));
}

void dosunpack(uint16_t date, uint16_t time, uint8_t* out) {
    out[0] = static_cast<uint8_t>((date >> 9) + 80);
    out[1] = static_cast<uint8_t>((date >> 5) & 15);
    out[2] = static_cast<uint8_t>(date & 31);
    out[3] = static_cast<uint8_t>(time >> 11);
    out[4] = static_cast<uint8_t>((time >> 5) & 63);
    out[5] = static_cast<uint8_t>((time & 31) * 2);
}

void dosbytes(int year, int month, int day, int hour, int minute, int second, uint8_t* out) {
    uint16_t d, t;
    dospack(year, month, day, hour, minute, second, &d, &t);
    dosunpack(d, t, out);
}
