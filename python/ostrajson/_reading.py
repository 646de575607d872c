"""From files to columns."""

from __future__ import annotations

import sys
import time
from collections.abc import Callable, Iterator
from contextlib import contextmanager
from typing import TYPE_CHECKING, Any, Literal, TypeAlias

from . import _sources
from ._columns import Columns
from ._core import _BatchReader, _read_columns
from ._fields import Field, FieldsLike, parse_fields, to_core
from ._finding import Found, Search

if TYPE_CHECKING:
    from ._core import _Column
    from ._errors import JSONDecodeError

__all__ = ["iter_columns", "read_columns"]

Progress: TypeAlias = "bool | Callable[[int, int | None, int], object] | None"


def read_columns(
    source: Any,
    fields: FieldsLike | None = None,
    *,
    records: str = "",
    lines: bool = False,
    keys: str | None = None,
    dtype: Any = None,
    missing: Literal["mask", "raise"] = "mask",
    fill: Any = None,
    on_error: Literal["raise", "skip"] = "raise",
    comments: bool = False,
    trailing_commas: bool = False,
    allow_nan: bool = False,
    big_int: Literal["exact", "float"] = "exact",
    threads: int = 0,
    progress: Progress = None,
    max_depth: int | None = None,
    max_fields: int = 10_000,
    sep: str = ".",
) -> Columns:
    """Read fields of all records of a text into columns, without the document in memory.

    Types are settled over all records, never guessed from the first ones.

    Args:
        source: As of `read`: a path, a URL, bytes, a buffer, or a file object. Peak memory is about
            that of the columns, however long the text; a file is never mapped. A file object is
            read on the calling thread, where Ctrl-C interrupts it while it waits.
        fields: What to take from each record: a mapping of names to JSON Pointers, to tuples
            (pointer, dtype), (pointer, "flatten") or (pointer, dtype, shape), or to Fields; or a
            sequence of pointers, which are then the names as well. None finds the fields: all paths
            that lead to values in any of the records, in order of first appearance, with dotted
            names, as pandas.json_normalize makes them. Objects are opened, arrays of scalars of one
            kind become ragged columns, and values of several kinds Python objects. The text is then
            read twice: a file or URL is opened twice, a file object brought back to where it stood,
            and what cannot be brought back is held in memory.
        records: JSON Pointer to the array of records, or to an object whose values they are.
        lines: The text is JSON Lines: each line is a record.
        keys: Names a column for the keys, if the records are the values of an object.
        dtype: For fields that have none: one, or a mapping by name. See Field.
        missing: For fields that are not Fields: what null or absent rows become; see Field.
        fill: For fields that are not Fields: a value for such rows; one, or a mapping by name.
        on_error: Of lines: "skip" counts those that are not JSON (Columns.bad_lines).
        comments: Allow // and /* */ comments.
        trailing_commas: Allow a comma before a closing bracket.
        allow_nan: Allow the words NaN, Infinity and -Infinity.
        big_int: Integers beyond 64 bits fit a float64 column only ("exact"), or are as if they were
            written with a fraction ("float").
        threads: At most so many; 0 for as many as there are.
        progress: True for a bar (tqdm, if it is installed), or a function of bytes done, bytes
            in all (None if not known) and records done. What it raises ends the call. Finding
            fields does not count.
        max_depth: For fields that are to be found: keys that a name has at most; objects further
            inside are values.
        max_fields: For fields that are to be found: more of them are an error.
        sep: For fields that are to be found: stands between the keys of a name.

    Raises:
        ValueError: If an argument does not make sense; if there are more fields than `max_fields`,
            naming the first one too many, or two with one name.
        JSONDecodeError: If the text is not JSON.
        ColumnTypeError: If a value does not fit its column; names field and row.
        PointerError: If a pointer is not a JSON Pointer.
        LookupError: If there is nothing to read records from at `records`.
        OSError: If the source cannot be read, such as FileNotFoundError.
    """
    options = _options(
        records=records, lines=lines, keys=keys, on_error=on_error, comments=comments,
        trailing_commas=trailing_commas, allow_nan=allow_nan, big_int=big_int, threads=threads,
    )  # fmt: skip
    name = _sources.name_of(source) or ""
    if fields is None and _sources.is_stream(source):
        text = _sources.read_all(source)
        source = text.encode() if isinstance(text, str) else text
    search = Search(max_depth, max_fields, sep, dtype, missing, fill)
    found = _found(source, fields, options, search)
    with _sources.opened(source) as given, _told(progress) as options["progress"]:
        read = _read_columns(given, name, to_core(found.fields), options)
    return _columns(found, keys, *read)


