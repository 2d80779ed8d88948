// idxfile.cc - creating, opening and closing an index file: the 114-byte
// header in page 0, its 84-byte changing span, and the page geometry.
#include "index/idxfile.h"

#include <cstring>

#include "definition/definition.h"
#include "index/idxpage.h"
#include "index/pagecache.h"
#include "support/os.h"

namespace {

// Header field offsets.
enum {
    H_MAGIC = 0,
    H_VERSION = 4,
    H_NEXTPAGE = 8,
    H_FREEPAGE = 12,
    H_SPACELIST = 16,
    H_ROOT = 20,
    H_NINDEX = 92,
    H_PAGESIZE = 94,
    H_KEYLEN = 96
};

const uint8_t magic[4] = {'T', 'K', 'F', 0};

// Number of indexes the definition implies and each one's key length.
int fidindexes(const IdxFile& f, unsigned* keylen) {
    int n = 0;
    if (f.fflags & VN_FF_RECNO) keylen[n++] = 5;
    for (int i = 0; i < f.nkeys; i++) {
        if (n < IDX_MAXINDEX) keylen[n] = f.keys[i].keylen;
        n++;
    }
    return n;
}

// Bytes keycmp may read from a key of index i: its segments, the primary
// key's tail for a secondary key, and 4 more bytes for a temporary index.
unsigned keyreach(const IdxFile& f, int i) {
    bool recno = (f.fflags & VN_FF_RECNO) != 0;
    unsigned tail = (f.fflags & VN_FF_TMPIDX) ? 4 : 0;
    if (i == 0 && recno) return 5 + tail;
    const FidKey& key = f.keys[recno ? i - 1 : i];
    unsigned n = 0;
    for (int s = 0; s < key.nsegs && s < FID_MAXSEGS; s++) n += key.seg[s].seglen;
    return i == 0 ? n + tail : n + keyreach(f, 0);
}

void spanget(IdxState* st, const uint8_t* h) {
    st->nextpage = getle32(h + H_NEXTPAGE);
    st->freepage = getle32(h + H_FREEPAGE);
    st->spacelist = getle32(h + H_SPACELIST);
    for (int i = 0; i < IDX_MAXINDEX; i++) st->root[i] = getle32(h + H_ROOT + 4 * i);
}

void spanput(const IdxState* st, uint8_t* h) {
    putle32(h + H_NEXTPAGE, st->nextpage);
    putle32(h + H_FREEPAGE, st->freepage);
    putle32(h + H_SPACELIST, st->spacelist);
    for (int i = 0; i < IDX_MAXINDEX; i++) putle32(h + H_ROOT + 4 * i, st->root[i]);
}

bool writeat(int32_t fd, uint32_t off, const void* buf, uint32_t n) {
    return oswriteat(fd, buf, n, off) == static_cast<int32_t>(n);
}

void freestate(IdxState* st) {
    if (!st) return;
    if (st->cursor) {
        for (int i = 0; i < st->nindex; i++)
            if (st->cursor[i].image) globalhfree(st->cursor[i].image);
        globalmfree(st->cursor);
    }
    if (st->spare) globalhfree(st->spare);
    if (st->keybuf) globalmfree(st->keybuf);
    globalmfree(st);
}

// A zeroed moveable block of size bytes, locked; null on failure.
void* newimage(uint32_t size, uint8_t** img) {
    void* h = globalhcalloc(1, size);
    if (!h) return nullptr;
    *img = static_cast<uint8_t*>(globalhlock(h));
    if (!*img) {
        globalhfree(h);
        return nullptr;
    }
    return h;
}

}  // namespace

bool idxreadat(int32_t fd, uint32_t off, void* buf, uint32_t n) {
    const auto want = static_cast<int32_t>(n);
    if (osreadmapped(fd, buf, n, off) == want) {
        // The file never shrinks, so the map's last measure still holds,
        // unless another process created the file afresh: then the pages
        // past its new end read as zeros through the map.  Zeros are
        // measured again before they are taken.
        const auto* b = static_cast<const uint8_t*>(buf);
        if (n == 0 || b[0] != 0 || memcmp(b, b + 1, n - 1) != 0) return true;
        if (osremeasure(fd) == 0 && osreadmapped(fd, buf, n, off) == want) return true;
    }
    return osreadat(fd, buf, n, off) == want;
}

