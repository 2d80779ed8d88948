// os_test.cc - the file, lock, memory and directory layer on real files:
// open flags, byte locks between handles, zero and odd sizes, directory
// search with its 8.3 name buffer and date bytes, and bad paths.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

#include "support/dostime.h"
#include "support/os.h"
#include "tmpdir.h"
#include "velnor.h"

namespace {

class Os : public TmpDirTest {};

std::set<std::string> findall(const std::string& pattern, int withdirs) {
    std::set<std::string> names;
    uint32_t size;
    uint8_t dt[6];
    for (char* n = cfindfirst(pattern.c_str(), withdirs, &size, dt); n != nullptr; n = cfindnext(&size, dt))
        names.insert(n);
    return names;
}

}  // namespace

TEST_F(Os, OpenFlags) {
    std::string f = path("a.dat");
    EXPECT_EQ(osopen(f.c_str(), 0x8000, 0), -1);  // missing
    int32_t h = osopen(f.c_str(), 0x8102, 511);    // create, keep contents
    ASSERT_GE(h, 1);
    EXPECT_EQ(oswrite(h, "hello", 5), 5);
    EXPECT_EQ(osfilesize(h), 5);
    EXPECT_EQ(osclose(h), 0);
    h = osopen(f.c_str(), 0x8102, 511);
    EXPECT_EQ(osfilesize(h), 5);
    EXPECT_EQ(osseek(h, 0, 2), 5);
    EXPECT_EQ(osseek(h, -2, 1), 3);
    char buf[8] = {};
    EXPECT_EQ(osread(h, buf, 8), 2);
    EXPECT_STREQ(buf, "lo");
    EXPECT_EQ(osread(h, buf, 8), 0);
    EXPECT_EQ(osseek(h, 0, 7), -1);
    EXPECT_EQ(osseek(h, -1, 0), -1);
    osclose(h);
    h = osopen(f.c_str(), 0x8312, 511);  // create or truncate, exclusive
    EXPECT_EQ(osfilesize(h), 0);
    osclose(h);
    h = osopen(f.c_str(), 0x8000, 0);  // read only: writes fail
    EXPECT_EQ(oswrite(h, "x", 1), -1);
    EXPECT_EQ(osflush(h), 0);
    osclose(h);
    h = oscreat(f.c_str(), 511);
    EXPECT_GE(h, 1);
    osclose(h);
    EXPECT_EQ(fshare("ignored", 0x8000), 0x8040u);
    EXPECT_EQ(funshare(nullptr, 0x8302), 0x8312u);
}

