"""What an isolated gateway's process answers, which may be in the hands of a forged file."""

import math
from functools import cache

import numpy as np

from tarvik._catalogue import all_operations
from tarvik._errors import gateway_error
from tarvik._host import MessageError
from tarvik._wire import LONGEST_MESSAGE, Characters, Memory, from_answer, read

__all__ = ["Answer", "read_answer"]

# What else an answer may raise; anything else is a RuntimeError.
_FAILURES = {kind.__name__: kind for kind in (MemoryError, OverflowError, TypeError, ValueError)}
_OPENING = (b"open", b"create")
_SMALL = 1 << 12  # of a name, or a list of names


def read_answer(*contents):
    """Make an `Answer`; anything that is wrong with it is a `MessageError`."""
    try:
        return Answer(*contents)
    except Exception:
        # What a signal's handler raised is none of the answer, which is good at a second look.
        _check(contents)
        raise


def _check(contents):
    try:
        Answer(*contents)
    except Exception as error:
        raise MessageError(str(error)) from error


class Answer:
    """An answer that has been looked through.

    Parameters
    ----------
    document : bytes
    buffer : numpy.ndarray
        The whole message.
    inputs : sequence, optional
        Those of the request, the operation's name first; without them, any value may come.

    Attributes
    ----------
    number : int
        That of the request.
    kind : str
        "value", "file", or "refused" by the gateway, or "failed" with an exception of Python's.
    content : object
        The value, or the name of the file; for an error its identifier or class and its message.
    warned : list of tuple
        The identifier and message of each warning.
    closed : list of int
        The files that are no longer open.
    """

    def __init__(self, document, buffer, inputs=None):
        self.number, self.kind, content, warned, self.closed = from_answer(document.decode())
        self.warned = [_pair(each) for each in warned]
        if not all(type(number) is int for number in [self.number, *self.closed]):
            raise MessageError("no number")
        if self.kind == "value":
            self.content = read(content, Memory(document, buffer))
            if inputs and not _fits(inputs, self.content):
                raise MessageError("no result of the operation")
        elif self.kind == "file":
            self.content = None if inputs is None else _opened(inputs)
        elif self.kind in ("refused", "failed"):
            self.content = _pair(content)
        else:
            raise MessageError("no kind of answer")

    def fail(self, arguments):
        kind, message = self.content
        if self.kind == "refused":
            raise gateway_error(kind, message, arguments)
        raise _FAILURES.get(kind, RuntimeError)(message.decode("utf-8", "surrogateescape"))


def _pair(texts):
    """An identifier and a message, which is bytes."""
    identifier, message = texts
    if max(len(identifier), len(message)) > LONGEST_MESSAGE:
        raise MessageError("a message that is too long")
    identifier.encode()
    return identifier, message.encode("utf-8", "surrogateescape")


def _opened(inputs):
    """The name of the file that a request opens."""
    operation, name = map(_text_of, inputs)
    if operation not in _OPENING:
        raise MessageError("no file was to be opened")
    return name or b""


def _text_of(value):
    text = value.text if type(value) is Characters else value
    return text if type(text) is bytes else None


def _fits(inputs, value):
    """Whether an operation of the catalogue may give that value; others may give any."""
    operation = _text_of(inputs[0])
    kinds = _outputs().get(operation)
    if not kinds:
        return kinds is None or value is None
    count = _COUNTS[operation](inputs) if operation in _COUNTS else None
    values = value if len(kinds) > 1 else [value]
    return len(values) == len(kinds) and all(
        _KINDS[kind](each, count) for kind, each in zip(kinds, values)
    )


@cache
def _outputs():
    """The kinds of the outputs of each operation of the catalogue, by its name in bytes."""
    return {
        operation.name.encode(): [value.kind for value in operation.outputs]
        for operation in all_operations().values()
    }


def _holds(value, count, codes):
    """Whether a value has elements of one of these classes, and as many as were asked for.

    Two doubles may make one value, and any number of characters.
    """
    code = _CODES.get(type(value)) or value.dtype.str[1:]
    if code not in codes:
        return False
    if count is None or type(value) is str:
        return True
    size = getattr(value, "size", 1)
    if code == "S1":
        return size == size // max(count, 1) * count
    return size == count or (code == "f8" and size == 2 * count)


def _is_small(value, codes):
    size = len(value) if type(value) is str else getattr(value, "size", 1)
    return size <= _SMALL and _holds(value, None, codes)


_CODES = {float: "f8", bool: "b1", str: "S1"}
_VALUES = frozenset(np.dtype(code).str[1:] for code in "bBhHiIqQfd") | {"S1"}
# What the outputs of the catalogue's kinds are, with how many values were asked for.
_KINDS = {
    "number": lambda value, _: type(value) is float,
    "logical": lambda value, _: type(value) is bool,
    "text": lambda value, _: type(value) is str and len(value) <= _SMALL,
    "names": lambda value, _: type(value) is list and all(type(each) is str for each in value),
    "row": lambda value, _: _is_small(value, {"f8"}),
    "logicals": lambda value, _: _is_small(value, {"b1"}),
    "parameter": lambda value, _: _is_small(value, {"f8", "S1"}),
    "doubles": lambda value, count: _holds(value, count, {"f8"}),
    "times": lambda value, count: _holds(value, count, {"i8"}),
    "array": lambda value, count: _holds(value, count, _VALUES),
    "file": lambda *_: False,  # is an answer of another kind
}


def _slab(inputs):
    """How many values a hyperslab has: the product of the counts, that of the records too."""
    return math.prod(int(count) for each in (inputs[4], inputs[7]) for count in np.ravel(each))


def _times(made, given):
    return lambda inputs: np.size(inputs[1]) * made // given


# How many values an operation's inputs ask for, where they tell.
_COUNTS = {
    b"getVarData": lambda _: 1,
    b"getVarPadValue": lambda _: 1,
    b"hyperGetVarData": _slab,
    b"computeEpoch": _times(1, 7),
    b"computeEpoch16": _times(2, 10),
    b"computeTT2000": _times(1, 9),
    b"epochBreakdown": _times(7, 1),
    b"epoch16Breakdown": _times(10, 2),
    b"tt2000Breakdown": _times(9, 1),
}
