"""The methods of Nodes that are written in Python: columns of nodes, and back."""

from __future__ import annotations

from numbers import Integral
from typing import TYPE_CHECKING, Any, Literal

import numpy as np

from ._arrow import to_numpy
from ._columns import Column, Columns
from ._fields import Field, FieldsLike, Shape, parse_fields, to_core, wanted
from ._types import Kind

if TYPE_CHECKING:
    import numpy.typing as npt

    from ._core import Nodes

__all__ = ["__setitem__", "booleans", "column", "numbers", "select", "set", "strings", "values"]


def values(
    self: Nodes,
    dtype: Any = None,
    shape: Shape = None,
    *,
    missing: Literal["mask", "raise"] = "mask",
    fill: Any = None,
    mismatch: Literal["raise", "missing"] = "raise",
    absent: npt.ArrayLike | None = None,
) -> Any:
    """Return the values of the nodes as one column.

    Args:
        dtype: As of a Field; None takes whatever one kind all nodes are.
        shape: As of a Field.
        missing: As of a Field.
        fill: As of a Field.
        mismatch: As of a Field.
        absent: The mask that a lookup gave beside these nodes; the column then has one row for each
            node that was looked up, missing if nothing was found.

    Returns:
        As Columns gives a field: an ndarray, a MaskedArray if values are missing (NaN among
        floats, None among texts), or Ragged.

    Raises:
        ColumnTypeError: If a node does not fit; names the first such row.
        StaleNodesError: If the nodes are stale.
    """
    return column(
        self, dtype, shape, missing=missing, fill=fill, mismatch=mismatch, absent=absent
    ).to_numpy()


def column(
    self: Nodes,
    dtype: Any = None,
    shape: Shape = None,
    *,
    missing: Literal["mask", "raise"] = "mask",
    fill: Any = None,
    mismatch: Literal["raise", "missing"] = "raise",
    absent: npt.ArrayLike | None = None,
) -> Column:
    """Return the values of the nodes as a Column, for what takes Arrow's arrays.

    Arguments and errors as `values`; `pyarrow.array(nodes.column())`, `polars.Series(...)` and the
    like share its memory.
    """
    field = Field("", dtype, shape, missing, fill, mismatch)
    return Column(self._column(wanted(dtype), shape, mismatch, absent), field)


def numbers(
    self: Nodes,
    dtype: Any = "number",
    *,
    missing: Literal["mask", "raise"] = "mask",
    fill: Any = None,
    mismatch: Literal["raise", "missing"] = "raise",
    absent: npt.ArrayLike | None = None,
) -> Any:
    """Return the nodes' numbers: int64, beyond that uint64, with a fraction anywhere float64.

    Null counts as missing. Arguments and errors as `values`.
    """
    return values(self, dtype, missing=missing, fill=fill, mismatch=mismatch, absent=absent)


def strings(
    self: Nodes,
    dtype: Any = str,
    *,
    missing: Literal["mask", "raise"] = "mask",
    fill: Any = None,
    mismatch: Literal["raise", "missing"] = "raise",
    absent: npt.ArrayLike | None = None,
) -> Any:
    """Return the nodes' texts: an object array of str and None, or what dtype says.

    Arguments and errors as `values`.
    """
    return values(self, dtype, missing=missing, fill=fill, mismatch=mismatch, absent=absent)


def booleans(
    self: Nodes,
    *,
    missing: Literal["mask", "raise"] = "mask",
    fill: Any = None,
    mismatch: Literal["raise", "missing"] = "raise",
    absent: npt.ArrayLike | None = None,
) -> Any:
    """Return the nodes' booleans. Arguments and errors as `values`."""
    return values(self, bool, missing=missing, fill=fill, mismatch=mismatch, absent=absent)


def select(
    self: Nodes,
    fields: FieldsLike,
    *,
    dtype: Any = None,
    missing: Literal["mask", "raise"] = "mask",
    fill: Any = None,
) -> Columns:
    """Take many fields of the nodes, one row a node, in one pass.

    Args:
        fields: Pointers by name: a mapping of names to pointers, to tuples (pointer, dtype),
            (pointer, "flatten") or (pointer, dtype, shape), or to Fields; or a sequence of
            pointers, which are then the names as well.
        dtype: For fields that have none: one, or a mapping by name.
        missing: For fields that are not Fields.
        fill: For fields that are not Fields: one, or a mapping by name.

    Raises:
        ColumnTypeError: If a value does not fit; names field and row.
        PointerError: If a pointer is not a JSON Pointer.
        StaleNodesError: If the nodes are stale.
    """
    parsed = parse_fields(fields, dtype, missing, fill)
    found = self._select(to_core(parsed))
    return Columns(dict(zip(parsed, found, strict=True)), parsed, len(self))


def set(self: Nodes, values: Any, *, null: bool = False) -> None:
    """Write one value into each node.

    A node that has the value already is left untouched, so that writing back what was read changes
    nothing. Masked elements, None, and NaN at nodes that are not numbers leave their nodes as they
    are, or make them null.

    Args:
        values: A scalar for all nodes, or one a node: a sequence, an array, a Series of pandas or
            polars, a column of Arrow's; numbers, booleans or texts, also masked, null or None.
        null: Whether missing values make their nodes null.

    Raises:
        ValueError: If there are not as many values as nodes; nothing changes.
        TypeError: If the values are not numbers, booleans or texts of one kind; nothing changes.
        StaleNodesError: If the nodes are stale; nothing changes.
    """
    kind, array, offsets, mask = _encode(self, to_numpy(values))
    self._set_column(kind, array, offsets, mask, null)


