// realdata_test.cc - names from many countries, as a customer file holds
// them: keys that begin with a byte above 0x7F (UTF-8 and Windows-1252
// text) and negative numbers, walked in key order against a sort under the
// engine's order, verified, packed and verified again.
#include <algorithm>
#include <random>

#include "tooltest.h"

namespace {

const size_t NAMELEN = 30;

// The engine's order of a case-blind text part: signed bytes, lower-case
// ASCII letters raised to upper case, over the whole blank-padded part.
std::string sortkey(const std::string& name) {
    std::string k(NAMELEN, ' ');
    for (size_t i = 0; i < NAMELEN && i < name.size(); ++i) {
        const char c = name[i];
        k[i] = static_cast<char>((c >= 'a' && c <= 'z' ? c - 32 : c) ^ 0x80);  // signed as unsigned
    }
    return k;
}

}  // namespace

// Both key orders, a verdict of sound that says why the library's own check
// differs, and a pack that loses nothing.
TEST_F(ToolTest, InternationalNamesAndNegativeNumbersAreWalkedVerifiedAndPacked) {
    writefile("p.fid", textfid(8 + NAMELEN, 0, {{"ID", 'N', 0, 8, 1, 'R'}, {"NAME", 'C', 8, NAMELEN}},
                               {{"ID", 8, {{0, 8, 2}}}, {"NAME", NAMELEN, {{8, NAMELEN, 0}}}}));
    const char* const names[] = {"\xC9milie", "\xD8rsted", "\xC1ngel", "Zo\xEB", "\xFC" "ber", "anna", "\x8Aimon",
                                 "Émile Zola", "Łukasz Żak", "Иван Петров", "王芳", "müller gmbh", "Zürich Re",
                                 "adam smith", "ÇELİK", "çelik", "José García", "jose garcia"};
    std::mt19937 rng(25);
    std::vector<std::pair<long, std::string>> byid;  // id, name
    for (long i = 0; i < 50000; ++i)  // the size of a real customer file
        byid.emplace_back(i * 3 - 20000, names[rng() % std::size(names)] + std::string(" ") + std::to_string(rng() % 1000));
    std::vector<std::pair<long, std::string>> shuffled = byid;
    std::shuffle(shuffled.begin(), shuffled.end(), rng);
    std::string csv = "ID,NAME\n";
    for (const auto& [id, name] : shuffled) csv += vntest::cat(id, ",", name, "\n");
    writefile("p.csv", csv);
    ASSERT_EQ(velnor({"load", "p.dat", "--csv", "p.csv", "--create"}).code, 0);
    // Equal names follow their primary keys.
    std::vector<std::pair<std::string, long>> byname;
    for (const auto& [id, name] : byid) byname.emplace_back(sortkey(name), id);
    std::sort(byname.begin(), byname.end());
    for (int key : {1, 2}) {
        std::vector<std::string> rows = lines(ok({"dump", "p.dat", "--key", std::to_string(key), "--format", "csv",
                                                  "--items", "ID", "--encoding", "cp1252"}));
        ASSERT_EQ(rows.size(), byid.size() + 1) << "key " << key;
        for (size_t i = 0; i < byid.size(); ++i)
            ASSERT_EQ(std::stol(rows[i + 1]), key == 1 ? byid[i].first : byname[i].second) << "key " << key << " row " << i;
    }
    RunResult v = velnor({"verify", "p.dat"});
    EXPECT_EQ(v.code, 0) << v.out << v.err;
    EXPECT_TRUE(holds(v.out, "the file is sound; the library's check cannot see them"));
    ASSERT_EQ(velnor({"pack", "p.dat"}).code, 0);
    v = velnor({"verify", "p.dat", "--json"});
    EXPECT_EQ(v.code, 0) << v.out << v.err;
    EXPECT_TRUE(holds(v.out, "\"verdict\": \"sound\""));
    EXPECT_EQ(lines(ok({"dump", "p.dat", "--key", "2", "--format", "csv"})).size(), byid.size() + 1);
}
