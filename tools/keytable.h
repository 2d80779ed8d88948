// keytable.h - the keys a pass over a whole file has seen, each with a
// number (the line or position where it was first seen), for the checks
// that find a key given twice among a million records.  One open-addressed
// table of 64-bit slots holds a key's hash beside its entry, so that a
// lookup of a new key usually reads one slot and nothing else; the keys'
// bytes lie end to end in one string.
#ifndef VELNOR_TOOLS_KEYTABLE_H
#define VELNOR_TOOLS_KEYTABLE_H

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vtool {

class KeyTable {
public:
    explicit KeyTable(size_t expected) { rehash(expected * 2); }

    // Enters key with number n: (n, true) when the key is new, or (the
    // number it was entered with, false) when it is not.
    std::pair<long, bool> emplace(std::string_view key, long n) {
        const uint64_t h = std::hash<std::string_view>{}(key);
        const uint64_t tag = h >> 32;
        for (size_t i = h & mask_;; i = (i + 1) & mask_) {
            const uint64_t slot = slots_[i];
            if (slot == 0) {
                entries_.push_back(Entry{static_cast<uint32_t>(bytes_.size()), static_cast<uint32_t>(key.size()), n});
                bytes_.append(key);
                slots_[i] = tag << 32 | entries_.size();
                if (entries_.size() * 2 > slots_.size()) rehash(slots_.size() * 2);
                return {n, true};
            }
            if (slot >> 32 == tag) {
                const Entry& e = entries_[(slot & 0xFFFFFFFFu) - 1];
                if (std::string_view(bytes_).substr(e.at, e.size) == key) return {e.n, false};
            }
        }
    }

private:
    struct Entry {
        uint32_t at, size;  // where the key's bytes lie in bytes_
        long n;
    };

    // A table of at least want slots, a power of two, the entries put
    // back in it.
    void rehash(size_t want) {
        size_t size = 1024;
        while (size < want) size *= 2;
        slots_.assign(size, 0);
        mask_ = size - 1;
        for (size_t k = 0; k < entries_.size(); k++) {
            const Entry& e = entries_[k];
            const uint64_t h = std::hash<std::string_view>{}(std::string_view(bytes_).substr(e.at, e.size));
            size_t i = h & mask_;
            while (slots_[i] != 0) i = (i + 1) & mask_;
            slots_[i] = (h >> 32) << 32 | (k + 1);
        }
    }

    std::vector<uint64_t> slots_;  // hash's high half, entry number + 1; 0 is free
    size_t mask_ = 0;
    std::vector<Entry> entries_;
    std::string bytes_;
};

}  // namespace vtool

#endif
