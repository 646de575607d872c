"""What must never bite: lifetimes, stale nodes, threads, fork, interrupts, reference counts."""

import contextlib
import gc
import json
import os
import signal
import subprocess
import sys
import threading
import time

import numpy as np
import ostrajson as oj
import pytest

BIG = json.dumps([{"a": i, "b": [i, i / 2, f"t{i % 7}"]} for i in range(20_000)]).encode()


def test_results_outlive_what_they_came_from():
    doc = oj.parse(BIG)
    nodes = doc.root.children()
    column = nodes.select(["/a"])
    values, states = column["/a"], column.state["/a"]
    doubles = nodes["/a"].get_data().doubles
    mask = nodes.lookup("/b/1")[1]
    del doc, column
    gc.collect()
    assert nodes["/b/2"][:3].strings().tolist() == ["t0", "t1", "t2"]
    del nodes
    gc.collect()
    np.zeros(1_000_000)
    assert values.sum() == doubles.sum() == sum(range(20_000))
    assert not states.any()
    assert not mask.any()


RESTRUCTURINGS = {
    "resize": lambda nodes: nodes.resize(1),
    "set_keys": lambda nodes: nodes.set_keys(["x"]),
    "set_kinds": lambda nodes: nodes.set_kinds(oj.Kind.NULL),
    "set_data": lambda nodes: nodes.set_data(nodes.get_data()),
    "set": lambda nodes: nodes.set(1),
}


@pytest.mark.parametrize("name", RESTRUCTURINGS)
def test_restructuring_makes_other_nodes_stale(name):
    doc = oj.parse('{"p":[[1,[2,3]],[4,[5]]]}' if name != "set_keys" else '{"p":[{"q":1},{"q":2}]}')
    parent = doc["/p"]
    nodes, cousins = parent.children(), parent.children()
    inner = nodes.children()
    RESTRUCTURINGS[name](nodes)
    assert [one.stale for one in (doc.root, parent, nodes, cousins, inner)] == [
        False,
        False,
        False,
        True,
        True,
    ]
    for use in (
        lambda n: n.children(), lambda n: n.lookup("/0"), lambda n: n.to_list(), lambda n: n.numbers(),
        lambda n: n.set(1), lambda n: n.kinds(), lambda n: n.get_data(), lambda n: n.select(["/0"]),
        lambda n: n[0].keys(), lambda n: n.resize(3), lambda n: n.flatten(),
    ):  # fmt: skip
        with pytest.raises(oj.StaleNodesError):
            use(inner)
    RESTRUCTURINGS[name](nodes)
    assert len(parent.to_list()[0]) == 2


def test_changes_that_move_nothing_leave_nodes_valid():
    doc = oj.parse('[{"a":1,"l":[],"m":[1,2]},{"a":"x","l":[],"m":[3,4]}]')
    records = doc.root.children()
    others = records["/a"]
    records["/a"].set([1.5, None])
    records["/a"].set_kinds(oj.Kind.NULL)
    records["/l"].resize(3)
    records["/m"].resize(2)
    assert not others.stale
    assert records["/l"].to_list() == [[None] * 3] * 2


def test_long_chains_of_nodes_are_let_go():
    nodes = oj.parse("[[1]]").root
    for _ in range(200_000):
        nodes = nodes[:]
    nodes.set_kinds(oj.Kind.NULL)
    assert nodes.to_list() == [None]


def test_threads_share_documents():
    doc = oj.parse(BIG)
    records = doc.root.children()
    failures = []

    def run(work):
        try:
            for _ in range(20):
                work()
        except BaseException as error:
            failures.append(error)

    def change():
        records["/a"].set(threading.get_ident() + time.perf_counter_ns())

    def read():
        assert len(np.unique(records["/a"].numbers())) == 1  # all of a change or none of it
        assert len(records["/b"].flatten()[0]) == 60_000

    change()
    threads = [
        threading.Thread(target=run, args=[work]) for work in (change, read, read, change, read)
    ]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not failures


def in_child(work):
    """Run in a forked child; its exit status."""
    pid = os.fork()
    if pid == 0:
        try:
            os._exit(work())
        except BaseException:
            os._exit(99)
    for _ in range(1000):
        done, status = os.waitpid(pid, os.WNOHANG)
        if done:
            return os.waitstatus_to_exitcode(status)
        time.sleep(0.02)
    os.kill(pid, signal.SIGKILL)
    os.waitpid(pid, 0)
    raise TimeoutError


