"""Columns: fields of many records as arrays."""

from __future__ import annotations

from collections.abc import Callable, Iterator, Mapping, Sequence
from typing import TYPE_CHECKING, Any, TypeAlias

import numpy as np

from . import _arrow, _frames
from ._errors import ColumnTypeError, JSONDecodeError
from ._fields import Field, FieldsLike, parse_fields
from ._numpy import Ragged, RawText, check, to_numpy

if TYPE_CHECKING:
    import awkward as ak
    import numpy.typing as npt
    import pandas as pd
    import polars as pl
    import pyarrow as pa

    from ._core import _Arrow, _Column
    from ._frames import Backend

__all__ = ["Column", "Columns", "Field", "FieldsLike", "Ragged", "RawText", "State", "parse_fields"]

State: TypeAlias = "npt.NDArray[np.uint8]"


class Column(_arrow.Exporter):
    """One column, for what takes Arrow's arrays as the PyCapsule interface gives them.

    That is pyarrow.array, polars.Series, pandas.Series.from_arrow and others. Integers, doubles and
    texts are not copied: the consumer has the same memory as the NumPy array. Missing rows and
    booleans are packed into bits. The types are int64, uint64, double (or the dtype that was asked
    for), bool and large_string, in a large_list or fixed_size_list if there are several values a
    row; JSON texts have the extension type arrow.json, and texts of dtype "category" are
    dictionary-encoded. Consumers may release what they got on any thread, at any time.

    Attributes:
        name: Of the field; empty for a column of nodes.
        field: What was asked for.
        rows: The number of rows.
    """

    def __init__(self, column: _Column, field: Field, name: str = "") -> None:
        check(name, column, field)
        self._column = column
        self._array: Any = None
        self.field = field
        self.name = name
        self.rows = column.rows

    def __len__(self) -> int:
        return self.rows

    def __repr__(self) -> str:
        return f"<ostrajson.Column: {self.rows} rows of {self._column.kind}>"

    def to_numpy(self) -> Any:
        """Return the values as Columns gives them: an ndarray, a MaskedArray, or Ragged.

        Raises:
            ColumnTypeError: If a value is out of the range of the dtype that was asked for.
        """
        if self._array is None:
            try:
                self._array = to_numpy(self._column, self.field)
            except ColumnTypeError as error:
                raise (error.of_field(self.name) if self.name else error) from None
        return self._array

    @property
    def state(self) -> State:
        """Whether each row has a value: 0 present, 1 null, 2 absent."""
        return self._column.states

    @property
    def element_state(self) -> State:
        """The same of each element, if there are several a row."""
        return self._column.value_states

    def _arrow(self) -> _Arrow:
        return _arrow.single(self.name, self._column, self.field)


class Columns(_arrow.Exporter, Mapping[str, Any]):
    """Columns by name, each as an array over memory of its own.

    Numbers, booleans: an ndarray; if rows are missing, a numpy.ma.MaskedArray (floats: NaN).
    Texts: an object array of str and None. Ragged fields: Ragged. A field of k values a row: an
    array of shape (rows, k).

    Whatever takes Arrow's tables or record batches by the PyCapsule interface takes columns as they
    are: pyarrow.table(columns), polars.from_arrow(columns), duckdb's queries. See Column.

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
        self._views = {name: Column(one, fields[name], name) for name, one in columns.items()}
        self._columns = dict(columns)
        self.fields = dict(fields)
        self.rows = rows
        self.bad_lines = bad_lines
        self.errors = list(errors)

    def __getitem__(self, name: str) -> Any:
        return self._views[name].to_numpy()

    def __iter__(self) -> Iterator[str]:
        return iter(self._columns)

    def __len__(self) -> int:
        return len(self._columns)

    def __repr__(self) -> str:
        parts = ", ".join(f"{name}: {column.kind}" for name, column in self._columns.items())
        return f"<ostrajson.Columns: {self.rows} rows; {parts}>"

    def column(self, name: str) -> Column:
        """Return one column, for what takes Arrow's arrays.

        Raises:
            KeyError: If there is no such column.
        """
        return self._views[name]

    def _arrow(self) -> _Arrow:
        return _arrow.table(self._columns, self.fields, self.rows)

    def to_pandas(self, *, dtype_backend: Backend = "numpy") -> pd.DataFrame:
        """Return the columns as a pandas DataFrame, numbers over the same memory.

        Args:
            dtype_backend: As of pandas' own readers. "numpy": NumPy dtypes, pandas' own for texts,
                and nullable ones (Int64, UInt64, boolean) only for integers and booleans where rows
                are missing, since no NumPy dtype holds these exactly. "numpy_nullable": nullable
                ones for all, whether rows are missing or not. "pyarrow": Arrow's types.

        Returns:
            A frame with one row a record. Ragged fields and those of k values a row become arrays
            in an object column, None where the row is missing. Dtypes that were asked for are kept.

        Raises:
            ColumnTypeError: If a value is out of the range of the dtype that was asked for.
            ImportError: If pandas is not installed.
        """
        return _frames.to_pandas(self, dtype_backend)

    def to_arrow(self) -> pa.Table:
        """Return the columns as a pyarrow Table over the same memory; see Column.

        Raises:
            ColumnTypeError: As of to_pandas.
            ImportError: If pyarrow is not installed.
        """
        return _frames.to_arrow(self)

    def to_polars(self) -> pl.DataFrame:
        """Return the columns as a polars DataFrame, numbers over the same memory.

        Texts of dtype "category" become Categorical. JSON texts are texts.

        Raises:
            ColumnTypeError: As of to_pandas.
            ImportError: If polars is not installed.
        """
        return _frames.to_polars(self)

    def to_awkward(self) -> ak.Array:
        """Return the columns as an array of records of Awkward Array, ragged ones as such.

        Numbers, texts and offsets are over the same memory. JSON texts are texts.

        Raises:
            ColumnTypeError: As of to_pandas.
            ImportError: If awkward is not installed.
        """
        return _frames.to_awkward(self)

    def write_parquet(self, target: Any, **options: Any) -> None:
        """Write the columns as a Parquet file, through pyarrow.

        Args:
            target: A path or a file object, as of pyarrow.parquet.write_table.
            options: All that write_table takes.

        Raises:
            ColumnTypeError: As of to_pandas.
            ImportError: If pyarrow is not installed.
            OSError: If the file cannot be written.
        """
        _frames.write_parquet(self, target, options)

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
