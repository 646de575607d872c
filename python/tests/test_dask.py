"""Data frames of many files: each is compared with the files read whole, one after the other."""

import gzip
import io
import itertools
import json
import logging
import os
import signal
import time

import numpy as np
import ostrajson as oj
import pytest
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st

pytest.importorskip("dask.dataframe")
pd = pytest.importorskip("pandas")

import dask  # noqa: E402
from ostrajson._parts import LinesOfRange  # noqa: E402

FIELDS = {"id": "/id", "x": "/at/x", "name": "/name", "ok": "/ok", "s": ("/s", "flatten")}


def make_records(count, first=0):
    return [
        {"id": None if i % 11 == 5 else i, "at": {"x": i / 4}, "name": f"né {i % 7}" if i % 5 else None,
         "ok": i % 3 == 0, "s": list(range(i % 4))}
        for i in range(first, first + count)
    ]  # fmt: skip


def to_lines(records):
    return "".join(json.dumps(one) + "\n" for one in records).encode()


@pytest.fixture(autouse=True)
def one_thread():
    with dask.config.set(scheduler="synchronous"):
        yield


@pytest.fixture
def folder(tmp_path):
    """Three files of lines, of which the tenth is the last by nature, and the second by its letters."""
    for number, first in (("1", 0), ("2", 100), ("10", 200)):
        (tmp_path / f"x-{number}.jsonl").write_bytes(to_lines(make_records(100, first)))
    return tmp_path


def as_rows(frame):
    """The rows of a frame as plain objects, None for what is missing."""
    frame = frame.compute() if hasattr(frame, "compute") else frame
    columns = [
        [
            v.tolist() if isinstance(v, np.ndarray) else None if pd.isna(v) else v
            for v in frame[name].astype(object)
        ]
        for name in frame
    ]
    return list(zip(*columns, strict=True))


def expected_rows(records, names=FIELDS):
    rows = [{**one, "x": one["at"]["x"]} for one in records]
    return [tuple(one[name] for name in names) for one in rows]


line = st.sampled_from([b"", b" ", b'{"a":1}', b'{"a":22}', b'{"a":"\\n ' + b"x" * 50 + b'"}'])
ends = st.sampled_from([b"\n", b"\r\n", b"\n\n"])


@given(st.lists(st.tuples(line, ends)), line, st.lists(st.integers(0, 300)), st.integers(1, 70))
def test_every_line_lies_in_one_range(pieces, last, cuts, size):
    text = b"".join(one + end for one, end in pieces) + last
    cuts = sorted({0, *(cut for cut in cuts if cut < len(text)), len(text)})
    parts = []
    for start, end in itertools.pairwise(cuts):
        lines = LinesOfRange(io.BytesIO(text), start, end)
        assert lines.begin >= start
        parts.append(b"".join(iter(lambda lines=lines: lines.read(size), b"")))
        assert not parts[-1] or lines.begin == len(b"".join(parts[:-1]))
    assert b"".join(parts) == text
    begins = [sum(map(len, parts[:i])) for i in range(len(parts))]
    for begin, start, end, part in zip(begins, cuts, cuts[1:], parts, strict=False):
        assert not part or start <= begin < end


@settings(max_examples=15, suppress_health_check=[HealthCheck.function_scoped_fixture])
@given(blocksize=st.integers(150, 9000))
def test_ranges_of_any_size_give_every_record_once(folder, blocksize):
    frame = oj.dask.read_columns(folder / "x-*.jsonl", FIELDS, lines=True, blocksize=blocksize)
    assert as_rows(frame) == expected_rows(make_records(300))
    assert len(frame) == 300


