"""Columns by Arrow's PyCapsule interface, without Arrow.

https://arrow.apache.org/docs/format/CDataInterface/PyCapsuleInterface.html
"""

from __future__ import annotations

from collections.abc import Mapping
from typing import TYPE_CHECKING, Any, TypeAlias

import numpy as np

from ._errors import ColumnTypeError
from ._fields import NAMED, Field, type_name
from ._numpy import narrow

if TYPE_CHECKING:
    import numpy.typing as npt

    from ._core import _Arrow, _ArrowInput, _Column

Part: TypeAlias = "tuple[str, _Column, bool, str | None, np.ndarray[Any, Any] | None]"

# Arrow's names of the numeric types that a column can be narrowed to.
_FORMATS = {
    "int8": "c", "int16": "s", "int32": "i", "int64": "l", "float16": "e", "float32": "f",
    "uint8": "C", "uint16": "S", "uint32": "I", "uint64": "L", "float64": "g",
}  # fmt: skip


class Exporter:
    """What consumers take by the interface: a column, or columns as the children of a struct.

    All of it raises a ColumnTypeError if a value is out of the range of the dtype asked for.
    """

    def _arrow(self) -> _Arrow:
        raise NotImplementedError

    def __arrow_c_schema__(self) -> object:
        """Return the type as a capsule "arrow_schema"."""
        return self._arrow().schema()

    def __arrow_c_array__(self, requested_schema: object = None) -> tuple[object, object]:
        """Return capsules "arrow_schema" and "arrow_array"; another schema is not heeded."""
        return self._arrow().array()

    def __arrow_c_stream__(self, requested_schema: object = None) -> object:
        """Return a capsule "arrow_array_stream" of one array; another schema is not heeded."""
        return self._arrow().stream()


def table(columns: Mapping[str, _Column], fields: Mapping[str, Field], rows: int) -> _Arrow:
    """Return columns as the children of a struct."""
    from ._core import _Arrow

    return _Arrow.make([_part(name, one, fields[name]) for name, one in columns.items()], rows)


def single(name: str, column: _Column, field: Field) -> _Arrow:
    """Return a column alone."""
    from ._core import _Arrow

    return _Arrow.make([_part(name, column, field)], None)


def _part(name: str, column: _Column, field: Field) -> Part:
    wanted = type_name(field.dtype)
    is_filled = field.fill is not None and column.missing > 0
    if column.kind in ("str", "json"):
        form = "category" if wanted == "category" else None
        return name, with_fill(column, field), is_filled, form, None
    if is_filled:
        column.fill(field.fill)
    if wanted in NAMED or np.dtype(wanted) == column.values.dtype:
        return name, column, is_filled, None, None
    try:
        narrowed = narrow(column, np.dtype(wanted))
    except ColumnTypeError as error:
        raise error.of_field(name) from None
    return name, column, is_filled, _FORMATS[wanted], narrowed


def with_fill(texts: _Column, field: Field) -> _Column:
    """Return texts in which what is missing has the field's value, if it has one."""
    if field.fill is None or texts.missing == 0:
        return texts
    from ._core import dumps

    is_text = isinstance(field.fill, str) and type_name(field.dtype) != "object"
    return texts.filled(field.fill if is_text else dumps(field.fill))


def given(values: Any) -> _ArrowInput | npt.NDArray[Any] | None:
    """Return what pandas, polars and Arrow's packages hold; None for all else.

    What has a NumPy dtype is NumPy's: in Arrow, pandas would make null of every NaN.
    """
    if isinstance(values, (np.ndarray, list, tuple, str)):
        return None
    if isinstance(getattr(values, "dtype", None), np.dtype) and hasattr(values, "__array__"):
        return np.asarray(values)
    kind = type(values)
    if not hasattr(kind, "__arrow_c_stream__") and not hasattr(kind, "__arrow_c_array__"):
        return None
    from ._core import _ArrowInput

    try:
        return _ArrowInput(values)
    except ImportError:  # a Series of pandas without pyarrow
        if not hasattr(values, "to_numpy") or getattr(values, "ndim", 0) != 1:
            raise
        return np.asarray(values.to_numpy(object, na_value=None))


def to_numpy(values: Any) -> Any:
    """Return a column of such a package as NumPy has it, masked; anything else as it is."""
    found = given(values)
    if found is None or isinstance(found, np.ndarray):
        return values if found is None else found
    array, mask = found.to_numpy()
    return np.ma.MaskedArray(array, mask) if array.dtype != object and mask.any() else array
