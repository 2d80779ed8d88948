// fastio.cc - fuzz target: the buffered line readers fastgets and
// fastagets over a hostile file.  The first byte sets the line limit and
// the coded-record width; each reader's buffer is exactly as large as its
// contract asks, so that a byte beyond it is caught.
#include <algorithm>
#include <vector>

#include "fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace vnfuzz;
    if (size == 0) return 0;
    const int32_t limit = 1 + data[0] % 64 * 4;
    const int32_t width = 1 + data[0] * 31;  // up to 7906, below the 8002 written at most
    put("f.txt", data + 1, size - 1);
    const int32_t s = fastopen(path("f.txt").c_str(), VN_O_RDONLY | VN_O_BINARY, 0);
    if (s < 0) return 0;
    std::vector<char> line(static_cast<size_t>(limit) + 1);
    // Every call that returns a line consumes at least a byte.
    for (size_t i = 0; i <= size && fastgets(s, line.data(), limit) != nullptr; ++i) {
    }
    fastrewind(s);
    std::vector<char> rec(8002);
    for (size_t i = 0; i <= size && fastagets(s, rec.data(), width) != nullptr; ++i) {
    }
    fastclose(s);
    return 0;
}
