// thread_test.cc - thread expressions: operands, the right-grouping of
// equal-precedence operators against a small oracle, the comparison quirk,
// and the thread test of a definition's threads.
#include <gtest/gtest.h>

#include <cstring>

#include "fid_support.h"
#include "engine/thread.h"

using namespace fidtest;

namespace {

const char* kDef =
    "TKF FID v7.0\n"
    "RecLen = 40\n"
    "NItems = 5\n"
    "NKeys = 0\n"
    "Item = AMOUNT,'n','R',0,8,1,2,\n"
    "Item = NAME,'C','L',8,10,1,0,\n"
    "Item = A,'I','R',18,4,1,3,\n"
    "Item = B,'2','R',22,4,1,1,\n"
    "Item = X,'S','R',26,6,1,4,\n";

class Thread : public ::testing::Test {
   protected:
    void SetUp() override {
        ASSERT_EQ(def.loadtext(dir, kDef), 0);
        record(std::string(" ") + "000150.5" + "SMITH     " + "  12" + "   7" + " -3.25");
    }
    void record(const std::string& r) {
        rec = r;
        rec.resize(def.cb.reclen, ' ');
    }
    // Evaluates expr as a number; NAN on failure.
    double num(const char* expr) {
        ThreadVal v;
        def.cb.status = 0;
        if (threadeval(&def.cb, rec.c_str(), expr, &v, 1) == nullptr) return NAN;
        EXPECT_EQ(v.isnum, 1);
        return v.num;
    }
    std::string text(const char* expr) {
        ThreadVal v;
        if (threadeval(&def.cb, rec.c_str(), expr, &v, 0) == nullptr) return "<fail>";
        EXPECT_EQ(v.isnum, 0);
        return v.text;
    }
    TempDir dir;
    Def def;
    std::string rec;
};

TEST_F(Thread, OperatorsGroupFromTheRight) {
    EXPECT_EQ(num("2 * 3 + 4"), 14);
    EXPECT_EQ(num("10 - 4 - 3"), 9);
    EXPECT_EQ(num("(10 - 4) - 3"), 3);
    EXPECT_EQ(num("[X + 1)"), -2.25);
    EXPECT_EQ(num("8 / 2 / 2"), 8);
    EXPECT_EQ(num("1 = 1 AND 0"), 0);  // 1 = (1 AND 0)
}

TEST_F(Thread, ItemsNumericByTypeAndTextOtherwise) {
    EXPECT_EQ(num("AMOUNT > 100"), 1);
    EXPECT_EQ(num("AMOUNT > 200"), 0);
    EXPECT_EQ(num("A + B"), 19);  // type 'I' and a digit type are numbers
    EXPECT_EQ(text("NAME"), "SMITH     ");
    EXPECT_EQ(num("NAME = 'SMITH     '"), 1);
    EXPECT_EQ(num("NAME = \"SMITH\""), 0);  // byte for byte
    EXPECT_EQ(num("NAME > 'S'"), 1);
    EXPECT_EQ(num("(A = 12) AND (B = 7)"), 1);
    EXPECT_EQ(num("(A = 12) AND (B = 8)"), 0);
    EXPECT_EQ(num("(A = 1) OR (B = 7)"), 1);
    EXPECT_EQ(text("AMOUNT"), "150.5");  // a number turned back into text
    EXPECT_EQ(num("'12.5' + 1"), 13.5);
}

TEST_F(Thread, BadExpressionsGiveStatus44) {
    for (const char* bad : {"A <= B", "A >= B", "A <> B", "NOSUCH > 1", "(1 + 2", "* 2", "", "1 + "}) {
        EXPECT_TRUE(std::isnan(num(bad))) << bad;
        EXPECT_EQ(+def.cb.status, VN_E_THREXPR) << bad;
    }
    std::string deep(5000, '(');
    EXPECT_TRUE(std::isnan(num(deep.c_str())));
}

TEST_F(Thread, StopsAtTheFirstCharacterThatIsNoOperator) {
    ThreadVal v;
    const char* expr = "1 + 2 ; rest";
    const char* end = threadeval(&def.cb, rec.c_str(), expr, &v, 1);
    ASSERT_NE(end, nullptr);
    EXPECT_STREQ(end, "; rest");
    EXPECT_EQ(v.num, 3);
    EXPECT_EQ(text("'open quote"), "open quote");
}

// Random chains of small integers and + - * agree with a right-grouping
// oracle.
TEST_F(Thread, RandomArithmeticMatchesRightGrouping) {
    std::mt19937 rng(21);
    for (int round = 0; round < 2000; ++round) {
        int n = std::uniform_int_distribution<int>(1, 6)(rng);
        std::vector<int> vals(n);
        std::vector<char> ops(n);
        std::string expr;
        for (int i = 0; i < n; ++i) {
            vals[i] = std::uniform_int_distribution<int>(0, 9)(rng);
            expr += std::to_string(vals[i]);
            if (i + 1 < n) {
                ops[i] = "+-*"[rng() % 3];
                expr += std::string(" ") + ops[i] + " ";
            }
        }
        double want = vals[n - 1];
        for (int i = n - 2; i >= 0; --i)
            want = ops[i] == '+' ? vals[i] + want : ops[i] == '-' ? vals[i] - want : vals[i] * want;
        EXPECT_EQ(num(expr.c_str()), want) << expr;
    }
}

TEST_F(Thread, ThreadTestOfADefinitionsThreads) {
    Def t;
    ASSERT_EQ(t.loadtext(dir, kDef), 0);
    ASSERT_EQ(fidaddthread(&t.cb, "X", "AMOUNT > 100"), 0);
    ASSERT_EQ(fidaddthread(&t.cb, "X", "(AMOUNT / 0) - (AMOUNT / 0)"), 0);
    ASSERT_EQ(fidaddthread(&t.cb, "X", "AMOUNT >= 1"), 0);
    EXPECT_EQ(threadtest(&t.cb, rec.c_str(), 0), 1);
    EXPECT_EQ(threadtest(&t.cb, rec.c_str(), 1), 0);  // not a number counts as zero
    EXPECT_EQ(threadtest(&t.cb, rec.c_str(), 2), -1);
    EXPECT_EQ(+t.cb.status, VN_E_THREXPR);
    EXPECT_EQ(threadtest(&t.cb, rec.c_str(), 3), -1);
    record(" 000050.0");
    EXPECT_EQ(threadtest(&t.cb, rec.c_str(), 0), 0);
}

}  // namespace
