// powercut_win.cc - the power cut of osfault.h is not simulated on
// Windows: arming it arms nothing, and no journal is kept.
#include "support/osfault.h"

void osfaultpowercut(uint32_t, uint32_t) { osfaultarm(OSF_WRITE, 0, false, 0); }
void oscutnote(int32_t, int64_t, uint32_t) {}
void oscuttrunc(const char*) {}
void oscutsynced(int32_t) {}
