// runs_test.cc - the driver and the runs on sound files: results and lines,
// Stop in every pass, a call from inside the callback, the length question
// and the strip file.
#include <filesystem>

#include "maint/fm.h"
#include "maintfix.h"

namespace {

// Callbacks (plain functions: lambdas do not take the calling convention).
int32_t inner = 0;
int32_t VELNOR_CALL nested(int32_t code, char*) {
    if (code == VN_FM_POLL && inner == 0) inner = filemaint(VN_FM_VERIFY, "x.dat", "", "", nullptr, 0, nullptr, nullptr);
    return 0;
}
std::vector<std::string> asked;
int32_t VELNOR_CALL answercancel(const char* q, const char* caption) {
    asked.push_back(std::string(q) + "|" + caption);
    return 2;
}

TEST_F(MaintTest, LinesOfCleanRuns) {
    struct Case { Kind kind; int32_t op; uint32_t flags; const char *filetype, *status, *message; };
    const char *keys = "Indexed on 2 keys.", *hashed = "Hashed with 281 table entries.",
               *seen = "Done. 8 active data records, 2 deleted records.",
               *packed = "Done. 8 active data records. 2 deleted records removed.",
               *verified = "VERIFY completed successfuly.";
    const Case cases[] = {
        {FIXLEN, VN_FM_VERIFY, 0, keys, seen, verified},
        {FIXLEN, VN_FM_VERIFY, VN_FM_NORECPASS, keys, "Done.", verified},
        {VARLEN, VN_FM_VERIFY, 0, "Indexed on 2 keys. Variable length records.", seen, verified},
        {HASHED, VN_FM_VERIFY, 0, hashed, seen, verified},
        {RANDOM, VN_FM_VERIFY, 0, "Random.", "Done. 5 active data records, 0 deleted records.", verified},
        {FIXLEN, VN_FM_RECOVER, 0, keys, seen, "RECOVER completed successfuly."},
        {FIXLEN, VN_FM_PACK, 0, keys, packed, "PACK completed successfuly."},
        {HASHED, VN_FM_RECOVER, 0, hashed, packed, "PACK completed successfuly."},
        {RANDOM, VN_FM_RECOVER, 0, "", "Loading FID file...", "Error: No need to Recover RANDOM files."},
        {RANDOM, VN_FM_PACK, 0, "", "Creating temporary files...", "Error: No need to Pack RANDOM files."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.filetype) + c.status);
        std::string dat = c.kind == RANDOM ? build(RANDOM, 5, {}) : build(c.kind);
        const std::string before = vntest::readfile(dat);
        ASSERT_EQ(run(c.op, dat, c.flags), 0);
        static const char* const kHeader[] = {"Verifying file: ", "Recovering file: ", "Packing file: "};
        ASSERT_FALSE(log.empty());
        EXPECT_EQ(log[0], std::make_pair(0, kHeader[c.op] + dat));
        const bool none = c.kind == RANDOM && c.op != VN_FM_VERIFY;  // refused before the file type
        EXPECT_EQ(line(VN_FM_FILETYPE), std::string(none ? "" : "File type: ") + c.filetype);
        EXPECT_EQ(line(VN_FM_STATUS), std::string("Status: ") + c.status);
        EXPECT_EQ(line(VN_FM_MESSAGE), std::string("Message: ") + c.message);
        const bool changes = (c.op == VN_FM_PACK && c.kind != RANDOM) || (c.op == VN_FM_RECOVER && c.kind == HASHED);
        const std::vector<std::string> lines = report();
        EXPECT_EQ(vntest::readfile(dat) == before, !changes);
        EXPECT_EQ(vntest::readfile(dat).size(), changes ? 9u * 32u : before.size());  // the header and 8 records
        const bool random = c.kind == RANDOM && c.op == VN_FM_VERIFY;
        EXPECT_TRUE(!random || logged(VN_FM_STATUS, "Status: Random record verification in progress..."));
        if (c.op != VN_FM_VERIFY) {
            EXPECT_EQ(count(".ziq") + count(".zdq"), 0);
            EXPECT_EQ(records(dat).size(), c.kind == RANDOM ? 5u : 8u);
            EXPECT_EQ(lines, std::vector<std::string>{std::string("  ") + (c.kind == RANDOM ? c.message : "Successful.")});
        }
    }
}

