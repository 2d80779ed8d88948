// dynlib.h - loads the built shared library (libvelnor.so, or velnor.dll
// beside the test program) the way an application does, so the tests see
// exactly what the library exports.
#ifndef VELNOR_TESTS_BUILD_DYNLIB_H
#define VELNOR_TESTS_BUILD_DYNLIB_H

#include <string>

namespace dynlib {

// True on systems where the library also exports velnor_round as "round".
extern const bool kRoundAlias;

// Loads the library; null on failure, with the reason in *why.
void* load(std::string* why);
// Address of the exported name, or null when the library does not export it.
void* find(void* lib, const char* name);

}  // namespace dynlib

#endif
