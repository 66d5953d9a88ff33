"""What bench/peers.py measures: each work as one function per package, on the same files.

The peers are `spacepy.pycdf`, which calls the CDF library too, and `cdflib` and `pycdfpp`, which
have code of their own for the format. A peer that cannot do a work has no function for it.
"""

import ctypes
import json
import os
import subprocess
import sys
import tempfile
import warnings
from functools import partial
from pathlib import Path

import cdflib
import numpy as np
import pycdfpp
import tarvik
import tarvik.times
from tarvik import ops

# Settings of pycdf would otherwise be written to the home folder.
os.environ.setdefault("SPACEPY", tempfile.gettempdir())
os.environ.setdefault("CDF_LIB", str(Path(tarvik.__file__).parent / "lib"))
with warnings.catch_warnings():
    warnings.simplefilter("ignore")
    from spacepy import pycdf

DOUBLE, EPOCH = tarvik.constants.CDF_DOUBLE, tarvik.constants.CDF_EPOCH
ATTRIBUTES = 15
READERS = {
    "tarvik": lambda path: _read_variable(path),
    "spacepy": lambda path: pycdf.CDF(path)["v"][...],
    "cdflib": lambda path: cdflib.CDF(path).varget("v"),
    "pycdfpp": lambda path: pycdfpp.load(path)["v"].values,
}


def works(folder, trial, real):
    """Make the files, and give pairs of a work's name and its functions by package."""
    megabytes = 1 if trial else 80
    count = 1000 if trial else 1_000_000
    yield from _values(folder, megabytes)
    yield from _slices(folder, trial)
    yield from _epochs(folder, count)
    yield from _attributes(folder, 4 if trial else 400)
    yield from _writing(folder, 1 if trial else 400)
    if real:
        yield from _summaries(real)


def _values(folder, megabytes):
    """Whole variable, one record, one value of an uncompressed variable of 8 KiB records."""
    path = str(folder / "values.cdf")
    data = np.arange(megabytes * 122 * 1024, dtype=np.float64).reshape(-1, 32, 32)
    _write(path, data)
    yield (
        f"open and read a variable of {megabytes} MB",
        {package: partial(read, path) for package, read in READERS.items()},
    )
    yield (
        "the same of a file that is not in memory",
        {package: partial(_from_disk, read, path) for package, read in READERS.items()},
    )
    yield (
        "the same, the first time in a process",
        {package: FirstReading(package, path) for package in READERS},
    )
    handle = ops.open(path)
    peer = pycdf.CDF(path)
    reader = cdflib.CDF(path)
    loaded = pycdfpp.load(path)
    yield (
        "read one record of 8 KiB",
        {
            "tarvik": lambda: ops.getVarRecordData(handle, 0, 7),
            "spacepy": lambda: peer["v"][7],
            "cdflib": lambda: reader.varget("v", startrec=7, endrec=7),
            "pycdfpp": lambda: loaded["v"].values[7],
        },
    )
    yield (
        "read one value",
        {
            "tarvik": lambda: ops.getVarData(handle, 0, 7, [3, 4]),
            "spacepy": lambda: peer["v"][7, 3, 4],
            "pycdfpp": lambda: loaded["v"].values[7, 3, 4],
            "library": DirectValue(path, 7, [4, 3]),
        },
    )
    ops.close(handle)
    peer.close()


class FirstReading:
    """The reading of the variable in a process that has read nothing before."""

    def __init__(self, package, path):
        self._command = [sys.executable, Path(__file__).with_name("first_reading.py")]
        self._command += [package, path]

    def take(self):
        """Seconds and peak memory."""
        done = subprocess.run(self._command, stdout=subprocess.PIPE, check=True)
        return json.loads(done.stdout)

    def seconds(self, _calls):
        """The time of one, which tells enough of so many."""
        return self.take()["seconds"]


class DirectValue:
    """One value read by a C program that calls the CDF library itself."""

    def __init__(self, path, record, place):
        built = Path(tarvik.__file__).parents[2] / "bench" / "direct_value.so"
        self._seconds = ctypes.CDLL(str(built)).secondsOfValues
        self._seconds.restype = ctypes.c_double
        self._arguments = os.fsencode(path), ctypes.c_long(record), (ctypes.c_long * 2)(*place)

    def seconds(self, calls):
        """The time of each of so many."""
        return self._seconds(*self._arguments, ctypes.c_long(calls)) / calls


