// encoding.cc - code pages to UTF-8.
#include "encoding.h"

#include <cctype>
#include <cstdint>

namespace vtool {

namespace {

// Windows-1252 at 0x80-0x9F; the five unassigned bytes keep their C1 code.
const uint16_t cp1252[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

// Code page 437 at 0x80-0xFF.
const uint16_t cp437[128] = {
    0x00C7, 0x00FC, 0x00E9, 0x00E2, 0x00E4, 0x00E0, 0x00E5, 0x00E7, 0x00EA, 0x00EB, 0x00E8,
    0x00EF, 0x00EE, 0x00EC, 0x00C4, 0x00C5, 0x00C9, 0x00E6, 0x00C6, 0x00F4, 0x00F6, 0x00F2,
    0x00FB, 0x00F9, 0x00FF, 0x00D6, 0x00DC, 0x00A2, 0x00A3, 0x00A5, 0x20A7, 0x0192, 0x00E1,
    0x00ED, 0x00F3, 0x00FA, 0x00F1, 0x00D1, 0x00AA, 0x00BA, 0x00BF, 0x2310, 0x00AC, 0x00BD,
    0x00BC, 0x00A1, 0x00AB, 0x00BB, 0x2591, 0x2592, 0x2593, 0x2502, 0x2524, 0x2561, 0x2562,
    0x2556, 0x2555, 0x2563, 0x2551, 0x2557, 0x255D, 0x255C, 0x255B, 0x2510, 0x2514, 0x2534,
    0x252C, 0x251C, 0x2500, 0x253C, 0x255E, 0x255F, 0x255A, 0x2554, 0x2569, 0x2566, 0x2560,
    0x2550, 0x256C, 0x2567, 0x2568, 0x2564, 0x2565, 0x2559, 0x2558, 0x2552, 0x2553, 0x256B,
    0x256A, 0x2518, 0x250C, 0x2588, 0x2584, 0x258C, 0x2590, 0x2580, 0x03B1, 0x00DF, 0x0393,
    0x03C0, 0x03A3, 0x03C3, 0x00B5, 0x03C4, 0x03A6, 0x0398, 0x03A9, 0x03B4, 0x221E, 0x03C6,
    0x03B5, 0x2229, 0x2261, 0x00B1, 0x2265, 0x2264, 0x2320, 0x2321, 0x00F7, 0x2248, 0x00B0,
    0x2219, 0x00B7, 0x221A, 0x207F, 0x00B2, 0x25A0, 0x00A0};

void put(std::string& out, uint32_t c) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

// Length of the valid UTF-8 sequence at s[i], or 0.
size_t sequence(const std::string& s, size_t i) {
    unsigned char c = s[i];
    size_t n = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 0;
    if (n == 0 || i + n > s.size()) return 0;
    uint32_t v = n == 1 ? c : c & (0x7F >> n);
    for (size_t k = 1; k < n; ++k) {
        unsigned char d = s[i + k];
        if ((d & 0xC0) != 0x80) return 0;
        v = v << 6 | (d & 0x3F);
    }
    static const uint32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    if (v < least[n] || v > 0x10FFFF || (v >= 0xD800 && v <= 0xDFFF)) return 0;
    return n;
}

}  // namespace

bool validutf8(const std::string& s) {
    for (size_t i = 0, n; i < s.size(); i += n)
        if ((n = sequence(s, i)) == 0) return false;
    return true;
}

size_t displaywidth(const std::string& s) {
    size_t w = 0;
    for (size_t i = 0; i < s.size();) {
        const size_t n = sequence(s, i);
        if (n == 0) {  // not UTF-8: one column a byte
            ++w, ++i;
            continue;
        }
        uint32_t v = n == 1 ? static_cast<unsigned char>(s[i]) : static_cast<unsigned char>(s[i]) & (0x7F >> n);
        for (size_t k = 1; k < n; ++k) v = (v << 6) | (static_cast<unsigned char>(s[i + k]) & 0x3F);
        i += n;
        if (v >= 0x300 && v <= 0x36F) continue;  // combining accents
        const bool wide = (v >= 0x1100 && v <= 0x115F) || (v >= 0x2E80 && v <= 0xA4CF) ||
                          (v >= 0xAC00 && v <= 0xD7A3) || (v >= 0xF900 && v <= 0xFAFF) ||
                          (v >= 0xFE30 && v <= 0xFE4F) || (v >= 0xFF00 && v <= 0xFF60) ||
                          (v >= 0xFFE0 && v <= 0xFFE6) || (v >= 0x20000 && v <= 0x3FFFD);
        w += wide ? 2 : 1;
    }
    return w;
}

bool parseencoding(const std::string& name, Encoding* enc) {
    std::string n;
    for (char c : name)
        if (c != '-' && c != '_') n += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (n == "cp1252" || n == "windows1252") *enc = Encoding::Cp1252;
    else if (n == "cp437") *enc = Encoding::Cp437;
    else if (n == "latin1" || n == "iso88591") *enc = Encoding::Latin1;
    else if (n == "utf8") *enc = Encoding::Utf8;
    else return false;
    return true;
}

std::string toutf8(const std::string& text, Encoding enc) {
    if (validutf8(text)) return text;
    std::string out;
    for (unsigned char c : text) {
        if (c < 0x80) out += static_cast<char>(c);
        else if (enc == Encoding::Utf8) put(out, 0xFFFD);
        else if (enc == Encoding::Cp437) put(out, cp437[c - 0x80]);
        else if (enc == Encoding::Cp1252 && c < 0xA0) put(out, cp1252[c - 0x80]);
        else put(out, c);
    }
    return out;
}

std::string fromutf8(const std::string& text, Encoding enc) {
    if (enc == Encoding::Utf8 || !validutf8(text)) return text;
    std::string out;
    for (size_t i = 0, n; i < text.size(); i += n) {
        n = sequence(text, i);
        uint32_t v = static_cast<unsigned char>(text[i]);
        if (n > 1) v &= 0x7F >> n;
        for (size_t k = 1; k < n; ++k) v = v << 6 | (static_cast<unsigned char>(text[i + k]) & 0x3F);
        int byte = v < 0x80 ? static_cast<int>(v) : -1;
        for (int c = 0x80; byte < 0 && c < 0x100; ++c) {
            uint32_t u = enc == Encoding::Cp437                 ? cp437[c - 0x80]
                         : enc == Encoding::Cp1252 && c < 0xA0 ? cp1252[c - 0x80]
                                                                : static_cast<uint32_t>(c);
            if (u == v) byte = c;
        }
        out += static_cast<char>(byte < 0 ? '?' : byte);
    }
    return out;
}

}  // namespace vtool
