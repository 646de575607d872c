"""Columns against slow Python loops over plain objects."""

import gzip
import http.server
import io
import json
import mmap
import pickle
import threading
import tracemalloc

import numpy as np
import ostrajson as oj
import pytest
from conftest import documents, same, texts, walk
from hypothesis import given
from hypothesis import strategies as st

ABSENT = object()


def at(record, pointer):
    try:
        return walk(record, pointer)
    except LookupError:
        return ABSENT


def scalars(value):
    if isinstance(value, list):
        for inner in value:
            yield from scalars(inner)
    elif not isinstance(value, dict):
        yield value


def number_dtype(values):
    if any(isinstance(v, float) for v in values):
        return np.float64
    return np.uint64 if any(v > 2**63 - 1 for v in values) else np.int64


def fits(values):
    """Whether one class holds all of the numbers exactly."""
    if any(isinstance(v, float) for v in values):
        return all(int(float(v)) == v for v in values if isinstance(v, int))
    return min(values) >= 0 or max(values) < 2**63


def plain(array):
    """An array's elements as plain objects, None if missing."""
    if isinstance(array, np.ma.MaskedArray):
        return [
            None if m else v
            for v, m in zip(array.data.tolist(), np.ma.getmaskarray(array).tolist(), strict=False)
        ]
    return [None if v != v else v for v in array.tolist()]


def check(column, state, values):
    """Compare a column of scalars with a list of values, None and ABSENT."""
    assert state.tolist() == [2 if v is ABSENT else int(v is None) for v in values]
    values = [None if v is ABSENT else v for v in values]
    present = [v for v in values if v is not None]
    if not present:
        assert column.dtype == np.float64
    elif isinstance(present[0], bool):
        assert column.dtype == bool
    elif isinstance(present[0], str):
        assert column.dtype == object
    else:
        assert column.dtype == number_dtype(present)
    assert isinstance(column, np.ma.MaskedArray) == (column.dtype.kind in "iub" and None in values)
    kind = float if column.dtype == np.float64 else lambda v: v
    assert same(plain(column), [v if v is None else kind(v) for v in values])


safe = st.integers(-(2**53), 2**53)
cells = st.sampled_from(
    [
        safe,
        st.integers(-(2**63), 2**63 - 1),
        st.integers(0, 2**64 - 1),
        safe | st.floats(allow_nan=False, allow_infinity=False),
        texts,
        st.booleans(),
    ]
)


@st.composite
def columns_of_records(draw):
    """Records whose fields a and p/b hold one kind of values each, or null, or nothing."""
    kinds = draw(cells), draw(cells)
    records = []
    for _ in range(draw(st.integers(0, 12))):
        record = {}
        a = draw(st.none() | st.just(ABSENT) | kinds[0])
        b = draw(st.none() | st.just(ABSENT) | kinds[1])
        if a is not ABSENT:
            record["a"] = a
        if b is not ABSENT:
            record["p"] = {"x": 1, "b": b}
        records.append(record)
    return records


@given(
    columns_of_records(),
    st.sampled_from(["array", "inside", "object", "lines"]),
)
def test_columns_equal_a_loop_over_the_records(records, form):
    fields = {"a": "/a", "b": "/p/b"}
    text = json.dumps(
        {"r": {str(i): r for i, r in enumerate(records)}, "z": [1]}
        if form == "object"
        else {"q": 0, "r": records}
        if form == "inside"
        else records
    )
    options = {"records": "/r"} if form in ("inside", "object") else {}
    if form == "lines":
        text, options = "".join(json.dumps(r) + "\n" for r in records), {"lines": True}
    expected = {name: [at(r, pointer) for r in records] for name, pointer in fields.items()}
    for name, values in expected.items():
        numbers = [v for v in values if type(v) in (int, float)]
        if numbers and not fits(numbers):
            with pytest.raises(oj.ColumnTypeError):
                oj.read_columns(text.encode(), {name: fields[name]}, **options)
            return
    read = oj.read_columns(text.encode(), fields, keys="k" if form == "object" else None, **options)
    parts = list(
        oj.iter_columns(
            text.encode(),
            {
                n: oj.Field(p, read[n].dtype if read[n].dtype != object else str)
                for n, p in fields.items()
            },
            batch_rows=3,
            **options,
        )
    )
    selected = oj.parse(json.dumps(records)).root.children().select(fields)
    for name, values in expected.items():
        check(read[name], read.state[name], values)
        check(selected[name], selected.state[name], values)
        assert [len(part[name]) for part in parts] == [
            min(3, len(values) - i) for i in range(0, len(values), 3)
        ]
        assert same([v for part in parts for v in plain(part[name])], plain(read[name]))
    assert read.rows == len(records)
    if form == "object":
        assert read["k"].tolist() == [str(i) for i in range(len(records))]


