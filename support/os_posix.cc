// os_posix.cc - the file and lock wrappers on POSIX systems.  Both faces are
// plain descriptors; the direct face (I/O mode 9) differs only in osflush,
// which really syncs the file to disk.
//
// Sharing: POSIX has no share modes, so an exclusive open (0x10) locks a
// byte far past the end of any file instead: a second exclusive open of the
// file, here or in another process, is refused while the first is open.
// Other opens take nothing and are never refused.  Byte locks are
// open-file-description locks, so they belong to the handle that took them.
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <setjmp.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "support/os.h"
#include "support/ossync.h"
#include "support/osfault.h"
#include "support/runtime.h"

void* osinstance() { return nullptr; }

namespace {

int openflags(uint32_t flags) {
    int f = O_CLOEXEC;
    switch (flags & 3) {
        case 0: f |= O_RDONLY; break;
        case 1: f |= O_WRONLY; break;
        default: f |= O_RDWR; break;
    }
    if (flags & VN_O_CREAT) f |= O_CREAT;
    if (flags & VN_O_TRUNC) f |= O_TRUNC;
    return f;
}

// Moves a descriptor that landed on 0 to a number above it.
int32_t abovezero(int fd) {
    if (fd != 0) return fd;
    int moved = fcntl(fd, F_DUPFD_CLOEXEC, 1);
    close(fd);
    return moved < 1 ? -1 : moved;
}

int32_t clampcount(uint32_t count) { return count > INT_MAX ? INT_MAX : static_cast<int32_t>(count); }

// The holds this process has taken, by token (the held file's descriptor)
// and kind, so that osreplace can carry a hold over to the file that
// replaces it.
struct Hold {
    int32_t token;
    int32_t kind;
};

// The bytes oswritelater holds: len bytes for handle fd, to go at start.
// len is read without the lock to let calls with nothing held pass at the
// cost of one load; everything else is touched only under the lock.
constexpr uint32_t kHeldRoom = 64 * 1024;
struct Held {
    std::mutex lock;
    std::atomic<uint32_t> len{0};
    int32_t fd = 0;
    uint32_t start = 0;
    uint8_t bytes[kHeldRoom];
};

// The map osreadmapped reads a file through: len bytes from addr, of which
// the first size were in the file when it last looked; failed once the file
// would not map, so that it is not tried again.
struct FileMap {
    uint8_t* addr = nullptr;
    size_t len = 0;
    uint64_t size = 0;
    bool failed = false;
};

// The POSIX face's tables: holds, held writes, maps, and the guard of a
// read through a map with the SIGBUS handler that was there before ours.
struct OsFiles : RuntimePart {
    std::mutex holdlock;
    std::vector<Hold> holdtokens;
    Held held;
    std::unordered_map<int32_t, FileMap> filemaps;
    sigjmp_buf* volatile mapguard = nullptr;
    struct sigaction priorbus = {};
    bool businstalled = false;
    ~OsFiles() override {
        for (auto& [h, m] : filemaps)
            if (m.addr) munmap(m.addr, m.len);
    }
};

OsFiles& osfiles() { return runtimeownpart<OsFiles>(RT_OSFILES); }

#ifdef F_OFD_SETLK
constexpr int kSetLock = F_OFD_SETLK, kGetLock = F_OFD_GETLK;
#else
// process-owned locks where OFD locks are missing
constexpr int kSetLock = F_SETLK, kGetLock = F_GETLK;
#endif

// The byte a whole-file hold locks, and beside it the byte an exclusive
// open locks: far beyond every offset the library reads, writes or locks
// (all below 4 GiB), and the byte Windows holds too.  A lock at such an
// offset is a plain byte-range lock, which NFSv4 and SMB servers honour.
constexpr off_t kHoldByte = off_t{1} << 62;
constexpr off_t kExclusiveByte = kHoldByte + 1;
// Sharing holds read-lock the sharing byte, reading holds the reading byte;
// each kind, once locked, checks that no hold of the other kind is there.
constexpr off_t kSharingByte = kHoldByte + 2;
constexpr off_t kReadingByte = kHoldByte + 3;

// A lock of type on the one byte at where.
struct flock farbyte(short type, off_t where) {
    struct flock fl = {};
    fl.l_type = type;
    fl.l_whence = SEEK_SET;
    fl.l_start = where;
    fl.l_len = 1;
    return fl;
}

// Locks one byte at where: read (shared) or write (exclusive).  0, or -1
// with errno EAGAIN or EACCES when another handle's lock is in the way.
int lockfar(int fd, short type, off_t where) {
    struct flock fl = farbyte(type, where);
    int r;
    do {
        r = fcntl(fd, kSetLock, &fl);
    } while (r != 0 && errno == EINTR);
    return r;
}

// The lock kind a handle can take: a read-only one takes only read locks.
short lockkind(int fd) {
    const int mode = fcntl(fd, F_GETFL);
    return mode >= 0 && (mode & O_ACCMODE) == O_RDONLY ? F_RDLCK : F_WRLCK;
}

// Whether another handle holds a lock on the byte at where.
bool lockedfar(int fd, off_t where) {
    struct flock fl = farbyte(F_WRLCK, where);
    return fcntl(fd, kGetLock, &fl) != 0 || fl.l_type != F_UNLCK;
}

// Takes the locks of a hold of kind on fd.  A sharing hold and a reading
// hold each lock their own byte first and then look at the other's, so that
// of two that start together at least one sees the other.  0, or -1 with
// errno EAGAIN when another hold is in the way.
int takehold(int fd, int32_t kind, bool check) {
    if (kind == OS_HOLD_ALONE) return lockfar(fd, lockkind(fd), kHoldByte);
    const bool sharing = kind == OS_HOLD_SHARED;
    if (lockfar(fd, F_RDLCK, kHoldByte) != 0 || lockfar(fd, F_RDLCK, sharing ? kSharingByte : kReadingByte) != 0)
        return -1;
    if (check && lockedfar(fd, sharing ? kReadingByte : kSharingByte)) {
        errno = EAGAIN;
        return -1;
    }
    return 0;
}

// Whether path still names the file open on fd.
bool stillnames(int fd, const char* path) {
    struct stat held {}, named {};
    return fstat(fd, &held) == 0 && stat(path, &named) == 0 && held.st_dev == named.st_dev &&
           held.st_ino == named.st_ino;
}

int setlock(int32_t h, short type, uint32_t offset, uint32_t length) {
    struct flock fl = {};
    fl.l_type = type;
    fl.l_whence = SEEK_SET;
    fl.l_start = static_cast<off_t>(offset);
    fl.l_len = static_cast<off_t>(length);
    fl.l_pid = 0;
    return fcntl(h, kSetLock, &fl);
}

// A plain pwrite of count bytes at offset, counted as a write for faults.
int32_t writeout(int32_t h, const void* buf, uint32_t count, uint32_t offset) {
    if (osfaultdue(OSF_WRITE, &count)) return -1;
    if (oscutarmed()) oscutnote(h, offset, count);
    ssize_t n;
    do {
        n = pwrite(h, buf, static_cast<size_t>(clampcount(count)), static_cast<off_t>(offset));
    } while (n < 0 && errno == EINTR);
    return n < 0 ? -1 : static_cast<int32_t>(n);
}

// Writes the held bytes, the lock taken: 0, or -1 with those not written
// still held.
int32_t writeheld() {
    OsFiles& os = osfiles();
    const uint32_t len = os.held.len.load(std::memory_order_relaxed);
    uint32_t done = 0;
    while (done < len) {
        const int32_t n = writeout(os.held.fd, os.held.bytes + done, len - done, os.held.start + done);
        if (n <= 0) {
            memmove(os.held.bytes, os.held.bytes + done, len - done);
            os.held.start += done;
            os.held.len.store(len - done, std::memory_order_relaxed);
            return -1;
        }
        done += static_cast<uint32_t>(n);
    }
    os.held.len.store(0, std::memory_order_relaxed);
    return 0;
}

// Writes the held bytes of any handle (h 0), or of handle h only: 0, or -1.
int32_t drain(int32_t h = 0) {
    OsFiles& os = osfiles();
    if (os.held.len.load(std::memory_order_relaxed) == 0) return 0;
    std::lock_guard<std::mutex> guard(os.held.lock);
    if (h != 0 && h != os.held.fd) return 0;
    return writeheld();
}

}  // namespace

