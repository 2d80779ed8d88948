// maintfix.cc - record files built through the engine, and filemaint run
// with a logging callback.
#include "maintfix.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <numeric>
#include <random>

#include "common/engine.h"

std::vector<std::pair<int, std::string>> MaintTest::log;
std::function<bool()> MaintTest::stopwhen;

namespace {

// People records (ID key 0, NAME key 1) of each kind; a variable-length
// record keeps its length in bytes 1-4, before the items.
std::string fidfor(Kind kind) {
    vntest::Def d = vntest::people(kind == VARLEN ? 1 : kind == HASHED ? 2 : 0);
    if (kind == HASHED) d.hashrecs = 50;
    d.keys.resize(kind == HASHED ? 1 : kind == RANDOM ? 0 : 2);
    return vntest::fidtext(d);
}

void fill(FHCB& cb, int i) {
    std::memset(cb.recbuf + 1, ' ', cb.reclen - 2);
    char text[40];
    std::snprintf(text, sizeof text, "K%02d       Name%02d", i, i);
    std::memcpy(vfhitemoffset(&cb, "ID"), text, std::strlen(text));
}

int32_t VELNOR_CALL logger(int32_t code, char* text) {
    MaintTest::log.emplace_back(code, text);
    return code == VN_FM_POLL && MaintTest::stopwhen && MaintTest::stopwhen() ? 1 : 0;
}

}  // namespace

void MaintTest::SetUp() {
    log.clear();
    stopwhen = nullptr;
    ASSERT_TRUE(vntest::enginestart());
}

void MaintTest::TearDown() {
    fmsetask(nullptr);
    vfhsettmpdir(nullptr);
    vntest::enginestop();
}

std::string MaintTest::build(Kind kind, int n, std::set<int> dead, const std::string& name, unsigned seed) {
    writefile(name + ".fid", fidfor(kind));
    FHCB cb{};
    std::snprintf(cb.datname, sizeof cb.datname, "%s", path(name + ".dat").c_str());
    EXPECT_EQ(vfhmake(&cb), 0);
    std::vector<int> order(static_cast<size_t>(n));
    std::iota(order.begin(), order.end(), 1);
    if (seed != 0) std::shuffle(order.begin(), order.end(), std::mt19937(seed));
    for (int i : order) {
        fill(cb, i);
        EXPECT_EQ(vfhwrite(&cb, 0), 0) << i;
    }
    for (int i : dead) {
        fill(cb, i);
        if (kind == RANDOM) {
            cb.datpos = 32 * i;  // unkeyed: rewrite in place with the mark
            cb.state |= VN_ST_CURRENT;
            cb.recbuf[0] = 'D';
            EXPECT_EQ(vfhwrite(&cb, 1), 0);
        } else {
            EXPECT_EQ(vfhdelete(&cb), 0) << i;
        }
    }
    vfhclose(&cb);
    return path(name + ".dat");
}

int32_t MaintTest::run(int32_t op, const std::string& dat, uint32_t flags) {
    log.clear();
    return filemaint(op, dat.c_str(), "", "", nullptr, flags, path("rep.txt").c_str(), logger);
}

std::vector<std::string> MaintTest::report() {
    std::vector<std::string> lines;
    std::string all = readfile("rep.txt");
    for (size_t at = 0, end; (end = all.find("\r\n", at)) != std::string::npos; at = end + 2)
        lines.push_back(all.substr(at, end - at));
    std::filesystem::remove(path("rep.txt"));
    if (!lines.empty()) lines.erase(lines.begin());
    return lines;
}

int32_t MaintTest::openfile(FHCB& cb, const std::string& dat, bool single) {
    std::snprintf(cb.datname, sizeof cb.datname, "%s", dat.c_str());
    if (vfhopen(&cb) != 0) return -1;
    if (!single) return 0;
    std::strcpy(cb.work, "SINGLE");
    cb.opcode = VN_OP_NETTYPE;
    if (filehandler(&cb) == 0) return 0;
    vfhclose(&cb);
    return -1;
}

std::map<std::string, std::string> MaintTest::records(const std::string& dat) {
    std::map<std::string, std::string> out;
    FHCB cb{};
    if (openfile(cb, dat, false) != 0) return {{"open failed", std::to_string(cb.status)}};
    vfhsetkey(&cb, 0);
    cb.datpos = cb.reclen;
    for (int32_t r; (r = vfhread(&cb, 0)) == 0 || cb.status == VN_C_DELETED;) {
        char id[11], name[21];
        if (r == 0 && vfhitemget(&cb, "ID", 0, id) == 0 && vfhitemget(&cb, "NAME", 0, name) == 0)
            out[vntest::rtrim(id)] = vntest::rtrim(name);
    }
    vfhclose(&cb);
    return out;
}

int MaintTest::repair(const std::string& dat) {
    int made = 0;
    for (int32_t fix : {VN_FM_RECOVER, VN_FM_PACK}) {
        if (run(VN_FM_VERIFY, dat) != 0) {
            EXPECT_EQ(run(fix, dat), 0);
            made++;
        }
    }
    return made;
}

std::string MaintTest::line(int code) const {
    for (auto it = log.rbegin(); it != log.rend(); ++it)
        if (it->first == code) return it->second;
    return "";
}

bool MaintTest::logged(int code, const std::string& text) const {
    for (const auto& [c, t] : log)
        if (c == code && t == text) return true;
    return false;
}

int MaintTest::count(const std::string& ext) const {
    int n = 0;
    for (const auto& e : std::filesystem::recursive_directory_iterator(tmp.dir()))
        if (e.path().extension() == ext) n++;
    return n;
}
