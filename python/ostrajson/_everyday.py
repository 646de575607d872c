"""Plain Python objects to files."""

from __future__ import annotations

from collections.abc import Callable
from typing import Any

from . import _sources
from ._core import _write_bytes, dumpb

__all__ = ["dump"]


def dump(
    obj: Any,
    target: Any,
    *,
    indent: int | str | None = None,
    sort_keys: bool = False,
    allow_nan: bool = False,
    default: Callable[[Any], Any] | None = None,
) -> None:
    """Write an object as JSON text.

    Args:
        obj: As of `dumps`.
        target: As of `Document.write`.
        indent: As of `dumps`.
        sort_keys: As of `dumps`.
        allow_nan: As of `dumps`.
        default: As of `dumps`.
    """
    text = dumpb(obj, indent=indent, sort_keys=sort_keys, allow_nan=allow_nan, default=default)
    if _sources.is_plain_path(target):
        _write_bytes(target, text)
    else:
        _sources.write_all(target, text)
