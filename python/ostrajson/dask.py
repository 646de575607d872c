"""Columns of many files, by many machines: data frames of Dask, and JSON Lines from them.

Dask alone decides what runs where and when, and runs again what was lost. Needs the packages dask
(with its extra "dataframe") and, for other than local files, those that fsspec names.

Costs: a task reads its part of a file block by block: each thread of a worker holds the columns of
one partition and about 8 MB (16 from an object store), never the text. Dask lets a task extract
only those fields that the computation needs, except for len(), which extracts them all.
"""

from __future__ import annotations

from collections.abc import Callable
from typing import Any, Literal

from ._columns import FieldsLike, parse_fields
from ._core import dumpb, parse
from ._part_reader import PartReader
from ._parts import find_parts, make_folders, write_whole

try:
    import dask
    import dask.dataframe as dd
    import pandas as pd
    from dask.dataframe.utils import pyarrow_strings_enabled
    from dask.utils import parse_bytes
except ImportError as error:
    raise ImportError('ostrajson.dask needs the package "dask[dataframe]"') from error

__all__ = ["read_columns", "write_json_lines"]


def read_columns(
    urlpath: Any,
    fields: FieldsLike | None = None,
    *,
    blocksize: int | str | None = "64MiB",
    lines: bool = False,
    records: str = "",
    keys: str | None = None,
    dtype: Any = None,
    missing: Literal["mask", "raise"] = "mask",
    fill: Any = None,
    on_error: Literal["raise", "skip"] = "raise",
    comments: bool = False,
    trailing_commas: bool = False,
    allow_nan: bool = False,
    big_int: Literal["exact", "float"] = "exact",
    compression: str | None = "infer",
    storage_options: dict[str, Any] | None = None,
    sample: int | str = "4MiB",
    threads: int = 1,
    max_depth: int | None = None,
    max_fields: int = 10_000,
    sep: str = ".",
) -> dd.DataFrame:
    """Read fields of the records of many files as a Dask data frame.

    At once only the beginning of the first file is read, and only if a field has no dtype. What
    that settles holds for all files: a value that does not fit is an error.

    Args:
        urlpath: A path, a URL for fsspec such as s3://bucket/x-*.jsonl, a pattern, or a list of
            them. Files that a pattern finds come in natural order (2 before 10).
        fields: As of `ostrajson.read_columns`. None finds them in the first `sample` bytes of JSON
            Lines, or in the first file: those that appear only later are not columns.
        blocksize: Bytes a partition of JSON Lines, about; a line belongs to the partition in which
            it begins. None for one partition a file, which compressed files and arrays of records
            always are.
        lines: As of `ostrajson.read_columns`.
        records: As of `ostrajson.read_columns`.
        keys: As of `ostrajson.read_columns`.
        dtype: As of `ostrajson.read_columns`.
        missing: As of `ostrajson.read_columns`.
        fill: As of `ostrajson.read_columns`.
        on_error: As of `ostrajson.read_columns`; a worker logs how many lines it skipped.
        comments: As of `ostrajson.read_columns`.
        trailing_commas: As of `ostrajson.read_columns`.
        allow_nan: As of `ostrajson.read_columns`.
        big_int: As of `ostrajson.read_columns`.
        compression: "infer" from the name (.gz and others that fsspec knows), a name of fsspec's,
            or None.
        storage_options: What fsspec is to be given for the file system.
        sample: Bytes of the first file that settle dtypes, about. If a field has no value in
            them, up to 16 times as many are read, also of the files behind.
        threads: How many threads a task may use. Dask runs a task on each thread of a worker.
        max_depth: As of `ostrajson.read_columns`.
        max_fields: As of `ostrajson.read_columns`.
        sep: As of `ostrajson.read_columns`.

    Returns:
        A frame of unknown divisions, each partition indexed from 0. Dtypes depend on the kind of a
        column alone, not on what is missing in a partition: float64; Int64, UInt64 and boolean,
        or NumPy's if no row can be missing because of `fill` or missing="raise"; for texts those of
        Dask's setting "dataframe.convert-string"; object for all else.

    Raises:
        ValueError: If a field has no dtype, nor a value in the beginning.
        FileNotFoundError: If there are no files.
        JSONDecodeError: If the text is not JSON; also when partitions are computed. `pos` and
            `record` then count from the start of the file and of its partition; the message names
            the file and the partition's bytes.
        ColumnTypeError: If a value does not fit its column; likewise. The message names the file,
            the record within the partition and, of JSON Lines, the byte of the file at which that
            record begins.
    """
    block = None if blocksize is None or not lines else _bytes(blocksize, "blocksize")
    files, parts = find_parts(urlpath, block, compression, dict(storage_options or {}))
    options = {
        "lines": lines, "records": records, "keys": keys, "on_error": on_error,
        "comments": comments, "trailing_commas": trailing_commas, "allow_nan": allow_nan,
        "big_int": big_int, "threads": threads,
    }  # fmt: skip
    size = _bytes(sample, "sample")
    parsed = {} if fields is None else parse_fields(fields, dtype, missing, fill)
    reader = PartReader(files, parsed, options, _text_dtype())
    if fields is None:
        reader = reader.with_fields_of(
            parts[0], size, dtype=dtype, missing=missing, fill=fill,
            max_depth=max_depth, max_fields=max_fields, sep=sep,
        )  # fmt: skip
    reader = reader.settled(parts, size)
    # Dask would make texts of all objects, lists and dicts among them.
    with dask.config.set({"dataframe.convert-string": False}):
        return dd.from_map(reader, parts, meta=reader.meta(), label="read-json-columns")


