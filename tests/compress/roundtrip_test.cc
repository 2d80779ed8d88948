// roundtrip_test.cc - a randomized sequence of adds and deletes keeps the
// archive equal to a simple model, and many megabytes come back unchanged.
#include <cstdio>
#include <random>

#include "cmptest.h"

using namespace cmptest;

namespace {

class RoundTrip : public CmpTest {};

// Output of many megabytes, mixing long repeated strings, text and noise,
// decodes strings that stand far back in earlier output and across the
// points where the expander drops old output.
TEST_F(RoundTrip, LongOutputMixingLongAndShortStrings) {
    Bytes data;
    for (uint32_t i = 0; data.size() < 9000000; i++) {
        const Bytes part = i % 3 == 0   ? repetitive(700000 + i * 977, i)
                           : i % 3 == 1 ? textlike(900000, i)
                                        : incompressible(100000 + i, i);
        data.insert(data.end(), part.begin(), part.end());
    }
    writefile("big.bin", data);
    std::remove("arc.cmp");
    ASSERT_EQ(run("-aqp\"pw\"", "arc", {"big.bin"}), 0);
    std::remove("big.bin");
    ASSERT_EQ(run("-xqop\"pw\"", "arc"), 0);
    EXPECT_TRUE(cap.errors.empty());
    EXPECT_TRUE(readfile("big.bin") == data);
}

// Random adds (new and replacing) and deletes against a model: the archive
// holds the model's names in the model's order, and extracts to its data.
TEST_F(RoundTrip, RandomUpdatesFollowTheModel) {
    std::mt19937 rng(20240314);
    std::vector<std::pair<std::string, Bytes>> model;
    const char* const names[] = {"a.txt", "b.dat", "c", "d.bin", "e.txt", "f.x", "g"};
    for (int step = 0; step < 25; step++) {
        SCOPED_TRACE(vntest::numbered("step ", step));
        std::vector<std::string> pick;
        for (const char* n : names) if (rng() % 3 == 0) pick.push_back(n);
        if (pick.empty()) continue;
        if (rng() % 4 == 0 && !model.empty()) {
            for (auto& n : pick) {
                bool inmodel = false;
                for (auto& m : model) inmodel = inmodel || m.first == n;
                if (inmodel) {
                    writefile(n, Bytes{1});  // only names on disk can be deleted
                }
                std::erase_if(model, [&](auto& m) { return m.first == n; });
            }
            ASSERT_EQ(run("-d", "arc", pick), 0);
        } else {
            for (auto& n : pick) {
                const uint32_t size = rng() % 3 == 0 ? rng() % 40000 : rng() % 3000;
                Bytes data = rng() % 2 ? textlike(size, rng()) : incompressible(size, rng());
                if (data.empty()) data.push_back('!');
                writefile(n, data);
                std::erase_if(model, [&](auto& m) { return m.first == n; });
                model.emplace_back(n, data);
            }
            ASSERT_EQ(run("-a", "arc", pick), 0);
        }
        for (const char* n : names) std::remove(n);
        if (!exists("arc.cmp")) continue;
        auto e = entries(readfile("arc.cmp"));
        ASSERT_EQ(e.size(), model.size());
        for (size_t i = 0; i < e.size(); i++) EXPECT_EQ(e[i].name, model[i].first);
        ASSERT_EQ(run("-x", "arc"), 0);
        for (auto& m : model) EXPECT_EQ(readfile(m.first), m.second) << m.first;
        EXPECT_TRUE(cap.errors.empty());
    }
}

}  // namespace
