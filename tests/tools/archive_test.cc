// archive_test.cc - velnor archive: files in and out byte for byte, with
// and without a password, the listing, deletion, and damaged or foreign
// archives.
#include <random>

#include "tooltest.h"

namespace {

class Archive : public ToolTest {
protected:
    void SetUp() override {
        ToolTest::SetUp();
        std::mt19937 rng(5);
        std::string text;
        while (text.size() < 70000) text += "record " + std::to_string(rng() % 1000) + " of the file\n";
        std::string noise;
        for (int i = 0; i < 5000; ++i) noise += static_cast<char>(rng());
        files_ = {{"empty.txt", ""}, {"one.txt", "x"}, {"text.txt", text}, {"noise.bin", noise}};
        for (const auto& [name, bytes] : files_) write(name, bytes);
    }
    std::vector<std::string> names() {
        std::vector<std::string> n;
        for (const auto& f : files_) n.push_back(f.first);
        return n;
    }
    RunResult archive(std::vector<std::string> args) {
        args.insert(args.begin(), "archive");
        return velnor(args);
    }
    std::vector<std::pair<std::string, std::string>> files_;
};

}  // namespace

TEST_F(Archive, FilesComeBackByteForByte) {
    for (const char* password : {"", "secret"}) {
        std::vector<std::string> add{"add", "a.cmp"};
        for (const auto& n : names()) add.push_back(n);
        if (*password) add.insert(add.end(), {"--password", password});
        std::filesystem::remove(path("a.cmp"));
        RunResult r = archive(add);
        ASSERT_EQ(r.code, 0) << r.err;

        std::vector<std::string> extract{"extract", "a.cmp", "--target", "out"};
        if (*password) extract.insert(extract.end(), {"--password", password});
        std::filesystem::remove_all(path("out"));
        RunResult x = archive(extract);
        ASSERT_EQ(x.code, 0) << x.err;
        for (const auto& [name, bytes] : files_) {
            // An empty file is kept as one code and comes back as one byte.
            if (bytes.empty()) EXPECT_EQ(read("out/" + name).size(), 1u);
            else EXPECT_EQ(read("out/" + name), bytes) << name;
        }
    }
}

TEST_F(Archive, ListingShowsEachEntryAndTheTotals) {
    ASSERT_EQ(archive({"add", "a", "text.txt", "one.txt"}).code, 0);
    EXPECT_TRUE(exists("a.cmp")) << "the extension is added";
    RunResult list = archive({"list", "a.cmp"});
    ASSERT_EQ(list.code, 0) << list.err;
    std::vector<std::string> l = lines(list.out);
    ASSERT_EQ(l.size(), 8u) << list.out;
    EXPECT_EQ(l[0], "COMPRESS File: a.cmp");
    EXPECT_EQ(l[2], " File Name      Date     Time       Size       Now    %   CRC");
    EXPECT_EQ(l[4].substr(0, 14), "text.txt      ");
    EXPECT_EQ(l[5].substr(0, 14), "one.txt       ");
    EXPECT_EQ(l[6], " ----                            --------  --------  ----");
    EXPECT_EQ(l[7].substr(0, 5), " 0002");
    RunResult bits = archive({"list", "a.cmp", "--bits", "--quiet", "one*"});
    ASSERT_EQ(bits.code, 0);
    EXPECT_EQ(lines(bits.out).at(2), " File Name      Date     Time   Bits");
    EXPECT_EQ(lines(bits.out).size(), 7u) << bits.out;
}

TEST_F(Archive, DeleteTakesOnlyTheNamedEntriesOut) {
    std::vector<std::string> add{"add", "a.cmp"};
    for (const auto& n : names()) add.push_back(n);
    ASSERT_EQ(archive(add).code, 0);
    RunResult d = archive({"delete", "a.cmp", "noise.bin"});
    ASSERT_EQ(d.code, 0) << d.err;
    EXPECT_NE(d.out.find("Deleting: noise.bin"), std::string::npos) << d.out;
    RunResult list = archive({"list", "a.cmp"});
    EXPECT_EQ(list.out.find("noise.bin"), std::string::npos);
    EXPECT_NE(list.out.find("text.txt"), std::string::npos);
    EXPECT_EQ(archive({"delete", "a.cmp"}).code, 2) << "delete needs names";
}

TEST_F(Archive, DamagedForeignAndMissingArchivesFail) {
    ASSERT_EQ(archive({"add", "a.cmp", "text.txt"}).code, 0);
    std::string good = read("a.cmp");

    std::string damaged = good;
    for (size_t i = 200; i < 260; ++i) damaged[i] = static_cast<char>(damaged[i] ^ 0x5A);
    write("d.cmp", damaged);
    RunResult x = archive({"extract", "d.cmp", "--target", "out"});
    EXPECT_EQ(x.code, 1);
    EXPECT_TRUE(x.err.find("CRC failure. (error 6)") != std::string::npos ||
                x.err.find("Corrupt COMPRESS file. (error 3)") != std::string::npos)
        << x.err;

    RunResult wrong = archive({"extract", "a.cmp", "--target", "out2", "--password", "nope"});
    EXPECT_EQ(wrong.code, 1) << "a wrong password must not pass for the data";

    write("junk.cmp", std::string(100, 'j'));
    RunResult junk = archive({"extract", "junk.cmp"});
    EXPECT_EQ(junk.code, 1);
    EXPECT_NE(junk.err.find("velnor: junk.cmp: Not a COMPRESS file. (error 2)"), std::string::npos)
        << junk.err;

    RunResult missing = archive({"list", "none.cmp"});
    EXPECT_EQ(missing.code, 1);
    EXPECT_NE(missing.err.find("Unable to open COMPRESS file."), std::string::npos) << missing.err;

    RunResult longpw = archive({"list", "a.cmp", "--password", "elevenchars"});
    EXPECT_EQ(longpw.code, 1);
    EXPECT_NE(longpw.err.find("Bad password."), std::string::npos) << longpw.err;
    EXPECT_EQ(read("a.cmp"), good);
}
