"""Transactions: the target is the old or the new file, whole, and nothing else is left."""

import contextlib
import errno
import gc
import multiprocessing
import os
import random
import resource
import signal
import tempfile
import time
from pathlib import Path

import pytest
from tarvik import _files
from tarvik.transaction import Transaction

MODES = {
    "r+": {"create": False, "exist_ok": True, "replace": False},
    "w": {"create": True, "exist_ok": True, "replace": True},
    "x": {"create": True, "exist_ok": False, "replace": False},
    "a": {"create": True, "exist_ok": True, "replace": False},
}
NOBODY = 65534
fork = multiprocessing.get_context("fork")


def begin(path, mode="r+", **options):
    return Transaction(path, **MODES[mode], **options)


def append(path):
    with open(path, "ab") as file:
        file.write(b" new")


def refusal(path, mode="r+", **options):
    """Begin and abort; give what the exception says, or None."""
    try:
        begin(path, mode, **options).abort()
    except OSError as error:
        return type(error), error.errno, error.filename, error.strerror
    return None


def started(function, *arguments):
    process = fork.Process(target=function, args=arguments)
    process.start()
    return process


def in_child(function, *arguments, **options):
    """Give the result of a call in another process."""
    receiver, sender = fork.Pipe(duplex=False)
    child = started(lambda: sender.send(function(*arguments, **options)))
    sender.close()
    try:
        return receiver.recv()
    finally:
        child.join()


@pytest.fixture(autouse=True)
def no_descriptor_is_left():
    gc.collect()  # other tests may have left files to be collected
    before = os.listdir("/proc/self/fd")
    yield
    gc.collect()
    assert len(os.listdir("/proc/self/fd")) == len(before)


@pytest.fixture
def target(tmp_path):
    path = tmp_path / "x.cdf"
    path.write_bytes(b"old")
    return path


MADE = [
    ("r+", b"old", b"old new"),
    ("r+", None, FileNotFoundError),
    ("w", b"old", b" new"),
    ("w", None, b" new"),
    ("x", b"old", FileExistsError),
    ("x", None, b" new"),
    ("a", b"old", b"old new"),
    ("a", None, b" new"),
]


@pytest.mark.parametrize("as_path", [Path, os.fsencode, os.path.relpath])
@pytest.mark.parametrize(("mode", "before", "after"), MADE)
def test_modes(target, monkeypatch, mode, before, after, as_path):
    monkeypatch.chdir(target.parent)
    given = as_path(target)
    if before is None:
        target.unlink()
    if isinstance(after, type):
        assert refusal(given, mode)[::2] == (after, given)
    else:
        edit = begin(given, mode)
        os.chdir("/")
        assert os.path.exists(edit.path) == (before is not None and mode != "w")
        append(edit.path)
        assert (target.read_bytes() if target.exists() else None) == before
        edit.commit()
        edit.abort()
        with pytest.raises(ValueError, match="has been committed"):
            edit.commit()
        assert target.read_bytes() == after
    assert os.listdir(target.parent) == (["x.cdf"] if target.exists() else [])


@pytest.mark.parametrize("rebuild", [False, True])
@pytest.mark.parametrize("mode", ["r+", "w"])
def test_permissions_and_links_stay(target, mode, rebuild):
    os.chmod(target, 0o640)
    if os.geteuid() == 0:
        os.chown(target, NOBODY, NOBODY)
    with contextlib.suppress(OSError):  # the file system may have no attributes
        os.setxattr(target, "user.note", b"kept")
    before, attributes = target.stat(), os.listxattr(target)
    link, hard = target.with_name("link.cdf"), target.with_name("hard.cdf")
    link.symlink_to(target.name)
    os.link(target, hard)
    edit = begin(link, mode)
    assert mode == "w" or os.stat(edit.path).st_mode & 0o777 == 0o600
    path = edit.fresh() if rebuild else edit.path
    append(path)
    edit.commit(path)
    assert target.stat()[:1] + target.stat()[4:6] == before[:1] + before[4:6]
    assert os.listxattr(target) == attributes
    assert os.readlink(link) == target.name
    assert target.read_bytes().endswith(b" new")
    assert hard.read_bytes() == b"old"
    assert len(os.listdir(target.parent)) == 3


