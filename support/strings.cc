// strings.cc - the small exported string routines: search, bounded copies,
// trimming and case-blind comparison.
#include <cstring>

#include "support/strutil.h"
#include "velnor.h"

namespace {

// One character of the case-blind comparison: a signed byte, raised.
int folded(char c) { return upperchar(static_cast<signed char>(c)); }

bool spaceclass(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

}  // namespace

// A null string: the failure result of each routine (0, null, nothing
// written); casecmp takes it as an empty string.

int32_t VELNOR_CALL argpos(const char* str, int32_t ch) {
    if (str == nullptr) return 0;
    const char* p = str;
    while (*p != '\0' && *p != static_cast<char>(ch)) ++p;
    return static_cast<int32_t>(p - str);
}

void VELNOR_CALL blcpy(char* dest, const char* src, int32_t count) {
    if (dest == nullptr || src == nullptr) return;
    for (int32_t i = 0; i < count && src[i] != '\0'; ++i) dest[i] = src[i];
}

int32_t VELNOR_CALL instr(const char* needle, const char* haystack) {
    if (needle == nullptr || haystack == nullptr) return 0;
    const char* at = strstr(haystack, needle);
    return at == nullptr ? 0 : static_cast<int32_t>(at - haystack) + 1;
}

char* VELNOR_CALL nstrncpy(char* dest, const char* src, int32_t n) {
    if (dest == nullptr) return nullptr;
    if (src == nullptr) src = "";
    if (n < 0) n = 0;
    int32_t i = 0;
    for (; i < n && src[i] != '\0'; ++i) dest[i] = src[i];
    for (; i <= n; ++i) dest[i] = '\0';
    return dest;
}

char* VELNOR_CALL trim(char* str) {
    if (str == nullptr) return nullptr;
    size_t n = strlen(str);
    while (n > 0 && (str[n - 1] == ' ' || str[n - 1] == '\t')) --n;
    str[n] = '\0';
    return str;
}

char* VELNOR_CALL leading(const char* str) {
    if (str == nullptr) return nullptr;
    while (spaceclass(*str)) ++str;
    return const_cast<char*>(str);
}

int32_t VELNOR_CALL casecmp(const char* a, const char* b) {
    if (a == nullptr) a = "";
    if (b == nullptr) b = "";
    for (;; ++a, ++b) {
        if (*a == '\0') return *b != '\0' ? -1 : 0;
        int d = folded(*a) - folded(*b);
        if (d != 0) return d;
    }
}

// It reads exactly n bytes of each, past a zero too: a null string sorts
// first instead.
int32_t VELNOR_CALL casencmp(const char* a, const char* b, int32_t n) {
    if (a == nullptr || b == nullptr) return a == b ? 0 : a == nullptr ? -1 : 1;
    for (int32_t i = 0; i < n; ++i) {
        int d = folded(a[i]) - folded(b[i]);
        if (d != 0) return d;
    }
    return 0;
}
