// os_win.cc - the file and lock wrappers on Windows.  With I/O mode 9 they
// call the Win32 file functions and handles are Win32 handles (kernel
// handles always fit in 32 bits); otherwise they use the C runtime's
// descriptors, whose byte locks are taken on the underlying Win32 handle.
#include <windows.h>

#include <errno.h>
#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <stdio.h>
#include <sys/stat.h>

#include <utility>
#include <vector>

#include "support/os.h"
#include "support/ossync.h"
#include "support/osfault.h"
#include "support/runtime.h"

namespace {

bool direct() { return runtime().support.iomode == 9; }

HANDLE tohandle(int32_t h) { return reinterpret_cast<HANDLE>(static_cast<intptr_t>(h)); }

int32_t fromhandle(HANDLE h) { return static_cast<int32_t>(reinterpret_cast<intptr_t>(h)); }

// The Win32 handle behind a handle of either face.
HANDLE oshandle(int32_t h) { return direct() ? tohandle(h) : reinterpret_cast<HANDLE>(_get_osfhandle(h)); }

int32_t directopen(const char* path, uint32_t flags) {
    DWORD access = (flags & 3) ? (GENERIC_READ | GENERIC_WRITE) : GENERIC_READ;
    DWORD share = (flags & VN_O_SHARE) ? (FILE_SHARE_READ | FILE_SHARE_WRITE) : 0;
    DWORD disposition = (flags & VN_O_CREAT) ? CREATE_ALWAYS : OPEN_EXISTING;
    HANDLE h = CreateFileA(path, access, share, nullptr, disposition, 0x10000080, nullptr);
    return h == INVALID_HANDLE_VALUE ? -1 : fromhandle(h);
}

int32_t runtimeopen(const char* path, uint32_t flags, uint32_t perm) {
    int oflag = static_cast<int>(flags & (VN_O_CREAT | VN_O_TRUNC | VN_O_BINARY)) | _O_NOINHERIT;
    oflag |= (flags & 3) == 0 ? _O_RDONLY : (flags & 3) == 1 ? _O_WRONLY : _O_RDWR;
    int shflag = (flags & VN_O_EXCL) ? _SH_DENYRW : _SH_DENYNO;
    int pmode = (perm != 0 && (perm & 0222) == 0) ? _S_IREAD : (_S_IREAD | _S_IWRITE);
    int fd = _sopen(path, oflag, shflag, pmode);
    if (fd != 0) return fd < 0 ? -1 : fd;
    // Descriptor 0 marks a free stream slot: move it up.
    int moved = _dup(fd);
    _close(fd);
    return moved < 1 ? -1 : moved;
}

}  // namespace

int32_t osopen(const char* path, uint32_t flags, uint32_t perm) {
    if (osfaultdue(OSF_OPEN, nullptr)) return -1;
    if (path == nullptr || *path == '\0') return -1;
    return direct() ? directopen(path, flags) : runtimeopen(path, flags, perm);
}

int32_t oscreat(const char* path, uint32_t perm) {
    return osopen(path, VN_O_CREAT | VN_O_TRUNC | VN_O_RDWR, perm);
}

const char ospathsep = '\\';