TEST_F(Os, BadPaths) {
    EXPECT_EQ(osopen(nullptr, 0, 0), -1);
    EXPECT_EQ(osopen("", 0x8302, 511), -1);
    std::string longname = path(std::string(300, 'x'));
    EXPECT_EQ(osopen(longname.c_str(), 0x8302, 511), -1);
    EXPECT_EQ(osunlink(nullptr), -1);
    EXPECT_EQ(osunlink(path("missing").c_str()), -1);
    EXPECT_EQ(osrename(path("missing").c_str(), path("b").c_str()), -1);
    EXPECT_EQ(osrename(nullptr, "x"), -1);
    EXPECT_EQ(osstat(nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(osstat(path("missing").c_str(), nullptr, nullptr), -1);
    EXPECT_EQ(osclose(-1), -1);
    EXPECT_EQ(makedir(nullptr), -1);
    EXPECT_EQ(removdir(nullptr), -1);
    EXPECT_EQ(cfindfirst(nullptr, 1, nullptr, nullptr), nullptr);
    EXPECT_EQ(cfindfirst("", 1, nullptr, nullptr), nullptr);
    EXPECT_EQ(cfindfirst(longname.c_str(), 1, nullptr, nullptr), nullptr);
}

TEST_F(Os, RenameAndUnlink) {
    writefile("a", "1");
    EXPECT_EQ(osrename(path("a").c_str(), path("b").c_str()), 0);
    EXPECT_EQ(readfile("b"), "1");
    EXPECT_EQ(osunlink(path("b").c_str()), 0);
    EXPECT_EQ(osopen(path("b").c_str(), 0, 0), -1);
}

TEST_F(Os, LocksBelongToTheirHandle) {
    std::string f = path("lock.dat");
    writefile("lock.dat", std::string(100, ' '));
    int32_t a = osopen(f.c_str(), 0x8002, 0);
    int32_t b = osopen(f.c_str(), 0x8002, 0);
    ASSERT_GE(a, 1);
    ASSERT_GE(b, 1);
    EXPECT_EQ(oslock(a, 10, 1), 0);
    EXPECT_EQ(oslock(b, 10, 1), -1);  // the same process, another handle
    EXPECT_EQ(oslock(b, 11, 1), 0);   // the next byte is free
    EXPECT_EQ(oslock(a, 11, 1), -1);
    EXPECT_EQ(oslock(b, 0, 20), -1);  // a range over a held byte
    EXPECT_EQ(osunlock(a, 10, 1), 0);
    EXPECT_EQ(oslock(b, 10, 1), 0);
    EXPECT_EQ(oslock(a, 10, 1), -1);
    // Closing a third handle drops nothing of b's.
    int32_t c = osopen(f.c_str(), 0x8002, 0);
    EXPECT_EQ(osclose(c), 0);
    EXPECT_EQ(oslock(a, 10, 1), -1);
    EXPECT_EQ(oslock(a, 11, 1), -1);
    // Closing b drops its locks.
    EXPECT_EQ(osclose(b), 0);
    EXPECT_EQ(oslock(a, 10, 2), 0);
    // Locks beyond the end of the file and zero lengths.
    EXPECT_EQ(oslock(a, 0xFFFFFF00u, 1), 0);
    EXPECT_EQ(oslock(a, 50, 0), 0);
    osclose(a);
}

TEST_F(Os, ReadOnlyHandleLocksAgainstWriters) {
    std::string f = path("ro.dat");
    writefile("ro.dat", "xxxx");
    int32_t r = osopen(f.c_str(), 0x8040, 0);
    int32_t w = osopen(f.c_str(), 0x8002, 0);
    EXPECT_EQ(oslock(r, 0, 1), 0);
    EXPECT_EQ(oslock(w, 0, 1), -1);
    EXPECT_EQ(osunlock(r, 0, 1), 0);
    EXPECT_EQ(oslock(w, 0, 1), 0);
    EXPECT_EQ(oslock(r, 0, 1), -1);
    osclose(r);
    osclose(w);
}

TEST(Memory, FixedBlocks) {
    char* p = static_cast<char*>(globalmalloc(1000));
    ASSERT_NE(p, nullptr);
    for (int i = 0; i < 1000; ++i) ASSERT_EQ(p[i], 0);
    EXPECT_EQ(globalmfree(p), nullptr);
    void* z1 = globalmalloc(0);  // a valid unique block
    void* z2 = globalcalloc(0, 16);
    ASSERT_NE(z1, nullptr);
    ASSERT_NE(z2, nullptr);
    EXPECT_NE(z1, z2);
    globalmfree(z1);
    globalmfree(z2);
    EXPECT_EQ(globalmfree(nullptr), nullptr);
    int* q = static_cast<int*>(globalcalloc(10, sizeof(int)));
    for (int i = 0; i < 10; ++i) EXPECT_EQ(q[i], 0);
    globalmfree(q);
    EXPECT_EQ(globalcalloc(0x10000, 0x10000), nullptr);  // the product overflows
}

TEST(Memory, MoveableBlocks) {
    void* h = globalhcalloc(64, 8);
    ASSERT_NE(h, nullptr);
    char* p = static_cast<char*>(globalhlock(h));
    ASSERT_NE(p, nullptr);
    for (int i = 0; i < 512; ++i) ASSERT_EQ(p[i], 0);
    memset(p, 'a', 512);
    globalhunlock(h);
    p = static_cast<char*>(globalhlock(h));
    EXPECT_EQ(p[511], 'a');
    EXPECT_EQ(globalhfree(h), nullptr);
    void* z = globalhalloc(0);
    EXPECT_NE(z, nullptr);
    globalhfree(z);
    EXPECT_EQ(globalhlock(nullptr), nullptr);
    globalhunlock(nullptr);
    EXPECT_EQ(globalhfree(nullptr), nullptr);
    EXPECT_EQ(globalhcalloc(0x10000, 0x10000), nullptr);
    EXPECT_EQ(globalcompact(1, 2), 0);
    globalsettle();
}

TEST(Clock, BusyWaitWaitsAtLeastTheTime) {
    uint32_t t0 = ostickcount();
    osbusywait(30);
    EXPECT_GE(ostickcount() - t0, 30u);
    osbusywait(0);
}

TEST_F(Os, MakeAndRemoveDirectories) {
    // A path must fit the 68-byte buffer; relative paths keep this short.
    std::string name = "d";
    std::string full = path(name);
    if (full.size() <= 67) {
        EXPECT_EQ(makedir(full.c_str()), 0);
        EXPECT_EQ(makedir(full.c_str()), -1);  // exists
        EXPECT_EQ(removdir(full.c_str()), 0);
        EXPECT_EQ(removdir(full.c_str()), -1);
    }
    std::string longpath = full + "/" + std::string(80, 'x');
    EXPECT_EQ(makedir(longpath.c_str()), -1);
    EXPECT_EQ(removdir(longpath.c_str()), -1);
    std::string at67 = std::string(67, 'y');
    std::string at68 = std::string(68, 'y');
    EXPECT_EQ(makedir(at68.c_str()), -1);
    (void)at67;
}

TEST_F(Os, DirectorySearch) {
    writefile("one.txt", "1");
    writefile("two.dat", "22");
    writefile("noext", "333");
    writefile("Upper.TXT", "4");
    writefile("a-name-too-long.txt", "5");  // 19 characters: skipped
    writefile("fourteen.chars", "6");         // exactly 14: kept
    std::filesystem::create_directory(dir_ / "sub");
    std::filesystem::create_directory(dir_ / "thirteen.char");  // 13 + "\\" fits
    std::filesystem::create_directory(dir_ / "fourteen.dirs");  // 13 too
    std::filesystem::create_directory(dir_ / "fourteen.dirxx");  // 14 + "\\" does not

    std::string d = path("");
    std::set<std::string> files = {"one.txt", "two.dat", "noext", "Upper.TXT", "fourteen.chars"};
    EXPECT_EQ(findall(d + "*.*", 0), files);
    EXPECT_EQ(findall(d + "*", 0), files);
    std::set<std::string> all = files;
    for (const char* n : {"sub\\", "thirteen.char\\", "fourteen.dirs\\", ".\\", "..\\"}) all.insert(n);
    EXPECT_EQ(findall(d + "*.*", 1), all);
    EXPECT_EQ(findall(d + "*.txt", 0), (std::set<std::string>{"one.txt", "Upper.TXT"}));
    EXPECT_EQ(findall(d + "t?o.*", 0), (std::set<std::string>{"two.dat"}));
    EXPECT_EQ(findall(d + "noext.*", 0), (std::set<std::string>{"noext"}));
    EXPECT_TRUE(findall(d + "*.xyz", 1).empty());
    EXPECT_EQ(cfindnext(nullptr, nullptr), nullptr);  // the search is over
    EXPECT_TRUE(findall(path("nodir/*.*"), 1).empty());

    uint32_t size = 0;
    uint8_t dt[6] = {};
    char* n = cfindfirst((d + "two.dat").c_str(), 0, &size, dt);
    ASSERT_NE(n, nullptr);
    EXPECT_STREQ(n, "two.dat");
    EXPECT_EQ(size, 2u);
    EXPECT_GE(dt[0], 120);  // written after 2020
}

TEST_F(Os, DateBytesRoundTripThroughTheFileTime) {
    writefile("t", "x");
    std::string f = path("t");
    const uint8_t start[6] = {80, 1, 1, 0, 0, 0};
    ASSERT_EQ(ossettime(f.c_str(), start), 0);
    uint32_t size;
    uint8_t dt[6];
    ASSERT_EQ(osstat(f.c_str(), &size, dt), 0);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(dt), 6), std::string(reinterpret_cast<const char*>(start), 6));
    EXPECT_EQ(size, 1u);
    char* n = cfindfirst(f.c_str(), 0, &size, dt);
    ASSERT_NE(n, nullptr);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(dt), 6), std::string(reinterpret_cast<const char*>(start), 6));
    const uint8_t later[6] = {123, 7, 15, 13, 45, 58};
    ASSERT_EQ(ossettime(f.c_str(), later), 0);
    ASSERT_EQ(osstat(f.c_str(), nullptr, dt), 0);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(dt), 6), std::string(reinterpret_cast<const char*>(later), 6));
}

TEST(DosTime, PackingClampsAndDropsTheOddSecond) {
    uint8_t b[6];
    dosbytes(1995, 6, 30, 23, 59, 59, b);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(b), 6), std::string("\x5F\x06\x1E\x17\x3B\x3A", 6));
    dosbytes(1970, 5, 5, 5, 5, 5, b);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(b), 6), std::string("\x50\x01\x01\x00\x00\x00", 6));
    dosbytes(2200, 5, 5, 5, 5, 5, b);
    EXPECT_EQ(b[0], 207);
    EXPECT_EQ(b[5], 58);
    uint16_t d, t;
    dospack(2003, 2, 1, 10, 20, 31, &d, &t);
    EXPECT_EQ(d, ((2003 - 1980) << 9) | (2 << 5) | 1);
    EXPECT_EQ(t, (10 << 11) | (20 << 5) | 15);
}
