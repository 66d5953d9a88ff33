"""The gateway's order of dimensions, with records last, and that of a reader in C, records first.

In the gateway's arrays the parts of a value come first: the characters of a text, or the two
numbers of a `cdf_epoch16`. Its dimensions are those of the file, reversed in a row-major one.
"""

import numpy as np


def as_array(value):
    """A value of the gateway as an array; characters one by one."""
    if isinstance(value, str):
        return np.frombuffer(value.encode("utf-8", "surrogateescape"), "S1")
    return np.asarray(value)


def to_reader(value, item, counts, records, row_major):
    """Turn what was read: records first, then the file's dimensions, then the parts of a value.

    Parameters
    ----------
    value : numpy.ndarray or str
    item : tuple of int
        The shape of one value.
    counts : tuple of int
        Of each dimension, in the gateway's order.
    records : int
    row_major : bool
    """
    cells = as_array(value).reshape((*item, *counts, records), order="F")
    return cells.transpose(_axes(len(item), len(counts), row_major))


def to_gateway(values, item, row_major):
    """Turn values that are to be written; the opposite of `to_reader`."""
    rank = values.ndim - 1 - len(item)
    return np.asfortranarray(values.transpose(np.argsort(_axes(len(item), rank, row_major))))


def turned(row_major):
    """A slice that turns lists of dimensions from a reader's order into the gateway's, or back."""
    return slice(None, None, -1 if row_major else 1)


def _axes(parts, rank, row_major):
    """Which axes of the gateway's array become those of a reader's."""
    dimensions = range(parts, parts + rank)[turned(row_major)]
    return (parts + rank, *dimensions, *range(parts))
