"""The process of an isolated gateway: it answers calls until it is told to end, or left alone.

It runs in an interpreter without the package's `__init__`, so that it starts fast. All that it says
on its standard error belongs to whoever started it.
"""

import contextlib
import os
import resource
import select
import signal
import socket
import threading
import time

import numpy as np

from tarvik import _errors, _host
from tarvik._wire import NobodyError, describe, from_request, read, receive, send, to_answer

__all__ = ["main"]

_CLOSED = np.uint64(0)  # what no file has


def main(descriptor, plugin, patience):
    """Serve.

    Parameters
    ----------
    descriptor : int
        The socket.
    plugin : str
        The plug-in's file.
    patience : float
        How many seconds a call may last, and the closing of files, when nobody waits any more.
    """
    # An interruption of the session is for the session, which ends this process.
    for number in (signal.SIGINT, signal.SIGTERM):
        signal.signal(number, signal.SIG_IGN)
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    channel = socket.socket(fileno=descriptor)
    threading.Thread(target=_watch, args=(channel, patience), daemon=True).start()
    # When nobody is there any more, the files are closed nonetheless.
    with contextlib.suppress(NobodyError):
        _Server(channel, plugin).run()
    # Where the library unpacked files; whoever started this may be gone.
    with contextlib.suppress(OSError):
        os.rmdir(os.environ["CDF_TMP"])
    # What Python would take apart goes with the process.
    os._exit(0)


def _watch(channel, patience):
    """End a call that hangs when nobody waits for it."""
    alone = select.poll()
    alone.register(channel, 0)
    alone.poll()
    time.sleep(patience)
    os.kill(os.getpid(), signal.SIGKILL)


class _Server:
    def __init__(self, channel, plugin):
        self._channel = channel
        self._plugin = plugin
        self._gateway = None
        self._files = {}
        self._warned = []
        self._readers = {
            "file": lambda number: self._files.get(number, _CLOSED),
            "characters": _characters,
        }
        # Warnings are shown, and errors become what they are, where the call was made.
        _errors.warn = self._take_warning
        _errors.gateway_error = _bare_error

    def run(self):
        self._reply(0, self._load, ())
        try:
            while self._gateway:
                self._serve()
                # Answers go out as copies: what they were copied from is not kept, out of sight.
                _host.give_back_memory()
        finally:
            self._unload()

    def _serve(self):
        document, memory, folders = receive(self._channel, None)
        number, task, inputs = from_request(document)
        for folder in folders:
            os.fchdir(folder)
            os.close(folder)
        work = self._gateway.call if task == "call" else self._unload
        self._reply(number, work, [read(each, memory, self._readers) for each in inputs])

    def _load(self):
        self._gateway = _host.Gateway(self._plugin)

    def _unload(self):
        if self._gateway:
            self._gateway.unload()
        self._gateway = None

    def _take_warning(self, identifier, message):
        self._warned.append([identifier, message.decode("utf-8", "surrogateescape")])

    def _reply(self, number, work, inputs):
        parts = []
        try:
            answer = self._described(number, work(*inputs), parts)
        except _errors.CDFError as error:
            answer = ["refused", [error.identifier, error.message]]
        except Exception as error:
            parts.clear()
            answer = _failure(error)
        closed = [number for number, file in self._files.items() if file.closed]
        for each in closed:
            del self._files[each]
        warned, self._warned = self._warned, []
        try:
            self._send([number, *answer, warned, closed], parts)
        except OSError as error:
            self._send([number, *_failure(MemoryError(str(error))), warned, closed], [])

    def _send(self, answer, parts):
        send(self._channel, to_answer(answer).encode(), parts)

    def _described(self, number, value, parts):
        if isinstance(value, _host.FileId):
            self._files[number] = value
            return ["file", None]
        return ["value", describe(value, parts)]


def _bare_error(identifier, message, _arguments):
    return _errors.CDFError(identifier, message.decode("utf-8", "surrogateescape"))


def _characters(text, shape):
    """An array of byte strings is one of characters to the gateway."""
    return np.ndarray(shape[1:], f"S{shape[0]}", text, order="F")


def _failure(error):
    return ["failed", [type(error).__name__, str(error)]]
