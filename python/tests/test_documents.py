"""Documents, nodes and the cursor against plain Python objects."""

import copy
import gzip
import io
import json
import mmap
import pickle
import weakref

import numpy as np
import ostrajson as oj
import pytest
from conftest import documents, same, walk
from hypothesis import given
from hypothesis import strategies as st

TEXT = '{"a":[1,2.5,"x",null,true,{"b":-1}],"c":{"b":18446744073709551615,"d":[]}}'


def pointers(value, prefix=""):
    """All pointers into a value."""
    yield prefix
    items = (
        value.items()
        if isinstance(value, dict)
        else enumerate(value)
        if isinstance(value, list)
        else ()
    )
    for key, inner in items:
        yield from pointers(inner, f"{prefix}/{str(key).replace('~', '~0').replace('/', '~1')}")


@given(st.lists(documents, max_size=8), st.data())
def test_lookups_and_picking_equal_plain_objects(records, data):
    nodes = oj.parse(json.dumps(records)).root.children()
    assert len(nodes) == len(records)
    assert same(nodes.to_list(), records)
    assert [
        same(node.to_list(), [record]) for node, record in zip(nodes, records, strict=False)
    ] == [True] * len(records)

    known = sorted({pointer for record in records for pointer in pointers(record)})
    pointer = data.draw(st.sampled_from([*known, "/0", "/x/-", "/00"]))
    found, missing = nodes.lookup(pointer)
    expected = []
    for i, record in enumerate(records):
        try:
            expected.append(walk(record, pointer))
            assert not missing[i]
        except LookupError:
            assert missing[i]
    assert same(found.to_list(), expected)

    index = data.draw(st.slices(len(records)))
    assert same(nodes[index].to_list(), records[index])
    if records:
        picked = data.draw(st.lists(st.integers(-len(records), len(records) - 1)))
        assert same(nodes[picked].to_list(), [records[i] for i in picked])
        assert same(nodes[np.array(picked, np.int8)].to_list(), [records[i] for i in picked])
        mask = np.array(
            data.draw(st.lists(st.booleans(), min_size=len(records), max_size=len(records)))
        )
        assert same(
            nodes[mask].to_list(), [one for one, m in zip(records, mask, strict=False) if m]
        )


def test_the_rest_of_the_node_operations():
    root = oj.parse(TEXT).root
    scalars, counts = root["/a"].flatten()
    assert scalars.to_list() == [1, 2.5, "x", None, True]
    assert counts.dtype == np.int64
    assert counts.tolist() == [5]
    found, missing = root.children().by_name("b")
    assert (found.to_list(), missing.tolist()) == ([-1, 2**64 - 1], [False, False])
    assert root.pointer_to("b") == "/a/5/b"
    assert root.pointer_to("z") is None
    assert root.keys() == ["a", "c"]
    assert root["/a"].children().kinds().tolist() == [6, 6, 5, 0, 2, 3]
    items = root["/a"].children()
    items[:2].set_kinds([oj.Kind.STRING, oj.Kind.TRUE])
    items[2:4].set_kinds(oj.Kind.NUMBER)
    assert items.to_list() == ["", True, 0, 0, True, {"b": -1}]
    root["/c"].set_keys(["ü", "ü", "v"])
    assert root["/c"].children().to_list() == [None] * 3
    root["/a"].resize(1)
    assert root["/a"].to_list() == [[""]]


def test_node_data_goes_out_and_comes_back():
    nodes = oj.parse(TEXT).root["/a"].children()
    data = nodes.get_data()
    assert data.types.tolist() == [6, 6, 5, 0, 2, 3]
    assert (data.number_types.tolist(), data.strings, data.doubles.tolist()) == (
        [0, 0],
        ["x"],
        [1, 2.5],
    )
    data.doubles[:] *= 2
    nodes[:5].set_data(data._replace(types=data.types[:5], strings=["ü"]))
    assert nodes.to_list() == [2, 5, "ü", None, True, {"b": -1}]
    for bad in (data._replace(types=[9]), data._replace(doubles=[]), data._replace(strings=[None])):
        with pytest.raises(ValueError):  # noqa: PT011
            nodes.set_data(bad)


