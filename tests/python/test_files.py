"""What stands for an open file, on one thread and on many, until Python exits."""

import copy
import os
import pickle
import subprocess
import sys
import textwrap
import threading
import time
import weakref
from concurrent.futures import ThreadPoolExecutor

import numpy as np
import pytest
import tarvik
from tarvik import constants, ops

call = ops.call
CLOSED = "VORLAN:tarvik:unpackCDFId:invalidFileId"


def refused(file):
    with pytest.raises(tarvik.CDFError) as caught:
        call("getName", file)
    return caught.value.identifier == CLOSED


def test_a_file_shows_itself_and_closes_itself(new_file, tmp_path):
    with pytest.raises(ZeroDivisionError), new_file() as file:
        raise ZeroDivisionError
    path = str((tmp_path / "made.cdf").rename(tmp_path / "é\udce9.cdf"))
    with call("open", path) as file:
        assert repr(file) == f"<tarvik.ops.FileId {path!r} open>"
        assert (file.name, file.closed) == (path, False)
        assert {file: 1}[file] == 1
        assert weakref.ref(file)() is file
        other = new_file("other.cdf")
        assert file != other
        with pytest.raises(KeyError):
            call("getVarNum", file, "none")
        assert not file.closed
    assert repr(file) == f"<tarvik.ops.FileId {path!r} closed>"
    assert refused(file)
    with other:
        call("delete", other)
        assert other.closed
    assert not (tmp_path / "other.cdf").exists()
    for use in (pickle.dumps, copy.copy, copy.deepcopy):
        with pytest.raises(TypeError, match="neither pickled nor copied"):
            use(file)
    with pytest.raises(TypeError):
        ops.FileId()


def test_a_file_that_is_forgotten_stays_open_and_says_so(either_probe):
    held = [either_probe.call("open", "forgotten.cdf")]
    with pytest.warns(ResourceWarning, match=r"unclosed CDF file 'forgotten.cdf' stays open"):
        held.clear()
    either_probe.call("close", np.uint64(77))  # the only handle that the probe has


def reached(probe, *files):
    return [probe.call("use", file)[0] for file in files]


def test_a_reused_handle_belongs_to_the_new_file_alone(either_probe):
    first = either_probe.call("open", "first.cdf")
    assert reached(either_probe, first) == [77]
    with pytest.raises(tarvik.CDFError, match="the close fails"):
        either_probe.call("close", first, 1)
    assert not first.closed
    # After a close that failed the library may hand the value out anew.
    second = either_probe.call("open", "second.cdf")
    assert (first.closed, second.closed) == (True, False)
    assert reached(either_probe, first, second) == [0, 77]
    # A plain number closes the file all the same.
    either_probe.call("close", np.uint64(77))
    assert second.closed
    third = either_probe.call(np.array(list("open")), "third.cdf")
    assert reached(either_probe, second, third) == [0, 77]
    assert call("getValidate")  # another gateway, for which none of these is a file
    assert refused(third)
    either_probe.call(b"close", third)
    assert third.closed


def test_a_thread_that_waited_does_not_reach_the_next_file(probe):
    """While one thread holds the lock, others line up with the file that is closed before them."""

    def reopen(file):
        probe.call("close", file)
        return probe.call("open", "next.cdf")

    for _ in range(20):
        file = probe.call("open", "first.cdf")
        before = probe.call("use", file)[1]
        with ThreadPoolExecutor(3) as pool:
            pool.submit(probe.call, "sleep", 0.01)
            time.sleep(0.002)
            reopened = pool.submit(reopen, file)
            time.sleep(0.002)
            used = pool.submit(probe.call, "use", file)
        # Before the close it reaches its own file, then none, never the next one.
        following = reopened.result()
        handle, count = used.result()
        assert handle == 0 or count == before
        assert reached(probe, file, following) == [0, 77]
        probe.call("close", following)


