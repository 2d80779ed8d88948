"""velnor record files from Python.

    import velnor
    with velnor.open("customers.dat") as f:
        for record in f:                      # physical order
            print(record["NAME"])
        for record in f.by_key(2, start="Coo"):
            ...
        f.put({"CUSTNO": 17, "NAME": "Cooper"})

Records are dicts of item name to value: text items as str (decoded with
the file's encoding, cp1252 unless told otherwise), number items as int, or
decimal.Decimal when the stored number has decimals, binary items (types
I and S) as bytes; an item of several occurrences is a list.  Failures
raise velnor.Error (NotFound, Exists, Locked, Damaged) carrying the
engine's status and message.
"""

from decimal import Decimal, InvalidOperation
import os as _os

from . import _velnor
from . import archive  # noqa: F401  (velnor.archive.add/list/extract)

__all__ = ["open", "File", "Error", "NotFound", "Locked", "Damaged", "Exists",
           "verify", "recover", "pack", "Keyword", "archive"]

_codes = _velnor.codes
# Segment flags of a key: descending, case-sensitive.
_SEG_DESCEND = 0x01
_SEG_CASE = 0x04
# Item types held as bytes (binary fields), not text.
_BINARY = ("I", "S")
# filemaint operations and flags.
_FM_VERIFY, _FM_RECOVER, _FM_PACK = 0, 1, 2
_FM_CONTINUE, _FM_NOKEYPASS, _FM_NORECPASS, _FM_STRIP, _FM_SHARED = 0x01, 0x02, 0x04, 0x10, 0x20
_FM_MESSAGE = 5


class Error(Exception):
    """A failure of the engine: status is its one-byte status code, message
    the engine's text for it, path the file concerned."""

    def __init__(self, status, message, path=""):
        super().__init__(f"{path}: {message} (status {status})" if path else
                         f"{message} (status {status})")
        self.status = status
        self.message = message
        self.path = path


class NotFound(Error, KeyError):
    """No record with that key."""

    def __str__(self):
        return Exception.__str__(self)


class Exists(Error):
    """put() of a record whose primary key the file already holds."""


class Locked(Error):
    """A record or the file is locked by another program."""


class Damaged(Error):
    """A file is damaged: unreadable data, index or definition."""


def _statustext(status):
    text = _velnor.message(status).decode("cp1252", errors="replace")
    if text:
        return text
    return {_codes["NOREC"]: "no such record", _codes["RLOCKED"]: "record locked",
            _codes["FLOCKED"]: "file locked", _codes["READONLY"]: "file opened read-only",
            _codes["DELETED"]: "record deleted"}.get(status, "engine condition")


def _error(status, path=""):
    if status == _codes["NOREC"]:
        cls = NotFound
    elif status in (_codes["RLOCKED"], _codes["FLOCKED"], _codes["IDXLOCK"]):
        cls = Locked
    elif status in _codes["DAMAGED"]:
        cls = Damaged
    else:
        cls = Error
    return cls(status, _statustext(status), path)


def _openerror(status, path, create):
    """The error of an open that failed, with the system's reason when the
    data file itself cannot be opened (the engine names only the step)."""
    err = _error(status, path)
    if not create:
        try:
            _os.close(_os.open(path, _os.O_RDONLY))
        except OSError as e:
            return type(err)(status, f"{e.strerror} ({err.message})", path)
    return err


class _Item:
    __slots__ = ("name", "type", "right", "offset", "length", "occurs")

    def __init__(self, name, type_, just, offset, length, occurs):
        self.name, self.type, self.right = name, type_, just == "R"
        self.offset, self.length, self.occurs = offset, length, occurs


