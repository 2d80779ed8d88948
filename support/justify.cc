// justify.cc - justification of fixed-width fields (no terminator) with a
// fill character; the text of a field is the field without its leading and
// trailing spaces.
#include <cstring>

#include "velnor.h"

namespace {

struct Text {
    int32_t start;  // first byte that is not a space
    int32_t len;    // bytes up to and including the last non-space
};

Text textof(const char* field, int32_t width) {
    int32_t a = 0, b = width;
    while (a < width && field[a] == ' ') ++a;
    while (b > a && field[b - 1] == ' ') --b;
    return {a, b - a};
}

// Moves the text to start at column at and fills around it.
void place(char* field, int32_t width, Text t, int32_t at, char fill) {
    memmove(field + at, field + t.start, static_cast<size_t>(t.len));
    memset(field, fill, static_cast<size_t>(at));
    memset(field + at + t.len, fill, static_cast<size_t>(width - at - t.len));
}

}  // namespace

void VELNOR_CALL just_right(char* field, int32_t width, int32_t fill) {
    if (field == nullptr || width <= 0) return;
    if (field[width - 1] != ' ' && fill == ' ') return;
    Text t = textof(field, width);
    place(field, width, t, width - t.len, static_cast<char>(fill));
}

void VELNOR_CALL just_left(char* field, int32_t width, int32_t fill) {
    if (field == nullptr || width <= 0) return;
    if (field[0] != ' ' && fill == ' ') return;
    Text t = textof(field, width);
    place(field, width, t, 0, static_cast<char>(fill));
}

void VELNOR_CALL just_center(char* field, int32_t width, int32_t fill) {
    if (field == nullptr || width <= 0) return;
    Text t = textof(field, width);
    place(field, width, t, (width - t.len) / 2, static_cast<char>(fill));
}

void VELNOR_CALL just_none(char* field, int32_t width, int32_t fill) {
    if (field == nullptr || width <= 0) return;
    Text t = textof(field, width);
    memset(field, fill, static_cast<size_t>(t.start));
    memset(field + t.start + t.len, fill, static_cast<size_t>(width - t.start - t.len));
}
