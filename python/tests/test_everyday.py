"""loads, dumps and their kin against the standard library's json."""

import collections
import enum
import io
import json
import math

import numpy as np
import ostrajson as oj
import pytest
from conftest import documents, integers, same, texts
from hypothesis import given
from hypothesis import strategies as st


@given(documents, st.sampled_from([None, 0, 3, "\t"]), st.booleans())
def test_round_trips_equal_json(value, indent, ascii_only):
    text = json.dumps(value, indent=indent, ensure_ascii=ascii_only)
    read = oj.loads(text)
    assert same(read, json.loads(text))
    assert same(oj.loads(text.encode()), read)
    written = oj.dumps(value, indent=indent)
    assert same(json.loads(written), value)
    assert oj.dumpb(value, indent=indent) == written.encode()
    assert same(oj.parse(text).to_python(), read)
    assert same(oj.loads(oj.parse(text).dumps(indent=indent)), read)


@given(documents)
def test_layout_and_key_order_equal_json(value):
    def strings_only(one):  # numbers may have other digits
        if isinstance(one, dict):
            return {key: strings_only(inner) for key, inner in one.items()}
        return [strings_only(inner) for inner in one] if isinstance(one, list) else str(one)

    value = strings_only(value)
    for options in ({"indent": 2}, {"sort_keys": True}):
        separators = (",", ": ") if "indent" in options else (",", ":")
        expected = json.dumps(value, ensure_ascii=False, separators=separators, **options)
        assert oj.dumps(value, **options).replace("\x7f", "\\u007f") == expected.replace(
            "\x7f", "\\u007f"
        )


@given(st.text())
def test_any_text_is_read_as_json_reads_it_or_refused(text):
    try:
        read = oj.loads(text)
    except (oj.JSONDecodeError, UnicodeEncodeError):
        return
    assert same(read, json.loads(text))


@given(st.binary(max_size=60))
def test_any_bytes_are_read_as_json_reads_them_or_refused(data):
    try:
        read = oj.loads(data)
    except oj.JSONDecodeError as error:
        assert 0 <= error.pos <= len(data)  # noqa: PT017
    else:
        assert same(read, json.loads(data.decode("utf-8-sig")))


@pytest.mark.parametrize(
    ("text", "options", "expected"),
    [
        ('{"a":1,"b":2,"a":3}', {}, {"a": 1, "b": 2}),
        ("[NaN,-Infinity]", {"allow_nan": True}, [math.nan, -math.inf]),
        (str(2**70), {"big_int": "float"}, float(2**70)),
        ("-0", {}, 0),
        ("-0.0", {}, -0.0),
        (b"\xef\xbb\xbf[1]", {}, [1]),
    ],
)
def test_what_differs_from_json_is_as_documented(text, options, expected):
    assert same(oj.loads(text, **options), expected)


@pytest.mark.parametrize(
    "text",
    ["NaN", str(2**64), str(-(2**63) - 1), "1e400", '"\\ud800"', "[1,]", "//c\n1", b"\xff", ""],
)
def test_what_is_not_json_is_refused(text):
    with pytest.raises(oj.JSONDecodeError):
        oj.loads(text)


class Colour(enum.IntEnum):
    RED = 3


@pytest.mark.parametrize(
    ("value", "text"),
    [
        (np.arange(6).reshape(1, 2, 3), "[[[0,1,2],[3,4,5]]]"),
        (np.zeros((2, 0)), "[[],[]]"),
        (np.array(1.5), "1.5"),
        (np.arange(5, dtype=">i2")[::2], "[0,2,4]"),
        (np.array([0.1, 1e22, -0.0], np.float32), "[0.1,1e+22,-0.0]"),
        (np.array([0.5, np.nan], np.float16), "[0.5,null]"),
        (np.array([2**64 - 1], np.uint64), "[18446744073709551615]"),
        (np.array([True, False]), "[true,false]"),
        (np.array(["a", 'ü"']), '["a","ü\\""]'),
        (np.array([None, 1, "x"], object), '[null,1,"x"]'),
        (np.ma.masked_array([1, 2], [0, 1]), "[1,null]"),
        (np.ma.masked_array([1.5, 2]), "[1.5,2.0]"),
        (np.datetime64("2024-02-29T12:00:01.5"), '"2024-02-29T12:00:01.500"'),
        (np.array(["2024-02-29", "NaT"], "M8[D]"), '["2024-02-29",null]'),
        ([np.int8(-3), np.float64(2), np.bool_(True), np.str_("s"), np.longdouble(0.5)], '[-3,2.0,true,"s",0.5]'),
        ({1: "a", None: 2, False: 3, 1.5: 4}, '{"1":"a","null":2,"false":3,"1.5":4}'),
        (collections.OrderedDict(a=(1,), b=Colour.RED), '{"a":[1],"b":3}'),
        (2**70, str(2**70)),
        (math.inf, "null"),
        (oj.parse('{"a":[1]}'), '{"a":[1]}'),
        (oj.parse("[1,2]").root.children(), "[1,2]"),
    ],
)  # fmt: skip
def test_dumps(value, text):
    assert oj.dumps(value) == text


def test_words_for_what_is_not_finite_where_allowed():
    values = [math.nan, math.inf, -math.inf]
    assert oj.dumps(values, allow_nan=True) == "[NaN,Infinity,-Infinity]"
    assert oj.dumps(np.array(values), allow_nan=True) == "[NaN,Infinity,-Infinity]"


def test_default_makes_other_objects_into_ones_that_can_be_written():
    assert (
        oj.dumps([{1}, 1j], default=lambda o: sorted(o) if isinstance(o, set) else str(o))
        == '[[1],"1j"]'
    )

    def shorten(_):
        del items[1:]
        return None

    items = [object(), 1, 2]
    assert oj.dumps(items, default=shorten) == "[null]"


circle: list = [1]
circle.append({"a": circle})


@pytest.mark.parametrize(
    ("value", "options", "error"),
    [
        (object(), {}, TypeError),
        (b"x", {}, TypeError),
        ({(1,): 2}, {}, TypeError),
        (np.array([1j]), {}, TypeError),
        ("\ud800", {}, UnicodeEncodeError),
        (circle, {}, ValueError),
        (object(), {"default": lambda o: o}, ValueError),
        (object(), {"default": lambda o: [o]}, ValueError),
        (object(), {"default": lambda o: {}[1]}, KeyError),
        (1, {"default": 3}, TypeError),
        (1, {"indent": "ab"}, ValueError),
        (1, {"indent": -1}, ValueError),
    ],
)
def test_what_cannot_be_written_is_an_error(value, options, error):
    with pytest.raises(error):
        oj.dumps(value, **options)


def test_any_depth():
    depth = 300_000
    text = "[" * depth + "]" * depth
    value = oj.loads(text)
    assert oj.dumps(value) == text
    assert oj.parse(text).dumps() == text


@given(st.dictionaries(texts, integers, max_size=5))
def test_dump_to_files(tmp_path_factory, value):
    folder = tmp_path_factory.mktemp("dump")
    for name in ("a.json", "a.json.gz"):
        oj.dump(value, folder / name)
        assert oj.read(folder / name).to_python() == value
    binary, text = io.BytesIO(), io.StringIO()
    oj.dump(value, binary)
    oj.dump(value, text)
    assert binary.getvalue().decode() == text.getvalue() == oj.dumps(value)