def test_dtypes_are_alike_whatever_is_missing(folder):
    fields = {**FIELDS, "small": oj.Field("/id", "int16", fill=-1), "word": ("/at", "json"),
              "kind": ("/name", "category")}  # fmt: skip
    frame = oj.dask.read_columns(str(folder / "x-*"), fields, lines=True, blocksize=300)
    dtypes = {"id": "Int64", "x": "float64", "name": "string", "ok": "boolean", "s": "object",
              "small": "int16", "word": "string", "kind": "category"}  # fmt: skip
    parts = dask.compute(*frame.to_delayed())
    assert len(parts) == frame.npartitions > 50
    assert {part["id"].isna().any() for part in parts if len(part)} == {True, False}
    for part in [frame, *parts]:
        assert {name: str(dtype) for name, dtype in part.dtypes.items()} == dtypes
    assert (
        frame["kind"].value_counts().compute()["né 3"] == frame["name"].compute().eq("né 3").sum()
    )
    with dask.config.set({"dataframe.convert-string": False}):
        kept = oj.dask.read_columns(folder / "x-1.jsonl", ["/name"], lines=True)
    assert kept.dtypes["/name"] == kept.compute().dtypes["/name"] == pd.Series(["x"]).dtype


@pytest.mark.parametrize(
    ("use", "columns"),
    [
        (lambda frame: frame["x"].mean(), ["x"]),
        (lambda frame: frame[frame["ok"]]["x"].sum(), ["x", "ok"]),
        (lambda frame: frame.groupby("name")["id"].max(), ["id", "name"]),
        (lambda frame: frame[["s", "x"]], ["x", "s"]),
        (lambda frame: frame["ok"].size, ["ok"]),
    ],
)
def test_only_the_fields_in_use_are_extracted(folder, monkeypatch, use, columns):
    from ostrajson import _part_reader

    read, seen = _part_reader.read_columns, []
    frame = oj.dask.read_columns(folder / "x-1.jsonl", FIELDS, lines=True)

    def spy(source, fields, **options):
        seen.append(list(fields))
        return read(source, fields, **options)

    monkeypatch.setattr(_part_reader, "read_columns", spy)
    used = use(frame)
    if hasattr(used, "compute"):
        used.compute()
    assert seen == [columns]


def test_arrays_and_packed_files_are_one_partition_each(tmp_path):
    records = make_records(50)
    for i in range(2):
        half = records[25 * i : 25 * i + 25]
        (tmp_path / f"a{i}.json").write_text(json.dumps({"r": half}))
        (tmp_path / f"p{i}.jsonl.gz").write_bytes(gzip.compress(to_lines(half)))
        (tmp_path / f"k{i}.json").write_text(json.dumps({f"k{r['at']['x']}": r for r in half}))
    packed = oj.dask.read_columns(tmp_path / "p*.gz", FIELDS, lines=True, blocksize=100)
    arrays = oj.dask.read_columns(
        [str(tmp_path / "a0.json"), str(tmp_path / "a1.json")], FIELDS, records="/r", blocksize=100
    )
    keyed = oj.dask.read_columns(tmp_path / "k*.json", FIELDS, keys="key")
    for frame in (packed, arrays, keyed[list(FIELDS)]):
        assert frame.npartitions == 2
        assert as_rows(frame) == expected_rows(records)
    assert keyed["key"].compute().tolist() == [f"k{r['at']['x']}" for r in records]


def test_conflicts_name_file_record_and_byte(folder, caplog):
    path = folder / "x-10.jsonl"
    lines = path.read_bytes().splitlines(keepends=True)
    lines[70:70] = [b"\n", b'{"id":"x","ok":0.5}\n']
    path.write_bytes(b"".join(lines))
    place = sum(map(len, lines[:71]))
    frame = oj.dask.read_columns(folder / "x-*", FIELDS, lines=True, blocksize=1000)
    with pytest.raises(oj.ColumnTypeError) as caught:
        frame["id"].sum().compute()
    record = caught.value.row
    assert f"{path}, bytes " in str(caught.value)
    assert (
        f"record {record}, which begins at byte {place}: field 'id', row {record}: a string"
        in str(caught.value)
    )
    assert 0 < record < 70

    lines[20] = b"{bad\n"
    path.write_bytes(b"".join(lines))
    frame = oj.dask.read_columns(folder / "x-*", {"x": "/at/x"}, lines=True, blocksize=1000)
    with pytest.raises(oj.JSONDecodeError) as caught:
        frame.compute()
    assert caught.value.pos == sum(map(len, lines[:20])) + 1
    assert caught.value.filename.startswith(f"{path}, bytes ")
    skipping = oj.dask.read_columns(
        folder / "x-*", FIELDS, lines=True, blocksize=2000, on_error="skip"
    )
    with caplog.at_level(logging.WARNING, "ostrajson.dask"):
        assert skipping["x"].count().compute() == 299
    assert "skipped 1 lines" in caplog.text
    with pytest.raises(oj.ColumnTypeError, match=f"begins at byte {sum(map(len, lines[:71]))}:"):
        skipping["id"].sum().compute()

    array = folder / "a.json"
    array.write_text('[{"a":1},{"a":"x"}]')
    with pytest.raises(oj.ColumnTypeError, match=f"^{array}, record 1: field 'a', row 1: a string"):
        oj.dask.read_columns(array, {"a": ("/a", int)}).compute()