TEST_F(MaintTest, DriverRefusalsAndOddCalls) {
    std::string dat = build(FIXLEN);
    // Same base name and extension, whatever the case and directory.
    EXPECT_EQ(filemaint(VN_FM_VERIFY, "a/ORDERS.DAT", "", "b/orders.dat", nullptr, 0, nullptr, nullptr), 1);
    // An unknown operation shows the last header and runs nothing.
    ASSERT_EQ(run(VN_FM_VERIFY, dat), 0);
    report();
    EXPECT_EQ(run(3, dat), -1);
    EXPECT_TRUE(report().empty());  // the header alone
    EXPECT_EQ(log, (std::vector<std::pair<int, std::string>>{{0, "Verifying file: " + dat}}));
    // A report in a directory that does not exist loses its lines only.
    EXPECT_EQ(filemaint(VN_FM_VERIFY, dat.c_str(), "", "", nullptr, 0, path("no/such/rep.txt").c_str(), nullptr), 0);
    // A definition that is hashed with variable-length records.
    writefile("h.fid", "TKF FID v7.0\nRecLen = 30\nNItems = 1\nNKeys = 1\nFlags = 3\nHashRecs = 9\n"
                       "Item = ID, 'C', 'L', 4, 10, 1, 0,\nKey = ID, 10, 1\n4, 10, 0\n");
    writefile("h.dat", "");
    EXPECT_EQ(run(VN_FM_VERIFY, path("h.dat")), VN_E_HSHFID);
    EXPECT_EQ(report(), std::vector<std::string>{"  Error : hash/FID file mismatch."});
    // A run started from inside the callback is refused.
    EXPECT_EQ(filemaint(VN_FM_VERIFY, dat.c_str(), "", "", nullptr, 0, nullptr, nested), 0);
    EXPECT_EQ(inner, -2);
}

TEST_F(MaintTest, StopInEveryPassKeepsTheOldFiles) {
    const std::pair<int32_t, std::string> cases[] = {
        {VN_FM_VERIFY, "Status: Record/Key verification for key #1"},
        {VN_FM_VERIFY, "Status: Record/Key verification for key #2"},
        {VN_FM_VERIFY, "Status: Key/Record verification for key #1"},
        {VN_FM_VERIFY, "Status: Key/Record verification for key #2"},
        {VN_FM_RECOVER, "Status: File RECOVER in progress..."},
        {VN_FM_PACK, "Status: File PACK and RECOVER in progress..."}};
    for (const auto& [op, pass] : cases) {
        SCOPED_TRACE(pass);
        std::string dat = build(FIXLEN);
        const std::string olddat = vntest::readfile(dat), oldidx = vntest::readfile(path("f.idx"));
        int polls = 0;
        stopwhen = [&] { return line(VN_FM_STATUS).rfind(pass, 0) == 0 && ++polls == 3; };
        EXPECT_EQ(run(op, dat), -1);
        EXPECT_EQ(line(VN_FM_STATUS), "Status: Stopped.");
        EXPECT_EQ(line(VN_FM_CURRENT), "Current: ");
        EXPECT_EQ(report(), std::vector<std::string>{"  Stopped."});
        EXPECT_EQ(vntest::readfile(dat), olddat);
        EXPECT_EQ(vntest::readfile(path("f.idx")), oldidx);
        EXPECT_EQ(count(".ziq") + count(".zdq"), 0);
    }
}

TEST_F(MaintTest, LengthFixIsAskedOnceAndCancelChangesNothing) {
    std::string dat = build(FIXLEN);
    patch(dat, 128 + 31, "X");
    patch(dat, 192 + 31, "Y");
    const std::string before = vntest::readfile(dat);
    fmsetask(answercancel);
    EXPECT_EQ(run(VN_FM_PACK, dat), VN_E_DATREAD);
    EXPECT_EQ(asked, std::vector<std::string>{"Data/FID record length mismatch. Do you want to fix it?|FileMaint: Error"});
    EXPECT_EQ(vntest::readfile(dat), before);
    EXPECT_EQ(count(".ziq") + count(".zdq"), 0);
    fmsetask(nullptr);  // no hook: Cancel where there are no windows
#ifndef _WIN32
    EXPECT_EQ(run(VN_FM_PACK, dat), VN_E_DATREAD);
#endif
    fmsetask(answerok);
    EXPECT_EQ(run(VN_FM_PACK, dat), 0);
    EXPECT_EQ(records(dat).size(), 8u);
}

TEST_F(MaintTest, StripMovesUnprintableRecords) {
    for (uint32_t flags : {0u, static_cast<uint32_t>(VN_FM_STRIP)}) {
        std::string dat = build(FIXLEN);
        patch(dat, 192 + 13, "\t");  // a TAB in K06's NAME
        const std::string k06 = vntest::readfile(dat).substr(192, 32);
        EXPECT_EQ(run(VN_FM_PACK, dat, flags), 0);
        EXPECT_EQ(line(VN_FM_STATUS), "Status: Done. 8 active data records. 2 deleted records removed.");
        EXPECT_EQ(vntest::readfile(path("f.nas")), flags ? k06 : "");
        EXPECT_EQ(records(dat).size(), flags ? 7u : 8u);
        std::filesystem::remove(path("f.nas"));
    }
}

}  // namespace
