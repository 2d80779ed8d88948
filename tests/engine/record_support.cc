// record_support.cc - definition writers and the open-file helper of the
// record tests.
#include "record_support.h"

#include <algorithm>
#include <cstring>

namespace rectest {

namespace {

void put16(std::string& s, int v) {
    s += static_cast<char>(v & 0xFF);
    s += static_cast<char>((v >> 8) & 0xFF);
}

std::string padname(const std::string& n) {
    std::string s = n.substr(0, 10);
    s.resize(10, ' ');
    return s;
}

// The order column: entry i is the index of the i-th item by name.
std::vector<int> orders(const Def& d) {
    std::vector<int> o(d.items.size());
    for (size_t i = 0; i < o.size(); i++) o[i] = static_cast<int>(i);
    std::sort(o.begin(), o.end(), [&](int a, int b) { return d.items[a].name < d.items[b].name; });
    return o;
}

}  // namespace

std::string fidtext(const Def& d) {
    std::string t = "TKF FID v7.0\n";
    t += "RecLen = " + std::to_string(d.reclen) + "\n";
    t += "NItems = " + std::to_string(d.items.size()) + "\n";
    t += "NKeys = " + std::to_string(d.keys.size()) + "\n";
    t += "Flags = " + std::to_string(d.flags) + "\n";
    if (d.hashrecs) t += "HashRecs = " + std::to_string(d.hashrecs) + "\n";
    const std::vector<int> order = orders(d);
    for (size_t i = 0; i < d.items.size(); i++) {
        const Item& it = d.items[i];
        t += "Item = " + it.name + ", '" + it.type + "', 'L', " + std::to_string(it.off) + ", " +
             std::to_string(it.len) + ", " + std::to_string(it.occurs) + ", " + std::to_string(order[i]) + ",\n";
    }
    for (const Key& k : d.keys) {
        t += "Key = " + k.name + ", " + std::to_string(k.keylen) + ", " + std::to_string(k.segs.size()) + "\n";
        for (const Seg& s : k.segs)
            t += std::to_string(s.off) + ", " + std::to_string(s.len) + ", " + std::to_string(s.flags) + "\n";
    }
    return t;
}

std::string fidbin(const Def& d) {
    std::string b = "TKF";
    b += '\0';
    put16(b, 608);
    put16(b, d.reclen);
    put16(b, static_cast<int>(d.items.size()));
    put16(b, static_cast<int>(d.keys.size()));
    put16(b, d.hashrecs & 0xFFFF);
    put16(b, d.hashrecs >> 16);
    put16(b, static_cast<int>(d.threads.size()));
    put16(b, d.flags);
    const std::vector<int> order = orders(d);
    for (size_t i = 0; i < d.items.size(); i++) {
        const Item& it = d.items[i];
        b += padname(it.name);
        b += it.type;
        b += 'L';
        put16(b, it.off);
        put16(b, it.len);
        put16(b, it.occurs);
        put16(b, order[i]);
        b += "item\n";
    }
    for (const Key& k : d.keys) {
        b += padname(k.name);
        b += static_cast<char>(k.keylen);
        b += static_cast<char>(k.segs.size());
        for (size_t s = 0; s < 18; s++) {
            const Seg g = s < k.segs.size() ? k.segs[s] : Seg{0, 0, 0};
            put16(b, g.off);
            b += static_cast<char>(g.len);
            b += static_cast<char>(g.flags);
        }
    }
    for (const Thread& t : d.threads) b += t.item + "\n" + t.expr + "\n";
    return b;
}

File::File(const std::string& datname) {
    std::memset(&cb, 0, sizeof cb);
    std::strncpy(cb.datname, datname.c_str(), sizeof cb.datname - 1);
    cb.flockretry = 100;
    cb.rlockretry = 1;
}

File::~File() {
    if (cb.work) close();
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

int32_t File::posn(const std::string& value, bool exact) {
    std::memset(cb.work, 0, 257);
    std::memcpy(cb.work, value.data(), std::min<size_t>(value.size(), 256));
    if (exact)
        cb.mflags |= VN_MF_EXACT;
    else
        cb.mflags &= ~VN_MF_EXACT;
    return op(VN_OP_POSN);
}

int32_t File::posnrec(uint32_t n) {
    std::memset(cb.work, 0, 257);
    std::memcpy(cb.work, &n, 4);
    return op(VN_OP_POSN);
}

int32_t File::del(const std::string& text) {
    set(text);
    return op(VN_OP_DELETE);
}

std::string RecordTest::define(const std::string& name, const Def& d, bool bin) {
    coretest::writefile(tmp.path(name + ".fid"), bin ? fidbin(d) : fidtext(d));
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

}  // namespace rectest
