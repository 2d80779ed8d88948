// os_test.cc - the file and lock layer on real files: byte locks between
// handles, date bytes through the file time, and mapped reads of a file
// cut short under them.
#include <gtest/gtest.h>

#include <string>

#include "support/os.h"
#include "common/files.h"
#include "velnor.h"

namespace {

constexpr uint32_t kCreate = VN_O_BINARY | VN_O_CREAT | VN_O_TRUNC | VN_O_RDWR;
constexpr uint32_t kUpdate = VN_O_BINARY | VN_O_RDWR;

class Os : public vntest::TmpDirTest {};

std::string bytes(const uint8_t* dt) { return std::string(reinterpret_cast<const char*>(dt), 6); }

// n bytes at off through h's map, or "<fail>".
std::string mapped(int32_t h, uint32_t n, uint32_t off) {
    char buf[16] = {};
    return osreadmapped(h, buf, n, off) == static_cast<int32_t>(n) ? std::string(buf, n) : "<fail>";
}

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

// A file cut short under its map fails the read, or the guarded reading
// of a view, rather than faulting, and once measured again reads no zeros
// where its bytes were.
TEST_F(Os, MappedReadsOfBytesCutOffFail) {
#ifdef _WIN32
    GTEST_SKIP() << "Windows reads every record with ReadFile";
#endif
    const std::string f = path("cut.dat");
    const std::string block(65536, 'm');
    writefile("cut.dat", block);
    const int32_t b = osopen(f.c_str(), kUpdate, 0);
    char buf[4] = {};
    EXPECT_EQ(mapped(b, 4, 40000), "mmmm");
    auto cutto = [&](const char* rest) {  // another handle recreates the file
        const int32_t c = osopen(f.c_str(), kCreate, 511);
        ASSERT_EQ(oswriteat(c, rest, 3, 0), 3);
        osclose(c);
    };
    cutto("abc");
    EXPECT_EQ(osreadmapped(b, buf, 4, 40000), -1);
    EXPECT_EQ(osreadat(b, buf, 4, 40000), 0);
    EXPECT_EQ(osreadmapped(b, buf, 4, 1), -1);
    EXPECT_EQ(mapped(b, 2, 1), "bc");

    writefile("cut.dat", block);
    EXPECT_EQ(mapped(b, 4, 40000), "mmmm");
    cutto("xyz");
    ASSERT_EQ(osremeasure(b), 0);
    EXPECT_EQ(osreadmapped(b, buf, 4, 1), -1);  // not "yz" and two zeros
    EXPECT_EQ(mapped(b, 3, 0), "xyz");

    // A view read under the guard sees writes at once; once the file is
    // cut short under it, the guard reports the fault and the next read
    // measures the file again.
    writefile("cut.dat", block);
    const uint8_t* view = osmapview(b, 4, 40000);
    ASSERT_NE(view, nullptr);
    struct Peek { const uint8_t* view; char got; } peek = {view, 0};
    auto look = [](void* arg) {
        auto* p = static_cast<Peek*>(arg);
        p->got = static_cast<char>(*static_cast<const volatile uint8_t*>(p->view));
    };
    ASSERT_TRUE(osmapguard(b, look, &peek));
    EXPECT_EQ(peek.got, 'm');
    const int32_t w = osopen(f.c_str(), kUpdate, 0);
    ASSERT_EQ(oswriteat(w, "V", 1, 40000), 1);
    ASSERT_TRUE(osmapguard(b, look, &peek));
    EXPECT_EQ(peek.got, 'V');
    osclose(w);
    cutto("pqr");
    EXPECT_FALSE(osmapguard(b, look, &peek));
    EXPECT_EQ(osreadmapped(b, buf, 4, 1), -1);  // not "qr" and two zeros
    EXPECT_EQ(osclose(b), 0);
}
