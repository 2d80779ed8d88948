// fid_support.h - helpers of the definition, key, thread, hash and item
// tests: a command block holding a loaded definition, and random
// definitions that stay inside their record.
#ifndef VELNOR_TESTS_ENGINE_FID_SUPPORT_H
#define VELNOR_TESTS_ENGINE_FID_SUPPORT_H

#include <random>
#include <string>

#include "engine/fid.h"
#include "open_support.h"

namespace fidtest {

using coretest::readfile;
using coretest::TempDir;
using coretest::writefile;

// A zeroed command block whose definition is freed at the end.
struct Def {
    FHCB cb{};
    char work[257] = {};
    Def() { cb.work = work; }
    ~Def() { freefid(&cb); }
    Def(const Def&) = delete;
    Def& operator=(const Def&) = delete;
    // Loads the definition file path: loadfid's result.
    int32_t load(const std::string& path, uint8_t fflags = 0);
    // Writes text to path in dir and loads it.
    int32_t loadtext(const TempDir& dir, const std::string& text, uint8_t fflags = 0);
};

// Item and key lines of a text definition.
std::string itemline(const std::string& name, char type, char just, int off, int len, int occ,
                     int order);

// A random text definition: up to 30 items over a record of up to 300
// bytes, names sorted through the order column, up to 6 keys whose
// segments lie on the items, random flags (never hashed with
// variable-length).
std::string randomfid(std::mt19937& rng);

// True when the two blocks hold the same definition; names the first
// difference in *why.
bool samedef(const FHCB& a, const FHCB& b, std::string* why);

}  // namespace fidtest

#endif
