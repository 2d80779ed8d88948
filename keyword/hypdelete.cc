// hypdelete.cc - removing a value from every word of a keyword index, and
// putting the freed nodes on the posting file's free list.
#include <cstring>

#include "keyword/posting.h"
#include "support/nothrow.h"

namespace {

// Puts the node at off on the free list, in a file that keeps one.
int32_t freenode(Posting& p, uint32_t off) {
    if (!p.reuses()) return 0;
    if (p.readheader() < 0 || p.write(off, PostNode{NODE_FREE, p.freehead()}) < 0) return -1;
    return p.writefreehead(off);
}

// Takes value out of the chain from head of the keyword record just read:
// the record is rewritten with the next head (*rewrote is then set), or
// deleted when the value was its only one.  A damaged chain, or one without
// the value, is left alone.  The caller starts the walk that p counts.  0,
// or -1 when a write or delete fails.
int32_t dropvalue(FHCB* cb, Posting& p, uint32_t head, uint32_t value, bool* rewrote) {
    uint32_t prev = 0, at = head;
    PostNode node;
    for (;;) {
        if (!p.step() || p.read(at, &node) < 0) {
            cb->status = 0;
            return 0;
        }
        if (node.value == value) break;
        if (chainend(node.next)) return 0;
        prev = at;
        at = node.next;
    }
    if (prev == 0) {
        if (!chainend(node.next)) {
            vfhitemset(cb, "POSN", 0, tobase95(node.next, 5));
            if (vfhwrite(cb, 512) != 0) return -1;
            *rewrote = true;
        } else if (vfhdelete(cb) != 0) {
            return -1;
        }
    } else {
        PostNode before;
        if (p.read(prev, &before) < 0) return -1;
        before.next = node.next;
        if (p.write(prev, before) < 0) return -1;
    }
    return freenode(p, at);
}

int32_t hypdelete(FHCB* cb, uint32_t value) {
    if (cb == nullptr) return -1;
    enum { LOWEST_KEY = 20 };
    if (setkeyword(cb, "", false) < 0) return -1;
    std::memset(cb->work, ' ', LOWEST_KEY);
    cb->work[LOWEST_KEY] = '\0';
    vfhsetkey(cb, 1);
    vfhposn(cb, 0);
    Posting p(cb);
    // Heads change and records go: what was known of the chains is not
    // kept (the copy of the file follows every write).
    p.forget(false);
    if (p.readheader() < 0) return -1;
    // A record whose head was rewritten stays current and is read again, to
    // take the value from what is left of its chain.  Its walks count as
    // one, so that a chain that comes round to the value again (a loop) is
    // left once the walk passes the nodes the file can hold.
    bool rewrote = false;
    while (vfhread(cb, 0) == 0) {
        const uint32_t head = chainhead(cb);
        if (!rewrote) p.startwalk();
        rewrote = false;
        if (head == 0) continue;
        PostLock lock(p);
        if (!lock.ok() || dropvalue(cb, p, head, value, &rewrote) < 0) return -1;
    }
    return 0;
}

}  // namespace

extern "C" int32_t VELNOR_CALL fhhypdelete(FHCB* cb, uint32_t value) {
    return nothrow(cb ? &cb->status : nullptr, int32_t{-1},
                   [&] { return hypdelete(cb, value); });
}
