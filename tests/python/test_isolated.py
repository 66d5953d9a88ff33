"""A gateway whose plug-in is in a process of its own: the same answers, and what it survives."""

import contextlib
import gc
import os
import re
import signal
import subprocess
import sys
import threading
import time
from pathlib import Path

import numpy as np
import pytest
import tarvik
from tarvik import constants, ops
from tarvik.cli import content
from test_files import WRITE, run_python, written
from test_real_files import FOLDER, NAMES

EXAMPLE = Path(__file__).parents[2] / "examples/data/ac_h2_sis_20101105_v06.cdf"

INVALID = "VORLAN:tarvik:unpackCDFId:invalidFileId"
LARGE = 100_000


@pytest.fixture(scope="module")
def isolated():
    with tarvik.Gateway(isolated=True) as gateway:
        yield gateway


@pytest.fixture
def probed(probe_file):
    """An isolated gateway of the test's plug-in that waits for half a second."""
    with tarvik.Gateway(probe_file, isolated=True, limit=0.5) as gateway:
        yield gateway


def add_variable(gateway, path, records=3):
    file = gateway.create(path)
    gateway.createVar(file, "v", constants.CDF_INT4, 1, [], True, [])
    gateway.hyperPutVarData(file, 0, 0, records, 1, [], [], [], np.arange(records, dtype="i4"))
    return file


def everything(path, gateway=None):
    """All descriptions and the bits of all values of a file."""
    found = [repr(content.read_file(str(path), gateway=gateway))]
    with tarvik.File(path, gateway=gateway) as file:
        for variable in file.values():
            values = variable.raw[...]
            found.append((values.dtype, values.shape, values.tobytes()))
    return found


@pytest.mark.parametrize("name", NAMES)
def test_real_files_read_the_same(name):
    with tarvik.Gateway(isolated=True) as gateway:
        assert everything(FOLDER / name) == everything(FOLDER / name, gateway)