def _bytes(given: int | str, name: str) -> int:
    size = int(parse_bytes(given))
    if size < 1:
        raise ValueError(f"{name}: expected 1 byte or more, not {given!r}")
    return size


def _text_dtype() -> Any:
    return pd.StringDtype("pyarrow") if pyarrow_strings_enabled() else pd.Series([""]).dtype


def write_json_lines(
    frame: dd.DataFrame,
    path: str,
    *,
    compression: str | None = "infer",
    storage_options: dict[str, Any] | None = None,
    name_function: Callable[[int], str] | None = None,
    allow_nan: bool = False,
    compute: bool = True,
) -> list[Any]:
    """Write a Dask data frame as JSON Lines, one file a partition.

    Each row becomes an object of the columns' names and values, null if a value is missing,
    times as texts (ISO 8601); the index is not written. A file appears, locally and in object
    stores, only when all of it is written: a worker that is lost leaves none in part, and its
    partition is written again.

    Args:
        frame: A Dask data frame.
        path: A pattern such as s3://bucket/x-*.jsonl.gz in which * becomes the number of the
            partition, or a folder (made if there is none) for files *.jsonl.
        compression: As of `read_columns`.
        storage_options: As of `read_columns`.
        name_function: Makes of a partition's number what stands for *; the default pads numbers
            with zeros so that their names sort as they do.
        allow_nan: Whether to write infinities as words instead of null.
        compute: Whether to write now.

    Returns:
        The files written; a Dask delayed each if `compute` is false.
    """
    pattern = path if "*" in path else f"{path.rstrip('/')}/*.jsonl"
    width = len(str(frame.npartitions - 1))
    name = name_function or (lambda i: f"{i:0{width}}")
    targets = [pattern.replace("*", name(i)) for i in range(frame.npartitions)]
    options = dict(storage_options or {})
    make_folders(targets, options)
    write = dask.delayed(_write_json_lines)
    parts: list[Any] = [
        write(part, target, compression, options, allow_nan)
        for part, target in zip(frame.to_delayed(), targets, strict=True)
    ]
    if not compute:
        return parts
    return [*dask.compute(*parts)]


def _write_json_lines(
    frame: pd.DataFrame, url: str, compression: str | None, options: dict[str, Any], allow_nan: bool
) -> str:
    records: Any = frame.reset_index(drop=True)
    try:
        text = dumpb(records, allow_nan=allow_nan)
    except (TypeError, ValueError):  # objects that have no one Arrow type
        names = [str(name) for name in records.columns]
        rows = zip(*(_plain(records[name]) for name in records), strict=True)
        records = [dict(zip(names, row, strict=True)) for row in rows]
        text = dumpb(records, allow_nan=allow_nan, default=_default)
    lines = parse(text, allow_nan=allow_nan).dumpb(lines=True, allow_nan=allow_nan)
    write_whole(url, lines, compression, options)
    return url


def _plain(column: pd.Series) -> list[Any]:
    """Return the values of a column as Python has them, None for missing ones."""
    values = column.astype(object)
    return list(values.where(values.notna(), None))


def _default(value: Any) -> Any:
    """Turn what is not a JSON value into one: arrays into lists, times into ISO 8601."""
    for name in ("tolist", "isoformat"):
        if hasattr(value, name):
            return getattr(value, name)()
    return str(value)
