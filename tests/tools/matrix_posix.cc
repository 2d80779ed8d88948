// matrix_posix.cc - every pair of commands started at once on the same
// files, in the default and the sharing mode: each run succeeds or stops
// with the "in use" line, and afterwards the files verify clean and hold
// exactly what the successful runs put there.  VELNOR_MATRIX_RUNS sets the
// runs per pair (one by default) and prints a line per pair for
// scripts/matrix.sh.
#include <algorithm>
#include <cstdlib>
#include <map>
#include <random>
#include <set>

#include "tooltest.h"

namespace {

enum Cmd { LOAD, DELETE, GET, DUMP, VERIFY, RECOVER, PACK, KWADD, KWSEARCH, ARADD, AREXTRACT, ARDELETE, NCMD };
const char* const kNames[NCMD] = {"load", "delete", "get", "dump", "verify", "recover", "pack", "keyword-add",
                                  "keyword-search", "archive-add", "archive-extract", "archive-delete"};

// What the files should hold: the record codes, the words added with their
// values, and the archive's members with their bytes.
struct Model {
    std::set<std::string> codes;
    std::map<std::string, unsigned> words;
    std::map<std::string, std::string> members;
};

struct Outcome { int ok = 0, inuse = 0; };

class Matrix : public ToolTest, public testing::WithParamInterface<std::tuple<int, bool>> {
protected:
    void SetUp() override {
        writefile("r.fid", textfid(20, 0, {{"CODE", 'C', 0, 6}, {"NAME", 'C', 6, 10}, {"QTY", 'N', 16, 4, 1, 'R'}},
                                   {{"CODE", 6, {{0, 6, 0}}}}));
        std::string csv = "CODE,NAME,QTY\n";
        for (int i = 0; i < 10; i++) {
            csv += vntest::cat("B", i, ",base,", i, "\n");
            model.codes.insert(vntest::cat("B", i));
        }
        writefile("base.csv", csv);
        ASSERT_EQ(ok({"load", "r.dat", "--csv", "base.csv", "--create"}).empty(), false);
        ok({"keyword", "create", "k"});
        ok({"keyword", "add", "k", "1", "common"});
        model.words["common"] = 1;
        for (int i = 0; i < 3; i++) addmember(vntest::cat("m", i, ".bin"));
    }

    // Puts a member into the archive before a run, and into the model.
    void addmember(const std::string& name) {
        std::string bytes = vntest::cat(name, ":", rng());
        bytes.append(rng() % 3000, static_cast<char>('a' + rng() % 26));
        writefile(name, bytes);
        ok({"archive", "add", "a.cmp", name, "--quiet"});
        model.members[name] = bytes;
    }

    // The arguments of command c for run id, with what it needs made first.
    std::vector<std::string> prepare(int c, int id, bool shared) {
        const std::string n = std::to_string(id);
        using Args = std::vector<std::string>;
        const Args net = shared ? Args{"--network", "MSNET"} : Args{}, share = shared ? Args{"--shared"} : Args{};
        auto with = [&](std::vector<std::string> a, const std::vector<std::string>& more) {
            a.insert(a.end(), more.begin(), more.end());
            return a;
        };
        switch (c) {
        case LOAD:
            writefile("l" + n + ".csv", vntest::cat("CODE,NAME,QTY\nL", n, "a,x,1\nL", n, "b,y,2\nL", n, "c,z,3\n"));
            return with({"load", "r.dat", "--csv", "l" + n + ".csv"}, net);
        case DELETE:
            writefile("d" + n + ".csv", vntest::cat("CODE,NAME,QTY\nD", n, ",gone,1\n"));
            ok({"load", "r.dat", "--csv", "d" + n + ".csv"});
            model.codes.insert("D" + n);
            return with({"delete", "r.dat", "D" + n}, net);
        case GET: return with({"get", "r.dat", "B3"}, net);
        case DUMP: return with({"dump", "r.dat"}, net);
        case VERIFY: return with({"verify", "r.dat"}, share);
        case RECOVER: return {"recover", "r.dat", "--yes"};
        case PACK: return with({"pack", "r.dat", "--yes"}, share);
        case KWADD: return with({"keyword", "add", "k", std::to_string(1000 + id), "word" + n}, net);
        case KWSEARCH: return with({"keyword", "search", "k", "common"}, net);
        case ARADD:
            writefile("f" + n + ".bin", vntest::cat("added ", n, " ", rng()));
            return {"archive", "add", "a.cmp", "f" + n + ".bin", "--quiet"};
        case AREXTRACT: return {"archive", "extract", "a.cmp", "m1.bin", "--target", "x" + n, "--quiet"};
        default:
            addmember("d" + n + ".bin");
            return {"archive", "delete", "a.cmp", "d" + n + ".bin", "--quiet"};
        }
    }

