#!/usr/bin/env python3
"""Turns the benchmarks' results into ratio tables, a page and its plots.

usage: bench_report.py PAGE RESULTS...    (RESULTS without their .json; PAGE may be /dev/null)

The best of a benchmark's repetitions counts. A ratio says how many times as long the other side
takes: above 1 the library is faster. A ratio below its aim is marked, and what bounds it is said.
"""

import collections
import json
import os
import platform
import re
import subprocess
import sys

# What each topic is about, and what it aims at.
TOPICS = {
    "end to end": "A 100 MB file of half a million records, read from disk into six host columns "
    "(two of integers, three of doubles, one of strings). Each side in a process of its own, which "
    "has seen to it that the machine has memory at hand; the library uses all cores, the others "
    "one. Aim: ahead of simdjson, 10 times nlohmann.",
    "read_columns": "The same columns (integers as such, texts as UTF-8) by the one call that reads "
    "block by block, from that file and from one of JSON Lines. Each side in a process of its own, "
    "which has seen to it that the machine has memory at hand; the library uses all cores, or one, "
    "the others one. Aims: 2.5 times On-Demand, as fast on one thread, 20 times nlohmann, a fifth "
    "of the memory of the whole document.",
    "parse": "From text in memory to a document, as a first load: the heap is trimmed before each "
    "run. The library uses all cores, the others one; RapidJSON runs with full precision, encoding "
    "validation and its iterative parser. Aim: 1.5 times RapidJSON, the time of simdjson's own "
    "DOM.",
    "parse, warm": "The same for the forms of text that parsers are commonly compared on, again and "
    "again on one thread, by its CPU time. UTF-8 is checked on all sides; simdjson keeps its parser, "
    "which owns its document, the others make and destroy theirs.",
    "write": "From a document to UTF-16 text, on one thread; RapidJSON: its writer and the same "
    "conversion. Into a file: to UTF-8, and to /dev/null. Aim: 1.5 times RapidJSON.",
    "write UTF-8, warm": "From a document of such a form to UTF-8 text, compact and indented, into "
    "/dev/null, on one thread, by its CPU time.",
    "lookup": "One value for each of half a million records, with the mask of misses, on two "
    "threads; the others loop on one. Aim: 2.5 times the fastest of them for `/pos/x`.",
    "flattening": "All scalars below one value of each record. Aim: 1.7 times the serial loop.",
    "resizing": "Half a million arrays, grown to four elements: the short ones of as many records, "
    "as they were read, which need new storage, and arrays side by side that have room. Aims: 1.5 "
    "in records, else 1 / 1.15 = 0.87.",
    "columns": "Types, data and keys of half a million records. Aims: get_types and set_types 1.5, "
    "get_data of numbers 1.3, get_data of strings at least 1 / 1.3 = 0.77, get_keys 3, "
    "set_keys 1.4.",
    "select": "Six fields of half a million records as columns with types and states, against six "
    "lookups and their data, which are six passes and UTF-16. Aim: 2 times.",
    "lists": "The cursor's lists on a level of a million entries against loops written by hand. "
    "Aim: at least 1 / 1.15 = 0.87.",
}

# What memory the runs of a topic find.
WARM = "Memory is warm: each run finds what the last one freed."
MEMORY = {
    "end to end": "Memory is fresh: each process runs once.",
    "read_columns": "Memory is fresh: each process runs once.",
    "parse": "Memory is fresh: each run takes it from the system.",
    "resizing": "Memory is fresh: each run has a document of its own, not yet grown.",
    "columns": WARM + " set_keys: fresh, with a document of its own.",
}

# What is aimed at: topic, case and side (regular expressions), ratio, and what is known to bound
# the library if it falls short, by measuring each side on one thread.
AIMS = [
    ("end to end", ".*", "simdjson", 1, None),
    ("end to end", ".*", "nlohmann", 10, None),
    ("parse", ".*", "RapidJSON", 1.5, None),
    ("parse", ".*", "simdjson DOM", 1, None),
    ("write", ".*", "RapidJSON", 1.5, None),
    ("lookup", "/pos/x", "RapidJSON|simdjson|Boost.JSON", 2.5,
     "In document order the processor's own prefetching serves a plain loop nearly as well as ours "
     "serves the library: on one thread that takes 15 ms and RapidJSON's loop 17. The rest is the "
     "number of threads, of which there are two; in any other order it is far ahead."),
    ("flattening", ".*", "serial", 1.7,
     "As for lookups: in document order a plain loop on one thread takes 21 ms, the library 26, "
     "which counts all before it collects any. What is gained is gained by threads."),
    ("resizing", ".*in records.*", "serial", 1.5, None),
    ("resizing", ".*with room.*", "serial", 0.87,
     "All arrays are looked at before the first one changes, so that threads do not meet and the "
     "memory is known to be there: a second pass, while these arrays need no memory."),
    ("columns", "[gs]et_types.*", "serial", 1.5, None),
    ("columns", "get_data (doubles|uint64s)", "serial", 1.3, None),
    ("columns", "get_data strings", "bare loop", 0.77, None),
    ("columns", "get_keys", "hash maps", 3, None),
    ("columns", "set_keys", "serial", 1.4, None),
    ("lists", ".*", "by hand", 0.87,
     "Both sides run the same loop on one thread over entries that memory must deliver: what is "
     "left is how the compiler lays it out, and the machine's noise."),
]


