// archive_test.cc - velnor archive: files in and out byte for byte, with
// and without a password; the listing in its three forms; deletion by
// member name; arguments checked before anything is written; and damaged,
// truncated or foreign archives that must leave every file as it was.
#include <random>

#include "tooltest.h"
#include "velnor.h"

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
        for (const auto& [name, bytes] : files_) write(name, bytes);
    }
    RunResult archive(std::vector<std::string> args) {
        args.insert(args.begin(), "archive");
        return velnor(args);
    }
    RunResult addall(const std::string& arc, const std::vector<std::string>& more = {}) {
        std::vector<std::string> add{"add", arc};
        for (const auto& f : files_) add.push_back(f.first);
        add.insert(add.end(), more.begin(), more.end());
        return archive(add);
    }
    std::vector<std::pair<std::string, std::string>> files_;
};

}  // namespace

TEST_F(Archive, FilesComeBackByteForByte) {
    for (const char* password : {"", "secret"}) {
        std::filesystem::remove(path("a.cmp"));
        ASSERT_EQ(addall("a.cmp", {"--password", password}).code, 0);
        std::filesystem::remove_all(path("out"));
        RunResult x = archive({"extract", "a.cmp", "--target", "out", "--password", password});
        ASSERT_EQ(x.code, 0) << x.err;
        EXPECT_EQ(x.out, "out/empty.txt  ok\nout/one.txt  ok\nout/text.txt  ok\nout/noise.bin  ok\n");
        for (const auto& [name, bytes] : files_) EXPECT_EQ(read("out/" + name), bytes) << name;
    }
}

TEST_F(Archive, ListingsShowEveryFieldInColumnsJsonOrTheArchiversText) {
    write("text.txt", "ABC");
    ASSERT_EQ(archive({"add", "a", "text.txt", "one.txt"}).code, 0);
    RunResult list = archive({"list", "a.cmp"});
    ASSERT_EQ(list.code, 0) << list.err;
    std::vector<std::string> l = lines(list.out);
    ASSERT_EQ(l.size(), 4u) << list.out;
    EXPECT_EQ(l[0], "Name          Date        Time            Size      Stored  Saving  Method  Width  Check");
    EXPECT_EQ(l[1].substr(0, 16), "text.txt      20");  // a four-digit year
    EXPECT_EQ(l[1].substr(34), "           3           3      0%  stored      9   00c6");
    EXPECT_EQ(l[3].substr(0, 7), "2 files");
    RunResult json = archive({"list", "a.cmp", "--json", "t*"});
    EXPECT_NE(json.out.find("{\"name\": \"text.txt\", \"date\": \"20"), std::string::npos) << json.out;
    EXPECT_NE(json.out.find("\"size\": 3, \"stored\": 3, \"saving\": 0, \"method\": \"stored\", "
                            "\"width\": 9, \"check\": \"00c6\"}\n]\n"),
              std::string::npos) << json.out;
    RunResult raw = archive({"list", "a.cmp", "--raw", "--bits", "--quiet"});
    EXPECT_EQ(lines(raw.out).at(2), " File Name      Date     Time   Bits");
}

TEST_F(Archive, DeleteMatchesMembersByTheirNamesInTheArchive) {
    ASSERT_EQ(addall("a.cmp").code, 0);
    std::filesystem::remove(path("noise.bin"));  // no file of that name on disk
    RunResult d = archive({"delete", "a.cmp", "noise.bin", "one.*"});
    ASSERT_EQ(d.code, 0) << d.err;
    EXPECT_EQ(d.out, "Deleted: one.txt\nDeleted: noise.bin\n");
    EXPECT_EQ(lines(archive({"list", "a.cmp"}).out).size(), 4u);
    std::string before = read("a.cmp");
    RunResult none = archive({"delete", "a.cmp", "text.txt", "gone.txt"});
    EXPECT_EQ(none.code, 1);
    EXPECT_NE(none.err.find("no member called gone.txt"), std::string::npos) << none.err;
    EXPECT_EQ(read("a.cmp"), before);
}

