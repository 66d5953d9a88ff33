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
from tarvik import constants

call = tarvik.call
CLOSED = "VORLAN:tarvik:unpackCDFId:invalidFileId"


def refused(file):
    with pytest.raises(tarvik.CDFError) as caught:
        call("getName", file)
    return caught.value.identifier == CLOSED


def test_a_file_shows_itself_and_closes_itself(tmp_path):
    with call("create", tmp_path / "made.cdf"):
        pass
    path = str((tmp_path / "made.cdf").rename(tmp_path / "é\udce9.cdf"))
    with call("open", path) as file:
        assert repr(file) == f"<tarvik.FileId {path!r} open>"
        assert (file.name, file.closed) == (path, False)
        assert {file: 1}[file] == 1
        other = call("create", tmp_path / "other.cdf")
        assert file != other
        assert weakref.ref(file)() is file
    assert repr(file) == f"<tarvik.FileId {path!r} closed>"
    assert file.closed
    assert refused(file)
    with other:
        call("close", other)
    assert other.closed
    with pytest.raises(TypeError):
        tarvik.FileId()


def test_delete_closes_and_a_failing_call_does_not(new_file, tmp_path):
    file = new_file()
    with pytest.raises(KeyError):
        call("getVarNum", file, "none")
    assert not file.closed
    call("delete", file)
    assert file.closed
    assert not (tmp_path / "made.cdf").exists()


@pytest.mark.parametrize("use", [pickle.dumps, copy.copy, copy.deepcopy])
def test_a_file_cannot_be_copied(use, new_file):
    with pytest.raises(TypeError, match="neither pickled nor copied"):
        use(new_file())


def test_a_file_that_is_forgotten_stays_open_and_says_so(probe):
    held = [probe.call("open", "forgotten.cdf")]
    with pytest.warns(ResourceWarning, match=r"unclosed CDF file 'forgotten.cdf' stays open"):
        held.clear()
    probe.call("close", np.uint64(77))  # the only handle that the probe has


def test_an_error_in_the_block_goes_before(new_file):
    with pytest.raises(ZeroDivisionError), new_file() as file:
        raise ZeroDivisionError
    assert file.closed


def reached(probe, *files):
    return [probe.call("use", file)[0] for file in files]


def test_a_reused_handle_belongs_to_the_new_file_alone(probe):
    first = probe.call("open", "first.cdf")
    assert reached(probe, first) == [77]
    with pytest.raises(tarvik.CDFError, match="the close fails"):
        probe.call("close", first, 1)
    assert not first.closed
    # After a close that failed the library may hand the value out anew.
    second = probe.call("open", "second.cdf")
    assert (first.closed, second.closed) == (True, False)
    assert reached(probe, first, second) == [0, 77]
    # A plain number closes the file all the same.
    probe.call("close", np.uint64(77))
    assert second.closed
    third = probe.call(np.array(list("open")), "third.cdf")
    assert reached(probe, second, third) == [0, 77]
    assert call("getValidate")  # another gateway, for which none of these is a file
    assert refused(third)
    probe.call(b"close", third)
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


def test_files_opened_and_closed_on_four_threads_are_not_mixed_up(tmp_path):
    """Handles are reused at once; a file that was closed elsewhere is refused, never another."""
    names = [f"file{number}" for number in range(4)]
    for name in names:
        call("close", call("create", tmp_path / name))
    shared = {}
    wrong = []

    def work(name):
        for turn in range(300):
            file = shared[name] = call("open", tmp_path / f"{name}.cdf")
            for other in [*shared]:
                try:
                    found = os.path.basename(call("getName", shared[other]))
                except ValueError:  # closed by its own thread meanwhile
                    continue
                if found != other:
                    wrong.append((turn, other, found))
            call("close", file)

    with ThreadPoolExecutor(4) as pool:
        list(pool.map(work, names))
    assert not wrong


def test_four_threads_read_their_own_files(tmp_path):
    values = np.arange(4 * 5 * 6, dtype="i4").reshape((4, 5, 6), order="F")
    for number in range(4):
        with call("create", tmp_path / f"{number}.cdf") as file:
            var = call("createVar", file, "v", constants.CDF_INT4, 1, [4, 5], True, [True, True])
            call("hyperPutVarData", file, var, 0, 6, 1, [0, 0], [4, 5], [1, 1], values + number)

    def read(number):
        generator = np.random.default_rng(number)
        with call("open", tmp_path / f"{number}.cdf") as file:
            for i, j, record in generator.integers([4, 5, 6], size=(3000, 3)):
                one = call("getVarData", file, 0, int(record), [int(i), int(j)])
                assert one == values[i, j, record] + number
                whole = call("getVarRecordData", file, 0, int(record))
                assert np.array_equal(whole, values[..., record] + number)
        return True

    with ThreadPoolExecutor(4) as pool:
        assert all(pool.map(read, range(4)))


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
    call = tarvik.call
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
        "[[0], [1], [2]] <tarvik.FileId 'first.cdf' closed> True",
        "VORLAN:pluginUnloaded",
    ]
    assert done.stderr.strip() == "sys:1: CDFWarning: Closing open CDF file handles."
    assert written(tmp_path / "first.cdf") == written(tmp_path / "second.cdf") == [0, 1, 2]


def test_exit_without_open_files_says_nothing(tmp_path):
    program = """
    with make("x.cdf") as file:
        kept = values(file), call("getVarRecordData", file, 0, 1)
    """
    done = run_python(WRITE + program, tmp_path, "-X", "dev")
    assert (done.returncode, done.stdout, done.stderr) == (0, "", "")


def test_exit_while_a_thread_still_calls(tmp_path):
    program = """
    file = make("x.cdf")
    def work():
        while True:
            values(file)
    for _ in range(2):
        threading.Thread(target=work, daemon=True).start()
    time.sleep(0.05)
    """
    done = run_python(WRITE + program, tmp_path)
    assert done.returncode == 0, done.stderr
    assert "Closing open CDF file handles." in done.stderr
    assert written(tmp_path / "x.cdf") == [0, 1, 2]


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
    assert done.stdout == "<tarvik.FileId 'parent.cdf' closed>\n" * 10
    assert done.stderr.count("Closing open CDF file handles.") == 10
    assert written(tmp_path / "parent.cdf") == [0, 7, 2]
    for turn in range(10):
        assert written(tmp_path / f"child{turn}.cdf") == [0, 1, 2]
