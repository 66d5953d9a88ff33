"""An isolated gateway between interruptions, odd inputs and a process that misbehaves."""

import contextlib
import enum
import gc
import os
import random
import signal
import subprocess
import threading
import time
from pathlib import Path

import hostile
import numpy as np
import pytest
import tarvik
from tarvik import _isolated, _process, constants

LIMIT = 1.0
MOST_MEMORY = 256  # MiB
INTERRUPTIONS = int(os.environ.get("TARVIK_INTERRUPTIONS", "100"))


class InterruptionError(Exception):
    """What the handler of a signal raises."""


@pytest.fixture
def interrupted():
    """Call a function again and again until a signal's handler raises; it may do so anywhere."""

    def interrupt(*_):
        raise InterruptionError

    def run(work, seconds):
        end = time.monotonic() + seconds + 0.1  # where the exception is lost, as in a `__del__`
        with contextlib.suppress(InterruptionError):
            signal.setitimer(signal.ITIMER_REAL, seconds)
            while time.monotonic() < end:
                work()

    before = signal.signal(signal.SIGALRM, interrupt)
    yield run
    signal.signal(signal.SIGALRM, before)


class Calls:
    """Calls of all kinds to one gateway, by this thread and by others."""

    def __init__(self, gateway, path):
        self.gateway, self.path = gateway, path
        with gateway.create(path) as file:
            gateway.createVar(file, "v", constants.CDF_INT4, 1, [1000], True, [True])
            self.values = np.arange(100_000, dtype="i4")
            gateway.hyperPutVarData(file, 0, 0, 100, 1, [0], [1000], [1], self.values)
        self.file = gateway.open(path)
        self.made = [0] * 3
        self.ends = threading.Event()
        self.threads = [threading.Thread(target=self.work, args=(n,)) for n in range(3)]

    def work(self, number):
        while not self.ends.is_set():
            # A file may be lost when another thread kills the process.
            with contextlib.suppress(tarvik.CDFError), self.gateway.open(self.path) as file:
                while not self.ends.wait(0.001):
                    value = self.gateway.getVarData(file, 0, number, [number])
                    self.made[number] += value == 1001 * number

    def one(self, rng):
        gateway, number = self.gateway, rng.randrange(5)
        if number == 0:
            gateway.getVarNum(self.file, "v")
        elif number == 1:
            gateway.hyperGetVarData(self.file, 0, 0, 100, 1, [0], [1000], [1])
        elif number == 2:
            gateway.computeEpoch(np.zeros(70_000))
        elif number == 3:
            with gateway.open(self.path):
                pass
        else:
            with pytest.raises(KeyError):
                gateway.getVarNum(self.file, "none")

    def check(self):
        values = self.gateway.hyperGetVarData(self.file, 0, 0, 100, 1, [0], [1000], [1])
        assert np.array_equal(values.ravel("F"), self.values)


@pytest.mark.filterwarnings("ignore")
def test_an_interrupted_gateway_works_on(interrupted, tmp_path):
    rng, gateway = random.Random(INTERRUPTIONS), tarvik.Gateway(isolated=True)
    calls = Calls(gateway, tmp_path / "a.cdf")
    pid, descriptors = gateway.pid, len(os.listdir("/proc/self/fd"))
    for thread in calls.threads:
        thread.start()
    for number in range(INTERRUPTIONS):
        interrupted(lambda: calls.one(rng), rng.uniform(1e-6, 2e-3))
        calls.check()
        assert gateway.pid == pid
        if number % 20 == 0:
            interrupted(gateway.kill, rng.uniform(1e-6, 2e-3))
            gateway.kill()
            calls.file = gateway.open(calls.path)
            pid = gateway.pid
    made = list(calls.made)
    while not all(now > before for now, before in zip(calls.made, made)):
        time.sleep(0.01)
    calls.ends.set()
    for thread in calls.threads:
        thread.join()
    assert len(os.listdir("/proc/self/fd")) <= descriptors
    gateway.unload()


