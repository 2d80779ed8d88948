// walls_test.cc - thread chains that damage turns into loops: a walk along
// the thread and an unlink that searches the chain end with the status for
// a data file that cannot be read as it claims (3), never going round.
#include "common/engine.h"

namespace vntest {
namespace {

struct Loop {
    const char* name;
    int32_t from, to;  // the link of the record at from is made to point at to
    bool rewrite;      // rewrite A out of the thread (else walk the thread)
    bool shared;       // in shared use (else SINGLE)
};

// A file of fixed records A, B, C at 41, 82, 123 (ID 10, AMT 5, LINK 4),
// all in the thread of AMT above 100: C, B, A.
class ThreadLoops : public EngineTest, public ::testing::WithParamInterface<Loop> {
protected:
    std::string make() {
        Def d;
        d.reclen = 39;
        d.items = {{"ID", 'C', 0, 10}, {"NAME", 'C', 10, 20}, {"AMT", 'N', 30, 5}, {"LINK", 'C', 35, 4}};
        d.keys = {{"ID", 10, {{0, 10, 0}}}};
        d.threads = {{"LINK", "AMT > 100"}};
        return define("t", d, true);
    }
    int32_t add(File& f, const std::string& id, int amt) {
        f.set(id);
        f.put(31, std::to_string(amt));
        return f.op(VN_OP_WRITE);
    }
};

TEST_P(ThreadLoops, EndWithReadStatus) {
    const Loop& l = GetParam();
    std::string dat;
    {
        File f(make());
        ASSERT_EQ(f.create(), 0);
        for (const char* id : {"A", "B", "C"}) ASSERT_EQ(add(f, id, 200), 0);
        ASSERT_EQ(f.close(), 0);
        dat = f.cb.datname;
    }
    std::string b = readfile(dat);
    b.replace(static_cast<size_t>(l.from) + 36, 4, tobase95(static_cast<uint32_t>(l.to), 4));
    writefile(dat, b);
    File f(dat);
    ASSERT_EQ(f.open(), 0);
    if (!l.shared) f.net("SINGLE");
    int32_t r = 0;
    if (l.rewrite) {
        r = add(f, "A", 10);
    } else {
        ASSERT_EQ(f.setkey(0), 0);
        f.cb.state |= VN_ST_THREAD;
        ASSERT_EQ(f.posn(""), 0);
        for (int n = 0; n < 1000 && r == 0; n++) r = f.read();
    }
    EXPECT_NE(r, 0) << l.name;
    EXPECT_EQ(+f.cb.status, VN_E_DATREAD) << l.name;
}

const Loop loops[] = {
    {"a record linked to itself", 82, 82, false, false},
    {"the last record linked back to the head", 41, 123, false, false},
    {"the same loop in shared use", 41, 123, false, true},
    {"unlinking a record the looping chain never reaches", 82, 123, true, false},
};
INSTANTIATE_TEST_SUITE_P(Threads, ThreadLoops, ::testing::ValuesIn(loops));

}  // namespace
}  // namespace vntest
