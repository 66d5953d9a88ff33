"""The process of an isolated gateway: it answers calls until it is told to end, or left alone.

It runs in an interpreter without the package's `__init__`, so that it starts fast. All that it says
on its standard error belongs to whoever started it.
"""

import contextlib
import math
import os
import resource
import select
import signal
import threading
import time

import numpy as np

from tarvik import _convert, _errors, _host
from tarvik._wire import LONGEST_MESSAGE, Memory, describe, from_request, read, to_answer

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
    scratch = os.environ["CDF_TMP"]
    os.mkdir(scratch, 0o700)
    threading.Thread(target=_watch, args=(descriptor, patience, scratch), daemon=True).start()
    # When nobody is there any more, the files are closed nonetheless.
    with contextlib.suppress(_host.NobodyError):
        _Server(_host.Channel(descriptor, serves=True), plugin).run()
    _remove(scratch)
    # What Python would take apart goes with the process.
    os._exit(0)


def _watch(descriptor, patience, scratch):
    """End a call that hangs when nobody waits for it."""
    alone = select.poll()
    alone.register(descriptor, 0)
    alone.poll()
    time.sleep(patience)
    _remove(scratch)
    os.kill(os.getpid(), signal.SIGKILL)


def _remove(folder):
    """Remove what the library unpacked; whoever started this may be gone."""
    try:
        os.rmdir(folder)
    except OSError:
        import shutil  # takes long

        shutil.rmtree(folder, ignore_errors=True)


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
        # Inputs were converted where the call was made. Warnings are shown, and errors become what
        # they are, there too.
        _convert.number_inputs = lambda _operation: 0
        _errors.warn = self._take_warning
        _errors.gateway_error = _bare_error

    def run(self):
        self._reply(0, self._load)
        try:
            while self._gateway:
                self._serve()
                self._channel.done()
                # Answers go out as copies: what they were copied from is not kept, out of sight.
                _host.give_back_memory()
        finally:
            self._unload()

    def _serve(self):
        document, buffer = self._channel.receive(math.inf)
        number, task, inputs = from_request(document)
        work = self._call if task == "call" else self._unload
        self._reply(number, work, inputs, Memory(document, buffer))

    def _call(self, inputs, memory):
        return self._gateway.call(*(read(each, memory, self._readers) for each in inputs))

    def _load(self):
        self._gateway = _host.Gateway(self._plugin)

    def _unload(self, *_):
        if self._gateway:
            self._gateway.unload()
        self._gateway = None

    def _take_warning(self, identifier, message):
        self._warned.append(_cut(identifier, message.decode("utf-8", "surrogateescape")))

    def _reply(self, number, work, *request):
        parts = []
        try:
            answer = self._described(number, work(*request), parts)
        except _errors.CDFError as error:
            answer = ["refused", _cut(error.identifier, error.message)]
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
        self._channel.send(to_answer(answer).encode(), parts, None, math.inf, False)

    def _described(self, number, value, parts):
        if isinstance(value, _host.FileId):
            self._files[number] = value
            return ["file", None]
        return ["value", describe(value, parts)]


def _bare_error(identifier, message, *_):
    return _errors.CDFError(identifier, message.decode("utf-8", "surrogateescape"))


def _characters(text, shape):
    """An array of byte strings is one of characters to the gateway."""
    return np.ndarray(shape[1:], f"S{shape[0]}", text, order="F")


def _failure(error):
    return ["failed", _cut(type(error).__name__, str(error))]


def _cut(identifier, message):
    return [identifier[:LONGEST_MESSAGE], message[:LONGEST_MESSAGE]]
