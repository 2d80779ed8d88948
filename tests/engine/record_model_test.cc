// record_model_test.cc - random writes, rewrites, deletes and keyed reads
// through the engine, checked against a std::map after every step and by
// full scans in both key orders, for fixed and variable-length files,
// unshared and shared, with and without reuse of deleted slots.
#include <map>
#include <random>
#include <set>

#include "definition/fid.h"
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

    auto f = std::make_unique<File>(dat);
    ASSERT_EQ(f->create(), 0);
    start(*f);
    for (int step = 0; step < 3000; step++) {
        const std::string k = numbered("K", rng() % 300);
        const int what = static_cast<int>(rng() % 10);
        const auto it = oracle.find(k);
        const bool there = it != oracle.end();
        if (what < 5) {
            const std::string n = names[rng() % 8];
            ASSERT_EQ(f->add(k, n), 0) << step << " status " << int(f->cb.status);
            oracle[k] = n;
        } else if (what < 7) {
            f->fill(k, there ? it->second : "");
            ASSERT_EQ(f->op(VN_OP_DELETE), there ? 0 : -1) << step << " status " << int(f->cb.status);
            EXPECT_EQ(f->cb.status, there ? 0 : VN_C_NOREC);
            if (there) oracle.erase(it);
        } else if (what < 9) {
            ASSERT_EQ(f->posn(pad(k, 10), true), 0);
            ASSERT_EQ(f->current(), there) << step << " " << k;
            ASSERT_EQ(f->read(), there ? 0 : -1) << step << " status " << int(f->cb.status);
            EXPECT_EQ(f->cb.status, there ? 0 : VN_C_NOREC);
            if (there) {
                EXPECT_EQ(field(*f, 0) + "=" + field(*f, 1), k + "=" + it->second);
            }
        } else {
            ASSERT_EQ(f->close(), 0);
            f = std::make_unique<File>(dat);
            ASSERT_EQ(f->open(), 0) << int(f->cb.status);
            start(*f);
        }
    }

    // Key 1 order: every record once, ascending by id; key 2 order: by
    // name, duplicates by id; physical order: the active records.
    std::vector<std::string> byid, byname;
    std::set<std::pair<std::string, std::string>> order;
    for (const auto& [k, n] : oracle) {
        byid.push_back(k + "=" + n);
        order.insert({pad(n, 20), pad(k, 10)});
    }
    for (const auto& [n, k] : order) byname.push_back(rtrim(k) + "=" + rtrim(n));
    auto walk = [&](int key) {
        std::vector<std::string> got;
        EXPECT_EQ(f->setkey(key), 0);
        EXPECT_EQ(key ? f->posn("") : f->posnrec(0), 0);
        while (f->read() == 0 || (key == 0 && f->cb.status == VN_C_DELETED))
            if (f->cb.status == 0) got.push_back(field(*f, 0) + "=" + field(*f, 1));
        EXPECT_EQ(f->cb.status, VN_C_NOREC);
        return got;
    };
    EXPECT_EQ(walk(1), byid);
    EXPECT_EQ(walk(2), byname);
    EXPECT_EQ(walk(0).size(), oracle.size());
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
