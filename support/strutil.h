// strutil.h - internal string helpers beside the exported ones of velnor.h:
// ASCII case conversion and the small text routines the definition loader,
// the date functions and the archiver share.
#ifndef VELNOR_SUPPORT_STRUTIL_H
#define VELNOR_SUPPORT_STRUTIL_H

#include <cstdint>

int upperchar(int c);
int lowerchar(int c);
char* upperstr(char* s);
char* lowerstr(char* s);
// Raises the first character of each word (a word starts at the beginning
// and after a space, comma or full stop); with lowerrest the others are
// lowered.
char* capwords(char* s, int lowerrest);
// Raises every character outside a quoted stretch.
char* upperunquoted(char* s);

// Writes value as n upper-case hexadecimal digits, zero-filled, most
// significant first, into dest (no terminator).  Digits beyond n are lost.
void tohexn(uint32_t value, int n, char* dest);

#endif
