// record_thread_test.cc - threads from a binary definition: records linked
// newest first with the head in the header, walked by thread, unlinked on
// delete and on rewrites that leave the condition; damaged chains that loop.

#include "definition/fid.h"
#include "common/engine.h"

namespace vntest {
namespace {

class Threads : public EngineTest {
protected:
    // ID (10, key), NAME (20), AMT (5, numeric), LINK (4): reclen 41; the
    // thread holds the records with AMT above 100.
    std::string make() {
        return define("t", {39, 0, 0, {{"ID", 'C', 0, 10}, {"NAME", 'C', 10, 20}, {"AMT", 'N', 30, 5}, {"LINK", 'C', 35, 4}},
                            {{"ID", 10, {{0, 10, 0}}}}, {{"LINK", "AMT > 100"}}},
                      true);
    }
    int32_t add(File& f, const std::string& id, int amt) {
        f.set(id);
        f.put(31, std::to_string(amt));
        return f.op(VN_OP_WRITE);
    }
    // The links of the header and of the records at pos, as the file holds them.
    std::string links(File& f, std::initializer_list<int> pos) {
        const std::string b = readfile(f.cb.datname);
        std::string out;
        for (int p : pos) out += b.substr(p + 36, 4) + "|";
        return out;
    }
    // The ids along the thread, walked in physical order; key 1 after.
    std::vector<std::string> walk(File& f) {
        EXPECT_EQ(f.setkey(0), 0);
        f.cb.state |= VN_ST_THREAD;
        std::vector<std::string> v;
        EXPECT_EQ(f.posn(""), 0);
        while (f.read() == 0) v.push_back(rtrim(f.rec().substr(0, 10)));
        f.cb.state &= ~VN_ST_THREAD;
        EXPECT_EQ(f.setkey(1), 0);
        return v;
    }
};

TEST_F(Threads, LinkNewestFirstAndUnlinkOnLeaving) {
    File f(make());
    ASSERT_EQ(f.create(), 0) << int(f.cb.status);
    ASSERT_EQ(+f.cb.nthreads, 1);
    ASSERT_EQ(add(f, "A", 200), 0) << int(f.cb.status);  // at 41
    ASSERT_EQ(add(f, "B", 50), 0);                        // at 82, not in the thread
    ASSERT_EQ(add(f, "C", 300), 0);                       // at 123
    // The head 123 = 1 * 95 + 28, then 41.
    EXPECT_EQ(links(f, {0, 41, 82, 123}), "  !<|    |    |   I|");
    EXPECT_EQ(walk(f), (std::vector<std::string>{"C", "A"}));

    ASSERT_EQ(add(f, "C", 10), 0);   // leaves the thread
    ASSERT_EQ(add(f, "A", 150), 0);  // stays in it
    ASSERT_EQ(add(f, "B", 999), 0);  // enters it
    EXPECT_EQ(links(f, {0, 82, 123}), "   r|   I|    |");  // 82, 41
    EXPECT_EQ(walk(f), (std::vector<std::string>{"B", "A"}));

    ASSERT_EQ(add(f, "D", 500), 0);  // at 164: D, B, A
    f.set("B");
    ASSERT_EQ(f.op(VN_OP_DELETE), 0) << int(f.cb.status);  // from the middle
    EXPECT_EQ(links(f, {164}), "   I|");
    f.set("D");
    ASSERT_EQ(f.op(VN_OP_DELETE), 0);  // the head
    ASSERT_EQ(f.close(), 0);
    EXPECT_EQ(links(f, {0}), "   I|");
    EXPECT_EQ(readfile(f.cb.datname)[164], 'D');

    File g(f.cb.datname);
    ASSERT_EQ(g.open(), 0);
    EXPECT_EQ(g.cb.threads[0].head, 41u);
    EXPECT_EQ(walk(g), (std::vector<std::string>{"A"}));
}


// Chains that damage turns into loops: a walk along the thread and an unlink
// that searches the chain end with the status for a data file that cannot
// be read as it claims (3), never going round.
struct Loop {
    const char* name;
    int32_t from, to;  // the link of the record at from is made to point at to
    bool rewrite;      // rewrite A out of the thread (else walk the thread)
    bool shared;       // in shared use (else SINGLE)
};

// A, B, C at 41, 82, 123, all in the thread: C, B, A.
class ThreadLoops : public Threads, public ::testing::WithParamInterface<Loop> {};

TEST_P(ThreadLoops, EndWithReadStatus) {
    const Loop& l = GetParam();
    const std::string dat = make();
    {
        File f(dat);
        ASSERT_EQ(f.create(), 0);
        for (const char* id : {"A", "B", "C"}) ASSERT_EQ(add(f, id, 200), 0);
        ASSERT_EQ(f.close(), 0);
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
    EXPECT_EQ(failedwith(r, f.cb), VN_E_DATREAD) << l.name;
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
