// cmpbulk.cc - large transfers on the library's buffered streams.
#include "compress/cmpbulk.h"

#include <cstring>

#include "support/fastio.h"
#include "support/os.h"

int32_t cmpputblock(int32_t s, const uint8_t* p, int32_t n) {
    FastStream* f = faststream(s);
    if (f == nullptr || fastflush(s) != 0) {
        return -1;
    }
    while (n > 0) {
        const int32_t w = oswrite(f->handle, p, static_cast<uint32_t>(n));
        if (w < 1) {
            return -1;
        }
        p += w;
        n -= w;
    }
    return 0;
}

void cmpreaderinit(CmpBulkReader* r, int32_t s) {
    r->s = s;
    r->pos = 0;
    r->len = 0;
}

int32_t cmpreadblock(CmpBulkReader* r, uint8_t* dst, int32_t n) {
    int32_t done = 0;
    while (done < n) {
        if (r->pos == r->len) {
            r->pos = 0;
            FastStream* f = faststream(r->s);
            if (f == nullptr) {
                r->len = 0;
            } else if (f->count > f->pos) {  // what the stream had buffered
                r->len = fastread(r->s, r->buf, static_cast<uint32_t>(f->count - f->pos));
            } else {
                r->len = osread(f->handle, r->buf, sizeof r->buf);
                if (r->len < 0) f->failed = 1;
            }
            if (r->len <= 0) {
                r->len = 0;
                break;
            }
        }
        const int32_t take = n - done < r->len - r->pos ? n - done : r->len - r->pos;
        std::memcpy(dst + done, r->buf + r->pos, take);
        r->pos += take;
        done += take;
    }
    return done;
}
