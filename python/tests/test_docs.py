"""The snippets of the pages, run from top to bottom, print what the pages say."""

import ast
import contextlib
import inspect
import io
import re

import ostrajson as oj
import pytest
from conftest import ROOT

BLOCK = re.compile(r"^```(python|text)\n(.*?)^```$", re.MULTILINE | re.DOTALL)


@pytest.mark.parametrize("page", ["README.md", "docs/tutorial.md", "docs/frames.md"])
def test_snippets_print_what_the_page_says(page, tmp_path, monkeypatch):
    for name in re.findall(r"^import (\w+)", (ROOT / page).read_text(), re.MULTILINE):
        pytest.importorskip(name)
    if "matplotlib" in (ROOT / page).read_text():
        pytest.importorskip("matplotlib").use("agg")
    if "to_pandas" in (ROOT / page).read_text():
        for name in ("pandas", "pyarrow", "awkward"):
            pytest.importorskip(name)
    (tmp_path / "data").symlink_to(ROOT / "data")
    (tmp_path / "docs").mkdir()
    monkeypatch.chdir(tmp_path)
    names, printed, ran = {}, None, 0
    for language, body in BLOCK.findall((ROOT / page).read_text()):
        if language == "python":
            out = io.StringIO()
            with contextlib.redirect_stdout(out):
                exec(compile(body, page, "exec"), names)
            printed, ran = out.getvalue(), ran + 1
        elif printed is not None:
            assert printed == body
            printed = None
    assert ran > 0


def stub_members(body):
    """Names and parameters that a stub gives, by class or ""."""
    for node in body:
        if isinstance(node, ast.ClassDef):
            yield from ((f"{node.name}.{name}", names) for name, names in stub_members(node.body))
        elif isinstance(node, ast.FunctionDef):
            given = node.args.args + node.args.kwonlyargs
            yield node.name, {one.arg for one in given} - {"self"}


def test_stubs_say_what_there_is():
    stub = ROOT / "python" / "ostrajson" / "_core.pyi"
    said = dict(stub_members(ast.parse(stub.read_text()).body))
    for path, names in said.items():
        thing = oj._core
        for part in path.split("."):
            thing = getattr(thing, part)
        signature = getattr(thing, "__nb_signature__", None)
        if signature is not None:
            assert {n for n in re.findall(r"(\w+): ", signature[0][0]) if n != "arg"} == names, path
        elif inspect.isfunction(thing):
            assert set(inspect.signature(thing).parameters) - {"self"} == names, path
        assert path.split(".")[-1].startswith("_") or thing.__doc__, path
    own = [oj._core, oj.Document, oj.Nodes, oj.Cursor]
    prefixes = ["", "Document.", "Nodes.", "Cursor."]
    for scope, prefix in zip(own, prefixes, strict=True):
        for name, thing in vars(scope).items():
            if not name.startswith("_") and not isinstance(thing, type):
                assert prefix + name in said
