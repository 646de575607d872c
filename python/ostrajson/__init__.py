"""JSON documents as NumPy arrays: exact, fast, on all cores.

`read_columns` takes fields of many records from a file of any size as arrays, `read` and `parse`
give a whole document, `loads` and `dumps` plain Python objects. `describe` shows what a file holds.
"""

from typing import TYPE_CHECKING, Any

from ._columns import Column, Columns, Field, Ragged, RawText
from ._core import Cursor, Document, Nodes, __version__, dumpb, dumps, loads, parse
from ._describe import describe
from ._documents import read
from ._errors import ColumnTypeError, JSONDecodeError, PointerError, StaleNodesError
from ._everyday import dump
from ._reading import iter_columns, read_columns
from ._types import Kind, NodeData, NumberClass

if TYPE_CHECKING:
    from . import dask as dask

__all__ = [
    "Column",
    "ColumnTypeError",
    "Columns",
    "Cursor",
    "Document",
    "Field",
    "JSONDecodeError",
    "Kind",
    "NodeData",
    "Nodes",
    "NumberClass",
    "PointerError",
    "Ragged",
    "RawText",
    "StaleNodesError",
    "__version__",
    "describe",
    "dump",
    "dumpb",
    "dumps",
    "iter_columns",
    "loads",
    "parse",
    "read",
    "read_columns",
]


def __getattr__(name: str) -> Any:
    """Import what needs other packages when it is first used."""
    if name == "dask":
        from importlib import import_module

        return import_module(".dask", __name__)
    raise AttributeError(f"module {__name__!r} has no attribute {name!r}")
