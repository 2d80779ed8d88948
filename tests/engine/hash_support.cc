// hash_support.cc - a hashed file driven straight through the hash layer.
#include "hash_support.h"

#include "index/hash.h"
#include "index/idxfile.h"
#include "support/os.h"

namespace vntest {

HashFile::HashFile(const TempDir& dir, uint32_t hashrecs, const char* keyflags)
    : hshname(dir.path("h.hsh")), datname(dir.path("h.dat")) {
    std::string fid = "TKF FID v7.0\nRecLen=20\nNItems=2\nNKeys=1\nFlags=2\nHashRecs=" +
                      std::to_string(hashrecs) +
                      "\nItem=CODE,'C','L',0,8,1,0,\nItem=REST,'C','L',8,12,1,1,\n"
                      "Key=CODE,8,1\n0,8," + keyflags + "\n";
    EXPECT_EQ(def_.loadtext(dir, fid), 0);
    FHCB& c = def_.cb;
    std::snprintf(c.idxname, sizeof c.idxname, "%s", hshname.c_str());
    EXPECT_EQ(hshcreate(&c), 0);
    std::string header = " 00000001" + std::string(c.reclen - 10, ' ') + "\n";
    writefile(datname, header);
    c.datfd = static_cast<uint32_t>(osopen(datname.c_str(), VN_O_RDWR | VN_O_BINARY, 0));
    c.idxfd = static_cast<uint32_t>(osopen(hshname.c_str(), VN_O_RDWR | VN_O_BINARY, 0));
    c.nrecs = 1;
    c.nettype = 0;
    buf_.assign(c.reclen + 8u, ' ');
    c.recbuf = buf_.data();
    opened = hshopen(&c) == 0;
    EXPECT_TRUE(opened);
}

HashFile::~HashFile() {
    FHCB& c = def_.cb;
    if (c.index != nullptr) idxclose(&c);
    osclose(static_cast<int32_t>(c.datfd));
    osclose(static_cast<int32_t>(c.idxfd));
    c.recbuf = nullptr;
}

void HashFile::fill(const std::string& code, const std::string& rest) {
    std::string r = " " + code;
    r.resize(9, ' ');
    r += rest;
    r.resize(cb().reclen - 1u, ' ');
    r += '\n';
    r.copy(cb().recbuf, r.size());
}

void HashFile::setkey(const std::string& code) {
    std::string k = code;
    k.resize(8, ' ');
    k.copy(cb().index->keybuf, 8);
    cb().index->keybuf[8] = '\0';
}

int32_t HashFile::write(const std::string& code, const std::string& rest) {
    fill(code, rest);
    return hshwrite(&cb());
}

int32_t HashFile::find(const std::string& code) {
    setkey(code);
    if (hshread(&cb()) != 0) return -1;
    return (cb().hashstate & HS_FOUND) ? 1 : 0;
}

int32_t HashFile::remove(const std::string& code) {
    fill(code, "");
    return hshdelete(&cb());
}

}  // namespace vntest
