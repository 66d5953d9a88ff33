"""Messages between an isolated gateway and its process.

A message is a document, then the bytes of the arrays that the document describes, one after the
other. A small message goes through the socket. A large one lies in a memory file whose descriptor
goes through the socket; the file is sealed, so that it stays as it is while it is looked at.

Requests are documents of `marshal`, answers are JSON: whoever reads an answer believes nothing.
Bytes become values of the few kinds below, and what does not fit raises some exception.
"""

import array
import errno
import fcntl
import json
import marshal
import math
import os
import socket
import struct
from collections import namedtuple

import numpy as np

from tarvik import _host

__all__ = [
    "Characters",
    "File",
    "LateError",
    "MessageError",
    "NobodyError",
    "close_all",
    "describe",
    "from_answer",
    "from_request",
    "read",
    "receive",
    "send",
    "to_answer",
    "to_request",
]

Characters = namedtuple("Characters", "text shape")
Characters.__doc__ = "A char array: its characters in storage order, and its dimensions."
File = namedtuple("File", "number")
File.__doc__ = "An open file, by its number; 0 for one that is closed."


class MessageError(Exception):
    """What came is no message."""


class NobodyError(Exception):
    """There is nobody at the other end."""


class LateError(Exception):
    """It took too long."""


to_request, from_request = marshal.dumps, marshal.loads
to_answer, from_answer = json.JSONEncoder(separators=(",", ":")).encode, json.JSONDecoder().decode

_LARGEST_INLINE = 1 << 16
_LARGEST_ANSWER = 1 << 24  # without its arrays
_LARGEST_WORD = 1 << 12
_ALIGNMENT = 16  # at least that of any element
_SIZES = struct.Struct("=QQ")  # of the document and of the whole message
_RIGHTS_BYTES = socket.CMSG_SPACE(2 * array.array("i").itemsize)  # two descriptors
_CLOSE_ON_EXEC, _CUT = int(socket.MSG_CMSG_CLOEXEC), int(socket.MSG_CTRUNC)
_PLAIN = frozenset({type(None), bool, float, str, bytes})
# Sealed against what would make an array that lies there change, or its memory go away.
_SEALS = fcntl.F_SEAL_SHRINK | fcntl.F_SEAL_GROW | fcntl.F_SEAL_WRITE
_CODES = frozenset(np.dtype(code).str[1:] for code in "?bBhHiIqQfd") | {"S1"}


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
    return type(value) is not str or len(value) <= _LARGEST_WORD


def _write_array(values, parts):
    if values.size:
        parts.append(values.reshape(-1, order="F").view(np.uint8))
    return "array", values.dtype.str[1:], values.shape


def _write_bytes(letter, values, parts):
    parts.append(values)
    return letter, len(values)


