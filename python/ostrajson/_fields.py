"""What to take from each record."""

from __future__ import annotations

from collections.abc import Mapping, Sequence
from dataclasses import dataclass
from typing import Any, Literal, TypeAlias

import numpy as np

Shape: TypeAlias = "int | Literal['flatten'] | None"
Missing: TypeAlias = Literal["mask", "raise"]
FieldLike: TypeAlias = "str | Field | tuple[Any, ...]"
FieldsLike: TypeAlias = "Mapping[str, FieldLike] | Sequence[str]"


@dataclass(frozen=True)
class Field:
    """What to take from each record.

    Attributes:
        pointer: JSON Pointer (RFC 6901) from the record; "" for the record itself.
        dtype: What the values are to be: None for whatever one kind all rows are; "number";
            a NumPy dtype of integers, floats or bool, or int, float, bool; str for an object array
            of str, "string" for NumPy's StringDType, "utf8" for RawText; "json" for each value's
            own JSON text, object for Python objects; "category" for texts of which few differ: each
            is held once, and data frames get categories.
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
        wanted(self.dtype)


NAMED = {
    "any": "any",
    "number": "number",
    "str": "str",
    "string": "str",
    "utf8": "str",
    "category": "str",
    "json": "json",
    "object": "json",
}
_TYPES = {int: "int64", float: "float64", bool: "bool", str: "str", object: "object"}
_KINDS = {"i": "int64", "u": "uint64", "f": "float64", "b": "bool"}


def type_name(dtype: Any) -> str:
    """Name a dtype: one of NAMED, or NumPy's name of a numeric one."""
    if dtype is None:
        return "any"
    if isinstance(dtype, type) and dtype in _TYPES:
        return _TYPES[dtype]
    if isinstance(dtype, str) and dtype in NAMED:
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


def wanted(dtype: Any) -> str:
    """Return what the extraction is asked for."""
    name = type_name(dtype)
    return NAMED[name] if name in NAMED else _KINDS[np.dtype(name).kind]


def parse_fields(
    fields: FieldsLike, dtype: Any = None, missing: str = "mask", fill: Any = None
) -> dict[str, Field]:
    """Turn the short forms of fields into Fields by name."""
    if isinstance(fields, (str, bytes)) or not isinstance(fields, (Mapping, Sequence)):
        raise TypeError(
            f"fields: expected a mapping or a sequence of pointers, not {type(fields).__name__}"
        )
    pairs = fields.items() if isinstance(fields, Mapping) else ((one, one) for one in fields)
    return {
        name: _parse_field(name, given, setting(dtype, name), missing, setting(fill, name))
        for name, given in pairs
    }


def setting(given: Any, name: str) -> Any:
    """Return what was given for a field: one value for all, or one by name."""
    return given.get(name) if isinstance(given, Mapping) else given


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
        (name, one.pointer, wanted(one.dtype), one.shape, one.mismatch)
        for name, one in fields.items()
    ]
