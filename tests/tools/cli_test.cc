// cli_test.cc - the program's command line: version, usage errors
// and their exit statuses.
#include "tooltest.h"

// Every command's --help is read at build time, for its man page.
TEST_F(ToolTest, TheVersionNamesTheProgramAndTheEngine) {
    const std::string out = velnor({"--version"}).out;
    EXPECT_TRUE(holds(out, "velnor 7.0.144\nengine 7.0.")) << out;
}

TEST_F(ToolTest, UsageErrorsExitWithTwo) {
    const std::vector<std::vector<std::string>> bad{
        {},                                       // no subcommand
        {"frobnicate"},                           // unknown subcommand
        {"info"},                                 // FILE missing
        {"dump", "x.dat", "--format", "xml"},     // unknown format
        {"dump", "x.dat", "--key", "one"},        // not a number
        {"dump", "x.dat", "--key", "1", "--thread", "1"},
        {"dump", "x.dat", "--key", "0"},          // keys count from 1
        {"dump", "x.dat", "--thread", "0"},
        {"dump", "x.dat", "--deleted", "--key", "1"},  // deleted ones are in no key
        {"dump", "x.dat", "--deleted", "--thread", "1"},
        {"get", "x.dat", "A", "--key", "0"},
        {"archive", "list", "a.cmp", "--bits"},   // --bits is for --raw
        {"archive", "list", "a.cmp", "--raw", "--json"},
        {"load", "x.dat"},                        // --csv missing
        {"archive", "squash", "a.cmp"},           // unknown action
        {"fid", "compile", "only-one"},
        {"demo", "--count", "3"},                 // below the range
    };
    for (const auto& args : bad) {
        SCOPED_TRACE(testing::PrintToString(args));
        RunResult r = velnor(args);
        EXPECT_EQ(r.code, 2) << r.err;
        EXPECT_FALSE(r.err.empty());
        EXPECT_TRUE(r.out.empty()) << r.out;
    }
}
