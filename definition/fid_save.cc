// fid_save.cc - writing a loaded definition back out, in the binary form
// (items, keys and threads) or the text form (items and keys), so that the
// loader reads back the same tables.
#include <cstdio>
#include <cstring>

#include "definition/fidload.h"

namespace {

enum { NAMESIZE = 10, WRITEFLAGS = VN_O_WRONLY | VN_O_CREAT | VN_O_TRUNC | VN_O_BINARY };

void put16(unsigned char* p, uint32_t v) {
    p[0] = static_cast<unsigned char>(v);
    p[1] = static_cast<unsigned char>(v >> 8);
}

void put32(unsigned char* p, uint32_t v) {
    put16(p, v);
    put16(p + 2, v >> 16);
}

// The key length as declared, before the load-time adjustment.
uint32_t declaredlen(const FHCB* cb, int k) {
    uint32_t len = cb->keys[k].keylen;
    if (cb->fflags & VN_FF_RECNO) return len - 5;
    return k > 0 ? len - cb->keys[0].keylen : len;
}

uint32_t fileflags(const FHCB* cb) {
    return ((cb->fflags & VN_FF_VARLEN) ? 1u : 0u) | ((cb->fflags & VN_FF_HASHED) ? 2u : 0u) |
           ((cb->fflags & VN_FF_RECNO) ? 128u : 0u);
}

// A name the binary form can hold: 1-10 bytes, no trailing blank.
bool binname(const char* name) {
    size_t n = name != nullptr ? std::strlen(name) : 0;
    return n >= 1 && n <= NAMESIZE && name[n - 1] != ' ';
}

// A name the text form can hold: no comma, no leading blank.
bool textname(const char* name) {
    return name != nullptr && std::strchr(name, ',') == nullptr && name[0] != ' ' &&
           name[0] != '\t' && std::strlen(name) < 100;
}

void padname(unsigned char* p, const char* name) {
    std::memset(p, ' ', NAMESIZE);
    std::memcpy(p, name, std::strlen(name));
}

// The link item of thread t by its upper-case name, or null.
const char* linkname(const FHCB* cb, const FidThread& t) {
    for (uint32_t i = 0; i < cb->nitems; ++i) {
        const char* name = cb->items[i].name;
        if (cb->items[i].offset != t.thoff) continue;
        bool upper = true;
        for (const char* c = name; *c != '\0'; ++c)
            if (*c >= 'a' && *c <= 'z') upper = false;
        if (upper && std::strchr(name, ' ') == nullptr) return name;
    }
    return nullptr;
}

bool binfits(const FHCB* cb) {
    if (cb->reclen < 10 || (cb->nitems > 0 && cb->items == nullptr)) return false;
    if (cb->nkeys < 0 || (cb->nkeys > 0 && cb->keys == nullptr)) return false;
    if (cb->nthreads > 0 && cb->threads == nullptr) return false;
    for (uint32_t i = 0; i < cb->nitems; ++i)
        if (!binname(cb->items[i].name) || cb->items[i].offset == 0) return false;
    for (int k = 0; k < cb->nkeys; ++k)
        if (!binname(cb->keys[k].name)) return false;
    for (uint32_t t = 0; t < cb->nthreads; ++t)
        if (linkname(cb, cb->threads[t]) == nullptr) return false;
    return true;
}

int32_t finish(int32_t s, bool ok) {
    int32_t flushed = fastclose(s);
    return ok && flushed == 0 ? 0 : -1;
}

}  // namespace

