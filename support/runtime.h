// runtime.h - the one object that holds the library's process state, and
// the one place that records where corruption was seen.
//
// The library serves one thread at a time.  Everything it keeps between
// calls that is not hung off a caller's block lives here: the support
// layer's own part (streams, directory search, held writes, holds, number
// and date settings, the planted test faults) inline, and one part for
// each layer above, each part's type defined in its own layer and reached
// through that layer's accessor.  A lower layer knows only the slot of an
// upper layer's part, never its type.
//
// Lifetime: the object is made on first use (the first start of the
// engine, or a first call into the support library or the archiver, which
// need no start).  Each layer makes its part the first time it needs it;
// the engine's real shutdown frees what one run of the engine built (the
// open-file list, the page cache, the scratch buffers), and the settings
// that outlive a shutdown (date form, precision, temporary directory, the
// page-cache size asked for, the archiver's options) stay in their parts.
// runtimereset, for tests, throws the whole object away.
#ifndef VELNOR_SUPPORT_RUNTIME_H
#define VELNOR_SUPPORT_RUNTIME_H

#include <cstdint>
#include <new>

#include "support/fastio.h"
#include "support/osfault.h"

// The state of one layer above support/.  Parts are freed through this
// base, so the object can drop every part without knowing its type.
struct RuntimePart {
    virtual ~RuntimePart() = default;
};

// The slot of each part, bottom to top: the OS face's own tables (open
// files and holds, the directory search, a planted power cut), then one
// part for each layer above support/.
enum RuntimeSlot {
    RT_OSFILES,
    RT_DIRSEARCH,
    RT_POWERCUT,
    RT_COMPRESS,
    RT_DEFINITION,
    RT_INDEX,
    RT_RECORD,
    RT_ENGINE,
    RT_KEYWORD,
    RT_MAINT,
    RT_SLOTS
};

// The support layer's state that both OS faces share.
struct SupportState {
    // Numbers and dates: the precision of every conversion (5, never
    // changed by the library), the buffers fixcvt and flasc return, and
    // the form set_dateform chose.
    int32_t precision = 5;
    char digitbuf[38] = {};
    char textbuf[70] = {};
    int32_t dateform = 0;
    // The file layer: the network type's I/O mode (9 for direct system
    // handles), and the module instance of the progress windows.
    uint8_t iomode = 0;
    void* modinstance = nullptr;
    // The five buffered streams, and the flag fastgets sets on a carriage
    // return or a Ctrl-Z.
    FastStream streams[kFastStreams] = {};
    uint8_t fastlineflag = 0;
    // The planted test fault (osfault.h).
    uint32_t faultleft[OSF_KINDS] = {};
    void (*faultcutter)() = nullptr;
    bool faultshort = false;
    int32_t faulterr = 0;
    bool faultfired = false;
};

// Where corruption was last seen: the status it gave, and the source file
// and line of the check that saw it (null and 0 before any).
struct CorruptionSeen {
    uint8_t status = 0;
    const char* file = nullptr;
    int line = 0;
};

struct Runtime {
    SupportState support;
    RuntimePart* parts[RT_SLOTS] = {};
    CorruptionSeen corruption;
    ~Runtime();
};

namespace runtimedetail {
extern Runtime* current;  // the accessor's single pointer
Runtime& make();
}  // namespace runtimedetail

// The one runtime object, made on first use.  A process that cannot find
// the memory for it at its first call stops with a message: nothing can be
// reported before it exists.
inline Runtime& runtime() {
    Runtime* r = runtimedetail::current;
    return r != nullptr ? *r : runtimedetail::make();
}

// The part in slot, made (value-initialised) on first use.  Throws
// std::bad_alloc when it cannot be made; every exported function that can
// get here first runs through nothrow (support/nothrow.h).  The making is
// kept out of line, so that where a part is reached on every page or
// system call, the usual case (the part is there) is two loads and a test.
template <class Part>
[[gnu::noinline]] Part& runtimemake(RuntimePart*& p) {
    p = new Part();
    return static_cast<Part&>(*p);
}
template <class Part>
inline Part& runtimepart(RuntimeSlot slot) {
    RuntimePart*& p = runtime().parts[slot];
    return p != nullptr ? static_cast<Part&>(*p) : runtimemake<Part>(p);
}

// For a small part that an exported function reaches with no way to report
// a failure (the support layer's own, the archiver's options, the
// engine's settings): made on first use like the object itself, and like
// it, when there is no memory for one, the process stops with a message.
[[noreturn]] void runtimenomemory();
template <class Part>
[[gnu::noinline]] Part& runtimemakeown(RuntimePart*& p) {
    p = new (std::nothrow) Part();
    if (p == nullptr) runtimenomemory();
    return static_cast<Part&>(*p);
}
template <class Part>
inline Part& runtimeownpart(RuntimeSlot slot) {
    RuntimePart*& p = runtime().parts[slot];
    return p != nullptr ? static_cast<Part&>(*p) : runtimemakeown<Part>(p);
}

// The part in slot when it has been made, else null.
template <class Part>
Part* runtimepartif(RuntimeSlot slot) {
    return static_cast<Part*>(runtime().parts[slot]);
}

// Frees the part in slot (nothing when it was never made).
void runtimedrop(RuntimeSlot slot);

// Records that the check at file:line saw corruption, reported as status,
// and returns status.  Use it through VN_CORRUPT.
uint8_t runtimecorrupt(uint8_t status, const char* file, int line);
#define VN_CORRUPT(status) runtimecorrupt((status), __FILE__, __LINE__)

// For tests: throws the whole state away, as if the process had just
// begun.  REQUIRES: no file open through the engine, the archiver or a
// stream.  Not exported.
void runtimereset();

#endif
