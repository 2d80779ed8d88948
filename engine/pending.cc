// pending.cc - temporary stand-ins for functions whose real code is still
// being written, so that the test programs link meanwhile.  Whoever writes
// the real function deletes its stand-in here in the same change.  This file
// is removed once it is empty.
#include "velnor.h"
