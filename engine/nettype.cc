// nettype.cc - operation 12: the network type chosen by name.  0 is
// unshared; every other number is shared, 1 and 2 take OS byte locks, and 9
// also switches the OS layer to direct handles.
#include <cstring>

#include "engine/engine.h"
#include "support/os.h"
#include "support/runtime.h"
#include "support/strutil.h"
#include "support/limits.h"

namespace {

constexpr size_t kNameLen = 8;

struct NetType {
    char name[kNameLen];
    uint16_t number;
};

const NetType kNetTypes[] = {
    {"SINGLE", 0}, {"DOS", 0},     {"MULTI", 7},   {"IBMNET", 1},  {"MSNET", 1},  {"NETWARE", 2},
    {"PCMOS", 0},  {"PCMOS-S", 0}, {"PCMOS-M", 3}, {"PCMOS-N", 2}, {"MSS", 9},
};

}  // namespace

void opnettype(FHCB* cb) {
    char* name = cb->work;
    if (name == nullptr) {
        cb->status = VN_C_NETNAME;
        return;
    }
    // The name is raised to upper case where it stands.
    size_t len = 0;
    while (len < FH_WORKSIZE && name[len] != '\0') {
        name[len] = static_cast<char>(upperchar(static_cast<unsigned char>(name[len])));
        len++;
    }
    if (len > kNameLen - 1) {
        cb->status = VN_C_NETNAME;
        return;
    }
    for (const NetType& t : kNetTypes) {
        if (std::strncmp(name, t.name, kNameLen) == 0) {
            cb->nettype = t.number;
            runtime().support.iomode = static_cast<uint8_t>(t.number);
            return;
        }
    }
    cb->status = VN_C_NETNAME;
}
