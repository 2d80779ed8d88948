// blockread.cc - the windowed reader of files read front to back.
#include "support/blockread.h"

#include <cstring>

#include "support/os.h"

int32_t BlockReader::readat(int32_t pos, char* dst, int32_t n) {
    constexpr int32_t kWindow = 65536;
    if (n <= 0) return 0;
    if (pos < 0) return -1;
    if (n > kWindow) return osreadat(fd_, dst, static_cast<uint32_t>(n), static_cast<uint32_t>(pos));
    if (pos < start_ || pos + n > start_ + len_) {
        window_.resize(kWindow);
        start_ = pos;
        len_ = osreadat(fd_, window_.data(), kWindow, static_cast<uint32_t>(pos));
        if (len_ < 0) {
            len_ = 0;
            return -1;
        }
    }
    const int32_t have = start_ + len_ - pos;
    const int32_t got = have < n ? have : n;
    std::memcpy(dst, window_.data() + (pos - start_), static_cast<size_t>(got));
    return got;
}
