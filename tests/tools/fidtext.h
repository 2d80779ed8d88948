// fidtext.h - text definitions written by the tests: items, keys and
// thread lines in the form "velnor fid compile" reads, with the name-order
// column worked out here.
#ifndef VELNOR_TESTS_TOOLS_FIDTEXT_H
#define VELNOR_TESTS_TOOLS_FIDTEXT_H

#include <string>
#include <vector>

struct TItem {
    std::string name;
    char type, just;
    unsigned offset, length, occurs;
};
struct TSeg {
    unsigned offset, length, flags;
};
struct TKey {
    std::string name;
    std::vector<TSeg> segs;
};

// "TKF FID v7.0" text; threads are lines "LINKITEM, expression".
std::string textfid(unsigned reclen, unsigned flags, const std::vector<TItem>& items,
                    const std::vector<TKey>& keys, const std::vector<std::string>& threads = {});

#endif
