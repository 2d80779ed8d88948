// dates.cc - dates as Julian day numbers of the proleptic Gregorian
// calendar, and reading and writing them in the selected date form.
#include <cstdio>

#include "support/strutil.h"
#include "support/runtime.h"
#include "velnor.h"

namespace {

const char* const kMonths[12] = {"JANUARY", "FEBRUARY", "MARCH",     "APRIL",   "MAY",      "JUNE",
                                 "JULY",    "AUGUST",   "SEPTEMBER", "OCTOBER", "NOVEMBER", "DECEMBER"};
const char* const kDays[7] = {"SUNDAY", "MONDAY", "TUESDAY", "WEDNESDAY", "THURSDAY", "FRIDAY", "SATURDAY"};

constexpr int32_t kForms = 5;

bool leap(int32_t y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; }

int32_t monthdays(int32_t y, int32_t m) {
    static const int8_t days[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return m == 2 && leap(y) ? 29 : days[m - 1];
}

bool valid(int32_t y, int32_t m, int32_t d) {
    return y >= 1 && y <= 9999 && m >= 1 && m <= 12 && d >= 1 && d <= monthdays(y, m);
}

// Index of the name that word spells in full or abbreviates to at least
// three letters (case-blind), or -1.
int nameindex(const char* word, int len, const char* const* names, int count) {
    if (len < 3) return -1;
    for (int i = 0; i < count; ++i) {
        int k = 0;
        while (k < len && names[i][k] != '\0' && upperchar(word[k]) == names[i][k]) ++k;
        if (k == len) return i;
    }
    return -1;
}

struct Parsed {
    int32_t num[3];
    int digits[3];
    int nnum = 0;
    int month = -1;  // from a month name
};

// Splits text into numbers and names; false on anything that is not a date.
bool scan(const char* text, Parsed* p) {
    for (const char* t = text; *t != '\0';) {
        if (*t >= '0' && *t <= '9') {
            if (p->nnum == 3) return false;
            int32_t v = 0;
            int digits = 0;
            for (; *t >= '0' && *t <= '9'; ++t, ++digits)
                if (digits < 9) v = v * 10 + (*t - '0');
            p->num[p->nnum] = v;
            p->digits[p->nnum++] = digits;
        } else if (upperchar(*t) >= 'A' && upperchar(*t) <= 'Z') {
            const char* w = t;
            while (upperchar(*t) >= 'A' && upperchar(*t) <= 'Z') ++t;
            int len = static_cast<int>(t - w);
            int m = nameindex(w, len, kMonths, 12);
            if (m >= 0) {
                if (p->month >= 0) return false;
                p->month = m + 1;
            } else if (nameindex(w, len, kDays, 7) < 0) {
                return false;
            }
        } else {
            ++t;
        }
    }
    return true;
}

// A year written with one or two digits lies in 1950-2049.
int32_t fullyear(int32_t y, int digits) {
    if (digits > 2) return y;
    return y < 50 ? 2000 + y : 1900 + y;
}

}  // namespace

int32_t VELNOR_CALL jdpack(int32_t year, int32_t month, int32_t day) {
    if (!valid(year, month, day)) return -1;
    int32_t a = (14 - month) / 12;
    int32_t y = year + 4800 - a;
    int32_t m = month + 12 * a - 3;
    return day + (153 * m + 2) / 5 + 365 * y + y / 4 - y / 100 + y / 400 - 32045;
}

void VELNOR_CALL jdunpack(int32_t jd, int32_t* year, int32_t* month, int32_t* day) {
    int32_t y = 0, m = 0, d = 0;
    if (jd >= jdpack(1, 1, 1) && jd <= jdpack(9999, 12, 31)) {
        int32_t a = jd + 32044;
        int32_t b = (4 * a + 3) / 146097;
        int32_t c = a - 146097 * b / 4;
        int32_t e = (4 * c + 3) / 1461;
        int32_t f = c - 1461 * e / 4;
        int32_t g = (5 * f + 2) / 153;
        d = f - (153 * g + 2) / 5 + 1;
        m = g + 3 - 12 * (g / 10);
        y = 100 * b + e - 4800 + g / 10;
    }
    if (year != nullptr) *year = y;
    if (month != nullptr) *month = m;
    if (day != nullptr) *day = d;
}

int32_t VELNOR_CALL set_dateform(int32_t form) {
    if (form < 0 || form >= kForms) return -1;
    int32_t old = runtime().support.dateform;
    runtime().support.dateform = form;
    return old;
}

int32_t VELNOR_CALL convdate(const char* text, char* dest) {
    if (dest != nullptr) *dest = '\0';
    Parsed p;
    if (text == nullptr || !scan(text, &p)) return -1;
    int32_t y, m, d;
    if (p.month > 0) {
        if (p.nnum != 2) return -1;
        m = p.month;
        int yi = p.digits[0] > 2 ? 0 : 1;
        y = fullyear(p.num[yi], p.digits[yi]);
        d = p.num[1 - yi];
    } else {
        if (p.nnum != 3) return -1;
        int order = p.digits[0] > 2 ? 2 : runtime().support.dateform;  // a long first number is a year
        int yi = 2, mi = 0, di = 1;                  // month, day, year
        if (order == 1 || order == 3) mi = 1, di = 0;
        if (order == 2) yi = 0, mi = 1, di = 2;
        y = fullyear(p.num[yi], p.digits[yi]);
        m = p.num[mi];
        d = p.num[di];
    }
    int32_t jd = jdpack(y, m, d);
    if (jd < 0 || dest == nullptr) return jd;
    const char* month = kMonths[m - 1];
    switch (runtime().support.dateform) {
        case 0: snprintf(dest, 32, "%02d/%02d/%02d", m, d, y % 100); break;
        case 1: snprintf(dest, 32, "%02d/%02d/%02d", d, m, y % 100); break;
        case 2: snprintf(dest, 32, "%04d-%02d-%02d", y, m, d); break;
        case 3: snprintf(dest, 32, "%02d %s %04d", d, month, y); break;
        default: snprintf(dest, 32, "%s, %s %02d, %04d", kDays[(jd + 1) % 7], month, d, y); break;
    }
    return jd;
}
