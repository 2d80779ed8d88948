// fidtools.cc - loading, printing and compiling file definitions.
#include "fidtools.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <vector>

#include "common.h"
#include "libinternal.h"

namespace vtool {

namespace {

std::string statusline(int status) {
    return statustext(status) + " (status " + std::to_string(status) + ")";
}

void loadinto(FHCB* cb, const std::string& path) {
    if (path.size() >= sizeof cb->fidname) fail(path, "file name too long");
    std::memcpy(cb->fidname, path.c_str(), path.size() + 1);
    if (loadfid(cb) != 0) fail(path, statusline(cb->status));
}

const char* plural(unsigned n, const char* one, const char* many) { return n == 1 ? one : many; }

// Bytes the engine appends to key k: the record number, or the primary key.
unsigned appended(const FHCB* cb, unsigned k) {
    if (cb->fflags & VN_FF_RECNO) return 5;
    return k == 0 ? 0 : cb->keys[0].keylen;
}

std::string segflags(uint8_t f) {
    static const struct {
        uint8_t bit;
        const char* word;
    } words[] = {{SEG_DESCEND, "descending"}, {SEG_NUMERIC, "numeric"}, {SEG_CASE, "case"},
                 {SEG_BINARY, "binary"}, {SEG_INTEGER, "integer"}};
    std::string s;
    for (const auto& w : words)
        if (f & w.bit) s += std::string(s.empty() ? "" : ", ") + w.word;
    return s;
}

// The item whose first byte is at the 1-based offset, or null.
const FidItem* itemat(const FHCB* cb, unsigned offset) {
    for (unsigned i = 0; i < cb->nitems; ++i)
        if (cb->items[i].offset == offset) return &cb->items[i];
    return nullptr;
}

void printitems(std::FILE* out, const FHCB* cb) {
    std::fprintf(out, "Items (%u):\n", cb->nitems);
    std::fprintf(out, "  %3s  %-10s  %-4s  %-4s  %6s  %6s  %6s\n", "#", "Name", "Type", "Just",
                 "Offset", "Length", "Occurs");
    for (unsigned i = 0; i < cb->nitems; ++i) {
        const FidItem& it = cb->items[i];
        std::fprintf(out, "  %3u  %-10s  %-4c  %-4c  %6u  %6u  %6u\n", i + 1, it.name,
                     it.type ? it.type : ' ', it.just ? it.just : ' ', it.offset - 1u, it.length,
                     it.occurs);
    }
}

void printkeys(std::FILE* out, const FHCB* cb) {
    std::fprintf(out, "Keys (%d):\n", cb->nkeys);
    for (int k = 0; k < cb->nkeys; ++k) {
        const FidKey& key = cb->keys[k];
        unsigned extra = std::min<unsigned>(appended(cb, k), key.keylen);
        std::fprintf(out, "  %d  %-10s  %u bytes", k + 1, key.name ? key.name : "",
                     key.keylen - extra);
        if (extra)
            std::fprintf(out, " + %u for the %s", extra,
                         (cb->fflags & VN_FF_RECNO) ? "record number" : "primary key");
        std::fprintf(out, ", %u %s\n", key.nsegs, plural(key.nsegs, "segment", "segments"));
        for (unsigned s = 0; s < key.nsegs && s < FID_MAXSEGS; ++s) {
            const FidSeg& seg = key.seg[s];
            const FidItem* it = itemat(cb, seg.segoff + 1u);
            std::fprintf(out, "       offset %u, length %u", seg.segoff, seg.seglen);
            if (it) std::fprintf(out, " (%s)", it->name);
            std::string f = segflags(seg.segflags);
            if (!f.empty()) std::fprintf(out, ", %s", f.c_str());
            std::fprintf(out, "\n");
        }
    }
}

void printthreads(std::FILE* out, const FHCB* cb) {
    if (cb->threads == nullptr) return;
    std::fprintf(out, "Threads (%u):\n", cb->nthreads);
    for (unsigned t = 0; t < cb->nthreads; ++t) {
        const FidThread& th = cb->threads[t];
        const FidItem* it = itemat(cb, th.thoff);
        std::fprintf(out, "  %u  linked through %s: %.*s\n", t + 1, it ? it->name : "?",
                     FID_EXPRLEN, th.expr);
    }
}

// Sets each item's order entry from the names, as the name search needs.
void rebuildorder(FHCB* cb) {
    std::vector<uint16_t> order(cb->nitems);
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [cb](uint16_t a, uint16_t b) {
        return std::strcmp(cb->items[a].name, cb->items[b].name) < 0;
    });
    for (unsigned i = 0; i < cb->nitems; ++i) cb->items[i].order = order[i];
}

struct ThreadLine {
    long line;
    std::string item, expr;
};

std::string trimmed(const std::string& s) {
    size_t b = s.find_first_not_of(" \t\r"), e = s.find_last_not_of(" \t\r");
    return b == std::string::npos ? "" : s.substr(b, e - b + 1);
}

bool startsblind(const std::string& s, const char* word) {
    size_t n = std::strlen(word);
    if (s.size() < n) return false;
    for (size_t i = 0; i < n; ++i)
        if (std::tolower(static_cast<unsigned char>(s[i])) != std::tolower(word[i])) return false;
    return true;
}

// Where each part of a text definition stands: the lines of its items,
// keys and key segments, and its thread lines.
struct TextLines {
    std::vector<long> items, keys;
    std::vector<std::vector<long>> segs;
    std::vector<ThreadLine> threads;
};

// The longest line the library's reader takes whole.
constexpr size_t LINE_LIMIT = 200;

// Reads a text definition line by line, refusing what the library's
// reader would pass over or misread: long lines, unknown keywords, key
// segment lines that are not three numbers.  False when it is not one.
bool scantext(const std::string& path, TextLines& t) {
    static const char* const keywords[] = {"RecLen", "NItems", "NKeys", "NThreads", "Flags",
                                           "HashRecs", "Item", "Key", "Thread"};
    std::ifstream in(path, std::ios::binary);
    std::string line;
    if (!std::getline(in, line) || trimmed(line) != "TKF FID v7.0") return false;
    long segsleft = 0, reclen = 0, nitems = -1, keylen = 0, seglens = 0, keyline = 0;
    std::string keyname;
    // A key whose segments take more bytes than it declares.
    auto checkkeylength = [&] {
        if (keyline && seglens > keylen)
            fail(path, "line " + std::to_string(keyline) + ": key " + keyname + ": its length " +
                           std::to_string(keylen) + " is shorter than its segments' " + std::to_string(seglens));
    };
    for (long n = 2; std::getline(in, line); ++n) {
        std::string where = "line " + std::to_string(n) + ": ";
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.size() > LINE_LIMIT)
            fail(path, where + "longer than the " + std::to_string(LINE_LIMIT) +
                           " characters a definition line may have");
        if (segsleft > 0) {
            --segsleft;
            t.segs.back().push_back(n);
            int a, b, c;
            char extra;
            if (std::sscanf(line.c_str(), " %d , %d , %d %c", &a, &b, &c, &extra) != 3)
                fail(path, where + "a key segment line is three numbers: offset, length, flags");
            seglens += b;
            if (segsleft == 0) checkkeylength();
            continue;
        }
        if (trimmed(line).empty()) continue;
        const char* word = nullptr;
        for (const char* k : keywords)
            if (startsblind(line, k)) word = k;
        if (word == nullptr)
            fail(path, where + "unknown keyword '" + trimmed(line).substr(0, 20) + "'");
        std::string rest = trimmed(line.substr(std::strlen(word)));
        if (!rest.empty() && rest[0] == '=') rest = trimmed(rest.substr(1));
        if (std::strcmp(word, "RecLen") == 0) {
            reclen = std::atol(rest.c_str());
        } else if (std::strcmp(word, "NItems") == 0) {
            nitems = std::atol(rest.c_str());
        } else if (std::strcmp(word, "Item") == 0) {
            t.items.push_back(n);
            // name, type, justification, offset, length, occurrences, order
            std::vector<std::string> f;
            for (size_t b = 0, e; b <= rest.size(); b = e + 1) {
                e = std::min(rest.find(',', b), rest.size());
                f.push_back(trimmed(rest.substr(b, e - b)));
            }
            long end = f.size() < 6 ? 0 : std::atol(f[3].c_str()) + std::atol(f[4].c_str()) *
                                                                      std::atol(f[5].c_str());
            if (end > reclen)
                fail(path, where + "item " + f[0] + " ends at byte " + std::to_string(end) +
                               ", past the record's " + std::to_string(reclen));
            if (nitems >= 0 && static_cast<long>(t.items.size()) > nitems)
                fail(path, where + "item " + f[0] + ": more Item lines than NItems " + std::to_string(nitems));
            if (f.size() > 6 && nitems >= 0 && std::atol(f[6].c_str()) >= nitems)
                fail(path, where + "item " + f[0] + ": its order field " + f[6] + " must be below NItems " +
                               std::to_string(nitems));
        } else if (std::strcmp(word, "Key") == 0) {
            t.keys.push_back(n);
            t.segs.emplace_back();
            size_t last = rest.rfind(',');
            segsleft = last == std::string::npos ? 0 : std::atol(rest.c_str() + last + 1);
            const size_t first = rest.find(',');
            keyname = trimmed(rest.substr(0, first));
            keylen = first == std::string::npos ? 0 : std::atol(rest.c_str() + first + 1);
            seglens = 0;
            keyline = n;
        } else if (std::strcmp(word, "Thread") == 0) {
            size_t comma = rest.find(',');
            if (comma == std::string::npos)
                fail(path, where + "a thread line needs a link item and an expression "
                                   "(Thread = LINKITEM, expression)");
            t.threads.push_back({n, trimmed(rest.substr(0, comma)), trimmed(rest.substr(comma + 1))});
        }
    }
    if (segsleft > 0) fail(path, "the file ends inside the segments of a key");
    if (nitems > static_cast<long>(t.items.size()))
        fail(path, "NItems is " + std::to_string(nitems) + " but there are " +
                       counted(static_cast<long>(t.items.size()), "Item line") +
                       (t.items.empty() ? "" : "; the last is line " + std::to_string(t.items.back())));
    return true;
}

