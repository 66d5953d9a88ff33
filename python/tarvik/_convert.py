"""Inputs that the extension module cannot pass on as they are.

What is common goes through C++ alone: numbers, text, plain lists, arrays in Fortran order. The rest
comes here, and leaves as an array that can be borrowed or as characters with their shape.
"""

import os
from functools import cache

import numpy as np

from tarvik._errors import operation_of

# Arrays of these reach the host in the class of the same name; `?` is logical.
_NUMBERS = frozenset(np.dtype(code).str[1:] for code in "?bBhHiIqQfd")
_LARGEST_EXACT = 2**53
# What the gateway reads numbers with, by the errors of the catalogue's kinds.
_READERS = frozenset({"unpackLongScalar", "unpackVector", "unpackVariance"})


def number_inputs(operation):
    """Tell which inputs of an operation are numbers, whose class does not matter.

    Those that are values keep their class.

    Parameters
    ----------
    operation : object
        The operation's name as it was given.

    Returns
    -------
    int
        Bit n is set if input n is a number, the operation's name being input 0.
    """
    return _number_inputs().get(operation_of((operation,)), 0)


@cache
def _number_inputs():
    from tarvik._catalogue import all_operations, kinds

    read = {
        name
        for name, kind in kinds().items()
        if any(error.partition(":")[0] in _READERS for error in kind.raises)
    }
    return {
        name: sum(1 << n for n, value in enumerate(operation.inputs, 1) if value.kind in read)
        for name, operation in all_operations().items()
    }


def to_host(value, operation, position, is_number):
    """Turn one input into what the host takes.

    Parameters
    ----------
    value : object
        The input as it was given.
    operation : object
        The operation's name as it was given, for messages.
    position : int
        Which input it is, the operation's name being number 0.
    is_number : bool
        Whether `number_inputs` tells that it is a number: then integers and floats of any class
        become double.

    Returns
    -------
    numpy.ndarray or tuple
        An aligned array in native byte order and Fortran order, or the bytes of a char array in
        storage order and its shape.
    """
    where = f"{operation}: input {position}" if position else "the operation's name"
    if isinstance(value, (bytearray, os.PathLike)):
        text = bytes(value) if isinstance(value, bytearray) else os.fsencode(value)
        return text, (1, len(text))
    if isinstance(value, int):
        return np.asarray(_exact(value, where))
    if isinstance(value, (list, tuple, range)):
        return _from_list(value, where, is_number)
    return _from_array(value, where, is_number)


def _exact(number, where):
    """Return the integer as a float of the same value."""
    try:
        nearest = float(number)
    except OverflowError:
        bits = number.bit_length()
        raise OverflowError(f"{where}: a number of {bits} bits is beyond double") from None
    if nearest != number:
        raise ValueError(f"{where}: {number} cannot be held exactly as a double")
    return nearest


def _from_list(values, where, is_number):
    """Numbers become double, in whatever type they are; texts become a char array."""
    try:
        array = np.asarray(values)
    except ValueError:
        raise ValueError(f"{where}: the lists in the list have different lengths") from None
    if array.size == 0:
        return np.empty((0, 0) if array.ndim == 1 else array.shape, order="F")
    if array.dtype.kind in "SUO":
        array = _of_one_kind(values, array, where)
    if array.dtype.kind in "iuf" and array.dtype.itemsize <= 8:
        array = _as_doubles(array, where)
    return _from_array(array, where, is_number)


def _as_doubles(array, where):
    """Integers and floats of any class as doubles of the same value."""
    if array.dtype.itemsize >= 8:  # the other classes fit
        for number in array[np.abs(array) > _LARGEST_EXACT]:
            _exact(number.item(), where)
    return array.astype(np.float64)


def _of_one_kind(values, array, where):
    """Texts as they are, integers of any size as float; anything else is refused."""
    leaves = np.asarray(values, dtype=object).ravel().tolist()
    if array.dtype.kind != "O" and all(isinstance(leaf, (str, bytes)) for leaf in leaves):
        return array
    for leaf in leaves:
        if not isinstance(leaf, (int, float)):
            raise TypeError(f"{where}: a list of numbers holds one of type {type(leaf).__name__}")
    return np.array([_exact(leaf, where) for leaf in leaves]).reshape(array.shape)


def _from_array(value, where, is_number):
    """NumPy arrays and scalars, and what can be seen as one."""
    if np.ma.is_masked(value):
        raise TypeError(f"{where}: a masked array has values missing; fill them first")
    array = np.asarray(value)
    if array.dtype.kind in "SU":
        return _characters(array)
    if is_number and array.dtype.kind in "iuf":
        array = _as_doubles(array, where)
    if array.dtype.str[1:] not in _NUMBERS:
        what = f"dtype {array.dtype}"
        if array.dtype.kind == "O" and array is not value:
            what = f"a value of type {type(value).__name__}"
        raise TypeError(f"{where}: the gateway has no class for {what}")
    return np.require(array, array.dtype.newbyteorder("="), ["F", "A"])


def _characters(array):
    """One more dimension in front: the characters of a string.

    Byte strings go as they are, with NULs behind their end. `U` strings count as their UTF-8
    bytes, have the length of the longest, and blanks behind their end.
    """
    if array.dtype.kind == "U":
        encoded = [text.encode("utf-8", "surrogateescape") for text in array.flat]
        length = max(map(len, encoded), default=0)
        filled = [text.ljust(length) for text in encoded]
        array = np.array(filled, dtype=f"S{length}").reshape(array.shape)
    return array.tobytes("F"), (array.dtype.itemsize, *(array.shape or (1,)))
