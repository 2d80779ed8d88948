// demo_test_posix.cc - velnor demo runs through in a folder of its own,
// again in the same folder, and never empties a folder it did not make.
// (The demo's tour is checked in the native build.)
#include "tooltest.h"

TEST_F(ToolTest, DemoRunsThroughAndRestoresIdenticalFiles) {
    for (int run = 0; run < 2; ++run) {
        RunResult r = velnor({"demo", "--dir", "tour", "--count", "300"});
        ASSERT_EQ(r.code, 0) << r.err;
        EXPECT_NE(r.out.find("Loaded 300 records into customer.dat."), std::string::npos);
        EXPECT_NE(r.out.find("customer.dat   identical"), std::string::npos) << r.out;
        EXPECT_NE(r.out.find("customer.idx   identical"), std::string::npos);
        EXPECT_NE(r.out.find("customer.fid   identical"), std::string::npos);
        EXPECT_EQ(r.out.find("DIFFERENT"), std::string::npos);
        EXPECT_NE(r.out.find("Records: 299 active, 1 deleted"), std::string::npos) << r.out;
        EXPECT_NE(r.out.find("Indexed 300 lines of notes.txt."), std::string::npos);
    }
    // The files left behind are a working record file.
    RunResult info = velnor({"info", "tour/customer.dat"});
    EXPECT_EQ(info.code, 0) << info.err;
    EXPECT_NE(info.out.find("linked through OVERLINK: BALANCE > CREDIT"), std::string::npos);
}

TEST_F(ToolTest, DemoLeavesAForeignFolderAlone) {
    std::filesystem::create_directory(path("mine"));
    write("mine/keep.txt", "precious");
    RunResult r = velnor({"demo", "--dir", "mine"});
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.err.find("was not made by the demo"), std::string::npos) << r.err;
    EXPECT_EQ(read("mine/keep.txt"), "precious");
}