READ_ONLY = [
    (0o555, 0o644, "x.cdf", {}, "atomic=False"),
    (0o555, 0o644, "x.cdf", {"atomic": False}, None),
    (0o755, 0o444, "x.cdf", {}, "Permission denied"),
    (0o755, 0o444, "x.cdf", {"mode": "w"}, "Permission denied"),
    (0o755, 0o444, "x.cdf", {"atomic": False}, "Permission denied"),
    (0o555, 0o644, "new.cdf", {"mode": "w"}, "Permission denied"),
    (0o555, 0o644, "new.cdf", {"mode": "w", "atomic": False}, "Permission denied"),
    # As in /tmp, where users may write each other's files but not replace them.
    (0o1777, 0o666, "x.cdf", {}, "atomic=False"),
    (0o1777, 0o666, "x.cdf", {"atomic": False}, None),
]


@pytest.mark.parametrize(("folder", "mode", "name", "options", "words"), READ_ONLY)
def test_read_only(folder, mode, name, options, words):
    user = os.geteuid() or NOBODY
    if folder == 0o1777 and os.geteuid():
        pytest.skip("needs files of two users")

    def attempt(path):
        os.setresuid(user, user, user)
        return refusal(path, **options) if os.access(path.parent, os.X_OK) else "unreachable"

    with tempfile.TemporaryDirectory() as made:
        path = Path(made, "x.cdf")
        path.touch()
        for each, permissions in ((path, mode), (made, folder)):
            os.chown(each, 0 if folder == 0o1777 else user, -1)
            os.chmod(each, permissions)
        found = in_child(attempt, path.with_name(name))
        os.chmod(made, 0o755)
        assert os.listdir(made) == ["x.cdf"]
    if found == "unreachable":
        pytest.skip("another user cannot reach the folder of temporary files")
    assert (found is None) == (words is None)
    if found:
        assert found[::2] == (PermissionError, path.with_name(name))
        assert words in found[3]


TARGETS = [
    ("", "w", errno.EISDIR),
    ("pipe", "r+", errno.EINVAL),
    ("/dev/null", "w", errno.EINVAL),
    ("loop", "w", errno.ELOOP),
    ("missing/x.cdf", "w", errno.ENOENT),
    ("pipe/x.cdf", "w", errno.ENOTDIR),
    ("dangling", "r+", errno.ENOENT),
    ("dangling", "x", errno.EEXIST),
]


def test_other_targets(tmp_path):
    os.mkfifo(tmp_path / "pipe")
    (tmp_path / "loop").symlink_to("loop")
    (tmp_path / "dangling").symlink_to("missing.cdf")
    for name, mode, code in TARGETS:
        assert refusal(tmp_path / name, mode)[1:3] == (code, tmp_path / name)
    assert refusal(tmp_path / "dangling", "w") is None
    assert len(os.listdir(tmp_path)) == 3


@pytest.mark.parametrize("attempt", [refusal, lambda *a, **o: in_child(refusal, *a, **o)])
@pytest.mark.parametrize("first", [{}, {"mode": "w"}, {"atomic": False}])
def test_one_writer(target, attempt, first):
    paths = [target, target.with_name("link.cdf"), target.with_name("hard.cdf")]
    paths[1].symlink_to(target)
    os.link(*paths[::2])
    new = target.with_name("new.cdf")
    edits = [begin(target, **first), begin(new, "a")]
    for path in paths:
        for second in ({}, {"mode": "w"}, {"atomic": False}):
            assert attempt(path, **second)[::2] == (BlockingIOError, path)
    assert attempt(new, "x")[::2] == (BlockingIOError, new)
    duplicate = os.dup(
        edits[0]._source.fileno()
    )  # as a process has that was forked without Python's hooks
    for edit in edits:
        edit.abort()
    assert attempt(target) is None
    assert attempt(new, "x") is None
    os.close(duplicate)


