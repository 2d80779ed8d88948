// run_bdb.cc - the workload through Berkeley DB: a B-tree of records by id
// with an associated secondary B-tree by name and id, in an 8 MiB cache.
// A commit (every w.every writes, when set) syncs both databases, which
// writes their changed pages and forces them to the disk.
// Unshared, the environment is private to the process and takes no locks;
// shared, it lives in files that other processes can join and every
// operation takes its lock (one writer or many readers at a time).
#include <db.h>

#include <cstring>

#include "workload.h"

namespace {

// Secondary key: the name followed by the id, so that every key is unique.
int byname(DB*, const DBT*, const DBT* data, DBT* skey) {
    std::memset(skey, 0, sizeof *skey);
    skey->data = const_cast<void*>(data->data);  // name and fill follow the id in data
    skey->size = NAME_LEN + ID_LEN;
    return 0;
}

void check(int r, const char* what) {
    if (r != 0) fail(std::string("bdb ") + what + ": " + db_strerror(r));
}

// Stored value: name, id, fill (the id repeated so the secondary key is one run).
struct Value {
    char name[NAME_LEN];
    char id[ID_LEN];
    char fill[FILL_LEN];
};

}  // namespace

Timing runbdb(const Workload& w, bool shared) {
    DB_ENV* env = nullptr;
    check(db_env_create(&env, 0), "env");
    check(env->set_cachesize(env, 0, 8u << 20, 1), "cache size");
    const uint32_t mode = shared ? DB_INIT_CDB : DB_PRIVATE;
    check(env->open(env, w.dir.c_str(), DB_CREATE | DB_INIT_MPOOL | mode, 0), "env open");
    DB* pri = nullptr;
    DB* sec = nullptr;
    check(db_create(&pri, env, 0), "create");
    check(pri->open(pri, nullptr, "peer.bdb", nullptr, DB_BTREE, DB_CREATE, 0644), "open");
    check(db_create(&sec, env, 0), "create secondary");
    check(sec->open(sec, nullptr, "peer-name.bdb", nullptr, DB_BTREE, DB_CREATE, 0644), "open secondary");
    check(pri->associate(pri, nullptr, sec, byname, 0), "associate");
    Value v;
    DBT key, data;

    Timing t;
    // A commit writes both databases' changed pages and syncs their files.
    auto commit = [&](size_t done) {
        if (!commitdue(w, done)) return;
        const double at = now();
        check(pri->sync(pri, 0), "sync");
        check(sec->sync(sec, 0), "sync secondary");
        t.committing += now() - at;
    };
    size_t done = 0;
    Mark start = mark();
    for (const Person& p : w.people) {
        std::memcpy(v.name, p.name, NAME_LEN);
        std::memcpy(v.id, p.id, ID_LEN);
        std::memcpy(v.fill, p.fill, FILL_LEN);
        std::memset(&key, 0, sizeof key);
        std::memset(&data, 0, sizeof data);
        key.data = const_cast<char*>(p.id);
        key.size = ID_LEN;
        data.data = &v;
        data.size = sizeof v;
        check(pri->put(pri, nullptr, &key, &data, 0), "put");
        commit(++done);
    }
    t.insert = took(start);

    start = mark();
    for (size_t i : w.lookups) {
        std::memset(&key, 0, sizeof key);
        std::memset(&data, 0, sizeof data);
        key.data = const_cast<char*>(w.people[i].id);
        key.size = ID_LEN;
        data.data = &v;
        data.ulen = sizeof v;
        data.flags = DB_DBT_USERMEM;
        check(pri->get(pri, nullptr, &key, &data, 0), "get");
        if (std::memcmp(v.name, w.people[i].name, NAME_LEN) != 0) fail("bdb lookup read the wrong record");
    }
    t.lookup = took(start);

    start = mark();
    DBC* cur = nullptr;
    check(sec->cursor(sec, nullptr, &cur, 0), "cursor");
    size_t seen = 0;
    std::memset(&key, 0, sizeof key);
    std::memset(&data, 0, sizeof data);
    while (cur->get(cur, &key, &data, DB_NEXT) == 0) seen++;
    cur->close(cur);
    if (seen != w.people.size()) fail("bdb scan saw " + std::to_string(seen));
    t.scan = took(start);

    done = 0;
    start = mark();
    for (size_t i : w.deletions) {
        std::memset(&key, 0, sizeof key);
        key.data = const_cast<char*>(w.people[i].id);
        key.size = ID_LEN;
        check(pri->del(pri, nullptr, &key, 0), "del");
        commit(++done);
    }
    t.remove = took(start);
    sec->close(sec, 0);
    pri->close(pri, 0);
    env->close(env, 0);
    return t;
}
