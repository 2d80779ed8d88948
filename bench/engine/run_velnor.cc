// run_velnor.cc - the workload through filehandler: a fixed-length file of
// 120-byte records keyed by id (key 1) and by name (key 2, the id appended
// by the engine).
#include <cstdio>
#include <cstring>

#include "velnor.h"
#include "workload.h"

namespace {

const char* const kFid =
    "TKF FID v7.0\n"
    "RecLen = 118\nNItems = 3\nNKeys = 2\nFlags = 0\n"
    "Item = ID, 'C', 'L', 0, 10, 1, 1,\n"
    "Item = NAME, 'C', 'L', 10, 30, 1, 2,\n"
    "Item = FILL, 'C', 'L', 40, 78, 1, 0,\n"
    "Key = ID, 10, 1\n0, 10, 8\n"
    "Key = NAME, 30, 1\n10, 30, 8\n";

int32_t run(FHCB* cb, int op) {
    cb->opcode = static_cast<uint8_t>(op);
    return filehandler(cb);
}

void must(FHCB* cb, int op, const char* what) {
    if (run(cb, op) != 0) fail(std::string("velnor ") + what + " failed, status " + std::to_string(cb->status));
}

// Secures the file when w asks for a commit after the done-th write.
void commit(FHCB* cb, const Workload& w, size_t done, Timing& t) {
    if (!commitdue(w, done)) return;
    const double at = now();
    must(cb, VN_OP_SECURE, "secure");
    t.committing += now() - at;
}

void fill(char* rec, const Person& p) {
    rec[0] = ' ';
    std::memcpy(rec + 1, &p, REC_LEN);
    rec[REC_LEN + 1] = '\n';
}

}  // namespace

Timing runvelnor(const Workload& w, bool shared) {
    const std::string base = w.dir + (shared ? "/vshared" : "/vsingle");
    if (FILE* f = std::fopen((base + ".fid").c_str(), "wb")) {
        std::fputs(kFid, f);
        std::fclose(f);
    } else {
        fail("cannot write " + base + ".fid");
    }
    static FHCB cb;
    std::memset(&cb, 0, sizeof cb);
    static char rec[REC_LEN + 16];
    std::snprintf(cb.datname, sizeof cb.datname, "%s.dat", base.c_str());
    cb.recbuf = rec;
    cb.flockretry = 100;
    cb.rlockretry = 1;
    must(&cb, VN_OP_INIT, "init");
    must(&cb, VN_OP_CREATE, "create");
    if (!shared) {
        std::strcpy(cb.work, "SINGLE");
        must(&cb, VN_OP_NETTYPE, "network type");
    }
    Timing t;
    Mark start = mark();
    // Random inserts and lookups stay on the record written or read
    // instead of stepping on to the next key.
    cb.mflags |= VN_MF_STAY;
    size_t done = 0;
    for (const Person& p : w.people) {
        fill(rec, p);
        must(&cb, VN_OP_WRITE, "write");
        commit(&cb, w, ++done, t);
    }
    t.insert = took(start);

    start = mark();
    cb.mflags |= VN_MF_EXACT;
    for (size_t i : w.lookups) {
        const Person& p = w.people[i];
        std::memcpy(cb.work, p.id, ID_LEN);
        cb.work[ID_LEN] = '\0';
        must(&cb, VN_OP_POSN, "position");
        if (!(cb.state & VN_ST_CURRENT)) fail("velnor lookup missed");
        must(&cb, VN_OP_READ, "read");
        if (std::memcmp(rec + 1 + ID_LEN, p.name, NAME_LEN) != 0) fail("velnor lookup read the wrong record");
    }
    t.lookup = took(start);

    start = mark();
    cb.mflags &= static_cast<uint8_t>(~(VN_MF_EXACT | VN_MF_STAY));
    cb.reqkey = 2;
    must(&cb, VN_OP_SETKEY, "set key");
    cb.work[0] = '\0';
    must(&cb, VN_OP_POSN, "position");
    size_t seen = 0;
    while (run(&cb, VN_OP_READ) == 0) seen++;
    if (cb.status != VN_C_NOREC || seen != w.people.size()) fail("velnor scan saw " + std::to_string(seen));
    t.scan = took(start);

    start = mark();
    done = 0;
    for (size_t i : w.deletions) {
        fill(rec, w.people[i]);
        must(&cb, VN_OP_DELETE, "delete");
        commit(&cb, w, ++done, t);
    }
    t.remove = took(start);
    must(&cb, VN_OP_CLOSE, "close");
    globalmfree(cb.work);
    run(&cb, VN_OP_SHUTDOWN);
    run(&cb, VN_OP_SHUTDOWN);
    return t;
}