def _write(path, data, compression=None):
    """A file with one variable "v" of doubles, in row-major order as C programs write it."""
    Path(path).unlink(missing_ok=True)
    with ops.create(path) as file:
        dims = list(data.shape[1:])
        number = ops.createVar(file, "v", DOUBLE, 1, dims[::-1], True, [True] * len(dims))
        if compression is not None:
            ops.setVarCompression(file, number, *compression)
        ops.hyperPutVarData(
            file, number, 0, len(data), 1, [0] * len(dims), dims[::-1], [1] * len(dims), data.T
        )


def _read_variable(path):
    with ops.open(path) as file:
        records = int(ops.getVarNumRecsWritten(file, 0))
        return ops.hyperGetVarData(file, 0, 0, records, 1, [0, 0], [32, 32], [1, 1])


def _from_disk(read, path):
    """Read what the system was told to forget."""
    with open(path, "rb") as file:
        os.fsync(file.fileno())
        os.posix_fadvise(file.fileno(), 0, 0, os.POSIX_FADV_DONTNEED)
    return read(path)


def _slices(folder, trial):
    """Every tenth value of every second record of a variable compressed by gzip."""
    path = str(folder / "slices.cdf")
    records = 20 if trial else 2000
    data = np.round(np.random.default_rng(1).normal(size=(records, 100, 10)), 2)
    _write(path, data, (tarvik.constants.GZIP_COMPRESSION, 6))
    handle = ops.open(path)
    peer = pycdf.CDF(path)
    half = records // 2
    yield (
        "read a slice with steps of a variable compressed by gzip",
        {
            "tarvik": lambda: ops.hyperGetVarData(handle, 0, 0, half, 2, [0, 0], [10, 10], [1, 10]),
            "spacepy": lambda: peer["v"][::2, ::10, :],
            "cdflib": lambda: cdflib.CDF(path).varget("v")[::2, ::10, :],
            "pycdfpp": lambda: pycdfpp.load(path)["v"].values[::2, ::10, :],
        },
    )
    ops.close(handle)
    peer.close()


