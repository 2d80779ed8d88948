// posting.cc - reading and writing the posting file's header and nodes,
// bounded chain walks, the posting lock, and the key and chain head the
// keyword operations share.
#include "keyword/posting.h"

#include <algorithm>
#include <cstring>
#include <unordered_map>

#include "engine/handles.h"
#include "index/lebytes.h"
#include "record/record.h"
#include "support/os.h"
#include "support/runtime.h"

namespace {

// The byte the posting lock covers: far beyond any posting file, so that
// no read or write of the file's own bytes ever meets it (Windows refuses
// I/O on a locked region).
constexpr uint32_t kLockByte = 0x7FFFFFFF;
// How long a change waits for another program's change to finish.
constexpr uint32_t kLockWaitMs = 10000;

constexpr char kMagic[] = "ezhyp1";
// A larger posting file is not copied into memory.
constexpr int32_t kCopyMax = 64 << 20;
// Held writes this close together go to the file in one call.
constexpr uint32_t kHeldGap = 4096;

int32_t tryopen(const char* path, bool create) {
    const uint32_t base = VN_O_BINARY | VN_O_SHARE;
    if (create) return osopen(path, base | VN_O_CREAT | VN_O_TRUNC | VN_O_RDWR, 511);
    int32_t h = osopen(path, base | VN_O_RDWR, 0);
    if (h < 1) h = osopen(path, base | VN_O_RDONLY, 0);
    return h;
}

bool shared(const FHCB* cb) {
    return cb->nettype != 0 && !(cb->mflags & VN_MF_EXCLUSIVE);
}

}  // namespace

int32_t postopen(const char* path, bool create) {
    int32_t h = tryopen(path, create);
    if (h < 1) {
        closelru(0);
        h = tryopen(path, create);
    }
    if (h < 1) return -1;
    if (h > 0xFFFF) {  // the block keeps a 16-bit handle
        osclose(h);
        return -1;
    }
    return h;
}

struct PostCache {
    int32_t fd = 0;
    std::vector<uint8_t> image;  // the posting file's bytes
    std::unordered_map<uint32_t, WordChain> chains;  // by the offset of the first node
    std::unordered_map<std::string, KnownWord> words;
    std::string scratch;  // a record read to check a known word
};

namespace {

// The keyword layer's part of the runtime object: the copies of unshared
// posting files, by block.  Dropped by the engine's real shutdown, which
// closes every file.
struct KeywordState : RuntimePart {
    std::unordered_map<const FHCB*, PostCache> caches;
};

std::unordered_map<const FHCB*, PostCache>& caches() { return runtimepart<KeywordState>(RT_KEYWORD).caches; }

}  // namespace

void postforget(const FHCB* cb) {
    if (KeywordState* k = runtimepartif<KeywordState>(RT_KEYWORD)) k->caches.erase(cb);
}

bool WordChain::holds(uint32_t value) const {
    if (ascending) return !values.empty() && value <= values.back() &&
                          std::binary_search(values.begin(), values.end(), value);
    return std::find(values.begin(), values.end(), value) != values.end();
}

void WordChain::append(uint32_t off, uint32_t value) {
    if (!values.empty() && value <= values.back()) ascending = false;
    values.push_back(value);
    tail = off;
    tailvalue = value;
}

Posting::Posting(FHCB* cb) : cb_(cb), fd_(cb->hypfd) {
    if (shared(cb)) {
        postforget(cb);
        // A posting file only grows, but a damaged one may have been cut
        // short: the map then must not show the bytes that went.
        osremeasure(fd_);
        return;
    }
    const int32_t size = osfilesize(fd_);
    auto it = caches().find(cb);
    if (it != caches().end() && it->second.fd == fd_ &&
        static_cast<int64_t>(it->second.image.size()) == size) {
        cache_ = &it->second;
        return;
    }
    postforget(cb);
    if (size < 0 || size > kCopyMax) return;
    PostCache& c = caches()[cb];
    c.fd = fd_;
    c.image.resize(static_cast<size_t>(size));
    if (size > 0 && osreadat(fd_, c.image.data(), static_cast<uint32_t>(size), 0) != size) {
        postforget(cb);
        return;
    }
    cache_ = &c;
}

// Shared, a chain is read through the file's map, where other programs'
// writes show at once: a walk costs no system call per node.  What the map
// cannot give (past the end it last saw) comes from the file itself.
int32_t Posting::readat(void* buf, uint32_t count, uint32_t off) {
    if (cache_ == nullptr) {
        const int32_t n = osreadmapped(fd_, buf, count, off);
        return n == static_cast<int32_t>(count) ? n : osreadat(fd_, buf, count, off);
    }
    const std::vector<uint8_t>& img = cache_->image;
    if (off >= img.size()) return 0;
    const uint32_t n = std::min<uint32_t>(count, static_cast<uint32_t>(img.size() - off));
    std::memcpy(buf, img.data() + off, n);
    return static_cast<int32_t>(n);
}

