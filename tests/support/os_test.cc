// os_test.cc - the file and lock layer on real files: byte locks between
// handles, and date bytes through the file time.
#include <gtest/gtest.h>

#include <string>

#include "support/os.h"
#include "common/files.h"
#include "velnor.h"

namespace {

constexpr uint32_t kUpdate = VN_O_BINARY | VN_O_RDWR;

class Os : public vntest::TmpDirTest {};

std::string bytes(const uint8_t* dt) { return std::string(reinterpret_cast<const char*>(dt), 6); }

}  // namespace

TEST_F(Os, LocksBelongToTheirHandle) {
    const std::string f = path("lock.dat");
    writefile("lock.dat", std::string(100, ' '));
    const int32_t a = osopen(f.c_str(), kUpdate, 0), b = osopen(f.c_str(), kUpdate, 0);
    ASSERT_TRUE(a >= 1 && b >= 1);
    EXPECT_EQ(oslock(a, 10, 1), 0);
    EXPECT_EQ(oslock(b, 10, 1), -1);  // the same process, another handle
    EXPECT_EQ(oslock(b, 11, 1), 0);   // the next byte is free
    EXPECT_EQ(oslock(a, 11, 1), -1);
    EXPECT_EQ(oslock(b, 0, 20), -1);  // a range over a held byte
    EXPECT_EQ(osunlock(a, 10, 1), 0);
    EXPECT_EQ(oslock(b, 10, 1), 0);
    EXPECT_EQ(oslock(a, 10, 1), -1);
    // Closing a third handle drops nothing of b's.
    EXPECT_EQ(osclose(osopen(f.c_str(), kUpdate, 0)), 0);
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

TEST_F(Os, DateBytesRoundTripThroughTheFileTime) {
    writefile("t", "x");
    const std::string f = path("t");
    const uint8_t times[2][6] = {{80, 1, 1, 0, 0, 0}, {123, 7, 15, 13, 45, 58}};
    for (const auto& when : times) {
        ASSERT_EQ(ossettime(f.c_str(), when), 0);
        uint32_t size = 0, found = 0;
        uint8_t dt[6], founddt[6];
        ASSERT_EQ(osstat(f.c_str(), &size, dt), 0);
        ASSERT_NE(cfindfirst(f.c_str(), 0, &found, founddt), nullptr);
        EXPECT_EQ(bytes(dt) + bytes(founddt) + std::to_string(size), bytes(when) + bytes(when) + "1");
    }
}
