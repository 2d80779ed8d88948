// fileutil.cc - companion file names and definition release for the open,
// create and close handlers.
#include "engine/fileutil.h"

#include <cstring>

#include "definition/fid.h"
#include "definition/keys.h"
#include "support/limits.h"

bool fhnamefits(const char* field) { return std::memchr(field, '\0', FH_NAMESIZE) != nullptr; }

int32_t fhderive(const FHCB* cb, char* dest, const char* ext) {
    size_t len = strnlen(cb->datname, FH_NAMESIZE);
    if (len + std::strlen(ext) >= FH_NAMESIZE) return -1;
    setext(cb->datname, dest, ext);
    return 0;
}

void fhforgetfid(FHCB* cb) {
    cb->items = nullptr;
    cb->keys = nullptr;
    cb->threads = nullptr;
}

void fhdropfid(FHCB* cb) {
    freefid(cb);
    fhforgetfid(cb);
}
