// islike.cc - the wildcard match of a string against a pattern ("*" any run,
// "?" any one character, "\\" quoting the next pattern character).  When the
// string runs out, a pattern with at most one character left still matches,
// whatever that character is: 'ab' is like 'abx' but not like 'ab**'.
//
// A star first lets the rest of the pattern try the rest of the string and
// otherwise swallows one more character.  Since what a star can match only
// shrinks as the string start moves right, only the latest star ever needs
// to be retried, so the match runs without recursion in at most
// len(string) * len(pattern) steps.
#include <cstring>

#include "velnor.h"

int32_t VELNOR_CALL islike(const char* str, const char* pattern) {
    if (str == nullptr || pattern == nullptr) return 0;
    const char* s = str;
    const char* p = pattern;
    const char* star = nullptr;  // latest star met
    const char* from = nullptr;  // where the string stood when it was tried
    for (;;) {
        if (*s == '\0') {
            if (strlen(p) <= 1) return 1;
        } else if (*p == '*') {
            star = p++;
            from = s;
            continue;
        } else {
            const char* q = *p == '\\' ? p + 1 : p;
            if (*q != '\0' && (*q == *s || (*p == '?'))) {
                ++s;
                p = q + 1;
                continue;
            }
        }
        if (star == nullptr) return 0;
        // The star swallows one more character and the rest tries again; a
        // star that has swallowed the whole string is itself what is left.
        s = ++from;
        if (*s == '\0') return strlen(star) <= 1;
        p = star + 1;
    }
}