@given(st.lists(st.dictionaries(st.sampled_from("ab"), documents), max_size=8))
def test_flattened_and_json_columns_equal_a_loop(records):
    text = json.dumps(records).encode()
    read = oj.read_columns(text, {"j": ("/a", "json"), "o": ("/a", object)}, big_int="float")
    expected = [at(r, "/a") for r in records]
    assert [t if t is None else json.loads(t) for t in read["j"]] == [
        None if v is ABSENT else v for v in expected
    ]
    assert same(read["o"].tolist(), [None if v is ABSENT else v for v in expected])
    flat = [
        [v for v in scalars(value) if v is not None] for value in expected if value is not ABSENT
    ]
    kinds = {
        bool if isinstance(v, bool) else str if isinstance(v, str) else float
        for row in flat
        for v in row
    }
    numbers = [v for row in flat for v in row]
    if len(kinds) > 1 or (kinds == {float} and not fits(numbers)):
        with pytest.raises(oj.ColumnTypeError):
            oj.read_columns(text, {"f": ("/a", "flatten")})["f"]
        return
    ragged = oj.read_columns(text, {"f": ("/a", "flatten")})["f"]
    expected_rows = [[] if v is ABSENT or v is None else list(scalars(v)) for v in expected]
    values = plain(ragged.values)
    rows = [values[i:j] for i, j in zip(ragged.offsets, ragged.offsets[1:], strict=False)]
    assert rows == expected_rows


def test_values_by_rows(stations, stations_path):
    def samples(path, dtype):
        return oj.read_columns(path, {"s": ("/p", dtype, 2)})["s"]

    text = b'[{"p":[1,2]},{"p":null},{"p":[3,null]},{}]'
    whole = samples(text, None)
    assert whole.shape == (4, 2)
    assert whole.tolist() == [[1, 2], [None, None], [3, None], [None, None]]
    np.testing.assert_array_equal(samples(text, float)[[0, 2]], [[1, 2], [3, np.nan]])
    with pytest.raises(oj.ColumnTypeError, match="field 's', row 1: an array of 3"):
        samples(b'[{"p":[1,2]},{"p":[1,2,3]}]', None)
    column = oj.read_columns(stations_path, {"n": ("/name", str)}, records="/stations")
    assert column["n"].tolist() == [one["name"] for one in stations]


INTEGERS = b'[{"a":3},{"a":null},{}]'


@pytest.mark.parametrize(
    ("text", "dtype", "options", "expected"),
    [
        (INTEGERS, None, {"fill": -1}, np.array([3, -1, -1])),
        (INTEGERS, "int8", {"fill": -1}, np.array([3, -1, -1], np.int8)),
        (INTEGERS, "float32", {}, np.array([3, np.nan, np.nan], np.float32)),
        (INTEGERS, "u2", {}, np.ma.masked_array([3, 0, 0], [0, 1, 1], np.uint16)),
        (b'[{"a":true},{}]', bool, {"fill": False}, np.array([True, False])),
        (b'[{"a":"x"},{}]', str, {"fill": ""}, np.array(["x", ""], object)),
        (b'[{"a":"x"},{}]', None, {}, np.array(["x", None], object)),
        (b'[{"a":1.5},{"a":2}]', "number", {}, np.array([1.5, 2])),
    ],
)  # fmt: skip
def test_dtypes_and_fills(text, dtype, options, expected):
    column = oj.read_columns(text, {"a": ("/a", dtype)}, **options)["a"]
    assert column.dtype == expected.dtype
    assert type(column) is type(expected)
    np.testing.assert_array_equal(np.ma.getmaskarray(column), np.ma.getmaskarray(expected))
    np.testing.assert_array_equal(np.ma.filled(column, 9), np.ma.filled(expected, 9))


