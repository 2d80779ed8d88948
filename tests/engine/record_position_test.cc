// record_position_test.cc - a temporary index over an expression, built
// from another open file's records and read back in its order.
#include <cstring>

#include "engine/fid.h"
#include "common/engine.h"

namespace vntest {
namespace {

class Position : public EngineTest {
protected:
    // A keyed file of five people, two of them called BOB.
    void people5(File& f) {
        ASSERT_EQ(f.create(), 0);
        ASSERT_EQ(f.add("C3", "BOB"), 0);
        ASSERT_EQ(f.add("A1", "ALICE"), 0);
        ASSERT_EQ(f.add("E5", "BOB"), 0);
        ASSERT_EQ(f.add("B2", "CAROLINE"), 0);
        ASSERT_EQ(f.add("D4", "ALFRED"), 0);
    }
};

TEST_F(Position, TemporaryIndexOrdersByTheExpression) {
    const std::string dat = define("p", people());
    File f(dat);
    people5(f);
    ASSERT_EQ(f.close(), 0);

    File src(dat);
    ASSERT_EQ(src.open(), 0);
    ASSERT_EQ(src.setkey(0), 0);
    File t(dat);
    t.cb.work = static_cast<char*>(globalmalloc(257));
    std::strcpy(t.cb.work, "-name id");
    t.cb.nettype = 1;
    ASSERT_EQ(t.op(VN_OP_TMPIDX), 0) << int(t.cb.status);
    EXPECT_EQ(std::string(t.cb.idxname).substr(std::string(t.cb.idxname).size() - 4), ".itx");
    t.buf.assign(t.cb.reclen + 8u, ' ');
    t.cb.recbuf = t.buf.data();
    while (src.cb.state & VN_ST_CURRENT) {
        const int32_t pos = src.cb.datpos;
        ASSERT_EQ(src.read(), 0);
        std::memcpy(t.cb.recbuf, src.cb.recbuf, t.cb.reclen);
        t.cb.datpos = pos;
        ASSERT_EQ(t.op(VN_OP_WRITE), 0) << int(t.cb.status);
    }
    ASSERT_EQ(t.posn("~"), 0);  // the name descends: "~" comes first
    ASSERT_TRUE(t.current());
    std::vector<std::string> order;
    while (t.read() == 0) order.push_back(rtrim(std::string(t.cb.recbuf + 1, 10)));
    // Names descending; equal names by id ascending.
    EXPECT_EQ(order, (std::vector<std::string>{"B2", "C3", "E5", "A1", "D4"}));
}

}  // namespace
}  // namespace vntest
