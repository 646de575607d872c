"""What `dumps` makes of objects that are not of Python's own types."""

from __future__ import annotations

from collections.abc import Callable
from typing import Any

import numpy as np

from ._arrow import given


def plain(value: Any, fallback: Callable[[Any], Any] | None) -> Any:
    """Return an object of Python's own types, or a contiguous array of bool or numbers."""
    if isinstance(value, np.ma.MaskedArray):
        if value is np.ma.masked:
            return None
        return plain(value.data, fallback) if value.mask is np.ma.nomask else _masked(value)
    if isinstance(value, np.datetime64):
        return None if np.isnat(value) else str(np.datetime_as_string(value))
    if isinstance(value, np.ndarray):
        return _array(value)
    if isinstance(value, np.generic) and not isinstance(value, (np.complexfloating, np.void)):
        return _array(np.asarray(value)) if isinstance(value, np.floating) else value.item()
    to_list = getattr(type(value), "_to_plain", None)
    if to_list is not None:
        return to_list(value)
    found = given(value)
    if found is not None:
        return plain(found, fallback) if isinstance(found, np.ndarray) else found
    if fallback is not None:
        return fallback(value)
    raise TypeError(f"cannot write {type(value).__qualname__} as JSON")


def _masked(value: np.ma.MaskedArray[Any, Any]) -> Any:
    return np.where(value.mask, None, _array(value.data))


def _array(value: np.ndarray[Any, Any]) -> Any:
    kind = value.dtype.kind
    if kind in "biu" or value.dtype in (np.float32, np.float64):
        return np.asarray(value, dtype=value.dtype.newbyteorder("="), order="C")
    if kind == "f":  # halves are exact as floats, and long doubles rounded
        return np.asarray(value, dtype=np.float32 if value.itemsize == 2 else np.float64, order="C")
    if kind == "M":
        texts = np.datetime_as_string(value).astype(object)
        texts[np.isnat(value)] = None
        return texts.tolist()
    if kind in "cV":
        raise TypeError(f"cannot write an array of {value.dtype} as JSON")
    return value.tolist()