@pytest.mark.filterwarnings("ignore:.*fork.*:DeprecationWarning")
def test_a_forked_child_works_on_the_one_thread_it_has():
    doc = oj.parse(BIG * 1)
    records = doc.root.children()

    def work():
        assert oj.read_columns(BIG, ["/a"]).rows == 20_000
        assert oj.parse(BIG).root.children()["/a"].numbers().sum() == sum(range(20_000))
        records["/a"].set(0)
        return len(os.listdir("/proc/self/task"))

    assert work() >= 1
    assert in_child(work) == 1

    stop = threading.Event()

    def change():
        while not stop.is_set():
            records["/a"].set(records["/a"].numbers() + 1)

    def use():
        try:
            records.lookup("/a")
        except oj.StaleNodesError:
            return 1  # the other thread was in the middle of a change
        return 0

    thread = threading.Thread(target=change)
    thread.start()
    try:
        assert {in_child(use) for _ in range(10)} <= {0, 1}
    finally:
        stop.set()
        thread.join()


INTERRUPTED = """
import ostrajson as oj, os, signal, sys, threading, time
class Endless:
    def read(self, size):
        assert threading.current_thread() is threading.main_thread()
        time.sleep(0.001)
        return b'{"t":1}\\n' * (size // 8 + 1)
class Silent(Endless):
    calls = 0
    def read(self, size):
        self.calls += 1
        return os.read(os.pipe()[0], 1) if self.calls > 3 else super().read(size)
at = []
def interrupt():
    at.append(time.monotonic())
    os.kill(os.getpid(), signal.SIGINT)
signal.signal(signal.SIGINT, signal.default_int_handler)  # background jobs ignore it
threading.Timer(0.5, interrupt).start()
try:
    oj.read_columns(globals()[sys.argv[1]](), ["/t"], lines=True)
except KeyboardInterrupt:
    took = time.monotonic() - at[0]
    raise SystemExit(0 if took < 1 else 2)
"""


@pytest.mark.parametrize("file", ["Endless", "Silent"])
def test_an_interrupt_ends_a_long_read_within_a_second(file):
    run = subprocess.run([sys.executable, "-c", INTERRUPTED, file], timeout=60, check=False)
    assert run.returncode == 0


ENDING = """
import ostrajson as oj, sys, threading, time
class Endless:
    def read(self, size):
        time.sleep(0.001)
        return b'{"t":1}\\n' * (size // 8 + 1)
def work():
    while True:
        source = Endless() if sys.argv[1] == "file" else b'{"t":1}\\n' * 10**7
        oj.read_columns(source, ["/t"], lines=True)
threading.Thread(target=work, daemon=True).start()
time.sleep(0.5)
"""


@pytest.mark.parametrize("source", ["file", "bytes"])
def test_a_program_may_end_while_a_daemon_thread_reads(source):
    run = subprocess.run([sys.executable, "-c", ENDING, source], timeout=60, check=False)
    assert run.returncode == 0


def test_reference_counts_stay():
    key, text = "a key of its own", "a text of its own"
    values = [key, text, None, 1.5]

    def work():
        doc = oj.parse(b'{"a":[1,null,"x"],"b":{"c":[[1,2],[3,4]]}}')
        oj.loads(oj.dumps({key: [text, 1.5, None, {key: np.arange(3)}]}))
        doc.root.select({"a": "/a/0", "b": ("/b/c", "flatten"), "c": ("/a/2", str)})["c"]
        doc["/a"].children()[[0, 2]].set(["u", "v"])
        cursor = doc.cursor()
        cursor.set_keys([key, text])
        cursor.set_strings([text])
        for bad in (
            lambda: oj.parse("["),
            lambda: doc["/x"],
            lambda: oj.dumps(object()),
            lambda: doc.root.lookup("x"),
        ):
            with contextlib.suppress(ValueError, KeyError, TypeError):
                bad()

    for _ in range(5):
        work()
    gc.collect()
    before = [sys.getrefcount(value) for value in values]
    blocks = sys.getallocatedblocks()
    for _ in range(200):
        work()
    gc.collect()
    assert np.abs(np.subtract([sys.getrefcount(value) for value in values], before)).max() < 20
    assert sys.getallocatedblocks() - blocks < 200


def test_finalizers_may_use_the_document_that_is_read():
    doc = oj.parse(BIG)

    class Finalized:
        def __init__(self):
            self.me = self

        def __del__(self):
            doc.root.children()["/a"].set(7)

    for _ in range(50):
        Finalized()
        doc.to_python()
        doc.root.children().to_list()
