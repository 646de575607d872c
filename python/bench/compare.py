#!/usr/bin/env python3
"""Compare files to columns, and editing them, with other packages.

Every side runs in a process of its own, which reads a file, compares its answer with the truth to the
bit, and says how long it took and how much memory; sides take turns, and the best of the rounds counts.

    compare.py run FOLDER [--megabytes 100] [--rounds 5]   measure; writes FOLDER/results.json
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

import numpy as np
import sides

ROOT = pathlib.Path(__file__).resolve().parents[2]
WORKLOADS = {
    "records": "an array of records to six columns",
    "lines": "JSON Lines to six columns",
    "edit": "scale one column and write the file back",
}


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


def is_exact(columns: dict[str, np.ndarray], folder: pathlib.Path) -> bool:
    """Tell whether an answer equals the truth, integers and doubles to the bit."""
    truth = np.load(folder / "truth.npz", allow_pickle=True)
    for name in truth:
        got, want = np.asarray(columns[name]), truth[name]
        same = got.dtype.kind == want.dtype.kind or want.dtype == object
        if not same or len(got) != len(want) or not (got == want).all():
            return False
    return True


def memory_in_use(name: str) -> int:
    """Return an entry of this process's status, in kB."""
    for line in pathlib.Path("/proc/self/status").read_text().splitlines():
        if line.startswith(name + ":"):
            return int(line.split()[1])
    raise LookupError(name)


def run_side(name: str, workload: str, folder: pathlib.Path) -> dict[str, object]:
    """Run one side once; to be called in a process of its own."""
    side = sides.SIDES[name]
    for module in side.modules:
        importlib.import_module(module)
    if side.without_gc:
        gc.disable()
    pathlib.Path("/proc/self/clear_refs").write_text("5")  # the peak so far is forgotten
    before = memory_in_use("VmRSS")
    source = folder / ("lines.jsonl" if workload == "lines" else "records.json")
    target = folder / f"out-{name.replace(' ', '-')}.json"
    started = time.perf_counter()
    answer = side.functions[workload](str(source), str(target))
    seconds = time.perf_counter() - started
    memory = memory_in_use("VmHWM") - before
    if workload == "edit":
        exact = json.loads(target.read_bytes()) == json.loads((folder / "edited.json").read_bytes())
        target.unlink()
    else:
        exact = is_exact(answer, folder)
    return {"seconds": seconds, "megabytes": memory / 1000, "exact": exact}


def run(folder: pathlib.Path, megabytes: int, rounds: int) -> None:
    """Measure all sides that are installed, taking turns."""
    folder.mkdir(parents=True, exist_ok=True)
    if not (folder / "truth.npz").exists():
        generate(folder, megabytes)
    results: dict[str, dict[str, list[dict[str, object]]]] = {}
    for turn in range(rounds):
        for workload in WORKLOADS:
            for name, side in sides.SIDES.items():
                if workload not in side.functions or not side.is_installed():
                    continue
                command = [sys.executable, __file__, "side", str(folder), name, workload]
                done = subprocess.run(command, capture_output=True, text=True, check=False)
                if done.returncode != 0:
                    print(f"{name}, {workload}: {done.stderr.splitlines()[-1]}", file=sys.stderr)
                    continue
                one = json.loads(done.stdout)
                results.setdefault(workload, {}).setdefault(name, []).append(one)
                print(f"{turn + 1} {workload:8} {name:20} {one}", flush=True)
    packages = {side.package for side in sides.SIDES.values() if side.is_installed()} - {"json"}
    versions = {name: importlib.metadata.version(name) for name in sorted(packages)}
    facts = {
        "bytes": (folder / "records.json").stat().st_size,
        "rounds": rounds,
        "python": platform.python_version(),
        "versions": versions,
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
        "process of its own, the file in the page cache. Memory is what the process's peak grew by.",
        "Exact: every integer, text and bit of every double is right. Made by",
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
        page += ["| | seconds | ratio | peak MB | exact |", "|---|---:|---:|---:|---|"]
        for name, one in sorted(best.items(), key=lambda item: item[1]["seconds"]):
            page.append(
                f"| {name} | {one['seconds']:.3f} | {one['seconds'] / own:.1f} | "
                f"{one['megabytes']:.0f} | {'yes' if one['exact'] else '**no**'} |"
            )
    versions = ", ".join(f"{name} {version}" for name, version in facts["versions"].items())
    page += ["", f"Python {facts['python']}; {versions}.", ""]
    (ROOT / "docs" / "python.md").write_text("\n".join(page))
    plot(facts)


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
    parser.add_argument("command", choices=["run", "report", "side"])
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("names", nargs="*")
    parser.add_argument("--megabytes", type=int, default=100)
    parser.add_argument("--rounds", type=int, default=5)
    given = parser.parse_args()
    if given.command == "side":
        with contextlib.redirect_stdout(sys.stderr):
            one = run_side(*given.names, given.folder)
        print(json.dumps(one))
    elif given.command == "run":
        run(given.folder, given.megabytes, given.rounds)
    else:
        report(given.folder)


if __name__ == "__main__":
    main()
