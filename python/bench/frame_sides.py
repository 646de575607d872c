"""What is compared on the way to data frames: each package as its documentation recommends."""

from __future__ import annotations

import json
from typing import Any

from sides import FIELDS, Side

# By what is asked for: "pandas" or "polars", then "records" or "lines".
FRAMES: dict[str, Side] = {}
# Dask's sides: from a pattern of files to a Dask data frame of FIELDS.
LAZY: dict[str, Any] = {}
NESTED = {name: pointer[1:].replace("/", ".") for name, pointer in FIELDS.items()}


def side(name: str, *modules: str) -> Any:
    """Register the methods of a class as the functions of a side."""

    def register(given: type) -> type:
        functions = {
            key: one.__func__ for key, one in vars(given).items() if isinstance(one, staticmethod)
        }
        FRAMES[name] = Side(modules[0], list(modules), functions)
        return given

    return register


@side("ostrajson", "ostrajson", "pandas", "polars", "pyarrow")
class _Ostrajson:
    @staticmethod
    def pandas_records(path: str, _: str) -> Any:
        import ostrajson as oj

        return oj.read_columns(path, FIELDS).to_pandas()

    @staticmethod
    def pandas_lines(path: str, _: str) -> Any:
        import ostrajson as oj

        return oj.read_columns(path, FIELDS, lines=True).to_pandas()

    @staticmethod
    def polars_records(path: str, _: str) -> Any:
        import ostrajson as oj

        return oj.read_columns(path, FIELDS).to_polars()

    @staticmethod
    def polars_lines(path: str, _: str) -> Any:
        import ostrajson as oj

        return oj.read_columns(path, FIELDS, lines=True).to_polars()


@side("pandas.read_json", "pandas")
class _Pandas:
    @staticmethod
    def pandas_records(path: str, _: str) -> Any:
        return _normalized(path, False)

    @staticmethod
    def pandas_lines(path: str, _: str) -> Any:
        return _normalized(path, True)


def _normalized(path: str, lines: bool) -> Any:
    import pandas as pd

    return flat(pd.read_json(path, lines=lines, precise_float=True))


def flat(frame: Any) -> Any:
    """Take the nested fields out of a frame that holds them as dicts."""
    import pandas as pd

    nested = pd.json_normalize(frame["position"]).add_prefix("position.").set_axis(frame.index)
    return frame.join(nested)[list(NESTED.values())].set_axis(list(NESTED), axis=1)


@side("pyarrow.json", "pyarrow", "pyarrow.json", "pandas", "polars")
class _Pyarrow:
    @staticmethod
    def pandas_lines(path: str, _: str) -> Any:
        return _table(path).to_pandas()

    @staticmethod
    def polars_lines(path: str, _: str) -> Any:
        import polars as pl

        return pl.from_arrow(_table(path))


def _table(path: str) -> Any:
    import pyarrow.json

    table = pyarrow.json.read_json(path).flatten()
    return table.select(list(NESTED.values())).rename_columns(list(NESTED))


@side("polars", "polars", "pyarrow", "pandas")
class _Polars:
    @staticmethod
    def pandas_records(path: str, _: str) -> Any:
        return _Polars.polars_records(path, _).to_pandas()

    @staticmethod
    def pandas_lines(path: str, _: str) -> Any:
        return _Polars.polars_lines(path, _).to_pandas()

    @staticmethod
    def polars_records(path: str, _: str) -> Any:
        import polars as pl

        return _unnested(pl.read_json(path).lazy())

    @staticmethod
    def polars_lines(path: str, _: str) -> Any:
        import polars as pl

        return _unnested(pl.scan_ndjson(path))


def _unnested(frame: Any) -> Any:
    import polars as pl

    columns = []
    for name, pointer in FIELDS.items():
        first, *rest = pointer[1:].split("/")
        column = pl.col(first)
        for inner in rest:
            column = column.struct.field(inner)
        columns.append(column.alias(name))
    return frame.select(columns).collect()


@side("duckdb", "duckdb", "pandas", "polars", "pyarrow")
class _Duckdb:
    @staticmethod
    def pandas_records(path: str, _: str) -> Any:
        return _query(path, "array").df()

    @staticmethod
    def pandas_lines(path: str, _: str) -> Any:
        return _query(path, "newline_delimited").df()

    @staticmethod
    def polars_records(path: str, _: str) -> Any:
        return _query(path, "array").pl()

    @staticmethod
    def polars_lines(path: str, _: str) -> Any:
        return _query(path, "newline_delimited").pl()


def _query(path: str, form: str) -> Any:
    import duckdb

    columns = ", ".join(f"{path} as {name}" for name, path in NESTED.items())
    return duckdb.sql(
        f"select {columns} from read_json('{path}', format='{form}', maximum_object_size=1000000000)"
    )


def lazy(name: str) -> Any:
    """Register a function from a pattern and the bytes a block to a Dask data frame."""

    def register(function: Any) -> Any:
        LAZY[name] = function
        return function

    return register


@lazy("ostrajson.dask")
def _from_ostrajson(pattern: str, block: int) -> Any:
    import ostrajson as oj

    return oj.dask.read_columns(pattern, FIELDS, lines=True, blocksize=block)


@lazy("ostrajson.dask, two fields in use")
def _from_two_fields(pattern: str, block: int) -> Any:
    return _from_ostrajson(pattern, block)[["lat", "depth"]]


@lazy("dask.dataframe.read_json")
def _from_dask(pattern: str, block: int) -> Any:
    import dask
    import dask.dataframe as dd

    with dask.config.set({"dataframe.convert-string": False}):  # dicts are to stay what they are
        read = dd.read_json(pattern, lines=True, blocksize=block, precise_float=True)
    return read.map_partitions(flat, meta=_meta())


@lazy("dask.bag")
def _from_bag(pattern: str, block: int) -> Any:
    import dask.bag

    lines = dask.bag.read_text(pattern, blocksize=block)
    return lines.map(json.loads).map(_taken).to_dataframe(meta=_meta())


def _taken(record: Any) -> dict[str, Any]:
    position = record["position"]
    return {
        "id": record["id"],
        "lat": position["lat"],
        "lon": position["lon"],
        "depth": position["depth"],
        "name": record["name"],
        "active": record["active"],
    }


def _meta() -> Any:
    import pandas as pd

    kinds = {
        "id": "int64",
        "lat": "f8",
        "lon": "f8",
        "depth": "int64",
        "name": "str",
        "active": "?",
    }
    return pd.DataFrame({name: pd.Series(dtype=kind) for name, kind in kinds.items()})
