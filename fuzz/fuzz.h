// fuzz.h - what the fuzz targets share: a private
// folder that hostile inputs are written to, the engine started once per
// process, the record definitions hostile files are opened with, and the
// sound files those definitions give, built through the library itself.
#ifndef VELNOR_FUZZ_FUZZ_H
#define VELNOR_FUZZ_FUZZ_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "velnor.h"

namespace vnfuzz {

// The folder of this process, under $VELNOR_FUZZ_TMP, else /dev/shm, else
// $TMPDIR or /tmp: short and in lower case (the archiver lowers the names it
// is given), made on first use and removed with its contents at exit.
const std::string& dir();
// Full path of name in that folder.
std::string path(const std::string& name);
// Writes bytes to name in the folder, replacing it.
void put(const std::string& name, const void* data, size_t size);
void put(const std::string& name, const std::string& bytes);
// The whole of name in the folder, or "" when it cannot be read.
std::string get(const std::string& name);
// Copies file from to file to, both in the folder; removes to when from
// is missing.
void copy(const std::string& from, const std::string& to);

// Starts the engine the first time; later calls do nothing.
void start();

// Record layouts: ID (10), NAME (20), AMOUNT (8, numeric, right-justified)
// and LINK (5), after a 4-digit length in a variable-length file and a
// 5-digit record number with record numbers.
enum Kind {
    FIXED,    // keys ID and NAME
    VARLEN,   // variable-length records, keys ID and NAME
    RECNO,    // record numbers, keys ID and NAME
    HASHED,   // a hash file on ID
    PLAIN,    // fixed, no keys
    PLAINVAR, // variable-length, no keys
    NKINDS
};
// The text definition of kind.
std::string fidtext(Kind kind);

// A command block on the data file name (in the folder), with a work
// buffer of its own; closed (when open) when it goes.
struct Block {
    explicit Block(const std::string& name);
    ~Block();
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;
    // Blanks the record and puts id, name and amount in it.
    void fill(const std::string& id, const std::string& name, const std::string& amount = "1");
    // Finds the record whose ID is id by key 1, reads it and deletes it:
    // vfhdelete's result, or -1 when the record was not found.
    int32_t remove(const std::string& id);
    FHCB cb{};
    char work[257] = {};
};

// Builds name.fid, name.dat and its index or hash file of kind: records
// K01.. Kn, with every fourth one deleted.  False when a step failed.
bool build(Kind kind, const std::string& name, int n);

// The keyword index kw.fid, kw.dat, kw.idx and its posting file kw.pst:
// a few words over values 1..9.  False when a step failed.
bool buildkeyword();

}  // namespace vnfuzz

#endif