    // Checks what a successful run reported and puts its work in the model.
    void succeeded(int c, int id, const RunResult& r) {
        const std::string n = std::to_string(id);
        switch (c) {
        case LOAD:
            for (const char* s : {"a", "b", "c"}) model.codes.insert("L" + n + s);
            break;
        case DELETE: model.codes.erase("D" + n); break;
        case GET: EXPECT_TRUE(holds(r.out, "B3")); break;
        case DUMP: EXPECT_TRUE(holds(r.out, "B9")); break;
        case KWADD: model.words["word" + n] = 1000 + id; break;
        case KWSEARCH: EXPECT_TRUE(holds(r.out, "1\n")); break;
        case ARADD: model.members["f" + n + ".bin"] = readfile("f" + n + ".bin"); break;
        case AREXTRACT: EXPECT_EQ(readfile("x" + n + "/m1.bin"), model.members["m1.bin"]); break;
        case ARDELETE: model.members.erase("d" + n + ".bin"); break;
        default: break;
        }
    }

    // The files against the model.
    void check(const std::string& pair) {
        SCOPED_TRACE(pair);
        EXPECT_TRUE(exits(0, {"verify", "r.dat"}));
        std::multiset<std::string> codes;
        for (const std::string& line : lines(ok({"dump", "r.dat", "--format", "csv", "--items", "CODE"})))
            if (line != "CODE") codes.insert(line);
        EXPECT_EQ(codes, std::multiset<std::string>(model.codes.begin(), model.codes.end()));
        EXPECT_TRUE(exits(0, {"verify", "k.kwd", "--fid", "k.kwf", "--key-file", "k.kwx"}));
        for (const auto& [word, value] : model.words)
            EXPECT_TRUE(holds(ok({"keyword", "search", "k", word}), std::to_string(value) + "\n")) << word;
        std::string listed = ok({"archive", "list", "a.cmp", "--json"});
        for (const auto& [name, bytes] : model.members) EXPECT_TRUE(holds(listed, "\"" + name + "\"")) << name;
        EXPECT_EQ(std::count(listed.begin(), listed.end(), '{'), static_cast<long>(model.members.size()));
        std::error_code ec;
        std::filesystem::remove_all(path("all"), ec);
        ok({"archive", "extract", "a.cmp", "--target", "all", "--quiet"});
        for (const auto& [name, bytes] : model.members) EXPECT_EQ(readfile("all/" + name), bytes) << name;
    }

    std::mt19937 rng{std::random_device{}()};
    Model model;
};

TEST_P(Matrix, EveryRunSucceedsOrFindsTheFilesInUseAndNothingIsLost) {
    const auto [first, shared] = GetParam();
    const char* env = std::getenv("VELNOR_MATRIX_RUNS");
    const int runs = env != nullptr && std::atoi(env) > 0 ? std::atoi(env) : 1;
    int id = 0;
    for (int second = first; second < NCMD; second++) {
        Outcome out[2];
        for (int run = 0; run < runs; run++) {
            const int cmds[2] = {first, second};
            const int ids[2] = {id + 1, id + 2};
            id += 2;
            const std::vector<std::string> args[2] = {prepare(first, ids[0], shared), prepare(second, ids[1], shared)};
            Started started[2];
            for (int side = 0; side < 2; side++)
                started[side] = startprogram(VELNOR_EXE, args[side], dir_, "", std::to_string(side),
                                             static_cast<unsigned>(rng() % 20000));
            for (int side = 0; side < 2; side++) {
                RunResult r = finishprogram(started[side]);
                if (r.code == 1 && holds(r.err, "is in use by another process")) {
                    out[side].inuse++;
                    continue;
                }
                ASSERT_EQ(r.code, 0) << kNames[cmds[side]] << " beside " << kNames[cmds[1 - side]] << ":\n"
                                     << r.err;
                out[side].ok++;
                succeeded(cmds[side], ids[side], r);
            }
        }
        const std::string pair = vntest::cat(kNames[first], " + ", kNames[second], shared ? " (shared)" : "");
        check(pair);
        if (env != nullptr)
            std::printf("matrix %-16s %-16s %-8s %4d runs  %4d %4d ok  %4d %4d in use\n", kNames[first],
                        kNames[second], shared ? "shared" : "default", runs, out[0].ok, out[1].ok, out[0].inuse,
                        out[1].inuse);
    }
}

INSTANTIATE_TEST_SUITE_P(Pairs, Matrix, testing::Combine(testing::Range(0, static_cast<int>(NCMD)), testing::Bool()),
                         [](const testing::TestParamInfo<std::tuple<int, bool>>& p) {
                             std::string name = kNames[std::get<0>(p.param)];
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name + (std::get<1>(p.param) ? "_shared" : "_default");
                         });

}  // namespace
