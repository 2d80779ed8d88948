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

void die(const char* what, const FHCB& cb) {
    fprintf(stderr, "index_bench: %s failed (status %d, cache error %d)\n", what, cb.status,
            static_cast<int>(cacheerror));
    exit(1);
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
    FHCB cb{};
    cb.keys = keys;
    cb.nkeys = 2;
    snprintf(cb.idxname, sizeof cb.idxname, "%s", file.c_str());

    // Keys are made before the clock starts: 10 + 40 random characters.
    std::mt19937_64 rng(42);
    const char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    std::vector<char> data(count * 50);
    for (char& c : data) c = alphabet[rng() % 62];

    if (pgcacheinit() != 0 || idxcreate(&cb) != 0) die("create", cb);
    int32_t fd = osopen(file.c_str(), VN_O_BINARY | VN_O_RDWR, 0);
    cb.idxfd = static_cast<uint32_t>(fd);
    if (fd < 1 || idxopen(&cb) != 0) die("open", cb);
    char* kb = cb.index->keybuf;

    Timer t;
    for (size_t i = 0; i < count; i++) {
        const char* rec = &data[i * 50];
        memcpy(kb, rec, 10);
        if (idxinsert(&cb, 0, static_cast<uint32_t>(i + 1)) != 0) die("insert", cb);
        memcpy(kb, rec + 10, 40);
        memcpy(kb + 40, rec, 10);
        if (idxinsert(&cb, 1, static_cast<uint32_t>(i + 1)) != 0) die("insert", cb);
    }
    if (pgflush(&cb) != 0 || hdrwrite(&cb) != 0) die("flush", cb);
    report("insert", 2 * count, t);

    t = Timer();
    size_t found = 0;
    for (size_t i = 0; i < count; i++) {
        const char* rec = &data[i * 50];
        memcpy(kb, rec, 10);
        found += idxsearch(&cb, 0, SRCH_EQUAL) > 0;
        memcpy(kb, rec + 10, 40);
        memcpy(kb + 40, rec, 10);
        found += idxsearch(&cb, 1, SRCH_EQUAL) == static_cast<int32_t>(i + 1);
    }
    report("lookup", 2 * count, t);
    if (found != 2 * count) fprintf(stderr, "index_bench: %zu of %zu keys found\n", found, 2 * count);

    t = Timer();
    size_t walked = 0;
    for (int index = 0; index < 2; index++)
        for (int32_t p = idxsearch(&cb, index, SRCH_FIRST); p > 0; p = idxsearch(&cb, index, SRCH_STEP))
            walked++;
    report("walk", walked, t);

    printf("file     %9u pages of %u bytes, %u entries per page (primary), %u (secondary)\n",
           cb.index->nextpage, cb.index->pagesize, cb.index->cursor[0].cap, cb.index->cursor[1].cap);
    if (idxclose(&cb) != 0) die("close", cb);
    osclose(fd);
    pgcachefree();
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
    return found == 2 * count && walked >= count ? 0 : 1;
}
