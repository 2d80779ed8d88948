// kwbench.cc - the keyword benchmark: 20,000 documents of about 50 words
// from a vocabulary of 30,000 with a Zipf-like frequency are indexed (value
// = document number) word by word through fhhypaddline, 10,000 words
// searched and the words of 1,000 documents listed, by velnor's keyword
// index (unshared, then shared) and by SQLite FTS5.  Each runs in a child
// process of its own, so that its peak memory is its own; times are CPU
// seconds.  The last line holds the build and search against their goals:
// the build within 1.5 times FTS5's unshared and 3 times shared, the
// search ahead of FTS5.  The shared build runs up to 5,000 documents
// unless asked for by name (below).
//   keyword_bench [documents [searches [lists [single|shared|fts5]]]]
// (a fourth argument runs that one alone, for profiling).
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "instructions.h"
#include "velnor.h"

namespace {

constexpr size_t kWordsPerDoc = 50;
constexpr size_t kSharedMax = 5000;  // documents the shared build runs for unasked

struct Corpus {
    std::vector<std::string> words;  // the vocabulary, most frequent first
    std::vector<std::string> docs;
    std::vector<std::string> queries;
    std::vector<uint32_t> listed;    // documents whose words are listed
    size_t postings = 0;             // distinct (word, document) pairs
};

struct Result {
    double build = 0, search = 0, list = 0;
    long long buildinstructions = -1;  // user space, -1 without a counter
    long found = 0, listedwords = 0;
    long peakkb = 0;
    uint64_t bytes = 0;
};

[[noreturn]] void fail(const std::string& why) {
    std::fprintf(stderr, "keyword_bench: %s\n", why.c_str());
    std::exit(1);
}

// Word r of the vocabulary: syllables of r + 400 in base 20 (three or more,
// so every word has six letters or more and none is a stop word).
std::string word(uint32_t r) {
    static const char* const syll[] = {"ba", "ce", "di", "fo", "gu", "ka", "le", "mi", "no", "pu",
                                       "ra", "se", "ti", "vo", "zu", "ha", "je", "wi", "yo", "xu"};
    std::string w;
    for (uint32_t n = r + 400; n > 0; n /= 20) w += syll[n % 20];
    return w;
}

Corpus makecorpus(size_t ndocs, size_t nsearch, size_t nlist) {
    const size_t vocab = 30000, perdoc = kWordsPerDoc;
    Corpus c;
    std::vector<double> cum(vocab);
    double sum = 0;
    for (size_t r = 0; r < vocab; r++) {
        c.words.push_back(word(static_cast<uint32_t>(r)));
        cum[r] = sum += 1.0 / static_cast<double>(r + 1);
    }
    std::mt19937_64 rng(11);
    std::uniform_real_distribution<double> u(0, sum);
    for (size_t d = 0; d < ndocs; d++) {
        std::string text;
        std::vector<uint32_t> seen;
        for (size_t i = 0; i < perdoc; i++) {
            const auto r = static_cast<uint32_t>(std::lower_bound(cum.begin(), cum.end(), u(rng)) - cum.begin());
            text += (i ? " " : "") + c.words[std::min<size_t>(r, vocab - 1)];
            seen.push_back(r);
        }
        std::sort(seen.begin(), seen.end());
        c.postings += static_cast<size_t>(std::unique(seen.begin(), seen.end()) - seen.begin());
        c.docs.push_back(text);
    }
    std::uniform_int_distribution<size_t> anyword(0, vocab - 1);
    for (size_t i = 0; i < nsearch; i++) c.queries.push_back(c.words[anyword(rng)]);
    std::uniform_int_distribution<uint32_t> anydoc(1, static_cast<uint32_t>(ndocs));
    for (size_t i = 0; i < nlist; i++) c.listed.push_back(anydoc(rng));
    return c;
}

double cputime() {
    struct rusage ru;
    getrusage(RUSAGE_SELF, &ru);
    return static_cast<double>(ru.ru_utime.tv_sec + ru.ru_stime.tv_sec) +
           static_cast<double>(ru.ru_utime.tv_usec + ru.ru_stime.tv_usec) / 1e6;
}

// CPU seconds of f; with instructions given, also the user-space
// instructions it ran.
double timed(const std::function<void()>& f, long long* instructions = nullptr) {
    const long long i0 = userinstructions();
    const double t0 = cputime();
    f();
    const double t = cputime() - t0;
    if (instructions) *instructions = instructionsbetween(i0, userinstructions());
    return t;
}

uint64_t filesize(const std::string& path) {
    std::error_code ec;
    const auto n = std::filesystem::file_size(path, ec);
    return ec ? 0 : n;
}

Result runvelnor(const Corpus& c, const std::string& dir, bool shared) {
    std::ofstream(dir + "/kw.fid") << "TKF FID v7.0\nRecLen=25\nNItems=2\nNKeys=1\nFlags=0\n"
                                      "Item=KEYWORD,'C','L',0,20,1,0,\nItem=POSN,'C','L',20,5,1,1,\n"
                                      "Key=KEYWORD,20,1\n0,20,0\n";
    FHCB init{};
    init.opcode = VN_OP_INIT;
    if (filehandler(&init) != 0) fail("engine start");
    FHCB cb{};
    std::snprintf(cb.datname, sizeof cb.datname, "%s/kw.dat", dir.c_str());
    const std::string posting = dir + "/kw.pst";
    if (fhhypinit(&cb, posting.c_str(), 1, 1) != 0) fail("fhhypinit: status " + std::to_string(cb.status));
    std::snprintf(cb.work, 257, "%s", shared ? "MULTI" : "SINGLE");
    cb.opcode = VN_OP_NETTYPE;
    if (filehandler(&cb) != 0) fail("network type");
    Result r;
    r.build = timed([&] {
        for (size_t d = 0; d < c.docs.size(); d++)
            if (fhhypaddline(&cb, c.docs[d].c_str(), static_cast<uint32_t>(d + 1), 0) != 0)
                fail("fhhypaddline: status " + std::to_string(cb.status));
    }, &r.buildinstructions);
    r.search = timed([&] {
        for (const std::string& q : c.queries) {
            uint32_t n = 0;
            uint32_t* v = fhhypsearch(&cb, q.c_str(), &n);
            r.found += n;
            globalmfree(v);
        }
    });
    r.list = timed([&] {
        for (uint32_t doc : c.listed) {
            for (char first = 'a'; first <= 'z'; first++) {
                const char prefix[2] = {first, '\0'};
                uint32_t size = 0;
                char* text = fhhyplist(&cb, doc, prefix, nullptr, &size);
                if (text == nullptr) fail("fhhyplist");
                for (const char* p = text; (p = std::strstr(p, "\r\n")) != nullptr; p += 2) r.listedwords++;
                globalmfree(text);
            }
        }
    });
    fhhypinit(&cb, posting.c_str(), 0, 0);
    for (const char* ext : {"/kw.dat", "/kw.idx", "/kw.pst"}) r.bytes += filesize(dir + ext);
    return r;
}

void exec(sqlite3* db, const char* sql) {
    if (sqlite3_exec(db, sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail(std::string("sqlite: ") + sqlite3_errmsg(db));
}

sqlite3_stmt* prepare(sqlite3* db, const char* sql) {
    sqlite3_stmt* s = nullptr;
    if (sqlite3_prepare_v2(db, sql, -1, &s, nullptr) != SQLITE_OK) fail(std::string("sqlite: ") + sqlite3_errmsg(db));
    return s;
}

// FTS5 without its copy of the text (contentless): the index alone, as the
// keyword index keeps no text either.  Listing uses the fts5vocab table of
// term instances.
Result runfts5(const Corpus& c, const std::string& dir) {
    const std::string path = dir + "/fts.db";
    sqlite3* db = nullptr;
    if (sqlite3_open(path.c_str(), &db) != SQLITE_OK) fail("sqlite open");
    exec(db, "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF;");
    exec(db, "CREATE VIRTUAL TABLE docs USING fts5(body, content='', detail=none)");
    Result r;
    r.build = timed([&] {
        exec(db, "BEGIN");
        sqlite3_stmt* ins = prepare(db, "INSERT INTO docs(rowid, body) VALUES(?, ?)");
        for (size_t d = 0; d < c.docs.size(); d++) {
            sqlite3_bind_int64(ins, 1, static_cast<sqlite3_int64>(d + 1));
            sqlite3_bind_text(ins, 2, c.docs[d].c_str(), -1, SQLITE_STATIC);
            if (sqlite3_step(ins) != SQLITE_DONE) fail("sqlite insert");
            sqlite3_reset(ins);
        }
        sqlite3_finalize(ins);
        exec(db, "COMMIT");
    }, &r.buildinstructions);
    r.search = timed([&] {
        sqlite3_stmt* q = prepare(db, "SELECT rowid FROM docs WHERE docs MATCH ?");
        for (const std::string& w : c.queries) {
            sqlite3_bind_text(q, 1, w.c_str(), -1, SQLITE_STATIC);
            while (sqlite3_step(q) == SQLITE_ROW) r.found++;
            sqlite3_reset(q);
        }
        sqlite3_finalize(q);
    });
    exec(db, "CREATE VIRTUAL TABLE terms USING fts5vocab(docs, instance)");
    r.list = timed([&] {
        sqlite3_stmt* q = prepare(db, "SELECT DISTINCT term FROM terms WHERE doc = ?");
        for (uint32_t doc : c.listed) {
            sqlite3_bind_int64(q, 1, doc);
            while (sqlite3_step(q) == SQLITE_ROW) r.listedwords++;
            sqlite3_reset(q);
        }
        sqlite3_finalize(q);
    });
    sqlite3_close(db);
    r.bytes = filesize(path);
    return r;
}

// Runs f in a child process in a fresh folder; its result and peak memory.
Result inchild(const std::function<Result(const std::string&)>& f) {
    std::string dir = (std::filesystem::temp_directory_path() / "velnor-kwbench-XXXXXX").string();
    if (!mkdtemp(dir.data())) fail("no scratch folder");
    int fds[2];
    if (pipe(fds) != 0) fail("pipe");
    const pid_t pid = fork();
    if (pid == 0) {
        Result r = f(dir);
        struct rusage ru;
        getrusage(RUSAGE_SELF, &ru);
        r.peakkb = ru.ru_maxrss;
        if (write(fds[1], &r, sizeof r) != static_cast<ssize_t>(sizeof r)) _exit(2);
        _exit(0);
    }
    close(fds[1]);
    Result r;
    const bool ok = read(fds[0], &r, sizeof r) == static_cast<ssize_t>(sizeof r);
    close(fds[0]);
    int st = 0;
    waitpid(pid, &st, 0);
    std::filesystem::remove_all(dir);
    if (!ok) fail("a run failed");
    return r;
}

}  // namespace

int main(int argc, char** argv) {
    const size_t ndocs = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 20000;
    const size_t nsearch = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 10000;
    const size_t nlist = argc > 3 ? std::strtoull(argv[3], nullptr, 10) : 1000;
    const Corpus c = makecorpus(ndocs, nsearch, nlist);
    // The corpus is made before the children start: their peaks include it.
    const Result base = inchild([](const std::string&) { return Result{}; });
    const std::string only = argc > 4 ? argv[4] : "";
    auto wanted = [&](const std::string& name) { return only.empty() || only == name; };
    const Result single = wanted("single") ? inchild([&](const std::string& d) { return runvelnor(c, d, false); }) : base;
    // A shared add walks its word's chain from the head, as another program
    // may have changed it: the build grows with the square of a word's
    // frequency, minutes at 20,000 documents.  Unless asked for by name,
    // it runs only up to kSharedMax documents.
    const bool shareddue = only == "shared" || (only.empty() && ndocs <= kSharedMax);
    const Result shared = shareddue ? inchild([&](const std::string& d) { return runvelnor(c, d, true); }) : base;
    const Result fts = wanted("fts5") ? inchild([&](const std::string& d) { return runfts5(c, d); }) : base;

    std::printf("%zu documents, %zu postings; %zu searches, words of %zu documents listed\n", ndocs,
                c.postings, nsearch, nlist);
    std::printf("CPU seconds, and velnor's time over FTS5's\n");
    std::printf("%-8s %10s %10s %10s   %8s %8s\n", "step", "single", "shared", "fts5", "single/", "shared/");
    const bool withshared = shared.build > 0;  // "-" for a run not made
    auto row = [&](const char* step, double a, double b, double f) {
        if (withshared)
            std::printf("%-8s %10.3f %10.3f %10.3f   %8.2f %8.2f\n", step, a, b, f, a / f, b / f);
        else
            std::printf("%-8s %10.3f %10s %10.3f   %8.2f %8s\n", step, a, "-", f, a / f, "-");
    };
    row("build", single.build, shared.build, fts.build);
    // User-space instructions of the build per word of the documents.
    const double words = static_cast<double>(ndocs * kWordsPerDoc);
    auto perword = [&](const Result& r) { return r.buildinstructions < 0 ? -1.0 : r.buildinstructions / words; };
    if (single.buildinstructions >= 0 && fts.buildinstructions >= 0) {
        // A figure, or "-" for a run not made.
        auto figure = [](double v, const char* format) {
            char text[32] = "-";
            if (v >= 0) std::snprintf(text, sizeof text, format, v);
            return std::string(text);
        };
        const double f = perword(fts), sh = withshared ? perword(shared) : -1;
        std::printf("%-8s %10.0f %10s %10.0f   %8.2f %8s   (instructions per word built)\n", "ins/word",
                    perword(single), figure(sh, "%.0f").c_str(), f, perword(single) / f,
                    figure(sh < 0 ? -1 : sh / f, "%.2f").c_str());
    }
    row("search", single.search, shared.search, fts.search);
    if (nlist > 0) row("list", single.list, shared.list, fts.list);
    std::printf("%-8s %10ld %10ld %10ld   (values found by the searches)\n", "found", single.found,
                shared.found, fts.found);
    std::printf("%-8s %10ld %10ld %10ld   (words listed)\n", "listed", single.listedwords,
                shared.listedwords, fts.listedwords);
    std::printf("%-8s %10.1f %10.1f %10.1f   (MB on disk)\n", "size", single.bytes / 1e6, shared.bytes / 1e6,
                fts.bytes / 1e6);
    std::printf("%-8s %10.1f %10.1f %10.1f   (MB peak memory above the corpus's %.1f)\n", "memory",
                (single.peakkb - base.peakkb) / 1e3, (shared.peakkb - base.peakkb) / 1e3,
                (fts.peakkb - base.peakkb) / 1e3, base.peakkb / 1e3);
    if (fts.build > 0 && single.build > 0) {
        auto goal = [](const char* what, double ratio, double limit) {
            std::printf(" %s %.2fx of %.1fx %s;", what, ratio, limit,
                        ratio <= limit ? "met" : "missed");
        };
        std::printf("goal:");
        goal("build single", single.build / fts.build, 1.5);
        if (withshared) goal("build shared", shared.build / fts.build, 3.0);
        else if (only.empty()) std::printf(" build shared not run above %zu documents;", kSharedMax);
        if (fts.search > 0) {
            goal("search single", single.search / fts.search, 1.0);
            if (withshared) goal("search shared", shared.search / fts.search, 1.0);
        }
        std::printf("\n");
    }
    return 0;
}
