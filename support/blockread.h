// blockread.h - reads a file front to back through a window of 64 KiB, so
// that small reads of consecutive records cost no system call each.
#ifndef VELNOR_SUPPORT_BLOCKREAD_H
#define VELNOR_SUPPORT_BLOCKREAD_H

#include <cstdint>
#include <vector>

// Reads elsewhere than the window move it.  The file must not change while
// it is read this way: the window would show the old bytes.
class BlockReader {
public:
    explicit BlockReader(int32_t fd = 0) : fd_(fd) {}
    void attach(int32_t fd) {
        fd_ = fd;
        len_ = 0;
    }
    // Up to n bytes at pos into dst: the bytes read (fewer at the end), or
    // -1.
    int32_t readat(int32_t pos, char* dst, int32_t n);

private:
    int32_t fd_;
    std::vector<char> window_;
    int32_t start_ = 0;
    int32_t len_ = 0;
};

#endif
