// filelist.cc - builds the list of files to add or delete from the
// patterns by directory search.
#include "compress/filelist.h"

#include <cstdio>
#include <cstring>

#include "compress/cmpstate.h"
#include "support/strutil.h"

int32_t cmpdirlen(const char* path) {
    int32_t n = 0;
    for (int32_t i = 0; path[i]; i++) {
        if (path[i] == '\\' || path[i] == '/' || path[i] == ':') {
            n = i + 1;
        }
    }
    return n;
}

static int32_t addnode(CmpFileList* list, const char* pattern, int32_t dirlen, const char* found,
                       uint32_t size, const uint8_t* dt) {
    char name[13];
    std::snprintf(name, sizeof name, "%s", found);
    lowerstr(name);
    if (cmpinlist(*list, name)) {
        return 0;
    }
    if (list->count + 1 >= CMP_MAXNODES) {
        cmperror(CMP_E_MEMORY);
        return -1;
    }
    CmpNode& n = list->nodes[list->count++];
    std::snprintf(n.path, sizeof n.path, "%.*s%s", static_cast<int>(dirlen), pattern, found);
    std::memcpy(n.name, name, sizeof name);
    std::memcpy(n.datetime, dt, 6);
    n.size = size;
    return 0;
}

int32_t cmpbuildlist(CmpFileList* list, char (*patterns)[CMP_PATHMAX + 1], int32_t npatterns) {
    list->count = 0;
    list->nodes = static_cast<CmpNode*>(globalmalloc(sizeof(CmpNode) * CMP_MAXNODES));
    if (list->nodes == nullptr) {
        cmperror(CMP_E_MEMORY);
        return -1;
    }
    for (int32_t i = 0; i < npatterns; i++) {
        const char* pattern = patterns[i];
        const int32_t dirlen = cmpdirlen(pattern);
        uint32_t size = 0;
        uint8_t dt[6] = {};
        for (char* found = cfindfirst(pattern, 0, &size, dt); found != nullptr;
             found = cfindnext(&size, dt)) {
            if (addnode(list, pattern, dirlen, found, size, dt) != 0) {
                return -1;
            }
        }
    }
    return 0;
}

int32_t cmpinlist(const CmpFileList& list, const char* name) {
    for (int32_t i = 0; i < list.count; i++) {
        if (std::strncmp(list.nodes[i].name, name, 12) == 0) {
            return 1;
        }
    }
    return 0;
}

void cmpfreelist(CmpFileList* list) {
    if (list->nodes != nullptr) {
        globalmfree(list->nodes);
    }
    list->nodes = nullptr;
    list->count = 0;
}
