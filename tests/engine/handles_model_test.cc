// handles_model_test.cc - a randomized run of writes, reads, parking,
// secure and reopening over several files, checked against a map per file:
// parking and transparent reopening must never lose or change a record.
#include <iomanip>
#include <map>
#include <memory>
#include <random>
#include <vector>

#include "engine/engine.h"
#include "engine/handles.h"
#include "common/engine.h"

using vntest::File;
using vntest::EngineTest;

namespace {

constexpr int kFiles = 5;
constexpr int kSteps = 1500;

class ModelTest : public EngineTest {
protected:
    void openfile(int f) {
        blocks[f] = std::make_unique<File>(names[f]);
        ASSERT_EQ(blocks[f]->op(VN_OP_OPEN), 0) << int(blocks[f]->cb.status);
        if (f % 2 == 0) blocks[f]->net("SINGLE");
    }
    std::vector<std::string> names;
    std::vector<std::unique_ptr<File>> blocks{kFiles};
    std::vector<std::map<std::string, std::string>> model{kFiles};
};

}  // namespace

TEST_F(ModelTest, ParkingNeverLosesRecords) {
    unsigned seed = std::random_device{}();
    SCOPED_TRACE(vntest::numbered("seed ", seed));
    std::mt19937 rng(seed);
    for (int f = 0; f < kFiles; f++) {
        names.push_back(makefile(vntest::numbered("m", f), true));
        openfile(f);
    }
    for (int step = 0; step < kSteps; step++) {
        int f = static_cast<int>(rng() % kFiles);
        File& b = *blocks[f];
        unsigned action = rng() % 100;
        std::string key = vntest::numbered("k", rng() % 60);
        if (action < 45) {
            const std::string rec = vntest::cat(std::left, std::setw(10), key, "v", std::setw(19), step);
            b.cb.datpos = 0;
            ASSERT_EQ(b.write(rec), 0) << "step " << step << " status " << int(b.cb.status);
            model[f][key] = rec;
        } else if (action < 80) {
            auto it = model[f].find(key);
            ASSERT_EQ(b.lookup(key), it == model[f].end() ? "" : it->second) << "step " << step;
        } else if (action < 86) {
            closelru(static_cast<int32_t>(rng() % 2));
        } else if (action < 90) {
            ASSERT_EQ(vfhlimbo(&b.cb), 0);
        } else if (action < 92) {
            EXPECT_EQ(fhlimball(), -1);
        } else if (action < 96) {
            ASSERT_EQ(b.op(VN_OP_SECURE), 0) << int(b.cb.status);
        } else {
            ASSERT_EQ(b.op(VN_OP_CLOSE), 0) << int(b.cb.status);
            openfile(f);
        }
    }
    for (int f = 0; f < kFiles; f++) ASSERT_EQ(blocks[f]->op(VN_OP_CLOSE), 0);
    for (int f = 0; f < kFiles; f++) {
        openfile(f);
        File& b = *blocks[f];
        EXPECT_EQ(+b.cb.nrecs, 1 + model[f].size()) << f;
        for (const auto& [key, rec] : model[f]) EXPECT_EQ(b.lookup(key), rec) << f << " " << key;
    }
}
