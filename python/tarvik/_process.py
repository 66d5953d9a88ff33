"""The process of an isolated gateway, as the session sees it."""

import contextlib
import fcntl
import json
import math
import os
import shutil
import socket
import subprocess
import sys
import tempfile
import time

import numpy as np

import tarvik
from tarvik import _host

__all__ = ["ChildProcess"]

# The package without its __init__, and modules from no place but those of this session.
_START = """
import json, sys, types
folders, package, *rest = json.loads(sys.argv[1])
sys.path[:] = folders
sys.modules["tarvik"] = made = types.ModuleType("tarvik")
made.__path__ = package
from tarvik._child import main
main(*rest)
"""
_START_SECONDS = 60.0
_PATIENCE = 600.0  # with a call that has no limit, and nobody left to wait for it
_LAST_SECONDS = 1.0  # to end when all is done, or when it was killed
_PIPE_BYTES = 1 << 16


class ChildProcess:
    """An interpreter that serves one plug-in.

    Its group and session are its own, so no key that is pressed reaches it. It ends by itself when
    this object's process does.

    Parameters
    ----------
    plugin : str
    limit : float or None
        The seconds that a call may last.

    Attributes
    ----------
    channel : Channel
        Where its answers come, that to its start first.
    limit, deadline : float
        The seconds that the next one may take, and until when, as a time of `time.monotonic`.
    given_up : bool
        Whether it is to be ended.
    """

    def __init__(self, plugin, limit):
        self.given_up = False
        self.limit = _START_SECONDS
        self.deadline = time.monotonic() + self.limit
        self._limit_of_calls = math.inf if limit is None else limit
        self._folder = _here()
        self._scratch = _scratch_folder()
        # Whoever writes to a full one goes on without: nobody need read it.
        reader, writer = os.pipe2(os.O_CLOEXEC | os.O_NONBLOCK)
        self._words = os.fdopen(reader, "rb", 0)
        ours, theirs = socket.socketpair(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        with ours, theirs, os.fdopen(writer, "wb", 0) as words:
            self.channel = _host.Channel(ours.fileno(), serves=False)
            self._process = _started(theirs, words, self._scratch, plugin, limit)

    @property
    def pid(self):
        return self._process.pid

    def ask(self, number, document, parts, end):
        """Send a request, with this process's current folder where that has changed.

        The answer may come until the end, if the limit of calls is not over before.
        """
        self.limit = self._limit_of_calls
        now = time.monotonic()
        self.deadline = min(now + self.limit, end)
        if self.deadline <= now:
            raise _host.LateError
        folder = _here()
        moved = folder is not None and folder != self._folder
        self.channel.send(document, parts, number, self.deadline, moved)
        if moved:
            self._folder = folder

    def words(self):
        """What it said on its standard error since this was asked last."""
        return self._words.read(_PIPE_BYTES) or b""

    def kill(self):
        self._process.kill()

    def bury(self, kill):
        """Have it ended, at once or soon; give the exit code or minus the signal, and words."""
        self.channel.close()
        if kill or not self._ended():
            self._process.kill()
            self._ended()  # the kernel may keep even a killed process for a while
        words = self.words()
        self._words.close()
        if self._process.returncode is not None:
            with contextlib.suppress(RecursionError):  # a folder that is made deep
                shutil.rmtree(self._scratch, ignore_errors=True)
        return self._process.returncode or 0, words

    def _ended(self):
        with contextlib.suppress(subprocess.TimeoutExpired):
            self._process.wait(_LAST_SECONDS)
        return self._process.returncode is not None

    def leave(self):
        """Leave it to itself: it closes its files and ends."""
        self.channel.close()
        self._words.close()

    def forget(self):
        """Leave it to the parent of this process, which is a fork."""
        self.leave()
        self._process.returncode = 0


def _scratch_folder():
    """Name a folder for what the library unpacks; it leaves that behind with files it gives up.

    The process makes it, and removes it when nobody else can.
    """
    wanted = os.environ.get("CDF_TMP", "")
    folder = wanted if os.path.isdir(wanted) else tempfile.gettempdir()
    return os.path.join(os.path.abspath(folder), f"tarvik-{os.urandom(8).hex()}")


def _started(theirs, words, scratch, plugin, limit):
    # Above those of the standard streams, which are the process's own.
    channel = fcntl.fcntl(theirs, fcntl.F_DUPFD_CLOEXEC, 3)
    with os.fdopen(channel, "wb", 0):
        return subprocess.Popen(
            _command(channel, plugin, _PATIENCE if limit is None else limit),
            stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL,
            stderr=words,
            pass_fds=[channel],
            start_new_session=True,
            env={**os.environ, "CDF_TMP": scratch, "OPENBLAS_NUM_THREADS": "1"},
        )


def _command(descriptor, plugin, patience):
    folders = [path for path in sys.path if isinstance(path, str) and os.path.isabs(path)]
    folders.append(os.path.dirname(os.path.dirname(os.path.abspath(np.__file__))))
    package = [*map(os.path.abspath, tarvik.__path__), os.path.dirname(_host.__file__)]
    start = json.dumps([folders, package, descriptor, plugin, patience])
    return [sys.executable, "-I", "-S", *_bytecode_options(), "-c", _START, start]


def _bytecode_options():
    if sys.dont_write_bytecode:
        yield "-B"
    if sys.pycache_prefix:
        yield from ("-X", f"pycache_prefix={sys.pycache_prefix}")


def _here():
    """What tells the current folder from others; None where it cannot be told."""
    try:
        status = os.stat(".")
    except OSError:
        return None
    return status.st_dev, status.st_ino