// Checks the loaded tables of a text definition, naming the line of each
// fault: counts, item names, type and justification letters, items past
// the record, key segments that do not start at an item or run past the
// record.
void checktables(const FHCB* cb, const TextLines& t, const std::string& path) {
    auto at = [&](const std::vector<long>& lines, size_t i) {
        return i < lines.size() ? "line " + std::to_string(lines[i]) + ": " : std::string();
    };
    if (t.items.size() != cb->nitems)
        fail(path, "NItems is " + std::to_string(cb->nitems) + " but there are " +
                       counted(static_cast<long>(t.items.size()), "Item line"));
    if (t.keys.size() != static_cast<size_t>(cb->nkeys))
        fail(path, "NKeys is " + std::to_string(cb->nkeys) + " but there are " +
                       counted(static_cast<long>(t.keys.size()), "Key line"));
    const unsigned reclen = cb->reclen - 2u;  // without the status byte and newline
    std::vector<unsigned> starts;
    for (unsigned i = 0; i < cb->nitems; ++i) {
        const FidItem& it = cb->items[i];
        std::string where = at(t.items, i);
        if (it.name == nullptr || it.name[0] == 0) fail(path, where + "an item needs a name");
        for (unsigned j = 0; j < i; ++j)
            if (std::strcmp(cb->items[j].name, it.name) == 0)
                fail(path, where + "item " + it.name + " is defined twice");
        if (std::strchr("CNDJIS", it.type) == nullptr || it.type == 0)
            fail(path, where + "item " + it.name + ": unknown type '" + std::string(1, it.type) +
                           "' (C, N, D, J, I or S)");
        if (std::strchr("LRCN", it.just) == nullptr || it.just == 0)
            fail(path, where + "item " + it.name + ": unknown justification '" +
                           std::string(1, it.just) + "' (L, R, C or N)");
        for (unsigned k = 0; k < it.occurs; ++k) starts.push_back(it.offset - 1u + k * it.length);
    }
    const unsigned reserved = reservedbytes(cb);
    for (unsigned i = 0; i < cb->nitems; ++i)
        if (cb->items[i].offset - 1u < reserved)
            fail(path, at(t.items, i) + "item " + cb->items[i].name + ": offset " +
                           std::to_string(cb->items[i].offset - 1u) + " " + reservedwhy(cb));
    for (int k = 0; k < cb->nkeys; ++k) {
        const FidKey& key = cb->keys[k];
        for (unsigned g = 0; g < key.nsegs && g < FID_MAXSEGS; ++g) {
            const FidSeg& seg = key.seg[g];
            std::string where = k < static_cast<int>(t.segs.size()) ? at(t.segs[k], g) : "";
            if (seg.segoff < reserved)
                fail(path, where + "key " + (key.name ? key.name : "") + ": offset " +
                               std::to_string(seg.segoff) + " " + reservedwhy(cb));
            if (std::find(starts.begin(), starts.end(), seg.segoff) == starts.end())
                fail(path, where + "key " + (key.name ? key.name : "") + ": no item starts at byte " +
                               std::to_string(seg.segoff));
            if (seg.segoff + unsigned{seg.seglen} > reclen || seg.seglen == 0)
                fail(path, where + "key " + (key.name ? key.name : "") +
                               ": the segment runs past the record");
        }
    }
}