@given(documents)
def test_a_cursor_copies_a_level_through_flat_lists(value):
    source = oj.Cursor(json.dumps([value, value] if not isinstance(value, (dict, list)) else value))
    target = oj.Cursor("[]" if source.kind == oj.Kind.ARRAY else "{}")
    if source.kind == oj.Kind.OBJECT:
        target.set_keys(source.keys())
    target.set_kinds(source.kinds())
    target.set_number_types(source.number_types())
    for name in ("doubles", "uint64s", "int64s", "strings"):
        getattr(target, f"set_{name}")(getattr(source, name)())
    flat = [k not in (oj.Kind.OBJECT, oj.Kind.ARRAY) for k in source.kinds()]

    def entries(cursor):
        level = json.loads(cursor.dumps())
        return level.values() if isinstance(level, dict) else level

    for keep, a, b in zip(flat, entries(source), entries(target), strict=False):
        assert not keep or a == b


def test_moving_a_cursor():
    cursor = oj.parse(TEXT).cursor()
    assert cursor.find("b", recursive=True)
    assert cursor.int64s().tolist() == []
    assert cursor.doubles().tolist() == [-1]
    cursor.up(3)
    assert not cursor.find("b")
    assert cursor.go("/c/b")
    assert cursor.uint64s().tolist() == [2**64 - 1]
    cursor.up()
    cursor.cd(0)
    cursor.set_kind(oj.Kind.NULL)
    cursor.up(9)
    assert not cursor.go("/none")
    assert cursor.dumps() == TEXT.replace("18446744073709551615", "null")
    with pytest.raises(oj.PointerError):
        cursor.go("c")


@pytest.mark.parametrize("lines", [False, True])
def test_read_from_anywhere(tmp_path, lines):
    text = '1\r\n[2,"ü"]\n\n3' if lines else '[1,[2,"ü"],3]'
    data = text.encode()
    path = tmp_path / "ü.json"
    path.write_bytes(data)
    packed = tmp_path / "x.json.gz"
    packed.write_bytes(gzip.compress(data))
    odd = tmp_path / "x\udcff.json"
    odd.write_bytes(data)
    with path.open("rb") as file:
        mapped = mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ)
    sources = [
        path, str(path), odd, packed, data, bytearray(data), memoryview(data), mapped,
        np.frombuffer(data, np.uint8), io.BytesIO(data), io.StringIO(text), path.open(), packed.as_uri(),
    ]  # fmt: skip
    for source in sources:
        if isinstance(source, str) and "://" in source:
            try:
                import fsspec  # noqa: F401
            except ImportError:
                continue
        try:
            assert oj.read(source, lines=lines).to_python() == [1, [2, "ü"], 3]
        finally:
            if hasattr(source, "close"):
                source.close()
    assert oj.parse(text, lines=lines).to_python() == [1, [2, "ü"], 3]


def test_write_anywhere(tmp_path):
    doc = oj.parse(TEXT)
    for name in ("a.json", "a.json.gz"):
        doc.write(tmp_path / name, indent=2)
        assert oj.read(tmp_path / name).dumps() == TEXT
    assert (tmp_path / "a.json").read_text() == doc.dumps(indent=2)
    buffer = io.BytesIO()
    doc.write(buffer)
    assert buffer.getvalue() == doc.dumpb() == TEXT.encode()
    doc.write(tmp_path / "a.jsonl", lines=True)
    assert (tmp_path / "a.jsonl").read_text() == doc.dumps(lines=True) == TEXT + "\n"
    assert oj.parse("[1,[2]]").dumpb(lines=True) == b"1\n[2]\n"
    with pytest.raises(FileNotFoundError) as caught:
        doc.write(tmp_path / "none" / "a.json")
    assert caught.value.filename == str(tmp_path / "none" / "a.json")
    assert pickle.loads(pickle.dumps(doc)).dumps() == copy.deepcopy(doc).dumps() == TEXT