def test_four_threads_and_their_files_are_not_mixed_up(tmp_path):
    """Handles are reused at once; a file that was closed elsewhere is refused, never another."""
    values = np.arange(60, dtype="i4").reshape((4, 5, 3), order="F")
    for number in range(4):
        with call("create", tmp_path / f"file{number}") as file:
            call("createVar", file, "v", constants.CDF_INT4, 1, [4, 5], True, [True, True])
            call("hyperPutVarData", file, 0, 0, 3, 1, [0, 0], [4, 5], [1, 1], values + number)
    shared = {}

    def work(number):
        for turn in range(300):
            file = shared[f"file{number}"] = call("open", tmp_path / f"file{number}.cdf")
            for name in [*shared]:
                try:
                    assert os.path.basename(call("getName", shared[name])) == name
                except ValueError:  # closed by its own thread meanwhile
                    continue
            whole = call("getVarRecordData", file, 0, turn % 3)
            assert np.array_equal(whole, values[..., turn % 3] + number)
            one = call("getVarData", file, 0, 1, [3, turn % 5])
            assert one == values[3, turn % 5, 1] + number
            call("close", file)

    with ThreadPoolExecutor(4) as pool:
        list(pool.map(work, range(4)))


def test_calls_come_one_at_a_time_and_let_python_run(probe):
    ticks = []
    done = threading.Event()

    def tick():
        while not done.wait(0.001):
            ticks.append(1)

    ticker = threading.Thread(target=tick)
    ticker.start()
    with ThreadPoolExecutor(4) as pool:
        assert list(pool.map(lambda _: probe.call("sleep", 0.05), range(4))) == [1.0] * 4
    done.set()
    ticker.join()
    assert len(ticks) > 20


def run_python(program, folder, *options):
    return subprocess.run(
        [sys.executable, *options, "-c", textwrap.dedent(program)],
        capture_output=True,
        text=True,
        cwd=folder,
        env={**os.environ, "PYTHONPATH": os.path.dirname(os.path.dirname(tarvik.__file__))},
        timeout=60,
        check=False,
    )


WRITE = """
    import atexit, os, sys, threading, time
    import numpy as np
    import tarvik
    from tarvik import ops
    call = ops.call
    def make(name):
        file = call("create", name)
        call("createVar", file, "v", 4, 1, [], True, [])
        call("hyperPutVarData", file, 0, 0, 3, 1, [], [], [], np.arange(3, dtype="i4"))
        return file
    def values(file):
        return call("hyperGetVarData", file, 0, 0, 3, 1, [], [], []).ravel().tolist()
"""


def written(path):
    with call("open", path) as file:
        return call("hyperGetVarData", file, 0, 0, 3, 1, [], [], []).ravel().tolist()


def test_exit_closes_files_with_one_warning(tmp_path):
    program = """
    first, second = make("first.cdf"), make("second.cdf")
    kept = call("hyperGetVarData", first, 0, 0, 3, 1, [], [], [])
    def last():
        print(kept.tolist(), first, second.closed)
        try:
            call("getName", first)
        except tarvik.CDFError as error:
            print(error.identifier)
    atexit._clear()
    atexit.register(last)           # runs after the unloading, which comes first
    atexit.register(tarvik._host.leave)
    """
    done = run_python(WRITE + program, tmp_path)
    assert done.returncode == 0, done.stderr
    assert done.stdout.splitlines() == [
        "[[0], [1], [2]] <tarvik.ops.FileId 'first.cdf' closed> True",
        "VORLAN:pluginUnloaded",
    ]
    assert done.stderr.strip() == "sys:1: CDFWarning: Closing open CDF file handles."
    assert written(tmp_path / "first.cdf") == written(tmp_path / "second.cdf") == [0, 1, 2]


