"""velnor.archive: the .cmp archiver.

    velnor.archive.add("backup.cmp", ["a.dat", "a.idx"])
    velnor.archive.list("backup.cmp")      # the archiver's listing lines
    velnor.archive.extract("backup.cmp", target="restore")
"""

import os as _os

from . import _velnor

__all__ = ["ArchiveError", "add", "list", "extract"]


class ArchiveError(Exception):
    """An archiver run that failed: result is its return value, errors the
    error numbers it reported, report its text."""

    def __init__(self, archive, result, errors, report):
        super().__init__(f"{archive}: the archiver failed ({result}, errors {errors}): "
                         f"{report.strip()}")
        self.result, self.errors, self.report = result, errors, report


def _run(letters, archive, patterns, password="", target=""):
    # Password and folder are sticky in the archiver: always give both.
    options = f'-{letters}P"{password}"T"{target}"'
    rc, raw, errors = _velnor.archive(options, _os.fspath(archive), [_os.fspath(p) for p in patterns])
    text = raw.decode("cp1252", errors="replace")
    if rc != 0 or errors:
        raise ArchiveError(archive, rc, errors, text)
    return text


def add(archive, files, password=""):
    """Adds (or updates) files in archive; returns the archiver's report."""
    return _run("AQ", archive, files, password)


def list(archive, patterns=(), password=""):  # noqa: A001 - the archiver's own verb
    """The archive's listing, one line per entry, as the archiver writes it."""
    text = _run("L", archive, patterns, password)
    return [line for line in text.splitlines() if line.strip()]


def extract(archive, patterns=(), target="", password=""):
    """Extracts the entries matching patterns (all by default) into target
    (the current folder by default), replacing files; returns the report."""
    return _run("XOQ", archive, patterns, password, _os.fspath(target))
