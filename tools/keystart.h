// keystart.h - where a walk of every record in key order starts.
#ifndef VELNOR_TOOLS_KEYSTART_H
#define VELNOR_TOOLS_KEYSTART_H

#include <string>

#include "velnor.h"

namespace vtool {

// A value below every key the definition's key (1-based) can hold: each
// text part at its lowest byte, each numeric part at its most negative
// number (highest for a descending part).
std::string lowestkey(const FHCB* cb, int key);

}  // namespace vtool

#endif
