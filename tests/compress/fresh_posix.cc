// fresh_posix.cc - the empty file as the first thing a fresh process
// compresses: the shared input buffer still holds zeros, so the entry is
// the code 0 and the end code.  The work runs in a newly executed copy of
// this program, since every earlier test has filled the buffer.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "cmptest.h"

using namespace cmptest;

namespace {

class FreshProcess : public CmpTest {};

// Runs only in the child started below.
TEST(FreshChild, DISABLED_CompressEmptyFile) {
    const char* dir = std::getenv("VELNOR_CMP_FRESH_DIR");
    if (dir == nullptr) GTEST_SKIP();
    ASSERT_EQ(chdir(dir), 0);
    char pattern[] = "empty";
    char* specs[] = {pattern};
    ASSERT_EQ(compress_files("-a", "fresh", 1, specs), 0);
}

TEST_F(FreshProcess, EmptyFileCodesZeroThenEndCode) {
    writefile("empty", Bytes{});
    pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        setenv("VELNOR_CMP_FRESH_DIR", dir.c_str(), 1);
        if (std::freopen("/dev/null", "w", stdout) == nullptr) _exit(126);
        execl("/proc/self/exe", "compress_tests", "--gtest_also_run_disabled_tests",
              "--gtest_filter=FreshChild.DISABLED_CompressEmptyFile", static_cast<char*>(nullptr));
        _exit(127);
    }
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    ASSERT_TRUE(WIFEXITED(status));
    ASSERT_EQ(WEXITSTATUS(status), 0);
    Bytes a = readfile("fresh.cmp");
    ASSERT_EQ(a.size(), 34u);
    EXPECT_EQ(hexat(a, 14, 2), "0109");  // coded at 9 bits
    EXPECT_EQ(hexat(a, 22, 12), "0000" "00000000" "02000000" "007f");  // check 0, codes 0 and end
    std::remove("empty");
    ASSERT_EQ(run("-x", "fresh"), 0);
    EXPECT_TRUE(cap.errors.empty());
    EXPECT_EQ(readfile("empty"), Bytes{0x00});
}

}  // namespace
