"""What is compared: each package as its documentation recommends it for this work."""

from __future__ import annotations

import importlib.util
from collections.abc import Callable
from dataclasses import dataclass, field
from typing import Any

import numpy as np

FIELDS = {
    "id": "/id",
    "lat": "/position/lat",
    "lon": "/position/lon",
    "depth": "/position/depth",
    "name": "/name",
    "active": "/active",
}
Function = Callable[[str, str], Any]


@dataclass
class Side:
    """A package, and its ways of doing the work."""

    package: str
    modules: list[str]
    functions: dict[str, Function] = field(default_factory=dict)
    without_gc: bool = False

    def is_installed(self) -> bool:
        return all(importlib.util.find_spec(name.split(".")[0]) for name in self.modules)


SIDES: dict[str, Side] = {}


def side(name: str, package: str, *modules: str, gc_too: bool = False) -> Callable[[type], type]:
    """Register the methods of a class as the functions of a side, named by workload."""

    def register(given: type) -> type:
        functions = {
            key: one.__func__ for key, one in vars(given).items() if isinstance(one, staticmethod)
        }
        SIDES[name] = Side(package, list(modules or [package]), functions)
        if gc_too:
            SIDES[f"{name}, gc off"] = Side(package, list(modules or [package]), functions, True)
        return given

    return register


def from_dicts(records: list[Any]) -> dict[str, Any]:
    return {
        "id": np.array([r["id"] for r in records]),
        "lat": np.array([r["position"]["lat"] for r in records]),
        "lon": np.array([r["position"]["lon"] for r in records]),
        "depth": np.array([r["position"]["depth"] for r in records]),
        "name": np.array([r["name"] for r in records], object),
        "active": np.array([r["active"] for r in records]),
    }


def scale(records: list[Any]) -> list[Any]:
    for record in records:
        record["position"]["depth"] *= -1
    return records


@side("ostrajson", "ostrajson")
class _Ostrajson:
    @staticmethod
    def records(path: str, _: str) -> Any:
        import ostrajson as oj

        return dict(oj.read_columns(path, FIELDS))

    @staticmethod
    def lines(path: str, _: str) -> Any:
        import ostrajson as oj

        return dict(oj.read_columns(path, FIELDS, lines=True))

    @staticmethod
    def edit(path: str, target: str) -> None:
        import ostrajson as oj

        doc = oj.read(path)
        depth, _ = doc.root.children().lookup("/position/depth")
        depth.set(-depth.numbers())
        doc.write(target)


@side("ostrajson.loads", "ostrajson", gc_too=True)
class _Loads:
    @staticmethod
    def records(path: str, _: str) -> Any:
        import ostrajson as oj

        with open(path, "rb") as file:
            return from_dicts(oj.loads(file.read()))

    @staticmethod
    def edit(path: str, target: str) -> None:
        import ostrajson as oj

        with open(path, "rb") as file:
            records = scale(oj.loads(file.read()))
        oj.dump(records, target)


def plain(name: str, package: str, module: str, load: str, dump: str | None) -> None:
    """Register a package with loads and dumps."""

    def loads() -> Callable[[Any], Any]:
        return getattr(importlib.import_module(module), load)  # type: ignore[no-any-return]

    def records(path: str, _: str) -> Any:
        with open(path, "rb") as file:
            return from_dicts(loads()(file.read()))

    def lines(path: str, _: str) -> Any:
        with open(path, "rb") as file:
            return from_dicts([loads()(line) for line in file])

    def edit(path: str, target: str) -> None:
        with open(path, "rb") as file:
            text = getattr(importlib.import_module(module), str(dump))(scale(loads()(file.read())))
        with open(target, "wb") as file:
            file.write(text if isinstance(text, bytes) else text.encode())

    functions: dict[str, Function] = {"records": records, "lines": lines}
    if dump is not None:
        functions["edit"] = edit
    SIDES[name] = Side(package, [module], functions)
    SIDES[f"{name}, gc off"] = Side(package, [module], functions, True)


plain("json", "json", "json", "loads", "dumps")
plain("orjson", "orjson", "orjson", "loads", "dumps")
plain("ujson", "ujson", "ujson", "loads", "dumps")


@side("msgspec", "msgspec", gc_too=True)
class _Msgspec:
    """Typed: only the fields that are wanted become objects."""

    @staticmethod
    def records(path: str, _: str) -> Any:
        import msgspec

        with open(path, "rb") as file:
            return _from_structs(msgspec.json.decode(file.read(), type=list[_station()]))

    @staticmethod
    def lines(path: str, _: str) -> Any:
        import msgspec

        with open(path, "rb") as file:
            return _from_structs(msgspec.json.Decoder(_station()).decode_lines(file.read()))


def _station() -> Any:
    import msgspec

    position = msgspec.defstruct(
        "Position", [("lat", float), ("lon", float), ("depth", int)], gc=False
    )
    return msgspec.defstruct(
        "Station", [("id", int), ("name", str), ("active", bool), ("position", position)], gc=False
    )


