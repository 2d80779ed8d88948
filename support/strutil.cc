// strutil.cc - ASCII case conversion, word capitals, upper-casing outside
// quotes and fixed-width hexadecimal.
#include "support/strutil.h"

int upperchar(int c) { return c >= 'a' && c <= 'z' ? c - 32 : c; }

int lowerchar(int c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; }

char* upperstr(char* s) {
    for (char* p = s; *p != '\0'; ++p) *p = static_cast<char>(upperchar(*p));
    return s;
}

char* lowerstr(char* s) {
    for (char* p = s; *p != '\0'; ++p) *p = static_cast<char>(lowerchar(*p));
    return s;
}

char* capwords(char* s, int lowerrest) {
    bool start = true;
    for (char* p = s; *p != '\0'; ++p) {
        if (start)
            *p = static_cast<char>(upperchar(*p));
        else if (lowerrest)
            *p = static_cast<char>(lowerchar(*p));
        start = *p == ' ' || *p == ',' || *p == '.';
    }
    return s;
}

char* upperunquoted(char* s) {
    bool insingle = false, indouble = false;
    for (char* p = s; *p != '\0'; ++p) {
        if (*p == '\'' && !indouble)
            insingle = !insingle;
        else if (*p == '"' && !insingle)
            indouble = !indouble;
        else if (!insingle && !indouble)
            *p = static_cast<char>(upperchar(*p));
    }
    return s;
}

void tohexn(uint32_t value, int n, char* dest) {
    static const char digits[] = "0123456789ABCDEF";
    for (int i = n - 1; i >= 0; --i) {
        dest[i] = digits[value & 15];
        value >>= 4;
    }
}
