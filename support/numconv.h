// numconv.h - the fixed-point decimal conversion behind numcmp, flasc and
// round, and the library-wide precision it works to.
#ifndef VELNOR_SUPPORT_NUMCONV_H
#define VELNOR_SUPPORT_NUMCONV_H

#include <cstdint>

// The precision every conversion keeps (the support state's precision,
// 5 decimal places) is never changed by the library.

// The digits of value with places decimals, in a buffer of the support state
// that the next call overwrites.  *exponent is the number of digits before the
// decimal point; *negative is 1 for a value below zero.  places is taken
// within 0..30 and at most 30 digits are kept; the first 17 significant
// digits come from the value and any further ones are '0'.  A NaN converts
// as zero and an infinity as the largest finite value.
char* fixcvt(double value, int places, int* exponent, int* negative);

// Reads decimal text as a number, the platform's standard conversion
// (leading blanks allowed, stops at the first character that cannot
// continue a number, 0 for unreadable text).
double textnum(const char* text);

#endif
