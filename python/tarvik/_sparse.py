"""Which records of a sparse variable exist; the others read as a pad value or as the one before.

The library tells how many there are, and not which. A record that reads otherwise than a missing
one would exists. If others are left over, a copy of the file gives the answer: writing a record
there adds to the number of those written exactly when it was missing.
"""

from __future__ import annotations

import errno
from typing import TYPE_CHECKING

import numpy as np

from tarvik.indexing import blocks, runs_of

if TYPE_CHECKING:
    from tarvik.variable import Variable

__all__ = ["check_not_too_many", "existing_records", "same_bits"]

_MOST_MISSING = 100_000_000


def existing_records(variable: Variable) -> list[range]:
    """The records of a variable that exist, in order."""
    everything = range(variable._record_count)
    missing = len(everything) - variable._existing_count
    if variable.sparse is None or missing <= 0:
        return [everything] if everything else []
    check_not_too_many(variable)
    found = [_doubtful(variable, b) for b in blocks(everything, variable._stored_bytes)]
    doubtful = np.concatenate(found)
    if len(doubtful) > missing:
        doubtful = _found_missing(variable, doubtful, missing)
    return runs_of(np.setdiff1d(everything, doubtful, assume_unique=True))


def check_not_too_many(variable: Variable) -> None:
    """Refuse to look through records of which most are missing, for hours perhaps.

    Raises
    ------
    OSError
    """
    records, existing = variable._record_count, variable._existing_count
    if variable.sparse is not None and records - existing > _MOST_MISSING:
        raise OSError(
            errno.EFBIG,
            f"The variable {variable.name!r} has {records} records, of which {existing} exist; it "
            "takes too long to look through them",
            variable._file.path,
        )


def _doubtful(variable: Variable, records: range) -> np.ndarray:
    """The numbers of those records that read as missing ones would."""
    numbers = np.asarray(records)
    expected = variable._missing()
    if expected is None:
        return numbers
    values = variable._read(variable._stored_runs(records))
    before = np.broadcast_to(expected, values.shape)
    if variable.sparse == "previous":
        first = variable._previous(records.start)[tuple(map(slice, values.shape[1:]))]
        before = np.concatenate([first[np.newaxis], values[:-1]])
    return numbers[same_bits(values, before).reshape((len(records), -1)).all(axis=1)]


def _found_missing(variable: Variable, doubtful: np.ndarray, missing: int) -> np.ndarray:
    """Those of the doubtful records that are missing; so many are."""
    found: list[int] = []
    with variable._file._trial() as file:
        trial = file[variable.name]
        count = trial._existing_count
        runs = trial._stored_runs(range(1))
        anything = np.zeros(tuple(map(len, runs)), trial._stored)
        for record in doubtful.tolist():
            if len(found) == missing:
                break
            trial._write_stored([range(record, record + 1), *runs[1:]], anything)
            before, count = count, trial._existing_count
            if count > before:
                found.append(record)
    return np.array(found, dtype=np.int64)


def same_bits(first: np.ndarray, second: np.ndarray) -> np.ndarray:
    """Where two arrays of a shape have the same bytes, as NaN has too."""
    units = [
        np.ascontiguousarray(each).reshape((*each.shape, 1)).view("u1") for each in (first, second)
    ]
    return (units[0] == units[1]).all(axis=-1)