void checknames(const FHCB* cb, const std::string& path) {
    for (unsigned i = 0; i < cb->nitems; ++i)
        if (std::strlen(cb->items[i].name) > 10)
            fail(path, std::string("item name '") + cb->items[i].name +
                           "' is longer than the 10 characters a binary definition holds");
    for (int k = 0; k < cb->nkeys; ++k)
        if (cb->keys[k].name && std::strlen(cb->keys[k].name) > 10)
            fail(path, std::string("key name '") + cb->keys[k].name +
                           "' is longer than the 10 characters a binary definition holds");
}

}  // namespace

unsigned reservedbytes(const FHCB* cb) {
    return ((cb->fflags & VN_FF_VARLEN) ? 4u : 0u) + ((cb->fflags & VN_FF_RECNO) ? 5u : 0u);
}

std::string reservedwhy(const FHCB* cb) {
    const bool varlen = cb->fflags & VN_FF_VARLEN, recno = cb->fflags & VN_FF_RECNO;
    return std::string("is inside the first ") + std::to_string(reservedbytes(cb)) +
           " bytes, where the engine keeps " +
           (varlen && recno ? "each record's length and number (Flags 1 and 128)"
            : varlen        ? "each record's length (Flags 1)"
                            : "each record's number (Flags 128)") +
           ": items start at " + std::to_string(reservedbytes(cb));
}

