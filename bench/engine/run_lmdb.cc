// run_lmdb.cc - the workload through LMDB: records by id in one database
// and a name index (name then id, no value) in a second, both in one
// memory-mapped environment, never synced (unless asked to sync each
// commit).  Unshared, each write step is one transaction, or one every
// w.every writes, and the environment takes no locks; per operation, every
// insert, lookup and delete is a transaction of its own, which is what
// processes sharing the files need.
#include <lmdb.h>

#include <cstring>

#include "workload.h"

namespace {

void check(int r, const char* what) {
    if (r != MDB_SUCCESS) fail(std::string("lmdb ") + what + ": " + mdb_strerror(r));
}

// Stored value: name and fill.  Name key: name then id, so every key is unique.
struct Value {
    char name[NAME_LEN];
    char fill[FILL_LEN];
};
struct NameKey {
    char name[NAME_LEN];
    char id[ID_LEN];
};

MDB_val val(const void* p, size_t n) { return MDB_val{n, const_cast<void*>(p)}; }

struct Env {
    MDB_env* env = nullptr;
    MDB_dbi ids = 0, names = 0;
    bool pertxn = false;

    MDB_txn* begin(unsigned flags) const {
        MDB_txn* txn = nullptr;
        check(mdb_txn_begin(env, nullptr, flags, &txn), "begin");
        return txn;
    }
};

void putrec(const Env& e, MDB_txn* txn, const Person& p) {
    Value v;
    std::memcpy(v.name, p.name, NAME_LEN);
    std::memcpy(v.fill, p.fill, FILL_LEN);
    NameKey nk;
    std::memcpy(nk.name, p.name, NAME_LEN);
    std::memcpy(nk.id, p.id, ID_LEN);
    MDB_val k = val(p.id, ID_LEN), d = val(&v, sizeof v);
    check(mdb_put(txn, e.ids, &k, &d, 0), "put");
    MDB_val nkv = val(&nk, sizeof nk), none = val(nullptr, 0);
    check(mdb_put(txn, e.names, &nkv, &none, 0), "put name");
}

void getrec(const Env& e, MDB_txn* txn, const Person& p) {
    MDB_val k = val(p.id, ID_LEN), d;
    check(mdb_get(txn, e.ids, &k, &d), "get");
    if (d.mv_size != sizeof(Value) || std::memcmp(d.mv_data, p.name, NAME_LEN) != 0)
        fail("lmdb lookup read the wrong record");
}

// Deletes by id: the record gives the name, which gives the name key.
void delrec(const Env& e, MDB_txn* txn, const Person& p) {
    MDB_val k = val(p.id, ID_LEN), d;
    check(mdb_get(txn, e.ids, &k, &d), "get before delete");
    NameKey nk;
    std::memcpy(nk.name, d.mv_data, NAME_LEN);
    std::memcpy(nk.id, p.id, ID_LEN);
    MDB_val nkv = val(&nk, sizeof nk);
    check(mdb_del(txn, e.names, &nkv, nullptr), "del name");
    check(mdb_del(txn, e.ids, &k, nullptr), "del");
}

// Runs op on each record index in which: in one write transaction (or one
// every w.every), or in one transaction each.
template <class Op>
void writes(const Env& e, const Workload& w, const std::vector<size_t>& which, Op op, Timing& t) {
    MDB_txn* txn = e.pertxn ? nullptr : e.begin(0);
    size_t done = 0;
    for (size_t i : which) {
        if (e.pertxn) txn = e.begin(0);
        op(e, txn, w.people[i]);
        if (e.pertxn) {
            check(mdb_txn_commit(txn), "commit");
        } else if (commitdue(w, ++done)) {
            const double at = now();
            check(mdb_txn_commit(txn), "commit");
            txn = e.begin(0);
            t.committing += now() - at;
        }
    }
    if (!e.pertxn) check(mdb_txn_commit(txn), "commit");
}

Timing run(const Workload& w, bool pertxn, bool sync) {
    Env e;
    e.pertxn = pertxn;
    check(mdb_env_create(&e.env), "env");
    check(mdb_env_set_maxdbs(e.env, 2), "max dbs");
    check(mdb_env_set_mapsize(e.env, w.people.size() * 2048 + (64u << 20)), "map size");
    const unsigned flags = MDB_NOSUBDIR | (sync ? 0 : MDB_NOSYNC) | (pertxn ? 0 : MDB_NOLOCK | MDB_WRITEMAP);
    check(mdb_env_open(e.env, (w.dir + "/peer.lmdb").c_str(), flags, 0644), "open");
    MDB_txn* txn = e.begin(0);
    check(mdb_dbi_open(txn, "ids", MDB_CREATE, &e.ids), "open ids");
    check(mdb_dbi_open(txn, "names", MDB_CREATE, &e.names), "open names");
    check(mdb_txn_commit(txn), "commit");
    std::vector<size_t> order(w.people.size());
    for (size_t i = 0; i < order.size(); i++) order[i] = i;
    Timing t;

    Mark start = mark();
    writes(e, w, order, putrec, t);
    t.insert = took(start);

    // A read transaction per lookup is reset and renewed, the cheap way to
    // see the latest commit each time.
    start = mark();
    txn = e.begin(MDB_RDONLY);
    if (pertxn) mdb_txn_reset(txn);
    for (size_t i : w.lookups) {
        if (pertxn) check(mdb_txn_renew(txn), "renew");
        getrec(e, txn, w.people[i]);
        if (pertxn) mdb_txn_reset(txn);
    }
    mdb_txn_abort(txn);
    t.lookup = took(start);

    // The scan is one read transaction: it walks the name index and reads
    // each record by the id at the end of the name key.
    start = mark();
    txn = e.begin(MDB_RDONLY);
    MDB_cursor* cur = nullptr;
    check(mdb_cursor_open(txn, e.names, &cur), "cursor");
    size_t seen = 0;
    MDB_val k, d;
    while (mdb_cursor_get(cur, &k, &d, MDB_NEXT) == MDB_SUCCESS) {
        MDB_val id = val(static_cast<const char*>(k.mv_data) + NAME_LEN, ID_LEN), rec;
        check(mdb_get(txn, e.ids, &id, &rec), "get in scan");
        if (std::memcmp(rec.mv_data, k.mv_data, NAME_LEN) != 0) fail("lmdb scan read the wrong record");
        seen++;
    }
    mdb_cursor_close(cur);
    mdb_txn_abort(txn);
    if (seen != w.people.size()) fail("lmdb scan saw " + std::to_string(seen));
    t.scan = took(start);

    start = mark();
    writes(e, w, w.deletions, delrec, t);
    t.remove = took(start);
    mdb_env_close(e.env);
    return t;
}

}  // namespace

Timing runlmdb(const Workload& w, bool pertxn) { return run(w, pertxn, false); }
Timing runlmdbsync(const Workload& w, bool pertxn) { return run(w, pertxn, true); }
