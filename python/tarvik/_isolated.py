"""What stands in for a plug-in that is in a process of its own."""

import contextlib
import itertools
import os
import signal
import threading
import time
import weakref

from tarvik import _host
from tarvik._answer import Answer
from tarvik._convert import to_host
from tarvik._errors import CDFProcessError, gateway_error, operation_of, process_error, warn
from tarvik._process import ChildProcess
from tarvik._wire import (
    Characters,
    File,
    LateError,
    MessageError,
    NobodyError,
    describe,
    to_request,
)

__all__ = ["Remote", "leave"]

_START_SECONDS = 60.0
_LARGEST_EXACT = 2**53
_LONGEST_WORDS = 200
_CRASHES = frozenset({signal.SIGSEGV, signal.SIGABRT, signal.SIGBUS, signal.SIGFPE, signal.SIGILL})
_OPENING = (b"open", b"create")
_INVALID_FILE = "VORLAN:tarvik:unpackCDFId:invalidFileId"
_LOST = (
    'The CDF file ID argument is invalid: the process in which the file "{}" was open has ended.'
)
_all = weakref.WeakSet()


class Remote:
    """Answers the calls of one gateway through a process, which is started anew after its end.

    Parameters
    ----------
    plugin : str
    limit : float or None
        The seconds that a call may last.
    """

    def __init__(self, plugin, limit):
        self._child = None
        self._gone = False
        self._limit = limit
        self._plugin = os.path.abspath(plugin)
        self._numbers = itertools.count(1)  # of requests; that of an "open" is the file's
        self._files = weakref.WeakValueDictionary()
        self._turn = _Turn()
        _all.add(self)
        with self._turn:
            self._start()

    def wait(self):
        """Wait until the plug-in is loaded; otherwise the first call does."""
        with self._turn:
            self._wait_for_start()

    def __del__(self):
        # Nobody is there to be warned, as when a gateway in this process is collected.
        with contextlib.suppress(CDFProcessError):
            self._end()

    @property
    def pid(self):
        return self._child and self._child.pid

    def call(self, gateway, *arguments):
        inputs = [_input(gateway, arguments, position) for position in range(len(arguments))]
        with self._turn:
            if self._gone:
                text = b"The plug-in has been unloaded."
                raise gateway_error("VORLAN:pluginUnloaded", text, arguments)
            inputs = [
                self._place(value, gateway, arguments) if type(value) is _host.FileId else value
                for value in inputs
            ]
            opened = _opened(inputs)
            answer = self._exchange("call", inputs, arguments)
            value = answer.content
            if answer.kind == "file" and opened is not None:
                value = _host.make_file(gateway, answer.number, opened)
                self._files[answer.number] = value
        for warning in answer.warned:
            warn(*warning)
        return value

    def unload(self):
        for warning in self._end():
            warn(*warning)

    def kill(self):
        child = self._child
        if child:
            child.kill()
            with self._turn:
                if self._child is child:  # otherwise the call that was under way has seen it end
                    self._bury()

    def after_fork(self):
        """The process serves the parent of this one."""
        self._turn = _Turn()
        child, self._child = self._child, None
        if child:
            child.forget()
            self._close_files(list(self._files))

    def _start(self):
        """Start the process; it answers the request number 0 when it has loaded the plug-in."""
        self._child = ChildProcess(self._plugin, self._limit)
        self._answered = -1  # the number of the last request that was

    def _wait_for_start(self):
        if self._answered >= 0:
            return
        answer = self._watched(("its start",), _START_SECONDS, 0)
        if answer.kind != "value":
            self._bury()
            answer.fail(())

    def _end(self):
        """Have the files closed and the process ended; give what was warned of."""
        with self._turn:
            gone, self._gone = self._gone, True
            if gone or self._child is None:
                return ()
            answer = None
            try:
                answer = self._exchange("unload", (), ("unload",))
            finally:
                # When the waiting was interrupted, it goes on closing files by itself.
                if self._child:
                    self._bury(kill=answer is not None)
        return answer.warned

    def _exchange(self, task, inputs, arguments):
        """Send a request and wait for its answer."""
        if self._child is None:
            self._start()
        self._wait_for_start()
        number, parts = next(self._numbers), []
        document = to_request((number, task, [describe(value, parts) for value in inputs]))
        answer = self._watched(arguments, self._limit, number, (document, parts))
        if answer.kind == "refused" or task == "unload":
            _say(self._child.words())
        if answer.kind in ("refused", "failed"):
            answer.fail(arguments)
        return answer

    def _watched(self, arguments, limit, number, request=()):
        """Send a request and wait for its answer.

        The process that hangs or answers nonsense is ended; when it has ended, that is raised.
        """
        deadline = None if limit is None else time.monotonic() + limit
        try:
            if request:
                self._child.ask(*request)
            return self._answer(number, deadline)
        except LateError:
            what = f"had not finished {{}} after {limit:g} s and was ended."
            self._give_up("VORLAN:timeLimitExceeded", what, arguments)
        except MessageError:
            what = "gave an answer to {} that is none and was ended."
            self._give_up("VORLAN:badAnswer", what, arguments)
        except NobodyError:
            self._give_up("VORLAN:processEnded", None, arguments)

    def _answer(self, number, deadline):
        """Wait for the answer; those before it are to calls that were interrupted meanwhile."""
        while True:
            answer = Answer(*self._child.answer(deadline))
            if not self._answered < answer.number <= number:
                raise MessageError("an answer to no request")
            self._answered = answer.number
            self._close_files(answer.closed)
            if answer.number == number:
                return answer

    def _give_up(self, identifier, what, arguments):
        child, operation = self._child, operation_of(arguments) or "a call"
        if what:
            child.kill()
        code, words = self._bury()
        text = f"The CDF library {(what or _cause_of_end(code, words)).format(operation)}"
        raise process_error(identifier, text, arguments) from None

    def _bury(self, kill=True):
        """Give up the process; it has ended, or is ended, or is left to itself."""
        child, self._child = self._child, None
        for file in list(self._files.values()):
            _host.mark_closed(file, lost=True)
        self._files.clear()
        return child.bury(kill)

    def _close_files(self, numbers):
        for number in numbers:
            file = self._files.pop(number, None)
            if file is not None:
                _host.mark_closed(file, lost=False)

    def _place(self, file, gateway, arguments):
        """What is sent of a file, which another thread may have closed meanwhile."""
        number = _host.number_of(file, gateway, *arguments)
        if number == 0 and _host.is_lost(file):
            text = _LOST.format(file.name).encode("utf-8", "surrogateescape")
            raise gateway_error(_INVALID_FILE, text, arguments)
        return File(number)


