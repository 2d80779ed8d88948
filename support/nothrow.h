// nothrow.h - the edge of the library.  Its callers are C programs, so no
// C++ exception may leave an exported function.  The only ones the library
// can raise come from the standard containers failing to allocate, so an
// exported function that reaches such a container runs its body through
// nothrow, which turns any exception into the memory status.
#ifndef VELNOR_SUPPORT_NOTHROW_H
#define VELNOR_SUPPORT_NOTHROW_H

#include <cstdint>

#include "velnor.h"

// body's result; when it throws, failed, with *status = VN_E_MEMORY unless
// status is null.
template <class R, class Body>
R nothrow(uint8_t* status, R failed, Body&& body) noexcept {
    try {
        return body();
    } catch (...) {
        if (status != nullptr) *status = VN_E_MEMORY;
        return failed;
    }
}

#endif
