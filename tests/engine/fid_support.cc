// fid_support.cc - loaded definitions and random definitions for the
// definition, key, thread, hash and item tests.
#include "fid_support.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace fidtest {

int32_t Def::load(const std::string& path, uint8_t fflags) {
    freefid(&cb);
    std::snprintf(cb.fidname, sizeof cb.fidname, "%s", path.c_str());
    cb.fflags = fflags;
    return loadfid(&cb);
}

int32_t Def::loadtext(const TempDir& dir, const std::string& text, uint8_t fflags) {
    std::string path = dir.path("t.fid");
    writefile(path, text);
    return load(path, fflags);
}

std::string itemline(const std::string& name, char type, char just, int off, int len, int occ,
                     int order) {
    return "Item = " + name + ",'" + type + "','" + just + "'," + std::to_string(off) + "," +
           std::to_string(len) + "," + std::to_string(occ) + "," + std::to_string(order) + ",\n";
}

std::string randomfid(std::mt19937& rng) {
    auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    int nitems = pick(1, 30);
    std::vector<std::string> names;
    std::vector<int> off, len, occ;
    int at = 0;
    for (int i = 0; i < nitems; ++i) {
        static const char chars[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ_0123456789";
        std::string n(1, chars[pick(0, 25)]);
        for (int k = pick(0, 9); k > 0; --k) n += chars[pick(0, 36)];
        if (std::find(names.begin(), names.end(), n) != names.end()) n += std::to_string(i);
        if (n.size() > 10) n = "I" + std::to_string(i);
        names.push_back(n);
        off.push_back(at);
        len.push_back(pick(1, 12));
        occ.push_back(pick(1, 3));
        at += len.back() * occ.back();
    }
    std::vector<int> order(nitems);
    for (int i = 0; i < nitems; ++i) order[i] = i;
    std::sort(order.begin(), order.end(), [&](int a, int b) { return names[a] < names[b]; });
    int flags = 0;
    if (pick(0, 3) == 0) flags |= 128;
    if (pick(0, 3) == 0) flags |= pick(0, 1) ? 1 : 2;
    int nkeys = pick(flags & 2 ? 1 : 0, 6);
    std::string t = "TKF FID v7.0\nRecLen = " + std::to_string(std::max(at, 8)) +
                    "\nNItems = " + std::to_string(nitems) + "\nNKeys = " + std::to_string(nkeys) +
                    "\nFlags = " + std::to_string(flags) + "\nHashRecs = " +
                    std::to_string(pick(1, 3000)) + "\n";
    static const char types[] = "CDJNIS";
    for (int i = 0; i < nitems; ++i)
        t += itemline(names[i], types[pick(0, 5)], pick(0, 1) ? 'R' : 'L', off[i], len[i], occ[i],
                      order[i]);
    for (int k = 0; k < nkeys; ++k) {
        int nsegs = pick(1, 4);
        std::string segs;
        int sum = 0;
        for (int s = 0; s < nsegs; ++s) {
            int i = pick(0, nitems - 1);
            segs += std::to_string(off[i]) + "," + std::to_string(len[i]) + "," +
                    std::to_string(pick(0, 1) * 1 | pick(0, 1) * 4) + "\n";
            sum += len[i];
        }
        t += "Key = K" + std::to_string(k) + "," + std::to_string(sum) + "," +
             std::to_string(nsegs) + "\n" + segs;
    }
    return t;
}

bool samedef(const FHCB& a, const FHCB& b, std::string* why) {
    auto diff = [&](const std::string& what) {
        *why = what;
        return false;
    };
    if (a.reclen != b.reclen || a.nitems != b.nitems || a.nkeys != b.nkeys ||
        a.nthreads != b.nthreads)
        return diff("counts");
    if ((a.fflags & 0x25) != (b.fflags & 0x25)) return diff("flags");
    if ((a.fflags & VN_FF_HASHED) && a.hashrecs != b.hashrecs) return diff("hashrecs");
    for (int i = 0; i < a.nitems; ++i) {
        const FidItem& x = a.items[i];
        const FidItem& y = b.items[i];
        if (std::strcmp(x.name, y.name) != 0 || x.type != y.type || x.just != y.just ||
            x.offset != y.offset || x.length != y.length || x.occurs != y.occurs ||
            x.order != y.order)
            return diff("item " + std::to_string(i));
    }
    for (int k = 0; k < a.nkeys; ++k) {
        const FidKey& x = a.keys[k];
        const FidKey& y = b.keys[k];
        if (std::strcmp(x.name, y.name) != 0 || x.keylen != y.keylen || x.nsegs != y.nsegs)
            return diff("key " + std::to_string(k));
        for (int s = 0; s < x.nsegs; ++s)
            if (x.seg[s].segoff != y.seg[s].segoff || x.seg[s].seglen != y.seg[s].seglen ||
                x.seg[s].segflags != y.seg[s].segflags)
                return diff("segment " + std::to_string(s) + " of key " + std::to_string(k));
    }
    for (int t = 0; t < a.nthreads; ++t)
        if (a.threads[t].thoff != b.threads[t].thoff ||
            std::strcmp(a.threads[t].expr, b.threads[t].expr) != 0)
            return diff("thread " + std::to_string(t));
    return true;
}

}  // namespace fidtest
