// engine.cc - definition builders and command blocks of the tests.
#include "common/engine.h"

#include <algorithm>
#include <cstring>

#include "engine/handles.h"
#include "support/runtime.h"

namespace vntest {


namespace {

// The order column: entry i is the index of the i-th item by name.
std::vector<int> orders(const Def& d) {
    std::vector<int> o(d.items.size());
    for (size_t i = 0; i < o.size(); i++) o[i] = static_cast<int>(i);
    std::sort(o.begin(), o.end(), [&](int a, int b) { return d.items[a].name < d.items[b].name; });
    return o;
}

}  // namespace

std::string fidtext(const Def& d) {
    std::string t = cat("TKF FID v7.0\nRecLen = ", d.reclen, "\nNItems = ", d.items.size(),
                        "\nNKeys = ", d.keys.size(), "\nFlags = ", d.flags, "\n");
    if (d.hashrecs) t += cat("HashRecs = ", d.hashrecs, "\n");
    const std::vector<int> order = orders(d);
    for (size_t i = 0; i < d.items.size(); i++) {
        const Item& it = d.items[i];
        t += cat("Item = ", it.name, ",'", it.type, "','", it.just, "',", it.off, ",", it.len, ",", it.occurs, ",",
                 order[i], ",\n");
    }
    for (const Key& k : d.keys) {
        t += cat("Key = ", k.name, ", ", k.keylen, ", ", k.segs.size(), "\n");
        for (const Seg& g : k.segs) t += cat(g.off, ", ", g.len, ", ", g.flags, "\n");
    }
    for (const Thread& th : d.threads) t += cat("Thread = ", th.item, ", ", th.expr, "\n");
    return t;
}

File::File(const std::string& datname) : buf(512, '\0') {
    std::memset(&cb, 0, sizeof cb);
    std::strncpy(cb.datname, datname.c_str(), sizeof cb.datname - 1);
    cb.recbuf = buf.data();
}

File::~File() {
    if (fhnode(&cb) != nullptr || cb.work != nullptr) close();
}

int32_t File::op(int opcode) {
    cb.opcode = static_cast<uint8_t>(opcode);
    return filehandler(&cb);
}

namespace {
int32_t withbuffer(File& f, int opcode) {
    const int32_t r = f.op(opcode);
    if (r == 0) {
        f.buf.assign(f.cb.reclen + 8u, ' ');
        f.buf[f.cb.reclen - 1] = '\n';
        f.cb.recbuf = f.buf.data();
        f.cb.flockretry = 100;
        f.cb.rlockretry = 1;
    }
    return r;
}
}  // namespace

int32_t File::create() { return withbuffer(*this, VN_OP_CREATE); }
int32_t File::open() { return withbuffer(*this, VN_OP_OPEN); }

int32_t File::close() {
    const int32_t r = op(VN_OP_CLOSE);
    if (cb.work) globalmfree(cb.work);
    cb.work = nullptr;
    return r;
}

void File::net(const char* name) {
    std::strcpy(cb.work, name);
    ASSERT_EQ(op(VN_OP_NETTYPE), 0);
}

int32_t File::setkey(int key) {
    cb.reqkey = static_cast<int8_t>(key);
    return op(VN_OP_SETKEY);
}

void File::set(const std::string& text) {
    std::memset(buf.data(), ' ', cb.reclen);
    put(1, text);
    buf[cb.reclen - 1] = '\n';
}

void File::put(int at, const std::string& text) {
    std::memcpy(buf.data() + at, text.data(), std::min<size_t>(text.size(), cb.reclen - 1u - at));
}

std::string File::rec() const { return std::string(buf.data() + 1, cb.reclen - 2u); }

int32_t File::write(const std::string& text) {
    set(text);
    return op(VN_OP_WRITE);
}

int32_t File::read() { return op(VN_OP_READ); }

namespace {
// Positions f on the n bytes of value put in its zeroed work buffer.
int32_t posnon(File& f, const void* value, size_t n) {
    std::memset(f.cb.work, 0, 257);
    std::memcpy(f.cb.work, value, std::min<size_t>(n, 256));
    return f.op(VN_OP_POSN);
}
}  // namespace

int32_t File::posn(const std::string& value, bool exact) {
    cb.mflags = exact ? cb.mflags | VN_MF_EXACT : cb.mflags & ~VN_MF_EXACT;
    return posnon(*this, value.data(), value.size());
}

int32_t File::posnrec(uint32_t n) { return posnon(*this, &n, 4); }

void File::fill(const std::string& id, const std::string& name) {
    set("");
    put(cb.items[0].offset, id);
    put(cb.items[1].offset, name);
}

int32_t File::add(const std::string& id, const std::string& name) {
    fill(id, name);
    return op(VN_OP_WRITE);
}

void File::at(int32_t pos) {
    cb.datpos = pos;
    cb.state |= VN_ST_CURRENT;
}

int32_t File::readat(int32_t pos) {
    at(pos);
    return read();
}

std::string File::lookup(const std::string& key) {
    std::string k = key;
    k.resize(10, ' ');
    if (posn(k, true) != 0) return cat("<posn ", +cb.status, ">");
    if (!current()) return "";
    if (read() != 0) return cat("<read ", +cb.status, ">");
    return rec();
}

std::string EngineTest::define(const std::string& name, const Def& d, bool bin) {
    const std::string fid = tmp.path(name + ".fid");
    writefile(fid, fidtext(d));
    if (bin) {  // threads live only in the binary form
        Loaded def;
        EXPECT_EQ(def.load(fid), 0);
        for (const Thread& t : d.threads) EXPECT_EQ(fidaddthread(&def.cb, t.item.c_str(), t.expr.c_str()), 0);
        EXPECT_EQ(savefidbin(&def.cb, fid.c_str()), 0);
    }
    return tmp.path(name + ".dat");
}

Def people(int flags) {
    Def d;
    const int base = (flags & 1) ? 4 : 0;  // variable length: bytes 1-4 hold the length
    const int num = (flags & 128) ? 5 : 0;  // record numbers
    d.reclen = base + num + 30;
    d.flags = flags;
    d.items = {{"ID", 'C', base + num, 10}, {"NAME", 'C', base + num + 10, 20}};
    d.keys = {{"ID", 10, {{base + num, 10, 0}}}, {"NAME", 20, {{base + num + 10, 20, 0}}}};
    return d;
}

std::string rtrim(std::string s) {
    while (!s.empty() && (s.back() == ' ' || s.back() == '\n')) s.pop_back();
    return s;
}

std::vector<std::string> scan(File& f) {
    std::vector<std::string> out;
    for (int guard = 0; guard < 100000; guard++) {
        const int32_t r = f.read();
        if (r != 0 && f.cb.status != VN_C_DELETED) break;
        if (r == 0) out.push_back(rtrim(f.rec()));
    }
    return out;
}

std::string fidtext(bool keyed, int flags) {
    Def d{30, flags, 0, {{"ID", 'C', 0, 10}, {"NAME", 'C', 10, 20}}, {{"ID", 10, {{0, 10, 0}}}}, {}};
    if (!keyed) d.keys.clear();
    return fidtext(d);
}

bool enginestart() {
    FHCB init{};
    init.opcode = VN_OP_INIT;
    return filehandler(&init) == 0;
}

void enginestop() {
    FHCB stop{};
    stop.opcode = VN_OP_SHUTDOWN;
    filehandler(&stop), filehandler(&stop);  // back to a count of 0, then really stops
}

void EngineTest::SetUp() { ASSERT_TRUE(enginestart()); }

void EngineTest::TearDown() {
    enginestop();
    runtimereset();  // the next test starts with the settings of a new process
}

std::string EngineTest::makefile(const std::string& name, bool keyed) {
    std::string dat = tmp.path(name + ".dat");
    writefile(tmp.path(name + ".fid"), fidtext(keyed));
    File b(dat);
    EXPECT_EQ(b.op(VN_OP_CREATE) | b.op(VN_OP_CLOSE), 0) << int(b.cb.status);
    return dat;
}



int32_t Loaded::load(const std::string& path, uint8_t fflags) {
    freefid(&cb);
    std::snprintf(cb.fidname, sizeof cb.fidname, "%s", path.c_str());
    cb.fflags = fflags;
    return loadfid(&cb);
}

int32_t Loaded::loadtext(const TempDir& dir, const std::string& text, uint8_t fflags) {
    std::string path = dir.path("t.fid");
    writefile(path, text);
    return load(path, fflags);
}

std::string randomfid(std::mt19937& rng) {
    auto pick = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    static const char chars[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ_0123456789", types[] = "CDJNIS";
    Def d;
    int at = 0;
    for (int i = 0, n = pick(1, 30); i < n; ++i) {
        std::string name(1, chars[pick(0, 25)]);
        for (int k = pick(0, 9); k > 0; --k) name += chars[pick(0, 36)];
        for (const Item& it : d.items)
            if (it.name == name) name += std::to_string(i);
        if (name.size() > 10) name = numbered("I", i);
        d.items.push_back({name, types[pick(0, 5)], at, pick(1, 12), pick(1, 3), pick(0, 1) ? 'R' : 'L'});
        at += d.items.back().len * d.items.back().occurs;
    }
    d.reclen = std::max(at, 8);
    if (pick(0, 3) == 0) d.flags |= 128;                  // record numbers
    if (pick(0, 3) == 0) d.flags |= pick(0, 1) ? 1 : 2;  // variable length or hashed
    if (d.flags & 2) d.hashrecs = pick(1, 3000);
    for (int k = 0, n = pick(d.flags & 2 ? 1 : 0, 6); k < n; ++k) {
        d.keys.push_back({numbered("K", k), 0, {}});
        for (int s = pick(1, 4); s > 0; --s) {
            const Item& it = d.items[pick(0, static_cast<int>(d.items.size()) - 1)];
            d.keys.back().segs.push_back({it.off, it.len, (pick(0, 1) ? SEG_DESCEND : 0) | (pick(0, 1) ? SEG_CASE : 0)});
            d.keys.back().keylen += it.len;
        }
    }
    return fidtext(d);
}

}  // namespace vntest