uint16_t idxpagesize(unsigned m) {
    return static_cast<uint16_t>(static_cast<uint16_t>(24 * m + 228) & 0xFF80);
}

uint8_t idxcapacity(uint16_t p, unsigned k) {
    uint32_t room = static_cast<uint32_t>(p) - 100u - 24u * k;
    return static_cast<uint8_t>(room / (k + 4) + 24);
}

int32_t idxcreate(const IdxFile& f) {
    unsigned keylen[IDX_MAXINDEX];
    int n = fidindexes(f, keylen);
    if (n > IDX_MAXINDEX) return VN_E_IDXFID;
    uint8_t hdr[IDX_HDRSIZE] = {};
    unsigned m = 0;
    memcpy(hdr + H_MAGIC, magic, 4);
    putle16(hdr + H_VERSION, IDX_VERSION);
    putle32(hdr + H_NEXTPAGE, 1);
    putle16(hdr + H_NINDEX, static_cast<uint16_t>(n));
    for (int i = 0; i < n; i++) {
        hdr[H_KEYLEN + i] = static_cast<uint8_t>(keylen[i]);
        if (keylen[i] > m) m = keylen[i];
    }
    uint16_t p = idxpagesize(m);
    putle16(hdr + H_PAGESIZE, p);

    int32_t fd = osopen(f.path, VN_O_BINARY | VN_O_TRUNC | VN_O_CREAT | VN_O_RDWR, 0777);
    if (fd < 1) return VN_E_IDXCREATE;
    uint8_t* page = static_cast<uint8_t*>(globalmalloc(p));
    if (!page) {
        osclose(fd);
        osunlink(f.path);
        return VN_E_MEMORY;
    }
    memcpy(page, hdr, IDX_HDRSIZE);
    bool ok = oswrite(fd, page, p) == p;
    globalmfree(page);
    osclose(fd);
    if (!ok) {
        osunlink(f.path);
        return VN_E_IDXWRITE;
    }
    return 0;
}

int32_t idxopen(IdxFile& f) {
    int32_t fd = static_cast<int32_t>(f.fd);
    uint8_t hdr[IDX_HDRSIZE];
    f.state = nullptr;
    if (!idxreadat(fd, 0, hdr, 8)) return VN_E_IDXREAD;
    uint16_t version = getle16(hdr + H_VERSION);
    if (!idxreadat(fd, 0, hdr, IDX_HDRSIZE)) return VN_E_IDXREAD;
    if (version == IDX_OLDVERSION) return VN_E_IDXOLD;
    if (version != IDX_VERSION) return VN_E_IDXVERSION;

    unsigned keylen[IDX_MAXINDEX];
    int n = fidindexes(f, keylen);
    uint16_t nindex = getle16(hdr + H_NINDEX);
    if (n > IDX_MAXINDEX || nindex != n) return VN_E_IDXFID;
    unsigned maxk = 0;
    for (int i = 0; i < n; i++) {
        unsigned k = hdr[H_KEYLEN + i];
        if (k != keylen[i] || keyreach(f, i) > k) return VN_E_IDXFID;
        if (k > maxk) maxk = k;
    }
    // The page size follows from the longest key; and a page must hold at
    // least four entries of each index, all inside the page.
    uint16_t p = getle16(hdr + H_PAGESIZE);
    if (p != idxpagesize(maxk) || p < IDX_HDRSIZE) return VN_E_IDXFID;
    for (int i = 0; i < n; i++) {
        unsigned k = keylen[i], cap = idxcapacity(p, k);
        if (cap < 4 || PG_PTRS + cap * (k + 4) > p) return VN_E_IDXFID;
    }

    IdxState* st = static_cast<IdxState*>(globalmalloc(sizeof(IdxState)));
    if (!st) return VN_E_MEMORY;
    memset(st, 0, sizeof *st);
    st->version = version;
    spanget(st, hdr);
    st->nindex = nindex;
    st->pagesize = p;
    memcpy(st->keylen, hdr + H_KEYLEN, IDX_MAXINDEX);
    st->cursor = static_cast<IdxCursor*>(globalcalloc(n ? n : 1, sizeof(IdxCursor)));
    bool ok = st->cursor != nullptr;
    for (int i = 0; ok && i < n; i++) {
        memset(&st->cursor[i], 0, sizeof(IdxCursor));
        st->cursor[i].cap = idxcapacity(p, st->keylen[i]);
        st->cursor[i].image = newimage(p, &st->cursor[i].img);
        ok = st->cursor[i].image != nullptr;
    }
    if (ok) st->spare = newimage(p, &st->spareimg);
    if (ok) ok = st->spare != nullptr;
    if (ok) st->keybuf = static_cast<char*>(globalmalloc(maxk + 1));
    if (!ok || !st->keybuf) {
        freestate(st);
        return VN_E_MEMORY;
    }
    memset(st->keybuf, 0, maxk + 1);
    f.state = st;
    return 0;
}