def shortfall(topic, case, side, ratio):
    """The aim and what bounds the library, if a ratio does not reach its aim."""
    for aim_topic, cases, sides, aim, bound in AIMS:
        if (topic == aim_topic and re.fullmatch(cases, case) and re.fullmatch(sides, side)
                and round(ratio, 2) < aim):
            return aim, bound or "What bounds it is not known."
    return None


def read(results):
    """Best time in microseconds by name, and peak memory if it was measured."""
    times, peaks = {}, {}
    for path in results:
        with open(path + ".json", encoding="utf-8") as file:
            for run in json.load(file)["benchmarks"]:
                if run.get("run_type", "iteration") != "iteration":
                    continue
                name = run["name"]
                for suffix in ("/min_time", "/iterations:", "/repeats:", "/real_time"):
                    name = name.split(suffix)[0]
                clock = "cpu_time" if ", warm/" in name else "real_time"
                times[name] = min(times.get(name, float("inf")), run[clock])
                if "peak_megabytes" in run:
                    peaks[name] = run["peak_megabytes"]
    return times, peaks


def duration(microseconds):
    if microseconds < 1000:
        return f"{microseconds:.1f} µs"
    return f"{microseconds / 1000:.1f} ms"


def comparisons(times, peaks):
    """One markdown table a topic."""
    topics = collections.defaultdict(lambda: collections.defaultdict(dict))
    for name, time in times.items():
        topic, rest = name.split("/", 1)
        if topic != "scaling":
            case, side = rest.rsplit("/", 1)
            topics[topic][case][side] = (time, peaks.get(name))
    for topic in TOPICS:
        if topic not in topics:
            continue
        yield f"## {topic[0].upper()}{topic[1:]}\n\n{TOPICS[topic]} {MEMORY.get(topic, WARM)}\n"
        others = list(dict.fromkeys(s for c in topics[topic].values() for s in c if s != "library"))
        yield "| | library | " + " | ".join(others) + " |"
        yield "|---|" + "---:|" * (len(others) + 1)
        missed = collections.defaultdict(list)
        for case, sides in topics[topic].items():
            own, peak = sides["library"]
            memory = f", {peak:.0f} MB" if peak else ""
            title = f"`{case}`" if case.startswith("/") else case
            cells = [title, duration(own) + memory]
            for other in others:
                if other not in sides:
                    cells.append("")
                    continue
                time, peak = sides[other]
                memory = f", {peak:.0f} MB" if peak else ""
                ratio = time / own
                short = shortfall(topic, case, other, ratio)
                mark = f" of {short[0]:g} ✗" if short else ""
                cells.append(f"**{ratio:.2f}**{mark} ({duration(time)}{memory})")
                if short:
                    missed[short].append(f"{title} {ratio:.2f} ({other})")
            yield "| " + " | ".join(cells) + " |"
        yield ""
        if missed:
            yield "Aims missed (✗), and what bounds the library there:\n"
            for (aim, bound), cells in missed.items():
                yield f"- {', '.join(cells)} of {aim:g}. {bound}"
            yield ""


def scaling(times):
    """Nanoseconds a node: {operation: {threads: {nodes: ns}}}."""
    table = collections.defaultdict(lambda: collections.defaultdict(dict))
    for name, time in times.items():
        if name.startswith("scaling/"):
            operation, threads, nodes = name[len("scaling/"):].rsplit("/", 2)
            table[operation][int(threads)][int(nodes)] = time * 1000 / int(nodes)
    return table


def scaling_tables(table):
    if not table:
        return
    yield "## How cost grows\n"
    yield f"Nanoseconds a node. The first column is a call on a single node: its overhead. {WARM}\n"
    sizes = sorted({n for by_threads in table.values() for t in by_threads.values() for n in t})
    yield "| operation | threads | " + " | ".join(f"{n:,}" for n in sizes) + " |"
    yield "|---|---:|" + "---:|" * len(sizes)
    for operation, by_threads in table.items():
        for threads, costs in by_threads.items():
            row = " | ".join(f"{costs[n]:.1f}" if n in costs else "" for n in sizes)
            yield f"| {operation} | {threads} | {row} |"
    yield ""


