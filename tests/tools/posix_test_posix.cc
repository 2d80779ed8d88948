// posix_test_posix.cc - what the program does with the system around it:
// the modes of the files it makes, and its progress bar on a real terminal.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "common/fork.h"
#include "support/os.h"
#include "tooltest.h"

using Posix = Customers;

TEST_F(Posix, FilesAreMadeWithoutExecuteBits) {
    umask(022);
    ASSERT_EQ(velnor({"archive", "add", "a.cmp", "c.dat", "c.fid"}).code, 0);
    ASSERT_EQ(velnor({"archive", "extract", "a.cmp", "--target", "out"}).code, 0);
    for (const char* name : {"c.dat", "c.idx", "a.cmp", "out/c.dat", "out/c.fid"}) {
        struct stat st{};
        ASSERT_EQ(stat(path(name).c_str(), &st), 0) << name;
        EXPECT_EQ(st.st_mode & 0777, 0644u) << name;
    }
}

TEST_F(Posix, ProgressOnATerminalIsOneBarRedrawnSparinglyUnlessNoColor) {
    std::string text;
    for (unsigned i = 0; text.size() < 40000000; i = i * 1103515245 + 12345)
        text += "record " + std::to_string(i % 100000) + " of the file\n";
    writefile("big.txt", text);
    for (const bool plain : {false, true}) {  // NO_COLOR: no bar at all
        int master = posix_openpt(O_RDWR | O_NOCTTY);
        ASSERT_TRUE(master >= 0 && grantpt(master) == 0 && unlockpt(master) == 0);
        const std::string slave = ptsname(master), exe = VELNOR_EXE, dir = dir_.string();
        pid_t pid = vntest::spawn([&] {
            int tty = open(slave.c_str(), O_RDWR), null = open("/dev/null", O_RDWR);
            if (tty < 0 || null < 0 || chdir(dir.c_str()) != 0) return 127;
            dup2(null, 0);
            dup2(null, 1);
            dup2(tty, 2);
            setenv("VELNOR_PROGRESS_DELAY", "0", 1);  // drawn from the start
            if (plain) setenv("NO_COLOR", "1", 1);
            execl(exe.c_str(), exe.c_str(), "archive", "add", plain ? "plain.cmp" : "big.cmp", "big.txt",
                  nullptr);
            return 127;
        });
        std::string drawn;
        char buf[4096];
        for (ssize_t n; (n = ::read(master, buf, sizeof buf)) > 0;) drawn.append(buf, n);
        EXPECT_EQ(vntest::waitexit(pid), 0);
        close(master);
        if (plain) {
            EXPECT_EQ(drawn, "");
            continue;
        }
        // About ten draws a second of one 80-column line, each with the
        // name, a percentage, bytes and a rate.
        EXPECT_LT(drawn.size(), 81u * 60) << drawn.size();
        for (const char* part : {"big.txt [", " MB of 40.0 MB", "/s"}) EXPECT_TRUE(holds(drawn, part));
    }
}
