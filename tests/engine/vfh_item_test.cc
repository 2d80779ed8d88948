// vfh_item_test.cc - item access by name on a record buffer: random sets,
// justified and cut, against a plain string model, and gets that read back
// what the model holds.
#include <gtest/gtest.h>

#include <cstring>

#include "engine/engine.h"
#include "common/engine.h"

using namespace vntest;

namespace {

const char* kItems =
    "TKF FID v7.0\n"
    "RecLen = 30\n"
    "NItems = 3\n"
    "Item = LEFT,'C','L',0,5,1,0,\n"
    "Item = RIGHT,'N','R',5,5,1,2,\n"
    "Item = MANY,'C','L',10,4,3,1,\n";

class VfhItem : public ::testing::Test {
   protected:
    void SetUp() override {
        ASSERT_EQ(def.loadtext(dir, kItems), 0);
        rec.assign(def.cb.reclen + 8u, ' ');
        rec[def.cb.reclen - 1] = '\n';
        def.cb.recbuf = rec.data();
    }
    void TearDown() override { def.cb.recbuf = nullptr; }
    std::string body() const { return rec.substr(1, def.cb.reclen - 2u); }
    TempDir dir;
    Loaded def;
    std::string rec;
};

// Random sets agree with a string model of the record; gets read back what
// the model holds.
TEST_F(VfhItem, RandomSetsAgreeWithAModel) {
    std::mt19937 rng(8);
    std::string model = body();
    struct It {
        const char* name;
        int off, len, occ;
        bool right;
    } items[] = {{"LEFT", 0, 5, 1, false}, {"RIGHT", 5, 5, 1, true}, {"MANY", 10, 4, 3, false}};
    for (int step = 0; step < 3000; ++step) {
        const It& it = items[rng() % 3];
        int occ = static_cast<int>(rng() % it.occ);
        std::string v;
        for (int n = static_cast<int>(rng() % 8); n > 0; --n) v += static_cast<char>('a' + rng() % 26);
        ASSERT_EQ(vfhitemset(&def.cb, it.name, occ, v.c_str()), 0);
        std::string field = v.substr(0, std::min<size_t>(v.size(), it.len));
        if (it.right)
            field.insert(0, it.len - field.size(), ' ');
        else
            field.resize(it.len, ' ');
        model.replace(it.off + occ * it.len, it.len, field);
        ASSERT_EQ(body(), model);
        char dest[8];
        ASSERT_EQ(vfhitemget(&def.cb, it.name, occ, dest), 0);
        ASSERT_EQ(std::string(dest), field);
    }
}

}  // namespace
