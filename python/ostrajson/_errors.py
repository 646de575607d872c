"""The exceptions of the package."""

from __future__ import annotations

import json

__all__ = ["ColumnTypeError", "JSONDecodeError", "PointerError", "StaleNodesError"]


class JSONDecodeError(json.JSONDecodeError):
    """A text that is not JSON (RFC 8259, with the options that were given).

    Attributes:
        msg: What is wrong.
        doc: An excerpt of the text around the place; empty if the text is not available.
        pos: The place in bytes from the start of the (UTF-8) text, from 0.
        lineno: Its line, from 1.
        colno: Its column in characters, from 1.
        filename: Names the source; None for a text in memory.
        record: The record, from 0, if a text is read by records; else None.
    """

    filename: str | None
    record: int | None

    def __init__(
        self,
        msg: str,
        doc: str,
        pos: int,
        lineno: int,
        colno: int,
        filename: str | None = None,
        record: int | None = None,
    ) -> None:
        where = f"{filename}:{lineno}:{colno}" if filename else f"line {lineno} column {colno}"
        place = f"byte {pos}" if record is None else f"byte {pos}, record {record}"
        ValueError.__init__(self, f"{where}: {msg} ({place})")
        self.msg = msg
        self.doc = doc
        self.pos = pos
        self.lineno = lineno
        self.colno = colno
        self.filename = filename
        self.record = record

    def __reduce__(self) -> tuple[type[JSONDecodeError], tuple[object, ...]]:
        args = (self.msg, self.doc, self.pos, self.lineno, self.colno, self.filename, self.record)
        return type(self), args


class PointerError(ValueError):
    """A text that is not a JSON Pointer (RFC 6901)."""


class ColumnTypeError(TypeError):
    """A value that its column cannot hold.

    Attributes:
        field: The field's name; empty for a column of nodes.
        row: The row, from 0.
        kind: What stands there, such as "a string".
        wanted: What the column holds, such as "int64".
    """

    def __init__(
        self, message: str, field: str = "", row: int = 0, kind: str = "", wanted: str = ""
    ):
        super().__init__(message)
        self.field = field
        self.row = row
        self.kind = kind
        self.wanted = wanted

    def of_field(self, name: str) -> ColumnTypeError:
        """Return the same error, naming a field."""
        message = f"field {name!r}, {self}"
        return ColumnTypeError(message, name, self.row, self.kind, self.wanted)

    def __reduce__(self) -> tuple[type[ColumnTypeError], tuple[object, ...]]:
        return type(self), (str(self), self.field, self.row, self.kind, self.wanted)


class StaleNodesError(RuntimeError):
    """Nodes whose values a later change has moved or dropped: look them up again."""
