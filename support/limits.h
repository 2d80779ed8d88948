// limits.h - the sizes of the command block's text buffers, which code all
// through the library allocates and checks against: a file name field
// (datname, fidname, idxname) and the work buffer; and of a buffer that
// bldkey fills.
#ifndef VELNOR_SUPPORT_LIMITS_H
#define VELNOR_SUPPORT_LIMITS_H

enum {
    FH_NAMESIZE = 261,              // a name field, with its terminating zero
    FH_NAMEMAX = FH_NAMESIZE - 1,   // characters a name field holds
    FH_WORKSIZE = 257,              // the work buffer, with its terminating zero
    FH_WORKMAX = FH_WORKSIZE - 1,   // characters the work buffer holds
    // A key as bldkey writes it: the longest key (255 bytes), a temporary
    // index's 4-byte position and the terminating zero.
    FH_KEYSIZE = 260
};

#endif
