// hash_support.h - a hashed record file set up at the hash layer itself:
// definition, hash file, data file with its header record, record buffer.
#ifndef VELNOR_TESTS_ENGINE_HASH_SUPPORT_H
#define VELNOR_TESTS_ENGINE_HASH_SUPPORT_H

#include <string>

#include "common/engine.h"

namespace vntest {

// Records of 20 bytes: CODE (8 bytes, the key) and REST (12 bytes).
class HashFile {
   public:
    HashFile(const TempDir& dir, uint32_t hashrecs, const char* keyflags = "0");
    ~HashFile();
    HashFile(const HashFile&) = delete;
    HashFile& operator=(const HashFile&) = delete;
    // Fills the record buffer with code and rest.
    void fill(const std::string& code, const std::string& rest);
    // Puts code into the key buffer (blank-padded to 8).
    void setkey(const std::string& code);
    int32_t write(const std::string& code, const std::string& rest);
    // hshread of code: 1 found, 0 not found, -1 failure.
    int32_t find(const std::string& code);
    int32_t remove(const std::string& code);
    std::string rest() const { return std::string(cb().recbuf + 9, 12); }
    FHCB& cb() const { return def_.cb; }
    std::string hshname, datname;
    bool opened = false;

   private:
    mutable Loaded def_;
    std::string buf_;
};

}  // namespace vntest

#endif