int32_t savefidbin(const FHCB* cb, const char* path) {
    if (!binfits(cb)) return -1;
    int32_t s = fastopen(path, WRITEFLAGS, 0666);
    if (s < 0) return -1;
    unsigned char h[20] = {'T', 'K', 'F', 0};
    put16(h + 4, 608);
    put16(h + 6, cb->reclen - 2u);
    put16(h + 8, cb->nitems);
    put16(h + 10, static_cast<uint32_t>(cb->nkeys));
    put32(h + 12, cb->hashrecs);
    put16(h + 16, cb->nthreads);
    put16(h + 18, fileflags(cb));
    bool ok = fastwrite(s, h, sizeof h) == 0;
    for (uint32_t i = 0; ok && i < cb->nitems; ++i) {
        const FidItem& it = cb->items[i];
        unsigned char r[20];
        padname(r, it.name);
        r[10] = static_cast<unsigned char>(it.type);
        r[11] = static_cast<unsigned char>(it.just);
        put16(r + 12, it.offset - 1u);
        put16(r + 14, it.length);
        put16(r + 16, it.occurs);
        put16(r + 18, it.order);
        ok = fastwrite(s, r, sizeof r) == 0 && fastputs(s, "\r\n") != nullptr;
    }
    for (int k = 0; ok && k < cb->nkeys; ++k) {
        const FidKey& key = cb->keys[k];
        unsigned char r[84] = {};
        padname(r, key.name);
        r[10] = static_cast<unsigned char>(declaredlen(cb, k));
        r[11] = key.nsegs;
        for (int g = 0; g < FID_MAXSEGS; ++g) {
            put16(r + 12 + 4 * g, key.seg[g].segoff);
            r[14 + 4 * g] = key.seg[g].seglen;
            r[15 + 4 * g] = key.seg[g].segflags;
        }
        ok = fastwrite(s, r, sizeof r) == 0;
    }
    for (uint32_t t = 0; ok && t < cb->nthreads; ++t) {
        ok = fastputs(s, linkname(cb, cb->threads[t])) != nullptr && fastputs(s, "\r\n") &&
             fastputs(s, cb->threads[t].expr) != nullptr && fastputs(s, "\r\n") != nullptr;
    }
    return finish(s, ok);
}

int32_t savefidtext(const FHCB* cb, const char* path) {
    if (cb->nthreads > 0 || cb->reclen < 10 || cb->nkeys < 0) return -1;
    for (uint32_t i = 0; i < cb->nitems; ++i)
        if (cb->items == nullptr || !textname(cb->items[i].name)) return -1;
    for (int k = 0; k < cb->nkeys; ++k)
        if (cb->keys == nullptr || !textname(cb->keys[k].name)) return -1;
    int32_t s = fastopen(path, WRITEFLAGS, 0666);
    if (s < 0) return -1;
    char line[256];
    std::snprintf(line, sizeof line,
                  "TKF FID v7.0\r\nRecLen = %u\r\nNItems = %u\r\nNKeys = %d\r\nFlags = %u\r\n"
                  "HashRecs = %u\r\n",
                  cb->reclen - 2u, cb->nitems, cb->nkeys, fileflags(cb), cb->hashrecs);
    bool ok = fastputs(s, line) != nullptr;
    for (uint32_t i = 0; ok && i < cb->nitems; ++i) {
        const FidItem& it = cb->items[i];
        std::snprintf(line, sizeof line, "Item = %s,'%c','%c',%u,%u,%u,%u,\r\n", it.name,
                      it.type != '\0' ? it.type : ' ', it.just != '\0' ? it.just : ' ',
                      it.offset - 1u, it.length, it.occurs, it.order);
        ok = fastputs(s, line) != nullptr;
    }
    for (int k = 0; ok && k < cb->nkeys; ++k) {
        const FidKey& key = cb->keys[k];
        std::snprintf(line, sizeof line, "Key = %s,%u,%u\r\n", key.name, declaredlen(cb, k),
                      key.nsegs);
        ok = fastputs(s, line) != nullptr;
        for (int g = 0; ok && g < key.nsegs && g < FID_MAXSEGS; ++g) {
            std::snprintf(line, sizeof line, "%u,%u,%u\r\n", key.seg[g].segoff,
                          key.seg[g].seglen, key.seg[g].segflags);
            ok = fastputs(s, line) != nullptr;
        }
    }
    return finish(s, ok);
}
