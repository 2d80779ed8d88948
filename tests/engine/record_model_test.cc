// record_model_test.cc - random writes, rewrites, deletes and keyed reads
// through the engine, checked against a std::map after every step and by
// full scans in both key orders, for fixed and variable-length files,
// unshared and shared, with and without reuse of deleted slots.
#include <cstring>
#include <map>
#include <random>
#include <set>
#include <tuple>

#include "engine/fid.h"
#include "common/engine.h"

namespace vntest {
namespace {

struct ModelCase {
    int flags;    // definition flags: 1 variable length
    bool shared;  // network type left at the default after open
    bool reuse;   // state 0x0100
};

class Model : public EngineTest, public ::testing::WithParamInterface<ModelCase> {
protected:
    std::string pad(const std::string& s, size_t n) { return (s + std::string(n, ' ')).substr(0, n); }

    std::string field(File& f, int item) {
        const FidItem& it = f.cb.items[item];
        return rtrim(std::string(f.buf.data() + it.offset, it.length));
    }
    void start(File& f) {
        if (!GetParam().shared) f.net("SINGLE");
        if (GetParam().reuse) f.cb.state |= VN_ST_REUSE;
    }
};

TEST_P(Model, RecordsMatchAMapOracle) {
    const ModelCase mc = GetParam();
    const std::string dat = define("m", people(mc.flags));
    std::mt19937 rng(1234 + mc.flags * 7 + mc.shared * 3 + mc.reuse);
    std::map<std::string, std::string> oracle;  // id -> name
    const char* names[] = {"ANN", "BO", "CHRISTOPHER COLUMBUS", "DI", "EVE MARIE", "FLO", "", "GUS THE GREAT"};
    auto id = [&](int i) { return vntest::numbered("K", i); };

    auto f = std::make_unique<File>(dat);
    ASSERT_EQ(f->create(), 0);
    start(*f);
    for (int step = 0; step < 3000; step++) {
        const std::string k = id(static_cast<int>(rng() % 300));
        const int what = static_cast<int>(rng() % 10);
        if (what < 5) {
            const std::string n = names[rng() % 8];
            f->fill(k, n);
            ASSERT_EQ(f->op(VN_OP_WRITE), 0) << step << " status " << int(f->cb.status);
            oracle[k] = n;
        } else if (what < 7) {
            auto it = oracle.find(k);
            f->fill(k, it == oracle.end() ? "" : it->second);
            if (it == oracle.end()) {
                EXPECT_EQ(f->op(VN_OP_DELETE), -1);
                EXPECT_EQ(f->cb.status, VN_C_NOREC);
            } else {
                ASSERT_EQ(f->op(VN_OP_DELETE), 0) << step << " status " << int(f->cb.status);
                oracle.erase(it);
            }
        } else if (what < 9) {
            ASSERT_EQ(f->posn(pad(k, 10), true), 0);
            auto it = oracle.find(k);
            ASSERT_EQ(f->current(), it != oracle.end()) << step << " " << k;
            if (it != oracle.end()) {
                ASSERT_EQ(f->read(), 0) << step << " status " << int(f->cb.status);
                EXPECT_EQ(field(*f, 0), k);
                EXPECT_EQ(field(*f, 1), it->second);
            } else {
                EXPECT_EQ(f->read(), -1);
                EXPECT_EQ(f->cb.status, VN_C_NOREC);
            }
        } else {
            ASSERT_EQ(f->close(), 0);
            f = std::make_unique<File>(dat);
            ASSERT_EQ(f->open(), 0) << int(f->cb.status);
            start(*f);
        }
    }

    // Key 1 order: every record once, ascending by id.
    ASSERT_EQ(f->posn(""), 0);
    std::vector<std::string> got;
    while (f->read() == 0) got.push_back(field(*f, 0) + "=" + field(*f, 1));
    EXPECT_EQ(f->cb.status, VN_C_NOREC);
    std::vector<std::string> want;
    for (const auto& [k, n] : oracle) want.push_back(k + "=" + n);
    EXPECT_EQ(got, want);

    // Key 2 order: by name, duplicates by id.
    ASSERT_EQ(f->setkey(2), 0);
    ASSERT_EQ(f->posn(""), 0);
    std::vector<std::string> byname;
    while (f->read() == 0) byname.push_back(pad(field(*f, 1), 20) + field(*f, 0));
    std::set<std::pair<std::string, std::string>> order;
    for (const auto& [k, n] : oracle) order.insert({pad(n, 20), pad(k, 10)});
    std::vector<std::string> wantname;
    for (const auto& [n, k] : order) wantname.push_back(n + rtrim(k));
    EXPECT_EQ(byname, wantname);

    // Physical order: the active records are exactly the oracle's.
    ASSERT_EQ(f->setkey(0), 0);
    ASSERT_EQ(f->posnrec(0), 0);
    size_t active = 0;
    for (int guard = 0; guard < 100000 && f->current(); guard++) {
        const int32_t r = f->read();
        if (r == 0) active++;
        else ASSERT_EQ(f->cb.status, VN_C_DELETED);
    }
    EXPECT_EQ(active, oracle.size());
}

INSTANTIATE_TEST_SUITE_P(Files, Model,
                         ::testing::Values(ModelCase{0, false, false}, ModelCase{0, true, false},
                                           ModelCase{1, false, false}, ModelCase{1, true, false},
                                           ModelCase{0, false, true}, ModelCase{1, true, true}),
                         [](const auto& info) {
                             return std::string(info.param.flags ? "Var" : "Fixed") +
                                    (info.param.shared ? "Shared" : "Single") + (info.param.reuse ? "Reuse" : "");
                         });

}  // namespace
}  // namespace vntest
