"""Columns as the data frames of other packages, which are imported only when they are asked for."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Literal, TypeAlias

import numpy as np

from . import _arrow
from ._fields import type_name
from ._numpy import Ragged, RawText

if TYPE_CHECKING:
    import awkward as ak
    import pandas as pd
    import polars as pl
    import pyarrow as pa

    from ._columns import Column, Columns

Backend: TypeAlias = Literal["numpy", "numpy_nullable", "pyarrow"]


def to_arrow(columns: Columns) -> pa.Table:
    """See Columns.to_arrow."""
    import pyarrow as pa

    return pa.table(columns)


def to_polars(columns: Columns) -> pl.DataFrame:
    """See Columns.to_polars."""
    import polars as pl

    frame = {}
    for name in columns:
        series = pl.Series(name, columns.column(name))
        # JSON texts as texts: polars may hold them as an extension type.
        frame[name] = series.ext.storage() if hasattr(series.dtype, "ext_name") else series
    return pl.DataFrame(frame)


def write_parquet(columns: Columns, target: Any, options: dict[str, Any]) -> None:
    """See Columns.write_parquet."""
    from pyarrow import parquet

    parquet.write_table(to_arrow(columns), target, **options)


def to_pandas(columns: Columns, dtype_backend: Backend) -> pd.DataFrame:
    """See Columns.to_pandas."""
    import pandas as pd

    makers = {"numpy": _numpy, "numpy_nullable": _nullable, "pyarrow": _pyarrow}
    if dtype_backend not in makers:
        raise ValueError(
            f'dtype_backend: expected "numpy", "numpy_nullable" or "pyarrow", not {dtype_backend!r}'
        )
    frame = {name: makers[dtype_backend](columns.column(name)) for name in columns}
    return pd.DataFrame(frame, index=pd.RangeIndex(columns.rows), copy=False)


def _pyarrow(column: Column) -> Any:
    import pandas as pd
    import pyarrow as pa

    return pd.arrays.ArrowExtensionArray(pa.chunked_array([_storage(pa.array(column))]))


def _storage(array: Any) -> Any:
    """Return JSON texts as texts."""
    return getattr(array, "storage", array)


def _nullable(column: Column) -> Any:
    import pandas as pd

    held = column._column
    if held.layout != "scalar" or held.kind in ("str", "json"):
        return _any(column, pd.StringDtype())
    values = column.to_numpy()
    if isinstance(values, np.ma.MaskedArray):
        return _masked(values.data, np.ma.getmaskarray(values))
    gone = held.missing and column.field.fill is None
    return _masked(values, held.states != 0 if gone else np.zeros(len(values), bool))


def _numpy(column: Column) -> Any:
    import pandas as pd

    held = column._column
    if held.layout != "scalar" or held.kind in ("str", "json"):
        return _any(column, pd.Series([""]).dtype)  # what it makes of texts, of none as well
    values = column.to_numpy()
    if isinstance(values, np.ma.MaskedArray):
        return _masked(values.data, np.ma.getmaskarray(values))
    return values


def _any(column: Column, text_dtype: Any) -> Any:
    """Return rows of values, or texts, as what becomes a Series of the right dtype."""
    import pandas as pd

    held, wanted = column._column, type_name(column.field.dtype)
    if held.layout != "scalar":
        return pd.Series(_rows(column), dtype=object, copy=False)
    if wanted == "object":
        return pd.Series(column.to_numpy(), dtype=object, copy=False)
    if wanted == "category":
        codes, distinct = held.encode()
        if column.field.fill is not None:
            return pd.Categorical(column.to_numpy())
        return pd.Categorical.from_codes(codes, pd.Index(distinct.texts(None), dtype=text_dtype))
    if getattr(text_dtype, "storage", None) == "pyarrow":
        import pyarrow as pa

        return text_dtype.__from_arrow__(_storage(pa.array(column)))
    return pd.Series(held.texts(column.field.fill), dtype=text_dtype, copy=False)


def _masked(values: np.ndarray[Any, Any], mask: np.ndarray[Any, Any]) -> Any:
    import pandas as pd

    kinds = {"b": pd.arrays.BooleanArray, "f": pd.arrays.FloatingArray}
    return kinds.get(values.dtype.kind, pd.arrays.IntegerArray)(values, mask, copy=False)


def _rows(shown: Column) -> np.ndarray[Any, Any]:
    """Return the values of each row as an array of their own, and None for missing rows."""
    column, values = shown._column, shown.to_numpy()
    ends = np.arange(1, column.rows + 1) * column.width
    if isinstance(values, Ragged):
        values, ends = values.values, values.offsets[1:]
    if isinstance(values, RawText):
        values = column.texts(None)
    if isinstance(values, np.ma.MaskedArray):
        masked = values.data.astype(object)
        masked[np.ma.getmaskarray(values)] = None
        values = masked
    values = values.reshape(-1)
    rows = np.empty(column.rows, object)
    begin = 0
    for row, (end, state) in enumerate(zip(ends.tolist(), column.states.tolist(), strict=True)):
        rows[row] = values[begin:end] if state == 0 else None
        begin = end
    return rows


def to_awkward(columns: Columns) -> ak.Array:
    """See Columns.to_awkward."""
    import awkward as ak

    contents = [_content(columns.column(name)) for name in columns]
    return ak.Array(ak.contents.RecordArray(contents, list(columns), columns.rows))


def _content(column: Column) -> Any:
    import awkward as ak

    layouts, held = ak.contents, column._column
    values = _values(column)
    if held.missing and column.field.fill is None:
        values = _optional(values, held.value_states)
    if held.layout == "fixed":
        rows = layouts.RegularArray(values, held.width, held.rows)
        return rows if column.field.fill is not None else _optional(rows, held.states)
    if held.lists is not None:
        lists = layouts.ListOffsetArray(ak.index.Index64(held.lists), values)
        return _optional(lists, held.states)
    return values


def _values(column: Column) -> Any:
    """Return all values of a column as a layout, whatever rows they lie in."""
    import awkward as ak

    layouts, held = ak.contents, column._column
    if held.kind not in ("str", "json"):
        values = column.to_numpy()
        values = values.values if isinstance(values, Ragged) else values
        return layouts.NumpyArray(np.ma.getdata(values).reshape(-1))
    texts = _arrow.with_fill(held, column.field)
    data = layouts.NumpyArray(texts.values, parameters={"__array__": "char"})
    index = ak.index.Index64(texts.offsets)
    return layouts.ListOffsetArray(index, data, parameters={"__array__": "string"})


def _optional(content: Any, states: np.ndarray[Any, Any]) -> Any:
    import awkward as ak

    if not states.any():
        return content
    return ak.contents.ByteMaskedArray(ak.index.Index8(states != 0), content, valid_when=False)
