// idxbench.cc - speed of the index: inserts of random keys into a primary
// index (10-byte text) and a secondary index (40-byte text with the primary
// key appended), then a lookup of every key, then a walk of both indexes
// in key order; keys per second for each phase, in exclusive mode.
//
//   index_bench [count]   (default 1000000; 100000 suits callgrind)
#include <chrono>
#include <cstdio>
#include <ctime>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "definition/fid.h"
#include "index/btree.h"
#include "index/idxfile.h"
#include "index/pagecache.h"
#include "support/os.h"

namespace {

using Clock = std::chrono::steady_clock;

// Wall time and the process's CPU time since a start; on a shared machine
// the CPU figure is the steadier one.
struct Timer {
    Clock::time_point wall = Clock::now();
    std::clock_t cpu = std::clock();
};

void report(const char* phase, size_t keys, const Timer& t) {
    double wall = std::chrono::duration<double>(Clock::now() - t.wall).count();
    double cpu = static_cast<double>(std::clock() - t.cpu) / CLOCKS_PER_SEC;
    printf("%-8s %9zu keys %8.3f s wall %12.0f keys/s %8.3f s cpu %12.0f keys/cpu-s\n", phase, keys,
           wall, keys / wall, cpu, keys / cpu);
}

void die(const char* what, int32_t status) {
    fprintf(stderr, "index_bench: %s failed (status %d)\n", what, static_cast<int>(status));
    exit(1);
}

// Stops the run when status reports a failure.
void check(const char* what, int32_t status) {
    if (status != 0) die(what, status);
}

// The record position of key in index, 0 for none.
uint32_t find(IdxFile& f, int index, int mode) {
    uint32_t pos = 0;
    check("search", idxsearch(f, index, mode, &pos));
    return pos;
}

}  // namespace

int main(int argc, char** argv) {
    size_t count = argc > 1 ? strtoul(argv[1], nullptr, 10) : 1000000;
    const char* env = getenv("VELNOR_TEST_TMP");
    std::filesystem::path dir = std::filesystem::path(env && *env ? env : "/tmp") /
                                ("vnidxbench-" + std::to_string(std::random_device{}()));
    std::filesystem::create_directories(dir);
    std::string file = (dir / "bench.idx").string();

    FidKey keys[2] = {};
    keys[0].keylen = 10;
    keys[0].nsegs = 1;
    keys[0].seg[0] = {0, 10, 0};
    keys[1].keylen = 50;
    keys[1].nsegs = 1;
    keys[1].seg[0] = {10, 40, SEG_CASE};
    IdxFile f{};
    f.keys = keys;
    f.nkeys = 2;
    f.path = file.c_str();

    // Keys are made before the clock starts: 10 + 40 random characters.
    std::mt19937_64 rng(42);
    const char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    std::vector<char> data(count * 50);
    for (char& c : data) c = alphabet[rng() % 62];

    check("cache", pgcacheinit());
    check("create", idxcreate(f));
    int32_t fd = osopen(file.c_str(), VN_O_BINARY | VN_O_RDWR, 0);
    if (fd < 1) die("open", VN_E_IDXOPEN);
    f.fd = static_cast<uint32_t>(fd);
    check("open", idxopen(f));
    char* kb = f.state->keybuf;

    Timer t;
    for (size_t i = 0; i < count; i++) {
        const char* rec = &data[i * 50];
        memcpy(kb, rec, 10);
        check("insert", idxinsert(f, 0, static_cast<uint32_t>(i + 1)));
        memcpy(kb, rec + 10, 40);
        memcpy(kb + 40, rec, 10);
        check("insert", idxinsert(f, 1, static_cast<uint32_t>(i + 1)));
    }
    check("flush", pgflush(f.fd));
    check("header", hdrwrite(f));
    report("insert", 2 * count, t);

    t = Timer();
    size_t found = 0;
    for (size_t i = 0; i < count; i++) {
        const char* rec = &data[i * 50];
        memcpy(kb, rec, 10);
        found += find(f, 0, SRCH_EQUAL) > 0;
        memcpy(kb, rec + 10, 40);
        memcpy(kb + 40, rec, 10);
        found += find(f, 1, SRCH_EQUAL) == i + 1;
    }
    report("lookup", 2 * count, t);
    if (found != 2 * count) fprintf(stderr, "index_bench: %zu of %zu keys found\n", found, 2 * count);

    t = Timer();
    size_t walked = 0;
    for (int index = 0; index < 2; index++)
        for (uint32_t p = find(f, index, SRCH_FIRST); p > 0; p = find(f, index, SRCH_STEP))
            walked++;
    report("walk", walked, t);

    printf("file     %9u pages of %u bytes, %u entries per page (primary), %u (secondary)\n",
           f.state->nextpage, f.state->pagesize, f.state->cursor[0].cap, f.state->cursor[1].cap);
    check("close", idxclose(f));
    osclose(fd);
    pgcachefree();
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
    return found == 2 * count && walked >= count ? 0 : 1;
}