def test_errors_say_where_and_pickle(tmp_path):
    path = tmp_path / "bad.json"
    path.write_text('{\n  "ü": [1,\n  2}')
    with pytest.raises(oj.JSONDecodeError) as caught:
        oj.read(path)
    error = pickle.loads(pickle.dumps(caught.value))
    assert isinstance(error, json.JSONDecodeError)
    assert isinstance(error, ValueError)
    assert (error.lineno, error.colno, error.pos, error.filename) == (3, 4, 17, str(path))
    assert error.doc == path.read_text()
    assert str(error) == f"{path}:3:4: {error.msg} (byte 17)"
    with pytest.raises(oj.JSONDecodeError) as caught:
        oj.parse("1\n[", lines=True, name="log")
    assert (caught.value.record, caught.value.filename) == (1, "log")
    with pytest.raises(FileNotFoundError) as missing:
        oj.read(tmp_path / "none")
    assert missing.value.filename == str(tmp_path / "none")
    for call in (oj.parse("[]").root.lookup, lambda p: oj.parse("[]")[p]):
        with pytest.raises(oj.PointerError):
            call("x")
    with pytest.raises(KeyError):
        oj.parse("[]")["/x"]


ROOT_NODES = oj.parse("[1]").root


@pytest.mark.parametrize(
    ("call", "argument"),
    [
        (lambda: oj.parse(1), "text"),
        (lambda: oj.parse("1", name=1), "name"),
        (lambda: oj.parse("1", comments=1), "comments"),
        (lambda: oj.parse("1", big_int=None), "big_int"),
        (lambda: oj.read(3), "source"),
        (lambda: oj.loads(None), "text"),
        (lambda: oj.loads("1", allow_nan="no"), "allow_nan"),
        (lambda: oj.dumps(1, sort_keys=None), "sort_keys"),
        (lambda: oj.dumps(1, indent=1.5), "indent"),
        (lambda: ROOT_NODES.lookup(None), "pointer"),
        (lambda: ROOT_NODES.by_name(b"a"), "name"),
        (lambda: ROOT_NODES.flatten(1), "pointer"),
        (lambda: ROOT_NODES.resize("1"), "count"),
        (lambda: ROOT_NODES[1.5], "index"),
        (lambda: ROOT_NODES[None], "index"),
        (lambda: ROOT_NODES.set_keys("ab"), "keys"),
        (lambda: ROOT_NODES.set_keys([1]), "keys"),
        (lambda: ROOT_NODES.set_kinds([1.5]), "kinds"),
        (lambda: ROOT_NODES.set_data(3), "data"),
        (lambda: ROOT_NODES.set([object()]), "values"),
        (lambda: ROOT_NODES.values(dtype="complex"), "dtype"),
        (lambda: ROOT_NODES.values(shape=1.5), "shape"),
        (lambda: ROOT_NODES.select(3), "fields"),
        (lambda: ROOT_NODES.select({"a": 3}), "fields"),
        (lambda: oj.Cursor("[1]").cd("a"), "index"),
        (lambda: oj.Cursor("[1]").find(3), "name"),
        (lambda: oj.Cursor("[1]").set_doubles(["a"]), "values"),
        (lambda: oj.Cursor("[1]").set_strings("ab"), "values"),
        (lambda: oj.read_columns(b"[]", "ab"), "fields"),
        (lambda: oj.read_columns(b"[]", [], records=3), "records"),
        (lambda: oj.read_columns(b"[]", [], progress=3), "progress"),
        (lambda: oj.read_columns(3, []), "source"),
    ],
)
def test_a_wrong_type_is_a_type_error_that_names_the_argument(call, argument):
    with pytest.raises(TypeError, match=rf"^{argument}\b"):
        call()


def test_documents_can_be_watched_and_shown():
    doc = oj.parse(TEXT)
    assert weakref.ref(doc)() is doc
    assert repr(doc) == "<ostrajson.Document: object>"
    assert repr(doc.root) == "<ostrajson.Nodes: 1 node>"


def test_describe(stations_path):
    shown = oj.describe(stations_path, depth=1)
    assert shown.splitlines()[0] == "object, 6 members"
    assert shown.splitlines()[-1] == "└─ stations: array, 2,400 elements: 2,400 object"
    assert oj.describe(b"[1,2.5,3,4,-9223372036854775807]") == (
        "array, 5 elements: 4 number, 1 integer (int64)\n├─ [0]: integer 1\n├─ [1]: number 2.5\n"
        "├─ [2]: integer 3\n└─ … 2 more"
    )
    with pytest.raises(KeyError):
        oj.describe(b"[]", "/x")