int32_t idxclose(IdxFile& f) {
    int32_t r = fromcache(pgflush(f.fd));
    IdxState* st = f.state;
    if (!st) return r;
    r = idxthen(r, hdrwrite(f));
    freestate(st);
    f.state = nullptr;
    return r;
}

uint32_t idxlockepoch() { return idxstate().lockepoch; }

void idxlockends() {
    uint32_t& epoch = idxstate().lockepoch;
    if (++epoch == 0) epoch = 1;
}

int32_t hdrrefresh(IdxFile& f) {
    const IdxState* st = f.state;
    const uint32_t epoch = idxlockepoch();
    if (st->hdrepoch == epoch && st->lockepoch == epoch) return 0;
    return hdrread(f, 0);
}

int32_t hdrread(IdxFile& f, int whole) {
    IdxState* st = f.state;
    int32_t fd = static_cast<int32_t>(f.fd);
    uint8_t hdr[IDX_HDRSIZE];
    st->hdrepoch = 0;
    if (!whole) {
        if (!idxreadat(fd, IDX_SPANOFF, hdr + IDX_SPANOFF, IDX_SPANSIZE)) return VN_E_IDXREAD;
        spanget(st, hdr);
        if (st->lockepoch == idxlockepoch()) st->hdrepoch = st->lockepoch;
        return 0;
    }
    if (!idxreadat(fd, 0, hdr, IDX_HDRSIZE)) return VN_E_IDXREAD;
    st->version = getle16(hdr + H_VERSION);
    spanget(st, hdr);
    // The geometry was checked at open; a file whose geometry changed
    // under us is not taken on.
    if (getle16(hdr + H_NINDEX) != st->nindex || getle16(hdr + H_PAGESIZE) != st->pagesize ||
        memcmp(hdr + H_KEYLEN, st->keylen, IDX_MAXINDEX) != 0)
        return VN_E_IDXFID;
    if (st->lockepoch == idxlockepoch()) st->hdrepoch = st->lockepoch;
    return 0;
}

int32_t hdrwrite(IdxFile& f) {
    IdxState* st = f.state;
    if (!st->dirty) return 0;
    uint8_t hdr[IDX_HDRSIZE];
    spanput(st, hdr);
    if (!writeat(static_cast<int32_t>(f.fd), IDX_SPANOFF, hdr + IDX_SPANOFF, IDX_SPANSIZE)) return VN_E_IDXWRITE;
    st->dirty = 0;
    return 0;
}

int32_t idxsync(IdxFile& f, int32_t held) {
    if (!f.shared) return held;
    held = idxthen(held, fromcache(pgflush(f.fd)));
    return idxthen(held, hdrwrite(f));
}
