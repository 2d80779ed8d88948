// memory_posix_test.cc - a keyword call that runs out of memory inside the
// library comes back with the memory status: its caller, a C program, never
// meets an exception.
#include <sys/resource.h>

#include <cstdio>
#include <filesystem>

#include "common/fork.h"
#include "kwtest.h"

namespace {

using namespace kwtest;

// Bytes of address space this process holds.
size_t addressspace() {
    unsigned long pages = 0;
    FILE* f = std::fopen("/proc/self/statm", "r");
    if (f == nullptr) return 0;
    if (std::fscanf(f, "%lu", &pages) != 1) pages = 0;
    std::fclose(f);
    return pages * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

TEST_F(KeywordTest, RunningOutOfMemoryIsTheMemoryStatus) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer's allocator aborts instead of failing";
#endif
    const int code = vntest::child([&] {
        Index ix;
        if (ix.open(dir(), 1, true) != 0 || ix.add("word", 1) != 0) return 1;
        // Unshared, the library copies the posting file into memory whole.
        std::filesystem::resize_file(ix.posting, 60u << 20);
        const rlimit tight{addressspace() + (8u << 20), RLIM_INFINITY};
        if (tight.rlim_cur <= (8u << 20) || setrlimit(RLIMIT_AS, &tight) != 0) return 2;
        uint32_t n = 0;
        const uint32_t* found = fhhypsearch(&ix.cb, "word", &n);
        return found == nullptr && ix.cb.status == VN_E_MEMORY ? 0 : 3;
    });
    EXPECT_EQ(code, 0);
}

}  // namespace
