"""What stands in for a plug-in that is in a process of its own."""

import _thread
import contextlib
import itertools
import math
import os
import signal
import sys
import threading
import time
import weakref
from typing import NamedTuple

import numpy as np

from tarvik import _host
from tarvik._answer import read_answer
from tarvik._convert import number_inputs, to_host
from tarvik._errors import (
    CDFError,
    CDFProcessError,
    explain,
    gateway_error,
    operation_of,
    process_error,
    shown_name,
    warn,
)
from tarvik._host import LateError, MessageError, NobodyError
from tarvik._process import ChildProcess
from tarvik._text import visible, visible_lines
from tarvik._wire import Characters, File, describe, to_request

__all__ = ["Remote", "leave"]

# The numbers of what is no call.
_START, _UNLOAD = 0, -1
_SENT = frozenset({bool, float, bytes})
_LARGEST_EXACT = 2**53
_LONGEST_WORDS = 200
_CRASHES = frozenset({signal.SIGSEGV, signal.SIGABRT, signal.SIGBUS, signal.SIGFPE, signal.SIGILL})
_INVALID_FILE = "VORLAN:tarvik:unpackCDFId:invalidFileId"
_LOST = (
    'The CDF file ID argument is invalid: the process in which the file "{}" was open has ended.'
)
_all: "weakref.WeakSet[Remote]" = weakref.WeakSet()


class Period(NamedTuple):
    """A time limit for several calls: its seconds, and its end as a time of `time.monotonic`."""

    seconds: float
    end: float


