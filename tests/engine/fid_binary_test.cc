// fid_binary_test.cc - the binary definition form: its bytes on disk, round
// trips through both writers, threads and their link items, and truncated
// and patched files (randomly damaged ones are the fuzz target's).
#include <gtest/gtest.h>

#include <cstring>

#include "common/engine.h"

using namespace vntest;

namespace {

const char* kThreaded =
    "TKF FID v7.0\nRecLen = 30\nNItems = 3\nNKeys = 1\nFlags = 1\nItem = CODE,'C','L',0,8,1,0,\n"
    "Item = LINK,'C','L',8,4,1,1,\nItem = QTY,'N','R',12,5,1,2,\nKey = CODE,8,1\n0,8,0\n";

class FidBinary : public ::testing::Test {
   protected:
    TempDir dir;
    // Loads kThreaded, adds a thread on LINK and writes the binary form.
    std::string threadedbinary() {
        Loaded def;
        EXPECT_EQ(def.loadtext(dir, kThreaded), 0);
        EXPECT_EQ(fidaddthread(&def.cb, "link", "QTY > 100"), 0);
        EXPECT_EQ(savefidbin(&def.cb, dir.path("b.fid").c_str()), 0);
        return readfile(dir.path("b.fid"));
    }
    // 0 when bytes load into def, else the status of the failure.
    int loadbytes(Loaded* def, const std::string& bytes) { return failedwith(def->loadtext(dir, bytes), def->cb); }
};

TEST_F(FidBinary, BytesOnDisk) {
    std::string b = threadedbinary();
    // Header: magic, version 608, record length without status byte and
    // newline, items, keys, hashed records, threads, flags (variable-length).
    // Then the first item record: blank-padded name, type, justification,
    // 0-based offset, length, occurrences and order.
    EXPECT_EQ(hex(b.substr(0, 40)), cat("544b4600", "6002", "1e00", "0300", "0100", "00000000", "0100", "0100",
                                        hex("CODE      "), "434c", "0000", "0800", "0100", "0000"));
    const size_t keyat = b.size() - 84 - 17;
    EXPECT_EQ(b.substr(keyat, 12), "CODE      \x08\x01");  // declared length, one segment
    EXPECT_EQ(b.substr(b.size() - 17), "LINK\r\nQTY > 100\r\n");
}

// Copies of the threaded binary with one field patched: where (in the
// header, the LINK item record or the key record), the little-endian value
// of the given width, and the status the load must give (0: it loads).
TEST_F(FidBinary, PatchedDefinitions) {
    const std::string b = threadedbinary();
    const size_t link = 20 + 22, key = b.size() - 84 - 17;
    ASSERT_EQ(b.substr(link, 4), "LINK");
    const struct {
        size_t at;
        int width;
        uint32_t value;
        int status;
    } patches[] = {
        {4, 2, 607, VN_E_FIDVERSION},          {1, 1, 'X', VN_E_FIDVERSION},
        {6, 2, 7, VN_E_RECLEN},                {10, 1, 200, VN_E_FIDREAD},  // keys
        {8, 2, 65535, VN_E_FIDREAD},           // items
        {link + 12, 2, 7, VN_E_THRFIRST8},     {link + 12, 2, 8, 0},
        {link + 14, 2, 3, VN_E_THRSHORT},      {key + 11, 1, 19, VN_E_FIDREAD},  // segments
        {key + 12, 2, 25, VN_E_FIDREAD},       // 8 bytes from 25 run past the record
    };
    for (const auto& p : patches) {
        SCOPED_TRACE(p.at);
        std::string x = b;
        x[p.at] = static_cast<char>(p.value);
        if (p.width == 2) x[p.at + 1] = static_cast<char>(p.value >> 8);
        Loaded def;
        EXPECT_EQ(loadbytes(&def, x), p.status);
    }
    // A flag bit from 7 upward means record numbers.
    std::string recno = b;
    recno[19] = 0x01;
    Loaded def;
    ASSERT_EQ(loadbytes(&def, recno), 0);
    EXPECT_EQ(+def.cb.fflags & VN_FF_RECNO, VN_FF_RECNO);
    EXPECT_EQ(def.cb.keys[0].keylen, 13);
    // The link line names an item; it is cut at its first blank.
    const size_t line = b.rfind("LINK\r\n");
    EXPECT_EQ(loadbytes(&def, std::string(b).replace(line, 4, "LONK")), VN_E_FIDREAD);
    EXPECT_EQ(loadbytes(&def, std::string(b).replace(line, 4, "link junk")), 0);
    EXPECT_EQ(def.cb.threads[0].thoff, 8 + 1);
}

// Every prefix of a valid file fails with 7, or loads when only the tail
// of the last expression line is missing; nothing reads past the end.
TEST_F(FidBinary, EveryTruncationIsRefusedOrHarmless) {
    const std::string b = threadedbinary();
    const size_t exprat = b.size() - std::strlen("QTY > 100\r\n");
    for (size_t n = 0; n < b.size(); ++n) {
        Loaded def;
        EXPECT_EQ(loadbytes(&def, b.substr(0, n)), n > exprat ? 0 : VN_E_FIDREAD) << n;
    }
}

// Random definitions survive text -> tables -> binary -> tables and
// tables -> text -> tables unchanged: the tables read back write the same
// binary form.
TEST_F(FidBinary, RoundTripsOfRandomDefinitions) {
    std::mt19937 rng(11);
    for (int round = 0; round < 150; ++round) {
        std::string text = randomfid(rng);
        Loaded a;
        ASSERT_EQ(a.loadtext(dir, text), 0) << text;
        const std::string bin = dir.path("r.bin"), txt = dir.path("r.txt"), again = dir.path("again.bin");
        ASSERT_EQ(savefidbin(&a.cb, bin.c_str()), 0) << text;
        ASSERT_EQ(savefidtext(&a.cb, txt.c_str()), 0) << text;
        for (const std::string& path : {bin, txt}) {
            Loaded b;
            ASSERT_EQ(b.load(path), 0) << text;
            ASSERT_EQ(savefidbin(&b.cb, again.c_str()), 0);
            EXPECT_EQ(hex(readfile(again)), hex(readfile(bin))) << path << "\n" << text;
        }
    }
}

}  // namespace
