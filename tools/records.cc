// records.cc - columns, field values and key matching over a loaded
// definition.
#include "records.h"

#include <cctype>
#include <cstring>

#include "common.h"
#include "libinternal.h"

namespace vtool {

namespace {

bool sameblind(const std::string& a, const std::string& b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(a[i])) !=
            std::tolower(static_cast<unsigned char>(b[i])))
            return false;
    return true;
}

}  // namespace

std::vector<Column> columns(const FHCB* cb) {
    std::vector<Column> cols;
    for (unsigned i = 0; i < cb->nitems; ++i) {
        const FidItem& it = cb->items[i];
        for (unsigned k = 0; k < it.occurs; ++k) {
            std::string name = it.name;
            if (it.occurs > 1) name.append("[").append(std::to_string(k + 1)).append("]");
            unsigned off = it.offset + k * it.length;
            // Nothing outside the record buffer is ever shown.
            if (off >= cb->reclen) break;
            unsigned len = off + it.length > cb->reclen ? cb->reclen - off : it.length;
            cols.push_back({name, static_cast<int>(i), static_cast<int>(k), off, len,
                            it.just == 'R'});
        }
    }
    return cols;
}

std::vector<Column> selectcolumns(const FHCB* cb, const std::vector<std::string>& names,
                                  const std::string& file) {
    std::vector<Column> all = columns(cb);
    if (names.empty()) return all;
    std::vector<Column> chosen;
    for (const std::string& name : names) {
        int i = findcolumn(all, name);
        if (i >= 0) {
            chosen.push_back(all[i]);
            continue;
        }
        // An item of several occurrences, named without its [k].
        bool any = false;
        for (const Column& c : all) {
            size_t bracket = c.name.find('[');
            if (bracket != std::string::npos && sameblind(c.name.substr(0, bracket), name)) {
                chosen.push_back(c);
                any = true;
            }
        }
        if (!any) fail(file, "no item called '" + name + "'", EXIT_USAGE);
    }
    return chosen;
}

std::string fieldtext(const FHCB* cb, const Column& col) {
    const char* p = cb->recbuf + col.offset;
    size_t n = col.length;
    while (n > 0 && (p[n - 1] == ' ' || p[n - 1] == '\0')) --n;
    // A right-justified value's leading blanks are fill, not text.
    if (col.right)
        while (n > 0 && *p == ' ') ++p, --n;
    return std::string(p, n);
}


int findcolumn(const std::vector<Column>& cols, const std::string& name) {
    int blind = -1, nblind = 0;
    for (size_t i = 0; i < cols.size(); ++i) {
        if (cols[i].name == name) return static_cast<int>(i);
        if (sameblind(cols[i].name, name)) blind = static_cast<int>(i), ++nblind;
    }
    return nblind == 1 ? blind : -1;
}

KeyShape keyshape(const FHCB* cb, int key) {
    KeyShape shape;
    if (key < 1 || key > cb->nkeys) return shape;
    const FidKey& k = cb->keys[key - 1];
    for (unsigned s = 0; s < k.nsegs && s < FID_MAXSEGS; ++s) shape.length += k.seg[s].seglen;
    if (k.nsegs == 0) return shape;
    const FidSeg& first = k.seg[0];
    shape.firstlen = first.seglen;
    shape.casesensitive = (first.segflags & SEG_CASE) != 0;
    for (unsigned i = 0; i < cb->nitems; ++i)
        if (cb->items[i].offset == first.segoff + 1u && cb->items[i].just == 'R') shape.right = true;
    return shape;
}

std::string keyvalue(const KeyShape& shape, const std::string& typed, bool exact) {
    std::string v = typed;
    if (exact) v.erase(v.find_last_not_of(' ') + 1);
    if (!shape.right) return v;
    v.erase(0, v.find_first_not_of(' '));
    if (v.size() < shape.firstlen) v.insert(0, shape.firstlen - v.size(), ' ');
    return v;
}

bool keymatches(FHCB* cb, int key, const KeyShape& shape, const std::string& value, bool exact) {
    char buf[600];
    int internal = (cb->fflags & VN_FF_RECNO) ? key : key - 1;
    int len = bldkey(cb, internal, buf);
    if (len < 0) return false;
    size_t n = std::min<size_t>(shape.length, static_cast<size_t>(len));
    if (exact)
        while (n > 0 && buf[n - 1] == ' ') --n;
    if (exact ? n != value.size() : n < value.size()) return false;
    for (size_t i = 0; i < value.size(); ++i) {
        unsigned char a = buf[i], b = value[i];
        if (a != b && (shape.casesensitive || std::tolower(a) != std::tolower(b))) return false;
    }
    return true;
}

}  // namespace vtool
