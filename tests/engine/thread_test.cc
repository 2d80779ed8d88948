// thread_test.cc - thread expressions: bad ones refused, and random chains
// checked against a right-grouping oracle.
#include <gtest/gtest.h>

#include "common/engine.h"
#include "record/thread.h"

using namespace vntest;

namespace {

const char* kDef =
    "TKF FID v7.0\n"
    "RecLen = 10\n"
    "NItems = 2\n"
    "NKeys = 0\n"
    "Item = A,'I','R',0,4,1,0,\n"
    "Item = B,'2','R',4,4,1,1,\n";

class Thread : public ::testing::Test {
   protected:
    void SetUp() override {
        ASSERT_EQ(def.loadtext(dir, kDef), 0);
        rec = cat(" ", "  12", "   7");
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
    TempDir dir;
    Loaded def;
    std::string rec;
};

TEST_F(Thread, BadExpressionsAreRefused) {
    for (const char* bad : {"A <= B", "A >= B", "A <> B", "NOSUCH > 1", "(1 + 2", "* 2", "", "1 + "}) {
        EXPECT_TRUE(std::isnan(num(bad))) << bad;
        EXPECT_EQ(+def.cb.status, VN_E_THREXPR) << bad;
    }
    std::string deep(5000, '(');
    EXPECT_TRUE(std::isnan(num(deep.c_str())));
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

}  // namespace
