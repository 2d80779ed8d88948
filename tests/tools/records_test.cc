// records_test.cc - load, dump, get and delete against a simple model of
// the file: random customers with repeated codes (a repeated primary key
// rewrites the record), a thread of the large amounts, and deletions, for
// fixed- and variable-length records.
#include <algorithm>
#include <random>

#include "tooltest.h"

namespace {

const int CODELEN = 8, NAMELEN = 12, TAGLEN = 5;

struct Row {
    std::string code, name, amount, tags[3];
};

std::string cut(const std::string& s, size_t n) {
    std::string v = s.substr(0, n);
    v.erase(v.find_last_not_of(' ') + 1);
    return v;
}

std::string pad(const std::string& s, size_t n) { return (s + std::string(n, ' ')).substr(0, n); }

// The CSV line dump writes for a row (values cut to their items).
std::string dumpline(const Row& r) {
    std::string s = r.code + "," + cut(r.name, NAMELEN) + "," + r.amount;
    for (const std::string& t : r.tags) s.append(",").append(cut(t, TAGLEN));
    return s;
}

// What the file should hold: records in physical order, the thread newest
// first, the deleted codes.  A rewrite keeps the record's place.
struct Model {
    std::vector<Row> rows;
    std::vector<bool> deleted;
    std::vector<std::string> thread;  // codes

    static bool inthread(const Row& r) { return std::stol(r.amount) > 500; }
    int find(const std::string& code) const {
        for (size_t i = 0; i < rows.size(); ++i)
            if (!deleted[i] && rows[i].code == code) return static_cast<int>(i);
        return -1;
    }
    void unlink(const std::string& code) {
        thread.erase(std::remove(thread.begin(), thread.end(), code), thread.end());
    }
    void write(const Row& r) {
        const int at = find(r.code);
        const bool was = at >= 0 && inthread(rows[at]);
        if (at < 0) {
            rows.push_back(r);
            deleted.push_back(false);
        } else {
            rows[at] = r;
        }
        if (inthread(r) && !was) thread.insert(thread.begin(), r.code);
        if (!inthread(r) && was) unlink(r.code);
    }
    // The CSV dump lines of the records not deleted, in physical order.
    std::vector<std::string> active() const {
        std::vector<std::string> out;
        for (size_t i = 0; i < rows.size(); ++i)
            if (!deleted[i]) out.push_back(dumpline(rows[i]));
        return out;
    }
    void remove(const std::string& code) {
        deleted[find(code)] = true;
        unlink(code);
    }
};

class Records : public ToolTest, public testing::WithParamInterface<unsigned> {
protected:
    void SetUp() override {
        ToolTest::SetUp();
        // Items start at 4: a variable-length record keeps its length there.
        std::vector<vntest::Item> items{{"CODE", 'C', 4, CODELEN}, {"NAME", 'C', 12, NAMELEN},
                                        {"AMOUNT", 'N', 24, 7, 1, 'R'}, {"TAGS", 'C', 31, TAGLEN, 3},
                                        {"LINK", 'C', 46, 4}};
        std::vector<vntest::Key> keys{{"CODE", CODELEN, {{4, CODELEN, 0}}},
                                      {"NAME", NAMELEN, {{12, NAMELEN, 0}}}};
        writefile("c.txt", textfid(50, GetParam(), items, keys, {{"LINK", "AMOUNT > 500"}}));
        ASSERT_EQ(velnor({"fid", "compile", "c.txt", "c.fid"}).code, 0);
    }