class _Turn:
    """One call at a time."""

    def __init__(self):
        self._lock = threading.RLock()
        self._busy = False

    def __enter__(self):
        self._lock.acquire()
        if self._busy:  # a signal's handler calls, or the collection of memory
            self._lock.release()
            raise RuntimeError("a call of this gateway is already under way in this thread")
        self._busy = True

    def __exit__(self, *exception):
        self._busy = False
        self._lock.release()


def _input(gateway, arguments, position):
    """Turn an input into what can be sent; a file stays what it is."""
    value = arguments[position]
    if isinstance(value, (bool, float, bytes)):
        return value
    if isinstance(value, int) and -_LARGEST_EXACT <= value <= _LARGEST_EXACT:
        return float(value)
    if isinstance(value, str):
        return value.encode("utf-8", "surrogateescape")
    if isinstance(value, _host.FileId):
        _host.number_of(value, gateway, *arguments)
        return value
    made = to_host(value, arguments[0], position)
    return Characters(*made) if isinstance(made, tuple) else made


def _opened(inputs):
    """The name of the file that such a call opens; None for another call."""
    texts = [value.text if isinstance(value, Characters) else value for value in inputs]
    opens = len(texts) == 2 and texts[0] in _OPENING and isinstance(texts[1], bytes)
    return texts[1] if opens else None


def _cause_of_end(code, words):
    """How the process ended, and the last that it said."""
    reason = f"exit code {code}"
    if code < 0:
        with contextlib.suppress(ValueError):
            reason = signal.Signals(-code).name
    last = words.decode("utf-8", "replace").strip().rpartition("\n")[2].strip()[:_LONGEST_WORDS]
    last = last.replace("{", "{{").replace("}", "}}")
    end = f"{'crashed' if -code in _CRASHES else 'ended'} ({reason}) in {{}}"
    return f"{end}: {last}" if last else f"{end}."


def _say(words):
    """Pass on what the host showed of warnings that no caller gets."""
    with contextlib.suppress(OSError):
        os.write(2, words)


def leave():
    """End all processes, when Python ends."""
    for remote in list(_all):
        try:
            remote.unload()
        except CDFProcessError as error:
            warn(error.identifier, error.message.encode("utf-8", "surrogateescape"))


def _after_fork():
    for remote in list(_all):
        remote.after_fork()


os.register_at_fork(after_in_child=_after_fork)
