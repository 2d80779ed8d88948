// archive_test.cc - velnor archive: files in and out byte for byte, with
// and without a password; deletion by member name; and arguments checked
// before anything is written, so that a failed run leaves every file as it
// was.
// (The archiver's own cases live with its tests.)
#include <random>

#include "tooltest.h"

namespace {

class Archive : public ToolTest {
protected:
    void SetUp() override {
        ToolTest::SetUp();
        std::mt19937 rng(5);
        std::string text, noise;
        while (text.size() < 70000) text += "record " + std::to_string(rng() % 1000) + " of the file\n";
        for (int i = 0; i < 5000; ++i) noise += static_cast<char>(rng());
        files_ = {{"empty.txt", ""}, {"one.txt", "x"}, {"text.txt", text}, {"noise.bin", noise}};
        for (const auto& [name, bytes] : files_) writefile(name, bytes);
    }
    std::vector<std::pair<std::string, std::string>> files_;
};

}  // namespace

// Extracting into a folder also puts each member through a folder of the
// program's own beside it, which the archiver joins to the member's name.
TEST_F(Archive, FilesComeBackByteForByteAndDeleteMatchesMemberNames) {
    for (const char* password : {"", "secret"}) {
        std::filesystem::remove(path("a.cmp"));
        std::vector<std::string> add{"archive", "add", "a.cmp", "--password", password};
        for (const auto& f : files_) add.push_back(f.first);
        ASSERT_EQ(velnor(add).code, 0);
        std::filesystem::remove_all(path("out"));
        EXPECT_EQ(ok({"archive", "extract", "a.cmp", "--target", "out", "--password", password}),
                  "out/empty.txt  ok\nout/one.txt  ok\nout/text.txt  ok\nout/noise.bin  ok\n");
        for (const auto& [name, bytes] : files_) EXPECT_EQ(readfile("out/" + name), bytes) << name;
    }
    std::filesystem::remove(path("noise.bin"));  // no file of that name on disk
    EXPECT_EQ(ok({"archive", "delete", "a.cmp", "noise.bin", "one.*"}), "Deleted: one.txt\nDeleted: noise.bin\n");
    EXPECT_EQ(lines(velnor({"archive", "list", "a.cmp"}).out).size(), 4u);
    const std::string before = readfile("a.cmp");
    EXPECT_TRUE(exits(1, {"archive", "delete", "a.cmp", "text.txt", "gone.txt"}, "no member called gone.txt"));
    EXPECT_EQ(readfile("a.cmp"), before);
}

// A failed addition or extraction, with the program's message for it:
// arguments are checked before anything is written; no file is changed.
TEST_F(Archive, AFailedRunChangesNoFile) {
    ASSERT_EQ(velnor({"archive", "add", "a.cmp", "text.txt", "one.txt"}).code, 0);
    const std::string good = readfile("a.cmp");
    writefile("verylongname_data.csv", "x");
    struct Case {
        std::vector<std::string> args;
        int code;
        const char* message;
    } cases[] = {
        {{"add", "new.cmp", "text.txt", "missing.txt"}, 1, "velnor: missing.txt: No such file or directory"},
        {{"add", "new.cmp", "verylongname_data.csv"}, 1, "longer than the 12 characters"},
        {{"add", "new.cmp", "*.csv"}, 1, "verylongname_data.csv: the name is longer"},
        {{"add", "new.cmp", "*.xyz"}, 1, "*.xyz: no file matches"},
        {{"add", "nodir/new.cmp", "one.txt"}, 1, "nodir: cannot make the archive in this folder: No such file"},
        {{"list", "a.cmp", "--password", "elevenchars"}, 2, "up to 10 characters"},
    };
    for (Case& c : cases) {
        writefile("text.txt", "the good file");
        c.args.insert(c.args.begin(), "archive");
        RunResult r = velnor(c.args);
        EXPECT_EQ(r.code, c.code) << c.message;
        EXPECT_TRUE(holds(r.err, c.message));
        EXPECT_EQ(readfile("text.txt"), "the good file") << c.message;
        EXPECT_EQ(r.out.find("text.txt"), std::string::npos) << c.message << "\n" << r.out;
        EXPECT_FALSE(exists("new.cmp")) << c.message;
    }
    EXPECT_EQ(readfile("a.cmp"), good);
    writefile("Upper.txt", "x");
    EXPECT_TRUE(holds(velnor({"archive", "add", "new.cmp", "Upper.txt"}).err, "Upper.txt is kept as upper.txt"));
}
