// process_posix.cc - opens and holds contended by real processes, and the
// descriptor rules of osopen (never 0, never inherited).
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <string>

#include "support/os.h"
#include "common/files.h"
#include "common/fork.h"
#include "velnor.h"

namespace {

using vntest::child;

constexpr uint32_t kShared = VN_O_BINARY | VN_O_SHARE | VN_O_RDWR;

class OsProcess : public vntest::TmpDirTest {};

}  // namespace

TEST_F(OsProcess, DescriptorsAreNeverZeroNorInherited) {
    writefile("z.dat", "z");
    const std::string f = path("z.dat");
    EXPECT_EQ(child([&] {
        close(0);
        int32_t h = osopen(f.c_str(), VN_O_BINARY | VN_O_RDONLY, 0);
        if (h < 1) return 1;
        if (fcntl(0, F_GETFD) != -1) return 2;  // the copy on 0 was closed
        if ((fcntl(h, F_GETFD) & FD_CLOEXEC) == 0) return 3;
        char c;
        return osread(h, &c, 1) == 1 && c == 'z' ? 0 : 4;
    }), 0);
}

// An exclusive open keeps out another exclusive open, in another process or
// this one, and truncates only once it has the file; a plain open is never
// kept out.  A hold is a lock on byte 2^62, which another process sees.
TEST_F(OsProcess, ExclusiveOpensAndHoldsKeepEachOtherOut) {
    const std::string f = path("x.dat");
    writefile("x.dat", "kept");
    constexpr uint32_t kAlone = VN_O_BINARY | VN_O_EXCL | VN_O_RDWR;
    int32_t h = osopen(f.c_str(), kAlone, 0);
    ASSERT_GE(h, 1);
    struct Case { uint32_t flags; int refused; } cases[] = {
        {kAlone, 1}, {kAlone | VN_O_TRUNC | VN_O_CREAT, 1}, {VN_O_BINARY | VN_O_RDWR, 0}, {kShared, 0}};
    for (const Case& c : cases) {
        EXPECT_EQ(child([&] { return osopen(f.c_str(), c.flags, 0) < 1 ? 1 : 0; }), c.refused) << c.flags;
        int32_t here = osopen(f.c_str(), c.flags, 0);
        EXPECT_EQ(here < 1 ? 1 : 0, c.refused) << c.flags;
        if (here >= 1) osclose(here);
    }
    EXPECT_EQ(vntest::readfile(f), "kept");
    osclose(h);
    h = osopen(f.c_str(), kAlone | VN_O_TRUNC, 0);
    EXPECT_GE(h, 1);
    EXPECT_EQ(vntest::readfile(f), "");
    osclose(h);

    const int32_t token = osholdfile(f.c_str(), OS_HOLD_SHARED);
    ASSERT_GT(token, 0);
    EXPECT_EQ(child([&] {
        const int fd = open(f.c_str(), O_RDWR);
        struct flock fl = {};
        fl.l_type = F_WRLCK, fl.l_whence = SEEK_SET, fl.l_start = off_t{1} << 62, fl.l_len = 1;
        if (fcntl(fd, F_OFD_GETLK, &fl) != 0) return 2;
        return fl.l_type == F_RDLCK ? 0 : 1;
    }), 0);
    osunholdfile(token);
}

// Which kind of hold another process may take beside each kind: sharing
// runs beside sharing runs, readers without locks beside such readers,
// and nothing beside a run alone.
TEST_F(OsProcess, EachKindOfHoldAdmitsOnlyItsOwnKind) {
    const std::string f = path("k.dat");
    writefile("k.dat", "k");
    const int32_t kinds[] = {OS_HOLD_SHARED, OS_HOLD_ALONE, OS_HOLD_READING};
    for (int32_t held : kinds) {
        const int32_t token = osholdfile(f.c_str(), held);
        ASSERT_GT(token, 0);
        for (int32_t asked : kinds) {
            const int admitted = held == asked && held != OS_HOLD_ALONE ? 1 : 0;
            EXPECT_EQ(child([&] { return osholdfile(f.c_str(), asked) > 0 ? 1 : 0; }), admitted) << held << asked;
        }
        osunholdfile(token);
    }
    EXPECT_EQ(osholdfile(f.c_str(), 3), -1);
}

// A held file replaced by osreplace stays held: the new file is locked
// before the rename, and the token then stands for it.
TEST_F(OsProcess, AHoldGoesOverToTheFileThatReplacesTheHeldOne) {
    const std::string f = path("h.dat"), g = path("h.new");
    writefile("h.dat", "old");
    writefile("h.new", "new");
    const int32_t token = osholdfile(f.c_str(), OS_HOLD_READING);
    ASSERT_GT(token, 0);
    ASSERT_EQ(osreplace(g.c_str(), f.c_str()), 0);
    EXPECT_EQ(vntest::readfile(f), "new");
    EXPECT_EQ(child([&] { return osholdfile(f.c_str(), OS_HOLD_SHARED); }), 0);
    EXPECT_EQ(child([&] { return osholdfile(f.c_str(), OS_HOLD_READING) > 0 ? 1 : 0; }), 1);
    EXPECT_EQ(child([&] { return (fcntl(token, F_GETFD) & FD_CLOEXEC) != 0 ? 0 : 1; }), 0);
    osunholdfile(token);
    EXPECT_EQ(child([&] { return osholdfile(f.c_str(), OS_HOLD_ALONE) > 0 ? 1 : 0; }), 1);
}
