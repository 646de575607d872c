"""Plain types of the package's interface."""

from __future__ import annotations

import enum
from typing import TYPE_CHECKING, NamedTuple

if TYPE_CHECKING:
    import numpy as np
    import numpy.typing as npt

__all__ = ["Kind", "NodeData", "NumberClass"]


class Kind(enum.IntEnum):
    """The type of a JSON value."""

    NULL = 0
    FALSE = 1
    TRUE = 2
    OBJECT = 3
    ARRAY = 4
    STRING = 5
    NUMBER = 6


class NumberClass(enum.IntEnum):
    """How a number is held: as a double, or as an integer that no double holds exactly."""

    DOUBLE = 0
    UINT64 = 1
    INT64 = 2


class NodeData(NamedTuple):
    """The content of nodes as six flat columns, tied to the nodes by position only.

    The j-th string node owns ``strings[j]``, the j-th number node ``number_types[j]``, and a number
    node of a class the next unused element of that class's array.
    """

    types: npt.NDArray[np.uint8]
    """The Kind of every node."""
    number_types: npt.NDArray[np.uint8]
    """The NumberClass of every number node."""
    strings: list[str | None]
    """The text of every string node."""
    doubles: npt.NDArray[np.float64]
    """The numbers of class DOUBLE, which also holds integers that a double holds exactly."""
    uint64s: npt.NDArray[np.uint64]
    """The other integers from 0 on."""
    int64s: npt.NDArray[np.int64]
    """The other negative integers."""
