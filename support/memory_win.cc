// memory_win.cc - global memory blocks on Windows: fixed, zeroed, shareable
// blocks used directly as pointers (flags 0x2040) and moveable ones reached
// through lock and unlock (flags 0x2002).  A zero size asks for one byte so
// that every block is a real, unique one.
#include <windows.h>

#include <cstdlib>
#include <cstring>

#include "support/os.h"

namespace {

constexpr UINT kFixed = 0x2040;
constexpr UINT kMoveable = 0x2002;

// count * size, or false when it does not fit 32 bits.
bool product(uint32_t count, uint32_t size, uint32_t* out) {
    uint64_t total = static_cast<uint64_t>(count) * size;
    *out = static_cast<uint32_t>(total);
    return total <= UINT32_MAX;
}

}  // namespace

void* VELNOR_CALL globalmalloc(uint32_t size) { return GlobalAlloc(kFixed, size ? size : 1); }

void* VELNOR_CALL globalcalloc(uint32_t count, uint32_t size) {
    uint32_t total;
    if (!product(count, size, &total)) return nullptr;
    void* p = globalmalloc(total);
    if (p != nullptr) memset(p, 0, total);
    return p;
}

void* VELNOR_CALL globalmfree(void* block) { return block == nullptr ? nullptr : GlobalFree(block); }

void* globalhalloc(uint32_t size) { return GlobalAlloc(kMoveable, size ? size : 1); }

void* globalhcalloc(uint32_t count, uint32_t size) {
    uint32_t total;
    if (!product(count, size, &total)) return nullptr;
    void* h = globalhalloc(total);
    if (h == nullptr) return nullptr;
    void* p = GlobalLock(h);
    if (p == nullptr) return nullptr;
    memset(p, 0, total);
    GlobalUnlock(h);
    return h;
}

void* globalhlock(void* handle) { return handle == nullptr ? nullptr : GlobalLock(handle); }

void globalhunlock(void* handle) {
    if (handle != nullptr) GlobalUnlock(handle);
}

void* globalhfree(void* handle) {
    if (handle == nullptr) return nullptr;
    GlobalUnlock(handle);
    return GlobalFree(handle);
}

int32_t globalcompact(uint32_t, uint32_t) { return 0; }

void globalsettle() {}

void* osbigtable(size_t size) { return std::calloc(1, size); }

void osbigfree(void* table) { std::free(table); }
