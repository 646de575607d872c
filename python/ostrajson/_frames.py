"""Columns as the data frames of other packages, which are imported only when they are asked for."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Literal, TypeAlias

import numpy as np

if TYPE_CHECKING:
    import pandas as pd

    from ._columns import Columns

Backend: TypeAlias = Literal["numpy", "numpy_nullable", "pyarrow"]


def to_pandas(columns: Columns, dtype_backend: Backend) -> pd.DataFrame:
    """See Columns.to_pandas."""
    import pandas as pd

    if dtype_backend not in ("numpy", "numpy_nullable"):
        raise ValueError(
            f'dtype_backend: expected "numpy", "numpy_nullable" or "pyarrow", not {dtype_backend!r}'
        )
    nullable = dtype_backend == "numpy_nullable"
    frame = {name: _series(columns, name, nullable) for name in columns}
    return pd.DataFrame(frame, index=pd.RangeIndex(columns.rows), copy=False)


def _series(columns: Columns, name: str, nullable: bool) -> Any:
    """Return a column as what becomes a Series without a copy where pandas can share it."""
    import pandas as pd

    from ._columns import _name

    column, field = columns._columns[name], columns.fields[name]
    values = columns[name]
    if column.layout != "scalar":
        return pd.Series(_rows(values, column.states, column.width), dtype=object, copy=False)
    if column.kind in ("str", "json"):
        if _name(field.dtype) == "object":
            return pd.Series(values, dtype=object, copy=False)
        # What pandas itself makes of texts, also where all are missing.
        dtype = pd.StringDtype() if nullable else pd.Series([""]).dtype
        return pd.Series(column.texts(field.fill), dtype=dtype, copy=False)
    if isinstance(values, np.ma.MaskedArray):
        return _masked(values.data, np.ma.getmaskarray(values))
    if nullable:
        gone = column.missing and field.fill is None
        return _masked(values, column.states != 0 if gone else np.zeros(len(values), bool))
    return values


def _masked(values: np.ndarray[Any, Any], mask: np.ndarray[Any, Any]) -> Any:
    import pandas as pd

    kinds = {"b": pd.arrays.BooleanArray, "f": pd.arrays.FloatingArray}
    return kinds.get(values.dtype.kind, pd.arrays.IntegerArray)(values, mask, copy=False)


def _rows(values: Any, states: np.ndarray[Any, Any], width: int) -> np.ndarray[Any, Any]:
    """Return the values of each row as an array of their own, and None for missing rows."""
    from ._columns import Ragged, RawText

    ends = np.arange(1, len(states) + 1) * width
    if isinstance(values, Ragged):
        values, ends = values.values, values.offsets[1:]
    if isinstance(values, RawText):
        values = _decoded(values)
    if isinstance(values, np.ma.MaskedArray):
        values = np.where(np.ma.getmaskarray(values), None, values.data.astype(object))
    values = values.reshape(-1)
    rows = np.empty(len(states), object)
    begin = 0
    for row, (end, state) in enumerate(zip(ends.tolist(), states.tolist(), strict=True)):
        rows[row] = values[begin:end] if state == 0 else None
        begin = end
    return rows


def _decoded(texts: Any) -> np.ndarray[Any, Any]:
    data, offsets = texts.data.tobytes(), texts.offsets.tolist()
    decoded = np.empty(len(offsets) - 1, object)
    for i, (begin, end) in enumerate(zip(offsets, offsets[1:], strict=False)):
        decoded[i] = data[begin:end].decode()
    return decoded
