"""What messages between an isolated gateway and its process say.

Requests are documents of `marshal`, answers are JSON: whoever reads an answer believes nothing.
Bytes become values of the few kinds below, and what does not fit raises some exception.
"""

import json
import marshal
import math
import struct
from collections import namedtuple

import numpy as np

from tarvik._host import MessageError

__all__ = [
    "LONGEST_MESSAGE",
    "MOST_TEXT",
    "Characters",
    "File",
    "Memory",
    "describe",
    "from_answer",
    "from_request",
    "read",
    "to_answer",
    "to_request",
]

Characters = namedtuple("Characters", "text shape")
Characters.__doc__ = "A char array: its characters in storage order, and its dimensions."
File = namedtuple("File", "number")
File.__doc__ = "An open file, by its number; 0 for one that is closed."

MOST_TEXT = 1 << 24  # in one answer
LONGEST_MESSAGE = 1 << 16  # of an error or a warning
_LONGEST_WORD = 1 << 12
_MOST_DIMENSIONS = 64
_MOST_DIGITS = 20
_EXTENTS = range(1 << 63)
_ALIGNMENT = 16  # at least that of any element
_PLAIN = frozenset({type(None), bool, float, str, bytes})
_CODES = frozenset(np.dtype(code).str[1:] for code in "?bBhHiIqQfd") | {"S1"}


def _whole(digits):
    """A number of many digits would take minutes."""
    if len(digits) > _MOST_DIGITS:
        raise MessageError("a number of many digits")
    return int(digits)


to_request, from_request = marshal.dumps, marshal.loads
to_answer = json.JSONEncoder(separators=(",", ":")).encode
from_answer = json.JSONDecoder(parse_int=_whole).decode


def describe(value, parts):
    """Give what stands for a value in the document; bytes of arrays are added to the parts."""
    kind = type(value)
    if kind in _PLAIN and _is_short_and_finite(value):
        return value
    for types, write in _WRITERS.items():
        if isinstance(value, types):
            return write(value, parts)
    raise TypeError(f"there is no message of a {kind.__name__}")


def _is_short_and_finite(value):
    """JSON has no payload of NaN, and long texts take long in it."""
    if type(value) is float:
        return value - value == 0
    return type(value) is not str or len(value) <= _LONGEST_WORD


def _write_array(values, parts):
    if values.size:
        parts.append(values.reshape(-1, order="F").view(np.uint8))
    return "array", values.dtype.str[1:], values.shape


def _write_bytes(letter, values, parts):
    parts.append(values)
    return letter, len(values)


def _write_text(text, parts):
    encoded = text.encode("utf-8", "surrogateescape")
    if len(encoded) > MOST_TEXT:
        raise MemoryError(f"a text of {len(encoded)} bytes; an isolated gateway gives {MOST_TEXT}")
    return _write_bytes("text", encoded, parts)


# The first row that fits counts.
_WRITERS = {
    float: lambda number, parts: _write_bytes("number", struct.pack("=d", number), parts),
    str: _write_text,
    np.ndarray: _write_array,
    np.generic: lambda number, parts: ("scalar", *_write_array(np.asarray(number), parts)[1:]),
    Characters: lambda characters, _: ("characters", *characters),
    File: lambda file, _: ("file", file.number),
    list: lambda items, parts: ("list", [describe(item, parts) for item in items]),
    tuple: lambda items, parts: ("tuple", [describe(item, parts) for item in items]),
}


def read(description, memory, readers=None):
    """Make a value of what stands for it.

    Parameters
    ----------
    description : object
    memory : Memory
        Where the bytes of arrays come next.
    readers : dict, optional
        How what only requests have is read.
    """
    if type(description) in _PLAIN:
        return description
    letter, *rest = description
    if readers and letter in readers:
        return readers[letter](*rest)
    return _READERS[letter](memory, *rest)


class Memory:
    """The bytes of a message, an array that begins with its document, one value after the other."""

    def __init__(self, document, buffer):
        self._buffer = buffer
        self._place = len(document)
        self._most_text = MOST_TEXT

    def take(self, size):
        """Give the next bytes as a view."""
        start = -(-self._place // _ALIGNMENT) * _ALIGNMENT
        self._place = start + size
        if size < 0 or self._place > len(self._buffer):
            raise MessageError("a value is longer than its message")
        return memoryview(self._buffer)[start : self._place]

    def take_text(self, size):
        self._most_text -= size
        if self._most_text < 0:
            raise MessageError(f"a text of {size} bytes")
        return str(self.take(size), "utf-8", "surrogateescape")

    def take_array(self, code, shape):
        """Give an array over the next bytes, in Fortran order."""
        if code not in _CODES or len(shape) > _MOST_DIMENSIONS:
            raise MessageError("no dtype or shape")
        if not all(type(extent) is int and extent in _EXTENTS for extent in shape):
            raise MessageError("no shape")
        dtype, size = np.dtype(code), math.prod(shape)
        memory = self.take(size * dtype.itemsize) if size else None
        return np.ndarray(tuple(shape), dtype, memory, order="F")


def _read_items(memory, items):
    return [read(item, memory) for item in items]


_READERS = {
    "number": lambda memory, size: struct.unpack("=d", memory.take(size))[0],
    "text": Memory.take_text,
    "array": Memory.take_array,
    "scalar": lambda memory, code, shape: memory.take_array(code, shape)[()],
    "list": _read_items,
    "tuple": lambda memory, items: tuple(_read_items(memory, items)),
}
