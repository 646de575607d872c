#!/usr/bin/env python3
"""Compare files to columns, and editing them, with other packages.

Every side runs in a process of its own, which reads a file, compares its answer with the truth to the
bit in the first round, and says how long it took and how much memory; sides take turns, and the best of
the rounds counts.

    compare.py run FOLDER [--megabytes 100] [--rounds 4]   measure; writes FOLDER/results.json
    compare.py report FOLDER                               write docs/python.md and its plot
"""

from __future__ import annotations

import argparse
import contextlib
import gc
import importlib
import importlib.metadata
import json
import pathlib
import platform
import subprocess
import sys
import time
from collections.abc import Callable
from typing import Any

import numpy as np
import sides

ROOT = pathlib.Path(__file__).resolve().parents[2]
WORKLOADS = {
    "records": "an array of records to six columns",
    "lines": "JSON Lines to six columns",
    "edit": "scale one column and write the file back",
}
REPLACING = "write the document in its place"


def generate(folder: pathlib.Path, megabytes: int) -> None:
    """Write records, their JSON Lines twin, the edited text, and the truth; the same every time."""
    rng = np.random.default_rng(20240229)
    count = megabytes * 1_000_000 // 217
    truth = {
        "id": rng.integers(2**60, 2**63 - 1, count),
        "lat": rng.uniform(-90, 90, count),
        "lon": rng.uniform(-180, 180, count),
        "depth": rng.integers(0, 11_000, count),
        "name": np.array([f"station {i % 997}" for i in range(count)], object),
        "active": rng.random(count) < 0.7,
    }
    noise = rng.normal(size=(count, 3))
    columns = [truth[name].tolist() for name in truth]

    def texts(factor: int) -> list[str]:
        return [
            f'{{"id":{i},"name":"{name}","active":{"true" if active else "false"},'
            f'"position":{{"lat":{lat!r},"lon":{lon!r},"depth":{depth * factor}}},'
            f'"kind":"mooring","samples":[{a!r},{b!r},{c!r}]}}'
            for i, lat, lon, depth, name, active, (a, b, c) in zip(
                *columns, noise.tolist(), strict=True
            )
        ]

    lines = texts(1)
    (folder / "records.json").write_text("[" + ",\n".join(lines) + "]")
    (folder / "lines.jsonl").write_text("\n".join(lines) + "\n")
    (folder / "edited.json").write_text("[" + ",".join(texts(-1)) + "]")
    np.savez(folder / "truth.npz", **truth)


def faults(columns: dict[str, np.ndarray], folder: pathlib.Path) -> str:
    """Name what of an answer differs from the truth, integers and doubles to the bit."""
    truth = np.load(folder / "truth.npz", allow_pickle=True)
    found = []
    for name in truth:
        got, want = np.asarray(columns[name]), truth[name]
        if len(got) != len(want):
            found.append(f"{name}: {len(got)} rows of {len(want)}")
        elif got.dtype.kind != want.dtype.kind and want.dtype != object:
            found.append(f"{name}: {got.dtype}")
        elif not (got == want).all():
            found.append(f"{name}: {(got != want).mean():.1%} wrong")
    return "; ".join(found)


def memory_in_use(name: str) -> int:
    """Return an entry of this process's status, in kB."""
    for line in pathlib.Path("/proc/self/status").read_text().splitlines():
        if line.startswith(name + ":"):
            return int(line.split()[1])
    raise LookupError(name)


def warm_memory() -> None:
    """Touch a GB and give it back.

    A virtual machine's free memory goes back to its host, and getting it again took 0.5 s of what should
    take 0.2: whoever comes next would pay for it.
    """
    np.ones(1 << 27)


def forget_peak() -> None:
    """Let this process's peak of memory begin anew."""
    pathlib.Path("/proc/self/clear_refs").write_text("5")


def measured(call: Callable[[], Any]) -> tuple[Any, dict[str, float]]:
    """Call something; also return how long it took and by how much the process's peak grew."""
    warm_memory()
    forget_peak()
    before = memory_in_use("VmRSS")
    started = time.perf_counter()
    answer = call()
    seconds = time.perf_counter() - started
    memory = (memory_in_use("VmHWM") - before) / 1000
    return answer, {"seconds": seconds, "megabytes": memory}


