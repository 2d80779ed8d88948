"""Type stubs of velnor.archive: the .cmp archiver."""

import os
from typing import Sequence, Union

PathLike = Union[str, "os.PathLike[str]"]

class ArchiveError(Exception):
    result: int
    errors: list[int]
    report: str

def add(archive: PathLike, files: Sequence[PathLike], password: str = ...) -> str: ...
def list(archive: PathLike, patterns: Sequence[PathLike] = ..., password: str = ...) -> list[str]: ...
def extract(archive: PathLike, patterns: Sequence[PathLike] = ..., target: PathLike = ...,
            password: str = ...) -> str: ...