def command(*words):
    result = subprocess.run(words, capture_output=True, text=True, check=False)
    return result.stdout.strip()


def machine():
    model = "unknown processor"
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        for line in file:
            if line.startswith("model name"):
                model = line.split(":", 1)[1].strip()
    with open("/proc/meminfo", encoding="utf-8") as file:
        memory = int(file.readline().split()[1]) // (1024 * 1024)
    compiler = command("c++", "--version").splitlines()[0]
    commit = command("git", "rev-parse", "--short", "HEAD")
    return (f"{model}, {os.cpu_count()} cores, {memory} GiB, {platform.system()}; {compiler}, "
            f"release preset; commit {commit}.")


def plot(script, output):
    header = (f"set terminal svg size 760,360 font 'sans-serif,13' background 'white'\n"
              f"set output '{output}'\n")
    subprocess.run(["gnuplot"], input=header + script, text=True, check=True)


def plot_end_to_end(times, folder):
    case = "end to end/file to six columns/"
    sides = [(s, times[case + s] / 1e6) for s in ("library", "simdjson", "nlohmann")
             if case + s in times]
    if len(sides) < 3:
        return []
    rows = "\n".join(f'"{"this library" if s == "library" else s}" {t:.3f}' for s, t in sides)
    plot("set title 'From a 100 MB file to six columns (seconds, less is better)'\n"
         "set style fill solid 0.8\nset boxwidth 0.6\nset yrange [0:*]\nunset key\n"
         "set grid ytics\n$data << EOD\n" + rows + "\nEOD\n"
         "plot $data using 0:2:xtic(1) with boxes lc rgb '#3b6ea5', "
         "'' using 0:2:(sprintf('%.2f s', $2)) with labels offset 0,0.7\n",
         os.path.join(folder, "end_to_end.svg"))
    return ["![From a file to six columns](end_to_end.svg)\n"]


def plot_scaling(table, folder):
    if not table:
        return []
    shown = [o for o in ("get_children(selector)", "get_children_exhaustive", "get_types",
                         "get_data, numbers", "get_keys") if o in table]
    blocks, parts = "", []
    for k, operation in enumerate(shown):
        costs = table[operation][2]
        blocks += f"$d{k} << EOD\n"
        blocks += "\n".join(f"{n} {c:.2f}" for n, c in sorted(costs.items()) if n > 1) + "\nEOD\n"
        parts.append(f"$d{k} using 1:2 with linespoints lw 2 pt 7 ps 0.6 "
                     f"title '{operation.replace('_', chr(92) + '_')}'")
    plot("set title 'Cost per node on two threads (nanoseconds)'\nset logscale x\n"
         "set format x '10^{%L}'\nset xlabel 'nodes'\nset yrange [0:*]\nset grid\n"
         "set key outside right\n" + blocks + "plot " + ", ".join(parts) + "\n",
         os.path.join(folder, "scaling.svg"))
    return ["![Cost per node](scaling.svg)\n"]


# Peers newer than Debian's, which no script of ours builds.
BY_HAND = """## Newer peers, by hand

Measured by hand on 21 November 2026 with yyjson 0.12.0 (commit 12797c6) and simdjson 4.6.1 (commit
f807de9) on the public files of simdjson-data, memory warm, CPU time of one thread, UTF-8 checked on all
sides: the library reads 1.2 to 2.4 times as fast as yyjson and 0.99 to 1.7 times as fast as simdjson's
DOM on all ten files above 10 kB; at 1 kB it takes as long as yyjson, at 380 bytes 1.4 times as long. It
writes UTF-8 1.0 to 2.1 times as fast as yyjson.
"""


def main():
    page, results = sys.argv[1], sys.argv[2:]
    times, peaks = read(results)
    table = scaling(times)
    tables = list(comparisons(times, peaks)) + list(scaling_tables(table))
    print("\n".join(tables))
    if page == "/dev/null":
        return
    folder = os.path.dirname(page)
    head = ["# Performance\n",
            "Written by `./scripts/bench`, which checks every answer before it times anything. "
            "Bold figures are ratios: how many times as long the other side takes, best of several "
            "repetitions on both sides, measured side by side in one run. A ratio below its aim "
            "carries the aim and a cross.\n",
            machine() + "\n"]
    plots = plot_end_to_end(times, folder) + plot_scaling(table, folder)
    with open(page, "w", encoding="utf-8") as file:
        file.write("\n".join([*head, *plots, *tables, BY_HAND]).rstrip() + "\n")


if __name__ == "__main__":
    main()