def run_side(name: str, workload: str, folder: pathlib.Path, check: bool) -> dict[str, object]:
    """Run one side once; to be called in a process of its own."""
    side = sides.SIDES[name]
    for module in side.modules:
        importlib.import_module(module)
    if side.without_gc:
        gc.disable()
    source = folder / ("lines.jsonl" if workload == "lines" else "records.json")
    target = folder / f"out-{name.replace(' ', '-')}.json"
    answer, facts = measured(lambda: side.functions[workload](str(source), str(target)))
    wrong = ""
    if check and workload == "edit":
        same = json.loads(target.read_bytes()) == json.loads((folder / "edited.json").read_bytes())
        wrong = "" if same else "other values"
    elif check:
        wrong = faults(answer, folder)
    target.unlink(missing_ok=True)
    return {**facts, "wrong": wrong}


def run_steps(folder: pathlib.Path) -> dict[str, float]:
    """Measure the steps of our own editing; to be called in a process of its own."""
    import ostrajson as oj

    warm_memory()
    started = time.perf_counter()
    steps = {}

    def lap(name: str) -> None:
        nonlocal started
        steps[name] = time.perf_counter() - started
        started = time.perf_counter()

    target = folder / "out-steps.json"
    doc = oj.read(folder / "records.json")
    lap("read")
    depth, _ = doc.root.children().lookup("/position/depth")
    lap("look up")
    depth.set(-depth.numbers())
    lap("scale")
    text = doc.dumpb()
    lap("make the text")
    target.write_bytes(text)
    lap("write it into a file")
    doc.write(target)
    lap(REPLACING)
    target.unlink()
    return steps


def call(*arguments: str) -> subprocess.CompletedProcess[str]:
    """Run a command of this script in a process of its own."""
    command = [sys.executable, __file__, *arguments]
    return subprocess.run(command, capture_output=True, text=True, check=False)


def version_of(package: str) -> str:
    """Return a package's version, also of one that is not installed but on the path."""
    try:
        return importlib.metadata.version(package)
    except importlib.metadata.PackageNotFoundError:
        return str(importlib.import_module(package).__version__)


def run(folder: pathlib.Path, megabytes: int, rounds: int) -> None:
    """Measure all sides that are installed, taking turns."""
    folder.mkdir(parents=True, exist_ok=True)
    if not (folder / "truth.npz").exists():
        generate(folder, megabytes)
    for source in folder.glob("*.json*"):
        source.read_bytes()  # into the page cache
    steps: list[dict[str, float]] = []
    results: dict[str, dict[str, list[dict[str, object]]]] = {}
    for turn in range(rounds):
        for workload in WORKLOADS:
            for name, side in sides.SIDES.items():
                if workload not in side.functions or not side.is_installed():
                    continue
                check = ["check"] if turn == 0 else []
                done = call("side", str(folder), name, workload, *check)
                if done.returncode != 0:
                    print(f"{name}, {workload}: {done.stderr.splitlines()[-1]}", file=sys.stderr)
                    continue
                one = json.loads(done.stdout)
                results.setdefault(workload, {}).setdefault(name, []).append(one)
                print(f"{turn + 1} {workload:8} {name:24} {one}", flush=True)
        steps.append(json.loads(call("steps", str(folder)).stdout))
    packages = {side.package for side in sides.SIDES.values() if side.is_installed()} - {"json"}
    facts = {
        "bytes": (folder / "records.json").stat().st_size,
        "rounds": rounds,
        "python": platform.python_version(),
        "versions": {name: version_of(name) for name in sorted(packages)},
        "steps": min(steps, key=lambda one: sum(one.values()) - one[REPLACING]),
        "results": results,
    }
    (folder / "results.json").write_text(json.dumps(facts, indent=1))


