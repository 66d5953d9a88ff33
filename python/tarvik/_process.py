"""The process of an isolated gateway, as the session sees it."""

import contextlib
import fcntl
import json
import math
import os
import select
import shutil
import socket
import subprocess
import sys
import tempfile
import time

import numpy as np

import tarvik
from tarvik import _host
from tarvik._wire import LateError, close_all, receive, send

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
_PATIENCE = 600.0  # with a call that has no limit, and nobody left to wait for it
_LAST_SECONDS = 5.0  # to end when all is done, or when it was killed
_PIPE_BYTES = 1 << 16
_LONGEST_WAIT = (1 << 31) - 1


class ChildProcess:
    """An interpreter that serves one plug-in.

    Its group and session are its own, so no key that is pressed reaches it. It ends by itself when
    this object's process does.

    Parameters
    ----------
    plugin : str
    limit : float or None
        The seconds that a call may last.
    """

    def __init__(self, plugin, limit):
        ours, theirs = socket.socketpair(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        # Whoever writes to a full one goes on without: nobody need read it.
        self._words, words = os.pipe2(os.O_CLOEXEC | os.O_NONBLOCK)
        ours.settimeout(limit)
        self._channel = ours
        self._answers = select.poll()
        self._answers.register(ours, select.POLLIN)
        self._folder = _here()
        self._scratch = _scratch_folder()
        with theirs, os.fdopen(words, "wb", 0):
            self._process = _started(theirs, words, self._scratch, plugin, limit)

    @property
    def pid(self):
        return self._process.pid

    def ask(self, document, parts):
        """Send a request, with this process's current folder where that has changed."""
        folder = _here()
        if folder == self._folder or folder is None:
            send(self._channel, document, parts)
            return
        descriptor = os.open(".", os.O_PATH | os.O_CLOEXEC)
        try:
            send(self._channel, document, parts, [descriptor])
        finally:
            os.close(descriptor)
        self._folder = folder

    def answer(self, deadline):
        """Wait for the next answer, at most until a time of `time.monotonic`.

        The waiting is such that what a signal's handler raises meanwhile is no error of the
        waiting.

        Returns
        -------
        tuple
            The document's bytes and the `Memory` of its arrays.

        Raises
        ------
        NobodyError, LateError, MessageError, OSError
            As `receive` does.
        """
        if not self._answers.poll(_milliseconds_to(deadline)):
            raise LateError
        document, memory, descriptors = receive(self._channel)
        if descriptors:
            close_all(descriptors)
        return document, memory

    def words(self):
        """What it said on its standard error since this was asked last."""
        with contextlib.suppress(BlockingIOError):
            return os.read(self._words, _PIPE_BYTES)
        return b""

    def kill(self):
        self._process.kill()

    def bury(self, kill):
        """Wait a moment for its end; give exit code or minus signal, and words.

        Parameters
        ----------
        kill : bool
            Whether it is killed when it does not end; otherwise that is left to it.
        """
        self._channel.close()
        if kill and not self._ended():
            self._process.kill()
            self._ended()  # the kernel may keep even a killed process for a while
        words = self.words()
        os.close(self._words)
        if self._process.returncode is not None:
            shutil.rmtree(self._scratch, ignore_errors=True)
        return self._process.returncode or 0, words

    def _ended(self):
        with contextlib.suppress(subprocess.TimeoutExpired):
            self._process.wait(_LAST_SECONDS)
        return self._process.returncode is not None

    def forget(self):
        """Leave it to the parent of this process, which is a fork."""
        self._channel.close()
        os.close(self._words)
        self._process.returncode = 0


def _scratch_folder():
    """Make a folder for what the library unpacks; it leaves that behind with files it gives up."""
    wanted = os.environ.get("CDF_TMP", "")
    folder = os.path.abspath(wanted) if os.path.isdir(wanted) else None
    return tempfile.mkdtemp(prefix="tarvik-", dir=folder)


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


def _milliseconds_to(deadline):
    if deadline is None:
        return None
    return min(max(0, math.ceil((deadline - time.monotonic()) * 1000)), _LONGEST_WAIT)


def _here():
    """What tells the current folder from others; None where it cannot be told."""
    try:
        status = os.stat(".")
    except OSError:
        return None
    return status.st_dev, status.st_ino
