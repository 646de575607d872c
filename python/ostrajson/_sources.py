"""Where texts come from, and go to."""

from __future__ import annotations

import gzip
import io
import os
from collections.abc import Iterator
from contextlib import contextmanager
from typing import Any, BinaryIO, TypeAlias, cast

Source: TypeAlias = Any
"""A path, bytes, a buffer, a file object, or a URL that fsspec opens."""


def is_url(path: str) -> bool:
    """Tell a URL such as s3://bucket/key from a path."""
    scheme, separator, _ = path.partition("://")
    return bool(separator) and scheme.isidentifier()


def is_buffer(source: Source) -> bool:
    """Tell bytes and anything with a buffer from paths and files."""
    try:
        memoryview(source)
    except TypeError:
        return False
    return True


@contextmanager
def opened(source: Source) -> Iterator[Any]:
    """Give what the library reads: a path, a part of a file, a buffer, or a file object.

    A part is a path and where the part begins and ends.
    """
    if (part := getattr(source, "part_of_file", None)) is not None:
        yield part
        return
    if is_buffer(source) or hasattr(source, "read"):
        yield source
        return
    try:
        path = os.fsdecode(source)
    except TypeError:
        raise TypeError(
            "source: expected a path, a URL, bytes, a buffer or a file object, not "
            f"{type(source).__name__}"
        ) from None
    if is_url(path):
        with _remote(path, "rb") as file:
            yield file
    elif path.endswith(".gz"):
        with gzip.open(path, "rb") as file:
            yield file
    else:
        yield path


def is_stream(source: Source) -> bool:
    """Tell a file object that can be read only once."""
    if is_buffer(source) or not hasattr(source, "read"):
        return False
    seekable = getattr(source, "seekable", None)
    return seekable is None or not seekable()


@contextmanager
def at_its_place(source: Source) -> Iterator[None]:
    """Bring a file object back to where it stands now."""
    if is_buffer(source) or not hasattr(source, "read"):
        yield
        return
    place = source.tell()
    yield
    source.seek(place)


def name_of(source: Source) -> str | None:
    """Return the name of a source for messages."""
    name = os.fsdecode(source) if isinstance(source, (str, os.PathLike)) else None
    if name is None:
        name = getattr(source, "name", None)
    return name.encode(errors="backslashreplace").decode() if isinstance(name, str) else None


def _remote(url: str, mode: str) -> Any:
    try:
        import fsspec
    except ImportError:
        raise ImportError(f"opening {url} needs the package fsspec") from None
    return fsspec.open(url, mode, compression="infer")


def read_all(file: Any) -> bytes | str:
    """Read the rest of a file object, text or binary."""
    text = file.read()
    if not isinstance(text, (bytes, bytearray, memoryview, str)):
        raise TypeError(f"source: read() gave {type(text).__name__}, not bytes or str")
    return cast("bytes | str", text)


def write_all(target: Any, text: bytes) -> None:
    """Write a UTF-8 text to a file object, a URL, or a path."""
    if hasattr(target, "write"):
        target.write(text.decode() if isinstance(target, io.TextIOBase) else text)
        return
    path = os.fsdecode(target)
    if is_url(path):
        with _remote(path, "wb") as file:
            cast(BinaryIO, file).write(text)
        return
    if not is_utf8(path):
        with open(path, "wb") as file:
            file.write(text)
        return
    # As the library writes plain files: what stood there stays until all is written.
    from ._core import _write_bytes

    _write_bytes(path, gzip.compress(text) if path.endswith(".gz") else text)


def is_plain_path(target: Any) -> bool:
    """Tell a path that the library writes itself."""
    if hasattr(target, "write"):
        return False
    path = os.fsdecode(target)
    return not is_url(path) and not path.endswith(".gz") and is_utf8(path)


def is_utf8(path: str) -> bool:
    """Tell a name that the library can be given as text."""
    try:
        path.encode()
    except UnicodeEncodeError:
        return False
    return True