@pytest.mark.parametrize(
    ("text", "field", "row", "kind"),
    [
        (b'[{"a":1},{"a":"x"}]', "/a", 1, "a string"),
        (b'[{"a":1},{"a":1.5}]', ("/a", int), 1, "1.5"),
        (b'[{"a":1},{"a":300}]', ("/a", "uint8"), 1, "300"),
        (b'[{"a":1},{}]', oj.Field("/a", missing="raise"), 1, "nothing"),
        (b'[{"a":1},{"a":null}]', oj.Field("/a", missing="raise"), 1, "null"),
        (b'[{"a":[1]},{"a":[2,null]}]', oj.Field("/a", missing="raise"), 1, "null in an array"),
        (b'[{"a":[1]},{"a":[2,300]}]', ("/a", "uint8", "flatten"), 1, "300"),
        (b'[{"a":1},{"a":18446744073709551616}]', "/a", 1, "an integer beyond 64 bits"),
    ],
)
def test_conflicts_name_field_row_and_kind(text, field, row, kind):
    with pytest.raises(oj.ColumnTypeError) as caught:
        oj.read_columns(text, {"f": field})["f"]
    error = pickle.loads(pickle.dumps(caught.value))
    assert (error.field, error.row, error.kind) == ("f", row, kind)
    assert str(error).startswith(f"field 'f', row {row}: {kind}")


def test_text_columns_in_other_forms():
    text = '[{"a":"xü"},{},{"a":""}]'
    raw = oj.read_columns(text.encode(), {"a": ("/a", "utf8")})["a"]
    assert bytes(raw.data).decode() == "xü"
    assert raw.offsets.tolist() == [0, 3, 3, 3]
    if hasattr(np.dtypes, "StringDType"):
        strings = oj.read_columns(text.encode(), {"a": ("/a", "string")})["a"]
        assert strings.dtype == np.dtypes.StringDType(na_object=None)
        assert strings.tolist() == ["xü", None, ""]


def test_columns_are_views_of_one_buffer():
    columns = oj.read_columns(b'[{"a":1},{"a":2}]', ["/a"])
    assert columns["/a"] is columns["/a"]
    assert columns["/a"].base is not None
    assert (list(columns), len(columns), columns.rows, repr(columns)) == (
        ["/a"], 1, 2, "<ostrajson.Columns: 2 rows; /a: int64>",
    )  # fmt: skip
    with pytest.raises(KeyError):
        columns["a"]


@given(
    st.lists(
        st.none() | st.booleans() | st.integers(-(2**63), 2**64 - 1) | st.floats() | texts,
        max_size=8,
    ),
    cells,
    st.data(),
)
def test_set_writes_what_was_given_and_nothing_else(before, kind, data):
    text = oj.dumps(before, allow_nan=True)
    nodes = oj.parse(text, allow_nan=True).root.children()
    values = data.draw(st.lists(st.none() | kind, min_size=len(before), max_size=len(before)))
    null = data.draw(st.booleans())
    present = [v for v in values if v is not None]
    if any(isinstance(v, float) for v in present) and not fits(present):
        return
    nodes.set(values, null=null)
    floats = any(isinstance(v, float) for v in present)
    expected = [
        (None if null else old)
        if new is None
        else float(new)
        if floats and not isinstance(old, int)
        else new
        for old, new in zip(json.loads(text), values, strict=False)
    ]
    got = nodes.to_list()
    assert got == expected or same(got, expected)


@given(columns_of_records())
def test_writing_back_what_was_read_changes_nothing(records):
    doc = oj.parse(json.dumps(records))
    text = doc.dumps()
    nodes = doc.root.children()
    for pointer in ("/a", "/p/b"):
        found, missing = nodes.lookup(pointer)
        try:
            found.set(found.values())
            if len(found):
                nodes[pointer] = found.values(absent=missing)
        except oj.ColumnTypeError:
            continue
    assert doc.dumps() == text


def test_set_through_a_pointer():
    nodes = oj.parse('[{"a":1},{},{"a":null}]').root.children()
    nodes["/a"] = 7
    assert nodes.to_list() == [{"a": 7}, {}, {"a": 7}]
    nodes["/a"] = [1.5, 2]
    nodes["/a"] = [2.5, None, 3]
    nodes[2:]["/a"] = np.array([4])
    assert nodes.to_list() == [{"a": 2.5}, {}, {"a": 4}]
    for wrong, error in (
        ([1, 2, 3], KeyError),
        ([1], ValueError),
        (np.ones((2, 1)), ValueError),
        ([[1], [2]], TypeError),
        ([-1, 2**63], ValueError),
        ([0.5, 2**53 + 1], ValueError),
        (["a", 1], TypeError),
    ):
        with pytest.raises(error):
            nodes["/a"] = wrong
    assert nodes.to_list() == [{"a": 2.5}, {}, {"a": 4}]