int32_t osopen(const char* path, uint32_t flags, uint32_t perm) {
    if (drain() < 0) return -1;
    if (osfaultdue(OSF_OPEN, nullptr)) return -1;
    if (path == nullptr || *path == '\0') return -1;
    if (oscutarmed() && (flags & VN_O_TRUNC)) oscuttrunc(path);
    // An exclusive open truncates only once its lock is taken, so that it
    // never cuts short a file another exclusive opener is writing.
    const bool exclusive = (flags & VN_O_EXCL) != 0;
    const int how = exclusive ? openflags(flags) & ~O_TRUNC : openflags(flags);
    int fd;
    do {
        // No execute bits on a data file; the umask takes the rest.
        fd = open(path, how, static_cast<mode_t>(perm & 0666));
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) return -1;
    fd = abovezero(fd);
    if (fd < 0 || !exclusive) return fd;
    if (lockfar(fd, lockkind(fd), kExclusiveByte) != 0 ||
        ((flags & VN_O_TRUNC) != 0 && ftruncate(fd, 0) != 0)) {
        close(fd);
        return -1;
    }
    return fd;
}

int32_t oscreat(const char* path, uint32_t perm) {
    return osopen(path, VN_O_CREAT | VN_O_TRUNC | VN_O_RDWR, perm);
}