def count_up(target, times):
    while times:
        with contextlib.suppress(BlockingIOError):
            edit = begin(target)
            path = Path(edit.path)
            path.write_text(str(int(path.read_text()) + 1))
            edit.commit()
            times -= 1


def test_no_edit_is_lost(target):
    target.write_text("0")
    for writer in [started(count_up, target, 20) for _ in range(3)]:
        writer.join()
    assert target.read_text() == "60"
    assert os.listdir(target.parent) == ["x.cdf"]


def edit_forever(target, mode):
    for number in range(10**9):
        edit = begin(target, mode)
        path = edit.fresh() if number % 3 else edit.path
        Path(path).write_bytes(bytes([number % 256]) * 100_000)
        edit.commit(path) if number % 4 else edit.abort()
        if mode == "x":
            target.unlink(missing_ok=True)


@pytest.mark.parametrize("mode", ["r+", "w", "x"])
def test_killed_writers(target, mode):
    """The target is whole after each, and the next writer removes what is left."""
    strangers = {".x.cdf.tarvik-note", ".xx.cdf.tarvik-0.cdf", ".x.cdf.tarvik-0.cdf.bak"}
    for name in strangers:
        target.with_name(name).touch()
    target.write_bytes(bytes(100_000))
    chance, leftovers = random.Random(mode), 0
    for _ in range(40):
        if mode == "x":
            target.unlink(missing_ok=True)
        writer = started(edit_forever, target, mode)
        time.sleep(chance.uniform(0.005, 0.03))
        writer.kill()
        writer.join()
        assert writer.exitcode == -signal.SIGKILL
        if target.exists() or mode != "x":
            data = target.read_bytes()
            assert data == data[:1] * 100_000
        leftovers += not set(os.listdir(target.parent)) <= {"x.cdf", *strangers}
        begin(target, "a").abort()
        assert set(os.listdir(target.parent)) - {"x.cdf"} == strangers
    assert leftovers


def test_a_fork_leaves_the_edit_to_its_parent(target):
    edit, gate = begin(target), fork.Event()

    def use():
        edit.abort()
        with pytest.raises(ValueError, match="belongs to the process that began it"):
            edit.commit()
        gate.wait()

    child = started(use)
    append(edit.path)
    assert refusal(target)[0] is BlockingIOError
    edit.commit()
    assert target.read_bytes() == b"old new"
    assert refusal(target) is None
    gate.set()
    child.join()
    assert child.exitcode == 0


def test_a_killed_writer_frees_the_file_though_its_child_lives(target):
    receiver, sender = fork.Pipe(duplex=False)

    def write():
        edit = begin(target)
        if os.fork() == 0:
            sender.send(os.getpid())
        signal.pause()
        edit.commit()

    writer = started(write)
    child = receiver.recv()
    assert refusal(target)[0] is BlockingIOError
    writer.kill()
    writer.join()
    assert refusal(target) is None
    os.kill(child, signal.SIGKILL)


def before(monkeypatch, name, action):
    """Do something once, just before a function of `_files` is called."""
    function = getattr(_files, name)

    def call(*arguments):
        monkeypatch.setattr(_files, name, function)
        action()
        return function(*arguments)

    monkeypatch.setattr(_files, name, call)


def test_a_target_that_is_replaced_before_the_lock_file_is_made(target, monkeypatch):
    before(monkeypatch, "make_lock_file", lambda: replace(target))
    edit = begin(target)
    assert Path(edit.path).read_bytes() == b"foreign"
    assert refusal(target)[0] is BlockingIOError
    edit.commit()


def test_a_lock_file_that_is_removed_before_it_is_locked(target, monkeypatch):
    target.unlink()
    before(monkeypatch, "lock", lambda: refusal(target, "a"))
    edit = begin(target, "a")
    assert refusal(target, "a")[0] is BlockingIOError
    os.unlink(target.with_name(".x.cdf.tarvik-lock"))
    other = begin(target, "a")
    append(other.path)
    edit.abort()
    assert refusal(target, "a")[0] is BlockingIOError
    other.commit()
    assert target.read_bytes() == b" new"