// A hold is locks on bytes at 2^62 and a little above: the engine's byte
// locks all lie below 4 GiB, so the two never meet.
namespace {

// Whether path still names the file open on h.
bool stillnames(HANDLE h, const char* path) {
    HANDLE named = CreateFileA(path, 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                               OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (named == INVALID_HANDLE_VALUE) return false;
    BY_HANDLE_FILE_INFORMATION a = {}, b = {};
    const bool same = GetFileInformationByHandle(h, &a) && GetFileInformationByHandle(named, &b) &&
                      a.dwVolumeSerialNumber == b.dwVolumeSerialNumber &&
                      a.nFileIndexHigh == b.nFileIndexHigh && a.nFileIndexLow == b.nFileIndexLow;
    CloseHandle(named);
    return same;
}

}  // namespace

namespace {

// The holds this process has taken.  A token is its hold's slot + 1, not
// the handle, so that osreplace can carry a hold over to the file that
// replaces the held one and the token stays good.
struct Hold {
    HANDLE handle = INVALID_HANDLE_VALUE;
    int32_t kind = OS_HOLD_SHARED;
};

// The Windows face's tables: the holds, under their lock.
struct OsFiles : RuntimePart {
    std::vector<Hold> holds;
    SRWLOCK holdlock = SRWLOCK_INIT;
};

OsFiles& osfiles() { return runtimeownpart<OsFiles>(RT_OSFILES); }

// Keeps the hold table's lock for its scope.
class HoldGuard {
public:
    HoldGuard() { AcquireSRWLockExclusive(&osfiles().holdlock); }
    ~HoldGuard() { ReleaseSRWLockExclusive(&osfiles().holdlock); }
    HoldGuard(const HoldGuard&) = delete;
    HoldGuard& operator=(const HoldGuard&) = delete;
};

// The range of one byte at 2^62 + above.
OVERLAPPED farbyte(DWORD above) {
    OVERLAPPED o = {};
    o.Offset = above;
    o.OffsetHigh = 0x40000000;
    return o;
}

// Locks the byte 2^62 + above on h, shared or exclusive: true, or false
// when another handle's lock is in the way.
bool lockfar(HANDLE h, DWORD above, bool exclusive) {
    OVERLAPPED o = farbyte(above);
    return LockFileEx(h, LOCKFILE_FAIL_IMMEDIATELY | (exclusive ? LOCKFILE_EXCLUSIVE_LOCK : 0), 0, 1, 0, &o) != 0;
}

// Whether another handle holds a lock on the byte 2^62 + above: tried and,
// when free, let go again.
bool lockedfar(HANDLE h, DWORD above) {
    if (!lockfar(h, above, true)) return true;
    OVERLAPPED o = farbyte(above);
    UnlockFileEx(h, 0, 1, 0, &o);
    return false;
}

// The bytes above 2^62: the hold byte, the byte a sharing hold locks and the
// byte a reading hold locks.  Each of those two kinds, once locked, checks
// that no hold of the other kind is there, so that of two that start
// together at least one sees the other.
constexpr DWORD kHoldByte = 0, kSharingByte = 2, kReadingByte = 3;

// Opens path to hold it and takes the locks of a hold of kind (the check
// left out for a file no other run can see yet): the handle, or
// INVALID_HANDLE_VALUE with *busy telling whether another hold was in the
// way.  The handle lets others delete and rename the file, so that a held
// file can itself be renamed over another.
HANDLE lockhold(const char* path, int32_t kind, bool check, bool* busy) {
    *busy = false;
    HANDLE h = CreateFileA(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                           OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) return h;
    const bool sharing = kind == OS_HOLD_SHARED;
    const bool held = kind == OS_HOLD_ALONE
                          ? lockfar(h, kHoldByte, true)
                          : lockfar(h, kHoldByte, false) && lockfar(h, sharing ? kSharingByte : kReadingByte, false) &&
                                !(check && lockedfar(h, sharing ? kReadingByte : kSharingByte));
    if (held) return h;
    CloseHandle(h);
    *busy = true;
    return INVALID_HANDLE_VALUE;
}

}  // namespace

int32_t osholdfile(const char* path, int32_t kind) {
    if (osfaultdue(OSF_LOCK, nullptr)) return -1;
    if (path == nullptr || *path == '\0') return -1;
    if (kind != OS_HOLD_SHARED && kind != OS_HOLD_ALONE && kind != OS_HOLD_READING) return -1;
    // A file replaced by rename between the open and the lock is opened
    // again, a few times; one replaced every time counts as in use.
    for (int tries = 0; tries < 8; tries++) {
        bool busy = false;
        HANDLE h = lockhold(path, kind, true, &busy);
        if (h == INVALID_HANDLE_VALUE) return busy ? 0 : -1;
        if (stillnames(h, path)) {
            HoldGuard guard;
            std::vector<Hold>& holds = osfiles().holds;
            size_t slot = 0;
            while (slot < holds.size() && holds[slot].handle != INVALID_HANDLE_VALUE) slot++;
            if (slot == holds.size()) holds.emplace_back();
            holds[slot] = Hold{h, kind};
            return static_cast<int32_t>(slot + 1);
        }
        CloseHandle(h);
    }
    return 0;
}

void osunholdfile(int32_t token) {
    HoldGuard guard;
    std::vector<Hold>& holds = osfiles().holds;
    if (token < 1 || static_cast<size_t>(token) > holds.size()) return;
    Hold& hold = holds[static_cast<size_t>(token) - 1];
    if (hold.handle != INVALID_HANDLE_VALUE) CloseHandle(hold.handle);
    hold.handle = INVALID_HANDLE_VALUE;
}

int32_t osclose(int32_t h) {
    const bool fault = osfaultdue(OSF_CLOSE, nullptr);
    if (!direct()) return _close(h) == 0 && !fault ? 0 : -1;
    BOOL ok = CloseHandle(tohandle(h));
    DeleteObject(reinterpret_cast<HGDIOBJ>(tohandle(h)));  // no effect on a file handle
    return ok && !fault ? 0 : -1;
}

int32_t osread(int32_t h, void* buf, uint32_t count) {
    if (osfaultdue(OSF_READ, &count)) return -1;
    if (count > INT32_MAX) count = INT32_MAX;
    if (!direct()) return _read(h, buf, count);
    DWORD n = 0;
    return ReadFile(tohandle(h), buf, count, &n, nullptr) ? static_cast<int32_t>(n) : -1;
}

int32_t oswrite(int32_t h, const void* buf, uint32_t count) {
    if (osfaultdue(OSF_WRITE, &count)) return -1;
    if (count > INT32_MAX) count = INT32_MAX;
    if (!direct()) return _write(h, buf, count);
    DWORD n = 0;
    return WriteFile(tohandle(h), buf, count, &n, nullptr) ? static_cast<int32_t>(n) : -1;
}

namespace {

OVERLAPPED at(uint32_t offset) {
    OVERLAPPED o = {};
    o.Offset = offset;
    return o;
}

}  // namespace

// Windows keeps to ReadFile: every record read is a call.
int32_t osreadmapped(int32_t, void*, uint32_t, uint32_t) { return -1; }

const uint8_t* osmapview(int32_t, uint32_t, uint32_t) { return nullptr; }

bool osmapguard(int32_t, void (*fn)(void*), void* arg) {
    fn(arg);
    return true;
}

int32_t osremeasure(int32_t) { return 0; }

int32_t osreadat(int32_t h, void* buf, uint32_t count, uint32_t offset) {
    if (osfaultdue(OSF_READ, &count)) return -1;
    if (count > INT32_MAX) count = INT32_MAX;
    if (!direct()) {
        if (_lseek(h, static_cast<long>(offset), SEEK_SET) != static_cast<long>(offset)) return -1;
        return _read(h, buf, count);
    }
    DWORD n = 0;
    OVERLAPPED o = at(offset);
    if (ReadFile(tohandle(h), buf, count, &n, &o)) return static_cast<int32_t>(n);
    return GetLastError() == ERROR_HANDLE_EOF ? 0 : -1;
}

int32_t oswriteat(int32_t h, const void* buf, uint32_t count, uint32_t offset) {
    if (osfaultdue(OSF_WRITE, &count)) return -1;
    if (count > INT32_MAX) count = INT32_MAX;
    if (!direct()) {
        if (_lseek(h, static_cast<long>(offset), SEEK_SET) != static_cast<long>(offset)) return -1;
        return _write(h, buf, count);
    }
    DWORD n = 0;
    OVERLAPPED o = at(offset);
    return WriteFile(tohandle(h), buf, count, &n, &o) ? static_cast<int32_t>(n) : -1;
}

int32_t oswritelater(int32_t h, const void* buf, uint32_t count, uint32_t offset) {
    return oswriteat(h, buf, count, offset);
}

int32_t osdrain() { return 0; }

int32_t osflush(int32_t h) { return direct() ? (FlushFileBuffers(tohandle(h)) ? 1 : 0) : 0; }

int32_t ossync(int32_t h) {
    if (h < 1 || osfaultdue(OSF_SYNC, nullptr)) return -1;
    return (direct() ? FlushFileBuffers(tohandle(h)) != 0 : _commit(h) == 0) ? 0 : -1;
}

int32_t osseek(int32_t h, int32_t offset, int32_t origin) {
    if (osfaultdue(OSF_SEEK, nullptr)) return -1;
    if (origin < 0 || origin > 2) return -1;
    if (!direct()) return static_cast<int32_t>(_lseek(h, offset, origin));
    return static_cast<int32_t>(SetFilePointer(tohandle(h), offset, nullptr, static_cast<DWORD>(origin)));
}

int32_t oslock(int32_t h, uint32_t offset, uint32_t length) {
    if (osfaultdue(OSF_LOCK, nullptr)) return -1;
    if (length == 0) return 0;
    HANDLE w = oshandle(h);
    if (w == INVALID_HANDLE_VALUE) return -1;
    return LockFile(w, offset, 0, length, 0) ? 0 : -1;
}

int32_t osunlock(int32_t h, uint32_t offset, uint32_t length) {
    if (length == 0) return 0;
    HANDLE w = oshandle(h);
    if (w == INVALID_HANDLE_VALUE) return -1;
    return UnlockFile(w, offset, 0, length, 0) ? 0 : -1;
}

int32_t osprobe(int32_t h, uint32_t offset, uint32_t length) {
    // Windows cannot ask: the test takes the lock and gives it back.
    if (oslock(h, offset, length) != 0) return 1;
    osunlock(h, offset, length);
    return 0;
}

int32_t osunlink(const char* path) {
    if (path == nullptr || *path == '\0') return -1;
    if (direct()) return DeleteFileA(path) ? 0 : -1;
    return _unlink(path) == 0 ? 0 : -1;
}

int32_t osrename(const char* from, const char* to) {
    if (from == nullptr || to == nullptr || *from == '\0' || *to == '\0') return -1;
    if (direct()) return MoveFileA(from, to) ? 0 : -1;
    return rename(from, to) == 0 ? 0 : -1;
}

// MoveFileExA replaces the old file in one step; write-through returns only
// once the move is on disk.  The new file's own bytes are flushed first.
// Windows replaces no file that is open, so this process's holds on the old
// file are first taken on the new one (which may be renamed while open,
// since a hold lets others rename), then given up on the old, and the move
// follows at once; a run that opens the old file in that moment makes the
// move fail, and it is tried again a few times.
int32_t osreplace(const char* from, const char* to) {
    if (from == nullptr || to == nullptr || *from == '\0' || *to == '\0') return -1;
    HANDLE f = CreateFileA(from, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                           nullptr, OPEN_EXISTING, 0, nullptr);
    if (f == INVALID_HANDLE_VALUE) return -1;
    BOOL flushed = FlushFileBuffers(f);
    CloseHandle(f);
    if (!flushed) return -1;
    HoldGuard guard;
    std::vector<std::pair<Hold*, HANDLE>> carried;  // hold, its handle on the new file
    auto dropcarried = [&carried] {
        for (const auto& c : carried) CloseHandle(c.second);
        return -1;
    };
    for (Hold& hold : osfiles().holds) {
        if (hold.handle == INVALID_HANDLE_VALUE || !stillnames(hold.handle, to)) continue;
        bool busy = false;
        HANDLE h = lockhold(from, hold.kind, false, &busy);
        if (h == INVALID_HANDLE_VALUE) return dropcarried();
        carried.emplace_back(&hold, h);
    }
    for (const auto& c : carried) CloseHandle(c.first->handle);
    BOOL moved = FALSE;
    DWORD why = ERROR_SHARING_VIOLATION;
    for (int tries = 0; tries < 20 && !moved && (why == ERROR_SHARING_VIOLATION || why == ERROR_ACCESS_DENIED);
         tries++) {
        if (tries > 0) Sleep(25);
        moved = MoveFileExA(from, to, MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH);
        if (!moved) why = GetLastError();
    }
    if (!moved) {
        errno = why == ERROR_ACCESS_DENIED || why == ERROR_SHARING_VIOLATION ? EACCES
                : why == ERROR_FILE_NOT_FOUND || why == ERROR_PATH_NOT_FOUND ? ENOENT
                                                                              : EIO;
        // The old file is held again where it can be; the new one is let go.
        for (const auto& [hold, h] : carried) {
            bool busy = false;
            hold->handle = lockhold(to, hold->kind, true, &busy);
            CloseHandle(h);
        }
        return -1;
    }
    for (const auto& [hold, h] : carried) hold->handle = h;
    return 0;
}

int32_t osfilesize(int32_t h) {
    if (!direct()) {
        long n = _filelength(h);
        return n < 0 ? -1 : static_cast<int32_t>(n);
    }
    DWORD high = 0;
    DWORD low = GetFileSize(tohandle(h), &high);
    if ((low == INVALID_FILE_SIZE && GetLastError() != NO_ERROR) || high != 0 || low > INT32_MAX) return -1;
    return static_cast<int32_t>(low);
}
