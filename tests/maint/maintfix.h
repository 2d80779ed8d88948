// maintfix.h - the fixture of the maintenance tests: record files of four
// kinds built through the engine (ten records K01..K10, K03 and K07
// deleted), filemaint run with a callback that logs every line and can stop
// the run, and the report and records read back.
#ifndef VELNOR_TESTS_MAINT_MAINTFIX_H
#define VELNOR_TESTS_MAINT_MAINTFIX_H

#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "common/files.h"
#include "velnor.h"

enum Kind { FIXLEN, VARLEN, HASHED, RANDOM };

class MaintTest : public vntest::TmpDirTest {
protected:
    void SetUp() override;
    void TearDown() override;

    // Writes name.fid for kind and builds name.dat with records 1..n (K01,
    // "Name01", ...), in a shuffled order with a seed other than 0; the
    // records in dead are deleted.  The data path.
    std::string build(Kind kind, int n = 10, std::set<int> dead = {3, 7}, const std::string& name = "f",
                      unsigned seed = 0);
    // filemaint on the data file with the report "rep.txt" and the logging
    // callback.
    int32_t run(int32_t op, const std::string& dat, uint32_t flags = 0);
    // The report's lines after the header, without their "\r\n".
    std::vector<std::string> report();
    // The active records read in physical order: ID -> NAME, both trimmed;
    // {"open failed", status} when the file does not open.
    std::map<std::string, std::string> records(const std::string& dat);
    // VERIFY, then RECOVER and then PACK each while VERIFY finds damage
    // (expecting each to succeed): the repairs made.
    int repair(const std::string& dat);
    // Last text of callback line code, e.g. "Message: ...".
    std::string line(int code) const;
    bool logged(int code, const std::string& text) const;
    // Files of the test's directory whose names end with ext.
    int count(const std::string& ext) const;

public:
    // Opens dat into a zeroed cb, under network type SINGLE when single: 0,
    // or -1 (cb then holds nothing to close).
    static int32_t openfile(FHCB& cb, const std::string& dat, bool single);
    // Every callback call, and the poll that answers stop (null: never).
    static std::vector<std::pair<int, std::string>> log;
    static std::function<bool()> stopwhen;
};

using vntest::patch;
// A question hook that answers OK.
inline int32_t VELNOR_CALL answerok(const char*, const char*) { return 1; }

#endif