std::string reservedoverlap(const FHCB* cb) {
    const unsigned reserved = reservedbytes(cb);
    std::string names;
    for (unsigned i = 0; i < cb->nitems; ++i)
        if (cb->items[i].offset - 1u < reserved) names += std::string(names.empty() ? "" : ", ") + cb->items[i].name;
    for (int k = 0; k < cb->nkeys; ++k)
        for (unsigned g = 0; g < cb->keys[k].nsegs && g < FID_MAXSEGS; ++g)
            if (cb->keys[k].seg[g].segoff < reserved) {
                names += std::string(names.empty() ? "key " : ", key ") + (cb->keys[k].name ? cb->keys[k].name : "");
                break;
            }
    if (names.empty()) return "";
    return "the definition puts " + names + " in the first " + std::to_string(reserved) +
           " bytes of each record, which the engine overwrites with the record's " +
           ((cb->fflags & VN_FF_VARLEN) ? "length" : "number") + "; the keys and walks of this file cannot be trusted";
}

Definition::Definition(const std::string& path) { loadinto(&cb_, path); }

Definition::~Definition() { freefid(&cb_); }

std::string filetype(const FHCB* cb) {
    std::string s;
    unsigned n = static_cast<unsigned>(cb->nkeys);
    if (cb->nitems == 0) return "Sequential, without a definition.";
    if (n == 0) s = "Sequential, no keys.";
    else if (cb->fflags & VN_FF_HASHED)
        s = "Hashed on " + std::to_string(n) + plural(n, " key, ", " keys, ") +
            std::to_string(cb->hashrecs) + " table entries.";
    else s = "Indexed on " + std::to_string(n) + plural(n, " key.", " keys.");
    if (cb->fflags & VN_FF_VARLEN) s += " Variable-length records.";
    if (cb->fflags & VN_FF_RECNO) s += " Numbered records.";
    return s;
}