int32_t Posting::writeat(const void* buf, uint32_t count, uint32_t off) {
    if (hold_) {
        std::vector<uint8_t>& img = cache_->image;
        if (img.size() < size_t{off} + count) img.resize(size_t{off} + count);
        std::memcpy(img.data() + off, buf, count);
        held_.emplace_back(off, count);
        return static_cast<int32_t>(count);
    }
    const int32_t n = oswriteat(fd_, buf, count, off);
    if (cache_ == nullptr) return n;
    if (n != static_cast<int32_t>(count)) {
        forget(true);
        return n;
    }
    std::vector<uint8_t>& img = cache_->image;
    if (img.size() < size_t{off} + count) img.resize(size_t{off} + count);
    std::memcpy(img.data() + off, buf, count);
    return n;
}

int32_t Posting::writeheld(int32_t r) {
    hold_ = false;
    if (held_.empty()) return r;
    std::sort(held_.begin(), held_.end());
    const std::vector<uint8_t>& img = cache_->image;
    bool ok = true;
    for (size_t i = 0; i < held_.size() && ok;) {
        const uint32_t start = held_[i].first;
        uint32_t end = start + held_[i].second;
        // Bytes between two writes are written again as the copy has them,
        // which is what the file holds: one call instead of two.
        for (i++; i < held_.size() && held_[i].first <= end + kHeldGap; i++)
            end = std::max(end, held_[i].first + held_[i].second);
        const uint32_t len = end - start;
        ok = oswriteat(fd_, img.data() + start, len, start) == static_cast<int32_t>(len);
    }
    held_.clear();
    if (ok) return r;
    forget(true);
    cb_->status = VN_E_HYPWRITE;
    return -1;
}

WordChain* Posting::chain(uint32_t head) {
    if (cache_ == nullptr) return nullptr;
    auto it = cache_->chains.find(head);
    if (it != cache_->chains.end()) return &it->second;
    WordChain c;
    const uint8_t status = cb_->status;
    PostNode node;
    startwalk();
    for (uint32_t at = head;; at = node.next) {
        if (!step() || read(at, &node) < 0) {
            cb_->status = status;
            return nullptr;
        }
        c.append(at, node.value);
        if (chainend(node.next)) break;
    }
    return &(cache_->chains[head] = std::move(c));
}

WordChain* Posting::newchain(uint32_t head, uint32_t value) {
    if (cache_ == nullptr) return nullptr;
    WordChain& c = cache_->chains[head];
    c = WordChain{};
    c.append(head, value);
    return &c;
}

void Posting::forget(bool all) {
    if (cache_ == nullptr) return;
    if (all) {
        postforget(cb_);
        cache_ = nullptr;
    } else {
        cache_->chains.clear();
        cache_->words.clear();
    }
}

void Posting::learn(const FHCB* cb, const char* word) {
    if (cache_ == nullptr || cb->recbuf == nullptr) return;
    KnownWord& k = cache_->words[word];
    k.datpos = cb->datpos;
    k.record.assign(cb->recbuf, cb->reclen);
    k.head = chainhead(const_cast<FHCB*>(cb));
    k.chain = nullptr;
}

WordChain* Posting::known(FHCB* cb, const char* word) {
    if (cache_ == nullptr) return nullptr;
    auto it = cache_->words.find(word);
    if (it == cache_->words.end()) return nullptr;
    // The record is read again where it was: one the program has since
    // deleted or rewritten through the block no longer matches, and the
    // word is then looked up by its key.
    KnownWord& k = it->second;
    const uint8_t status = cb->status;
    std::string& buf = cache_->scratch;
    buf.resize(size_t{cb->reclen} + 8);
    const bool same = fhactivate(cb) == 0 && readrecat(cb, k.datpos, buf.data()) >= 0 &&
                      std::memcmp(buf.data(), k.record.data(), k.record.size()) == 0;
    cb->status = status;
    if (!same) {
        cache_->words.erase(it);
        return nullptr;
    }
    if (k.chain == nullptr) k.chain = chain(k.head);
    if (k.chain != nullptr) std::memcpy(cb->recbuf, k.record.data(), k.record.size());
    return k.chain;
}