class Remote:
    """Answers the calls of one gateway through a process, which is started anew after its end.

    A signal's handler may raise between any two steps. So what is done once stays as it is when it
    is done again, and what ends the process drops it last: the next call goes on from there.

    Parameters
    ----------
    plugin : str
    limit : float or None
        The seconds that a call may last.

    Attributes
    ----------
    period : Period
        The time that all calls have together.
    """

    _child = None
    period = Period(math.inf, math.inf)

    def __init__(self, plugin, limit):
        self._gone = False
        self._limit = limit
        self._plugin = os.path.abspath(plugin)
        self._numbers = itertools.count(1)  # of calls; that of an "open" is the file's
        self._files = weakref.WeakValueDictionary()
        self._turn, self._changing = _host.Turn(), threading.Lock()
        _all.add(self)
        self._turn.run(self._apart, self._start)

    def wait(self):
        """Wait until the plug-in is loaded; otherwise the first call does."""
        self._turn.run(self._wait_for_start)

    def __del__(self):
        # Nobody is there to be warned, as when a gateway in this process is collected.
        if self._child:
            with contextlib.suppress(CDFProcessError):
                self._turn.run(self._end)

    def limit_all(self, seconds):
        """Set the time that the calls from now on have together; give what it was before."""
        before, end = self.period, time.monotonic() + seconds
        self.period = min(before, Period(seconds, end), key=lambda period: period.end)
        return before

    @property
    def pid(self):
        return self._child and self._child.pid

    def call(self, gateway, *arguments):
        try:
            inputs = [_input(gateway, arguments, position) for position in range(len(arguments))]
            value, warned = self._turn.run(self._call, gateway, inputs, arguments)
        except CDFError as error:
            explain(error, arguments, gateway)
            raise
        for warning in warned:
            warn(*warning)
        return value

    def _call(self, gateway, inputs, arguments):
        if self._gone:
            text = b"The plug-in has been unloaded."
            raise gateway_error("VORLAN:pluginUnloaded", text, arguments)
        self._settle()
        inputs = [
            self._place(value, gateway, arguments) if type(value) is _host.FileId else value
            for value in inputs
        ]
        answer = self._exchange("call", inputs, arguments)
        value = answer.content
        if answer.kind == "file":
            value = _host.make_file(gateway, answer.number, answer.content)
            self._files[answer.number] = value
        self._child.channel.done()
        return value, answer.warned

    def unload(self):
        for warning in self._turn.run(self._end):
            warn(*warning)

    def kill(self):
        child = self._child
        if child:
            child.given_up = True
            self._apart(child.kill)
            # A call that is under way sees it end.
            if not self._turn.is_mine:
                self._turn.run(self._bury, child)

    def after_fork(self):
        """The process serves the parent of this one."""
        self._turn, self._changing = _host.Turn(), threading.Lock()
        child, self._child = self._child, None
        if child:
            child.forget()
            self._close_files(list(self._files))

    def _start(self):
        if self._child is None:  # otherwise a start that was interrupted has made it
            self._child = ChildProcess(self._plugin, self._limit)

    def _apart(self, work, *arguments):
        """Call a function in a thread: there, no signal's handler interrupts it."""
        if sys.is_finalizing():  # there are no more threads, nor handlers
            return work(*arguments)
        outcome, done = [], threading.Lock()

        def run():
            try:
                with self._changing:
                    outcome.append((work(*arguments), None))
            except Exception as error:
                outcome.append((None, error))
            finally:
                done.release()

        done.acquire()
        _thread.start_new_thread(run, ())
        done.acquire()
        value, error = outcome[0]
        if error:
            raise error
        return value

    def _wait_for_start(self):
        """Have a process that has loaded the plug-in."""
        if self._child is None:
            self._apart(self._start)
        if self._child.channel.due != _START:
            return
        answer = self._watched(("its start",))
        if answer.kind != "value":
            self._bury(self._child)
            answer.fail(())
        self._child.channel.done()

    def _settle(self):
        """Take the answers to calls that were interrupted; nobody holds what such a call opened."""
        child = self._child
        if child is None:
            return
        try:
            while not child.given_up and (child.channel.due or 0) > 0:
                answer = self._answer()
                if answer.kind == "file":
                    self._ask("call", [b"close", File(answer.number)])
                child.channel.done()
        except (LateError, MessageError, NobodyError):
            child.given_up = True
        if child.given_up:
            self._bury(child)

    def _end(self):
        """Have the files closed and the process ended; give what was warned of."""
        self._gone = True
        self._settle()
        if self._child is None:
            return ()
        answer = None
        try:
            answer = self._exchange("unload", (), ("unload",))
        finally:
            if answer:
                self._bury(self._child, kill=False)
            else:
                self._leave()
        return answer.warned

    def _leave(self):
        """Leave the process to itself, if it is there."""
        self._lose_files()
        child, self._child = self._child, None
        if child:
            child.leave()

    def _exchange(self, task, inputs, arguments):
        """Send a request and wait for its answer, which is done with when it is an error."""
        self._wait_for_start()
        answer = self._watched(arguments, task, inputs)
        if answer.kind == "refused" or task == "unload":
            _say(self._child.words())
        if answer.kind in ("refused", "failed"):
            self._child.channel.done()
            answer.fail(arguments)
        return answer

    def _watched(self, arguments, task=None, inputs=()):
        """Send a request, unless its answer is due already, and wait for the answer.

        The process that hangs or answers nonsense is ended; when it has ended, that is raised.
        """
        try:
            if self._child.channel.due is None:
                self._ask(task, inputs)
            return self._answer(inputs)
        except LateError:
            spent = self._child.deadline >= self.period.end
            seconds = self.period.seconds if spent else self._child.limit
            limit = f"{seconds:g} s{' for all calls' * spent}"
            what = f"had not finished {{}} after {limit} and was ended."
            self._give_up("VORLAN:timeLimitExceeded", what, arguments)
        except MessageError as error:
            what = f"gave an answer to {{}} that is none ({_shown(str(error))}) and was ended."
            self._give_up("VORLAN:badAnswer", what, arguments)
        except NobodyError:
            self._give_up("VORLAN:processEnded", None, arguments)

    def _ask(self, task, inputs):
        number, parts = _UNLOAD if task == "unload" else next(self._numbers), []
        document = to_request((number, task, [describe(value, parts) for value in inputs]))
        self._child.ask(number, document, parts, self.period.end)

    def _answer(self, inputs=None):
        """Wait for the answer that is due next; the request's inputs tell what it may be."""
        channel = self._child.channel
        answer = read_answer(*channel.receive(self._child.deadline), inputs)
        if answer.number != channel.due:
            raise MessageError("an answer to no request")
        self._close_files(answer.closed)
        return answer

    def _give_up(self, identifier, what, arguments):
        operation = operation_of(arguments) or "a call"
        code, words = self._bury(self._child, kill=bool(what))
        text = f"The CDF library {(what or _cause_of_end(code, words)).format(operation)}"
        raise process_error(identifier, text, arguments) from None

    def _bury(self, child, kill=True):
        """Have the process ended; give how it ended and its last words."""
        child.given_up = True
        if self._child is child:  # and not the next one, when two end it
            self._lose_files()
        return self._apart(self._end_process, child, kill)

    def _end_process(self, child, kill):
        if self._child is not child:
            return 0, b""
        try:
            return child.bury(kill)
        finally:
            self._child = None

    def _lose_files(self):
        for file in list(self._files.values()):
            _host.mark_closed(file, lost=True)
        self._files.clear()

    def _close_files(self, numbers):
        for number in numbers:
            file = self._files.pop(number, None)
            if file is not None:
                _host.mark_closed(file, lost=False)

    def _place(self, file, gateway, arguments):
        """What is sent of a file, which another thread may have closed meanwhile."""
        number = _host.number_of(file, gateway, *arguments)
        if number == 0 and _host.is_lost(file):
            text = _LOST.format(shown_name(file.name)).encode("utf-8", "surrogateescape")
            raise gateway_error(_INVALID_FILE, text, arguments)
        return File(number)


