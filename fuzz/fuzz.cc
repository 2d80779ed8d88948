// fuzz.cc - the folder, the definitions and the sound files the fuzz
// targets share.
#include "fuzz/fuzz.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace vnfuzz {

const std::string& dir() {
    static const std::string d = [] {
        // Opening a file on a disk-backed folder can cost a millisecond, more
        // than a whole run of most targets: memory is preferred.
        std::error_code ec;
        const char* base = std::getenv("VELNOR_FUZZ_TMP");
        if (base == nullptr || *base == '\0')
            base = std::filesystem::is_directory("/dev/shm", ec) ? "/dev/shm" : std::getenv("TMPDIR");
        std::string p = std::string(base && *base ? base : "/tmp") + "/vnfuzz." +
                        std::to_string(static_cast<long>(getpid()));
        std::filesystem::remove_all(p, ec);
        if (!std::filesystem::create_directories(p, ec)) {
            std::fprintf(stderr, "fuzz: cannot make %s\n", p.c_str());
            std::abort();
        }
        return p;
    }();
    [[maybe_unused]] static const bool cleanup = std::atexit([] {
        std::error_code ec;
        std::filesystem::remove_all(dir(), ec);
    }) == 0;
    return d;
}

std::string path(const std::string& name) { return dir() + "/" + name; }

void put(const std::string& name, const void* data, size_t size) {
    std::ofstream(path(name), std::ios::binary | std::ios::trunc)
        .write(static_cast<const char*>(data), static_cast<std::streamsize>(size));
}

void put(const std::string& name, const std::string& bytes) { put(name, bytes.data(), bytes.size()); }

std::string get(const std::string& name) {
    std::ifstream in(path(name), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void copy(const std::string& from, const std::string& to) {
    std::error_code ec;
    if (std::filesystem::exists(path(from), ec)) return put(to, get(from));
    std::filesystem::remove(path(to), ec);
}

void start() {
    static const bool started = [] {
        FHCB init{};
        init.opcode = VN_OP_INIT;
        return filehandler(&init) == 0;
    }();
    if (!started) std::abort();
}

std::string fidtext(Kind kind) {
    const bool varlen = kind == VARLEN || kind == PLAINVAR;
    const int at = (varlen ? 4 : 0) + (kind == RECNO ? 5 : 0);
    const int flags = (varlen ? 1 : 0) | (kind == RECNO ? 128 : 0) | (kind == HASHED ? 2 : 0);
    const int nkeys = kind == HASHED ? 1 : kind == PLAIN || kind == PLAINVAR ? 0 : 2;
    char text[600];
    int n = std::snprintf(text, sizeof text,
                          "TKF FID v7.0\nRecLen = %d\nNItems = 4\nNKeys = %d\nFlags = %d\nHashRecs = 50\n"
                          "Item = ID,'C','L',%d,10,1,2,\nItem = NAME,'C','L',%d,20,1,0,\n"
                          "Item = AMOUNT,'N','R',%d,8,1,3,\nItem = LINK,'C','L',%d,5,1,1,\n",
                          at + 43, nkeys, flags, at, at + 10, at + 30, at + 38);
    if (nkeys > 0) n += std::snprintf(text + n, sizeof text - n, "Key = ID,10,1\n%d,10,0\n", at);
    if (nkeys > 1) std::snprintf(text + n, sizeof text - n, "Key = NAME,20,1\n%d,20,0\n", at + 10);
    return text;
}

Block::Block(const std::string& name) {
    cb.work = work;
    std::snprintf(cb.datname, sizeof cb.datname, "%s", path(name).c_str());
}

Block::~Block() {
    if (cb.recbuf != nullptr) vfhclose(&cb);
}

void Block::fill(const std::string& id, const std::string& name, const std::string& amount) {
    std::memset(cb.recbuf + 1, ' ', cb.reclen - 2u);
    vfhitemset(&cb, "ID", 0, id.c_str());
    vfhitemset(&cb, "NAME", 0, name.c_str());
    vfhitemset(&cb, "AMOUNT", 0, amount.c_str());
}

int32_t Block::remove(const std::string& id) {
    if (vfhsetkey(&cb, 1) != 0) return -1;
    std::snprintf(work, sizeof work, "%-10s", id.c_str());  // the whole ID: a hash needs it
    if (vfhposn(&cb, 1) != 0) return -1;
    // A hashed file's position reads the record; any other's is read now.
    if (!(cb.fflags & VN_FF_HASHED) && vfhread(&cb, 1) != 0) return -1;
    return vfhdelete(&cb);
}

bool build(Kind kind, const std::string& name, int n) {
    start();
    put(name + ".fid", fidtext(kind));
    Block b(name + ".dat");
    if (vfhmake(&b.cb) != 0) return false;
    char id[16];
    for (int i = 1; i <= n; ++i) {
        std::snprintf(id, sizeof id, "K%02d", i);
        b.fill(id, std::string("Name ") + id, std::to_string(i * 7));
        if (vfhwrite(&b.cb, 0) != 0) return false;
    }
    for (int i = 4; i <= n && b.cb.nkeys > 0; i += 4) {
        std::snprintf(id, sizeof id, "K%02d", i);
        if (b.remove(id) != 0) return false;
    }
    return vfhclose(&b.cb) == 0;
}

bool buildkeyword() {
    start();
    put("kw.fid", "TKF FID v7.0\nRecLen=35\nNItems=2\nNKeys=1\nFlags=0\nItem=KEYWORD,'C','L',0,30,1,0,\n"
                  "Item=POSN,'C','L',30,5,1,1,\nKey=KEYWORD,30,1\n0,30,0\n");
    Block b("kw.dat");
    const std::string posting = path("kw.pst");
    if (fhhypinit(&b.cb, posting.c_str(), 1, 1) != 0) return false;
    static const char* const words[] = {"alpha", "beta", "gamma", "delta", "apple"};
    bool ok = true;
    for (uint32_t v = 1; v <= 9; ++v)
        for (size_t w = 0; w < 5; ++w)
            if ((v + w) % 3 != 0) {
                char word[16];
                std::snprintf(word, sizeof word, "%s", words[w]);
                ok = ok && fhhypaddword(&b.cb, word, v) == 0;
            }
    ok = ok && fhhypdelete(&b.cb, 5) == 0;  // leaves free nodes
    fhhypinit(&b.cb, posting.c_str(), 0, 0);
    b.cb.recbuf = nullptr;
    return ok;
}

}  // namespace vnfuzz