def report(folder: pathlib.Path) -> None:
    """Write the page and its plot."""
    facts = json.loads((folder / "results.json").read_text())
    megabytes = facts["bytes"] / 1e6
    page = [
        "# The Python package, measured",
        "",
        f"A file of {megabytes:.0f} MB; best of {facts['rounds']} rounds, sides taking turns, each in a",
        "process of its own. The file is in the page cache, the memory of the process is cold: whatever it",
        "needs of it, it gets from the system page by page, as a script does that loads a file and works on",
        "it (a GB was touched and given back before, so that no virtual machine has to get it from its host",
        "meanwhile). Modules are imported before the clock starts. Memory is what the process's peak grew by. Right:",
        "every integer, text and bit of every double. GC off: `gc.disable()` before. Made by",
        "`python/bench/compare.py`.",
        "",
        "![Time by package](python.svg)",
    ]
    for workload, title in WORKLOADS.items():
        best = {
            name: min(runs, key=lambda one: one["seconds"])
            for name, runs in facts["results"].get(workload, {}).items()
        }
        if "ostrajson" not in best:
            continue
        own = best["ostrajson"]["seconds"]
        page += [
            "",
            f"## From {title}" if workload != "edit" else "## Scale one column and write back",
            "",
        ]
        wrong = {name: some[0]["wrong"] for name, some in facts["results"][workload].items()}
        page += ["| | seconds | ratio | peak MB | right |", "|---|---:|---:|---:|---|"]
        for name, one in sorted(best.items(), key=lambda item: item[1]["seconds"]):
            page.append(
                f"| {name} | {one['seconds']:.3f} | {one['seconds'] / own:.1f} | "
                f"{one['megabytes']:.0f} | {'**no**, ' + wrong[name] if wrong[name] else 'yes'} |"
            )
    page += aims(facts["results"])
    steps = dict(facts["steps"])
    replacing = steps.pop(REPLACING)
    page += ["", "## Where the time of editing goes", "", "| step | seconds |", "|---|---:|"]
    page += [f"| {name} | {seconds:.3f} |" for name, seconds in steps.items()]
    page += [
        "",
        "All sides write a new file, which the system stores when it likes. Over a file that exists,",
        "`Document.write` first waits until the new text is on the disk, lest a machine that stops leave",
        f"neither; making and writing the text then took {replacing:.2f} s.",
    ]
    versions = ", ".join(f"{name} {version}" for name, version in facts["versions"].items())
    page += ["", f"Python {facts['python']}; {versions}.", ""]
    (ROOT / "docs" / "python.md").write_text("\n".join(page))
    plot(facts)


def aims(results: dict[str, dict[str, list[dict[str, float]]]]) -> list[str]:
    """Say how far ahead we meant to be, and are."""

    def seconds(workload: str, *names: str) -> float:
        runs = [one["seconds"] for name in names for one in results[workload].get(name, [])]
        return min(runs, default=float("nan"))

    rows = []
    for workload in ("records", "lines"):
        others = [name for name in results[workload] if not name.startswith("ostrajson")]
        rows.append((workload, "the fastest other", 1.5, seconds(workload, *others)))
        rows.append((workload, "pandas", 20, seconds(workload, "pandas")))
    for name, aim in (("json", 10), ("orjson", 4)):
        rows.append(("edit", name, aim, seconds("edit", name, f"{name}, gc off")))
    page = ["", "## What we aim at", "", "| | against | aim | reached |", "|---|---|---:|---:|"]
    for workload, name, aim, other in rows:
        ratio = other / seconds(workload, "ostrajson")
        reached = f"{ratio:.1f}" if ratio >= aim else f"**{ratio:.1f}**"
        page.append(f"| {WORKLOADS[workload]} | {name} | {aim} | {reached} |")
    return page


def plot(facts: dict[str, object]) -> None:
    """Draw one panel of bars a workload."""
    import matplotlib.pyplot as plt

    figure, panels = plt.subplots(1, len(WORKLOADS), figsize=(11, 4.5))
    for axes, (workload, title) in zip(panels, WORKLOADS.items(), strict=True):
        runs = facts["results"].get(workload, {})  # type: ignore[attr-defined]
        best = {name: min(one["seconds"] for one in some) for name, some in runs.items()}
        names = sorted(best, key=best.__getitem__, reverse=True)
        colours = ["tab:blue" if name == "ostrajson" else "lightgrey" for name in names]
        axes.barh(names, [best[name] for name in names], color=colours)
        axes.set(title=title, xlabel="seconds")
        axes.title.set_fontsize(9)
    figure.tight_layout()
    figure.savefig(ROOT / "docs" / "python.svg")


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("command", choices=["run", "report", "side", "steps"])
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("names", nargs="*")
    parser.add_argument("--megabytes", type=int, default=100)
    parser.add_argument("--rounds", type=int, default=4)
    given = parser.parse_args()
    if given.command == "side":
        name, workload, *check = given.names
        with contextlib.redirect_stdout(sys.stderr):
            one = run_side(name, workload, given.folder, bool(check))
        print(json.dumps(one))
    elif given.command == "steps":
        print(json.dumps(run_steps(given.folder)))
    elif given.command == "run":
        run(given.folder, given.megabytes, given.rounds)
    else:
        report(given.folder)


if __name__ == "__main__":
    main()
