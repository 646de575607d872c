"""Parts of files that are read one by one: whole files, or the lines that begin in a range."""

from __future__ import annotations

import io
from collections.abc import Iterator, Sequence
from concurrent.futures import ThreadPoolExecutor
from contextlib import contextmanager
from dataclasses import dataclass
from typing import Any, BinaryIO

__all__ = ["Files", "LinesOfRange", "Part", "find_parts", "make_folders", "write_whole"]

_CHUNK = 1 << 16
# Bytes that are fetched ahead from other file systems than local ones. Those of object stores would
# fetch 50 MB, most of it behind the end of a block of 64 MiB.
_AHEAD = 8 << 20


@dataclass(frozen=True)
class Part:
    """A whole file, or the lines that begin at its bytes from `start` up to `end`.

    Attributes:
        path: As its file system has it.
        start: 0 for a whole file.
        end: None for a whole file.
        version: Changes when the file does, for names of what was computed from it.
    """

    path: str
    start: int
    end: int | None
    version: str


@dataclass(frozen=True)
class Files:
    """A file system of fsspec, and how what lies there is compressed."""

    system: Any
    compression: str | None

    @contextmanager
    def opened(self, part: Part) -> Iterator[Any]:
        """Give what `read_columns` takes to read a part: a path, or a file object."""
        from fsspec.compression import compr

        compression = self._compression_of(part.path)
        is_plain = compression is None and self.is_local
        if part.end is None and is_plain:
            yield part.path
            return
        with (
            self.system.open(part.path, "rb", block_size=_AHEAD) as packed,
            compr[compression](packed, mode="rb") as file,
        ):
            if part.end is None:
                yield file
                return
            lines = LinesOfRange(file, part.start, part.end)
            if is_plain:  # which the library reads itself, in three quarters of the time
                end = LinesOfRange(file, part.end, None).begin
                file.seek(lines.begin)
                lines.part_of_file = (part.path, lines.begin, end)
            yield lines

    @property
    def is_local(self) -> bool:
        from fsspec.implementations.local import LocalFileSystem

        return isinstance(self.system, LocalFileSystem)

    def is_compressed(self, path: str) -> bool:
        return self._compression_of(path) is not None

    def describe(self, part: Part) -> str:
        """Name a part for messages."""
        name = part.path if self.is_local else str(self.system.unstrip_protocol(part.path))
        return name if part.end is None else f"{name}, bytes {part.start} to {part.end}"

    def _compression_of(self, path: str) -> str | None:
        from fsspec.core import get_compression

        found: str | None = get_compression(path, self.compression)
        return found


class LinesOfRange:
    """A file object of the lines that begin in a range of a file, read without holding them.

    A line belongs to the range in which its first byte lies: ranges that meet hold every line once,
    wherever they meet.

    Attributes:
        begin: Where in the file its text begins; its end if no line begins in the range.
        part_of_file: The path of a local file, and where its text begins and ends there.
    """

    def __init__(self, file: BinaryIO, start: int, end: int | None) -> None:
        self._file = file
        self._end = end
        self.begin = self._at = start
        self._is_inside_line = False  # whether the last byte given was not the end of a line
        self.part_of_file: tuple[str, int, int] | None = None
        if start > 0:
            file.seek(start - 1)
            self.begin = self._at = start - 1 + self._skip_line()
            file.seek(self.begin)

    def _skip_line(self) -> int:
        """Return the bytes up to the next line, or to the end of the file."""
        skipped = 0
        while chunk := self._file.read(_CHUNK):
            found = chunk.find(b"\n")
            if found >= 0:
                return skipped + found + 1
            skipped += len(chunk)
        return skipped

    def read(self, size: int = -1) -> bytes:
        """Return the next bytes, at most `size` of them; none at the end."""
        if size < 0:
            return b"".join(iter(lambda: self.read(_CHUNK), b""))
        room = size if self._end is None else min(size, self._end - self._at)
        if room > 0:
            data = self._file.read(room)
        elif self._is_inside_line:
            data = self._file.read(min(size, _CHUNK))
            data = data[: data.find(b"\n") + 1] or data
        else:
            return b""
        self._at += len(data)
        self._is_inside_line = data[-1:] not in (b"", b"\n")
        return data


def find_parts(
    urlpath: Any, blocksize: int | None, compression: str | None, options: dict[str, Any]
) -> tuple[Files, list[Part]]:
    """List the files of a path, pattern or sequence of them, as parts of about `blocksize` bytes.

    A file becomes one part if `blocksize` is None, it is compressed, or its size is not known.

    Raises:
        FileNotFoundError: If there is none; names the pattern.
    """
    from dask.tokenize import tokenize
    from dask.utils import natural_sort_key
    from fsspec.core import get_fs_token_paths

    given = urlpath if isinstance(urlpath, (list, tuple)) else [urlpath]
    system, _, paths = get_fs_token_paths(given, mode="rb", storage_options=options)
    if len(given) == 1 and not isinstance(urlpath, (list, tuple)):
        paths = sorted(paths, key=natural_sort_key)
    if not paths:
        raise FileNotFoundError(f"no file is there: {urlpath!r}")
    files = Files(system, compression)
    parts: list[Part] = []
    for path, facts in zip(paths, _facts(system, paths), strict=True):
        size, version = facts.get("size"), tokenize(str(sorted(facts.items())))
        if blocksize is None or size is None or files.is_compressed(path):
            parts.append(Part(path, 0, None, version))
        else:
            parts += [Part(path, *range_, version) for range_ in _ranges(size, blocksize)]
    return files, parts


def _facts(system: Any, paths: Sequence[str]) -> Iterator[dict[str, Any]]:
    """Ask for sizes and what tells versions apart, of many files at a time: stores are far away."""
    with ThreadPoolExecutor(16) as pool:
        yield from pool.map(system.info, paths)


def _ranges(size: int, blocksize: int) -> Sequence[tuple[int, int]]:
    """Cut a size into as many ranges of about one length as blocks are needed."""
    count = max(1, -(-size // blocksize))
    ends = [size * i // count for i in range(1, count + 1)]
    return list(zip([0, *ends], ends, strict=False))


def make_folders(urls: Sequence[str], options: dict[str, Any]) -> None:
    """Make the folders in which local files are to be written; others have none, or make them."""
    from fsspec.core import url_to_fs
    from fsspec.implementations.local import LocalFileSystem

    for folder in {url.rpartition("/")[0] for url in urls} - {""}:
        system, path = url_to_fs(folder, **options)
        if isinstance(system, LocalFileSystem):
            system.makedirs(path, exist_ok=True)


def write_whole(url: str, text: bytes, compression: str | None, options: dict[str, Any]) -> None:
    """Write a file that appears, locally and in object stores, only when all of it is there."""
    from fsspec.compression import compr
    from fsspec.core import get_compression, url_to_fs
    from fsspec.implementations.local import LocalFileSystem

    from ._core import _write_bytes

    if (name := get_compression(url, compression)) is not None:
        packed = io.BytesIO()
        with compr[name](packed, mode="wb") as file:
            file.write(text)
        text = packed.getvalue()
    system, path = url_to_fs(url, **options)
    if isinstance(system, LocalFileSystem):
        _write_bytes(path, text)
    else:
        system.pipe_file(path, text)
