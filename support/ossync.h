// ossync.h - forcing a file's bytes to the disk, for the few callers whose
// writes must outlive a power cut and not only the process: the secure
// operation, and the program's records set aside before a repair.
#ifndef VELNOR_SUPPORT_OSSYNC_H
#define VELNOR_SUPPORT_OSSYNC_H

#include <cstdint>

// Forces the bytes written through h (held ones first) to the disk in
// either face, where osflush syncs only in the direct one: 0, or -1.
int32_t ossync(int32_t h);

#endif
