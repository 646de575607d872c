"""Columns: fields of many records as arrays."""

from __future__ import annotations

from collections.abc import Callable, Iterator, Mapping, Sequence
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any, Literal, NamedTuple, TypeAlias, cast

import numpy as np

from . import _frames
from ._errors import ColumnTypeError, JSONDecodeError

if TYPE_CHECKING:
    import numpy.typing as npt
    import pandas as pd

    from ._core import _Column
    from ._frames import Backend

__all__ = ["Columns", "Field", "FieldsLike", "Ragged", "RawText", "State"]

State: TypeAlias = "npt.NDArray[np.uint8]"
Shape: TypeAlias = "int | Literal['flatten'] | None"
Missing: TypeAlias = Literal["mask", "raise"]
FieldLike: TypeAlias = "str | Field | tuple[Any, ...]"
FieldsLike: TypeAlias = "Mapping[str, FieldLike] | Sequence[str]"


class RawText(NamedTuple):
    """Texts as they are held: ``data[offsets[i]:offsets[i + 1]]`` is the UTF-8 form of text i."""

    data: npt.NDArray[np.uint8]
    offsets: npt.NDArray[np.int64]


class Ragged(NamedTuple):
    """Any number of values a row: ``values[offsets[i]:offsets[i + 1]]`` are those of row i."""

    values: Any
    offsets: npt.NDArray[np.int64]


@dataclass(frozen=True)
class Field:
    """What to take from each record.

    Attributes:
        pointer: JSON Pointer (RFC 6901) from the record; "" for the record itself.
        dtype: What the values are to be: None for whatever one kind all rows are; "number";
            a NumPy dtype of integers, floats or bool, or int, float, bool; str for an object array
            of str, "string" for NumPy's StringDType, "utf8" for RawText; "json" for each value's
            own JSON text, object for Python objects.
        shape: None for scalars (or, without a dtype, ragged arrays of them), "flatten" for all
            scalars in nested arrays, or the number of values a row, for an array of rows x values.
        missing: What null or absent rows become: "mask" (masked; NaN among floats, None among
            texts) or "raise", a ColumnTypeError.
        fill: A value in their place instead; then the array is a plain one.
        mismatch: "raise" a ColumnTypeError for a value that does not fit, or count it as "missing".
    """

    pointer: str
    dtype: Any = None
    shape: Shape = None
    missing: Missing = "mask"
    fill: Any = None
    mismatch: Literal["raise", "missing"] = "raise"

    def __post_init__(self) -> None:
        if not isinstance(self.pointer, str):
            raise TypeError(f"pointer: expected str, not {type(self.pointer).__name__}")
        if self.missing not in ("mask", "raise"):
            raise ValueError(f'missing: expected "mask" or "raise", not {self.missing!r}')
        _wanted(self.dtype)


_NAMED = {
    "any": "any",
    "number": "number",
    "str": "str",
    "string": "str",
    "utf8": "str",
    "json": "json",
    "object": "json",
}
_TYPES = {int: "int64", float: "float64", bool: "bool", str: "str", object: "object"}
_KINDS = {"i": "int64", "u": "uint64", "f": "float64", "b": "bool"}


def _name(dtype: Any) -> str:
    """Name a dtype: one of _NAMED, or NumPy's name of a numeric one."""
    if dtype is None:
        return "any"
    if isinstance(dtype, type) and dtype in _TYPES:
        return _TYPES[dtype]
    if isinstance(dtype, str) and dtype in _NAMED:
        return dtype
    try:
        found = np.dtype(dtype)
    except TypeError:
        raise TypeError(f"dtype: not understood: {dtype!r}") from None
    if found.kind in "TO":
        return "string" if found.kind == "T" else "object"
    if found.kind not in _KINDS or found.itemsize > 8:
        raise TypeError(f"dtype: JSON has no {found}")
    return str(found.name)


def _wanted(dtype: Any) -> str:
    """Return what the extraction is asked for."""
    name = _name(dtype)
    return _NAMED[name] if name in _NAMED else _KINDS[np.dtype(name).kind]


