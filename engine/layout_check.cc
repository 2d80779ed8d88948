// layout_check.cc - compile-time checks of the command block's byte layout.
// Applications allocate and fill an FHCB themselves, so every field offset
// and the total size are part of the binary interface; a change here breaks
// every program built against an older header.
#include <cstddef>

#include "velnor.h"
#include "support/limits.h"

#define VN_AT(field, offset) static_assert(offsetof(FHCB, field) == (offset), #field " moved")

// Up to the first pointer the layout is the same at every pointer width.
VN_AT(reserved, 0);
VN_AT(opcode, 4);
VN_AT(status, 5);
VN_AT(spare, 6);
VN_AT(reqkey, 7);
VN_AT(curkey, 8);
VN_AT(nitems, 9);
VN_AT(nkeys, 11);
VN_AT(recbuf, 12);

#if UINTPTR_MAX == 0xFFFFFFFFu
// 32-bit builds (velnor.dll): four-byte pointers.
static_assert(sizeof(FHCB) == 861, "FHCB must be 861 bytes");
VN_AT(reclen, 16);
VN_AT(datfd, 18);
VN_AT(idxfd, 22);
VN_AT(datpos, 26);
VN_AT(nrecs, 30);
VN_AT(state, 34);
VN_AT(lockpos, 36);
VN_AT(index, 40);
VN_AT(hashrecs, 44);
VN_AT(hashstate, 48);
VN_AT(hypfd, 49);
VN_AT(nthreads, 51);
VN_AT(fflags, 53);
VN_AT(mflags, 54);
VN_AT(nettype, 55);
VN_AT(work, 57);
VN_AT(datname, 61);
VN_AT(fidname, 322);
VN_AT(idxname, 583);
VN_AT(keys, 844);
VN_AT(items, 848);
VN_AT(threads, 852);
VN_AT(flockretry, 856);
VN_AT(rlockretry, 858);
VN_AT(flocked, 860);
#elif UINTPTR_MAX == 0xFFFFFFFFFFFFFFFFu
// 64-bit builds: the same order with eight-byte pointers, still packed.
static_assert(sizeof(FHCB) == 885, "FHCB must be 885 bytes");
VN_AT(reclen, 20);
VN_AT(datfd, 22);
VN_AT(idxfd, 26);
VN_AT(datpos, 30);
VN_AT(nrecs, 34);
VN_AT(state, 38);
VN_AT(lockpos, 40);
VN_AT(index, 44);
VN_AT(hashrecs, 52);
VN_AT(hashstate, 56);
VN_AT(hypfd, 57);
VN_AT(nthreads, 59);
VN_AT(fflags, 61);
VN_AT(mflags, 62);
VN_AT(nettype, 63);
VN_AT(work, 65);
VN_AT(datname, 73);
VN_AT(fidname, 334);
VN_AT(idxname, 595);
VN_AT(keys, 856);
VN_AT(items, 864);
VN_AT(threads, 872);
VN_AT(flockretry, 880);
VN_AT(rlockretry, 882);
VN_AT(flocked, 884);
#else
#error "unsupported pointer width"
#endif

// fflags and mflags are also written together as one 16-bit word.
static_assert(offsetof(FHCB, mflags) == offsetof(FHCB, fflags) + 1, "fflags/mflags not adjacent");

// The buffer sizes the library allocates and checks against are the
// command block's.
static_assert(sizeof(FHCB{}.datname) == FH_NAMESIZE && sizeof(FHCB{}.fidname) == FH_NAMESIZE &&
                  sizeof(FHCB{}.idxname) == FH_NAMESIZE,
              "name fields must be FH_NAMESIZE bytes");
