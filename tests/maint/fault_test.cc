// fault_test.cc - each OS call of an operation made to fail, or to come back
// short, in turn: a write, rewrite, delete, secure and close of records, and
// an archive add and extract.  The operation must not report success when a
// write failed nor leak a descriptor; afterwards the files hold what was
// there before or the operation's whole effect, and VERIFY (after RECOVER
// or PACK when it finds damage) finds a record file clean.
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "common/engine.h"
#include "maintfix.h"
#include "support/osfault.h"

namespace fs = std::filesystem;

namespace {

// MOVE rewrites a variable-length record to another length: a fault after
// the old copy's keys went leaves that record out of the index until a
// repair finds it again.
enum Op { WRITE, REWRITE, MOVE, DELETE, SECURE, CLOSE, ADD, EXTRACT };
struct Case {  // single: network type SINGLE, else shared
    const char* name; Op op; Kind kind; bool single;
};
const Case kCases[] = {
    {"write", WRITE, FIXLEN, false},        {"write single", WRITE, FIXLEN, true},
    {"write varlen", WRITE, VARLEN, false}, {"write hashed", WRITE, HASHED, false},
    {"rewrite", REWRITE, FIXLEN, false},    {"rewrite varlen", REWRITE, VARLEN, true},
    {"move varlen", MOVE, VARLEN, true},
    {"delete", DELETE, FIXLEN, false},      {"delete hashed", DELETE, HASHED, true},
    {"secure", SECURE, FIXLEN, true},       {"close", CLOSE, FIXLEN, true},
    {"archive add", ADD, FIXLEN, false},    {"archive extract", EXTRACT, FIXLEN, false},
};

int32_t errors;
void VELNOR_CALL counterror(int32_t) { errors++; }

// Descriptors the process holds: 0 where /proc/self/fd is missing, and on
// Windows, where under wine it lists wine's own.
size_t openfds() {
#ifdef _WIN32
    return 0;
#endif
    std::error_code ec;
    auto it = fs::directory_iterator("/proc/self/fd", ec);
    return ec ? 0 : static_cast<size_t>(std::distance(it, fs::directory_iterator()));
}

std::string xname(int i) { return vntest::cat("x", i, ".txt"); }
std::string source(int i) { return std::string(3000 * static_cast<size_t>(i), static_cast<char>('a' + i)); }

class FaultTest : public MaintTest {
protected:
    // Builds the files and runs the case with the n-th call of kind armed
    // (without doop only builds): the operation's result.
    int32_t perform(const Case& c, int32_t kind, uint32_t n, bool shortio, bool doop = true) {
        if (c.op >= ADD) return archive(c, kind, n, shortio, doop);
        FHCB cb{};
        EXPECT_EQ(openfile(cb, build(c.kind), c.single), 0);
        std::memset(cb.recbuf + 1, ' ', cb.reclen - 2);
        vfhitemset(&cb, "ID", 0, c.op == WRITE || c.op >= SECURE ? "K11" : "K05");
        vfhitemset(&cb, "NAME", 0, c.op == REWRITE ? "Name55" : c.op == MOVE ? "Renamed" : c.op == DELETE ? "Name05" : "Name11");
        if (c.op >= SECURE && doop) {
            EXPECT_EQ(vfhwrite(&cb, 0), 0);  // not yet secured
        }
        osfaultarm(kind, n, shortio, EIO);
        int32_t r = !doop                               ? 0
                    : c.op <= MOVE ? vfhwrite(&cb, 0)
                    : c.op == DELETE                   ? vfhdelete(&cb)
                    : c.op == SECURE                   ? vfhsecure(&cb)
                                                       : vfhclose(&cb);
        fired = osfaultfired();
        osfaultarm(-1, 0, false, 0);
        if (c.op != CLOSE || !doop) vfhclose(&cb);
        return r;
    }
    int32_t archive(const Case& c, int32_t kind, uint32_t n, bool shortio, bool doop) {
        fs::current_path(tmp.dir());
        fs::remove("a.cmp");
        for (int i = 1; i <= 3; i++) writefile(xname(i), source(i));
        EXPECT_EQ(compress_file_list("-aq", "a.cmp", c.op == ADD ? "x1.txt x2.txt" : "x*.txt"), 0);
        packed = readfile("a.cmp");
        for (int i = 1; i <= 3 && c.op == EXTRACT; i++) fs::remove(xname(i));
        errors = 0;
        osfaultarm(kind, n, shortio, EIO);
        const bool add = c.op == ADD;
        int32_t r = doop ? compress_file_list(add ? "-aq" : "-xoq", "a.cmp", add ? "x3.txt" : "") : 0;
        fired = osfaultfired();
        osfaultarm(-1, 0, false, 0);
        return errors > 0 ? -1 : r;
    }
    // What a reader finds: the active records; or the archive's files on
    // disk, "!" after one that differs from its source (after an extraction
    // those it made, after an add those extracted again).
    std::string contents(const Case& c) {
        std::string out;
        if (c.op < ADD) {
            for (const auto& [id, name] : records(path("f.dat"))) out += id + " " + name + "|";
            return out;
        }
        if (c.op == ADD) {
            for (int i = 1; i <= 3; i++) fs::remove(xname(i));
            errors = 0;
            EXPECT_EQ(compress_file_list("-xoq", "a.cmp", ""), 0);
            if (errors != 0) out = "errors ";
        }
        for (int i = 1; i <= 3; i++)
            if (fs::exists(xname(i))) out += vntest::cat(i, readfile(xname(i)) == source(i) ? " " : "! ");
        return c.op == ADD || readfile("a.cmp") == packed ? out : out + "archive changed";
    }
    bool fired = false;
    std::string packed;
};

TEST_F(FaultTest, EveryCallOfAnOperationFailsInTurn) {
    const fs::path home = fs::current_path();
    compress_setsinks(nullptr, counterror);
    int faults = 0, bad = 0, repairs = 0;
    for (const Case& c : kCases) {
        perform(c, -1, 0, false, false);
        const std::string before = contents(c);
        EXPECT_EQ(perform(c, -1, 0, false), 0);
        const std::string after = contents(c);
        ASSERT_NE(before, after);
        std::string gone = before;  // a move's record out of the index
        const size_t at = before.find("K05 ");
        if (c.op == MOVE) gone.erase(at, before.find('|', at) + 1 - at);
        const size_t fds = openfds();
        // Every kind fails; a read or write (kinds 0 and 1) also comes back short.
        for (int32_t mode = 0; mode < OSF_KINDS + 2; mode++) {
            const int32_t kind = mode % OSF_KINDS;
            const bool shortio = mode >= OSF_KINDS;
            for (uint32_t n = 1;; n++) {
                SCOPED_TRACE(vntest::cat(c.name, " kind ", kind, shortio ? " short" : " fail", " call ", n));
                const int32_t r = perform(c, kind, n, shortio);
                if (!fired) break;
                faults++;
                EXPECT_EQ(openfds(), fds);
                const std::string now = contents(c);
                // A failed extraction may leave files; its archive stays.
                const bool kept = now == before || (c.op == MOVE && now == gone) || (c.op == EXTRACT && now.find("changed") == now.npos);
                const bool falsesuccess = r == 0 && (kind == OSF_WRITE || kind == OSF_SYNC) && !shortio;
                const int wrong = falsesuccess + (now != after && (r == 0 || !kept));
                EXPECT_EQ(wrong, 0) << "result " << r << "\nbefore " << before << "\nafter  " << after
                                    << "\nnow    " << now;
                bad += wrong != 0;
                if (c.op >= ADD) continue;
                repairs += repair(path("f.dat"));
                EXPECT_EQ(run(VN_FM_VERIFY, path("f.dat")), 0);
                const std::string fixed = contents(c);
                EXPECT_TRUE(fixed == before || fixed == after) << fixed;
            }
        }
    }
    compress_setsinks(nullptr, nullptr);
    fs::current_path(home);
    std::printf("faults injected %d, calls that misbehaved %d, repairs %d\n", faults, bad, repairs);
}

}  // namespace