def test_what_cannot_be_settled_is_said_at_once(folder):
    (folder / "none.jsonl").write_bytes(b'{"a":null}\n')
    for error, words, call in (
        (FileNotFoundError, "nothing", lambda: oj.dask.read_columns(folder / "nothing*", ["/a"])),
        (FileNotFoundError, "nothing", lambda: oj.dask.read_columns(folder / "nothing", ["/a"])),
        (ValueError, "'/a': no value at .*none.jsonl.*: give a dtype",
         lambda: oj.dask.read_columns(folder / "none.jsonl", ["/a"], lines=True)),
        (ValueError, "blocksize", lambda: oj.dask.read_columns(folder, ["/a"], lines=True, blocksize=0)),
        (oj.JSONDecodeError, "x-1.jsonl",
         lambda: oj.dask.read_columns(folder / "x-1.jsonl", ["/a"])),
    ):  # fmt: skip
        with pytest.raises(error, match=words):
            call()
    given_dtype = oj.dask.read_columns(folder / "none.jsonl", {"a": ("/a", int)}, lines=True)
    assert as_rows(given_dtype) == [(None,)]
    # Files without records and values behind the sample do no harm.
    (folder / "empty.jsonl").touch()
    (folder / "late.jsonl").write_bytes(b'{"a":null}\n' * 9 + b'{"a":[2]}\n')
    paths = [str(folder / name) for name in ("empty.jsonl", "late.jsonl")]
    late = oj.dask.read_columns(paths, ["/a"], lines=True, sample=10)
    assert as_rows(late) == [(None,)] * 9 + [([2],)]


def test_fields_are_found_at_the_beginning(folder):
    found = oj.dask.read_columns(folder / "x-*", lines=True, blocksize=500)
    assert list(found) == ["id", "at.x", "name", "ok", "s"]
    assert as_rows(found) == expected_rows(make_records(300))
    (folder / "x-2.jsonl").write_bytes(b'{"id":1,"new":true}\n')
    assert "new" not in oj.dask.read_columns(folder / "x-*", lines=True)
    (folder / "a.json").write_text(json.dumps({"r": make_records(20)}))
    for options in ({"max_depth": 1}, {"sep": "/"}):
        array = oj.dask.read_columns(folder / "a.json", records="/r", **options)
        whole = oj.read_columns(folder / "a.json", records="/r", **options)
        assert list(array) == list(whole)
        assert len(array) == 20


@pytest.mark.parametrize("pattern", ["out", "out/y-*.jsonl.gz"])
def test_what_is_written_is_read_again(folder, pattern):
    frame = oj.dask.read_columns(folder / "x-*", FIELDS, lines=True, blocksize=1500)
    frame["when"] = pd.Timestamp("2020-02-29T12:00")
    written = oj.dask.write_json_lines(frame, str(folder / pattern))
    assert len(written) == frame.npartitions > 10
    assert written == sorted(map(str, (folder / "out").iterdir()))
    flat = {name: f"/{name}" for name in FIELDS} | {"s": ("/s", "flatten"), "when": "/when"}
    again = oj.dask.read_columns(written, flat, lines=True)
    assert as_rows(again[list(FIELDS)]) == expected_rows(make_records(300))
    assert set(pd.to_datetime(again["when"].compute())) == {pd.Timestamp("2020-02-29T12:00")}
    first = gzip.open if pattern.endswith("gz") else open
    with first(written[0], "rt") as file:
        record = json.loads(next(file))
    assert record.pop("when").startswith("2020-02-29T12:00:00")
    assert record == {"id": 0, "x": 0.0, "name": None, "ok": True, "s": []}
    with dask.config.set({"dataframe.convert-string": False}):
        mixed = dask.dataframe.from_map(
            lambda i: pd.DataFrame({"o": [1, "x", {"a": [i]}, None]}), [0]
        )
    with open(oj.dask.write_json_lines(mixed, str(folder / "mixed"))[0], "rb") as file:
        assert [json.loads(line)["o"] for line in file] == [1, "x", {"a": [0]}, None]
    later = oj.dask.write_json_lines(frame, str(folder / "later"), compute=False)
    assert list((folder / "later").iterdir()) == []
    assert dask.compute(*later)[0] == str(folder / "later" / "00.jsonl")


