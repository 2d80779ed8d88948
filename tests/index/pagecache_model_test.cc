// pagecache_model_test.cc - the page cache against a plain model that ages
// every occupied slot on each lookup and picks victims by a full scan:
// random writes, reads and flushes over two files of different page sizes
// must leave the same pages in the same slots with the same ages and dirty
// flags, ages must wrap as 16-bit counters, and every page must read back
// the bytes last written to it.
#include <cstring>
#include <map>
#include <random>

#include "idxfixture.h"

namespace {

struct ModelSlot {
    uint32_t file = 0, page = 0;
    uint16_t age = 0;
    uint8_t dirty = 0;
};

// The cache as a linear table: what the real one must behave like.
struct Model {
    ModelSlot s[PGCACHE_SLOTS];
    int used = 0;

    int lookup(uint32_t file, uint32_t page) {
        int found = -1;
        for (int i = 0; i < used; i++) {
            if (s[i].file == 0) continue;
            if (found < 0 && s[i].file == file && s[i].page == page) {
                s[i].age = 0;
                found = i;
            } else {
                s[i].age++;
            }
        }
        return found;
    }
    int put(uint32_t file, uint32_t page, bool look) {
        int slot = look ? lookup(file, page) : -1;
        if (slot >= 0) return slot;
        int freeslot = -1, victim = -1;
        for (int i = 0; i < used; i++) {
            if (s[i].file == 0) {
                if (freeslot < 0) freeslot = i;
            } else if (victim < 0 || s[i].age >= s[victim].age) {
                victim = i;
            }
        }
        slot = freeslot >= 0 ? freeslot : used < PGCACHE_SLOTS ? used++ : victim;
        s[slot] = {file, page, 0, 0};
        return slot;
    }
    void write(uint32_t file, uint32_t page) { s[put(file, page, true)].dirty = 1; }
    void read(uint32_t file, uint32_t page) {
        if (lookup(file, page) < 0) put(file, page, false);
    }
    void flush(uint32_t file) {
        for (int i = used - 1; i >= 0; i--)
            if (s[i].file == file) s[i] = {};
        while (used > 0 && s[used - 1].file == 0) used--;
    }
};

class PageCacheModelTest : public IndexTest {
protected:
    void same(const Model& m, int step) {
        ASSERT_EQ(pgcache.used, m.used) << "step " << step;
        for (int i = 0; i < m.used; i++) {
            const PageSlot& s = pgcache.slots[i];
            ASSERT_EQ(s.file, m.s[i].file) << "step " << step << " slot " << i;
            if (s.file == 0) continue;
            ASSERT_EQ(s.page, m.s[i].page) << "step " << step << " slot " << i;
            ASSERT_EQ(static_cast<uint16_t>(s.age), m.s[i].age) << "step " << step << " slot " << i;
            ASSERT_EQ(s.dirty, m.s[i].dirty) << "step " << step << " slot " << i;
        }
    }
};

TEST_F(PageCacheModelTest, SlotsAgesAndContentsFollowTheLinearModel) {
    TestIndex a(path("a.idx"), {{{5, 0}}}), b(path("b.idx"), {{{10, 0}}});
    ASSERT_EQ(a.make(), 0);
    ASSERT_EQ(b.make(), 0);
    Model m;
    ASSERT_EQ(pgcache.used, 0);
    std::map<std::pair<int, uint32_t>, uint8_t> written;  // (file, page) -> fill
    std::mt19937 rng(7);
    TestIndex* files[2] = {&a, &b};
    int step = 0;
    auto writepage = [&](int fi, uint32_t page) {
        TestIndex& f = *files[fi];
        const uint8_t fill = static_cast<uint8_t>(rng());
        memset(f.st()->cursor[0].img, fill, f.st()->pagesize);
        ASSERT_EQ(pgwrite(f.f, 0, page), 0);
        m.write(f.f.fd, page);
        written[{fi, page}] = fill;
    };
    auto readpage = [&](int fi, uint32_t page) {
        TestIndex& f = *files[fi];
        const uint8_t fill = written.at({fi, page});
        memset(f.st()->cursor[0].img, ~fill, f.st()->pagesize);
        ASSERT_EQ(pgread(f.f, 0, page), 0);
        m.read(f.f.fd, page);
        const uint8_t* img = f.st()->cursor[0].img;
        for (unsigned i = 0; i < f.st()->pagesize; i++) ASSERT_EQ(img[i], fill) << "step " << step << " byte " << i;
    };
    auto flush = [&](int fi) {
        ASSERT_EQ(pgflush(files[fi]->f.fd), 0);
        m.flush(files[fi]->f.fd);
    };
    for (step = 0; step < 20000; step++) {
        const int fi = rng() % 4 == 0 ? 1 : 0;
        const uint32_t page = 1 + rng() % 180;
        const unsigned what = rng() % 100;
        if (what < 2)
            flush(fi);
        else if (what < 45 || !written.count({fi, page}))
            writepage(fi, page);
        else
            readpage(fi, page);
        if (HasFatalFailure()) return;
        same(m, step);
        if (HasFatalFailure()) return;
    }
    // A hot set of 127 pages leaves one slot untouched until its age has
    // wrapped past 65535; the victim is then the oldest by the wrapped count.
    flush(0);
    flush(1);
    for (uint32_t p = 1; p <= PGCACHE_SLOTS; p++) writepage(0, p);
    for (int i = 0; i < 70000; i++, step++) readpage(0, 1 + static_cast<uint32_t>(i % 127));
    same(m, step);
    writepage(0, 500);
    same(m, step);
    for (uint32_t p = 1; p <= 128; p++) readpage(0, p);
    same(m, step);
}

}  // namespace
