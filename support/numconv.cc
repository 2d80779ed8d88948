// numconv.cc - the fixed-point decimal conversion, numeric comparison at the
// library-wide precision, shortest decimal text and rounding by text.
#include <charconv>
#include <cmath>
#include <cstring>

#include "support/numconv.h"
#include "support/runtime.h"
#include "velnor.h"

namespace {

constexpr int kMaxDigits = 30;
constexpr int kExact = 17;  // significant digits taken from the value

#ifdef __SIZEOF_INT128__
// Appends the decimal digits of n, lowest first, to tmp from len on; the
// new length.
int decimal(uint64_t n, char* tmp, int len) {
    for (; n != 0; n /= 10) tmp[len++] = static_cast<char>('0' + static_cast<int>(n % 10));
    return len;
}

// The first kExact significant digits of v > 0 by exact integer arithmetic
// on its binary form, for the values whose scaled parts fit 128 bits;
// false for the rest.
bool exactdigits(double v, char* out, int* exp10) {
    using U = unsigned __int128;
    int k;
    double fr = std::frexp(v, &k);
    uint64_t m = static_cast<uint64_t>(std::ldexp(fr, 53));  // v = m * 2^(k - 53)
    k -= 53;
    char tmp[40];
    int len = 0, n = 0;
    if (k >= 0) {
        if (k > 70) return false;
        U whole = static_cast<U>(m) << k;
        for (; whole > UINT64_MAX; whole /= 10) tmp[len++] = static_cast<char>('0' + static_cast<int>(whole % 10));
        len = decimal(static_cast<uint64_t>(whole), tmp, len);
        *exp10 = len;
        for (; n < kExact; ++n) out[n] = n < len ? tmp[len - 1 - n] : '0';
        return true;
    }
    int shift = -k;
    if (shift > 120) return false;
    U mask = (static_cast<U>(1) << shift) - 1;
    U rest = static_cast<U>(m) & mask;
    len = decimal(static_cast<uint64_t>(static_cast<U>(m) >> shift), tmp, 0);
    *exp10 = len;
    for (; n < len && n < kExact; ++n) out[n] = tmp[len - 1 - n];
    while (n < kExact) {
        rest *= 10;
        int d = static_cast<int>(rest >> shift);
        rest &= mask;
        if (n == 0 && d == 0) {
            --*exp10;  // a leading zero of a value below 1
            continue;
        }
        out[n++] = static_cast<char>('0' + d);
    }
    return true;
}
#endif

// The first kExact significant digits of a finite v > 0 into out, and the
// decimal exponent (digits before the point).
int significant(double v, char* out) {
#ifdef __SIZEOF_INT128__
    int e;
    if (exactdigits(v, out, &e)) return e;
#endif
    char buf[64];
    auto r = std::to_chars(buf, buf + sizeof buf, v, std::chars_format::scientific, kExact + 2);
    *r.ptr = '\0';
    // buf is "d.ddd...e+XX"
    out[0] = buf[0];
    memcpy(out + 1, buf + 2, kExact - 1);
    const char* e10 = strchr(buf, 'e');
    int exp10 = 0;
    std::from_chars(e10 + (e10[1] == '+' ? 2 : 1), r.ptr, exp10);
    return exp10 + 1;
}

// fixcvt at the precision, with a negative value that came out as zero
// digits at exponent 1 counted as not negative.
char* signedcvt(double value, int* exponent, int* negative) {
    char* d = fixcvt(value, runtime().support.precision, exponent, negative);
    if (*negative && *exponent == 1 && d[strspn(d, "0")] == '\0') *negative = 0;
    return d;
}

}  // namespace

char* fixcvt(double value, int places, int* exponent, int* negative) {
    *negative = value >= 0 ? 0 : 1;
    if (*negative) value = -value;
    if (std::isnan(value)) value = 0;
    if (std::isinf(value)) value = 1.7976931348623157e308;
    if (places < 0) places = 0;
    if (places > kMaxDigits) places = kMaxDigits;
    if (value == 0) {
        memset(runtime().support.digitbuf, '0', static_cast<size_t>(places));
        runtime().support.digitbuf[places] = '\0';
        *exponent = 0;
        return runtime().support.digitbuf;
    }
    char sig[kExact];
    int exp10 = significant(value, sig);
    int count = places + exp10;
    if (count < 0) count = 0;
    if (count > kMaxDigits) count = kMaxDigits;
    for (int i = 0; i <= count; ++i) runtime().support.digitbuf[i] = i < kExact ? sig[i] : '0';
    if (runtime().support.digitbuf[count] >= '5') {
        int i = count - 1;
        while (i >= 0 && runtime().support.digitbuf[i] == '9') runtime().support.digitbuf[i--] = '0';
        if (i >= 0) {
            ++runtime().support.digitbuf[i];
        } else {
            if (count > 0) runtime().support.digitbuf[count] = '0';
            runtime().support.digitbuf[0] = '1';
            ++count;
            ++exp10;
        }
    }
    runtime().support.digitbuf[count] = '\0';
    *exponent = exp10;
    return runtime().support.digitbuf;
}