TEST_F(Archive, AddChecksEveryArgumentFirst) {
    write("verylongname_data.csv", "x");
    write("Upper.txt", "x");
    struct Case {
        std::vector<std::string> files;
        const char* message;
    } cases[] = {{{"text.txt", "missing.txt"}, "velnor: missing.txt: No such file or directory"},
                 {{"verylongname_data.csv"}, "longer than the 12 characters"},
                 {{"*.csv"}, "verylongname_data.csv: the name is longer"},
                 {{"*.xyz"}, "*.xyz: no file matches"}};
    for (const Case& c : cases) {
        std::vector<std::string> add{"add", "new.cmp"};
        add.insert(add.end(), c.files.begin(), c.files.end());
        RunResult r = archive(add);
        EXPECT_EQ(r.code, 1) << c.message;
        EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
        EXPECT_FALSE(exists("new.cmp")) << c.message;
    }
    RunResult upper = archive({"add", "new.cmp", "Upper.txt"});
    EXPECT_NE(upper.err.find("Upper.txt is kept as upper.txt"), std::string::npos) << upper.err;
}

TEST_F(Archive, AFailedExtractionLeavesTheOldFile) {
    ASSERT_EQ(archive({"add", "a.cmp", "text.txt", "one.txt"}).code, 0);
    std::string good = read("a.cmp");
    write("cut.cmp", good.substr(0, 500));
    write("tiny.cmp", good.substr(0, 20));
    std::string damaged = good;
    for (size_t i = 200; i < 260; ++i) damaged[i] = static_cast<char>(damaged[i] ^ 0x5A);
    write("bad.cmp", damaged);
    write("junk.cmp", std::string(100, 'j'));
    struct Case {
        std::vector<std::string> args;
        const char* message;
    } cases[] = {
        {{"extract", "cut.cmp", "--overwrite"}, "text.txt; the archive ends inside it"},
        {{"extract", "tiny.cmp", "--overwrite"}, "tiny.cmp: cut short inside the entry header"},
        {{"extract", "bad.cmp", "--overwrite"}, "text.txt; the file there is left as it was"},
        {{"extract", "a.cmp", "--overwrite", "--password", "nope"}, "its check value differs"},
        {{"extract", "junk.cmp"}, "junk.cmp: not an archive (Not a COMPRESS file.)"},
        {{"list", "junk.cmp"}, "junk.cmp: not an archive"},
        {{"list", "none.cmp"}, "none.cmp: No such file or directory"},
        {{"list", "a.cmp", "--password", "elevenchars"}, "up to 10 characters"},
    };
    for (const Case& c : cases) {
        write("text.txt", "the good file");
        RunResult r = archive(c.args);
        EXPECT_NE(r.code, 0) << c.message;
        EXPECT_NE(r.err.find(c.message), std::string::npos) << c.message << "\n" << r.err;
        EXPECT_EQ(read("text.txt"), "the good file") << c.message;
        EXPECT_EQ(r.out.find("text.txt"), std::string::npos) << c.message << "\n" << r.out;
    }
    EXPECT_EQ(read("a.cmp"), good);
}

// The archiver itself joins a target folder and a name with the system's
// separator.
TEST_F(ToolTest, TheArchiverPutsExtractedFilesInsideTheTargetFolder) {
    write("a.txt", "alpha");
    std::filesystem::create_directory(path("dir"));
    std::filesystem::path cwd = std::filesystem::current_path();
    std::filesystem::current_path(dir_);  // the target folder holds 40 characters
    EXPECT_EQ(compress_file_list("-A", "t.cmp", "a.txt"), 0);
    EXPECT_EQ(compress_file_list("-XOT\"dir\"", "t.cmp", ""), 0);
    std::filesystem::current_path(cwd);
    EXPECT_EQ(read("dir/a.txt"), "alpha");
}
