// cmpentry.cc - writes one new archive entry: a provisional header, the
// coded data, and the finished header written back over the first.
#include <cstring>

#include "compress/cmpstate.h"
#include "compress/driver.h"
#include "compress/lzw.h"

static int32_t writeheader(int32_t arc, const CmpHeader& h) {
    uint8_t raw[CMP_HDRSIZE];
    cmphdrpack(h, raw);
    if (fastwrite(arc, raw, CMP_HDRSIZE) != 0 || fastflush(arc) != 0) {
        cmperror(CMP_E_WRITE);
        return -1;
    }
    return 0;
}

int32_t cmpaddentry(int32_t arc, const CmpNode& node) {
    CmpHeader h = {};
    std::memcpy(h.name, node.name, sizeof h.name);
    const int32_t at = fasttell(arc);
    if (at < 0) {
        cmperror(CMP_E_WRITE);
        return -1;
    }
    if (writeheader(arc, h) != 0) {
        return -1;
    }
    std::memcpy(h.datetime, node.datetime, 6);
    h.size = node.size;
    if (cmpcompress(arc, node.path, &h) != 0) {
        return -1;
    }
    if (fastflush(arc) != 0) {
        cmperror(CMP_E_WRITE);
        return -1;
    }
    if (fastseek(arc, at, 0) != at) {
        cmperror(CMP_E_WRITE);
        return -1;
    }
    if (writeheader(arc, h) != 0) {
        return -1;
    }
    if (fastseek(arc, 0, 2) < 0) {
        cmperror(CMP_E_WRITE);
        return -1;
    }
    return 0;
}
