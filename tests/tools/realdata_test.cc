// realdata_test.cc - names from many countries, as a customer file holds
// them: keys that begin with a byte above 0x7F (UTF-8 and Windows-1252
// text) and negative numbers, walked in key order against a sort under the
// engine's order, verified, packed and verified again.
#include <algorithm>
#include <random>

#include "tooltest.h"

namespace {

const int IDLEN = 8, NAMELEN = 30;

// The engine's order of a case-blind text part: signed bytes, lower-case
// ASCII letters raised to upper case, over the whole blank-padded part.
bool textbefore(const std::string& a, const std::string& b) {
    for (size_t i = 0; i < static_cast<size_t>(NAMELEN); ++i) {
        auto up = [](const std::string& s, size_t i) {
            const signed char c = static_cast<signed char>(i < s.size() ? s[i] : ' ');
            return c >= 'a' && c <= 'z' ? c - 32 : c;
        };
        if (up(a, i) != up(b, i)) return up(a, i) < up(b, i);
    }
    return false;
}

struct Person {
    long id;
    std::string name;
};

// The records dump writes as CSV, without the header row.
std::vector<Person> parsedump(const std::string& csv) {
    std::vector<Person> out;
    std::vector<std::string> rows = lines(csv);
    for (size_t i = 1; i < rows.size(); ++i) {
        const size_t comma = rows[i].find(',');
        out.push_back({std::stol(rows[i].substr(0, comma)), rows[i].substr(comma + 1)});
    }
    return out;
}

class RealData : public ToolTest {
protected:
    void SetUp() override {
        writefile("p.fid", textfid(IDLEN + NAMELEN, 0, {{"ID", 'N', 0, IDLEN, 1, 'R'}, {"NAME", 'C', IDLEN, NAMELEN}},
                                   {{"ID", IDLEN, {{0, IDLEN, 2}}}, {"NAME", NAMELEN, {{IDLEN, NAMELEN, 0}}}}));
    }
    // Loads the people, walks both keys and checks them against the sort.
    void loadandwalk(const std::vector<Person>& people, const std::string& encoding) {
        std::string csv = "ID,NAME\n";
        for (const Person& p : people) csv += std::to_string(p.id) + "," + p.name + "\n";
        writefile("p.csv", csv);
        ASSERT_EQ(velnor({"load", "p.dat", "--csv", "p.csv", "--create"}).code, 0);
        std::vector<Person> byid = people, byname = people;
        std::sort(byid.begin(), byid.end(), [](const Person& a, const Person& b) { return a.id < b.id; });
        std::stable_sort(byname.begin(), byname.end(),
                         [](const Person& a, const Person& b) { return textbefore(a.name, b.name); });
        // Equal names follow their primary keys.
        for (auto at = byname.begin(); at != byname.end();) {
            auto end = std::find_if(at, byname.end(), [&](const Person& p) { return textbefore(at->name, p.name); });
            std::sort(at, end, [](const Person& a, const Person& b) { return a.id < b.id; });
            at = end;
        }
        for (int key : {1, 2}) {
            RunResult r = velnor({"dump", "p.dat", "--key", std::to_string(key), "--format", "csv", "--encoding", encoding});
            ASSERT_EQ(r.code, 0) << r.err;
            std::vector<Person> got = parsedump(r.out), &want = key == 1 ? byid : byname;
            ASSERT_EQ(got.size(), want.size()) << "key " << key;
            for (size_t i = 0; i < got.size(); ++i)
                ASSERT_TRUE(got[i].id == want[i].id) << "key " << key << " record " << i << ": " << got[i].id
                                                     << " " << got[i].name << ", expected " << want[i].id;
        }
    }
};

}  // namespace

// Keys that begin with a byte above 0x7F (UTF-8 and Windows-1252 text) and
// negative numbers: both key orders, a verdict of sound that says why the
// library's own check differs, and a pack that loses nothing.
TEST_F(RealData, InternationalNamesAndNegativeNumbersAreWalkedVerifiedAndPacked) {
    const char* const names[] = {"\xC9milie", "\xD8rsted", "\xC1ngel", "Zo\xEB", "\xFC" "ber", "anna", "\x8Aimon",
                                 "Émile Zola", "Łukasz Żak", "Иван Петров", "王芳", "müller gmbh", "Zürich Re",
                                 "adam smith", "ÇELİK", "çelik", "José García", "jose garcia"};
    std::mt19937 rng(25);
    std::vector<Person> people;
    for (long i = 0; i < 50000; ++i)  // the size of a real customer file
        people.push_back({i * 3 - 20000, names[rng() % std::size(names)] + std::string(" ") + std::to_string(rng() % 1000)});
    std::shuffle(people.begin(), people.end(), rng);
    loadandwalk(people, "cp1252");
    RunResult v = velnor({"verify", "p.dat"});
    EXPECT_EQ(v.code, 0) << v.out << v.err;
    EXPECT_TRUE(holds(v.out, "the file is sound; the library's check cannot see them"));
    ASSERT_EQ(velnor({"pack", "p.dat"}).code, 0);
    v = velnor({"verify", "p.dat", "--json"});
    EXPECT_EQ(v.code, 0) << v.out << v.err;
    EXPECT_TRUE(holds(v.out, "\"verdict\": \"sound\""));
    EXPECT_EQ(lines(ok({"dump", "p.dat", "--key", "2", "--format", "csv"})).size(), people.size() + 1);
}

// A keyword that goes on with a byte above 0x7F sorts below the blank
// the library pads a prefix with; the program's listing still finds it.
TEST_F(ToolTest, KeywordListShowsWordsWithAccents) {
    ASSERT_EQ(velnor({"keyword", "create", "towns"}).code, 0);
    ok({"keyword", "add", "towns", "4", "köln", "kiel", "zürich", "Über", "zug"});
    EXPECT_EQ(lines(velnor({"keyword", "list", "towns", "4"}).out),
              (std::vector<std::string>{"köln", "kiel", "zürich", "zug", "Über"}));
    EXPECT_EQ(velnor({"keyword", "list", "towns", "4", "--prefix", "k"}).out, "köln\nkiel\n");
    EXPECT_TRUE(exits(1, {"keyword", "delete", "towns", "999999"}, "no word holds the value 999999"));
    EXPECT_EQ(velnor({"keyword", "delete", "towns", "4"}).out, "Removed 4 from 5 words.\n");
}