def parse_fields(
    fields: FieldsLike, dtype: Any = None, missing: str = "mask", fill: Any = None
) -> dict[str, Field]:
    """Turn the short forms of fields into Fields by name."""
    if isinstance(fields, (str, bytes)) or not isinstance(fields, (Mapping, Sequence)):
        raise TypeError(
            f"fields: expected a mapping or a sequence of pointers, not {type(fields).__name__}"
        )
    named = fields if isinstance(fields, Mapping) else {pointer: pointer for pointer in fields}
    return {
        name: _parse_field(name, given, _of(dtype, name), missing, _of(fill, name))
        for name, given in named.items()
    }


def _of(setting: Any, name: str) -> Any:
    return setting.get(name) if isinstance(setting, Mapping) else setting


def _parse_field(name: str, given: FieldLike, dtype: Any, missing: Any, fill: Any) -> Field:
    if not isinstance(name, str):
        raise TypeError(f"fields: expected str as names, not {type(name).__name__}")
    if isinstance(given, Field):
        return given
    parts = (given,) if isinstance(given, str) else given
    if not isinstance(parts, tuple) or not 1 <= len(parts) <= 3:
        raise TypeError(
            f"fields: {name!r}: expected a pointer, (pointer, dtype), (pointer, dtype, shape) or a "
            f"Field, not {given!r}"
        )
    pointer, *rest = parts
    if rest == ["flatten"]:
        rest = [None, "flatten"]
    own = rest[0] if rest and rest[0] is not None else dtype
    shape = rest[1] if len(rest) > 1 else None
    return Field(pointer, own, shape, missing, fill)


def to_core(fields: Mapping[str, Field]) -> list[tuple[str, str, str, Shape, str]]:
    """Turn fields into what the extraction takes."""
    return [
        (name, one.pointer, _wanted(one.dtype), one.shape, one.mismatch)
        for name, one in fields.items()
    ]


def check(name: str, column: _Column, field: Field) -> None:
    """Raise if a value is missing that must not be."""
    if field.missing == "raise" and field.fill is None and column.missing:
        row = cast(int, column.first_missing)
        label = f"field {name!r}, row {row}" if name else f"row {row}"
        kind = {1: "null", 2: "nothing"}.get(int(column.states[row]), "null in an array")
        raise ColumnTypeError(
            f"{label}: {kind} where none may be missing", name, row, kind, column.kind
        )


def to_numpy(column: _Column, field: Field) -> Any:
    """Wrap a column in an array, or two."""
    name = _name(field.dtype)
    if column.kind in ("str", "json"):
        values: Any = _texts(column, name, field.fill)
    else:
        values = _numbers(column, name, field)
    if column.layout == "list":
        return Ragged(values, cast("npt.NDArray[np.int64]", column.lists))
    if column.layout == "fixed" and not isinstance(values, RawText):
        return values.reshape(column.rows, column.width)
    return values


def _texts(column: _Column, name: str, fill: Any) -> Any:
    if name == "utf8":
        return RawText(column.values, cast("npt.NDArray[np.int64]", column.offsets))
    texts = column.texts(fill)
    if name == "string":
        dtype = getattr(np, "dtypes", None) and getattr(np.dtypes, "StringDType", None)
        if dtype is None:
            raise TypeError('dtype: "string" needs NumPy 2')
        return texts.astype(dtype() if fill is not None else dtype(na_object=None))
    if name == "object":
        from ._core import loads

        for i, text in enumerate(texts):
            if isinstance(text, str) and column.value_states[i] == 0:
                texts[i] = loads(text, allow_nan=True, big_int="float")
    return texts


def _numbers(column: _Column, name: str, field: Field) -> Any:
    mask = None
    if column.missing:
        if field.fill is not None:
            column.fill(field.fill)
        elif column.kind == "float64":
            column.fill(np.nan)
        else:
            mask = column.value_states != 0
    values = column.values
    if name not in _NAMED and np.dtype(name) != values.dtype:
        values = _narrow(values, np.dtype(name), column)
    return values if mask is None else np.ma.MaskedArray(values, mask)


