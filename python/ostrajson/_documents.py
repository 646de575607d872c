"""The methods of Document that are written in Python, and reading documents."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Literal

from . import _sources

if TYPE_CHECKING:
    from ._core import Cursor, Document, Nodes

__all__ = ["__getitem__", "__reduce__", "__repr__", "__setitem__", "cursor", "describe", "write"]


def __getitem__(self: Document, pointer: str) -> Nodes:  # noqa: N807
    """Return the node at a JSON Pointer, as Nodes of length 1.

    Raises:
        KeyError: If there is none.
        PointerError: If the text is not a JSON Pointer.
    """
    if not isinstance(pointer, str):
        raise TypeError(f"pointer: expected str, not {type(pointer).__name__}")
    return self.root[pointer]


def __setitem__(self: Document, pointer: str, value: Any) -> None:  # noqa: N807
    """Write a number, bool or text into the node at a JSON Pointer."""
    self[pointer].set(value)


def __reduce__(self: Document) -> tuple[Any, ...]:  # noqa: N807
    """Pickle as JSON text."""
    return _parse_pickled, (self.dumpb(allow_nan=True),)


def _parse_pickled(text: bytes) -> Document:
    from ._core import parse

    return parse(text, allow_nan=True)


def __repr__(self: Document) -> str:  # noqa: N807
    """Name the document and the kind of its root."""
    from ._types import Kind

    return f"<ostrajson.Document: {Kind(self.root.kinds()[0]).name.lower()}>"


def write(
    self: Document,
    target: Any,
    *,
    indent: int | str | None = None,
    allow_nan: bool = False,
    lines: bool = False,
) -> None:
    """Write the document as UTF-8 JSON text.

    Args:
        target: A path (compressed if it ends in .gz), a file object, or a URL for fsspec. A file
            that cannot be written completely is as it was before; one that is replaced keeps its
            name until the new one is on the disk. New files get there when the system writes them,
            as usual.
        indent: Spaces, or tabs, per level; None for a compact text.
        allow_nan: Whether to write NaN and infinities as words instead of null.
        lines: Whether to write JSON Lines: each element of the root on a line of its own.
    """
    if _sources.is_plain_path(target) and not lines:
        self._write_file(target, indent, allow_nan)
    else:
        _sources.write_all(target, self.dumpb(indent=indent, allow_nan=allow_nan, lines=lines))


def cursor(self: Document) -> Cursor:
    """Return a cursor that stands on the root of a copy of the document.

    A cursor owns its document: what is changed through it is written by the cursor's own `write`
    and `dumps`, and does not show here.
    """
    from ._core import Cursor

    return Cursor(self.dumpb(allow_nan=True), allow_nan=True)


def describe(self: Document, pointer: str = "", depth: int = 3) -> str:
    """Return the tree of keys, types, counts and examples; see `ostrajson.describe`."""
    from ._describe import tree

    return tree(cursor(self), pointer, depth)


def read(
    source: Any,
    *,
    lines: bool = False,
    comments: bool = False,
    trailing_commas: bool = False,
    allow_nan: bool = False,
    big_int: Literal["float", "error"] = "float",
) -> Document:
    """Read a document.

    Args:
        source: A path (decompressed if it ends in .gz), bytes or a buffer that hold the text, a
            file object, or a URL for fsspec such as https://... or s3://...
        lines: Read JSON Lines: the root is the array of all lines' values.
        comments: Allow // and /* */ comments.
        trailing_commas: Allow a comma before a closing bracket.
        allow_nan: Allow the words NaN, Infinity and -Infinity.
        big_int: What integers beyond 64 bits become: the nearest "float", or an "error".

    Raises:
        JSONDecodeError: If the text is not JSON.
        OSError: If it cannot be read, such as FileNotFoundError.
    """
    from ._core import _read_file, parse

    with _sources.opened(source) as given:
        if isinstance(given, str):
            if _sources.is_utf8(given):
                return _read_file(given, lines, comments, trailing_commas, allow_nan, big_int)
            with open(given, "rb") as file:
                given = file.read()
        text = given if _sources.is_buffer(given) else _sources.read_all(given)
        return parse(
            text,
            name=None if _sources.is_buffer(source) else _sources.name_of(source),
            lines=lines,
            comments=comments,
            trailing_commas=trailing_commas,
            allow_nan=allow_nan,
            big_int=big_int,
        )
