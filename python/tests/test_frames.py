"""Columns in the packages that people go on with; each test needs what it is about."""

import json

import numpy as np
import ostrajson as oj
import pytest
from conftest import scalars
from hypothesis import given, settings
from hypothesis import strategies as st

TEXT = b"""[
{"i":1,"u":18446744073709551615,"x":1.5,"s":"p","b":true,"l":[1,2],"k":[1,2],"j":{"q":1},"c":"red"},
{"i":2,"u":2,"x":null,"s":null,"l":[],"j":[1],"c":"blue"},
{"i":3,"u":3,"x":2,"s":"z\xc3\xa9","b":false,"l":null,"k":[3,4],"j":"t","c":"red","m":9007199254740993}]"""
FIELDS = {
    "i": "/i", "u": "/u", "x": "/x", "s": "/s", "b": "/b", "m": "/m", "l": ("/l", "flatten"),
    "k": ("/k", "int64", 2), "j": ("/j", "json"), "c": ("/c", "category"), "n": ("/i", "int8"),
}  # fmt: skip
ROWS = [
    {"i": 1, "u": 2**64 - 1, "x": 1.5, "s": "p", "b": True, "m": None, "l": [1, 2], "k": [1, 2],
     "j": '{"q":1}', "c": "red", "n": 1},
    {"i": 2, "u": 2, "x": None, "s": None, "b": None, "m": None, "l": [], "k": None, "j": "[1]",
     "c": "blue", "n": 2},
    {"i": 3, "u": 3, "x": 2.0, "s": "zé", "b": False, "m": 2**53 + 1, "l": None, "k": [3, 4],
     "j": '"t"', "c": "red", "n": 3},
]  # fmt: skip


@pytest.fixture
def columns():
    return oj.read_columns(TEXT, FIELDS)


def plain(value):
    """A cell of a frame as a plain object."""
    if isinstance(value, (np.ndarray, list)):
        return [plain(one) for one in list(value)]
    if str(value) in ("<NA>", "nan", "None"):
        return None
    return value.item() if isinstance(value, np.generic) else value


def address_of_arrow(array):
    return array.buffers()[1].address


def test_pyarrow(columns, tmp_path):
    pa = pytest.importorskip("pyarrow")
    table = columns.to_arrow()
    table.validate(full=True)
    assert table.to_pylist() == ROWS
    assert (
        pa.record_batch(columns).num_rows
        == pa.RecordBatchReader.from_stream(columns).read_all().num_rows
        == 3
    )
    assert pa.array(columns.column("l")).type == pa.large_list(pa.int64())
    assert table["c"].type == pa.dictionary(pa.int32(), pa.large_string())
    for name in "iux":
        assert address_of_arrow(table[name].chunk(0)) == columns[name].ctypes.data
    path = tmp_path / "x.parquet"
    columns.write_parquet(path, compression="zstd")
    from pyarrow import parquet

    assert parquet.read_table(path).to_pylist() == ROWS


@pytest.mark.parametrize("backend", ["numpy", "numpy_nullable", "pyarrow"])
def test_pandas(columns, backend):
    pytest.importorskip("pandas")
    if backend == "pyarrow":
        pytest.importorskip("pyarrow")
    frame = columns.to_pandas(dtype_backend=backend)
    for name in FIELDS:
        assert [plain(v) for v in frame[name]] == [row[name] for row in ROWS], name
    dtypes = {name: str(dtype) for name, dtype in frame.dtypes.items()}
    expected = {
        "numpy": ("int64", "uint64", "float64", "str", "boolean", "Int64", "category", "int8"),
        "numpy_nullable": (
            "Int64",
            "UInt64",
            "Float64",
            "string",
            "boolean",
            "Int64",
            "category",
            "Int8",
        ),
    }.get(backend)
    if expected is not None:
        assert tuple(dtypes[name] for name in "iuxsbmcn") == tuple(
            "object" if e == "str" and dtypes["s"] == "object" else e for e in expected
        )
    for name in "iux":
        values = frame[name].array
        shared = (
            address_of_arrow(values.__arrow_array__().chunk(0)) if backend == "pyarrow"
            else getattr(values, "_data", values).__array_interface__["data"][0] if backend != "numpy"
            else frame[name].to_numpy().ctypes.data
        )  # fmt: skip
        assert shared == columns[name].ctypes.data, name
    with pytest.raises(ValueError, match="dtype_backend"):
        columns.to_pandas(dtype_backend="none")


def test_pandas_fills_and_objects():
    pytest.importorskip("pandas")
    fields = {
        "x": "/x",
        "b": ("/b", bool),
        "c": ("/c", "category"),
        "s": ("/s", str),
        "o": ("/j", object),
    }
    columns = oj.read_columns(
        b'[{"j":{"a":[1]}},{"x":1,"b":true,"c":"r","s":"t"}]', fields,
        fill={"x": 7, "b": False, "c": "none", "s": "-"},
    )  # fmt: skip
    frame = columns.to_pandas()
    assert frame.to_dict("list") == {
        "x": [7, 1], "b": [False, True], "c": ["none", "r"], "s": ["-", "t"], "o": [{"a": [1]}, None]
    }  # fmt: skip
    assert [str(frame[name].dtype) for name in "xbc"] == ["int64", "bool", "category"]
    empty = oj.read_columns(b"[]", fields).to_pandas()
    assert len(empty) == 0
    assert list(empty) == list(fields)


