// share.cc - the network-type switch of the file layer and the two helpers
// that add the sharing bits to a set of open flags.
#include "support/os.h"

uint32_t VELNOR_CALL fshare(const char* /*path*/, uint32_t flags) { return flags | VN_O_SHARE; }

uint32_t VELNOR_CALL funshare(const char* /*path*/, uint32_t flags) { return flags | VN_O_EXCL; }
