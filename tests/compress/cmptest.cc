// cmptest.cc - the shared helpers of the archiver tests.
#include "cmptest.h"

#include <filesystem>
#include <map>
#include <random>

#include "compress/cmpstate.h"

namespace fs = std::filesystem;

namespace cmptest {

Capture cap;

namespace {

void VELNOR_CALL onreport(const char* line) { cap.report += line; }
void VELNOR_CALL onerror(int32_t errnum) { cap.errors.push_back(errnum); }
int32_t VELNOR_CALL onstop() {
    cap.stoppolls++;
    return cap.stopafter >= 0 && cap.stoppolls > cap.stopafter ? 1 : 0;
}
int32_t VELNOR_CALL onask(const char*, const char*) { return 0; }

}  // namespace

void CmpTest::SetUp() {
    tmp = std::make_unique<vntest::TempDir>();
    dir = tmp->dir();
    olddir = fs::current_path().string();
    fs::current_path(dir);
    cap = Capture();
    runtimereset();  // options persist across calls; each test starts clean
    compress_setsinks(onreport, onerror);
    compress_sethooks(nullptr, onstop, onask);
}

void CmpTest::TearDown() {
    compress_setsinks(nullptr, nullptr);
    compress_sethooks(nullptr, nullptr, nullptr);
    fs::current_path(olddir);
    tmp.reset();
}

Bytes readfile(const std::string& path) { return textbytes(vntest::readfile(path)); }

void writefile(const std::string& path, const Bytes& data) {
    vntest::writefile(path, std::string(data.begin(), data.end()));
}

Bytes textbytes(const std::string& s) { return Bytes(s.begin(), s.end()); }

int32_t run(const char* options, const char* archive, std::vector<std::string> specs) {
    std::vector<char*> argv;
    for (auto& s : specs) argv.push_back(s.data());
    return compress_files(options, archive, static_cast<int32_t>(argv.size()), argv.data());
}

Bytes repetitive(size_t n, uint32_t seed) {
    std::mt19937 rng(seed);
    Bytes unit(1 + rng() % 40);
    for (auto& b : unit) b = static_cast<uint8_t>('a' + rng() % 6);
    Bytes out(n);
    for (size_t i = 0; i < n; i++) out[i] = unit[i % unit.size()];
    return out;
}

Bytes textlike(size_t n, uint32_t seed) {
    static const char* const words[] = {"the", "record", "index", "file", "key", "page", "of", "and", "a",
                                        "entry", "data", "to", "lock", "header", "value", "search", "tree", "in"};
    std::mt19937 rng(seed);
    Bytes out;
    out.reserve(n);
    while (out.size() < n) {
        std::string w = words[rng() % (sizeof words / sizeof *words)];
        if (rng() % 11 == 0) w += std::to_string(rng() % 1000);
        w += rng() % 13 == 0 ? ".\r\n" : " ";
        for (char c : w) if (out.size() < n) out.push_back(static_cast<uint8_t>(c));
    }
    return out;
}

Bytes incompressible(size_t n, uint32_t seed) {
    std::mt19937 rng(seed);
    Bytes out(n);
    for (auto& b : out) b = static_cast<uint8_t>(rng());
    return out;
}

Bytes packcodes(const std::vector<uint32_t>& codes, int bits) {
    Bytes out;
    uint64_t acc = 0;
    int held = 0;  // bits in acc not yet written
    for (uint32_t c : codes) {
        acc = acc << bits | c;
        for (held += bits; held >= 8; held -= 8) out.push_back(static_cast<uint8_t>(acc >> (held - 8)));
    }
    if (held == 0 && !out.empty()) out.pop_back();  // an exactly filled last byte is left out too
    return out;
}

std::vector<uint32_t> referencecodes(const Bytes& data, int bits, uint8_t firstbyte) {
    const uint32_t maxcode = (1u << bits) - 1;
    std::map<std::pair<uint32_t, uint8_t>, uint32_t> dict;
    uint32_t next = 257;
    std::vector<uint32_t> codes;
    uint32_t ent = data.empty() ? firstbyte : data[0];
    for (size_t i = 1; i < data.size(); i++) {
        if (auto it = dict.find({ent, data[i]}); it != dict.end()) {
            ent = it->second;
            continue;
        }
        codes.push_back(ent);
        if (next < maxcode) dict[{ent, data[i]}] = next++;
        else codes.push_back(256), dict.clear(), next = 257;
        ent = data[i];
    }
    codes.push_back(ent);
    return codes;
}

Bytes referencecode(const Bytes& data, int bits, uint8_t key, uint8_t firstbyte) {
    std::vector<uint32_t> codes = referencecodes(data, bits, firstbyte);
    codes.push_back((1u << bits) - 1);
    Bytes out = packcodes(codes, bits);
    for (auto& b : out) b = static_cast<uint8_t>(b + key);
    return out;
}

std::vector<Entry> entries(const Bytes& archive) {
    const std::string a(archive.begin(), archive.end());
    std::vector<Entry> out;
    for (size_t pos = 0; pos + 32 <= a.size();) {
        Entry e;
        e.name = a.substr(pos + 2, 12).c_str();
        e.method = archive[pos + 14];
        e.bits = archive[pos + 15];
        e.check = vntest::le16(a, pos + 22);
        e.size = vntest::le32(a, pos + 24);
        e.stored = vntest::le32(a, pos + 28);
        pos += 32;
        e.data = textbytes(a.substr(pos, e.stored));
        pos += e.data.size();
        out.push_back(e);
    }
    return out;
}

Bytes header(const std::string& name, uint8_t method, uint8_t bits, uint16_t check, uint32_t size,
             uint32_t stored, const Bytes& data) {
    std::string padded = name;
    padded.resize(12, '\0');
    // The date bytes follow the method and the width.
    return textbytes(vntest::cat("\xBF\x20", padded, static_cast<char>(method), static_cast<char>(bits),
                                 "\x7C\x03\x0E\x0F\x09\x1A", vntest::le16(check), vntest::le32(size),
                                 vntest::le32(stored), std::string(data.begin(), data.end())));
}

}  // namespace cmptest