const char ospathsep = '/';

int32_t osholdfile(const char* path, int32_t kind) {
    OsFiles& os = osfiles();
    if (drain() < 0) return -1;
    if (kind != OS_HOLD_SHARED && kind != OS_HOLD_ALONE && kind != OS_HOLD_READING) return -1;
    const bool exclusive = kind == OS_HOLD_ALONE;
    if (osfaultdue(OSF_LOCK, nullptr)) return -1;
    if (path == nullptr || *path == '\0') return -1;
    // A file replaced by rename between the open and the lock is opened
    // again, a few times; one replaced every time counts as in use.
    for (int tries = 0; tries < 8; tries++) {
        int fd = open(path, (exclusive ? O_RDWR : O_RDONLY) | O_CLOEXEC);
        // A file this process may not write is held shared: no one who
        // honours the hold writes it either.
        if (fd < 0 && exclusive && (errno == EACCES || errno == EROFS)) fd = open(path, O_RDONLY | O_CLOEXEC);
        if (fd < 0) return -1;
        fd = abovezero(fd);
        if (fd < 0) return -1;
        if (takehold(fd, kind, true) != 0) {
            const bool busy = errno == EAGAIN || errno == EACCES;  // before close can change errno
            close(fd);
            return busy ? 0 : -1;
        }
        if (stillnames(fd, path)) {
            std::lock_guard<std::mutex> guard(os.holdlock);
            os.holdtokens.push_back({fd, kind});
            return fd;
        }
        close(fd);
    }
    return 0;
}

void osunholdfile(int32_t token) {
    OsFiles& os = osfiles();
    if (token < 1) return;
    std::lock_guard<std::mutex> guard(os.holdlock);
    std::vector<Hold>& tokens = os.holdtokens;
    auto at = std::find_if(tokens.begin(), tokens.end(), [token](const Hold& h) { return h.token == token; });
    if (at == tokens.end()) return;
    tokens.erase(at);
    close(token);
}

