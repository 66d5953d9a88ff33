"""Writes records to files for other processes, which may kill this one or take its disk away.

Usage: writing.py append|create|sessions KIND FILE FIRST COUNT [BYTES]. Says "begun" when the file
is open, "appended", and "closed", or why not; with "sessions" again and again, until it is killed.
No file may grow beyond BYTES.
"""

import itertools
import resource
import signal
import sys

import numpy as np
from tarvik import CDFError, constants, ops

BLOCK = 100  # records a call
SIZE = 50  # values of a record
KINDS = ("plain", "compressed variable", "checksum", "compressed as a whole")


def values_of(first, count):
    """What the records hold, with the values of a record in a column."""
    return np.add.outer(np.arange(SIZE) / 100, np.arange(first, first + count, dtype=float))


def create(kind, path):
    file = ops.create(path)
    variable = ops.createVar(file, "data", constants.CDF_REAL8, 1, [SIZE], True, [True])
    if kind == "compressed variable":
        ops.setVarCompression(file, variable, constants.GZIP_COMPRESSION, 6)
    if kind == "compressed as a whole":
        ops.setCompression(file, constants.GZIP_COMPRESSION, 6)
    if kind == "checksum":
        ops.setChecksum(file, constants.MD5_CHECKSUM)
    return file


def append(file, first, count):
    """Write records in several calls."""
    for start in range(first, first + count, BLOCK):
        values = np.asfortranarray(values_of(start, min(BLOCK, first + count - start)))
        ops.hyperPutVarData(file, 0, start, values.shape[1], 1, [0], [SIZE], [1], values)


def readable(path, count):
    """How many of the first records can be read and are right, and why not all."""
    try:
        with ops.open(path) as file:
            written = int(ops.getVarMaxWrittenRecNum(file, 0)) + 1
            found = min(count, written)
            if found == 0:
                return 0, "there are no records"
            values = ops.hyperGetVarData(file, 0, 0, found, 1, [0], [SIZE], [1])
    except CDFError as error:
        return 0, error.status_name or str(error)
    right = np.all(values.reshape(SIZE, found) == values_of(0, found), axis=0)
    return int(np.count_nonzero(right)), "" if right.all() else "values are wrong"


def limit_files(size):
    """Let no file of this process grow beyond so many bytes; None is no limit."""
    if size is not None:
        signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
        resource.setrlimit(resource.RLIMIT_FSIZE, (int(size), int(size)))


def main(mode, kind, path, first, count, limit=None):
    limit_files(limit)
    try:
        for start in itertools.count(int(first), int(count)):
            file = create(kind, path) if mode == "create" else ops.open(path)
            print("begun", flush=True)
            append(file, start, int(count))
            print("appended", flush=True)
            ops.close(file)
            print("closed", flush=True)
            if mode != "sessions":
                break
    except CDFError as error:
        print(f"{error.operation}: {error.status_name}", flush=True)


if __name__ == "__main__":
    main(*sys.argv[1:])
