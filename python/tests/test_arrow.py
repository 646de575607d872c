"""Columns by Arrow's PyCapsule interface, read as consumers would, and back."""

import ctypes
import gc
import json
import os
import threading

import arrow_reader as arrow
import numpy as np
import ostrajson as oj
import pytest
from conftest import same, texts
from hypothesis import given, settings
from hypothesis import strategies as st

int64s, uint64s = st.integers(-(2**63), 2**63 - 1), st.integers(2**63, 2**64 - 1)
doubles = st.floats(allow_nan=False, allow_infinity=False)
CASES = {
    "int64": (int64s, "/v"),
    "uint64": (uint64s, "/v"),
    "double": (doubles, ("/v", float)),
    "bool": (st.booleans(), ("/v", bool)),
    "text": (texts, ("/v", str)),
    "category": (st.sampled_from(["", "a", "ä", "long" * 9]), ("/v", "category")),
    "int8": (st.integers(-128, 127), ("/v", "int8")),
    "float32": (st.floats(width=32, allow_nan=False, allow_infinity=False), ("/v", "float32")),
    "ragged": (st.lists(int64s | st.none(), max_size=3), ("/v", "int64", "flatten")),
    "ragged texts": (st.lists(texts | st.none(), max_size=3), ("/v", str, "flatten")),
    "ragged categories": (st.lists(st.sampled_from(["p", "q"])), ("/v", "category", "flatten")),
    "fixed": (st.lists(st.booleans() | st.none(), min_size=3, max_size=3), ("/v", bool, 3)),
}


@pytest.mark.parametrize("name", CASES)
@settings(max_examples=50)
@given(data=st.data())
def test_consumers_see_the_values(name, data):
    strategy, field = CASES[name]
    values = data.draw(st.lists(strategy | st.none(), max_size=20))
    if all(v is None for v in values) and isinstance(field, str):
        field = (field, "int64")
    text = json.dumps([{} if v is None and i % 2 else {"v": v} for i, v in enumerate(values)])
    columns = oj.read_columns(text.encode(), {"v": field})
    for before in (True, False):  # what NumPy does with missing values is no consumer's business
        assert same(arrow.rows(columns.column("v").__arrow_c_array__()), values), before
        assert same(arrow.rows(columns.__arrow_c_array__()), [{"v": v} for v in values])
        _ = columns["v"]


def test_json_texts_fills_and_names():
    text = b'[{"a":1},{"a":"x\\u00e9"},{},{"a":[1, {}]}]'
    fields = {
        "ä": ("/a", "json"),
        "o": oj.Field("/a", object, fill="-"),
        "n": oj.Field("/a", "int16", fill=7, mismatch="missing"),
        "t": oj.Field("/a", str, fill="-", mismatch="missing"),
        "k": oj.Field("/a", "int64", 1, fill=0, mismatch="missing"),
    }
    columns = oj.read_columns(text, fields)
    capsules = columns.__arrow_c_array__()
    assert arrow.rows(capsules) == [
        {"ä": "1", "o": "1", "n": 1, "t": "-", "k": [1]},
        {"ä": '"xé"', "o": '"xé"', "n": 7, "t": "xé", "k": [0]},
        {"ä": None, "o": '"-"', "n": 7, "t": "-", "k": [0]},
        {"ä": "[1,{}]", "o": "[1,{}]", "n": 7, "t": "-", "k": [1]},
    ]
    capsule = columns.__arrow_c_schema__()
    schema = arrow.inside(capsule, arrow.ArrowSchema)
    children = [schema.children[i][0] for i in range(schema.n_children)]
    assert [one.format for one in children] == [b"U", b"U", b"s", b"U", b"+w:1"]
    metadata = ctypes.string_at(children[0].metadata, 4 + 4 + 20 + 4 + 10)
    assert metadata == b"\2\0\0\0\x14\0\0\0ARROW:extension:name\x0a\0\0\0arrow.json"
    with pytest.raises(oj.ColumnTypeError, match="field 'b', row 1: 300 where"):
        oj.read_columns(b"[1,300]", {"b": ("", "int8")}).__arrow_c_array__()


def test_memory_is_shared_and_outlives_everything():
    text = json.dumps([{"i": i, "x": i / 2, "s": f"t{i}", "l": [i]} for i in range(1000)]).encode()
    columns = oj.read_columns(
        text, {"i": "/i", "x": "/x", "s": ("/s", "utf8"), "l": ("/l", "flatten")}
    )
    capsules = columns.__arrow_c_array__()
    array = arrow.moved(capsules[1], arrow.ArrowArray)
    i, x, s, lists = (array.children[k][0] for k in range(4))
    assert i.buffers[1] == columns["i"].ctypes.data
    assert x.buffers[1] == columns["x"].ctypes.data
    assert s.buffers[1] == columns["s"].offsets.ctypes.data
    assert s.buffers[2] == columns["s"].data.ctypes.data
    assert lists.buffers[1] == columns["l"].offsets.ctypes.data
    assert lists.children[0][0].buffers[1] == columns["l"].values.ctypes.data
    del columns, capsules, text
    gc.collect()
    np.zeros(100_000)
    assert arrow.number(ctypes.c_int64, i.buffers[1], 999) == 999
    # Another thread, which does not hold the GIL while it releases.
    thread = threading.Thread(target=arrow.release, args=[array])
    thread.start()
    thread.join()


