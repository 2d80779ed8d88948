// fidtext.cc - writing test definitions in text form.
#include "fidtext.h"

#include <algorithm>
#include <numeric>

std::string textfid(unsigned reclen, unsigned flags, const std::vector<TItem>& items,
                    const std::vector<TKey>& keys, const std::vector<std::string>& threads) {
    std::vector<unsigned> order(items.size());
    std::iota(order.begin(), order.end(), 0u);
    std::sort(order.begin(), order.end(),
              [&](unsigned a, unsigned b) { return items[a].name < items[b].name; });
    std::string s = "TKF FID v7.0\nRecLen = " + std::to_string(reclen) + "\nFlags = " +
                    std::to_string(flags) + "\nNItems = " + std::to_string(items.size()) +
                    "\nNKeys = " + std::to_string(keys.size()) + "\n";
    for (size_t i = 0; i < items.size(); ++i) {
        const TItem& it = items[i];
        s += "Item = " + it.name + ", '" + it.type + "', '" + it.just + "', " +
             std::to_string(it.offset) + ", " + std::to_string(it.length) + ", " +
             std::to_string(it.occurs) + ", " + std::to_string(order[i]) + ",\n";
    }
    for (const TKey& k : keys) {
        unsigned len = 0;
        for (const TSeg& g : k.segs) len += g.length;
        s += "Key = " + k.name + ", " + std::to_string(len) + ", " + std::to_string(k.segs.size()) +
             "\n";
        for (const TSeg& g : k.segs)
            s += std::to_string(g.offset) + ", " + std::to_string(g.length) + ", " +
                 std::to_string(g.flags) + "\n";
    }
    for (const std::string& t : threads) s += "Thread = " + t + "\n";
    return s;
}