def test_polars(columns):
    pl = pytest.importorskip("polars")
    frame = columns.to_polars()
    assert frame.to_dicts() == ROWS
    assert frame.schema["c"] == pl.Categorical
    assert frame.schema["j"] == pl.String
    assert frame["i"].to_numpy().ctypes.data == columns["i"].ctypes.data
    assert pl.Series(columns.column("s")).to_list() == [row["s"] for row in ROWS]
    assert pl.Series(oj.parse("[1,null]").root.children().column()).to_list() == [1, None]


def test_duckdb(columns):
    duckdb = pytest.importorskip("duckdb")
    found = duckdb.sql("select sum(i), max(u), count(x), max(s), list(c), first(j) from columns")
    assert found.fetchall() == [(6, 2**64 - 1, 2, "zé", ["red", "blue", "red"], '{"q":1}')]
    with pytest.raises(duckdb.Error):
        duckdb.sql("select error('no') from columns").fetchall()
    assert duckdb.sql("select count(*) from columns").fetchall() == [(3,)]


def test_awkward(columns):
    ak = pytest.importorskip("awkward")
    array = columns.to_awkward()
    assert array.to_list() == ROWS
    assert ak.sum(array["l"], axis=1).to_list() == [3, 0, None]
    assert np.shares_memory(ak.to_numpy(array["i"]), columns["i"])


def test_series_go_back():
    pd, pl, pa = (pytest.importorskip(name) for name in ("pandas", "polars", "pyarrow"))
    nodes = oj.parse('[{"a":1},{"a":2},{"a":3}]').root.children()
    for values, expected in [
        (pd.Series([1.5, np.nan, 2.0]), [1.5, None, 2.0]),
        (pd.Series([2**53 + 1, None, 3], dtype="Int64"), [2**53 + 1, None, 3]),
        (pd.Series(["x", None, "y"]), ["x", None, "y"]),
        (pd.Series(["x", "y", "x"], dtype="category"), ["x", "y", "x"]),
        (pl.Series([True, None, False]), [True, None, False]),
        (pl.Series(["longer than twelve bytes", None, "ä"]), ["longer than twelve bytes", None, "ä"]),
        (pa.chunked_array([[1], [None, 3]]), [1, None, 3]),
        (pa.array([0, None, 1, 2], pa.uint8())[1:], [None, 1, 2]),
    ]:  # fmt: skip
        assert json.loads(oj.dumps({"v": values})) == {"v": expected}
        nodes["/a"].set(["", "", ""])  # where NaN counts as missing
        nodes["/a"].set(values, null=True)
        assert nodes["/a"].to_list() == expected
        nodes["/a"].set(["", "", ""])
        nodes["/a"] = values
        assert nodes["/a"].to_list() == ["" if one is None else one for one in expected]


def test_frames_become_records():
    pd, pl, pa = (pytest.importorskip(name) for name in ("pandas", "polars", "pyarrow"))
    rows = [{"a": 1, "b": ["x", None], "c": {"d": 0.5}}, {"a": None, "b": None, "c": {"d": None}}]
    for frame in (pl.DataFrame(rows), pa.Table.from_pylist(rows)):
        assert json.loads(oj.dumps(frame)) == rows
    frame = pd.DataFrame({"t": pd.to_datetime(["2026-01-02T03:04:05.5Z", None]), "d": [1, 2]})
    assert json.loads(oj.dumps(frame))[1] == {"t": None, "d": 2}
    assert oj.dumps(frame).startswith('[{"t":"2026-01-02T03:04:05.5')
    times = pa.array([-1, 1_700_000_000_123], pa.timestamp("ms", "Europe/Berlin"))
    assert oj.dumps(times) == '["1969-12-31T23:59:59.999Z","2023-11-14T22:13:20.123Z"]'
    assert oj.dumps(pa.array([-1, 20_000], pa.date32())) == '["1969-12-31","2024-10-04"]'
    for array in (pa.array([b"\xff"]), pa.array([1], pa.duration("s"))):
        with pytest.raises(TypeError, match="not Arrow's type"):
            oj.dumps(array)
    broken = pa.array([b"\xff"]).view(pa.string())
    with pytest.raises(UnicodeDecodeError):
        oj.dumps(broken)


names = st.sampled_from(["a", "b", "ä", "c d", "~", "/", "0"])
values = st.recursive(
    scalars,
    lambda inner: st.lists(inner, max_size=3) | st.dictionaries(names, inner, max_size=4),
    max_leaves=12,
)


@settings(max_examples=100)
@given(
    st.lists(st.dictionaries(names, values, max_size=5), max_size=8),
    st.sampled_from([None, 1, 2, 3]),
)
def test_fields_found_are_those_of_json_normalize(records, depth):
    pd = pytest.importorskip("pandas")
    expected = pd.json_normalize(records, max_level=None if depth is None else depth - 1)
    frame = oj.read_columns(json.dumps(records).encode(), max_depth=depth).to_pandas()
    assert set(frame.columns) == set(expected.columns)
    for name in expected.columns:
        for ours, theirs in zip(map(plain, frame[name]), map(plain, expected[name]), strict=True):
            # They round integers beside missing ones.
            exact = float(ours) if isinstance(theirs, float) and type(ours) is int else ours
            assert exact == theirs, name
            assert isinstance(ours, bool) == isinstance(theirs, bool)