@pytest.mark.filterwarnings("ignore")
def test_an_interrupted_start_or_end_can_be_had_again(interrupted):
    rng = random.Random(INTERRUPTIONS)
    for _ in range(max(4, INTERRUPTIONS // 20)):
        gateway = tarvik.Gateway(isolated=True)
        interrupted(gateway.getLibraryVersion, rng.uniform(1e-6, 0.1))
        assert gateway.getLibraryVersion().version == 3
        interrupted(gateway.unload, rng.uniform(1e-6, 0.02))
        gateway.unload()
        assert gateway.pid is None
        with pytest.raises(tarvik.CDFError, match="has been unloaded"):
            gateway.getLibraryVersion()


@pytest.mark.filterwarnings("ignore")
def test_an_interrupted_edit_leaves_nothing_behind(interrupted, tmp_path):
    rng, path = random.Random(INTERRUPTIONS), tmp_path / "x.cdf"

    def edit():
        with tarvik.File(path, "r+") as file:
            file["v"].append(len(file["v"]))

    with tarvik.File(path, "w") as file:
        file["v"] = [0]
    gc.collect()
    descriptors = len(os.listdir("/proc/self/fd"))
    for _ in range(INTERRUPTIONS):
        interrupted(edit, rng.uniform(1e-6, 5e-3))
        edit()
        with tarvik.File(path) as file:
            assert np.array_equal(file["v"][...], np.arange(len(file["v"])))
    gc.collect()
    assert [entry.name for entry in tmp_path.iterdir()] == ["x.cdf"]
    # One right after a folder was opened, to be synced, leaves it open.
    assert len(os.listdir("/proc/self/fd")) <= descriptors + INTERRUPTIONS // 100


@pytest.fixture(scope="module")
def attacked():
    with tarvik.Gateway(isolated=True, limit=LIMIT) as gateway:
        yield gateway
        assert gateway.getLibraryVersion().version == 3


def memory(name):
    lines = Path("/proc/self/status").read_text().splitlines()
    return next(int(line.split()[1]) for line in lines if line.startswith(name)) / 1024


@pytest.mark.parametrize("way", hostile.WAYS)
def test_no_process_is_believed(attacked, monkeypatch, tmp_path, way):
    call, _, end = hostile.WAYS[way]
    packages = os.path.dirname(os.path.dirname(np.__file__))
    monkeypatch.setattr(
        _process,
        "_START",
        f"import runpy, sys; sys.argv.append({way!r}); sys.path.append({packages!r})\n"
        f"runpy.run_path({hostile.__file__!r}, run_name='__main__')",
    )
    monkeypatch.setenv("CDF_TMP", str(tmp_path))
    attacked.kill()
    attacked._remote.wait()
    pid, before = attacked.pid, memory("VmRSS")
    Path("/proc/self/clear_refs").write_text("5")
    start = time.monotonic()
    with pytest.raises(tarvik.CDFProcessError) as caught:
        attacked.call(*call)
    assert time.monotonic() - start < 2 * LIMIT + 1
    assert memory("VmHWM") - before < MOST_MEMORY
    assert caught.value.identifier == f"VORLAN:{end}"
    assert str(caught.value).isprintable()
    assert attacked.pid is None
    assert not os.path.exists(f"/proc/{pid}")
    subprocess.run(["rm", "-r", tmp_path], check=True)  # which Python cannot if it is deep


def test_words_of_the_process_do_not_reach_a_terminal_as_they_are(capfd):
    _isolated._say(b"\x1b[2Jred\n\xff\n")
    assert capfd.readouterr().err == "\\x1b[2Jred\n\\xff\n"


class Lies:
    """What a subclass may answer of itself."""

    def __index__(self):
        return 99

    def __float__(self):
        return 99.0

    def __bytes__(self):
        return b"lie"

    def __len__(self):
        return 1

    def __iter__(self):
        return iter(b"lie")

    def __getitem__(self, _):
        return 99

    def __eq__(self, _):
        return True

    def __le__(self, _):
        return True

    def __hash__(self):
        return 0

    def encode(self, *_):
        return b"lie"


class Raises:
    def __index__(self, *_):
        raise ZeroDivisionError

    __float__ = __bytes__ = __len__ = __iter__ = __getitem__ = __eq__ = __le__ = encode = __index__
    __fspath__ = __hash__ = __array__ = __index__


def subclasses(*values):
    for value in values:
        kind = type(value)
        for ways in (Lies, Raises):
            made = type(f"{ways.__name__}{kind.__name__}", (ways, kind), {})
            yield made(value)


def nested(depth):
    value = 1.0
    for _ in range(depth):
        value = [value]
    return value


READ_ONLY = np.arange(5.0)
READ_ONLY.flags.writeable = False
ODD = [
    *subclasses(7, 2**60, 0.5, b"abc\0", "abc\udce9", [1, 2], (1.5, 2.5), [], ["a"], ["\ud800"]),
    [*subclasses(1)],
    [*subclasses(1.5), 2],
    [*subclasses("ab", b"c")],
    Raises(),
    Lies(),
    np.bytes_(b"ab\0"),
    np.str_("äb"),
    np.bool_(True),
    np.void(b"ab"),
    enum.IntEnum("E", {"X": 4}).X,
    enum.Enum("S", {"X": "ab"}, type=str).X,
    np.arange(4).view(np.recarray),
    np.ma.masked_array([1, 2]),
    np.ma.masked_array([1, 2], [0, 1]),
    np.ma.masked,
    np.rec.array([(1, 2.0)]),
    np.char.array(["a", "bc"]),
    bytearray(b"ab"),
    memoryview(b"ab"),
    memoryview(np.arange(6.0)[::2]),
    2**53 + 1,
    -(10**400),
    [2**63, 0.5],
    nested(40),
    nested(3000),
    np.arange(10.0)[::-3],
    np.broadcast_to(np.float32(1), (3, 2)),
    READ_ONLY,
    np.zeros((3, 0, 2), "i2"),
    np.zeros((0, 5), "S3"),
    np.arange(3, dtype=">i2"),
    np.zeros(2, "i4,f8"),
    np.array([1, "a"], object),
    np.frombuffer(bytes(17), "u1")[1:].view("f8"),
    np.float64("nan"),
    "\ud800",
    "x" * (1 << 20),
]


def outcome(gateway, *inputs):
    """What a call gives, bit by bit, or the class of what it raises."""
    try:
        found = gateway.call(*inputs)
    except Exception as error:
        return type(error)
    values = found if isinstance(found, tuple) else [found]
    return [
        (type(value), getattr(value, "shape", None), np.asarray(value).tobytes())
        for value in values
    ]


@pytest.fixture(scope="module")
def isolated_probe(probe_file):
    with tarvik.Gateway(probe_file, isolated=True) as gateway:
        yield gateway


@pytest.mark.parametrize("value", ODD, ids=lambda value: type(value).__name__)
def test_odd_inputs_are_those_of_any_gateway(probe, isolated_probe, value):
    pid = isolated_probe.pid
    for inputs in (("echo", value), ("echo", 1, value, "x"), (value, 1), (value, "x.cdf")):
        assert outcome(isolated_probe, *inputs) == outcome(probe, *inputs)
    assert isolated_probe.pid == pid