    std::vector<Row> randomrows(unsigned n, unsigned seed) {
        std::mt19937 rng(seed);
        auto word = [&](int lo, int hi) {
            static const char chars[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
            std::string s(lo + rng() % (hi - lo + 1), ' ');
            for (char& c : s) c = chars[rng() % 36];
            return s;
        };
        std::vector<Row> rows;
        for (unsigned i = 0; i < n; ++i) {
            Row r;
            do r.code = word(1, 8);  // a new code
            while (std::any_of(rows.begin(), rows.end(), [&](const Row& o) { return o.code == r.code; }));
            r.name = word(1, 6);
            if (rng() % 2) r.name.append(" ").append(word(1, 8));
            for (std::string& t : r.tags) t = rng() % 3 ? word(0, 7) : "";
            // One in five rows rewrites an earlier code; in a variable-length
            // file only its amount changes, so the record keeps its length and
            // its place (a rewrite that moves is the engine's to test).
            if (!rows.empty() && rng() % 5 == 0) {
                const Row& old = rows[rng() % rows.size()];
                if (GetParam() == 1) r = old;
                r.code = old.code;
            }
            r.amount = std::to_string(rng() % 1000);
            rows.push_back(r);
        }
        return rows;
    }

    std::string csv(const std::vector<Row>& rows) {
        std::string s = "CODE,NAME,AMOUNT,TAGS[1],TAGS[2],TAGS[3]\n";
        for (const Row& r : rows)
            s += vntest::cat(r.code, ',', r.name, ',', r.amount, ',', r.tags[0], ',', r.tags[1], ',', r.tags[2], '\n');
        return s;
    }

    // The data lines of velnor ARGS as CSV.
    std::vector<std::string> query(std::vector<std::string> args) {
        for (const char* a : {"--format", "csv", "--items", "CODE,NAME,AMOUNT,TAGS"}) args.push_back(a);
        RunResult r = velnor(args);
        EXPECT_EQ(r.code, 0) << r.err;
        std::vector<std::string> l = lines(r.out);
        if (!l.empty()) l.erase(l.begin());
        return l;
    }
    std::vector<std::string> dump(std::vector<std::string> args) {
        args.insert(args.begin(), {"dump", "c.dat"});
        return query(args);
    }
    // The codes along the thread.
    std::vector<std::string> threadcodes() {
        std::vector<std::string> got;
        for (const std::string& l : dump({"--thread", "1"})) got.push_back(l.substr(0, l.find(',')));
        return got;
    }
};

}  // namespace

TEST_P(Records, LoadDumpGetDeleteFollowTheModel) {
    Model m;
    std::vector<Row> rows = randomrows(400, 7 + GetParam());
    for (const Row& r : rows) m.write(r);
    writefile("in.csv", csv(rows));
    RunResult load = velnor({"load", "c.dat", "--csv", "in.csv", "--create", "--replace"});
    ASSERT_EQ(load.code, 0) << load.err;
    EXPECT_TRUE(holds(load.out, "Loaded 400 records"));
    EXPECT_TRUE(holds(load.out, " replaced records."));
    EXPECT_TRUE(holds(load.err, "values were longer than its item and cut"));
    EXPECT_EQ(load.err.find('\r'), std::string::npos) << "progress drawn off a terminal";
    EXPECT_TRUE(holds(velnor({"load", "c.dat", "--csv", "in.csv", "--create"}).err, "already exists"));

    // Physical order.
    EXPECT_EQ(dump({}), m.active());

    // Key 1 and key 2 order: the padded key bytes, the primary key appended.
    std::vector<Row> live;
    for (size_t i = 0; i < m.rows.size(); ++i)
        if (!m.deleted[i]) live.push_back(m.rows[i]);
    auto inorder = [&](auto key) {
        std::sort(live.begin(), live.end(), [&](const Row& a, const Row& b) { return key(a) < key(b); });
        std::vector<std::string> out;
        for (const Row& r : live) out.push_back(dumpline(r));
        return out;
    };
    EXPECT_EQ(dump({"--key", "1"}), inorder([](const Row& r) { return pad(r.code, CODELEN); }));
    // live stays in key 2 order.
    EXPECT_EQ(dump({"--key", "2"}), inorder([](const Row& r) { return pad(r.name, NAMELEN) + pad(r.code, CODELEN); }));

    // The thread, newest first.
    EXPECT_EQ(threadcodes(), m.thread);

    // Prefix lookups by name, exact lookups by code.
    for (int i = 0; i < 6; ++i) {
        const Row& pick = live[(i * 61) % live.size()];
        std::string prefix = pick.name.substr(0, 1 + i % 3);
        std::vector<std::string> want;
        for (const Row& r : live)
            if (pad(r.name, NAMELEN).compare(0, prefix.size(), prefix) == 0) want.push_back(dumpline(r));
        EXPECT_EQ(query({"get", "c.dat", "--key", "2", prefix}), want) << prefix;
        EXPECT_EQ(query({"get", "c.dat", pick.code, "--exact"}), std::vector<std::string>{dumpline(pick)});
    }

    // Deletions: gone from every order and from the thread, marked D in place.
    std::vector<std::string> gone;
    for (size_t i = 0; i < m.rows.size() && gone.size() < 12; i += 23) gone.push_back(m.rows[i].code);
    gone.push_back(m.thread.front());
    for (const std::string& code : gone) {
        if (m.find(code) < 0) continue;
        EXPECT_EQ(ok({"delete", "c.dat", code}), "Deleted 1 record.\n") << code;
        m.remove(code);
    }
    EXPECT_TRUE(exits(1, {"delete", "c.dat", gone[0]}, "no record whose key 1 is"));
    RunResult nomatch = velnor({"get", "c.dat", gone[0], "--exact"});
    EXPECT_EQ(nomatch.code, 1);
    EXPECT_TRUE(nomatch.out.empty()) << nomatch.out;

    std::vector<std::string> withmarks;
    long ndeleted = 0;
    for (size_t i = 0; i < m.rows.size(); ++i) {
        withmarks.push_back((m.deleted[i] ? "D," : ",") + dumpline(m.rows[i]));
        ndeleted += m.deleted[i];
    }
    EXPECT_EQ(dump({}), m.active());
    EXPECT_EQ(dump({"--deleted"}), withmarks);
    EXPECT_EQ(threadcodes(), m.thread);

    RunResult info = velnor({"info", "c.dat"});
    ASSERT_EQ(info.code, 0) << info.err;
    EXPECT_TRUE(holds(info.out, vntest::cat("Records: ", m.rows.size(), " in the header count; ",
                                            m.rows.size() - ndeleted, " active, ", ndeleted, " deleted")));
    EXPECT_TRUE(holds(info.out, "Indexed on 2 keys."));
    EXPECT_EQ(info.out.find("Variable-length records.") != std::string::npos, GetParam() == 1);
}

INSTANTIATE_TEST_SUITE_P(FixedAndVariable, Records, testing::Values(0u, 1u),
                         [](const testing::TestParamInfo<unsigned>& p) { return p.param ? "Variable" : "Fixed"; });

// A hashed file has no key order: dump reads it physically and refuses a
// key, get reads it through, and an empty one lists nothing.
TEST_F(ToolTest, HashedFileIsReadInPhysicalOrder) {
    vntest::Def d{28, VN_FF_HASHED >> 1, 50, {{"ID", 'C', 0, 8}, {"NAME", 'C', 8, 20}}, {{"ID", 8, {{0, 8, 0}}}}, {}};
    writefile("h.fid", vntest::fidtext(d));
    writefile("e.fid", vntest::fidtext(d));
    std::string csv = "ID,NAME\n";
    for (int i = 1; i <= 250; i++) csv += vntest::cat("K", i, ",Name", i, "\n");
    writefile("h.csv", csv);
    writefile("e.csv", "ID,NAME\n");
    ASSERT_TRUE(exits(0, {"load", "h.dat", "--csv", "h.csv", "--create"}));
    ASSERT_TRUE(exits(0, {"load", "e.dat", "--csv", "e.csv", "--create"}));
    EXPECT_TRUE(holds(ok({"info", "h.dat"}), "Records: 250 in the header count; 250 active, 0 deleted"));
    EXPECT_EQ(lines(ok({"dump", "h.dat"})).size(), 251u);
    EXPECT_EQ(lines(ok({"get", "h.dat", "K7"})).size(), 12u);
    EXPECT_EQ(lines(ok({"get", "h.dat", "K77", "--exact"})), (std::vector<std::string>{"ID       NAME", "K77      Name77"}));
    EXPECT_TRUE(exits(2, {"dump", "h.dat", "--key", "1"}, "a hashed file keeps no key order"));
    EXPECT_EQ(lines(ok({"dump", "e.dat"})).size(), 1u);
}
