// fidtools.h - file definitions for the program: loading one on its own,
// printing it, the file-type line, and compiling a text definition (with
// thread lines) into the binary form.
#ifndef VELNOR_TOOLS_FIDTOOLS_H
#define VELNOR_TOOLS_FIDTOOLS_H

#include <cstdio>
#include <string>

#include "velnor.h"

namespace vtool {

// A definition loaded from a ".fid" file without any data file; freed with
// the object.  Failures are reported and thrown.
class Definition {
public:
    explicit Definition(const std::string& path);
    ~Definition();
    Definition(const Definition&) = delete;
    Definition& operator=(const Definition&) = delete;
    FHCB* cb() { return &cb_; }

private:
    FHCB cb_{};
};

// Bytes at the front of each record the engine keeps for itself: the
// length of a variable-length record (4), its number (5); 0 for neither.
unsigned reservedbytes(const FHCB* cb);
// Why an offset below reservedbytes is refused ("is inside the first 4
// bytes, where ..."), for a message that names the line.
std::string reservedwhy(const FHCB* cb);
// A warning naming the items and keys of a loaded definition that lie in
// those bytes, or "".
std::string reservedoverlap(const FHCB* cb);

// "Indexed on 2 keys.", "Hashed on 1 key, 500 table entries.", "Sequential,
// no keys." and so on.
std::string filetype(const FHCB* cb);

// Prints the items, keys and threads of the definition loaded in cb.
void printdefinition(std::FILE* out, const FHCB* cb);

// The text form of the definition loaded in cb (read from path), with a
// line "Thread = LINKITEM, expression" for each thread, as compilefid
// reads it.  Fails naming path when a name does not fit the text form.
std::string textdefinition(const FHCB* cb, const std::string& path);

// Compiles the text definition in, whose "Thread = LINKITEM, expression"
// lines the text loader skips, into the binary form at out.  The order
// column is rebuilt from the names.  A binary input is copied with its
// threads.  Failures are reported and thrown.
void compilefid(const std::string& in, const std::string& out);

}  // namespace vtool

#endif
