// fileutil.cc - companion file names and definition release for the open,
// create and close handlers.
#include "engine/fileutil.h"

#include <cstring>

#include "definition/fid.h"
#include "definition/keys.h"

namespace {
constexpr size_t kNameField = 261;
}

bool fhnamefits(const char* field) { return std::memchr(field, '\0', kNameField) != nullptr; }

int32_t fhderive(const FHCB* cb, char* dest, const char* ext) {
    size_t len = strnlen(cb->datname, kNameField);
    if (len + std::strlen(ext) >= kNameField) return -1;
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