def _input(gateway, arguments, position):
    """Turn an input into what can be sent; a file stays what it is.

    What a subclass does with the methods of numbers and texts is not asked for.
    """
    value = arguments[position]
    kind = type(value)
    if kind in _SENT:
        return value
    if issubclass(kind, str):
        return str.encode(value, "utf-8", "surrogateescape")
    if kind is _host.FileId:
        _host.number_of(value, gateway, *arguments)
        return value
    if issubclass(kind, bytes):
        return bytes.__getitem__(value, slice(None))
    made = _numbers(value) if issubclass(kind, (list, tuple)) else _number(value)
    if made is None:
        is_number = number_inputs(arguments[0]) >> position & 1
        made = to_host(value, arguments[0], position, is_number)
    if isinstance(made, tuple):
        text, shape = made
        return Characters(bytes.__getitem__(text, slice(None)), shape)
    return made


def _number(value):
    """A number as a double; None for what is no number, or that a double may not hold exactly."""
    kind = type(value)
    if issubclass(kind, float):
        return float.__float__(value)
    if not issubclass(kind, int) or kind is bool:
        return None
    whole = int.__index__(value)
    return float(whole) if -_LARGEST_EXACT <= whole <= _LARGEST_EXACT else None


def _numbers(values):
    """A list of such numbers; None for another one, and for one that is faster as a whole."""
    kind = type(values)
    items = values
    if kind not in (list, tuple):
        items = [*(list if issubclass(kind, list) else tuple).__iter__(values)]
    kinds = set(map(type, items))
    if kinds == {float}:
        return np.array(items)
    if items is values and kinds <= {int, float}:
        return None
    found = [_number(item) for item in items]
    return None if None in found else np.array(found or np.empty((0, 0)))


def _cause_of_end(code, words):
    """How the process ended, and the last that it said."""
    reason = f"exit code {code}"
    if code < 0:
        with contextlib.suppress(ValueError):
            reason = signal.Signals(-code).name
    last = _shown(words.decode("utf-8", "surrogateescape").strip().rpartition("\n")[2].strip())
    end = f"{'crashed' if -code in _CRASHES else 'ended'} ({reason}) in {{}}"
    return f"{end}: {last}" if last else f"{end}."


def _shown(text):
    """A text of the process in a message, which is a format."""
    return visible(text)[:_LONGEST_WORDS].replace("{", "{{").replace("}", "}}")


def _say(words):
    """Pass on what the host showed of warnings that no caller gets."""
    lines = visible_lines(words.decode("utf-8", "surrogateescape"))
    with contextlib.suppress(OSError):
        os.write(2, "\n".join(lines).encode())


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
