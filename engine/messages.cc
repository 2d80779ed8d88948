// messages.cc - the engine's message table: one text for each numeric status
// 1-44, shown by file maintenance after "Error ".  Texts that begin with a
// colon follow "Error " directly.  Entries without a text are empty.
#include "velnor.h"

namespace {

constexpr int kMessages = 44;

// Entry i is the text of status i + 1.
const char* const kTable[kMessages] = {
    "opening data file",                      // 1
    "creating data file",                     // 2
    "reading data file",                      // 3
    "writing to data file",                   // 4
    "closing data file",                      // 5
    "opening FID file",                       // 6
    "reading FID file",                       // 7
    "in FID file - bad version",              // 8
    ": out of memory",                        // 9
    "in index file",                          // 10
    "during file handle reuse",               // 11
    "initializing file system",               // 12
    ": record less than minimum",             // 13
    "unlocking record",                       // 14
    "",                                       // 15
    "",                                       // 16
    "",                                       // 17
    "",                                       // 18
    ": data/FID file mismatch",               // 19
    ": bad key number used",                  // 20
    "opening index file",                     // 21
    "creating index file",                    // 22
    "reading index file",                     // 23
    "writing to index file",                  // 24
    "closing index file",                     // 25
    "in index file - bad version",            // 26
    ": index/FID file mismatch",              // 27
    ": corrupt index file",                   // 28
    "",                                       // 29
    "",                                       // 30
    "opening hash file",                      // 31
    "creating hash file",                     // 32
    "reading hash file",                      // 33
    "writing to hash file",                   // 34
    "closing hash file",                      // 35
    "in hash file - bad version",             // 36
    ": hash/FID file mismatch",               // 37
    ": corrupt hash file",                    // 38
    ": hash file full",                       // 39
    "",                                       // 40
    ": thread item in first 8 bytes",         // 41
    ": thread item less than 8 bytes long",   // 42  (the test is 4 bytes)
    ": thread item overflow",                 // 43
    ": bad thread expression",                // 44
};

}  // namespace

extern "C" VELNOR_API const char* VELNOR_CALL fhmessage(int32_t status) {
    if (status < 1 || status > kMessages) return nullptr;
    return kTable[status - 1];
}
