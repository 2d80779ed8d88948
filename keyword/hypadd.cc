// hypadd.cc - opening and closing a keyword index, and adding words to it:
// one word under a value, or every word of a line that passes the filter.
#include <cstring>

#include "keyword/posting.h"
#include "definition/definition.h"
#include "support/nothrow.h"
#include "support/os.h"

namespace {

enum { LINE_WORDMAX = 256 };  // a word of a line keeps this many characters
enum { LINKED = 1, NEW_WORD = 2 };
// How an add found its word: not at all (it stopped before), from what the
// block knew, or by the lookup.
enum Lookup { LOOKUP_NONE, LOOKUP_SKIPPED, LOOKUP_DONE };

bool isupper(char c) { return c >= 'A' && c <= 'Z'; }
bool isletter(char c) { return isupper(c) || (c >= 'a' && c <= 'z'); }
bool isdigit(char c) { return c >= '0' && c <= '9'; }

// The word rules: whether word is indexed at all; folds it in place when it
// gets that far.
bool wordrules(char* word) {
    const size_t len = std::strlen(word);
    if (len < 2) return false;
    if (len == 2 && !(isupper(word[0]) && isupper(word[1]))) return false;
    for (char* p = word; *p != '\0'; p++)
        if (isupper(*p)) *p = static_cast<char>(*p - 'A' + 'a');
    return std::strcmp(word, "and") != 0 && std::strcmp(word, "the") != 0;
}

// A known chain: 0 when it holds value already, else LINKED with its tail
// pointed at fresh (-1 when that write fails).
int32_t linkknown(Posting& p, const WordChain& chain, uint32_t value, uint32_t fresh) {
    if (chain.holds(value)) return 0;
    return p.write(chain.tail, PostNode{chain.tailvalue, fresh}) < 0 ? -1 : LINKED;
}

// The steps of fhhypaddword from the key lookup on, with the new node's
// place chosen; the caller holds the record lock around it.  LINKED when
// the new node is to be written at the end of a chain (*chain, when known,
// is that chain), NEW_WORD when it starts a new word's chain, 0 when the
// value is there already, -1 on failure.
int32_t addlocked(FHCB* cb, Posting& p, const char* word, uint32_t value, uint32_t fresh,
                  WordChain** chain) {
    *chain = nullptr;
    if (vfhread(cb, 512) != 0) {
        vfhitemset(cb, "KEYWORD", 0, word);
        vfhitemset(cb, "POSN", 0, tobase95(fresh, 5));
        return vfhwrite(cb, 512) == 0 ? NEW_WORD : -1;
    }
    p.learn(cb, word);
    uint32_t at = chainhead(cb);
    PostNode node;
    if ((*chain = p.chain(at)) != nullptr) return linkknown(p, **chain, value, fresh);
    p.startwalk();
    for (;;) {
        if (!p.step() || p.read(at, &node) < 0) return -1;
        if (node.value == value) return 0;
        if (chainend(node.next)) break;
        at = node.next;
    }
    node.next = fresh;
    return p.write(at, node) < 0 ? -1 : LINKED;
}

// The lookup of fhhypaddword: key 1 set to word, positioned on it, the
// record locked and read.
void lookup(FHCB* cb) {
    vfhsetkey(cb, 1);
    vfhposn(cb, 256);
    vfhrlock(cb);
}

// The steps of fhhypaddword after the word rules, with the posting file
// open as p and, when shared, its lock held.  The record lock is held from
// the lookup to the end, whatever happens.  With mayskip, a word whose
// record and chain the unshared block knows is added without the lookup,
// leaving the block's position where it was (*how LOOKUP_SKIPPED); the
// caller then looks the word up before it returns to the program, so that
// the program finds the block as the lookup leaves it.  Nothing else can
// see the difference: the files are the block's alone, and get the same
// writes.
int32_t addword(FHCB* cb, Posting& p, const char* word, uint32_t value, bool mayskip, Lookup* how) {
    uint32_t fresh = 0, nextfree = 0;
    bool taken = false;
    *how = LOOKUP_NONE;
    if (p.readheader() < 0 || p.choose(&fresh, &taken, &nextfree) < 0) return -1;
    WordChain* chain = nullptr;
    const bool skip = mayskip && (chain = p.known(cb, word)) != nullptr;
    int32_t r;
    if (skip) {
        *how = LOOKUP_SKIPPED;
        r = linkknown(p, *chain, value, fresh);
    } else {
        if (setkeyword(cb, word, false) < 0) return -1;
        *how = LOOKUP_DONE;
        lookup(cb);
        r = addlocked(cb, p, word, value, fresh, &chain);
    }
    if (r > 0) {
        const bool isnew = r == NEW_WORD;
        r = p.write(fresh, PostNode{value, 0});
        if (r == 0 && taken) r = p.writefreehead(nextfree);
        if (r == 0 && chain != nullptr) chain->append(fresh, value);
        if (r == 0 && isnew) p.newchain(fresh, value);
    }
    if (skip) return r;
    const uint8_t status = cb->status;
    vfhrunlock(cb);
    if (r != 0) cb->status = status;
    return r;
}

// fhhypaddword: the word rules, then the posting lock around the rest.
// mayskip and *how as for addword.
int32_t addone(FHCB* cb, Posting& p, char* word, uint32_t value, bool mayskip, Lookup* how) {
    *how = LOOKUP_NONE;
    if (!wordrules(word)) return 0;
    PostLock lock(p);
    if (!lock.ok()) return -1;
    return addword(cb, p, word, value, mayskip, how);
}

// Leaves the block as the lookup of word would: positioned on its record,
// read, the record lock given up; the status is that of a result r.
int32_t settle(FHCB* cb, const char* word, int32_t r) {
    const uint8_t status = cb->status;
    if (setkeyword(cb, word, false) == 0) {
        lookup(cb);
        vfhread(cb, 512);
        vfhrunlock(cb);
    }
    if (r != 0) cb->status = status;
    return r;
}

// The word filter of fhhypaddline: trims word in place and says whether
// it is indexed under flags.  *start is where the word begins after the
// leading characters are skipped.
bool wordfilter(char* word, uint16_t flags, char** start) {
    size_t len = std::strlen(word);
    while (len > 0 && std::strchr(",.:;!\"'()", word[len - 1]) != nullptr) word[--len] = '\0';
    char* w = word;
    while (*w != '\0' && std::strchr("\"'()", *w) != nullptr) w++;
    *start = w;
    bool letters = false, digits = false, mixed = false;
    for (const char* c = w; *c != '\0'; c++) {
        if (isletter(*c) || *c == '-')
            letters = true;
        else if (isdigit(*c))
            digits = true;
        else if (*c != '.')
            mixed = true;
    }
    if (*w == '\0') return false;
    if (mixed) return (flags & VN_HYP_MIXED) != 0;
    if (letters && !digits) return true;
    if (digits && !letters) return (flags & (VN_HYP_ALNUM | VN_HYP_NUMBERS | VN_HYP_NUMBERS2)) != 0;
    if (letters && digits) return (flags & VN_HYP_ALNUM) != 0;
    return false;
}

bool separator(char c) {
    return c == '\0' || c == '\t' || c == '\n' || c == '\r' || c == ' ' || c == '-' || c == '.';
}

int32_t hypinit(FHCB* cb, const char* path, uint32_t open, int32_t create) {
    if (hypnullarg(cb, open == 0 ? "" : path)) return -1;
    postforget(cb);
    if (open == 0) {
        if (cb->hypfd != 0) osclose(cb->hypfd);
        cb->hypfd = 0;
        vfhclose(cb);
        return 0;
    }
    if (vfhopen(cb) != 0) {
        if (create == 0 || vfhmake(cb) != 0) return -1;
    }
    int32_t h = postopen(path, false);
    if (h > 0) {
        char hdr[8];
        if (osread(h, hdr, sizeof hdr) != static_cast<int32_t>(sizeof hdr) ||
            std::memcmp(hdr, "ezhyp", 5) != 0) {
            osclose(h);
            vfhclose(cb);
            return fhfail(cb, VN_E_HYPOPEN);
        }
    } else {
        if (create == 0) return -1;
        h = postopen(path, true);
        if (h <= 0) {
            vfhclose(cb);
            return fhfail(cb, VN_E_HYPOPEN);
        }
        static const char header[POST_HDRLEN] = {'e', 'z', 'h', 'y', 'p', '1'};
        if (oswrite(h, header, POST_HDRLEN) != POST_HDRLEN) {
            osclose(h);
            vfhclose(cb);
            return fhfail(cb, VN_E_HYPWRITE);
        }
    }
    cb->hypfd = static_cast<uint16_t>(h);
    return 0;
}

int32_t hypaddword(FHCB* cb, char* word, uint32_t value) {
    if (hypnullarg(cb, word)) return -1;
    Posting p(cb);
    p.holdwrites();
    Lookup how;
    return p.writeheld(addone(cb, p, word, value, false, &how));
}

// Each word goes through fhhypaddword's steps; one view of the posting file
// serves the whole line, and its writes reach the file together.
// A known word of the line may skip its lookup (see addword); the last
// word that did is looked up at the end.
int32_t addline(FHCB* cb, Posting& p, const char* text, uint32_t value, uint16_t flags) {
    char word[LINE_WORDMAX + 1];
    char skipped[LINE_WORDMAX + 1] = "";
    size_t len = 0;
    for (const char* c = text;; c++) {
        if (!separator(*c)) {
            if (len < LINE_WORDMAX) word[len++] = *c;
            continue;
        }
        if (len > 0) {
            word[len] = '\0';
            len = 0;
            char* start;
            Lookup how;
            if (wordfilter(word, flags, &start)) {
                const int32_t r = addone(cb, p, start, value, true, &how);
                if (how == LOOKUP_SKIPPED) std::strcpy(skipped, start);
                if (how == LOOKUP_DONE) skipped[0] = '\0';
                if (r != 0) return skipped[0] ? settle(cb, skipped, r) : r;
            }
        }
        if (*c == '\0') return skipped[0] ? settle(cb, skipped, 0) : 0;
    }
}

int32_t hypaddline(FHCB* cb, const char* text, uint32_t value, uint16_t flags) {
    if (hypnullarg(cb, text)) return -1;
    Posting p(cb);
    p.holdwrites();
    return p.writeheld(addline(cb, p, text, value, flags));
}

}  // namespace

extern "C" {

int32_t VELNOR_CALL fhhypinit(FHCB* cb, const char* path, uint32_t open, int32_t create) {
    return nothrow(cb ? &cb->status : nullptr, int32_t{-1},
                   [&] { return hypinit(cb, path, open, create); });
}

int32_t VELNOR_CALL fhhypaddword(FHCB* cb, char* word, uint32_t value) {
    return nothrow(cb ? &cb->status : nullptr, int32_t{-1},
                   [&] { return hypaddword(cb, word, value); });
}

int32_t VELNOR_CALL fhhypaddline(FHCB* cb, const char* text, uint32_t value, uint16_t flags) {
    return nothrow(cb ? &cb->status : nullptr, int32_t{-1},
                   [&] { return hypaddline(cb, text, value, flags); });
}

}  // extern "C"