int32_t Posting::readheader() {
    uint8_t hdr[8];
    if (readat(hdr, sizeof hdr, 0) != static_cast<int32_t>(sizeof hdr)) {
        cb_->status = VN_E_HYPREAD;
        return -1;
    }
    reuses_ = std::memcmp(hdr, kMagic, POST_MAGICLEN) == 0;
    freehead_ = 0;
    if (reuses_) {
        uint8_t head[4];
        if (readat(head, sizeof head, POST_FREEHEAD) != static_cast<int32_t>(sizeof head)) {
            cb_->status = VN_E_HYPREAD;
            return -1;
        }
        freehead_ = getle32(head);
    }
    return 0;
}

int32_t Posting::choose(uint32_t* off, bool* taken, uint32_t* nextfree) {
    *taken = false;
    if (freehead_ != 0 && nodeplace(freehead_)) {
        uint8_t b[POST_NODELEN];
        if (readat(b, POST_NODELEN, freehead_) == POST_NODELEN && getle32(b) == NODE_FREE) {
            *off = freehead_;
            *taken = true;
            *nextfree = getle32(b + 4);
            return 0;
        }
    }
    // A file that ends inside the header or between two nodes is damaged:
    // a node placed there would overwrite another.
    const int32_t end = cache_ ? static_cast<int32_t>(cache_->image.size()) : osseek(fd_, 0, 2);
    if (end < 0 || !nodeplace(static_cast<uint32_t>(end))) {
        cb_->status = VN_E_HYPREAD;
        return -1;
    }
    *off = static_cast<uint32_t>(end);
    return 0;
}

bool Posting::nodeplace(uint32_t off) const {
    if (!reuses_) return off >= POST_NODELEN;
    return off >= POST_HDRLEN && (off - POST_HDRLEN) % POST_NODELEN == 0;
}

int32_t Posting::read(uint32_t off, PostNode* node) {
    uint8_t b[POST_NODELEN];
    if (!nodeplace(off) || readat(b, POST_NODELEN, off) != POST_NODELEN) {
        cb_->status = VN_E_HYPREAD;
        return -1;
    }
    node->value = getle32(b);
    node->next = getle32(b + 4);
    return 0;
}

int32_t Posting::write(uint32_t off, const PostNode& node) {
    uint8_t b[POST_NODELEN];
    putle32(b, node.value);
    putle32(b + 4, node.next);
    if (writeat(b, POST_NODELEN, off) != POST_NODELEN) {
        cb_->status = VN_E_HYPWRITE;
        return -1;
    }
    return 0;
}

int32_t Posting::writefreehead(uint32_t head) {
    uint8_t b[4];
    putle32(b, head);
    if (writeat(b, sizeof b, POST_FREEHEAD) != static_cast<int32_t>(sizeof b)) {
        cb_->status = VN_E_HYPWRITE;
        return -1;
    }
    return 0;
}

// The bound follows the file: a walk that outruns it looks at the size
// again, since another program may have added nodes meanwhile.
bool Posting::step() {
    if (++steps_ <= limit_) return true;
    const int32_t size = cache_ ? static_cast<int32_t>(cache_->image.size()) : osfilesize(fd_);
    limit_ = size > 0 ? static_cast<uint32_t>(size) / POST_NODELEN : 0;
    if (steps_ <= limit_) return true;
    cb_->status = VN_E_HYPREAD;
    return false;
}

int32_t Posting::lock() {
    if (!shared(cb_)) return 0;
    const uint32_t start = ostickcount();
    while (oslock(fd_, kLockByte, 1) != 0) {
        if (ostickcount() - start >= kLockWaitMs) {
            cb_->status = VN_C_FLOCKED;
            return -1;
        }
        osbusywait(1);
    }
    locked_ = true;
    return 0;
}

void Posting::unlock() {
    if (locked_) osunlock(fd_, kLockByte, 1);
    locked_ = false;
}

bool hypnullarg(FHCB* cb, const void* arg) {
    if (cb != nullptr && arg != nullptr) return false;
    if (cb != nullptr) cb->status = VN_C_NOTAPPLY;
    return true;
}

int32_t setkeyword(FHCB* cb, const char* word, bool fold) {
    enum { KEYTEXT = 256 };
    if (cb->work == nullptr || cb->recbuf == nullptr) {
        cb->status = VN_E_REUSE;
        return -1;
    }
    std::memset(cb->work, ' ', KEYTEXT);
    cb->work[KEYTEXT] = '\0';
    for (size_t i = 0; i < KEYTEXT && word[i] != '\0'; i++) {
        char c = word[i];
        if (fold && c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
        cb->work[i] = c;
    }
    return 0;
}

uint32_t chainhead(FHCB* cb) {
    const char* posn = vfhitemoffset(cb, "POSN");
    return posn == nullptr ? 0 : frombase95(posn, 5);
}