void printdefinition(std::FILE* out, const FHCB* cb) {
    std::fprintf(out, "Record length: %u bytes (%u with the status byte and newline)\n",
                 cb->reclen >= 2 ? cb->reclen - 2u : 0u, cb->reclen);
    std::fprintf(out, "%s\n", filetype(cb).c_str());
    printitems(out, cb);
    printkeys(out, cb);
    printthreads(out, cb);
}

void compilefid(const std::string& in, const std::string& out) {
    TextLines text;
    bool istext = scantext(in, text);
    Definition def(in);
    FHCB* cb = def.cb();
    if (istext) {
        checktables(cb, text, in);
        // The text loader takes an NThreads count but no table.
        cb->nthreads = 0;
        cb->threads = nullptr;
    }
    const std::vector<ThreadLine>& threads = text.threads;
    checknames(cb, in);
    rebuildorder(cb);
    std::vector<char> blank(cb->reclen + 8u, ' ');
    for (const ThreadLine& t : threads) {
        std::string where = in + ": line " + std::to_string(t.line);
        if (t.expr.size() >= FID_EXPRLEN)
            fail(where, "thread expression longer than " + std::to_string(FID_EXPRLEN - 1) +
                            " characters");
        if (fidaddthread(cb, t.item.c_str(), t.expr.c_str()) != 0) {
            if (cb->status == VN_E_FIDREAD) fail(where, "no item called '" + t.item + "'");
            fail(where, statusline(cb->status));
        }
        // Tried on a blank record: unknown items and bad syntax show now.
        ThreadVal val;
        const char* stop = threadeval(cb, blank.data(), t.expr.c_str(), &val, 1);
        if (stop == nullptr) fail(where, statusline(cb->status) + ": " + t.expr);
        if (!trimmed(stop).empty())
            fail(where, "the thread expression stops before '" + trimmed(stop) + "'");
    }
    if (savefidbin(cb, out.c_str()) != 0) fail(out, "cannot write the binary definition");
    // Read it back: what was written must load as what was meant.
    Definition check(out);
    if (check.cb()->nitems != cb->nitems || check.cb()->nkeys != cb->nkeys ||
        check.cb()->nthreads != cb->nthreads || check.cb()->reclen != cb->reclen)
        fail(out, "the binary definition does not read back as written");
}

std::string textdefinition(const FHCB* cb, const std::string& path) {
    // The library writes the text form of a definition without threads;
    // they follow as the lines compilefid reads.
    FHCB plain = *cb;
    plain.nthreads = 0;
    std::error_code ec;
    std::string name = "velnor-";
    name.append(std::to_string(getpid())).append("-show.fid");
    const auto tmp = std::filesystem::temp_directory_path(ec) / name;
    const bool saved = savefidtext(&plain, tmp.string().c_str()) == 0;
    std::string text;
    if (std::FILE* in = saved ? std::fopen(tmp.string().c_str(), "rb") : nullptr) {
        char buf[4096];
        for (size_t n; (n = std::fread(buf, 1, sizeof buf, in)) > 0;) text.append(buf, n);
        std::fclose(in);
    }
    std::filesystem::remove(tmp, ec);
    if (!saved || text.empty())
        fail(path, "the definition cannot be written in the text form (a name with a comma or "
                   "a leading blank, or no temporary file could be made)");
    for (unsigned t = 0; t < cb->nthreads; ++t) {
        const FidThread& th = cb->threads[t];
        for (unsigned i = 0; i < cb->nitems; ++i)
            if (cb->items[i].offset == th.thoff) {
                text.append("Thread = ").append(cb->items[i].name).append(", ").append(th.expr).append("\r\n");
                break;
            }
    }
    return text;
}

}  // namespace vtool
