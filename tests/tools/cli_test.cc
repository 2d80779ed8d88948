// cli_test.cc - the program's command line: help, version, usage errors
// and their exit statuses.
#include "tooltest.h"

TEST_F(ToolTest, EverySubcommandHasHelp) {
    for (const char* sub : {"info", "dump", "load", "get", "delete", "fid", "archive", "demo"}) {
        RunResult r = velnor({sub, "--help"});
        EXPECT_EQ(r.code, 0) << sub;
        EXPECT_NE(r.out.find("Usage"), std::string::npos) << sub << ": " << r.out;
        EXPECT_TRUE(r.err.empty()) << sub << ": " << r.err;
    }
    RunResult top = velnor({"--help"});
    EXPECT_EQ(top.code, 0);
    for (const char* sub : {"info", "dump", "load", "get", "delete", "fid", "archive", "demo"})
        EXPECT_NE(top.out.find(sub), std::string::npos) << sub;
}

TEST_F(ToolTest, VersionIsTheLibrarys) {
    RunResult r = velnor({"--version"});
    EXPECT_EQ(r.code, 0);
    EXPECT_NE(r.out.find("velnor 7.0.144"), std::string::npos) << r.out;
}

TEST_F(ToolTest, UsageErrorsExitWithTwo) {
    const std::vector<std::vector<std::string>> bad{
        {},                                       // no subcommand
        {"frobnicate"},                           // unknown subcommand
        {"info"},                                 // FILE missing
        {"dump", "x.dat", "--format", "xml"},     // unknown format
        {"dump", "x.dat", "--key", "one"},        // not a number
        {"dump", "x.dat", "--key", "1", "--thread", "1"},
        {"load", "x.dat"},                        // --csv missing
        {"archive", "squash", "a.cmp"},           // unknown action
        {"fid", "compile", "only-one"},
        {"demo", "--count", "3"},                 // below the range
    };
    for (const auto& args : bad) {
        RunResult r = velnor(args);
        std::string line;
        for (const auto& a : args) line += a + " ";
        EXPECT_EQ(r.code, 2) << line << "\n" << r.err;
        EXPECT_FALSE(r.err.empty()) << line;
        EXPECT_TRUE(r.out.empty()) << line << "\n" << r.out;
    }
}
