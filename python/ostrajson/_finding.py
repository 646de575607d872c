"""Fields of records, found in the records."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, NamedTuple

from . import _sources
from ._core import _find_fields
from ._fields import Field, setting, wanted

if TYPE_CHECKING:
    from ._core import _Column

_DTYPES = {"any": None, "str": str, "json": object}


class Found(NamedTuple):
    """What was found, and which fields of JSON texts have objects that belong to other fields."""

    fields: dict[str, Field]
    with_objects: frozenset[str]

    def clean(self, name: str, column: _Column) -> _Column:
        """Drop such objects."""
        return column.without_objects() if name in self.with_objects else column


class Search(NamedTuple):
    """What to look for, and what to make of it."""

    max_depth: int | None
    max_fields: int
    sep: str
    dtype: Any
    missing: Any
    fill: Any

    def run(self, source: Any, options: dict[str, Any]) -> Found:
        """Look through a source, which then stands where it stood."""
        quiet = {**options, "progress": None}
        name = _sources.name_of(source) or ""
        with _sources.at_its_place(source), _sources.opened(source) as given:
            found = _find_fields(given, name, quiet, self.max_depth, self.max_fields)
        fields: dict[str, Field] = {}
        with_objects = set()
        for path, pointer, want, shape, has_objects in found:
            name = self.sep.join(path)
            if name in fields:
                raise ValueError(
                    f"fields: both {fields[name].pointer!r} and {pointer!r} would be called "
                    f"{name!r}: choose another sep, or name the fields"
                )
            fields[name] = field = self._field(name, pointer, want, shape, has_objects)
            if has_objects and wanted(field.dtype) == "json":
                with_objects.add(name)
        return Found(fields, frozenset(with_objects))

    def _field(self, name: str, pointer: str, want: str, shape: Any, has_objects: bool) -> Field:
        own = setting(self.dtype, name)
        if own is None:
            own = _DTYPES.get(want, want)
        fill = setting(self.fill, name)
        return Field(pointer, own, shape, self.missing, fill, "missing" if has_objects else "raise")
