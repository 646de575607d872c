"""Columns as NumPy's arrays."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, NamedTuple, cast

import numpy as np

from ._errors import ColumnTypeError
from ._fields import NAMED, Field, type_name

if TYPE_CHECKING:
    import numpy.typing as npt

    from ._core import _Column


class RawText(NamedTuple):
    """Texts as they are held: ``data[offsets[i]:offsets[i + 1]]`` is the UTF-8 form of text i."""

    data: npt.NDArray[np.uint8]
    offsets: npt.NDArray[np.int64]


class Ragged(NamedTuple):
    """Any number of values a row: ``values[offsets[i]:offsets[i + 1]]`` are those of row i."""

    values: Any
    offsets: npt.NDArray[np.int64]


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
    name = type_name(field.dtype)
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
    if name == "category":  # one object for all texts that are the same
        codes, distinct = column.encode()
        return np.append(distinct.texts(None), np.array([fill], object))[codes]
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
    if name not in NAMED and np.dtype(name) != values.dtype:
        values = narrow(column, np.dtype(name))
    return values if mask is None else np.ma.MaskedArray(values, mask)


def narrow(column: _Column, dtype: np.dtype[Any]) -> npt.NDArray[Any]:
    """Convert a column's numbers; raise a ColumnTypeError for an integer that does not fit."""
    values = column.values
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