def _from_structs(stations: list[Any]) -> dict[str, Any]:
    return {
        "id": np.array([s.id for s in stations]),
        "lat": np.array([s.position.lat for s in stations]),
        "lon": np.array([s.position.lon for s in stations]),
        "depth": np.array([s.position.depth for s in stations]),
        "name": np.array([s.name for s in stations], object),
        "active": np.array([s.active for s in stations]),
    }


@side("pysimdjson", "pysimdjson", "simdjson", gc_too=True)
class _Simdjson:
    @staticmethod
    def records(path: str, _: str) -> Any:
        import simdjson

        document = simdjson.Parser().load(path)
        rows = [
            (r["id"], (p := r["position"])["lat"], p["lon"], p["depth"], r["name"], r["active"])
            for r in document
        ]
        return _from_rows(rows)

    @staticmethod
    def lines(path: str, _: str) -> Any:
        import simdjson

        parser = simdjson.Parser()
        rows = []
        with open(path, "rb") as file:
            for line in file:
                r = parser.parse(line)
                p = r["position"]
                rows.append((r["id"], p["lat"], p["lon"], p["depth"], r["name"], r["active"]))
                del r, p  # the parser serves one document at a time
        return _from_rows(rows)


def _from_rows(rows: list[Any]) -> dict[str, Any]:
    columns = list(zip(*rows, strict=True))
    return {
        name: np.array(column, object if name == "name" else None)
        for name, column in zip(FIELDS, columns, strict=True)
    }


def _from_frame(frame: Any) -> dict[str, Any]:
    return {
        name: frame[pointer[1:].replace("/", ".")].to_numpy() for name, pointer in FIELDS.items()
    }


@side("pandas", "pandas")
class _Pandas:
    @staticmethod
    def records(path: str, _: str) -> Any:
        import pandas as pd

        frame = pd.read_json(path, precise_float=True)
        return _from_frame(frame.join(pd.json_normalize(frame["position"]).add_prefix("position.")))

    @staticmethod
    def lines(path: str, _: str) -> Any:
        import pandas as pd

        frame = pd.read_json(path, lines=True, precise_float=True)
        return _from_frame(frame.join(pd.json_normalize(frame["position"]).add_prefix("position.")))


@side('pandas, engine="pyarrow"', "pandas", "pandas", "pyarrow")
class _PandasArrow:
    @staticmethod
    def lines(path: str, _: str) -> Any:
        import pandas as pd

        frame = pd.read_json(path, lines=True, engine="pyarrow")
        return _from_frame(frame.join(pd.json_normalize(frame["position"]).add_prefix("position.")))


def _from_arrow(table: Any) -> dict[str, Any]:
    flat = table.flatten()
    return _from_frame({name: flat[name] for name in flat.column_names})


@side("pyarrow", "pyarrow", "pyarrow.json")
class _Pyarrow:
    @staticmethod
    def lines(path: str, _: str) -> Any:
        import pyarrow.json

        return _from_arrow(pyarrow.json.read_json(path))


@side("polars", "polars")
class _Polars:
    @staticmethod
    def records(path: str, _: str) -> Any:
        import polars as pl

        return _from_frame(_unnest(pl.read_json(path).lazy()))

    @staticmethod
    def lines(path: str, _: str) -> Any:
        import polars as pl

        return _from_frame(_unnest(pl.scan_ndjson(path)))


def _unnest(frame: Any) -> Any:
    import polars as pl

    return frame.select(
        pl.col(pointer[1:].split("/")[0])
        .struct.field(pointer.split("/")[2])
        .alias(pointer[1:].replace("/", "."))
        if pointer.count("/") > 1
        else pl.col(pointer[1:])
        for pointer in FIELDS.values()
    ).collect()


@side("duckdb", "duckdb")
class _Duckdb:
    @staticmethod
    def records(path: str, _: str) -> Any:
        return _query(path, "array")

    @staticmethod
    def lines(path: str, _: str) -> Any:
        return _query(path, "newline_delimited")


def _query(path: str, form: str) -> Any:
    import duckdb

    return duckdb.sql(
        "select id, position.lat as lat, position.lon as lon, position.depth as depth, name, active "
        f"from read_json('{path}', format='{form}', maximum_object_size=1000000000)"
    ).fetchnumpy()


@side("awkward", "awkward")
class _Awkward:
    @staticmethod
    def records(path: str, _: str) -> Any:
        return _from_awkward(path, False)

    @staticmethod
    def lines(path: str, _: str) -> Any:
        return _from_awkward(path, True)


def _from_awkward(path: str, lines: bool) -> Any:
    import pathlib

    import awkward as ak

    array = ak.from_json(pathlib.Path(path), line_delimited=lines)
    columns = {name: ak.to_numpy(array[tuple(p[1:].split("/"))]) for name, p in FIELDS.items()}
    return columns
