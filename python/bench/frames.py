#!/usr/bin/env python3
"""Compare files to data frames, of one machine and of Dask's workers, with other packages.

Every side runs in a process of its own, which reads, compares its answer with the truth to the bit, and
says how long it took and how much memory; sides take turns, and the best of the rounds counts.

    frames.py run FOLDER [--megabytes 100] [--rounds 5] [--files 32] [--total 2000]
                         [--dask-rounds 3] [--slow-rounds 1] [--slow-files 8]
    frames.py report FOLDER        write docs/frames_measured.md
"""

from __future__ import annotations

import argparse
import contextlib
import importlib
import importlib.metadata
import json
import pathlib
import platform
import shutil
import subprocess
import sys
import time
from typing import Any

import compare
import numpy as np
from frame_sides import FRAMES, LAZY

WORKLOADS = {
    "pandas_records": "an array of records to a pandas frame",
    "pandas_lines": "JSON Lines to a pandas frame",
    "polars_records": "an array of records to a polars frame",
    "polars_lines": "JSON Lines to a polars frame",
}
BLOCK = 64 << 20
PACKAGES = ("pandas", "polars", "pyarrow", "duckdb", "dask", "distributed")


def generate(folder: pathlib.Path, megabytes: int, files: int, total: int) -> None:
    """Write the file that frames are read from, and the many that Dask reads."""
    if not (folder / "truth.npz").exists():
        compare.generate(folder, megabytes)
    many = folder / "many"
    if not (many / "truth.npz").exists():
        many.mkdir(exist_ok=True)
        compare.generate(many, total // files)
        (many / "records.json").unlink()
        (many / "edited.json").unlink()
    for i in range(files):
        if not (target := many / f"x-{i:03}.jsonl").exists():
            shutil.copyfile(many / "lines.jsonl", target)


def run_frame(name: str, workload: str, folder: pathlib.Path) -> dict[str, Any]:
    """Read a frame once; to be called in a process of its own."""
    side = FRAMES[name]
    for module in side.modules:
        importlib.import_module(module)
    source = folder / ("lines.jsonl" if workload.endswith("lines") else "records.json")
    frame, facts = compare.measured(lambda: side.functions[workload](str(source), ""))
    columns = {one: frame[one].to_numpy() for one in frame.columns}
    return {**facts, "exact": not compare.faults(columns, folder)}


def summary(frame: Any) -> Any:
    """Look at all values of a partition; one row of what does not depend on how it was cut."""
    import pandas as pd

    facts = {"rows": len(frame), "bytes": int(frame.memory_usage(deep=True).sum())}
    for name in frame.columns:
        column = frame[name]
        if name == "name":
            facts["letters"] = int(column.str.len().sum())
        elif name == "active":
            facts["active"] = int(column.sum())
        elif name == "depth":
            facts["depth"] = int(column.sum())
        else:
            facts[f"least {name}"], facts[f"most {name}"] = column.min(), column.max()
    return pd.DataFrame([facts])


def is_right(found: Any, folder: pathlib.Path, files: int) -> bool:
    """Compare all partitions' summaries with the truth."""
    truth = np.load(folder / "truth.npz", allow_pickle=True)
    wanted: dict[str, Any] = {
        "rows": files * len(truth["id"]),
        "letters": files * int(sum(map(len, truth["name"]))),
        "active": files * int(truth["active"].sum()),
        "depth": files * int(truth["depth"].sum()),
    }
    for name in ("id", "lat", "lon"):
        wanted[f"least {name}"], wanted[f"most {name}"] = truth[name].min(), truth[name].max()
    how = {"l": "min", "m": "max"}
    return all(
        wanted[name] == getattr(found[name], how[name[0]] if " " in name else "sum")()
        for name in found.columns
        if name != "bytes"
    )


def run_lazy(name: str, workers: int, folder: pathlib.Path, files: int) -> dict[str, Any]:
    """Let Dask read many files once; the workers' start is not counted, making the frame is."""
    import pandas as pd
    from distributed import Client, LocalCluster

    pattern = [str(folder / "many" / f"x-{i:03}.jsonl") for i in range(files)]
    for path in pattern:
        pathlib.Path(path).read_bytes()  # into the page cache
    with (
        LocalCluster(n_workers=workers, threads_per_worker=1, dashboard_address=None) as cluster,
        Client(cluster) as client,
    ):
        client.run(importlib.import_module, "frame_sides")
        client.run(importlib.import_module, "ostrajson.dask")
        client.run(compare.forget_peak)
        before = client.run(compare.memory_in_use, "VmRSS")
        started = time.perf_counter()
        frame = LAZY[name](pattern, BLOCK)
        found = frame.map_partitions(summary, meta=summary(frame._meta_nonempty)).compute()
        seconds = time.perf_counter() - started
        after = client.run(compare.memory_in_use, "VmHWM")
    assert isinstance(found, pd.DataFrame)
    return {
        "seconds": seconds,
        "megabytes": max(after[worker] - before[worker] for worker in after) / 1000,
        "gigabytes": files * (folder / "many" / "lines.jsonl").stat().st_size / 1e9,
        "partition": int(found["bytes"].max()) / 1e6,
        "exact": is_right(found, folder / "many", files),
    }


def run(folder: pathlib.Path, given: argparse.Namespace) -> None:
    """Measure all sides, taking turns."""
    folder.mkdir(parents=True, exist_ok=True)
    generate(folder, given.megabytes, given.files, given.total)
    results: dict[str, list[dict[str, Any]]] = {}

    def measure(*arguments: str) -> None:
        command = [sys.executable, __file__, "side", str(folder), *arguments]
        done = subprocess.run(command, capture_output=True, text=True, check=False)
        if done.returncode != 0:
            print(*arguments, done.stderr.splitlines()[-1:], file=sys.stderr)
            return
        one = json.loads(done.stdout.splitlines()[-1])
        results.setdefault("|".join(arguments[:2]), []).append(one)
        print(*arguments, one, flush=True)

    for _ in range(given.rounds):
        for workload in WORKLOADS:
            for name, side in FRAMES.items():
                if workload in side.functions and side.is_installed():
                    measure(workload, name)
    for turn in range(given.dask_rounds):
        for workers in ("1", "2"):
            for name in LAZY:
                if name.startswith("ostrajson"):
                    measure(workers, name, str(given.files))
                elif turn < given.slow_rounds:  # these take minutes a GB
                    measure(workers, name, str(given.slow_files))
    facts = {
        "bytes": (folder / "records.json").stat().st_size,
        "rounds": [given.rounds, given.dask_rounds, given.slow_rounds],
        "files": [given.files, given.slow_files],
        "python": platform.python_version(),
        "versions": {
            "ostrajson": importlib.import_module("ostrajson").__version__,
            **{name: importlib.metadata.version(name) for name in PACKAGES},
        },
        "results": results,
    }
    (folder / "frames.json").write_text(json.dumps(facts, indent=1))


def best_of(facts: dict[str, Any], workload: str) -> dict[str, dict[str, Any]]:
    """Return the fastest run of each side, in order of time."""
    best = {
        key.partition("|")[2]: min(runs, key=cost)
        for key, runs in facts["results"].items()
        if key.partition("|")[0] == workload
    }
    return dict(sorted(best.items(), key=lambda item: cost(item[1])))


def cost(one: dict[str, Any]) -> float:
    """Return the seconds of a run; of one over many files, for each GB of them."""
    return float(one["seconds"]) / float(one.get("gigabytes", 1))


def rows(best: dict[str, dict[str, Any]], own: str) -> list[str]:
    """Return the lines of a table of sides."""
    return [
        f"| {name} | {cost(one):.2f} | {cost(one) / cost(best[own]):.1f} | "
        f"{one['megabytes']:.0f} | {'yes' if one['exact'] else '**no**'} |"
        for name, one in best.items()
    ]


def report(folder: pathlib.Path) -> None:
    """Write the page."""
    facts = json.loads((folder / "frames.json").read_text())
    once, often, slow = facts["rounds"]
    head = ["| | seconds | ratio | peak MB | exact |", "|---|---:|---:|---:|---|"]
    page = [
        "# Data frames, measured",
        "",
        f"Six fields of a file of {facts['bytes'] / 1e6:.0f} MB as a data frame; best of {once} rounds, sides",
        "taking turns, each in a process of its own, the file in the page cache, the process's memory fresh,",
        "the machine's warm. Memory is what the process's peak grew by. Exact: every integer, text and bit of every double is right. Made by",
        "`python/bench/frames.py`.",
    ]
    for workload, title in WORKLOADS.items():
        if best := best_of(facts, workload):
            page += ["", f"## From {title}", "", *head, *rows(best, "ostrajson")]
    one, two = best_of(facts, "1"), best_of(facts, "2")
    own = "ostrajson.dask"
    if own in one and own in two:
        gains = [
            f"{name} {cost(alone) / cost(two[name]):.2f}"
            for name, alone in one.items()
            if name in two
        ]
        page += [
            "",
            "## Many files by Dask",
            "",
            f"{one[own]['gigabytes']:.1f} GB of JSON Lines in {facts['files'][0]} files (the other packages:",
            f"{facts['files'][1]} of them), in blocks of 64 MiB, by workers of one thread each on this machine:",
            f"minima, maxima and sums of all six fields, best of {often} rounds (the others: {slow}). Peak MB is",
            "that of the worker that needed most.",
        ]
        head = ["| | seconds a GB | ratio | peak MB | exact |", "|---|---:|---:|---:|---|"]
        for workers, best in (("One worker", one), ("Two workers", two)):
            page += ["", f"### {workers}", "", *head, *rows(best, own)]
        page += [
            "",
            "Two workers against one, times as fast:",
            *(f"{gain}," for gain in gains[:-1]),
            f"{gains[-1]}.",
            "If two fields are in use no more are extracted: a partition's frame then takes",
            f"{two[own + ', two fields in use']['partition']:.1f} MB instead of {two[own]['partition']:.1f}.",
        ]
    versions = ", ".join(f"{name} {version}" for name, version in facts["versions"].items())
    page += ["", f"Python {facts['python']}; {versions}.", ""]
    (compare.ROOT / "docs" / "frames_measured.md").write_text("\n".join(page))


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("command", choices=["run", "report", "side"])
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("names", nargs="*")
    for option, default in (
        ("megabytes", 100), ("rounds", 5), ("files", 32), ("total", 2000), ("dask-rounds", 3),
        ("slow-rounds", 1), ("slow-files", 8),
    ):  # fmt: skip
        parser.add_argument(f"--{option}", type=int, default=default)
    given = parser.parse_args()
    if given.command == "side":
        with contextlib.redirect_stdout(sys.stderr):
            first, name, *files = given.names
            if files:
                one = run_lazy(name, int(first), given.folder, int(files[0]))
            else:
                one = run_frame(name, first, given.folder)
        print(json.dumps(one))
    elif given.command == "run":
        run(given.folder, given)
    else:
        report(given.folder)


if __name__ == "__main__":
    main()
