import json
import math
import pathlib

import numpy as np
import pytest
from hypothesis import settings
from hypothesis import strategies as st

settings.register_profile("project", deadline=None, max_examples=200)
settings.load_profile("project")

ROOT = pathlib.Path(__file__).resolve().parents[2]

texts = st.text(st.characters(exclude_categories=["Cs"]), max_size=40)
integers = st.integers(-(2**63), 2**64 - 1)
floats = st.floats(allow_nan=False, allow_infinity=False)
scalars = st.none() | st.booleans() | integers | floats | texts
documents = st.recursive(
    scalars,
    lambda inner: st.lists(inner, max_size=6) | st.dictionaries(texts, inner, max_size=6),
    max_leaves=40,
)


def same(a, b):
    """Equal in value and type, doubles to the bit."""
    if type(a) is not type(b):
        return False
    if isinstance(a, dict):
        return list(a) == list(b) and all(same(a[key], b[key]) for key in a)
    if isinstance(a, list):
        return len(a) == len(b) and all(map(same, a, b))
    if isinstance(a, float):
        return (a == b and math.copysign(1, a) == math.copysign(1, b)) or (a != a and b != b)
    return a == b


def walk(value, pointer):
    """Look a JSON Pointer up the slow, obvious way; LookupError if there is nothing."""
    for token in pointer.split("/")[1:]:
        key = token.replace("~1", "/").replace("~0", "~")
        if isinstance(value, dict):
            value = value[key]
        elif isinstance(value, list) and (key == "0" or (key.isdigit() and key[0] != "0")):
            value = value[int(key)]
        else:
            raise LookupError(pointer)
    return value


@pytest.fixture(scope="session")
def stations_path():
    return ROOT / "data" / "stations.json"


@pytest.fixture(scope="session")
def stations(stations_path):
    """The shipped data, as json reads it."""
    return json.loads(stations_path.read_bytes())["stations"]


@pytest.fixture
def many():
    """More records than any block or threshold, as JSON Lines."""
    rng = np.random.default_rng(7)
    return b"".join(
        b'{"t":%d,"level":%.6f,"name":"n%d","ok":%s}\n'
        % (i, x, i % 97, b"true" if i % 3 else b"null")
        for i, x in enumerate(rng.normal(size=60_000))
    )
