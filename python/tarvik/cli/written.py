"""Which records of a sparse variable are written; the others read as a pad value or a copy.

The library tells how many there are and not which. A record that reads otherwise than a missing one
would is written. Where others may be either, a copy of the file gives the answer: writing a record
there adds to the number of those written exactly when it was missing.
"""

import shutil
import tempfile
from itertools import groupby

import numpy as np

from tarvik import ops
from tarvik.cli import blocks
from tarvik.cli.files import path_on_disk
from tarvik.cli.model import NO_SPARSE

call = ops.call


def written_records(file, path, variable, folder):
    """Find the records of a variable that are written.

    Parameters
    ----------
    file : ops.FileId
    path : str
        The file's name.
    variable : tarvik.cli.model.Variable
    folder : str
        Where a copy of the file may be for a while.

    Returns
    -------
    list of range
        Runs of records, in order.
    """
    everything = range(variable.records)
    if variable.sparse == NO_SPARSE or variable.written == variable.records:
        return [everything] if everything else []
    doubtful = _doubtful(file, variable)
    missing = variable.records - variable.written
    if len(doubtful) > missing:
        doubtful = _missing(doubtful, missing, path, variable, folder)
    return list(_runs(np.setdiff1d(np.asarray(everything), doubtful, assume_unique=True)))


def _doubtful(file, variable):
    """The numbers of records that read as missing ones do."""
    expected = np.broadcast_to(variable.pad.reshape(variable.item), _record_shape(variable))
    found = []
    for records in blocks.blocks(range(variable.records), variable.record_bytes):
        values = blocks.read(file, variable, records)
        if variable.sparse == "PREV_SPARSERECORDS":
            before = np.concatenate([expected[np.newaxis], values[:-1]])
            expected = values[-1]
        else:
            before = expected
        alike = blocks.bits(values) == blocks.bits(np.broadcast_to(before, values.shape))
        found.append(records.start + np.flatnonzero(alike.reshape((len(records), -1)).all(axis=1)))
    return np.concatenate(found)


def _record_shape(variable):
    return (*variable.dimensions, *variable.item)


def _missing(doubtful, missing, path, variable, folder):
    """Those of the doubtful records that are missing; so many are."""
    found = []
    with tempfile.TemporaryDirectory(prefix=".tarvik-", dir=folder) as temporary:
        trial = shutil.copyfile(path_on_disk(path), f"{temporary}/trial.cdf")
        with call("open", trial) as file:
            count = variable.written
            anything = np.zeros((1, *_record_shape(variable)), variable.pad.dtype)
            for record in doubtful.tolist():
                if len(found) == missing:
                    break
                blocks.write(file, variable, range(record, record + 1), anything)
                now = int(call("getVarNumRecsWritten", file, variable.number))
                if now > count:
                    found.append(record)
                count = now
    return np.array(found, dtype=np.int64)


def _runs(numbers):
    """Ranges of numbers that follow each other."""
    for _, run in groupby(enumerate(numbers.tolist()), key=lambda pair: pair[1] - pair[0]):
        members = [number for _, number in run]
        yield range(members[0], members[-1] + 1)
