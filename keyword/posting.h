// posting.h - the posting file of a keyword index: a 16-byte header and
// 8-byte nodes, one chain of nodes per word, reached through the handle kept
// in the command block.  Every read and write here is one positioned call of
// the OS layer, so what reaches the disk is exactly what the caller asks for.
#ifndef VELNOR_KEYWORD_POSTING_H
#define VELNOR_KEYWORD_POSTING_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "velnor.h"

enum {
    POST_HDRLEN = 16,   // "ezhyp1", two zero bytes, free-list head, reserved
    POST_NODELEN = 8,   // value, next
    POST_FREEHEAD = 8,  // offset of the free-list head in the header
    POST_MAGICLEN = 6
};

// The value field of a node on the free list.
constexpr uint32_t NODE_FREE = 0xFFFFFFFF;

struct PostNode {
    uint32_t value;
    uint32_t next;  // 0 = end of the chain (or of the free list)
};

// Opens an existing posting file (deny-none, read-write when the file allows
// it, else read-only) or, with create, creates or truncates it; one cached
// file of the engine is parked between the two attempts.  Handle, or -1.
int32_t postopen(const char* path, bool create);

// A signed next field below 1 ends a chain.
inline bool chainend(uint32_t next) { return static_cast<int32_t>(next) < 1; }

// What an unshared block has learned of one chain: its values in order and
// its last node.
struct WordChain {
    uint32_t tail = 0;
    uint32_t tailvalue = 0;
    bool ascending = true;  // values were added in rising order
    std::vector<uint32_t> values;
    bool holds(uint32_t value) const;
    void append(uint32_t off, uint32_t value);
};

struct PostCache;

// What an unshared block last read of one word's keyword record: where it
// lies, its bytes as a read gives them, the chain head they name and, once
// used, that chain (chains stay where they are until all are forgotten).
struct KnownWord {
    int32_t datpos = 0;
    std::string record;
    uint32_t head = 0;
    WordChain* chain = nullptr;
};

// One operation's view of the posting file of cb.  Walks are bounded: a
// walk that takes more steps than the file holds nodes is going round a
// cycle, and fails as a damaged chain does.
//
// Unshared (network type 0, or exclusive), nothing but this block changes
// the files between its calls, so the block keeps a copy of the posting
// file (every read comes from it, every write goes to both) and the chains
// it has walked.  What reaches the disk is the same as without them.  A
// shared call, a file whose size is not the copy's, fhhypinit and
// fhhypdelete drop what was kept.
class Posting {
public:
    explicit Posting(FHCB* cb);

    // The chain whose first node is at head, walked now unless it is
    // known; null for a shared block or a chain that cannot be walked
    // whole (the caller then walks it itself, meeting the damage).
    WordChain* chain(uint32_t head);
    // A new chain of one node; null when shared.
    WordChain* newchain(uint32_t head, uint32_t value);
    // Forgets the chains and words (the file copy stays); everything, with
    // all.
    void forget(bool all);

    // Unshared, the keyword record of word just read into cb->recbuf is
    // noted, so that a later add may find it without the key search.
    void learn(const FHCB* cb, const char* word);
    // The chain of word when its noted record is still on the file exactly
    // as noted and the chain can be walked; the record is then put into
    // cb->recbuf as a read would.  Null (nothing changed, status kept) when
    // shared, unknown or changed.
    WordChain* known(FHCB* cb, const char* word);

    // Reads the header: 0, or -1 with status '7' when it is short.  Sets
    // reuses() and freehead().
    int32_t readheader();
    // An "ezhyp1" file, whose free list is used; older files only append.
    bool reuses() const { return reuses_; }
    uint32_t freehead() const { return freehead_; }
    // Where a new node goes: the free-list head when that is a free node
    // (*taken is then set and *nextfree gets its successor), else the end
    // of the file.  -1 (status '7') when the end cannot be found or is
    // not a node's place.
    int32_t choose(uint32_t* off, bool* taken, uint32_t* nextfree);

    // Reads the node at off: 0, or -1 with status '7' when it cannot be read
    // whole or off is not a node's place (in the header, between nodes).
    int32_t read(uint32_t off, PostNode* node);
    // Writes the node at off: 0, or -1 with status '8'.
    int32_t write(uint32_t off, const PostNode& node);
    // Writes the free-list head: 0, or -1 with status '8'.
    int32_t writefreehead(uint32_t head);

    // Unshared, the writes of one add call may wait in the copy and reach
    // the file together at its end: holdwrites() starts that, and
    // writeheld(r) writes them in order of offset (a link always lies
    // before the node it names at the end of the file), nearby ones in one
    // call.  The file then holds exactly the bytes the writes made one by
    // one would have left.  r, or -1 with status '8' when a write fails.
    void holdwrites() { hold_ = cache_ != nullptr; }
    int32_t writeheld(int32_t r);

    // Counts one step of a walk: true while the walk stays within the
    // number of nodes the file can hold; false (status '7') once it goes
    // beyond, which only a cycle does.
    bool step();
    void startwalk() { steps_ = 0; }

    // The byte lock that serialises changes to the posting file among the
    // programs using this library, taken only when the block is shared:
    // 0, or -1 with status 'l' when another holder keeps it for too long.
    int32_t lock();
    void unlock();

private:
    bool nodeplace(uint32_t off) const;
    int32_t readat(void* buf, uint32_t count, uint32_t off);
    int32_t writeat(const void* buf, uint32_t count, uint32_t off);
    FHCB* cb_;
    int32_t fd_;
    PostCache* cache_ = nullptr;
    bool reuses_ = true;
    bool locked_ = false;
    bool hold_ = false;
    std::vector<std::pair<uint32_t, uint32_t>> held_;  // offset, length
    uint32_t freehead_ = 0;
    uint32_t steps_ = 0;
    uint32_t limit_ = 0;  // steps allowed, from the file size last seen
};

// Holds the posting lock for a scope.
class PostLock {
public:
    explicit PostLock(Posting& p) : p_(p), ok_(p.lock() == 0) {}
    ~PostLock() {
        if (ok_) p_.unlock();
    }
    PostLock(const PostLock&) = delete;
    PostLock& operator=(const PostLock&) = delete;
    bool ok() const { return ok_; }

private:
    Posting& p_;
    bool ok_;
};

// Drops what an unshared block kept of its posting file.
void postforget(const FHCB* cb);

// True when the block or an argument the call needs is null; a block that
// is there gets VN_C_NOTAPPLY, and the call returns its failure result.
bool hypnullarg(FHCB* cb, const void* arg);

// The key buffer (cb->work) as 256 blanks with word copied to its start
// (at most 256 characters), folded to lower case when fold is set.  0, or
// -1 with status 11 when the block is not open.
int32_t setkeyword(FHCB* cb, const char* word, bool fold);
// The chain head kept in "POSN" of the record in cb->recbuf; 0 when the
// file has no such item.
uint32_t chainhead(FHCB* cb);

#endif