def test_a_commit_that_cannot_be_synced(target, monkeypatch):
    edit = begin(target)
    append(edit.path)
    monkeypatch.setattr(os, "fsync", failing(errno.ENOSPC))
    with pytest.raises(OSError, match="No space left") as caught:
        edit.commit()
    assert caught.value.filename == target
    assert target.read_bytes() == b"old"
    assert os.listdir(target.parent) == ["x.cdf"]


def test_no_room_for_the_copy(target):
    target.write_bytes(b"x" * 80_000)

    def attempt():
        resource.setrlimit(resource.RLIMIT_FSIZE, (60_000, 60_000))
        return refusal(target)

    assert in_child(attempt)[:3] == (OSError, errno.EFBIG, target)
    assert target.read_bytes() == b"x" * 80_000
    assert os.listdir(target.parent) == ["x.cdf"]


NAMES = ["a" * 237, "a" * 238, "a" * 251 + ".cdf", "é" * 127, "\udce9" * 255, "x", "with\nlines"]


@pytest.mark.parametrize("name", NAMES)
def test_names(tmp_path, name):
    for target in (tmp_path / name, tmp_path / (name[:-1] + "z")):
        target.write_bytes(b"old")
        edit = begin(target)
        assert edit.path.endswith(".cdf")
        assert not os.path.exists(edit.fresh())
        append(edit.path)
        assert refusal(target)[0] is BlockingIOError
        assert refusal(tmp_path / (name[:-1] + "y"), "w") is None
        edit.commit()
        assert target.read_bytes() == b"old new"
    assert len(os.listdir(tmp_path)) == 2


def replace(target):
    target.with_name("other").write_bytes(b"foreign")
    os.replace(target.with_name("other"), target)


CHANGES = [
    ("r+", True, replace, OSError),
    ("r+", True, lambda target: target.write_bytes(b"foreign"), OSError),
    ("r+", True, os.unlink, None),
    ("r+", True, lambda target: os.chmod(target, 0o600), None),
    ("w", True, replace, None),
    ("w", False, replace, None),
    ("a", False, replace, FileExistsError),
    ("x", False, replace, FileExistsError),
]


def failing(code):
    def fail(*_):
        raise OSError(code, os.strerror(code))

    return fail


@pytest.mark.parametrize("links", [True, False])
@pytest.mark.parametrize(("mode", "exists", "change", "error"), CHANGES)
def test_changes_by_other_programs(target, monkeypatch, mode, exists, change, error, links):
    if not exists:
        target.unlink()
    if not links:
        monkeypatch.setattr(os, "link", failing(errno.EPERM))
    edit = begin(target, mode)
    append(edit.path)
    change(target)
    with pytest.raises(error) if error else contextlib.nullcontext():
        edit.commit()
    assert target.read_bytes().endswith(b"foreign" if error else b" new")
    assert os.listdir(target.parent) == ["x.cdf"]


@pytest.mark.parametrize("copier", [None, failing(errno.EXDEV), lambda *_: 0])
def test_copies_without_the_kernel(target, monkeypatch, copier):
    data = random.Random(1).randbytes(3_000_000)
    target.write_bytes(data)
    monkeypatch.delattr(os, "copy_file_range")
    if copier is not None:
        monkeypatch.setattr(os, "copy_file_range", copier, raising=False)
    begin(target).commit()
    assert target.read_bytes() == data


def test_without_locks(target, monkeypatch):
    monkeypatch.setattr(_files.fcntl, "flock", failing(errno.ENOSYS))
    edit = begin(target)
    kind, _, _, words = refusal(target)
    assert kind is BlockingIOError
    assert f"Delete '{target.parent}/.x.cdf.tarvik-lock'" in words
    edit.commit()
    assert refusal(target) is None
