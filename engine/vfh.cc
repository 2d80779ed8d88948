// vfh.cc - the simplified record API: thin wrappers that set the operation
// code and a field or two of the caller's command block, call filehandler,
// and allocate the record buffer on open.
#include <cstring>

#include "engine/engine.h"

namespace {

// The mode bits as the 16-bit word fflags | mflags << 8 sees them.
enum { WORD_EXACT = 0x100, WORD_STAY = 0x200 };

void setwordbit(FHCB* cb, uint16_t bit, bool on) {
    uint16_t word = static_cast<uint16_t>(cb->fflags | cb->mflags << 8);
    word = on ? static_cast<uint16_t>(word | bit) : static_cast<uint16_t>(word & ~bit);
    cb->fflags = static_cast<uint8_t>(word);
    cb->mflags = static_cast<uint8_t>(word >> 8);
}

int32_t run(FHCB* cb, uint8_t opcode) {
    if (cb == nullptr) return -1;
    cb->status = 0;
    cb->opcode = opcode;
    filehandler(cb);
    return cb->status == 0 ? 0 : -1;
}

// Open, create and make-temporary-index share this: defaults for the lock
// retries, the call, then a blank record buffer of reclen + 8 bytes with a
// newline at reclen - 1 and a zero at reclen.
int32_t openroutine(FHCB* cb, uint8_t opcode) {
    if (cb == nullptr) return -1;
    cb->status = 0;
    cb->nettype = 1;
    if (cb->flockretry == 0) cb->flockretry = 100;
    if (cb->rlockretry == 0) cb->rlockretry = 1;
    if (run(cb, opcode) != 0) return -1;
    char* buf = static_cast<char*>(globalmalloc(cb->reclen + 8u));
    if (buf == nullptr) {
        run(cb, VN_OP_CLOSE);
        if (cb->status == 0) cb->status = VN_E_MEMORY;
        return -1;
    }
    std::memset(buf, ' ', cb->reclen);
    if (cb->reclen > 0) buf[cb->reclen - 1] = '\n';
    buf[cb->reclen] = '\0';
    cb->recbuf = buf;
    return 0;
}

}  // namespace

extern "C" {

int32_t VELNOR_CALL vfhopen(FHCB* cb) { return openroutine(cb, VN_OP_OPEN); }
int32_t VELNOR_CALL vfhmake(FHCB* cb) { return openroutine(cb, VN_OP_CREATE); }
int32_t VELNOR_CALL vfhmaketidx(FHCB* cb) { return openroutine(cb, VN_OP_TMPIDX); }

int32_t VELNOR_CALL vfhclose(FHCB* cb) {
    if (cb == nullptr) return -1;
    int32_t r = run(cb, VN_OP_CLOSE);
    if (cb->recbuf != nullptr) globalmfree(cb->recbuf);
    cb->recbuf = nullptr;
    return r;
}

int32_t VELNOR_CALL vfhread(FHCB* cb, int32_t stay) {
    if (cb == nullptr) return -1;
    setwordbit(cb, WORD_STAY, stay != 0);
    return run(cb, VN_OP_READ);
}

int32_t VELNOR_CALL vfhwrite(FHCB* cb, int32_t stay) {
    if (cb == nullptr) return -1;
    setwordbit(cb, WORD_STAY, stay != 0);
    return run(cb, VN_OP_WRITE);
}

int32_t VELNOR_CALL vfhposn(FHCB* cb, int32_t exact) {
    if (cb == nullptr) return -1;
    setwordbit(cb, WORD_EXACT, exact != 0);
    return run(cb, VN_OP_POSN);
}

int32_t VELNOR_CALL vfhbacksp(FHCB* cb) { return run(cb, VN_OP_BACKSP); }
int32_t VELNOR_CALL vfhdelete(FHCB* cb) { return run(cb, VN_OP_DELETE); }
int32_t VELNOR_CALL vfhrlock(FHCB* cb) { return run(cb, VN_OP_RLOCK); }
int32_t VELNOR_CALL vfhrunlock(FHCB* cb) { return run(cb, VN_OP_RUNLOCK); }
int32_t VELNOR_CALL vfhsecure(FHCB* cb) { return run(cb, VN_OP_SECURE); }

int32_t VELNOR_CALL vfhsetkey(FHCB* cb, uint8_t key) {
    if (cb == nullptr) return -1;
    cb->reqkey = static_cast<int8_t>(key);
    return run(cb, VN_OP_SETKEY);
}

void VELNOR_CALL vfhgetversion(uint16_t* major, uint16_t* minor) {
    if (major != nullptr) *major = 1792;
    if (minor != nullptr) *minor = 144;
}

// The buffer holds 72 bytes: a longer directory is cut to 71 characters.
void VELNOR_CALL vfhsettmpdir(const char* dir) {
    if (dir == nullptr) dir = "";
    char(&tmpdir)[72] = enginestate().tmpdir;
    nstrncpy(tmpdir, dir, sizeof tmpdir - 1);
}

int32_t VELNOR_CALL fastlruopen(const char* name, int32_t mode, uint32_t extra) {
    int32_t s = fastopen(name, static_cast<uint32_t>(mode), extra);
    if (s < 0) {
        closelru(0);
        s = fastopen(name, static_cast<uint32_t>(mode), extra);
    }
    return s < 0 ? -1 : s;
}

}  // extern "C"
