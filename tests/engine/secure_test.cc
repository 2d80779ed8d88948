// secure_test.cc - a secure leaves on the disk exactly the bytes a close
// would.  Two files take the same random writes, rewrites and deletes; at
// random points one is secured and goes on with what it holds in memory
// (pages, handles, header), while its twin is closed and opened again, and
// the two data files and index files must then be equal byte for byte.
// Keyed reads check the secured file against a map, so that a page it
// kept in memory cannot hide a stale copy.
#include <map>
#include <memory>
#include <random>

#include "common/engine.h"

namespace vntest {
namespace {

struct SecureCase {
    const char* name;
    int flags;    // definition flags: 1 variable length
    bool shared;  // network type left at the default after open
    bool reuse;   // deleted slots taken again (state 0x0100)
};

class Secure : public EngineTest, public ::testing::WithParamInterface<SecureCase> {
protected:
    // ID (key 1), NAME (key 2), AMT, LINK: the thread holds AMT above 500,
    // so that its head in the header changes too.
    std::string make(const std::string& name) {
        const int base = (GetParam().flags & 1) ? 4 : 0;
        Def d{base + 39, GetParam().flags, 0,
              {{"ID", 'C', base, 10}, {"NAME", 'C', base + 10, 20}, {"AMT", 'N', base + 30, 5},
               {"LINK", 'C', base + 35, 4}},
              {{"ID", 10, {{base, 10, 0}}}, {"NAME", 20, {{base + 10, 20, 0}}}},
              {{"LINK", "AMT > 500"}}};
        return define(name, d, true);
    }
    std::unique_ptr<File> open(const std::string& dat, bool create) {
        auto f = std::make_unique<File>(dat);
        EXPECT_EQ(create ? f->create() : f->open(), 0) << int(f->cb.status);
        if (!GetParam().shared) f->net("SINGLE");
        if (GetParam().reuse) f->cb.state |= VN_ST_REUSE;
        return f;
    }
    static void fill(File& f, const std::string& id, const std::string& name, int amt) {
        f.fill(id, name);
        f.put(f.cb.items[2].offset, std::to_string(amt));
    }
};

TEST_P(Secure, LeavesTheBytesACloseWould) {
    const std::string secured = make("s"), closed = make("c");
    const std::string sidx = tmp.path("s.idx"), cidx = tmp.path("c.idx");
    auto s = open(secured, true), c = open(closed, true);
    std::mt19937 rng(77);
    std::map<std::string, std::string> oracle;  // id -> name
    int checkpoints = 0;
    for (int step = 0; step < 2500; step++) {
        const std::string id = numbered("K", rng() % 700);
        const auto it = oracle.find(id);
        const unsigned what = rng() % 100;
        if (what < 55) {
            // A new record or a rewrite, its name (and length) random.
            const std::string name = std::string(1 + rng() % 19, static_cast<char>('A' + rng() % 26));
            const int amt = static_cast<int>(rng() % 1000);
            for (File* f : {s.get(), c.get()}) {
                fill(*f, id, name, amt);
                ASSERT_EQ(f->op(VN_OP_WRITE), 0) << step << " status " << int(f->cb.status);
            }
            oracle[id] = name;
        } else if (what < 75) {
            for (File* f : {s.get(), c.get()}) {
                fill(*f, id, it == oracle.end() ? "" : it->second, 0);
                f->op(VN_OP_DELETE);
                ASSERT_EQ(f->cb.status, it == oracle.end() ? VN_C_NOREC : 0) << step;
            }
            if (it != oracle.end()) oracle.erase(it);
        } else if (what < 95) {
            const std::string got = s->lookup(id);
            ASSERT_EQ(got.empty(), it == oracle.end()) << step << " " << got;
            if (!got.empty()) {
                ASSERT_EQ(rtrim(std::string(s->buf.data() + s->cb.items[1].offset, 20)), it->second) << step;
            }
        } else {
            ASSERT_EQ(s->op(VN_OP_SECURE), 0) << step << " status " << int(s->cb.status);
            ASSERT_EQ(c->close(), 0);
            c = open(closed, false);
            ASSERT_EQ(readfile(secured), readfile(closed)) << "data file at step " << step;
            ASSERT_EQ(readfile(sidx), readfile(cidx)) << "index file at step " << step;
            checkpoints++;
        }
    }
    EXPECT_GT(checkpoints, 50);
    ASSERT_EQ(s->close(), 0);
    ASSERT_EQ(c->close(), 0);
    EXPECT_EQ(readfile(secured), readfile(closed));
    EXPECT_EQ(readfile(sidx), readfile(cidx));
}

const SecureCase kCases[] = {
    {"FixedSingle", 0, false, false},
    {"VarSingle", 1, false, false},
    {"FixedSingleReuse", 0, false, true},
    {"VarShared", 1, true, false},
};
INSTANTIATE_TEST_SUITE_P(Files, Secure, ::testing::ValuesIn(kCases), [](const auto& info) {
    return std::string(info.param.name);
});

}  // namespace
}  // namespace vntest