class File:
    """An open record file; use velnor.open()."""

    def __init__(self, path, fid="", index="", network=None, readonly=False,
                 encoding="cp1252", create=False):
        self.path = _os.fspath(path)
        self.encoding = encoding
        self._onebyte = all(len(bytes([c]).decode(encoding, errors="replace")) == 1
                            for c in range(256))
        self.readonly = readonly
        self._f = _velnor.File()
        status = self._f.open(self.path, _os.fspath(fid), _os.fspath(index),
                              network or "SINGLE", create, readonly)
        if status:
            raise _openerror(status, self.path, create)
        d = self._f.definition()
        self._reclen = d["reclen"]
        self.numbered = d["numbered"]
        self.hashed = d["hashed"]
        self._items = [_Item(*it) for it in d["items"]]
        self._byname = {it.name: it for it in self._items}
        self._keys = d["keys"]
        self._open = True

    # -- the file as a whole
    @property
    def items(self):
        """The item names, in definition order."""
        return [it.name for it in self._items]

    @property
    def keys(self):
        """The key names, key 1 first."""
        return [name for name, _ in self._keys]

    def close(self):
        """Closes the file; later calls fail."""
        if self._open:
            self._open = False
            status = self._f.close()
            if status:
                raise _error(status, self.path)

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()
        return False

    def secure(self):
        """Commits the header, thread heads and index pages to disk."""
        self._check(self._f.secure())

    # -- records
    def _check(self, status):
        if status:
            raise _error(status, self.path)

    def _decode(self, raw):
        # A code page of one byte a character is decoded once for the whole
        # record, whose text then lies at the items' byte offsets.
        text = raw.decode(self.encoding, errors="replace") if self._onebyte else None
        rec = {}
        for it in self._items:
            values = []
            for k in range(it.occurs):
                start = it.offset + k * it.length
                if start >= len(raw):
                    break
                end = start + it.length
                if it.type in _BINARY:
                    values.append(raw[start:end])
                    continue
                if text is not None:
                    t = text[start:end].rstrip(" \0")
                else:
                    t = raw[start:end].rstrip(b" \0").decode(self.encoding, errors="replace")
                values.append(self._value(it, t.lstrip(" ") if it.right else t))
            rec[it.name] = values[0] if it.occurs == 1 and values else values
        return rec

    @staticmethod
    def _value(it, text):
        if it.type in ("N", "J"):
            if not text:
                return None
            try:
                return int(text) if "." not in text else Decimal(text)
            except (ValueError, InvalidOperation):
                return text
        return text

    def _encode(self, record):
        unknown = [name for name in record if name not in self._byname]
        if unknown:
            raise ValueError(f"{self.path}: no item called {', '.join(map(repr, unknown))}; "
                             f"the items are: {' '.join(self.items)}")
        raw = bytearray(b" " * self._reclen)
        raw[-1:] = b"\n"
        for name, value in record.items():
            it = self._byname[name]
            values = value if it.occurs > 1 else [value]
            if len(values) > it.occurs:
                raise ValueError(f"{name}: {len(values)} values for {it.occurs} occurrences")
            for k, v in enumerate(values):
                if isinstance(v, (bytes, bytearray)):
                    b = bytes(v)
                else:
                    b = b"" if v is None else str(v).encode(self.encoding)
                if len(b) > it.length:
                    raise ValueError(f"{name}: {v!r} is longer than its {it.length} characters")
                if it.type not in _BINARY and any(c in b for c in b"\t\r\n"):
                    raise ValueError(f"{name}: tabs and line breaks do not fit in a record")
                b = b.rjust(it.length) if it.right else b.ljust(it.length)
                start = it.offset + k * it.length
                raw[start:start + it.length] = b
        return bytes(raw)

    def _keyvalue(self, key, value, whole=False):
        """value shaped as key (1-based) holds it: a right-justified first
        item filled with blanks on the left; a whole value (not the start
        of one) filled with blanks on the right, as the key stores it."""
        segs = self._keys[key - 1][1]
        b = value if isinstance(value, bytes) else str(value).encode(self.encoding)
        if segs:
            off, length, _ = segs[0]
            for it in self._items:
                if it.offset == off and it.right:
                    b = b.strip(b" ").rjust(length)
            if whole:
                b = b.ljust(length)
        return b, segs

    def _matches(self, key, shaped, segs, exact):
        got = self._f.key(key)[:sum(s[1] for s in segs)]
        casesensitive = bool(segs and segs[0][2] & _SEG_CASE)
        if exact:
            got, want = got.rstrip(b" "), shaped.rstrip(b" ")
        else:
            got, want = got[:len(shaped)], shaped
        if not casesensitive:
            got, want = got.lower(), want.lower()
        return got == want

    def _keyno(self, key):
        if not 1 <= key <= len(self._keys):
            raise ValueError(f"{self.path}: no key {key} (the file has {len(self._keys)})")
        return key

    def _find(self, value, key=1):
        """Positions on the record whose key equals value and reads it,
        staying on it; NotFound when there is none."""
        key = self._keyno(key)
        shaped, segs = self._keyvalue(key, value, whole=True)
        self._check(self._f.setkey(key))
        self._check(self._f.position(shaped, False))
        if segs and segs[-1][2] & _SEG_DESCEND and key != 1:
            # The primary key a second key ends in is not in the value, and
            # under a descending last part the equal keys sort before it.
            if not self._f.current():
                self._check(self._f.toend())
            if self._f.backsp() != 0:
                raise NotFound(_codes["NOREC"], f"no record whose key {key} is {value!r}", self.path)
        if self._f.current():
            status = self._f.read(True)
            if status == 0 and self._matches(key, shaped, segs, True):
                return
        raise NotFound(_codes["NOREC"], f"no record whose key {key} is {value!r}", self.path)

    def get(self, value, key=1):
        """The record whose key (1-based, 1 = primary) equals value."""
        self._find(value, key)
        return self._decode(self._f.record())

    def __contains__(self, value):
        try:
            self._find(value)
            return True
        except NotFound:
            return False

    def _write(self, record):
        if self.readonly:
            raise Error(_codes["READONLY"], "file opened read-only", self.path)
        raw = self._encode(record)
        if not self._keys:
            # Without keys a write lands on the current record: at the end.
            self._check(self._f.toend())
        self._f.setrecord(raw)
        self._check(self._f.write(bool(self._keys)))

    def _primary(self, record):
        raw = self._encode(record)
        self._f.setrecord(raw)
        return self._f.key(1) if self._keys and not self.numbered else None

    def put(self, record):
        """Adds record (a dict of item values; items left out are blank).
        Exists when the file holds a record with its primary key."""
        key = self._primary(record)
        if key is not None:
            try:
                self._find(key)
                raise Exists(0, f"a record with key {key.strip().decode(self.encoding)!r} "
                                "is already in the file", self.path)
            except NotFound:
                pass
        self._write(record)

    def replace(self, record):
        """Rewrites the record with record's primary key; NotFound when
        there is none."""
        key = self._primary(record)
        if key is None:
            raise ValueError(f"{self.path}: only a file with a primary key replaces records")
        self._find(key)
        self._write(record)

    def delete(self, value):
        """Deletes the record whose primary key equals value."""
        if self.readonly:
            raise Error(_codes["READONLY"], "file opened read-only", self.path)
        self._find(value)
        self._check(self._f.remove())

    def lock(self, value):
        """A context manager holding the record lock of the record whose
        primary key is value (under a sharing network type):

            with f.lock("A1") as record: ...
        """
        return _RecordLock(self, value)

    # -- orders
    def _readon(self):
        while self._f.current():
            status = self._f.read(False)
            if status == _codes["NOREC"]:
                return
            if status == _codes["DELETED"]:
                continue
            self._check(status)
            yield self._decode(self._f.record())

    def __iter__(self):
        """Every record, in physical order."""
        self._check(self._f.tofirst())
        return self._readon()

    def by_key(self, key, start=None, descending=False):
        """The records in the order of key (1-based), from the first whose
        key is at or after start (at or before it when descending)."""
        key = self._keyno(key)
        self._check(self._f.setkey(key))
        if start is None:
            shaped, segs = self._f.lowest(key), self._keys[key - 1][1]
        else:
            shaped, segs = self._keyvalue(key, start)
        if not descending:
            self._check(self._f.position(shaped, False))
            return self._readon()
        return self._backwards(key, shaped, segs, start is not None)

    def _backwards(self, key, shaped, segs, bounded):
        if bounded and self._f.position(shaped, False) == 0 and self._f.current():
            if self._f.read(True) == 0:
                got = self._f.key(key)[:len(shaped)]
                if self._matches(key, shaped, segs, False) or got.lower() <= shaped.lower():
                    yield self._decode(self._f.record())
        else:
            self._check(self._f.toend())
        while self._f.backsp() == 0:
            status = self._f.read(True)
            if status == _codes["DELETED"]:
                continue
            if status:
                return
            yield self._decode(self._f.record())


