// filelist.h - the list of files named by the patterns of an add or
// delete: one node per distinct file name found on disk.
#ifndef VELNOR_COMPRESS_FILELIST_H
#define VELNOR_COMPRESS_FILELIST_H

#include <cstdint>

constexpr int32_t CMP_PATHMAX = 260;
constexpr int32_t CMP_MAXNODES = 4000;

struct CmpNode {
    char path[CMP_PATHMAX + 1];  // directory of the pattern + name
    char name[13];               // lower case, cut to 12
    uint8_t datetime[6];
    uint32_t size;
};

struct CmpFileList {
    CmpNode* nodes;  // global memory, CMP_MAXNODES slots
    int32_t count;
};

// Fills list with the plain files every pattern finds, skipping a
// name already listed.  0, or -1 after reporting error 1 (no memory, or the
// list reaching CMP_MAXNODES).
int32_t cmpbuildlist(CmpFileList* list, char (*patterns)[CMP_PATHMAX + 1], int32_t npatterns);
// 1 when the list holds a node called name (compared as lower case).
int32_t cmpinlist(const CmpFileList& list, const char* name);
// Frees the nodes.
void cmpfreelist(CmpFileList* list);

// Length of the directory part of path: up to and including its last
// "\\", "/" or ":" (0 when there is none).
int32_t cmpdirlen(const char* path);

#endif
