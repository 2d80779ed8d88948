// corpus_test.cc - damaged record files: what VERIFY reports for each (its
// report lines and result, with and without going on after errors), and
// RECOVER and PACK repairing them (through a temporary directory) so that
// VERIFY is clean again with every active record kept.
#include <algorithm>
#include <filesystem>
#include <functional>

#include "maintfix.h"

namespace {

const std::string kLenErr = "  Error: Data/FID record length mismatch. Solution: PACK or Edit.";
const std::string kReadErr = "  Error reading data file.";
const std::string kIdxErr = "  Error reading index file.";
const std::string kBadEntry = "  Error: Bad/No index entry for this key. Solution: RECOVER.";
const std::string kDeleted = "  Error: Index entry is deleted in data file. Solution: RECOVER.";
const std::string kKeyCount = "  Key entries/data file header mismatch. Solution: PACK.";
const std::string kHdrCount = "  Data records/data file header mismatch. Solution: PACK.";

std::string pad(const std::string& s, size_t n) { return s + std::string(n - s.size(), ' '); }

enum { BYRECOVER = 1, BYPACK = 2 };

struct Damage {
    const char* name;
    Kind kind;
    std::function<void(const std::string& dat)> harm;
    uint32_t flags;
    int32_t result;
    std::vector<std::string> report;  // after the header line
    int repairs;                      // runs that make VERIFY clean
    std::vector<std::string> kept;    // active records afterwards
};

const std::vector<std::string> kAll = {"K01", "K02", "K04", "K05", "K06", "K08", "K09", "K10"};
const std::vector<std::string> kNo5 = {"K01", "K02", "K04", "K06", "K08", "K09", "K10"};
const std::vector<std::string> kWith11 = {"K01", "K02", "K04", "K05", "K06", "K08", "K09", "K10", "K11"};

void count12(const std::string& d) { patch(d, 1, "0000000C"); }
void deadentry(const std::string& d) { patch(d, 160, "D"); }
void rename06(const std::string& d) { patch(d, 192 + 11, "Zed06 "); }
void missing(const std::string& d) {
    patch(d, 352, " K11       Name11              \n", 0);
    patch(d, 1, "0000000C");
}

const std::vector<std::string> kLen128 = {kLenErr, "    DatPos=128   Length=32", kReadErr};
const std::string kName06 = pad("Name06", 20) + pad("K06", 10);
const std::string kZed06 = pad("Zed06", 20) + pad("K06", 10);

const Damage kDamages[] = {
    {"count", FIXLEN, count12, 0, VN_E_DATREAD, {kHdrCount, "    Recs=11  HeaderRecs=12", kReadErr}, BYPACK, kAll},
    {"countgoon", FIXLEN, count12, VN_FM_CONTINUE, 0, {kHdrCount, "    Recs=11  HeaderRecs=12", "  Successful."},
     BYPACK, kAll},
    {"nolinefeed", FIXLEN, [](const std::string& d) { patch(d, 128 + 31, "X"); }, VN_FM_CONTINUE, VN_E_DATREAD,
     kLen128, BYPACK, kAll},
    {"deadentry", FIXLEN, deadentry, 0, VN_E_DATREAD, {kDeleted, "    Key(1)=" + pad("K05", 10), kReadErr},
     BYRECOVER | BYPACK, kNo5},
    {"deadentrygoon", FIXLEN, deadentry, VN_FM_CONTINUE, 0,
     {kDeleted, "    Key(1)=" + pad("K05", 10), kDeleted, "    Key(2)=" + pad("Name05", 20) + pad("K05", 10), kKeyCount,
      kKeyCount, "  Successful."},
     BYRECOVER | BYPACK, kNo5},
    {"keychanged", FIXLEN, rename06, 0, VN_E_IDXREAD, {kBadEntry, "    DatPos=192  IdxPos=-1  Key(2)=" + kZed06, kIdxErr},
     BYRECOVER | BYPACK, kAll},
    {"keymismatch", FIXLEN, rename06, VN_FM_NORECPASS, VN_E_IDXREAD,
     {"  Error: Index entry doesn't match data record. Solution: RECOVER.",
      "    Current(2)=" + kName06 + "  Data=" + kZed06, kIdxErr},
     BYRECOVER | BYPACK, kAll},
    {"noentry", FIXLEN, missing, 0, VN_E_IDXREAD, {kBadEntry, "    DatPos=352  IdxPos=-1  Key(1)=" + pad("K11", 10), kIdxErr},
     BYRECOVER | BYPACK, kWith11},
    {"short", FIXLEN, [](const std::string& d) { patch(d, 128 + 30, "", 1); }, 0, VN_E_DATREAD, kLen128, BYPACK, kAll},
    {"long", FIXLEN, [](const std::string& d) { patch(d, 128 + 30, " ", 0); }, 0, VN_E_DATREAD, kLen128, BYPACK, kAll},
    {"garbage", VARLEN, [](const std::string& d) { patch(d, 84, "@@@", 0); }, VN_FM_CONTINUE, VN_E_DATREAD,
     {kLenErr, "    DatPos=84  Record length=36  This record=69376", kReadErr}, BYPACK, kAll},
    {"nohash", HASHED, [](const std::string&) {}, 0, VN_E_IDXREAD,
     {"  Error: No hash entry for this key. Solution: RECOVER.", "    " + pad("K04", 10), kIdxErr},
     BYRECOVER | BYPACK, kAll},
};

class Corpus : public MaintTest, public testing::WithParamInterface<Damage> {
protected:
    std::string damaged() {
        const Damage& d = GetParam();
        std::string dat = build(d.kind);
        d.harm(dat);
        // A hashed file loses the table slot of its first record.
        const std::string hsh = path("f.hsh"), slots = vntest::readfile(hsh);
        for (size_t at = 16; at + 4 <= slots.size(); at += 4)
            if (vntest::le32(slots, at) == 128) patch(hsh, at, std::string(4, '\0'));
        return dat;
    }
};

TEST_P(Corpus, VerifyReportsIt) {
    const Damage& d = GetParam();
    std::string dat = damaged();
    EXPECT_EQ(run(VN_FM_VERIFY, dat, d.flags), d.result);
    EXPECT_EQ(report(), d.report);
    if (d.result == 0) { EXPECT_EQ(line(VN_FM_MESSAGE), "Message: VERIFY completed successfuly."); }
}

TEST_P(Corpus, RepairsMakeVerifyClean) {
    const Damage& d = GetParam();
    fmsetask(answerok);
    // The new files are made in a directory of their own and copied back.
    std::filesystem::create_directory(path("tmp"));
    vfhsettmpdir(path("tmp").c_str());
    for (int32_t op : {VN_FM_RECOVER, VN_FM_PACK}) {
        SCOPED_TRACE(op);
        std::string dat = damaged();
        const bool repairs = (op == VN_FM_RECOVER ? BYRECOVER : BYPACK) & d.repairs;
        const int32_t r = run(op, dat);
        if (!repairs && r != 0) continue;  // it refused, and the file stays damaged
        EXPECT_EQ(r, 0);
        report();
        const bool packs = op == VN_FM_PACK || d.kind == HASHED;  // a hashed file is rebuilt whole
        const bool copied = logged(VN_FM_STATUS, std::string("Status: Copying temporary file") + (packs ? "s." : "."));
        EXPECT_EQ(run(VN_FM_VERIFY, dat) == 0, repairs != 0) << line(VN_FM_MESSAGE);
        if (!repairs) continue;
        EXPECT_TRUE(copied);
        EXPECT_EQ(report(), std::vector<std::string>{"  Successful."});
        std::vector<std::string> got;
        for (const auto& [id, name] : records(dat))
            if (!id.empty()) got.push_back(id);  // "long" leaves a record of blanks
        EXPECT_EQ(got, d.kept);
        EXPECT_EQ(count(".ziq") + count(".zdq"), 0);
    }
}

INSTANTIATE_TEST_SUITE_P(Maint, Corpus, testing::ValuesIn(kDamages),
                         [](const testing::TestParamInfo<Damage>& i) { return std::string(i.param.name); });

}  // namespace
