"""Fields that are found, against a walk over the plain records."""

import io
import json

import numpy as np
import ostrajson as oj
import pytest
from conftest import documents, texts
from hypothesis import given, settings
from hypothesis import strategies as st


def walk(value, depth, path=()):
    """Paths and values that are no objects to be opened."""
    if not isinstance(value, dict) or len(path) == depth:
        yield path, value
        return
    for key, inner in value.items():
        yield from walk(inner, depth, (*path, key))


def keys_of(value):
    if isinstance(value, dict):
        yield from value
        for inner in value.values():
            yield from keys_of(inner)


def cell(column, state, row):
    """What a column has in a row, as a plain object; None where nothing is."""
    if state[row]:
        return None
    if isinstance(column, oj.Ragged):
        part = column.values[column.offsets[row] : column.offsets[row + 1]]
        return [None if one != one else one for one in part.tolist()]
    one = column[row]
    return one.item() if isinstance(one, np.generic) else one


keys = st.sampled_from(["a", "b", "0", "~", "/"]) | texts.filter(
    lambda text: text and "|" not in text
)
records = st.lists(
    st.dictionaries(keys, documents | st.dictionaries(keys, documents, max_size=3), max_size=5)
    | documents,
    max_size=6,
)


@settings(max_examples=100)
@given(records, st.sampled_from([1, 2, 99]), st.booleans())
def test_fields_are_the_union_of_all_paths(records, depth, lines):
    text = json.dumps(records) if not lines else "".join(json.dumps(r) + "\n" for r in records)
    cells = {}
    for row, record in enumerate(records):
        for path, value in walk(record, depth):
            cells.setdefault("|".join(path), {})[row] = value
    if any(key == "" or "|" in key for record in records for key in keys_of(record)):
        return  # two names may be the same
    columns = oj.read_columns(text.encode(), lines=lines, max_depth=depth, sep="|")
    assert list(columns) == list(cells)
    for name, values in cells.items():
        state = columns.state[name]
        for row in range(len(records)):
            assert cell(columns[name], state, row) == values.get(row), name


def test_types_settle_over_all_records():
    text = "".join(json.dumps({"x": x, "m": m}) + "\n" for x, m in [(1, 1), (2, "t"), (0.5, None)])
    columns = oj.read_columns(text.encode(), lines=True)
    assert columns["x"].tolist() == [1.0, 2.0, 0.5]
    assert columns["m"].tolist() == [1, "t", None]
    for batch in oj.iter_columns(text.encode(), lines=True, batch_rows=1):
        assert batch["x"].dtype == np.float64
        assert batch.fields == columns.fields
    given_ = oj.read_columns(text.encode(), lines=True, dtype={"x": "float32"}, fill={"m": "-"})
    assert given_["x"].dtype == np.float32
    assert given_["m"].tolist() == [1, "t", "-"]


def test_limits_and_names():
    text = json.dumps([{"a": {"b": 1}, "a.b": 2, "c": 3}]).encode()
    with pytest.raises(ValueError, match=r"both '/a/b' and '/a.b' would be called 'a.b'"):
        oj.read_columns(text)
    assert list(oj.read_columns(text, sep="/")) == ["a/b", "a.b", "c"]
    with pytest.raises(ValueError, match="more than 2 fields: the next one is '/c'"):
        oj.read_columns(text, sep="/", max_fields=2)
    with pytest.raises(ValueError, match="max_depth"):
        oj.read_columns(text, max_depth=0)
    with pytest.raises(oj.JSONDecodeError):
        oj.read_columns(b'[{"a":1},{"a"}]')


class Stream(io.RawIOBase):
    """What can be read once."""

    def __init__(self, text):
        self.rest = text

    def readable(self):
        return True

    def readinto(self, buffer):
        part, self.rest = self.rest[: len(buffer)], self.rest[len(buffer) :]
        buffer[: len(part)] = part
        return len(part)


def test_sources_are_read_twice_or_held(tmp_path, many):
    path = tmp_path / "many.jsonl"
    path.write_bytes(many)
    expected = oj.read_columns(many, lines=True)
    assert list(expected) == ["t", "level", "name", "ok"]
    with open(path, "rb") as file, open(path) as text:
        file.seek(many.index(b"\n") + 1)
        for source, rows in (
            (path, 60_000), (file, 59_999), (text, 60_000), (io.BytesIO(many), 60_000),
            (Stream(many), 60_000), (bytearray(many), 60_000),
        ):  # fmt: skip
            columns = oj.read_columns(source, lines=True)
            assert columns.rows == rows
            assert columns["level"].sum() == pytest.approx(expected["level"][60_000 - rows :].sum())
    with pytest.raises(ValueError, match="can be read only once"):
        oj.iter_columns(Stream(many), lines=True)