def _narrow(values: npt.NDArray[Any], dtype: np.dtype[Any], column: _Column) -> npt.NDArray[Any]:
    if dtype.kind in "iu" and len(values):
        limits = np.iinfo(dtype)
        bad = (values < limits.min) | (values > limits.max)
        if bad.any():
            at = int(bad.argmax())
            row = (
                int(np.searchsorted(column.lists, at, "right")) - 1
                if column.lists is not None
                else at
            )
            row //= column.width
            found = str(values[at])
            raise ColumnTypeError(
                f"row {row}: {found} where the column holds {dtype}", "", row, found, str(dtype)
            )
    return values.astype(dtype)


class Columns(Mapping[str, Any]):
    """Columns by name, each as an array over memory of its own.

    Numbers, booleans: an ndarray; if rows are missing, a numpy.ma.MaskedArray (floats: NaN).
    Texts: an object array of str and None. Ragged fields: Ragged. A field of k values a row: an
    array of shape (rows, k).

    Attributes:
        rows: The number of records.
        fields: The Field of each column.
        bad_lines: How many lines were skipped because they are not JSON.
        errors: The errors of the first hundred of them.
    """

    def __init__(
        self,
        columns: Mapping[str, _Column],
        fields: Mapping[str, Field],
        rows: int,
        bad_lines: int = 0,
        errors: Sequence[JSONDecodeError] = (),
    ) -> None:
        for name, column in columns.items():
            check(name, column, fields[name])
        self._columns = dict(columns)
        self._arrays: dict[str, Any] = {}
        self.fields = dict(fields)
        self.rows = rows
        self.bad_lines = bad_lines
        self.errors = list(errors)

    def __getitem__(self, name: str) -> Any:
        if name not in self._arrays:
            try:
                self._arrays[name] = to_numpy(self._columns[name], self.fields[name])
            except ColumnTypeError as error:
                raise ColumnTypeError(
                    f"field {name!r}, {error}", name, error.row, error.kind, error.wanted
                ) from None
        return self._arrays[name]

    def __iter__(self) -> Iterator[str]:
        return iter(self._columns)

    def __len__(self) -> int:
        return len(self._columns)

    def __repr__(self) -> str:
        parts = ", ".join(f"{name}: {column.kind}" for name, column in self._columns.items())
        return f"<ostrajson.Columns: {self.rows} rows; {parts}>"

    def to_pandas(self, *, dtype_backend: Backend = "numpy") -> pd.DataFrame:
        """Return the columns as a pandas DataFrame, numbers over the same memory.

        Args:
            dtype_backend: As of pandas' own readers. "numpy": NumPy dtypes, pandas' own for texts,
                and nullable ones (Int64, UInt64, boolean) only for integers and booleans where rows
                are missing, for no NumPy dtype holds these exactly. "numpy_nullable": nullable ones
                for all, whether rows are missing or not.

        Returns:
            A frame with one row a record. Ragged fields and those of k values a row become arrays
            in an object column, None where the row is missing. Dtypes that were asked for are kept.

        Raises:
            ColumnTypeError: If a value is out of the range of the dtype that was asked for.
            ImportError: If pandas is not installed.
        """
        return _frames.to_pandas(self, dtype_backend)

    @property
    def state(self) -> Mapping[str, State]:
        """Whether each row has a value: 0 present, 1 null, 2 absent, as an array a field."""
        return _Lazy(self._columns, lambda column: column.states)

    @property
    def element_state(self) -> Mapping[str, State]:
        """The same of each element of ragged fields and those of k values a row."""
        return _Lazy(self._columns, lambda column: column.value_states)


class _Lazy(Mapping[str, State]):
    def __init__(self, columns: Mapping[str, _Column], make: Callable[[_Column], State]) -> None:
        self._columns = columns
        self._make = make

    def __getitem__(self, name: str) -> State:
        return self._make(self._columns[name])

    def __iter__(self) -> Iterator[str]:
        return iter(self._columns)

    def __len__(self) -> int:
        return len(self._columns)