def _epochs(folder, count):
    """CDF_EPOCH values to calendar components."""
    components = np.array([[2001.0, 2, 3, 4, 5, 6, 7]]).repeat(count, axis=0).T
    epochs = ops.computeEpoch(np.asfortranarray(components)) + np.arange(count) * 1000.0
    column = epochs.ravel()
    yield (
        f"{count} epochs to components",
        {
            "tarvik": lambda: ops.epochBreakdown(epochs),
            "cdflib": lambda: cdflib.cdfepoch.breakdown(column),
        },
    )
    # A tenth: one of the peers needs more than a minute for all.
    few = epochs[:, : count // 10]
    column = few.ravel()
    variable = pycdfpp.load(_epoch_file(folder, few))["t"]
    yield (
        f"{few.size} epochs to datetime64",
        {
            "tarvik": lambda: tarvik.times.to_datetime64(few),
            "cdflib": lambda: cdflib.cdfepoch.to_datetime(column),
            "pycdfpp": lambda: pycdfpp.to_datetime64(variable),
        },
    )


def _epoch_file(folder, epochs):
    path = str(folder / "epochs.cdf")
    Path(path).unlink(missing_ok=True)
    with ops.create(path) as file:
        number = ops.createVar(file, "t", EPOCH, 1, [], True, [])
        ops.hyperPutVarData(file, number, 0, epochs.size, 1, [], [], [], epochs)
    return path


def _attributes(folder, count):
    """Variables with fifteen attributes each: written, closed, opened, read."""
    path = str(folder / "attributes.cdf")
    names = [f"attribute_{i}" for i in range(ATTRIBUTES)]

    def write_tarvik():
        Path(path).unlink(missing_ok=True)
        with ops.create(path) as file:
            scope = tarvik.constants.VARIABLE_SCOPE
            attributes = [ops.createAttr(file, name, scope) for name in names]
            for i in range(count):
                number = ops.createVar(file, f"v{i}", DOUBLE, 1, [], True, [])
                for attribute in attributes:
                    ops.putAttrEntry(file, attribute, number, DOUBLE, 1.5)

    def write_spacepy():
        Path(path).unlink(missing_ok=True)
        with pycdf.CDF(path, "") as file:
            for i in range(count):
                variable = file.new(f"v{i}", type=pycdf.const.CDF_DOUBLE)
                for name in names:
                    variable.attrs[name] = 1.5

    def write_pycdfpp():
        Path(path).unlink(missing_ok=True)
        made = pycdfpp.CDF()
        for i in range(count):
            made.add_variable(f"v{i}", np.zeros(1))
            for name in names:
                made[f"v{i}"].add_attribute(name, [1.5])
        pycdfpp.save(made, path)

    yield (
        f"write {count} variables with {ATTRIBUTES} attributes each",
        {"tarvik": write_tarvik, "spacepy": write_spacepy, "pycdfpp": write_pycdfpp},
    )

    write_tarvik()

    def read_tarvik():
        with ops.open(path) as file:
            for number in range(count):
                for attribute in range(ATTRIBUTES):
                    ops.getAttrEntry(file, attribute, number)

    def read_spacepy():
        with pycdf.CDF(path) as file:
            for i in range(count):
                attributes = file[f"v{i}"].attrs
                for name in names:
                    attributes[name]

    def read_cdflib():
        reader = cdflib.CDF(path)
        for i in range(count):
            reader.varattsget(f"v{i}")

    def read_pycdfpp():
        loaded = pycdfpp.load(path)
        values = []
        for i in range(count):
            attributes = loaded[f"v{i}"].attributes
            values.append([attributes[name].value for name in names])
        return values

    yield (
        f"read {count} variables with {ATTRIBUTES} attributes each",
        {
            "tarvik": read_tarvik,
            "spacepy": read_spacepy,
            "cdflib": read_cdflib,
            "pycdfpp": read_pycdfpp,
        },
    )


def _writing(folder, megabytes):
    """A new file with one variable."""
    path = folder / "written.cdf"
    data = np.arange(megabytes * 122 * 1024, dtype=np.float64).reshape(-1, 32, 32)

    def write_spacepy():
        path.unlink(missing_ok=True)
        with pycdf.CDF(str(path), "") as file:
            file.new(
                "v", data=data, type=pycdf.const.CDF_DOUBLE, compress=pycdf.const.NO_COMPRESSION
            )

    def write_pycdfpp():
        made = pycdfpp.CDF()
        made.add_variable("v", data, pycdfpp.DataType.CDF_DOUBLE)
        pycdfpp.save(made, str(path))

    def write_cdflib():
        path.unlink(missing_ok=True)
        spec = {
            "Variable": "v",
            "Data_Type": int(DOUBLE),
            "Num_Elements": 1,
            "Rec_Vary": True,
            "Dim_Sizes": [32, 32],
            "Compress": 0,
        }
        with cdflib.cdfwrite.CDF(str(path), {"Majority": "row_major"}) as file:
            file.write_var(spec, var_data=data)

    yield (
        f"write {megabytes} MB",
        {
            "tarvik": lambda: _write(str(path), data),
            "spacepy": write_spacepy,
            "cdflib": write_cdflib,
            "pycdfpp": write_pycdfpp,
        },
    )
    path.unlink(missing_ok=True)


def _summaries(real):
    """Names, datatypes, extents and numbers of records of all variables of all files."""
    paths = []
    for path in sorted(real.glob("*.cdf")):
        try:
            cdflib.CDF(path)
        except Exception:  # not every file there is meant to be one
            continue
        paths.append(str(path))

    def with_tarvik():
        for path in paths:
            with ops.open(path) as file:
                for number in range(int(ops.inquire(file).numVariables)):
                    ops.inquireVar(file, number)
                    ops.getVarNumRecsWritten(file, number)

    def with_spacepy():
        facts = []
        for path in paths:
            with pycdf.CDF(path) as file:
                facts.append([(file[name].type(), file[name].shape) for name in file])
        return facts

    def with_cdflib():
        for path in paths:
            reader = cdflib.CDF(path)
            for name in reader.cdf_info().zVariables:
                reader.varinq(name)

    def with_pycdfpp():
        facts = []
        for path in paths:
            loaded = pycdfpp.load(path, lazy_load=True)
            facts.append([(variable.type, variable.shape) for _, variable in loaded.items()])
        return facts

    yield (
        f"open and summarise {len(paths)} files of missions",
        {
            "tarvik": with_tarvik,
            "spacepy": with_spacepy,
            "cdflib": with_cdflib,
            "pycdfpp": with_pycdfpp,
        },
    )
