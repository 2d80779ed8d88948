// hypfind.cc - reading a keyword index: the values of a word (all at once
// or one at a time) and the words that hold a value.
#include <algorithm>
#include <cstring>
#include <vector>

#include "keyword/posting.h"
#include "support/nothrow.h"

namespace {

enum {
    RESULT_STEP = 128,     // search results grow by this many values
    RESULT_CUT = 65000,    // a result whose capacity passes this is complete
    RESULT_MAX = 64897,    // so it holds at most this many values
    LIST_STEP = 256        // list buffers grow by this many bytes
};

// Whether the chain from head holds value: 1, 0, or -1 (status '7').
int32_t chainholds(Posting& p, uint32_t head, uint32_t value) {
    if (const WordChain* known = p.chain(head)) return known->holds(value) ? 1 : 0;
    PostNode node;
    p.startwalk();
    for (uint32_t at = head;; at = node.next) {
        if (!p.step() || p.read(at, &node) < 0) return -1;
        if (node.value == value) return 1;
        if (chainend(node.next)) return 0;
    }
}

// Appends text and "\r\n" to the list in *buf of *size bytes holding *len,
// growing it in steps: 0, or -1 (status 9; *buf is then still the old
// buffer).
int32_t listappend(FHCB* cb, char** buf, uint32_t* size, size_t* len, const char* text) {
    const size_t n = std::strlen(text);
    while (*len + n + 3 >= *size) {
        char* grown = static_cast<char*>(globalcalloc(*size + LIST_STEP, 1));
        if (grown == nullptr) {
            cb->status = VN_E_MEMORY;
            return -1;
        }
        std::memcpy(grown, *buf, *size);
        *size += LIST_STEP;
        globalmfree(*buf);
        *buf = grown;
    }
    std::memcpy(*buf + *len, text, n);
    std::memcpy(*buf + *len + n, "\r\n", 3);
    *len += n + 2;
    return 0;
}

// The values of a known chain as a search returns them: the same count
// and an array of the capacity the search would have grown it to.
uint32_t* copyout(const WordChain& chain, uint32_t* count) {
    const uint32_t n = std::min<uint32_t>(static_cast<uint32_t>(chain.values.size()), RESULT_MAX);
    const uint32_t cap = (n + RESULT_STEP - 1) / RESULT_STEP * RESULT_STEP;
    uint32_t* values = static_cast<uint32_t*>(globalcalloc(cap, 4));
    if (values == nullptr) return nullptr;
    std::memcpy(values, chain.values.data(), n * sizeof *values);
    *count = n;
    return values;
}

uint32_t* hypsearch(FHCB* cb, const char* word, uint32_t* count) {
    if (count != nullptr) *count = 0;
    if (hypnullarg(cb, word) || hypnullarg(cb, count)) return nullptr;
    if (setkeyword(cb, word, true) < 0) return nullptr;
    vfhsetkey(cb, 1);
    vfhposn(cb, 256);
    if (vfhread(cb, 512) != 0) return nullptr;
    uint32_t at = chainhead(cb);
    if (chainend(at)) return nullptr;

    Posting p(cb);
    if (p.readheader() < 0) return nullptr;
    if (const WordChain* known = p.chain(at)) return copyout(*known, count);
    uint32_t* values = nullptr;
    uint32_t n = 0, cap = 0;
    PostNode node;
    p.startwalk();
    for (;;) {
        if (cap > RESULT_CUT) break;
        if (!p.step() || p.read(at, &node) < 0) {
            globalmfree(values);
            return nullptr;
        }
        if (n == cap) {
            uint32_t* grown = static_cast<uint32_t*>(globalcalloc(cap + RESULT_STEP, 4));
            if (grown == nullptr) {
                globalmfree(values);
                return nullptr;
            }
            if (n > 0) std::memcpy(grown, values, n * sizeof *values);
            globalmfree(values);
            values = grown;
            cap += RESULT_STEP;
        }
        values[n++] = node.value;
        if (chainend(node.next)) break;
        at = node.next;
    }
    *count = n;
    return values;
}

uint32_t hypgetnext(FHCB* cb, int32_t* cursor) {
    if (hypnullarg(cb, cursor)) return NODE_FREE;
    Posting p(cb);
    if (*cursor == 0) *cursor = static_cast<int32_t>(chainhead(cb));
    PostNode node;
    if (p.readheader() < 0 || p.read(static_cast<uint32_t>(*cursor), &node) < 0) {
        *cursor = -1;
        return NODE_FREE;
    }
    *cursor = chainend(node.next) ? -1 : static_cast<int32_t>(node.next);
    return node.value;
}

char* hyplist(FHCB* cb, uint32_t value, const char* prefix, char* buffer, uint32_t* size) {
    if (hypnullarg(cb, prefix) || hypnullarg(cb, size)) {
        globalmfree(buffer);  // the caller keeps only the result
        return nullptr;
    }
    if (buffer == nullptr) {
        *size = LIST_STEP;
        buffer = static_cast<char*>(globalcalloc(LIST_STEP, 1));
        if (buffer == nullptr) {
            cb->status = VN_E_MEMORY;
            return nullptr;
        }
    }
    size_t len = *size > 0 ? strnlen(buffer, *size) : 0;
    if (len == *size) {  // no terminator: start the list afresh
        len = 0;
        if (*size > 0) buffer[0] = '\0';
    }
    Posting p(cb);
    if (setkeyword(cb, prefix, false) < 0) {
        globalmfree(buffer);
        return nullptr;
    }
    vfhsetkey(cb, 1);
    vfhposn(cb, 0);
    vfhrlock(cb);
    if (p.readheader() < 0) {
        globalmfree(buffer);
        return nullptr;
    }
    std::vector<char> keyword(cb->reclen + 1u);
    while (vfhread(cb, 0) == 0) {
        vfhitemget(cb, "KEYWORD", 0, keyword.data());
        if (static_cast<signed char>(prefix[0]) < static_cast<signed char>(keyword[0])) break;
        const uint32_t head = chainhead(cb);
        if (head == 0) continue;
        const int32_t held = chainholds(p, head, value);
        if (held < 0 || (held > 0 && listappend(cb, &buffer, size, &len, keyword.data()) < 0)) {
            globalmfree(buffer);
            return nullptr;
        }
    }
    return buffer;
}

}  // namespace

extern "C" {

uint32_t* VELNOR_CALL fhhypsearch(FHCB* cb, const char* word, uint32_t* count) {
    return nothrow(cb ? &cb->status : nullptr, static_cast<uint32_t*>(nullptr),
                   [&] { return hypsearch(cb, word, count); });
}

uint32_t VELNOR_CALL fhhypgetnext(FHCB* cb, int32_t* cursor) {
    return nothrow(cb ? &cb->status : nullptr, uint32_t{NODE_FREE},
                   [&] { return hypgetnext(cb, cursor); });
}

char* VELNOR_CALL fhhyplist(FHCB* cb, uint32_t value, const char* prefix, char* buffer,
                            uint32_t* size) {
    return nothrow(cb ? &cb->status : nullptr, static_cast<char*>(nullptr),
                   [&] { return hyplist(cb, value, prefix, buffer, size); });
}

}  // extern "C"