def iter_columns(
    source: Any,
    fields: FieldsLike | None = None,
    *,
    batch_rows: int = 0,
    batch_bytes: int = 0,
    records: str = "",
    lines: bool = False,
    keys: str | None = None,
    dtype: Any = None,
    missing: Literal["mask", "raise"] = "mask",
    fill: Any = None,
    on_error: Literal["raise", "skip"] = "raise",
    comments: bool = False,
    trailing_commas: bool = False,
    allow_nan: bool = False,
    big_int: Literal["exact", "float"] = "exact",
    threads: int = 0,
    progress: Progress = None,
    max_depth: int | None = None,
    max_fields: int = 10_000,
    sep: str = ".",
) -> Iterator[Columns]:
    """Read fields of records batch by batch, for columns that do not fit in memory at once.

    A dtype that was not given is settled by the first batch that holds a value; a later value that
    does not fit is a ColumnTypeError, whose row counts over all batches.

    Args:
        source: As of `read_columns`.
        fields: As of `read_columns`. Finding them reads the whole text first, so that the dtypes of
            all batches are the same.
        batch_rows: Records a batch.
        batch_bytes: Bytes of text a batch, about; 64 MiB if neither is given.
        records: As of `read_columns`.
        lines: As of `read_columns`.
        keys: As of `read_columns`.
        dtype: As of `read_columns`.
        missing: As of `read_columns`.
        fill: As of `read_columns`.
        on_error: As of `read_columns`.
        comments: As of `read_columns`.
        trailing_commas: As of `read_columns`.
        allow_nan: As of `read_columns`.
        big_int: As of `read_columns`.
        threads: As of `read_columns`.
        progress: As of `read_columns`.
        max_depth: As of `read_columns`.
        max_fields: As of `read_columns`.
        sep: As of `read_columns`.

    Yields:
        The columns of each batch.

    Raises:
        As `read_columns`; fields and dtypes are checked by the call, the text as it is read.
        ValueError: If fields are to be found in what cannot be read twice.
    """
    options = _options(
        records=records, lines=lines, keys=keys, on_error=on_error, comments=comments,
        trailing_commas=trailing_commas, allow_nan=allow_nan, big_int=big_int, threads=threads,
    )  # fmt: skip
    if fields is None and _sources.is_stream(source):
        raise ValueError("fields: they cannot be found in what can be read only once: give them")
    search = Search(max_depth, max_fields, sep, dtype, missing, fill)
    found = _found(source, fields, options, search)
    if batch_rows == 0 and batch_bytes == 0:
        batch_bytes = 64 << 20
    name = _sources.name_of(source) or ""

    def batches() -> Iterator[Columns]:
        core = to_core(found.fields)
        with _sources.opened(source) as given, _told(progress) as options["progress"]:
            reader = _BatchReader(given, name, core, options, batch_rows, batch_bytes)
            while (read := reader.next()) is not None:
                yield _columns(found, keys, *read)

    return batches()


def _options(*, on_error: str, big_int: str, keys: str | None, **options: Any) -> dict[str, Any]:
    if on_error not in ("raise", "skip"):
        raise ValueError(f'on_error: expected "raise" or "skip", not {on_error!r}')
    if big_int not in ("exact", "float"):
        raise ValueError(f'big_int: expected "exact" or "float", not {big_int!r}')
    return {
        "block_bytes": 250_000,
        "skip_bad": on_error == "skip",
        "big_floats": big_int == "float",
        "keys": keys is not None,
        "index_arrays": True,
        **options,
    }


def _found(
    source: Any, fields: FieldsLike | None, options: dict[str, Any], search: Search
) -> Found:
    if fields is None:
        options["index_arrays"] = False
        return search.run(source, options)
    parsed = parse_fields(fields, search.dtype, search.missing, search.fill)
    return Found(parsed, frozenset())


def _columns(
    found: Found,
    keys: str | None,
    read: list[_Column],
    key_column: _Column | None,
    rows: int,
    bad_lines: int,
    errors: list[JSONDecodeError],
) -> Columns:
    fields = found.fields
    columns = {name: found.clean(name, one) for name, one in zip(fields, read, strict=True)}
    if keys is not None and key_column is not None:
        columns = {keys: key_column, **columns}
        fields = {keys: Field("", str), **fields}
    return Columns(columns, fields, rows, bad_lines, errors)


@contextmanager
def _told(progress: Progress) -> Iterator[Callable[[int, int | None, int], object] | None]:
    """Give a function to be told of progress, or None."""
    if progress is None or progress is False:
        yield None
    elif progress is not True:
        if not callable(progress):
            raise TypeError(f"progress: expected bool or a callable, not {type(progress).__name__}")
        yield progress
    else:
        with _bar() as tell:
            yield tell


@contextmanager
def _bar() -> Iterator[Callable[[int, int | None, int], object]]:
    try:
        from tqdm.auto import tqdm
    except ImportError:
        yield _line
        print(file=sys.stderr)
        return
    with tqdm(unit="B", unit_scale=True, unit_divisor=1024) as bar:

        def tell(done: int, total: int | None, records: int) -> None:
            bar.total = total
            bar.set_postfix_str(f"{records:,} records", refresh=False)
            bar.update(done - bar.n)

        yield tell


_last = 0.0


def _line(done: int, total: int | None, records: int) -> None:
    """Show progress on one line of the standard error, now and then."""
    global _last
    if time.monotonic() - _last < 0.2 and done != total:
        return
    _last = time.monotonic()
    share = f"{done / total:4.0%}" if total else f"{done / 2**20:,.0f} MiB"
    print(f"\r{share}, {records:,} records", end="", file=sys.stderr, flush=True)
