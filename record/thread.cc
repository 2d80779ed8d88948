// thread.cc - thread expressions, evaluated straight from their text by
// recursive descent.  Every operator takes the whole rest of the expression
// as its right operand, so all operators have one precedence and group from
// the right: "2 * 3 + 4" is 2 * (3 + 4).
#include "record/thread.h"

#include <cctype>
#include <cmath>
#include <cstring>

#include "definition/fid.h"
#include "support/numconv.h"

namespace {

// Brackets and operators nest at most this deep; deeper text is refused
// as a bad expression rather than exhausting the stack.
enum { MAXDEPTH = 64, NAMEMAX = 255, NUMMAX = 63 };
// Kinds a caller may ask for.
enum { WANTTEXT = 0, WANTNUM = 1, KEEP = 2 };

void settext(ThreadVal* v, const char* s, size_t n) {
    if (n > THREAD_TEXTMAX - 1) n = THREAD_TEXTMAX - 1;
    std::memcpy(v->text, s, n);
    v->text[n] = '\0';
    v->isnum = 0;
}

void setnum(ThreadVal* v, double x) {
    v->num = x;
    v->isnum = 1;
}

void tonum(ThreadVal* v) {
    if (!v->isnum) setnum(v, textnum(v->text));
}

void totext(ThreadVal* v) {
    if (v->isnum) {
        const char* s = flasc(v->num);
        settext(v, s, std::strlen(s));
    }
}

void convert(ThreadVal* v, int want) {
    if (want == WANTNUM) tonum(v);
    else if (want == WANTTEXT) totext(v);
}

const char* skipblanks(const char* p) {
    while (*p == ' ' || *p == '\t') ++p;
    return p;
}

bool namestart(char c) { return std::isalpha(static_cast<unsigned char>(c)) || c == '_'; }
bool namechar(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }

bool numerictype(char t) {
    int u = std::toupper(static_cast<unsigned char>(t));
    return u == 'D' || u == 'I' || u == 'N' || u == 'S' || std::isdigit(static_cast<unsigned char>(t));
}

class Evaluator {
   public:
    Evaluator(FHCB* cb, const char* record) : cb_(cb), record_(record) {}
    const char* eval(const char* p, ThreadVal* v, int want, int depth);

   private:
    const char* operand(const char* p, ThreadVal* v, int depth);
    const char* item(const char* p, ThreadVal* v);
    const char* fail() {
        cb_->status = VN_E_THREXPR;
        return nullptr;
    }

    FHCB* cb_;
    const char* record_;
};

const char* Evaluator::item(const char* p, ThreadVal* v) {
    const char* start = p;
    while (namechar(*p)) ++p;
    size_t n = static_cast<size_t>(p - start);
    if (n > NAMEMAX) return fail();
    char name[NAMEMAX + 1];
    std::memcpy(name, start, n);
    name[n] = '\0';
    int32_t at = fhfidoffset(cb_, name);
    if (at < 0) return fail();
    const FidItem& it = cb_->items[at];
    settext(v, record_ + it.offset, it.length);
    if (numerictype(it.type)) setnum(v, textnum(v->text));
    return p;
}

const char* Evaluator::operand(const char* p, ThreadVal* v, int depth) {
    p = skipblanks(p);
    char c = *p;
    if (c == '"' || c == '\'') {
        const char* end = std::strchr(p + 1, c);
        if (end == nullptr) end = p + 1 + std::strlen(p + 1);
        settext(v, p + 1, static_cast<size_t>(end - p - 1));
        return *end != '\0' ? end + 1 : end;
    }
    if (std::isdigit(static_cast<unsigned char>(c)) || c == '-' || c == '.') {
        char digits[NUMMAX + 1];
        size_t n = 0;
        digits[n++] = c;
        for (++p; std::isdigit(static_cast<unsigned char>(*p)) || *p == '.'; ++p)
            if (n < NUMMAX) digits[n++] = *p;
        digits[n] = '\0';
        setnum(v, textnum(digits));
        return p;
    }
    if (c == '(' || c == '[') {
        p = eval(p + 1, v, KEEP, depth + 1);
        if (p == nullptr) return nullptr;
        if (*p != ')' && *p != ']') return fail();
        return p + 1;
    }
    if (namestart(c)) return item(p, v);
    return fail();
}

const char* Evaluator::eval(const char* p, ThreadVal* v, int want, int depth) {
    if (depth > MAXDEPTH) return fail();
    p = operand(p, v, depth);
    if (p == nullptr) return nullptr;
    static const char* const compares[] = {"<", "<=", "<>", ">", ">=", "="};
    for (;;) {
        p = skipblanks(p);
        ThreadVal r;
        if (std::strncmp(p, "AND", 3) == 0 || std::strncmp(p, "OR", 2) == 0) {
            bool isand = *p == 'A';
            tonum(v);
            p = eval(p + (isand ? 3 : 2), &r, WANTNUM, depth + 1);
            if (p == nullptr) return nullptr;
            bool x = v->num != 0, y = r.num != 0;
            setnum(v, (isand ? x && y : x || y) ? 1 : 0);
            continue;
        }
        int op = -1;
        for (int i = 0; i < 6 && op < 0; ++i)
            if (std::strncmp(p, compares[i], std::strlen(compares[i])) == 0) op = i;
        if (op >= 0) {
            p = eval(p + std::strlen(compares[op]), &r, v->isnum ? WANTNUM : WANTTEXT, depth + 1);
            if (p == nullptr) return nullptr;
            int c = v->isnum ? numcmp(v->num, r.num) : std::strcmp(v->text, r.text);
            bool t = op == 0 ? c < 0 : op == 1 ? c <= 0 : op == 2 ? c != 0
                   : op == 3 ? c > 0 : op == 4 ? c >= 0 : c == 0;
            setnum(v, t ? 1 : 0);
            continue;
        }
        if (*p == '*' || *p == '+' || *p == '-' || *p == '/') {
            char a = *p;
            tonum(v);
            p = eval(p + 1, &r, WANTNUM, depth + 1);
            if (p == nullptr) return nullptr;
            long double x = v->num, y = r.num;
            long double z = a == '*' ? x * y : a == '+' ? x + y : a == '-' ? x - y : x / y;
            setnum(v, static_cast<double>(z));
            continue;
        }
        convert(v, want);
        return p;
    }
}

}  // namespace

const char* threadeval(FHCB* cb, const char* record, const char* expr, ThreadVal* val,
                       int wantnum) {
    Evaluator e(cb, record);
    return e.eval(expr, val, wantnum == 1 ? WANTNUM : WANTTEXT, 0);
}

int threadtest(FHCB* cb, const char* record, int thread) {
    if (cb->threads == nullptr || thread < 0 || thread >= cb->nthreads) {
        cb->status = VN_E_THREXPR;
        return -1;
    }
    ThreadVal v;
    if (threadeval(cb, record, cb->threads[thread].expr, &v, 1) == nullptr) return -1;
    return v.isnum && !std::isnan(v.num) && v.num != 0 ? 1 : 0;
}