def test_children_may_be_moved_and_released_alone():
    columns = oj.read_columns(b'[{"a":1,"b":"c"}]', {"a": "/a", "b": ("/b", "category")})
    array = arrow.moved(columns.__arrow_c_array__()[1], arrow.ArrowArray)
    child = arrow.ArrowArray()
    ctypes.memmove(ctypes.byref(child), array.children[1], ctypes.sizeof(child))
    array.children[1][0].release = None
    arrow.release(array)
    text = child.dictionary[0].buffers[2]
    assert ctypes.string_at(text, 1) == b"c"
    arrow.release(child)


def test_streams_give_one_array_and_end():
    columns = oj.read_columns(b'[{"a":1},{"a":2}]', ["/a"])
    capsule = columns.__arrow_c_stream__()
    stream = arrow.inside(capsule, arrow.ArrowStream)
    schema, array, end = arrow.ArrowSchema(), arrow.ArrowArray(), arrow.ArrowArray()
    assert stream.get_schema(stream, schema) == 0
    assert stream.get_next(stream, array) == 0
    assert stream.get_next(stream, end) == 0
    assert not end.release
    del capsule  # releases the stream; what it gave stays
    gc.collect()
    assert [arrow.value(schema, array, i) for i in range(2)] == [{"/a": 1}, {"/a": 2}]
    arrow.release(array)
    arrow.release(schema)


@pytest.mark.skipif(
    "libasan" in os.environ.get("LD_PRELOAD", ""), reason="AddressSanitizer keeps what is freed"
)
def test_capsules_that_nobody_uses_leak_nothing():
    # Far more than the limit if they did.
    text = json.dumps([{"a": i, "s": "text"} for i in range(20_000)]).encode()
    columns = oj.read_columns(text, {"a": "/a", "s": ("/s", "category")})

    def peak():
        with open("/proc/self/statm") as file:
            return int(file.read().split()[1]) * 4096

    for n in range(300):
        _ = columns.__arrow_c_array__(), columns.__arrow_c_stream__(), columns.__arrow_c_schema__()
        if n == 20:
            before = peak()
    assert peak() - before < 8 << 20


def test_columns_of_nodes():
    nodes = oj.parse('[{"a":1},{},{"a":null},{"a":3}]').root.children()
    found, absent = nodes.lookup("/a")
    column = found.column(absent=absent)
    assert arrow.rows(column.__arrow_c_array__()) == [1, None, None, 3]
    assert column.state.tolist() == [0, 2, 1, 0]
    assert len(column) == 4
    assert column.to_numpy().tolist() == [1, None, None, 3]


@pytest.mark.parametrize("name", ["int64", "uint64", "double", "bool", "text", "category"])
@settings(max_examples=50)
@given(data=st.data())
def test_what_came_by_arrow_goes_back(name, data):
    values = data.draw(st.lists(CASES[name][0] | st.none()))
    dtype = {"double": float, "text": str}.get(name, name)
    column = oj.read_columns(json.dumps(values).encode(), {"v": ("", dtype)}).column("v")
    assert same(json.loads(oj.dumps(column)), values)
    nodes = oj.parse(json.dumps(["-"] * len(values))).root.children()
    nodes.set(column, null=True)
    assert same(nodes.to_list(), values)


def test_tables_become_records():
    text = b'[{"a":1,"b":["x",null]},{"b":null,"c":{"d":[0.5]}}]'
    columns = oj.read_columns(text, {"a": "/a", "b": ("/b", "flatten"), "c": ("/c", "json")})
    assert json.loads(oj.dumpb({"rows": columns})) == {
        "rows": [
            {"a": 1, "b": ["x", None], "c": None},
            {"a": None, "b": None, "c": {"d": [0.5]}},
        ]
    }


def test_producers_that_do_not_keep_to_the_rules():
    capsules = oj.read_columns(b"[1,2]", {"v": ""}).column("v").__arrow_c_array__()
    nodes = oj.parse("[0,0]").root.children()
    for given_, error in [
        ((1, 2), "expected arrow_schema"),
        (capsules[::-1], "expected arrow_schema"),
        ([*capsules], "expected two capsules"),
        (capsules, None),
        (capsules, "used before"),
    ]:
        producer = type("Producer", (), {"__arrow_c_array__": lambda self, g=given_: g})()
        if error is None:
            nodes.set(producer)
            continue
        with pytest.raises((TypeError, ValueError), match=error):
            nodes.set(producer)
    assert nodes.to_list() == [1, 2]
