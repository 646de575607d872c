"""The tree of a document as text."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any

import numpy as np

from ._types import Kind, NumberClass

if TYPE_CHECKING:
    from ._core import Cursor

_ELEMENTS = 3
_MEMBERS = 24
_CHARACTERS = 48
# By NumberClass: a double holds the first exactly, and none of the others.
_SUFFIXES = ("", " (uint64)", " (int64)")


def describe(source: Any, pointer: str = "", depth: int = 3, **options: Any) -> str:
    """Return the tree of keys, types, counts and examples of a document.

    Args:
        source: As `read`.
        pointer: JSON Pointer to where the tree begins.
        depth: Levels to show.
        **options: As of `read`.

    Raises:
        KeyError: If there is nothing at the pointer.
    """
    from ._documents import read

    return read(source, **options).describe(pointer, depth)


def tree(at: Cursor, pointer: str, depth: int) -> str:
    """Describe what stands at a pointer; the path is kept here, not on the native stack."""
    if not at.go(pointer):
        raise KeyError(pointer)
    lines = [_description(at)]
    path = [_Level(at)] if depth > 0 else []
    indent: list[str] = []
    while path:
        level = path[-1]
        if level.next == level.shown:
            if level.shown < level.count:
                lines.append(f"{''.join(indent)}└─ … {level.count - level.shown:,} more")
            path.pop()
            if path:
                at.up()
                indent.pop()
            continue
        child = level.next
        level.next += 1
        last = level.next == level.count
        name = f"[{child}]" if level.names is None else _shortened(level.names[child])
        at.cd(child)
        lines.append(f"{''.join(indent)}{'└─' if last else '├─'} {name}: {_description(at)}")
        if len(path) < depth:
            indent.append("   " if last else "│  ")
            path.append(_Level(at))
        else:
            at.up()
    return "\n".join(lines)


class _Level:
    """A level of which the children are being shown."""

    def __init__(self, at: Cursor) -> None:
        kind = at.kind
        self.names = at.keys() if kind == Kind.OBJECT else None
        self.count = len(at.kinds()) if kind in (Kind.OBJECT, Kind.ARRAY) else 0
        self.shown = min(self.count, _ELEMENTS if self.names is None else _MEMBERS)
        self.next = 0


def _shortened(text: str) -> str:
    return text if len(text) <= _CHARACTERS else text[: _CHARACTERS - 1] + "…"


def _counted(count: int, noun: str) -> str:
    return f"{count:,} {noun}" if count == 1 else f"{count:,} {noun}s"


def _description(at: Cursor) -> str:
    kind = Kind(at.kind)
    if kind == Kind.OBJECT:
        return f"object, {_counted(len(at.kinds()), 'member')}"
    if kind == Kind.ARRAY:
        return f"array, {_counted(len(at.kinds()), 'element')}{_summary(at)}"
    value = _shortened(at.dumps(allow_nan=True))
    if kind == Kind.STRING:
        return f"string, {_counted(len(at.strings()[0]), 'character')} {value}"
    if kind == Kind.NUMBER:
        noun = "integer" if value.lstrip("-").isdigit() else "number"
        return f"{noun} {value}{_SUFFIXES[at.number_types()[0]]}"
    return value


def _summary(array: Cursor) -> str:
    """Say what the elements are: ": 1 null, 3 number"."""
    kinds = np.bincount(array.kinds(), minlength=len(Kind))
    classes = np.bincount(array.number_types(), minlength=len(NumberClass))
    names = [kind.name.lower() for kind in Kind if kind != Kind.NUMBER]
    names += ["number", "integer (uint64)", "integer (int64)"]
    counts = [*kinds[: Kind.NUMBER], *classes]
    parts = [f"{count:,} {name}" for name, count in zip(names, counts, strict=True) if count]
    return ": " + ", ".join(parts) if parts else ""
