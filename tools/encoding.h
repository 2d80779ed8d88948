// encoding.h - record text as UTF-8 for output: valid UTF-8 passes
// through; other bytes are read in the code page the file was written in
// (Windows-1252 unless the user says otherwise).
#ifndef VELNOR_TOOLS_ENCODING_H
#define VELNOR_TOOLS_ENCODING_H

#include <cstddef>
#include <string>

namespace vtool {

enum class Encoding { Cp1252, Cp437, Latin1, Utf8 };

// Parses "cp1252", "cp437", "latin1" or "utf-8" (any case; "windows-1252",
// "iso-8859-1" and "utf8" too); false for anything else.
bool parseencoding(const std::string& name, Encoding* enc);

// Whether s is well-formed UTF-8 (plain ASCII is).
bool validutf8(const std::string& s);

// Columns s takes on a terminal: one per character, two for the wide
// East Asian ones, none for a combining accent; a byte that is not UTF-8
// counts one.
size_t displaywidth(const std::string& s);

// text as UTF-8: unchanged when it is valid UTF-8, else every byte above
// 0x7F converted from enc (with Encoding::Utf8, replaced by U+FFFD).
std::string toutf8(const std::string& text, Encoding enc);

// UTF-8 text back in the code page enc, for writing into records: a
// character the code page lacks becomes '?'.  With Encoding::Utf8, or
// when text is not valid UTF-8, text is returned unchanged.
std::string fromutf8(const std::string& text, Encoding enc);

}  // namespace vtool

#endif
