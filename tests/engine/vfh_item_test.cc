// vfh_item_test.cc - item access by name on a record buffer: random sets,
// justified and cut, against a plain string model, and gets that read back
// what the model holds.
#include <gtest/gtest.h>

#include <iomanip>

#include "engine/engine.h"
#include "common/engine.h"

using namespace vntest;

namespace {

class VfhItem : public ::testing::Test {
   protected:
    void SetUp() override {
        d.reclen = 30;
        d.items = {{"LEFT", 'C', 0, 5}, {"RIGHT", 'N', 5, 5, 1, 'R'}, {"MANY", 'C', 10, 4, 3}};
        ASSERT_EQ(def.loadtext(dir, fidtext(d)), 0);
        rec.assign(def.cb.reclen + 8u, ' ');
        rec[def.cb.reclen - 1] = '\n';
        def.cb.recbuf = rec.data();
    }
    void TearDown() override { def.cb.recbuf = nullptr; }
    std::string body() const { return rec.substr(1, def.cb.reclen - 2u); }
    Def d;
    TempDir dir;
    Loaded def;
    std::string rec;
};

// Random sets agree with a string model of the record; gets read back what
// the model holds.
TEST_F(VfhItem, RandomSetsAgreeWithAModel) {
    std::mt19937 rng(8);
    std::string model = body();
    for (int step = 0; step < 3000; ++step) {
        const Item& it = d.items[rng() % 3];
        const int occ = static_cast<int>(rng() % it.occurs);
        std::string v;
        for (int n = static_cast<int>(rng() % 8); n > 0; --n) v += static_cast<char>('a' + rng() % 26);
        ASSERT_EQ(vfhitemset(&def.cb, it.name.c_str(), occ, v.c_str()), 0);
        const std::string field = cat(it.just == 'R' ? std::right : std::left, std::setw(it.len), v.substr(0, it.len));
        model.replace(it.off + occ * it.len, it.len, field);
        ASSERT_EQ(body(), model);
        char dest[8];
        ASSERT_EQ(vfhitemget(&def.cb, it.name.c_str(), occ, dest), 0);
        ASSERT_EQ(std::string(dest), field);
    }
}

}  // namespace
