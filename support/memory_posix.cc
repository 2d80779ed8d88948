// memory_posix.cc - global memory blocks on POSIX systems.  A fixed block is
// a plain zeroed heap block; a moveable block is a heap block with a small
// header, and its handle is the header's address.
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include <sys/mman.h>

#include "support/os.h"

namespace {

// The header in front of a moveable block's data; its size keeps the data
// aligned for any type.
struct alignas(std::max_align_t) Moveable {
    uint32_t size;
    uint32_t locks;
};

}  // namespace

void* VELNOR_CALL globalmalloc(uint32_t size) { return calloc(1, size ? size : 1); }

void* VELNOR_CALL globalcalloc(uint32_t count, uint32_t size) {
    uint64_t total = static_cast<uint64_t>(count) * size;
    if (total > UINT32_MAX) return nullptr;
    return globalmalloc(static_cast<uint32_t>(total));
}

void* VELNOR_CALL globalmfree(void* block) {
    free(block);
    return nullptr;
}

void* globalhalloc(uint32_t size) {
    void* raw = malloc(sizeof(Moveable) + (size ? size : 1));
    if (raw == nullptr) return nullptr;
    Moveable* m = static_cast<Moveable*>(raw);
    m->size = size;
    m->locks = 0;
    return m;
}

void* globalhcalloc(uint32_t count, uint32_t size) {
    uint64_t total = static_cast<uint64_t>(count) * size;
    if (total > UINT32_MAX) return nullptr;
    void* h = globalhalloc(static_cast<uint32_t>(total));
    void* p = globalhlock(h);
    if (p == nullptr) return nullptr;
    memset(p, 0, static_cast<size_t>(total));
    globalhunlock(h);
    return h;
}

void* globalhlock(void* handle) {
    if (handle == nullptr) return nullptr;
    Moveable* m = static_cast<Moveable*>(handle);
    ++m->locks;
    return m + 1;
}

void globalhunlock(void* handle) {
    if (handle == nullptr) return;
    Moveable* m = static_cast<Moveable*>(handle);
    if (m->locks > 0) --m->locks;
}

void* globalhfree(void* handle) {
    globalhunlock(handle);
    free(handle);
    return nullptr;
}

int32_t globalcompact(uint32_t, uint32_t) { return 0; }

void globalsettle() {}

void* osbigtable(size_t size) {
    constexpr size_t kHuge = size_t{2} << 20;  // the usual huge page
    const size_t n = (size + kHuge - 1) / kHuge * kHuge;
    void* p = std::aligned_alloc(kHuge, n);
    if (p == nullptr) return nullptr;
#ifdef MADV_HUGEPAGE
    madvise(p, n, MADV_HUGEPAGE);
#endif
    std::memset(p, 0, n);
    return p;
}

void osbigfree(void* table) { std::free(table); }