namespace {

// A read through a map of a file that another process has cut short since
// faults (SIGBUS) instead of coming up short.  The copy runs under a guard:
// the fault jumps back to the read, which then fails as a short read
// would.  A fault outside a guarded copy goes where it went before.

// The handler makes nothing: with no tables (the state thrown away by a
// test) it puts the default back.
void onbus(int sig, siginfo_t* info, void* context) {
    Runtime* r = runtimedetail::current;
    OsFiles* os = r != nullptr ? static_cast<OsFiles*>(r->parts[RT_OSFILES]) : nullptr;
    if (os == nullptr) {
        signal(SIGBUS, SIG_DFL);
        return;
    }
    if (os->mapguard != nullptr) siglongjmp(*os->mapguard, 1);
    const struct sigaction& prior = os->priorbus;
    if (prior.sa_flags & SA_SIGINFO) {
        if (prior.sa_sigaction != nullptr) return prior.sa_sigaction(sig, info, context);
    } else if (prior.sa_handler != SIG_DFL && prior.sa_handler != SIG_IGN) {
        return prior.sa_handler(sig);
    }
    // Put back what was there; the faulting access runs again and meets it.
    sigaction(SIGBUS, &prior, nullptr);
}

// Runs fn(arg) under the guard: true, or false when it touched a map where
// the file had been cut short and was abandoned there.  SA_NODEFER leaves
// SIGBUS unblocked while the handler runs, so the jump out of it needs no
// saved signal mask.
bool runguarded(void (*fn)(void*), void* arg) {
    OsFiles& os = osfiles();
    if (!os.businstalled) {
        // Installed once per process; tables made again after a test threw
        // the state away find it in place and keep the default behind it.
        struct sigaction now = {};
        sigaction(SIGBUS, nullptr, &now);
        if (!(now.sa_flags & SA_SIGINFO) || now.sa_sigaction != onbus) {
            struct sigaction act = {};
            act.sa_sigaction = onbus;
            act.sa_flags = SA_SIGINFO | SA_NODEFER;
            sigemptyset(&act.sa_mask);
            sigaction(SIGBUS, &act, &os.priorbus);
        }
        os.businstalled = true;
    }
    sigjmp_buf here;
    if (sigsetjmp(here, 0) != 0) {
        os.mapguard = nullptr;
        return false;
    }
    // The fences keep the work between the guard's stores, which the
    // compiler would otherwise see no reader of.
    os.mapguard = &here;
    std::atomic_signal_fence(std::memory_order_seq_cst);
    fn(arg);
    std::atomic_signal_fence(std::memory_order_seq_cst);
    os.mapguard = nullptr;
    return true;
}

// Copies count bytes from a map: true, or false when the copy faulted.
bool guardedcopy(void* to, const uint8_t* from, size_t count) {
    struct Copy {
        void* to;
        const uint8_t* from;
        size_t count;
    } copy = {to, from, count};
    return runguarded(
        [](void* arg) {
            const auto* c = static_cast<const Copy*>(arg);
            memcpy(c->to, c->from, c->count);
        },
        &copy);
}

void dropmap(int32_t h) {
    OsFiles& os = osfiles();
    auto it = os.filemaps.find(h);
    if (it == os.filemaps.end()) return;
    if (it->second.addr) munmap(it->second.addr, it->second.len);
    os.filemaps.erase(it);
}

// Where the count bytes at offset of the file of h lie in its map, the map
// made or widened when the file has grown past it: null when the bytes are
// not all in the file, the file cannot be mapped or a read fault is armed.
const uint8_t* mapped(int32_t h, uint32_t count, uint32_t offset) {
    if (osfaultarmed(OSF_READ) || h < 1) return nullptr;
    FileMap& m = osfiles().filemaps[h];
    const uint64_t end = uint64_t{offset} + count;
    if (end > m.size) {
        struct stat st;
        if (m.failed || fstat(h, &st) != 0 || !S_ISREG(st.st_mode)) return nullptr;
        const uint64_t size = static_cast<uint64_t>(st.st_size);
        if (end > size) return nullptr;
        if (size > m.len) {
            // Room for the file to grow by half again before the next map.
            const uint64_t page = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
            const uint64_t len = (size + size / 2 + page) / page * page;
            if (m.addr) munmap(m.addr, m.len);
            m.addr = nullptr;
            m.len = 0;
            void* a = len > SIZE_MAX ? MAP_FAILED : mmap(nullptr, static_cast<size_t>(len), PROT_READ, MAP_SHARED, h, 0);
            if (a == MAP_FAILED) {
                m.failed = true;
                return nullptr;
            }
            m.addr = static_cast<uint8_t*>(a);
            m.len = static_cast<size_t>(len);
        }
        m.size = size;
    }
    return m.addr + offset;
}

// A fault in h's map: measure the file again before the next read of it.
void cutshort(int32_t h) {
    OsFiles& os = osfiles();
    const auto it = os.filemaps.find(h);
    if (it != os.filemaps.end()) it->second.size = 0;
}

}  // namespace

int32_t osreadmapped(int32_t h, void* buf, uint32_t count, uint32_t offset) {
    if (drain(h) < 0) return -1;
    const uint8_t* from = mapped(h, count, offset);
    if (from == nullptr) return -1;
    if (guardedcopy(buf, from, count)) return static_cast<int32_t>(count);
    cutshort(h);
    return -1;
}

const uint8_t* osmapview(int32_t h, uint32_t count, uint32_t offset) {
    if (drain(h) < 0) return nullptr;
    return mapped(h, count, offset);
}

bool osmapguard(int32_t h, void (*fn)(void*), void* arg) {
    if (runguarded(fn, arg)) return true;
    cutshort(h);
    return false;
}

int32_t osremeasure(int32_t h) {
    OsFiles& os = osfiles();
    const auto it = os.filemaps.find(h);
    if (it == os.filemaps.end()) return 0;
    FileMap& m = it->second;
    struct stat st;
    if (fstat(h, &st) != 0) {
        m.size = 0;
        return -1;
    }
    // A file grown past the map is mapped afresh by the read that needs it.
    m.size = std::min(static_cast<uint64_t>(st.st_size), static_cast<uint64_t>(m.len));
    return 0;
}

