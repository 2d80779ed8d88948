// os_test.cc - the file, lock and memory layer on real files: bad paths,
// byte locks between handles, sizes that overflow, and date bytes through
// the file time.
#include <gtest/gtest.h>

#include <string>

#include "support/os.h"
#include "common/files.h"
#include "velnor.h"

namespace {

class Os : public vntest::TmpDirTest {};

}  // namespace

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

TEST(Memory, SizesThatOverflowAreRefused) {
    void* z1 = globalmalloc(0);  // a valid unique block
    void* z2 = globalcalloc(0, 16);
    ASSERT_NE(z1, nullptr);
    EXPECT_NE(z1, z2);
    globalmfree(z1);
    globalmfree(z2);
    EXPECT_EQ(globalcalloc(0x10000, 0x10000), nullptr);  // the product overflows
    EXPECT_EQ(globalhcalloc(0x10000, 0x10000), nullptr);
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
