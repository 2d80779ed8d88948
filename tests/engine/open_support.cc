// open_support.cc - temporary directories, definition files and command
// block set-up for the engine tests.
#include "open_support.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "engine/handles.h"

namespace fs = std::filesystem;

namespace coretest {

TempDir::TempDir() {
    const char* base = std::getenv("VELNOR_TEST_TMP");
    fs::path root = base != nullptr && *base != '\0' ? fs::path(base) : fs::temp_directory_path();
    fs::create_directories(root);
    std::random_device rd;
    std::mt19937_64 gen(rd());
    for (;;) {
        fs::path p = root / ("core" + std::to_string(gen() % 1000000000ull));
        std::error_code ec;
        if (fs::create_directory(p, ec)) {
            dir_ = p.string();
            return;
        }
    }
}

TempDir::~TempDir() {
    std::error_code ec;
    fs::remove_all(dir_, ec);
}

std::string TempDir::path(const std::string& name) const { return (fs::path(dir_) / name).string(); }

void writefile(const std::string& path, const std::string& text) {
    std::ofstream f(path, std::ios::binary | std::ios::trunc);
    f << text;
}

std::string readfile(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    std::ostringstream s;
    s << f.rdbuf();
    return s.str();
}

std::string fidtext(bool keyed, int flags) {
    std::string t = "TKF FID v7.0\nRecLen=30\nNItems=2\n";
    t += keyed ? "NKeys=1\n" : "NKeys=0\n";
    t += "Flags=" + std::to_string(flags) + "\n";
    t += "Item=ID,'C','L',0,10,1,0,\n";
    t += "Item=NAME,'C','L',10,20,1,1,\n";
    if (keyed) t += "Key=ID,10,1\n0,10,0\n";
    return t;
}

Block::Block(const std::string& datname) : buf{} {
    std::memset(&cb, 0, sizeof cb);
    std::strncpy(cb.datname, datname.c_str(), sizeof cb.datname - 1);
    cb.recbuf = buf;
}

Block::~Block() {
    if (fhnode(&cb) != nullptr) op(VN_OP_CLOSE);
}

int32_t Block::op(int opcode) {
    cb.opcode = static_cast<uint8_t>(opcode);
    return filehandler(&cb);
}

int32_t Block::write(const char* record) {
    std::memset(buf, ' ', cb.reclen);
    size_t n = std::strlen(record);
    std::memcpy(buf + 1, record, n < cb.reclen - 2u ? n : cb.reclen - 2u);
    buf[0] = ' ';
    buf[cb.reclen - 1] = '\n';
    return op(VN_OP_WRITE);
}

void Block::at(int32_t pos) {
    cb.datpos = pos;
    cb.state |= VN_ST_CURRENT;
}

int32_t Block::readat(int32_t pos) {
    at(pos);
    return op(VN_OP_READ);
}

void Block::setnet(const char* name) {
    std::strcpy(cb.work, name);
    ASSERT_EQ(op(VN_OP_NETTYPE), 0);
}

std::string Block::record() const { return std::string(buf + 1, cb.reclen - 2u); }

void EngineTest::SetUp() {
    FHCB init{};
    init.opcode = VN_OP_INIT;
    ASSERT_EQ(filehandler(&init), 0);
}

void EngineTest::TearDown() {
    FHCB stop{};
    stop.opcode = VN_OP_SHUTDOWN;
    filehandler(&stop);  // back to a count of 0
    filehandler(&stop);  // really stops
}

std::string EngineTest::makefile(const std::string& name, bool keyed) {
    std::string dat = tmp.path(name + ".dat");
    writefile(tmp.path(name + ".fid"), fidtext(keyed));
    Block b(dat);
    EXPECT_EQ(b.op(VN_OP_CREATE), 0) << int(b.cb.status);
    EXPECT_EQ(b.op(VN_OP_CLOSE), 0) << int(b.cb.status);
    return dat;
}

}  // namespace coretest