@pytest.mark.parametrize(
    ("program", "words"),
    [
        (
            'with make("x.cdf") as file: kept = values(file), call("getVarRecordData", file, 0, 1)',
            "",
        ),
        (
            """
    file = make("x.cdf")
    def work():
        while True: values(file)
    for _ in range(2): threading.Thread(target=work, daemon=True).start()
    time.sleep(0.05)
    """,
            "Closing open CDF file handles.",
        ),
        (
            """
    file = make("x.cdf")
    class Input:
        def __array__(self, *args, **kwargs): return np.array(float(ops.getVarNum(file, "v")))
    def work(indices):
        while True: ops.getVarData(file, Input(), 0, indices=indices)
    sys.setswitchinterval(1e-6)
    for _ in range(2): threading.Thread(target=work, args=([],), daemon=True).start()
    time.sleep(0.05)
    """,
            "Closing open CDF file handles.",
        ),
        (
            """
    import importlib
    inquire = ops.inquire
    for _ in range(3): importlib.reload(tarvik), importlib.reload(ops)
    call = ops.call
    with make("x.cdf") as file: assert inquire(file) == ops.inquire(file)
    """,
            "",
        ),
    ],
    ids=[
        "no_open_files",
        "a_thread_that_still_calls",
        "a_thread_that_calls_within_a_call",
        "loaded_anew",
    ],
)
def test_exit(program, words, tmp_path):
    done = run_python(WRITE + "    " + program, tmp_path, *["-X", "dev"][: 0 if words else 2])
    assert (done.returncode, done.stdout) == (0, ""), done.stderr
    assert words in done.stderr
    assert words or not done.stderr
    assert written(tmp_path / "x.cdf") == [0, 1, 2]


def test_scratch_files_are_out_of_the_way_and_go(tmp_path):
    program = """
    for name in ("closed.cdf", "left.cdf"):
        file = make(name)
        call("setCompression", file, 5, 6)
        if name == "closed.cdf":
            call("close", file)
    file = call("open", "closed.cdf")
    print(os.environ["CDF_TMP"])
    if not os.fork():
        call("open", "closed.cdf")
    """
    done = run_python(textwrap.dedent(WRITE) + textwrap.dedent(program), tmp_path)
    assert "Closing open CDF file handles" in done.stderr
    assert not os.path.exists(done.stdout.splitlines()[0])
    assert sorted(path.name for path in tmp_path.iterdir()) == ["closed.cdf", "left.cdf"]
    assert written(tmp_path / "left.cdf") == written(tmp_path / "closed.cdf") == [0, 1, 2]


def test_a_forked_child_leaves_the_files_of_its_parent_alone(tmp_path):
    """The child cannot use them, can use its own, and writes nothing to them when it exits."""
    program = """
    import signal
    file = make("parent.cdf")
    stop = threading.Event()
    def work():                     # holds the lock most of the time
        while not stop.is_set():
            values(file)
    threads = [threading.Thread(target=work) for _ in range(2)]
    for thread in threads:
        thread.start()
    for turn in range(10):
        child = os.fork()
        if child == 0:
            signal.alarm(20)
            try:
                call("getName", file)
            except ValueError:
                print(file, flush=True)
            mine = make(f"child{turn}.cdf")
            sys.exit(5)
        assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 5
    stop.set()
    for thread in threads:
        thread.join()
    call("putVarData", file, 0, 1, [], np.int32(7))
    call("close", file)
    """
    done = run_python(WRITE + program, tmp_path)
    assert done.returncode == 0, done.stderr
    assert done.stdout == "<tarvik.ops.FileId 'parent.cdf' closed>\n" * 10
    assert done.stderr.count("Closing open CDF file handles.") == 10
    assert written(tmp_path / "parent.cdf") == [0, 7, 2]
    for turn in range(10):
        assert written(tmp_path / f"child{turn}.cdf") == [0, 1, 2]


def test_a_file_that_cannot_be_closed_at_the_end_is_named(tmp_path):
    program = """
    import resource, signal
    signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
    whole, lost = make("whole.cdf"), make("lost.cdf")
    call("close", whole)
    resource.setrlimit(resource.RLIMIT_FSIZE, (1000, 1000))
    """
    done = run_python(WRITE + program, tmp_path)
    first, second = done.stderr.splitlines()
    assert first == "sys:1: CDFWarning: Closing open CDF file handles."
    assert second.startswith('sys:1: CDFWarning: The file "lost.cdf" could not be closed')
    assert "CLOSE_ERROR" in second
