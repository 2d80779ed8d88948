// intfmt.cc - integers as text in any radix from 2 to 36.
#include "velnor.h"

namespace {

char* format(uint32_t magnitude, bool negative, char* dest, int32_t radix) {
    if (dest == nullptr) return nullptr;
    if (radix < 2 || radix > 36) {
        *dest = '\0';
        return dest;
    }
    char tmp[33];
    int n = 0;
    do {
        uint32_t d = magnitude % static_cast<uint32_t>(radix);
        tmp[n++] = static_cast<char>(d < 10 ? '0' + d : 'A' + d - 10);
        magnitude /= static_cast<uint32_t>(radix);
    } while (magnitude != 0);
    char* out = dest;
    if (negative) *out++ = '-';
    while (n > 0) *out++ = tmp[--n];
    *out = '\0';
    return dest;
}

}  // namespace

char* VELNOR_CALL longtoa(int32_t value, char* dest, int32_t radix) {
    bool negative = radix == 10 && value < 0;
    uint32_t magnitude = static_cast<uint32_t>(value);
    if (negative) magnitude = 0u - magnitude;
    return format(magnitude, negative, dest, radix);
}

char* VELNOR_CALL inttoa(int32_t value, char* dest, int32_t radix) { return longtoa(value, dest, radix); }