def test_any_source_gives_the_same_columns(tmp_path, many):
    fields = {"t": "/t", "level": ("/level", float), "name": "/name", "ok": "/ok"}
    records = [json.loads(line) for line in many.splitlines()]
    path, packed = tmp_path / "ü.jsonl", tmp_path / "x.jsonl.gz"
    path.write_bytes(many)
    packed.write_bytes(gzip.compress(many, 1))
    with path.open("rb") as file:
        mapped = mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ)
    sources = [
        many,
        bytearray(many),
        mapped,
        path,
        str(path),
        packed,
        io.BytesIO(many),
        io.StringIO(many.decode()),
        path.open(),
    ]
    for source in sources:
        for threads in (0, 1):
            if threads and hasattr(source, "seek"):
                source.seek(0)
            columns = oj.read_columns(source, fields, lines=True, threads=threads)
            for name in fields:
                assert plain(columns[name]) == [r[name] for r in records], (source, name)
    rows = [part.rows for part in oj.iter_columns(packed, ["/t"], lines=True, batch_bytes=1 << 20)]
    assert len(rows) > 1
    assert sum(rows) == len(records)


def test_bad_lines(tmp_path):
    text = b'{"t":1}\nbad\n{"t":2}\n[\n'
    path = tmp_path / "bad.jsonl"
    path.write_bytes(text)
    for source in (text, bytearray(text), path):
        with pytest.raises(oj.JSONDecodeError) as caught:
            oj.read_columns(source, ["/t"], lines=True)
        assert (caught.value.record, caught.value.lineno, caught.value.pos) == (1, 2, 8)
        columns = oj.read_columns(source, ["/t"], lines=True, on_error="skip")
        assert columns["/t"].tolist() == [1, 2]
        assert (columns.bad_lines, [error.lineno for error in columns.errors]) == (2, [2, 4])
        for error in (caught.value, *columns.errors):
            assert error.doc == text.decode()


class Served(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        text = self.server.text
        self.send_response(200)
        self.send_header("Content-Length", str(len(text)))
        self.end_headers()
        self.wfile.write(text)

    def do_HEAD(self):
        self.do_GET()

    def log_message(self, *_):
        pass


def test_urls(many):
    pytest.importorskip("fsspec")
    pytest.importorskip("aiohttp")
    with http.server.ThreadingHTTPServer(("127.0.0.1", 0), Served) as server:
        threading.Thread(target=server.serve_forever, daemon=True).start()
        try:
            for server.text, name in ((many, "x.jsonl"), (gzip.compress(many, 1), "x.jsonl.gz")):
                url = f"http://127.0.0.1:{server.server_port}/{name}"
                assert oj.read_columns(url, ["/t"], lines=True)["/t"].sum() == sum(range(60_000))
                assert len(oj.read(url, lines=True).root.children()) == 60_000
        finally:
            server.shutdown()


def test_what_stops_reading(tmp_path, many):
    packed = tmp_path / "cut.gz"
    packed.write_bytes(gzip.compress(many)[:-1000])
    with pytest.raises(FileNotFoundError) as caught:
        oj.read_columns(tmp_path / "none", ["/t"])
    assert caught.value.filename == str(tmp_path / "none")
    for error, call in {
        LookupError: lambda: oj.read_columns(b'{"a":1}', [], records="/a"),
        oj.PointerError: lambda: oj.read_columns(b"[]", ["t"]),
        IsADirectoryError: lambda: oj.read_columns(tmp_path, []),
        ValueError: lambda: oj.read_columns(b"[]", [], on_error="x"),
        ZeroDivisionError: lambda: oj.read_columns(
            many, [], lines=True, progress=lambda *_: 1 // 0
        ),
        EOFError: lambda: list(oj.iter_columns(packed, ["/t"], lines=True)),
    }.items():
        with pytest.raises(error):
            call()


def test_progress_counts_up_to_the_end(many, capfd):
    seen = []
    oj.read_columns(many, ["/t"], lines=True, progress=lambda *args: seen.append(args))
    assert seen == sorted(seen)
    assert seen[-1] == (len(many), len(many), 60_000)
    oj.read_columns(many, ["/t"], lines=True, progress=True)
    assert "60,000 records" in capfd.readouterr().err


def test_batches_need_little_memory(tmp_path, many):
    path = tmp_path / "x.jsonl"
    path.write_bytes(many * 4)
    tracemalloc.start()
    for _ in oj.iter_columns(path, ["/t"], lines=True, batch_rows=1000):
        pass
    assert tracemalloc.get_traced_memory()[1] < 4_000_000
    tracemalloc.stop()
