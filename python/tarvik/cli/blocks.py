"""The records of a variable, so many at a time that they fit into little memory.

Arrays have the records first, then the dimensions as the file's own descriptions have them, then
the characters of a text or the two numbers of a `cdf_epoch16`. All values go through unchanged.
"""

import numpy as np

from tarvik._order import to_gateway, to_reader
from tarvik.cli.gateway import call

BLOCK_BYTES = 8 << 20


def blocks(records, bytes_each, limit=BLOCK_BYTES):
    """Cut a range of records into ranges of one record or more, up to the limit of bytes."""
    size = max(1, limit // max(1, bytes_each))
    for start in range(0, len(records), size):
        yield records[start : start + size]


def read(file, variable, records):
    """Read a range of records, which must not be empty."""
    raw = call("hyperGetVarData", file, variable.number, *_place(variable, records))
    return to_reader(raw, variable.item, _extents(variable), len(records), variable.row_major)


def write(file, variable, records, values):
    """Write a range of records."""
    raw = to_gateway(values, variable.item, variable.row_major)
    call("hyperPutVarData", file, variable.number, *_place(variable, records), raw)


def bits(values):
    """Numbers that are equal for the same bytes only, as those of NaN are not."""
    return np.ascontiguousarray(values).view(f"u{values.dtype.itemsize}")


def _place(variable, records):
    rank = len(variable.dimensions)
    return (
        records.start,
        len(records),
        records.step,
        [0] * rank,
        list(_extents(variable)),
        [1] * rank,
    )


def _extents(variable):
    """The dimensions as the gateway has them."""
    return variable.dimensions[::-1] if variable.row_major else variable.dimensions