int32_t osclose(int32_t h) {
    OsFiles& os = osfiles();
    // Bytes held for the handle go with it: written, or reported lost.
    const bool lost = drain(h) < 0;
    if (lost) {
        std::lock_guard<std::mutex> guard(os.held.lock);
        if (os.held.fd == h) os.held.len.store(0, std::memory_order_relaxed);
    }
    if (!os.filemaps.empty()) dropmap(h);
    if (lost || osfaultdue(OSF_CLOSE, nullptr)) {
        if (h > 0) close(h);
        return -1;
    }
    return h < 1 || close(h) != 0 ? -1 : 0;
}

int32_t osread(int32_t h, void* buf, uint32_t count) {
    if (drain(h) < 0) return -1;
    if (osfaultdue(OSF_READ, &count)) return -1;
    ssize_t n;
    do {
        n = read(h, buf, static_cast<size_t>(clampcount(count)));
    } while (n < 0 && errno == EINTR);
    return n < 0 ? -1 : static_cast<int32_t>(n);
}

int32_t oswrite(int32_t h, const void* buf, uint32_t count) {
    if (drain() < 0) return -1;
    if (osfaultdue(OSF_WRITE, &count)) return -1;
    if (oscutarmed()) oscutnote(h, -1, count);
    ssize_t n;
    do {
        n = write(h, buf, static_cast<size_t>(clampcount(count)));
    } while (n < 0 && errno == EINTR);
    return n < 0 ? -1 : static_cast<int32_t>(n);
}

int32_t osreadat(int32_t h, void* buf, uint32_t count, uint32_t offset) {
    if (drain(h) < 0) return -1;
    if (osfaultdue(OSF_READ, &count)) return -1;
    ssize_t n;
    do {
        n = pread(h, buf, static_cast<size_t>(clampcount(count)), static_cast<off_t>(offset));
    } while (n < 0 && errno == EINTR);
    return n < 0 ? -1 : static_cast<int32_t>(n);
}

int32_t oswriteat(int32_t h, const void* buf, uint32_t count, uint32_t offset) {
    if (drain() < 0) return -1;
    return writeout(h, buf, count, offset);
}

int32_t oswritelater(int32_t h, const void* buf, uint32_t count, uint32_t offset) {
    OsFiles& os = osfiles();
    if (h < 1) return -1;
    std::lock_guard<std::mutex> guard(os.held.lock);
    const uint32_t len = os.held.len.load(std::memory_order_relaxed);
    const bool follows = h == os.held.fd && uint64_t{offset} == uint64_t{os.held.start} + len;
    if (len != 0 && (!follows || count > kHeldRoom - len) && writeheld() < 0) return -1;
    if (count > kHeldRoom) return writeout(h, buf, count, offset);
    const uint32_t at = os.held.len.load(std::memory_order_relaxed);
    if (at == 0) {
        os.held.fd = h;
        os.held.start = offset;
    }
    memcpy(os.held.bytes + at, buf, count);
    os.held.len.store(at + count, std::memory_order_relaxed);
    return static_cast<int32_t>(count);
}

int32_t osdrain() { return drain(); }

int32_t osflush(int32_t h) {
    if (drain() < 0) return 0;
    if (runtime().support.iomode != 9) return 0;
    return ossync(h) == 0 ? 1 : 0;
}

int32_t ossync(int32_t h) {
    if (drain() < 0 || h < 1 || osfaultdue(OSF_SYNC, nullptr) || fsync(h) != 0) return -1;
    if (oscutarmed()) oscutsynced(h);
    return 0;
}

int32_t osseek(int32_t h, int32_t offset, int32_t origin) {
    if (drain(h) < 0) return -1;
    if (osfaultdue(OSF_SEEK, nullptr)) return -1;
    static const int whence[3] = {SEEK_SET, SEEK_CUR, SEEK_END};
    if (origin < 0 || origin > 2) return -1;
    off_t pos = lseek(h, static_cast<off_t>(offset), whence[origin]);
    if (pos < 0 || pos > static_cast<off_t>(UINT32_MAX)) return -1;
    return static_cast<int32_t>(static_cast<uint32_t>(pos));
}