@pytest.fixture
def cluster():
    distributed = pytest.importorskip("distributed")
    with (
        dask.config.set(scheduler=None),
        distributed.LocalCluster(
            n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None
        ) as local,
        distributed.Client(local) as client,
    ):
        yield client


def slowed(part):
    time.sleep(0.02)
    return part


def test_a_lost_worker_loses_nothing(folder, cluster):
    frame = oj.dask.read_columns(folder / "x-*", FIELDS, lines=True, blocksize=300)
    future = cluster.compute(frame.map_partitions(slowed, meta=frame._meta))
    victim = next(iter(cluster.run(os.getpid).values()))
    while sum(map(len, cluster.has_what().values())) < 10:
        time.sleep(0.01)
    assert not future.done()
    os.kill(victim, signal.SIGKILL)
    assert as_rows(future.result(timeout=60)) == expected_rows(make_records(300))
    assert victim not in cluster.run(os.getpid).values()


def test_errors_and_written_files_come_back_from_workers(folder, cluster):
    frame = oj.dask.read_columns(folder / "x-*", {"id": ("/id", int)}, lines=True, blocksize=900)
    assert len(oj.dask.write_json_lines(frame, str(folder / "out"))) == frame.npartitions
    (folder / "x-2.jsonl").write_bytes(b'{"id":1.5}\n')
    with pytest.raises(oj.ColumnTypeError, match=r"x-2.jsonl, .*record 0, .*byte 0: .*1.5"):
        oj.dask.read_columns(folder / "x-*", {"id": ("/id", int)}, lines=True).compute()


def test_an_object_store(folder, monkeypatch):
    pytest.importorskip("s3fs")
    server_of = pytest.importorskip("moto.server").ThreadedMotoServer
    for name in ("AWS_ACCESS_KEY_ID", "AWS_SECRET_ACCESS_KEY"):
        monkeypatch.setenv(name, "none")
    monkeypatch.setenv("AWS_DEFAULT_REGION", "us-east-1")
    server = server_of(port=0)
    server.start()
    try:
        host, port = server.get_host_and_port()
        options = {"client_kwargs": {"endpoint_url": f"http://{host}:{port}"}}
        import s3fs

        s3fs.S3FileSystem(**options).mkdir("bucket")
        local = oj.dask.read_columns(folder / "x-*", FIELDS, lines=True)
        written = oj.dask.write_json_lines(local, "s3://bucket/y/*.jsonl", storage_options=options)
        flat = {name: f"/{name}" for name in FIELDS} | {"s": ("/s", "flatten")}
        stored = oj.dask.read_columns(
            "s3://bucket/y/*.jsonl", flat, lines=True, blocksize=999, storage_options=options
        )
        assert len(written) == 3 < stored.npartitions
        assert as_rows(stored) == expected_rows(make_records(300))
        wrong = oj.dask.read_columns(
            written, {"id": ("/name", int)}, lines=True, storage_options=options
        )
        with pytest.raises(oj.ColumnTypeError, match=r"^s3://bucket/y/\d\.jsonl, bytes 0 to"):
            wrong.compute()
    finally:
        server.stop()


def test_the_page_prints_what_it_says(tmp_path, monkeypatch):
    pytest.importorskip("distributed")
    from test_docs import test_snippets_print_what_the_page_says as run_page

    with dask.config.set(scheduler=None):
        run_page("docs/many_files.md", tmp_path, monkeypatch)
