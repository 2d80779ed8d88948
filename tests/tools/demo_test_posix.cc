// demo_test_posix.cc - velnor demo runs through with the smallest sample it
// allows, in a folder of its own,
// again in the same folder, and never empties a folder it did not make.
// (The demo's tour is checked in the native build.)
#include "tooltest.h"

TEST_F(ToolTest, DemoRunsThroughAndRestoresIdenticalFiles) {
    for (int run = 0; run < 2; ++run) {
        RunResult r = velnor({"demo", "--dir", "tour", "--count", "50"});
        ASSERT_EQ(r.code, 0) << r.err;
        for (const char* part : {"Loaded 50 records into customer.dat.", "customer.dat   identical",
                                 "customer.idx   identical", "customer.fid   identical",
                                 "Records: 49 active, 1 deleted", "Indexed 50 lines of notes.txt."})
            EXPECT_TRUE(holds(r.out, part));
        EXPECT_EQ(r.out.find("DIFFERENT"), std::string::npos) << r.out;
    }
    // The files left behind are a working record file.
    EXPECT_TRUE(holds(ok({"info", "tour/customer.dat"}), "linked through OVERLINK: BALANCE > CREDIT"));
}

TEST_F(ToolTest, DemoLeavesAForeignFolderAlone) {
    std::filesystem::create_directory(path("mine"));
    writefile("mine/keep.txt", "precious");
    EXPECT_TRUE(exits(1, {"demo", "--dir", "mine"}, "was not made by the demo"));
    EXPECT_EQ(readfile("mine/keep.txt"), "precious");
}
