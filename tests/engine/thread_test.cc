// thread_test.cc - thread expressions: bad ones refused, and arithmetic
// grouped from the right.
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

// No operator binds tighter than another: each takes all that follows it.
TEST_F(Thread, ArithmeticGroupsFromTheRight) {
    EXPECT_EQ(num("10 - 4 - 3"), 9);
    EXPECT_EQ(num("2 * 3 + 4"), 14);
    EXPECT_EQ(num("A - B - 2"), 7);
}

}  // namespace
