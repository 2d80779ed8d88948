// common.h - what every subcommand of the velnor program shares: failure
// reporting in the program's one style, the engine's start and stop, and a
// record file opened or created by name with its definition and index
// names, network type and record buffer.
#ifndef VELNOR_TOOLS_COMMON_H
#define VELNOR_TOOLS_COMMON_H

#include <string>
#include <vector>

#include "velnor.h"

namespace vtool {

// Exit statuses of the program.
enum { EXIT_OK = 0, EXIT_FAILED = 1, EXIT_USAGE = 2 };

// Thrown by a subcommand once it has printed its message; main turns it
// into the exit status.
struct Failure {
    int code;
};

// Prints "velnor: <what>: <message>" on stderr and throws Failure{code}.
[[noreturn]] void fail(const std::string& what, const std::string& message,
                       int code = EXIT_FAILED);
// Prints "velnor: <message>" on stderr (a warning; nothing is thrown).
void warn(const std::string& message);

// The text of an engine status: "Error opening data file", "Error : out of
// memory", or a plain description for the conditions without a message.
std::string statustext(int status);

// "Error opening FID file (status 6)", followed for a status about opening,
// creating, reading or writing a file by the system's reason found by
// trying path again ("No such file or directory").  A write refused for
// want of permission reads as that, not as an error in writing.
std::string statusline(int status, const std::string& path);

// The library's longest file name: longer paths are refused up front.
constexpr size_t PATH_LIMIT = 260;
// Fails naming path when it is longer than limit characters.
void checkpath(const std::string& path, size_t limit = PATH_LIMIT);

// "1 key", "2 keys": n and the noun, made plural unless n is 1.
std::string counted(long n, const std::string& noun);

// s with its ASCII letters in lower case.
std::string lowered(std::string s);

// Names the engine derives from a data file name: its extension (from the
// last dot of the file part) replaced by ext, or ext appended.
std::string derivedname(const std::string& datname, const char* ext);

// Keeps the engine started for the life of the object.
class Engine {
public:
    Engine();
    ~Engine();
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;
};

// Files held against other runs of the program for the life of the object
// (docs/sharing.md): held exclusively by a run that changes them without
// the engine's locks or replaces them, shared otherwise.
class Holds {
public:
    Holds() = default;
    ~Holds() { release(); }
    Holds(const Holds&) = delete;
    Holds& operator=(const Holds&) = delete;
    // Holds path with a hold of kind (OS_HOLD_ALONE, _SHARED or _READING);
    // when another run's hold is in the way, prints "velnor: PATH is in use
    // by another process" with hint after it and throws Failure{EXIT_FAILED},
    // the holds taken so far given up.  A file that is not there (or cannot
    // be opened) is not held: false.
    bool hold(const std::string& path, int32_t kind, const std::string& hint = "");
    void release();

private:
    std::vector<int32_t> tokens_;
};

// The hold a run takes on its files: a run under the engine's byte locks
// shares them; without them, one that only reads shares them with other
// such readers, and one that writes holds them alone.
int32_t holdkind(bool unshared, bool readsonly);

// Records in the data file at path, open on cb, past the count its header
// gives (a run cut short before it wrote the count): 0 when the count
// accounts for the file's length.  Variable-length and hashed files are
// left to verify.  Measure only a file held alone: sharers append under
// the engine's file lock.
long uncounted(const FHCB* cb, const std::string& path);
// The same for a record file not yet open, opened and closed here; 0 when
// it cannot be opened (the run that follows says why).
long uncounted(const std::string& path, const std::string& fid);

// Whether the engine takes its byte locks under the named network type
// (types 1 and 2), so that programs may share a file; under any other two
// programs at once would corrupt it.  An unknown name is a usage failure.
bool takeslocks(const std::string& network);

// How a record file is to be opened.
struct RecordTarget {
    std::string path;           // data file
    std::string fid;            // definition, "" = derived
    std::string index;          // index or hash file, "" = derived
    std::string network = "SINGLE";
    bool readsonly = false;     // the run only reads: held shared, beside other readers
};

// The same file, opened by a run that only reads it.
inline RecordTarget reading(RecordTarget target) {
    target.readsonly = true;
    return target;
}

// One open record file.  Every failure is reported (naming the file the
// status belongs to) and thrown as Failure.
class RecordFile {
public:
    // Opens the file, or with create makes it new from its definition.
    RecordFile(const RecordTarget& target, bool create = false);
    ~RecordFile();
    RecordFile(const RecordFile&) = delete;
    RecordFile& operator=(const RecordFile&) = delete;

    FHCB* cb() { return &cb_; }
    const FHCB* cb() const { return &cb_; }
    const std::string& path() const { return target_.path; }
    const RecordTarget& target() const { return target_; }

    // Reports the block's current status against the file it concerns and
    // throws.
    [[noreturn]] void fail_status() const;
    // The file a status concerns: definition, index, hash or data file.
    std::string fileof(int status) const;

    // Physical order (key 0), or key n of the definition (1-based); a key
    // the file lacks is a usage failure.
    void setkey(int key);
    // Fails (usage) unless thread is 1 to the number of threads.
    void checkthread(int thread) const;
    // Fails, advising pack, when the header count trails the data: a write
    // would go where the count ends, over a record.
    void checkcount() const;
    // Closes now, reporting a failure; the destructor closes quietly.
    void close();

private:
    // Keeps other programs off the data and key files for the run: alone in
    // an unshared mode, alongside other sharers otherwise.
    void hold(bool unshared);
    RecordTarget target_;
    bool unshared_ = true;
    FHCB cb_{};
    bool open_ = false;
    Holds holds_;
};

}  // namespace vtool

#endif