def _encode(
    nodes: Nodes, values: Any
) -> tuple[str, npt.NDArray[Any], npt.NDArray[np.int64] | None, npt.NDArray[np.bool_] | None]:
    mask = None
    if isinstance(values, np.ma.MaskedArray):
        mask = np.ma.getmaskarray(values)
        values = values.data
    array = _to_array(values)
    if array.ndim == 0:
        array = np.broadcast_to(array, len(nodes))
        mask = None if mask is None else np.broadcast_to(mask, len(nodes))
    if array.ndim != 1:
        raise ValueError(f"values: expected one value a node, not an array of shape {array.shape}")
    if array.dtype == object or array.dtype.kind in "UT":
        array = array.astype(object)
        none = _is_none(array)
        mask = none if mask is None else mask | none
        present = array[~mask]
        if all(isinstance(one, str) for one in present):
            return _encode_texts(array, mask)
        numbers = _exact(present)
        array = np.zeros(array.shape, numbers.dtype)
        array[~mask] = numbers
    if array.dtype.kind not in "biuf":
        raise TypeError(f"values: expected numbers, booleans or texts, not {array.dtype}")
    if array.dtype.kind == "f" and len(array) == len(nodes):
        nan = np.isnan(array)
        if nan.any():
            gone = nan & (nodes.kinds() != Kind.NUMBER)
            mask = gone if mask is None else mask | gone
    kind = {"b": "bool", "i": "int64", "u": "uint64", "f": "float64"}[array.dtype.kind]
    return kind, array, None, mask


def _to_array(values: Any) -> npt.NDArray[Any]:
    """Return what NumPy, pandas and the like hold as it is, and all else as objects.

    NumPy would make floats of integers above 2**63 - 1, and texts of numbers beside texts.
    """
    if isinstance(values, (list, tuple)):
        array = np.empty(len(values), object)
        array[:] = values
        return array
    plain = values is None or isinstance(values, (bool, int, float, str))
    return np.array(values, object) if plain else np.asarray(values)


def _is_none(array: npt.NDArray[Any]) -> npt.NDArray[np.bool_]:
    return np.array([one is None for one in array.flat], bool).reshape(array.shape)


def _exact(values: npt.NDArray[Any]) -> npt.NDArray[Any]:
    """Give Python's numbers, or booleans, the dtype that holds them all exactly."""
    booleans = sum(isinstance(one, (bool, np.bool_)) for one in values)
    integers = [int(one) for one in values if isinstance(one, Integral)]
    floats = sum(isinstance(one, (float, np.floating)) for one in values)
    if booleans == len(values):
        return values.astype(bool)
    if booleans or len(integers) + floats != len(values):
        raise TypeError("values: expected numbers, booleans or texts, all of one kind")
    if floats:
        if any(abs(one) > 2**1000 or int(float(one)) != one for one in integers):
            raise ValueError("values: not all of the integers beside floats are exact as floats")
        return values.astype(np.float64)
    low, high = min(integers), max(integers)
    if low < -(2**63) or high >= 2**64 or (low < 0 and high >= 2**63):
        raise ValueError("values: neither int64 nor uint64 holds all of the integers")
    return values.astype(np.int64 if high < 2**63 else np.uint64)


def _encode_texts(
    array: npt.NDArray[Any], mask: npt.NDArray[np.bool_]
) -> tuple[str, npt.NDArray[Any], npt.NDArray[np.int64], npt.NDArray[np.bool_]]:
    texts = [b"" if gone else one.encode() for one, gone in zip(array, mask, strict=True)]
    offsets = np.zeros(len(texts) + 1, np.int64)
    np.cumsum([len(text) for text in texts], out=offsets[1:])
    return "str", np.frombuffer(b"".join(texts), np.uint8), offsets, mask


def __setitem__(self: Nodes, index: Any, values: Any) -> None:  # noqa: N807
    """Write values into the nodes that an index picks or a pointer finds, as `set` does.

    With a pointer, values may be one for each of these nodes; if a node has nothing at the
    pointer, its value must be missing (masked, None or NaN).

    Raises:
        KeyError: If a value is given for a node that has nothing at the pointer; nothing changes.
    """
    if not isinstance(index, str):
        set(self[index], values)
        return
    found, missing = self.lookup(index)
    values = to_numpy(values)
    if np.ndim(values) == 1 and len(values) == len(self) != len(found):
        values = values if isinstance(values, np.ma.MaskedArray) else _to_array(values)
        gone = values[missing]
        nothing = (
            np.ma.getmaskarray(gone) if isinstance(gone, np.ma.MaskedArray) else gone != gone
        ).astype(bool)
        nothing = nothing | _is_none(gone) if gone.dtype == object else nothing
        if not np.all(nothing):
            row = int(np.flatnonzero(missing)[np.argmin(nothing)])
            raise KeyError(f"node {row} has nothing at {index!r}")
        values = values[~missing]
    if len(found) == 0 and len(self) != 0:
        raise KeyError(index)
    set(found, values)