def test_values_of_any_size_go_there_and_back_bit_by_bit(either_probe):
    bits = np.random.default_rng(7).integers(0, 2**64, LARGE, "u8")
    bits[:3] = 0x7FF8DEADBEEF0001, 0x7FF4000000000001, 1 << 63  # payloads of NaN, and -0
    doubles = bits.view("f8").reshape((-1, 4), order="F")
    text = bytes(range(256)) * 1000
    found = either_probe.call("echo", doubles, doubles[0, 0], text, doubles.T[:0], True)
    assert found[0].tobytes("F") == doubles.tobytes("F")
    assert np.float64(found[1]).tobytes() == doubles[0, 0].tobytes()
    assert found[2].encode("utf-8", "surrogateescape") == text
    assert (found[3].shape, found[4]) == ((0, LARGE // 4), True)
    for array in (found[0], either_probe.call("echo", np.arange(3))):
        assert array.flags.f_contiguous
        assert array.flags.aligned
        array[:] = 1


def test_files_are_those_of_any_gateway(isolated, tmp_path, monkeypatch):
    isolated.close(add_variable(isolated, tmp_path / "a.cdf"))
    path = (tmp_path / "a.cdf").rename(tmp_path / "a\udce9.cdf")
    with isolated.open(path) as file:
        assert repr(file) == f"<tarvik.ops.FileId {str(path)!r} open>"
        assert type(file) is ops.FileId
        with pytest.raises(ValueError, match="belongs to the gateway that opened it"):
            ops.inquire(file)
        with ops.open(EXAMPLE) as other, pytest.raises(ValueError, match="belongs"):
            isolated.inquire(other)
    assert file.closed
    with pytest.raises(tarvik.CDFError) as caught:
        isolated.getName(file)
    assert caught.value.identifier == INVALID
    for folder in ("one", "two"):
        (tmp_path / folder).mkdir()
        monkeypatch.chdir(tmp_path / folder)
        isolated.close(add_variable(isolated, "here.cdf"))
        assert written("here.cdf") == [0, 1, 2]
    for path, kind in (("missing.cdf", FileNotFoundError), (tmp_path, IsADirectoryError)):
        with pytest.raises(kind) as caught:
            isolated.open(path)
        assert caught.value.filename is path
    with pytest.raises(tarvik.CDFError, match=r"missing\.so"):
        tarvik.Gateway("missing.so", isolated=True)


def crash(gateway):
    gateway.call("crash")


def stop(gateway):
    os.kill(gateway.pid, signal.SIGSTOP)
    gateway.call("echo", 1)


def sleep(gateway):
    gateway.call("sleep", 60)


def end_within_a_call(gateway):
    threading.Timer(0.1, gateway.kill).start()
    sleep(gateway)


def end_before_a_call(gateway):
    os.kill(gateway.pid, signal.SIGSEGV)
    gateway.call("echo", 1)


def test_calls_that_have_a_time_together(probed):
    def repeat():
        for _ in range(10_000):
            probed.call("echo", 1)
            time.sleep(0.01)

    with probed.within(30), probed.within(0.3), probed.within(20):
        with pytest.raises(tarvik.CDFProcessError, match=r"after 0\.3 s for all calls"):
            repeat()
        with pytest.raises(tarvik.CDFProcessError, match="for all calls"):
            probed.call("echo", 1)
    assert probed.call("echo", 1) == 1
    with pytest.raises(tarvik.CDFProcessError, match=r"after 0\.5 s and"):
        sleep(probed)
    for gateway, seconds in ((probed, 0), (probed, float("nan")), (tarvik.Gateway(), 1)):
        with pytest.raises(ValueError, match="limit"), gateway.within(seconds):
            pass


ENDS = [
    (crash, "processEnded", "crashed (SIGABRT) in crash: the heap is broken"),
    (stop, "timeLimitExceeded", "had not finished echo after 0.5 s and was ended."),
    (sleep, "timeLimitExceeded", "had not finished sleep after 0.5 s and was ended."),
    (end_within_a_call, "processEnded", "ended (SIGKILL) in sleep."),
    (end_before_a_call, "processEnded", "crashed (SIGSEGV) in echo."),
]


@pytest.mark.parametrize(("end", "tag", "words"), ENDS)
def test_the_end_of_the_process_is_an_exception(probed, isolated, capfd, end, tag, words):
    with isolated.open(EXAMPLE) as elsewhere:
        first, pid = probed.call("open", "first.cdf"), probed.pid
        with pytest.raises(tarvik.CDFProcessError) as caught, first:
            end(probed)
        assert caught.value.identifier == f"VORLAN:{tag}"
        assert str(caught.value) == f"The CDF library {words}"
        assert f" in {caught.value.operation}" in words or "finished" in words
        assert first.closed
        second = probed.call("open", "second.cdf")
        assert pid != probed.pid
        # Both have the same handle in their processes.
        assert probed.call("use", second)[0] == 77
        with pytest.raises(ValueError, match=r'"first\.cdf" was open has ended') as caught:
            probed.call("use", first)
        assert caught.value.identifier == INVALID
        probed.call("close", second)
        assert isolated.getFormat(elsewhere) == "SINGLE_FILE"
    assert capfd.readouterr() == ("", "")
    with pytest.raises(ProcessLookupError):
        os.kill(pid, 0)


def test_a_block_ends_with_the_word_of_a_lost_file(isolated, tmp_path):
    def lose(name, *faults):
        with isolated.create(tmp_path / name):
            isolated.kill()
            for fault in faults:
                raise fault

    with pytest.raises(ValueError, match=r'a\.cdf" was open has ended') as caught:
        lose("a.cdf")
    assert caught.value.identifier == INVALID
    with pytest.raises(KeyError):
        lose("b.cdf", KeyError())
    with isolated.create(tmp_path / "c.cdf") as file:
        isolated.close(file)


def test_an_interruption_ends_the_waiting_alone(probe_file):
    with tarvik.Gateway(probe_file, isolated=True) as gateway:
        for inputs in (("sleep", 0.3), ("open", "lost.cdf")):
            held = gateway.pid
            os.kill(held, signal.SIGSTOP)
            interrupt = threading.Timer(0.1, os.kill, (os.getpid(), signal.SIGINT))
            interrupt.start()
            with pytest.raises(KeyboardInterrupt):
                gateway.call(*inputs)
            os.kill(held, signal.SIGCONT)
            assert gateway.call("echo", "mine") == "mine"
            assert gateway.pid == held


def test_one_call_at_a_time(isolated, tmp_path):
    isolated.close(add_variable(isolated, tmp_path / "a.cdf", 1000))
    failures = []

    def work(number):
        for _ in range(30):
            with isolated.open(tmp_path / "a.cdf") as file:
                if isolated.getVarData(file, 0, number, []) != number:
                    failures.append(number)

    threads = [threading.Thread(target=work, args=(number,)) for number in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not failures


def test_a_handler_of_a_signal_may_not_call_into_a_call(probed):
    before = signal.signal(signal.SIGALRM, lambda *_: probed.call("echo", 1))
    try:
        probed.call("echo", 1)
        signal.setitimer(signal.ITIMER_REAL, 0.05)
        with pytest.raises(RuntimeError, match="under way"):
            probed.call("sleep", 0.2)
    finally:
        signal.signal(signal.SIGALRM, before)
    assert probed.call("echo", 2) == 2


def open_descriptors():
    return len(os.listdir("/proc/self/fd"))


def test_nothing_is_left(probe_file):
    gc.collect()
    before = open_descriptors()
    gateway = tarvik.Gateway(probe_file, isolated=True)
    pids = [gateway.pid]
    during = open_descriptors()
    kept = [gateway.call("echo", np.full(LARGE, number)) for number in range(50)]
    assert open_descriptors() == during
    with pytest.raises(tarvik.CDFProcessError):
        crash(gateway)
    gateway.call("echo", 1)
    assert open_descriptors() == during
    assert [array[-1, 0] for array in kept] == list(range(50))
    pids.append(gateway.pid)
    gateway.unload()
    gateway.unload()
    with pytest.raises(tarvik.CDFError, match="has been unloaded"):
        gateway.call("echo", 1)
    pids.append(tarvik.Gateway(probe_file, isolated=True).pid)  # collected at once
    gc.collect()
    assert open_descriptors() == before
    assert not [pid for pid in pids if os.path.exists(f"/proc/{pid}")]


def resident(pid):
    pages = int(Path(f"/proc/{pid}/statm").read_text().split()[1])
    return pages * os.sysconf("SC_PAGESIZE") / 2**20


@pytest.mark.parametrize("isolated", [False, True])
def test_memory_of_arrays_that_are_gone_is_given_back(probe_file, isolated):
    with tarvik.Gateway(probe_file, isolated=isolated) as gateway:
        pid = gateway.pid or os.getpid()
        values = np.ones(2**23)  # 64 MiB
        gateway.call("echo", 1)
        before = resident(pid)
        gateway.call("echo", values)
        if not isolated:
            assert resident(pid) > before + 60
            ops.give_back_memory()
        gateway.call("echo", 1)  # until then another process may still be at it
        assert resident(pid) < before + 8


MAKE_ISOLATED = WRITE + "    call = tarvik.Gateway(isolated=True).call\n"


def test_exit_closes_files_with_one_warning(tmp_path):
    program = """
    file = make("x.cdf")
    def work():
        while True: values(file)
    for _ in range(2): threading.Thread(target=work, daemon=True).start()
    time.sleep(0.05)
    """
    done = run_python(MAKE_ISOLATED + program, tmp_path, "-X", "dev")
    assert (done.returncode, done.stdout) == (0, "")
    assert done.stderr == "sys:1: CDFWarning: Closing open CDF file handles.\n"
    assert written(tmp_path / "x.cdf") == [0, 1, 2]


def wait_for_end(pid):
    deadline = time.monotonic() + 20
    while os.path.exists(f"/proc/{pid}") and time.monotonic() < deadline:
        time.sleep(0.02)


def test_files_are_closed_when_the_session_is_killed(tmp_path):
    program = """
    gateway = tarvik.Gateway(isolated=True)
    call = gateway.call
    file = make("x.cdf")
    print(gateway.pid, flush=True)
    os.kill(os.getpid(), 9)
    """
    done = run_python(WRITE + program, tmp_path)
    wait_for_end(int(done.stdout))
    assert written(tmp_path / "x.cdf") == [0, 1, 2]


@pytest.mark.parametrize("seconds", [0.1, 60])
def test_no_folder_is_left_when_the_session_is_killed(probe_file, monkeypatch, tmp_path, seconds):
    monkeypatch.setenv("CDF_TMP", str(tmp_path))
    program = f"""
    gateway = tarvik.Gateway({probe_file!r}, isolated=True, limit=0.5)
    print(gateway.pid, len(os.listdir()), flush=True)
    threading.Timer(0.05, os.kill, (os.getpid(), 9)).start()
    gateway.call("sleep", {seconds})
    """
    pid, folders = map(int, run_python(WRITE + program, tmp_path).stdout.split())
    wait_for_end(pid)
    assert (folders, list(tmp_path.iterdir())) == (1, [])


def test_a_fork_has_no_files_and_a_process_of_its_own(tmp_path):
    program = """
    gateway = tarvik.Gateway(isolated=True)
    call = gateway.call
    file, pid = make("parent.cdf"), gateway.pid
    child = os.fork()
    if child == 0:
        try:
            call("getName", file)
        except ValueError:
            print(file, flush=True)
        call("close", make("child.cdf"))
        sys.exit(5 if gateway.pid != pid else 1)
    assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 5
    call("putVarData", file, 0, 1, [], np.int32(7))
    call("close", file)
    """
    done = run_python(WRITE + program, tmp_path)
    assert (done.returncode, done.stderr) == (0, "")
    assert done.stdout == "<tarvik.ops.FileId 'parent.cdf' closed>\n"
    assert written(tmp_path / "parent.cdf") == [0, 7, 2]
    assert written(tmp_path / "child.cdf") == [0, 1, 2]


class Doomed(tarvik.Gateway):
    """Its process is struck by a signal while some files are read."""

    def __init__(self):
        super().__init__(isolated=True)

    def call(self, operation, *inputs):
        if operation == "inquireAttr" and "doomed" in inputs[0].name:
            os.kill(self.pid, signal.SIGSEGV)
        return super().call(operation, *inputs)


@pytest.mark.parametrize("options", [[], ["--json"]])
@pytest.mark.parametrize("name", ["check", "show"])
def test_a_crash_counts_for_its_file_alone(command, monkeypatch, tmp_path, name, options):
    files = [tmp_path / f"{which}.cdf" for which in ("first", "doomed", "last")]
    for file in files:
        file.write_bytes((EXAMPLE).read_bytes())
    monkeypatch.setattr("tarvik.cli.files.gateway_for", lambda *_: Doomed())
    code, text, words = command(name, *options, *files)
    assert code == 4
    assert words == f"tarvik: {files[1]}: The CDF library crashed (SIGSEGV) in inquireAttr.\n"
    monkeypatch.undo()
    assert command(name, *options, files[0], files[2])[0] in (0, 1)
    assert command(name, *options, "--in-process", files[0])[0] in (0, 1)
    assert "first.cdf" in text
    assert "last.cdf" in text


def test_a_crash_or_a_hang_in_a_listing_counts_for_its_file_alone(command, monkeypatch, tmp_path):
    names = ["first", "crashing", "hanging", "last"]
    files = [tmp_path / f"{name}.cdf" for name in names]
    for file in files:
        file.write_bytes(EXAMPLE.read_bytes())

    def facts(file):
        if "crashing" in file.path:
            os.kill(os.getpid(), signal.SIGSEGV)
        if "hanging" in file.path:
            time.sleep(60)
        return file.path

    monkeypatch.setattr("tarvik.cli.ls._facts", facts)
    code, text, words = command("ls", "--time-limit", "2", *files, tmp_path / "none.cdf")
    assert code == 4
    assert re.findall(r"(\w+)\.cdf$", text, re.MULTILINE) == ["first", "last"]
    assert re.findall(r"(\w+)\.cdf: ([^\n]*)", words) == [
        ("crashing", "The CDF library crashed (SIGSEGV)."),
        ("hanging", "The CDF library had not finished after 2 s for all calls and was ended."),
        ("none", "No such file or directory"),
    ]


def flipped(good, seed):
    rng = np.random.default_rng(seed)
    damaged = bytearray(good)
    for place in rng.integers(60, len(good), 4):
        damaged[place] ^= 1 << rng.integers(8)
    return bytes(damaged)


def test_the_session_survives_damaged_files(tmp_path, monkeypatch):
    """The library may crash with any of these: what is compressed as a whole is unpacked unseen."""
    (tmp_path / "scratch").mkdir()
    monkeypatch.setenv("CDF_TMP", str(tmp_path / "scratch"))
    isolated = tarvik.Gateway(isolated=True)
    with isolated.create(tmp_path / "good.cdf") as file:
        isolated.setCompression(file, constants.HUFF_COMPRESSION)
        isolated.createVar(file, "v", constants.CDF_INT4, 1, [], True, [])
        isolated.hyperPutVarData(file, 0, 0, 500, 1, [], [], [], np.arange(500, dtype="i4"))
    good = (tmp_path / "good.cdf").read_bytes()
    for seed in range(40):
        (tmp_path / "bad.cdf").write_bytes(flipped(good, seed))
        with contextlib.suppress(tarvik.CDFError), isolated.open(tmp_path / "bad.cdf"):
            pass
    with isolated.open(tmp_path / "good.cdf") as file:
        assert isolated.getVarData(file, 0, 499, []) == 499
    isolated.unload()
    assert not list((tmp_path / "scratch").iterdir())


def test_an_interruption_ends_a_command_that_hangs():
    file = EXAMPLE
    call = [sys.executable, "-m", "tarvik", "check", *[file] * 50]
    with subprocess.Popen(call, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE) as process:
        children = Path(f"/proc/{process.pid}/task/{process.pid}/children")
        while not (found := children.read_text().split()):
            time.sleep(0.01)
        time.sleep(1)
        os.kill(int(found[0]), signal.SIGSTOP)
        time.sleep(0.2)
        process.send_signal(signal.SIGINT)
        assert process.communicate(timeout=20)[1] == b""
    assert process.returncode == 130
    assert not os.path.exists(f"/proc/{found[0]}")