int32_t oslock(int32_t h, uint32_t offset, uint32_t length) {
    if (drain(h) < 0) return -1;
    if (osfaultdue(OSF_LOCK, nullptr)) return -1;
    if (length == 0) return 0;
    if (setlock(h, F_WRLCK, offset, length) == 0) return 0;
    // A handle opened for reading only cannot take a write lock; a read lock
    // still keeps every writer's lock out.
    if (errno == EBADF && setlock(h, F_RDLCK, offset, length) == 0) return 0;
    return -1;
}

int32_t osunlock(int32_t h, uint32_t offset, uint32_t length) {
    if (drain(h) < 0) return -1;
    if (length == 0) return 0;
    return setlock(h, F_UNLCK, offset, length) == 0 ? 0 : -1;
}

int32_t osprobe(int32_t h, uint32_t offset, uint32_t length) {
    if (drain(h) < 0) return 1;
    if (osfaultdue(OSF_LOCK, nullptr)) return 1;
    if (length == 0) return 0;
    struct flock fl = {};
    fl.l_type = F_WRLCK;
    fl.l_whence = SEEK_SET;
    fl.l_start = static_cast<off_t>(offset);
    fl.l_len = static_cast<off_t>(length);
    if (fcntl(h, kGetLock, &fl) != 0) return 1;
    if (fl.l_type == F_UNLCK) return 0;
    if (fl.l_type == F_WRLCK) return 1;
    // Only shared locks stand in the way: they keep out a writable
    // handle's lock, and oslock takes a shared one on a read-only handle.
    const int mode = fcntl(h, F_GETFL);
    return mode < 0 || (mode & O_ACCMODE) != O_RDONLY ? 1 : 0;
}

int32_t osunlink(const char* path) {
    if (drain() < 0) return -1;
    if (path == nullptr || *path == '\0') return -1;
    return unlink(path) == 0 ? 0 : -1;
}

int32_t osrename(const char* from, const char* to) {
    if (drain() < 0) return -1;
    if (from == nullptr || to == nullptr || *from == '\0' || *to == '\0') return -1;
    return rename(from, to) == 0 ? 0 : -1;
}

namespace {

// Opens path and forces it to disk: true when both worked.
bool syncpath(const char* path, int flags) {
    int fd = open(path, flags | O_CLOEXEC);
    if (fd < 0) return false;
    bool ok = fsync(fd) == 0;
    if (ok && oscutarmed()) oscutsynced(fd);
    close(fd);
    return ok;
}

}  // namespace

// rename() replaces atomically; the new file's bytes are synced before it,
// and the directory entry after it, so that the order survives a crash.
// This process's holds on the old file are taken on the new one before the
// rename and moved onto their tokens after it (dup2), so that the name is
// held without a break.
int32_t osreplace(const char* from, const char* to) {
    OsFiles& os = osfiles();
    if (drain() < 0) return -1;
    if (from == nullptr || to == nullptr || *from == '\0' || *to == '\0') return -1;
    if (osfaultdue(OSF_SYNC, nullptr) || !syncpath(from, O_RDONLY)) return -1;
    std::lock_guard<std::mutex> guard(os.holdlock);
    std::vector<std::pair<int32_t, int>> carried;  // hold token, new file's descriptor
    auto dropcarried = [&carried] {
        for (const auto& c : carried) close(c.second);
        return -1;
    };
    for (const auto& [token, kind] : os.holdtokens) {
        if (!stillnames(token, to)) continue;
        const int mode = fcntl(token, F_GETFL);
        const int fd = open(from, ((mode >= 0 && (mode & O_ACCMODE) != O_RDONLY) ? O_RDWR : O_RDONLY) | O_CLOEXEC);
        if (fd < 0) return dropcarried();
        carried.emplace_back(token, fd);
        // No other run sees the new file before the rename: nothing to check.
        if (takehold(fd, kind, false) != 0) return dropcarried();
    }
    if (rename(from, to) != 0) return dropcarried();
    for (const auto& [token, fd] : carried) {
        dup2(fd, token);  // closes the old file's description, and its lock with it
        fcntl(token, F_SETFD, FD_CLOEXEC);
        close(fd);
    }
    std::string dir(to);
    size_t slash = dir.find_last_of('/');
    dir = slash == std::string::npos ? "." : slash == 0 ? "/" : dir.substr(0, slash);
    syncpath(dir.c_str(), O_RDONLY | O_DIRECTORY);  // the rename itself is done
    return 0;
}

int32_t osfilesize(int32_t h) {
    if (drain(h) < 0) return -1;
    struct stat st;
    if (fstat(h, &st) != 0 || st.st_size > INT32_MAX) return -1;
    return static_cast<int32_t>(st.st_size);
}