# The first row that fits counts.
_WRITERS = {
    float: lambda number, parts: _write_bytes("number", struct.pack("=d", number), parts),
    str: lambda text, parts: _write_bytes("text", text.encode("utf-8", "surrogateescape"), parts),
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
    """The bytes of a message, taken one value after the other."""

    def __init__(self, buffer, place):
        self._buffer = buffer
        self._place = place

    def take(self, size):
        """Give the next bytes as a view."""
        start = _aligned(self._place)
        self._place = start + size
        if size < 0 or self._place > len(self._buffer):
            raise MessageError("a value is longer than its message")
        return memoryview(self._buffer)[start : self._place]

    def take_array(self, code, shape):
        """Give an array over the next bytes, in Fortran order."""
        if code not in _CODES or not all(type(extent) is int and extent >= 0 for extent in shape):
            raise MessageError(f"no dtype or shape: {code}, {shape}")
        dtype, size = np.dtype(code), math.prod(shape)
        memory = self.take(size * dtype.itemsize) if size else None
        return np.ndarray(tuple(shape), dtype, memory, order="F")


def _aligned(place):
    return -(-place // _ALIGNMENT) * _ALIGNMENT


def _read_number(memory, size):
    return struct.unpack("=d", memory.take(size))[0]


def _read_items(memory, items):
    return [read(item, memory) for item in items]


_READERS = {
    "number": _read_number,
    "text": lambda memory, size: str(memory.take(size), "utf-8", "surrogateescape"),
    "array": lambda memory, code, shape: memory.take_array(code, shape),
    "scalar": lambda memory, code, shape: memory.take_array(code, shape)[()],
    "list": _read_items,
    "tuple": lambda memory, items: tuple(_read_items(memory, items)),
}


def send(channel, document, parts, descriptors=()):
    """Send a message.

    Parameters
    ----------
    channel : socket.socket
        Keeps the bounds of messages.
    document : bytes
    parts : list of bytes-like
        The bytes of arrays.
    descriptors : iterable of int
        Open files that go with the message.

    Raises
    ------
    NobodyError
    LateError
        As the socket is set.
    OSError
        There is no memory file to be had; nothing was sent.
    """
    size = len(document)
    pieces = [document]
    for part in parts:
        pieces += [bytes(_aligned(size) - size), part]
        size = _aligned(size) + len(part)
    head = _SIZES.pack(len(document), size)
    if size <= _LARGEST_INLINE:
        _send(channel, b"".join([head, *pieces]), descriptors)
        return
    shared = _sealed(pieces)
    try:
        _send(channel, head, [*descriptors, shared])
    finally:
        os.close(shared)


def _send(channel, packet, descriptors):
    rights = []
    if descriptors:
        rights.append((socket.SOL_SOCKET, socket.SCM_RIGHTS, array.array("i", descriptors)))
    try:
        channel.sendmsg([packet], rights)
    except socket.timeout:
        raise LateError from None
    except ConnectionError:
        raise NobodyError from None


def _sealed(pieces):
    """Make a memory file of these bytes."""
    shared = os.memfd_create("tarvik", os.MFD_CLOEXEC | os.MFD_ALLOW_SEALING)
    try:
        for piece in pieces:
            left = memoryview(piece)
            while left:
                left = left[os.write(shared, left) :]
        fcntl.fcntl(shared, fcntl.F_ADD_SEALS, _SEALS)
    except BaseException:
        os.close(shared)
        raise
    return shared


def receive(channel, largest_document=_LARGEST_ANSWER):
    """Take the next message.

    Parameters
    ----------
    channel : socket.socket
    largest_document : int or None, optional

    Returns
    -------
    tuple
        The document's bytes, the `Memory` of arrays, and the descriptors that came too, which are
        the caller's to close.

    Raises
    ------
    NobodyError
    MessageError
    OSError
        There are too many open files, or there is no memory.
    """
    try:
        packet, rights, flags, _ = channel.recvmsg(
            _SIZES.size + _LARGEST_INLINE, _RIGHTS_BYTES, _CLOSE_ON_EXEC
        )
    except ConnectionError:
        raise NobodyError from None
    descriptors = _descriptors_in(rights) if rights else []
    try:
        if flags & _CUT:
            raise OSError(errno.EMFILE, os.strerror(errno.EMFILE))
        if not packet:
            raise NobodyError
        document_size, size = _SIZES.unpack_from(packet)
        if len(packet) == _SIZES.size:
            buffer = _mapped(descriptors, size)
        else:
            buffer = bytearray(packet[_SIZES.size :])
        if document_size > len(buffer) or (largest_document or size) < document_size:
            raise MessageError("no size of a document")
        return bytes(buffer[:document_size]), Memory(buffer, document_size), descriptors
    except BaseException:
        close_all(descriptors)
        raise


def _descriptors_in(rights):
    found = array.array("i")
    for _, _, data in rights:
        found.frombytes(data[: len(data) - len(data) % found.itemsize])
    return list(found)


def _mapped(descriptors, size):
    """Give the bytes of the memory file, which is the last of the descriptors and is closed."""
    if not descriptors:
        raise MessageError("no memory file")
    shared = descriptors.pop()
    try:
        if fcntl.fcntl(shared, fcntl.F_GET_SEALS) & _SEALS != _SEALS:
            raise MessageError("the memory file is not sealed")
        if not 0 < size <= os.fstat(shared).st_size:
            raise MessageError("no size of a memory file")
        return _host.map_memory(shared, size)
    finally:
        os.close(shared)


def close_all(descriptors):
    for descriptor in descriptors:
        os.close(descriptor)