class _RecordLock:
    def __init__(self, f, value):
        self._file, self._value = f, value

    def __enter__(self):
        f = self._file
        f._find(self._value)
        f._check(f._f.lock())
        return f._decode(f._f.record())

    def __exit__(self, *exc):
        self._file._check(self._file._f.unlock())
        return False


def open(path, network=None, readonly=False, encoding="cp1252", fid="", index="", create=False):
    """Opens the record file path (its definition and index found by the
    engine's rules unless fid or index name them) and returns a File, a
    context manager.  network: None for a file no one else has open, or a
    sharing type such as "MSNET"; create makes the file new."""
    return File(path, fid=fid, index=index, network=network, readonly=readonly,
                encoding=encoding, create=create)


def _maint(op, path, fid, index, flags, report, encoding="cp1252"):
    rc, raw = _velnor.maint(op, _os.fspath(path), _os.fspath(fid), _os.fspath(index), flags,
                            _os.fspath(report))
    lines = [(code, text.decode(encoding, errors="replace")) for code, text in raw]
    return {"ok": rc == 0, "status": rc if rc > 0 else 0, "stopped": rc == -1,
            "messages": [text for code, text in lines if code == _FM_MESSAGE],
            "lines": [text for _, text in lines]}


def verify(path, fid="", index="", keys=True, records=True, keep_going=False, report=""):
    """Checks a record file.  Returns a dict: ok, status (0 or the
    failure's), stopped, messages (the run's messages) and lines (every
    progress line)."""
    flags = (0 if keys else _FM_NOKEYPASS) | (0 if records else _FM_NORECPASS)
    return _maint(_FM_VERIFY, path, fid, index, flags | (_FM_CONTINUE if keep_going else 0), report)


def recover(path, fid="", index="", report=""):
    """Rebuilds the index (or hash file) from the records; a report as
    verify's."""
    return _maint(_FM_RECOVER, path, fid, index, 0, report)


def pack(path, fid="", index="", strip=False, report=""):
    """Rewrites the file without its deleted records; a report as
    verify's."""
    return _maint(_FM_PACK, path, fid, index, _FM_STRIP if strip else 0, report)


class Keyword:
    """A keyword index as the velnor program makes it: from NAME (any
    extension replaced), the keyword file NAME.kwd with its definition
    NAME.kwf and index NAME.kwx, and the posting file NAME.kwp."""

    def __init__(self, path):
        base = _os.path.splitext(_os.fspath(path))[0]
        self.path = base + ".kwd"
        self._names = (self.path, base + ".kwf", base + ".kwx", base + ".kwp")

    def search(self, word):
        """The values filed under word, in the order they were added; []
        when the word is not in the index."""
        status, values = _velnor.keywordsearch(*self._names, word)
        if status and status != _codes["NOREC"]:
            raise _error(status, self.path)
        return values
