// record_position_test.cc - positioning by key (exact, partial, substring,
// descending), by physical record number, backspacing, reuse of deleted
// slots and temporary indexes over an expression.
#include <cstring>

#include "engine/fid.h"
#include "record_support.h"

namespace rectest {
namespace {

class Position : public RecordTest {
protected:
    void fill(File& f, const std::string& id, const std::string& name) {
        std::memset(f.buf.data(), ' ', f.cb.reclen - 1u);
        f.put(f.cb.items[0].offset, id);
        f.put(f.cb.items[1].offset, name);
    }
    int32_t add(File& f, const std::string& id, const std::string& name) {
        fill(f, id, name);
        return f.op(VN_OP_WRITE);
    }
    std::string id(File& f) { return rtrim(std::string(f.buf.data() + f.cb.items[0].offset, 10)); }
    // A keyed file of five people, two of them called BOB.
    void people5(File& f, int flags = 0) {
        ASSERT_EQ(f.create(), 0);
        ASSERT_EQ(add(f, "C3", "BOB"), 0);
        ASSERT_EQ(add(f, "A1", "ALICE"), 0);
        ASSERT_EQ(add(f, "E5", "BOB"), 0);
        ASSERT_EQ(add(f, "B2", "CAROLINE"), 0);
        ASSERT_EQ(add(f, "D4", "ALFRED"), 0);
        (void)flags;
    }
    std::vector<std::string> ids(File& f) {
        std::vector<std::string> v;
        while (f.read() == 0) v.push_back(id(f));
        return v;
    }
};

TEST_F(Position, NoMatchClearsTheCurrentRecordWithoutFailing) {
    File f(define("p", people()));
    people5(f);
    EXPECT_EQ(f.posn("ZZ"), 0);
    EXPECT_FALSE(f.current());
    EXPECT_EQ(f.read(), -1);
    EXPECT_EQ(f.cb.status, VN_C_NOREC);

    EXPECT_EQ(f.posn("B", true), 0);  // B2 begins with B
    EXPECT_TRUE(f.current());
    EXPECT_EQ(f.posn("BB", true), 0);  // the next key, C3, does not
    EXPECT_FALSE(f.current());
    EXPECT_EQ(f.posn("BB"), 0);  // without exact: the first key after it
    ASSERT_EQ(f.read(), 0);
    EXPECT_EQ(id(f), "C3");
}

TEST_F(Position, ReadsWalkKeyOrderAndSecondaryKeysEndInThePrimary) {
    File f(define("p", people()));
    people5(f);
    ASSERT_EQ(f.posn(""), 0);
    EXPECT_EQ(ids(f), (std::vector<std::string>{"A1", "B2", "C3", "D4", "E5"}));
    ASSERT_EQ(f.setkey(2), 0);
    ASSERT_EQ(f.posn("B"), 0);
    EXPECT_EQ(ids(f), (std::vector<std::string>{"C3", "E5", "B2"}));
}

TEST_F(Position, DescendingPositionsOnTheLastOfEqualNames) {
    File f(define("p", people()));
    people5(f);
    ASSERT_EQ(f.setkey(2), 0);
    f.cb.mflags |= VN_MF_DESCEND;
    ASSERT_EQ(f.posn("BOB"), 0);
    EXPECT_EQ(ids(f), (std::vector<std::string>{"E5", "C3", "A1", "D4"}));
    ASSERT_EQ(f.posn("AL"), 0);  // "AL~" lies after every AL... name
    EXPECT_EQ(ids(f), (std::vector<std::string>{"A1", "D4"}));
}

TEST_F(Position, SubstringScanFindsEachKeyHoldingTheText) {
    File f(define("p", people()));
    people5(f);
    ASSERT_EQ(f.setkey(2), 0);
    f.cb.state |= VN_ST_SUBSTR;
    ASSERT_EQ(f.posn("L"), 0);
    EXPECT_EQ(ids(f), (std::vector<std::string>{"D4", "A1", "B2"}));
    ASSERT_EQ(f.posn("OB"), 0);
    EXPECT_EQ(ids(f), (std::vector<std::string>{"C3", "E5"}));
    ASSERT_EQ(f.posn("XYZ"), 0);
    EXPECT_FALSE(f.current());
}

TEST_F(Position, BackspaceStepsBackInKeyAndPhysicalOrder) {
    File f(define("p", people()));
    people5(f);
    ASSERT_EQ(f.posn("B2"), 0);
    ASSERT_EQ(f.read(), 0);  // now on C3
    ASSERT_EQ(f.op(VN_OP_BACKSP), 0);
    ASSERT_EQ(f.read(), 0);
    EXPECT_EQ(id(f), "B2");
    ASSERT_EQ(f.posn("ZZ"), 0);  // no current record: backspace goes to the last
    ASSERT_EQ(f.op(VN_OP_BACKSP), 0);
    ASSERT_EQ(f.read(), 0);
    EXPECT_EQ(id(f), "E5");
    ASSERT_EQ(f.posn("A1"), 0);
    EXPECT_EQ(f.op(VN_OP_BACKSP), -1);
    EXPECT_EQ(f.cb.status, VN_C_NOREC);

    ASSERT_EQ(f.setkey(0), 0);
    f.cb.state &= ~VN_ST_CURRENT;
    ASSERT_EQ(f.op(VN_OP_BACKSP), 0);  // the last physical record
    EXPECT_EQ(+f.cb.datpos, 5 * 32);
    ASSERT_EQ(f.op(VN_OP_BACKSP), 0);
    ASSERT_EQ(f.read(), 0);
    EXPECT_EQ(id(f), "B2");
    f.cb.datpos = 32;
    EXPECT_EQ(f.op(VN_OP_BACKSP), -1);
    EXPECT_EQ(f.cb.status, VN_C_NOREC);
}

TEST_F(Position, BackspaceOnVariableLengthPhysicalOrderIsRefused) {
    File f(define("v", people(1)));
    people5(f);
    ASSERT_EQ(f.setkey(0), 0);
    EXPECT_EQ(f.op(VN_OP_BACKSP), -1);
    EXPECT_EQ(f.cb.status, VN_C_VARBACK);
}

TEST_F(Position, PhysicalRecordNumberInBothLayouts) {
    for (int flags : {0, 1}) {
        File f(define(flags ? "v" : "p", people(flags)));
        people5(f);
        ASSERT_EQ(f.setkey(0), 0);
        ASSERT_EQ(f.posnrec(3), 0);
        ASSERT_TRUE(f.current());
        ASSERT_EQ(f.read(), 0);
        EXPECT_EQ(id(f), "B2") << flags;
        ASSERT_EQ(f.posnrec(0), 0);
        ASSERT_EQ(f.read(), 0);
        EXPECT_EQ(id(f), "C3");
        EXPECT_EQ(f.posnrec(5), 0);  // one past the last
        EXPECT_FALSE(f.current());
        EXPECT_EQ(f.posnrec(0xFFFFFFFFu), 0);
        EXPECT_FALSE(f.current());
    }
}

TEST_F(Position, FixedReuseTakesOnlyTheFirstFreeSlot) {
    File f(define("p", people()));
    people5(f);
    fill(f, "A1", "ALICE");
    ASSERT_EQ(f.op(VN_OP_DELETE), 0);  // slot at 64
    fill(f, "C3", "BOB");
    ASSERT_EQ(f.op(VN_OP_DELETE), 0);  // slot at 32
    f.cb.state |= VN_ST_REUSE;
    ASSERT_EQ(add(f, "F6", "FRED"), 0);
    ASSERT_EQ(add(f, "G7", "GIL"), 0);
    ASSERT_EQ(add(f, "H8", "HAL"), 0);
    ASSERT_EQ(f.close(), 0);
    const std::string b = bytes(f.cb.datname);
    EXPECT_EQ(b.size(), 7u * 32);
    EXPECT_EQ(b.substr(1, 8), "00000007");
    EXPECT_EQ(b.substr(64 + 1, 2), "F6");
    EXPECT_EQ(b.substr(32 + 1, 2), "G7");
    EXPECT_EQ(b.substr(6 * 32 + 1, 2), "H8");
}

TEST_F(Position, VariableReuseTakesASlotOfExactlyTheLength) {
    File f(define("v", people(1)));
    people5(f);
    f.cb.state |= VN_ST_REUSE;
    fill(f, "B2", "");
    ASSERT_EQ(f.op(VN_OP_DELETE), 0);  // " 0011B2\tCAROLINE\n" at 36 + 12 + 14 + 12 = 74
    fill(f, "C3", "");
    ASSERT_EQ(f.op(VN_OP_DELETE), 0);  // " 000CC3\tBOB\n" at 36
    const size_t before = bytes(f.cb.datname).size();
    ASSERT_EQ(add(f, "X9", "MARGARET"), 0);        // 17 bytes, like CAROLINE's
    ASSERT_EQ(add(f, "Y9", "SAMANTHA JONES"), 0);  // no slot of 23 bytes: appended
    const std::string b = bytes(f.cb.datname);
    EXPECT_EQ(b.substr(36, 12), "D000CC3\tBOB\n");
    EXPECT_EQ(b.substr(74, 17), " 0011X9\tMARGARET\n");
    EXPECT_EQ(b.substr(before), " 0017Y9\tSAMANTHA JONES\n");
}

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
}  // namespace rectest
