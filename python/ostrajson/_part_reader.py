"""Reading parts of files as pandas frames that are alike in all parts."""

from __future__ import annotations

import dataclasses
import logging
from collections.abc import Iterator, Sequence
from contextlib import contextmanager
from itertools import islice
from typing import TYPE_CHECKING, Any

import numpy as np

from ._columns import Column, Columns
from ._errors import ColumnTypeError, JSONDecodeError
from ._fields import Field, type_name
from ._parts import Files, LinesOfRange, Part
from ._reading import iter_columns, read_columns

if TYPE_CHECKING:
    import pandas as pd

    from ._core import _Column

__all__ = ["PartReader"]

# How many batches settle dtypes at most.
_SAMPLES = 16

_logger = logging.getLogger("ostrajson.dask")


@dataclasses.dataclass(frozen=True)
class PartReader:
    """Reads parts as pandas frames: what a task calls.

    Attributes:
        texts: The dtype of texts, as the client has it: a worker's settings may differ.
    """

    files: Files
    fields: dict[str, Field]
    options: dict[str, Any]
    texts: Any

    def with_fields_of(self, part: Part, sample: int, **search: Any) -> PartReader:
        """Take the fields that the beginning of a file has, or a whole document."""
        part = dataclasses.replace(part, end=sample if self.options["lines"] else None)
        with _located(self, part), self.files.opened(part) as source:
            text = source.read() if isinstance(source, LinesOfRange) else source
            found = read_columns(text, None, **search, **{**self.options, "keys": None})
        return dataclasses.replace(self, fields=found.fields)

    def settled(self, parts: Sequence[Part], sample: int) -> PartReader:
        """Give each field the dtype that it has in the beginning of the files."""
        fields = dict(self.fields)
        is_open = {
            name for name, one in fields.items() if type_name(one.dtype) in ("any", "number")
        }
        if is_open:
            wanted = {name: fields[name] for name in is_open}
            for columns in islice(self._batches(parts, wanted, sample), _SAMPLES):
                for name in sorted(is_open):
                    if (columns.element_state[name] == 0).any():
                        fields[name] = _pinned(fields[name], columns._columns[name])
                        is_open.remove(name)
                if not is_open:
                    break
            else:
                where = self.files.describe(parts[0])
                raise ValueError(
                    f"field {min(is_open)!r}: no value at the beginning of {where}: give a dtype"
                )
        return dataclasses.replace(self, fields=fields)

    def _batches(
        self, parts: Sequence[Part], fields: dict[str, Field], size: int
    ) -> Iterator[Columns]:
        """Read files, from the first on, whole and in batches of some bytes."""
        options = {**self.options, "keys": None}
        for part in [dataclasses.replace(one, end=None) for one in parts if one.start == 0]:
            with _located(self, part), self.files.opened(part) as source:
                yield from iter_columns(source, fields, batch_bytes=size, **options)

    def meta(self) -> pd.DataFrame:
        """Return a frame without rows; which categories there are shows only later."""
        from dask.dataframe.utils import clear_known_categories

        keys = self.options["keys"]
        options = {**self.options, "records": "", "lines": keys is None}
        empty = self._frame(read_columns(b"{}" if keys else b"", self.fields, **options))
        return clear_known_categories(empty)

    def __call__(self, part: Part, columns: Sequence[str]) -> pd.DataFrame:
        """Read a part. Dask narrows `columns` to what a computation needs, down to none."""
        keys = self.options["keys"]
        options = {**self.options, "keys": keys if keys in columns else None}
        fields = {name: self.fields[name] for name in columns if name in self.fields}
        with _located(self, part), self.files.opened(part) as source:
            read = read_columns(source, fields, **options)
            if read.bad_lines:
                _logger.warning(
                    "%s: skipped %d lines that are not JSON, the first: %s",
                    self.files.describe(part), read.bad_lines, read.errors[0],
                )  # fmt: skip
            return self._frame(read)[list(columns)]

    def _frame(self, columns: Columns) -> pd.DataFrame:
        frame = columns.to_pandas()
        dtypes = {name: self._dtype(columns.column(name)) for name in columns}
        return frame.astype(
            {name: one for name, one in dtypes.items() if one not in (None, frame[name].dtype)}
        )

    def _dtype(self, column: Column) -> Any:
        """Return the dtype of a column, whatever is missing from it; None for that which it has."""
        import pandas as pd

        field, kind, asked = column.field, column._column.kind, type_name(column.field.dtype)
        if column._column.layout != "scalar" or asked in ("object", "category"):
            return None
        if kind in ("str", "json"):
            return self.texts
        dtype = np.dtype(kind if asked in ("any", "number") else asked)
        if dtype.kind == "f" or field.fill is not None or field.missing == "raise":
            return dtype
        names = {"b": "boolean", "i": f"Int{8 * dtype.itemsize}", "u": f"UInt{8 * dtype.itemsize}"}
        return pd.api.types.pandas_dtype(names[dtype.kind])

    def first_byte(self, part: Part) -> int:
        """Return where the text of a part begins in its file."""
        with self.files.opened(part) as source:
            return source.begin if isinstance(source, LinesOfRange) else 0

    def byte_of(self, part: Part, record: int) -> int:
        """Return where in its file a record of JSON Lines begins; reads the part once more."""
        at = self.first_byte(part)
        with self.files.opened(part) as source, _file(source) as file:
            for line in _split(file):
                record -= self._is_record(line)
                if record < 0:
                    break
                at += len(line)
        return at

    def _is_record(self, line: bytes) -> bool:
        if self.options["on_error"] == "raise":
            return not line.isspace()
        return read_columns(line, {}, **self.options).rows > 0


def _pinned(field: Field, column: _Column) -> Field:
    """Return a field that asks for what a column holds."""
    shape = "flatten" if field.shape is None and column.layout == "list" else field.shape
    return dataclasses.replace(field, dtype=column.kind, shape=shape)


@contextmanager
def _file(source: Any) -> Iterator[Any]:
    if isinstance(source, str):
        with open(source, "rb") as file:
            yield file
    else:
        yield source


def _split(file: Any) -> Iterator[bytes]:
    """Give the lines of a file that need not be more than readable."""
    rest = b""
    while chunk := file.read(1 << 16):
        *lines, rest = (rest + chunk).split(b"\n")
        yield from (line + b"\n" for line in lines)
    yield rest


@contextmanager
def _located(reader: PartReader, part: Part) -> Iterator[None]:
    """Let errors say where in a file they are."""
    try:
        yield
    except JSONDecodeError as error:
        raise JSONDecodeError(
            error.msg, error.doc, reader.first_byte(part) + error.pos, error.lineno, error.colno,
            reader.files.describe(part), error.record,
        ) from None  # fmt: skip
    except ColumnTypeError as error:
        where = f"{reader.files.describe(part)}, record {error.row}"
        if reader.options["lines"]:
            where += f", which begins at byte {reader.byte_of(part, error.row)}"
        raise ColumnTypeError(
            f"{where}: {error}", error.field, error.row, error.kind, error.wanted
        ) from None