double textnum(const char* text) {
    if (text == nullptr) return 0;
    while (*text == ' ' || (*text >= '\t' && *text <= '\r')) ++text;
    if (*text == '+') ++text;
    double v = 0;
    auto r = std::from_chars(text, text + strlen(text), v);
    if (r.ec == std::errc::result_out_of_range) return *text == '-' ? -HUGE_VAL : HUGE_VAL;
    return r.ec == std::errc() ? v : 0;
}

char* VELNOR_CALL flasc(double value) {
    int e, neg;
    const char* d = signedcvt(value, &e, &neg);
    char* t = runtime().support.textbuf;
    if (neg) *t++ = '-';
    if (e < 1) {
        if (e >= -runtime().support.precision) {
            *t++ = '0';
            *t++ = '.';
            for (int i = 0; i < -e; ++i) *t++ = '0';
            size_t n = strlen(d);
            memcpy(t, d, n);
            t += n;
        } else {
            t = runtime().support.textbuf;
            memcpy(t, "0.0", 3);
            t += 3;
        }
    } else {
        size_t n = strlen(d);
        size_t whole = static_cast<size_t>(e) < n ? static_cast<size_t>(e) : n;
        memcpy(t, d, whole);
        t += whole;
        *t++ = '.';
        memcpy(t, d + whole, n - whole);
        t += n - whole;
    }
    while (t > runtime().support.textbuf && t[-1] == '0') --t;
    if (t > runtime().support.textbuf && (t[-1] == '.' || t[-1] == ',')) --t;
    *t = '\0';
    return runtime().support.textbuf;
}

int32_t VELNOR_CALL numcmp(double a, double b) {
    struct Side {
        char d[kMaxDigits + 8];
        int e, neg;
    } A, B;
    strcpy(A.d, signedcvt(a, &A.e, &A.neg));
    strcpy(B.d, signedcvt(b, &B.e, &B.neg));
    if (A.neg != B.neg) return A.neg ? -1 : 1;
    Side* sides[2] = {&A, &B};
    for (Side* s : sides) {
        int len = static_cast<int>(strlen(s->d));
        if (s->e >= 0 && len - s->e < runtime().support.precision) {
            int pad = runtime().support.precision - (len - s->e);
            if (pad > 3) pad = 3;
            memcpy(s->d + len, "000", static_cast<size_t>(pad));
            s->d[len + pad] = '\0';
        }
        if (s->e < -runtime().support.precision || (s->e == 1 && s->d[0] == '0')) {
            s->neg = 0;
            s->e = 0;
            memset(s->d, '0', static_cast<size_t>(runtime().support.precision));
            s->d[runtime().support.precision] = '\0';
        }
    }
    if (A.e != B.e) {
        bool firstA = A.d[0] >= '1' && A.d[0] <= '9';
        bool firstB = firstA && B.d[0] >= '1' && B.d[0] <= '9';
        int flag = A.neg;
        if ((firstA && !firstB && A.e < 0) || (!firstA && B.e < 0)) flag = !flag;
        return flag ? B.e - A.e : A.e - B.e;
    }
    return A.neg ? strcmp(B.d, A.d) : strcmp(A.d, B.d);
}

long double VELNOR_CALL velnor_round(double value, int32_t places) {
    if (places < 0) places = 0;
    char s[sizeof runtime().support.textbuf + 2];
    strcpy(s, flasc(value));
    int len = static_cast<int>(strlen(s));
    int p = argpos(s, '.');
    if (places >= len - p - 1) return textnum(s);
    if (s[p + 1 + places] >= '5') {
        bool carry = true;
        for (int i = p + places; i >= 0 && carry && s[i] != '-'; --i) {
            if (i == p) continue;
            if (++s[i] <= '9')
                carry = false;
            else
                s[i] = '0';
        }
        if (carry) {
            int at = s[0] == '-' ? 1 : 0;
            memmove(s + at + 1, s + at, static_cast<size_t>(len - at + 1));
            s[at] = '1';
            ++p;
        }
    }
    s[p + 1 + places] = '\0';
    return textnum(s);
}
