// cli_test.cc - the program's command line: usage errors
// with their exit status, before any file is touched and where the file
// shows the argument is wrong.
#include "tooltest.h"

TEST_F(Customers, UsageErrorsExitWithTwo) {
    const std::pair<std::vector<std::string>, std::string> bad[] = {  // arguments, part of the message
        {{}, ""},                                       // no subcommand
        {{"frobnicate"}, ""},                           // unknown subcommand
        // Arguments the file itself refuses.
        {{"dump", "c.dat", "--key", "4"}, ""},
        {{"dump", "c.dat", "--items", "CODE,WEIGHT"}, "no item called 'WEIGHT'"},
        {{"info", "c.dat", "--network", "TOKENRING"}, "unknown network type (status 106)"},
    };
    for (const auto& [args, message] : bad) {
        SCOPED_TRACE(testing::PrintToString(args));
        RunResult r = velnor(args);
        EXPECT_EQ(r.code, 2) << r.err;
        EXPECT_FALSE(r.err.empty());
        EXPECT_TRUE(holds(r.err, message));
        EXPECT_TRUE(r.out.empty()) << r.out;
    }
    EXPECT_EQ(velnor({"get", "c.dat", "B2", "--network", "PCMOS-M"}).code, 0);
}
