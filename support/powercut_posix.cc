// powercut_posix.cc - the power cut of osfault.h: a journal of the bytes
// every write since its file's last sync replaced, played backwards when
// the cut comes.  Files are told apart by device and inode, so that a
// file renamed or reached through several handles is one file, and each
// keeps a descriptor of its own to be rolled back through.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "support/osfault.h"
#include "support/runtime.h"

namespace {

struct Undo {
    off_t offset;
    std::string bytes;  // what was there; shorter when the file ended
};

struct Journal {
    int fd = -1;            // our own descriptor on the file
    off_t size = 0;         // its size at the last sync
    std::vector<Undo> undo;  // oldest first
};

using FileId = std::pair<dev_t, ino_t>;

// The journals of an armed cut, and the seed that picks the files it
// spares.
struct PowerCut : RuntimePart {
    std::map<FileId, Journal> journals;
    uint32_t seed = 0;
    ~PowerCut() override {
        for (auto& [id, j] : journals)
            if (j.fd >= 0) close(j.fd);
    }
};

// The cut's state, null when none was ever armed.
PowerCut* armedcut() { return runtimepartif<PowerCut>(RT_POWERCUT); }

bool idof(int fd, FileId* id, off_t* size) {
    struct stat st;
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) return false;
    *id = {st.st_dev, st.st_ino};
    *size = st.st_size;
    return true;
}

// The journal of the file under fd, opened on its first unsynced write.
Journal* journalof(int fd) {
    FileId id;
    off_t size;
    PowerCut* c = armedcut();
    if (c == nullptr || !idof(fd, &id, &size)) return nullptr;
    Journal& j = c->journals[id];
    if (j.fd < 0) {
        // A handle of the caller may be write-only: reach the same file
        // for reading and writing through the process's descriptor table.
        const std::string self = "/proc/self/fd/" + std::to_string(fd);
        j.fd = open(self.c_str(), O_RDWR | O_CLOEXEC);
        j.size = size;
    }
    return j.fd < 0 ? nullptr : &j;
}

void keep(Journal* j, off_t offset, uint32_t count) {
    std::string old(count, '\0');
    const ssize_t n = pread(j->fd, old.data(), count, offset);
    old.resize(n > 0 ? static_cast<size_t>(n) : 0);
    j->undo.push_back({offset, std::move(old)});
}

// Rolls every file back to its last sync, or, one file in four when the
// seed says so, leaves it with every write (a power cut does not reach all
// files alike), and ends the process.
[[noreturn]] void cut() {
    PowerCut* c = armedcut();
    uint32_t bits = c != nullptr ? c->seed : 0;
    if (c != nullptr)
        for (auto& [id, j] : c->journals) {
            const bool spared = (bits & 3) == 0;
            bits = bits * 1103515245u + 12345u;
            if (spared) continue;
            for (auto u = j.undo.rbegin(); u != j.undo.rend(); ++u)
                if (!u->bytes.empty() && pwrite(j.fd, u->bytes.data(), u->bytes.size(), u->offset) < 0) break;
            if (ftruncate(j.fd, j.size) != 0) break;
        }
    _exit(OSF_POWERCUT_EXIT);
}

}  // namespace

void osfaultpowercut(uint32_t n, uint32_t seed) {
    osfaultarm(OSF_WRITE, n, false, 0);
    if (n == 0) {
        runtime().support.faultcutter = nullptr;
        return;
    }
    runtimedrop(RT_POWERCUT);  // closes the journals of an earlier cut
    runtimeownpart<PowerCut>(RT_POWERCUT).seed = seed;
    runtime().support.faultcutter = cut;
}

void oscutnote(int32_t h, int64_t offset, uint32_t count) {
    Journal* j = journalof(h);
    if (j == nullptr) return;
    if (offset < 0) offset = lseek(h, 0, SEEK_CUR);
    if (offset >= 0) keep(j, static_cast<off_t>(offset), count);
}

void oscuttrunc(const char* path) {
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return;
    off_t size = 0;
    FileId id;
    if (Journal* j = idof(fd, &id, &size) ? journalof(fd) : nullptr) keep(j, 0, static_cast<uint32_t>(size));
    close(fd);
}

void oscutsynced(int32_t h) {
    FileId id;
    off_t size;
    PowerCut* c = armedcut();
    if (c == nullptr || !idof(h, &id, &size)) return;
    auto it = c->journals.find(id);
    if (it == c->journals.end()) return;
    it->second.undo.clear();
    it->second.size = size;
}
