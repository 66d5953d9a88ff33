"""What bench/peers.py measures: each work as one function per package, on the same files.

"File" is `tarvik.File` and "ops" the operations of `tarvik.ops`. The peers are `spacepy.pycdf`,
which calls the CDF library too, and `cdflib` and `pycdfpp`, which have code of their own for the
format. What cannot do a work has no function for it. The first one is the unit of the ratios.
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
from tarvik import File, ops

# Settings of pycdf would otherwise be written to the home folder.
os.environ.setdefault("SPACEPY", tempfile.gettempdir())
with warnings.catch_warnings():
    warnings.simplefilter("ignore")
    from spacepy import pycdf

DOUBLE = tarvik.constants.CDF_DOUBLE
ATTRIBUTES = 15
READERS = {
    "File": lambda path: _read(File, path),
    "ops": lambda path: _read_with_ops(path, [32, 32]),
    "spacepy": lambda path: _read(pycdf.CDF, path),
    "cdflib": lambda path: cdflib.CDF(path).varget("v"),
    "pycdfpp": lambda path: pycdfpp.load(path)["v"].values,
}
IMPORTS = {
    "File": "from tarvik import File",
    "ops": "from tarvik import ops",
    "spacepy": "from spacepy import pycdf",
    "cdflib": "import cdflib",
    "pycdfpp": "import pycdfpp",
    "tarvik": "import tarvik",
    "numpy": "import numpy",
}

# Imports nothing more that the statement would then find.
TIMED = """\
import time
start = time.perf_counter()
{}
print('{{"seconds":', time.perf_counter() - start, '}}')
"""


def works(folder, trial):
    """Make the files, and give pairs of a work's name and its functions by package."""
    yield (
        "import in a new process",
        {name: NewProcess("-c", TIMED.format(statement)) for name, statement in IMPORTS.items()},
    )
    yield from _values(folder, [1] if trial else [1, 8, 80])
    yield from _slices(folder, 20 if trial else 2000)
    yield from _epochs(folder, 1000 if trial else 1_000_000)
    yield from _attributes(folder, 4 if trial else 400)
    yield from _writing(folder, 1 if trial else 400)


def _values(folder, sizes):
    """Whole variables of some megabytes; one record and one value of the last, uncompressed."""
    path = str(folder / "values.cdf")
    for megabytes in sizes:
        _write(path, _numbers(megabytes))
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
        {package: first_reading(package, path) for package in READERS},
    )
    reader = cdflib.CDF(path)
    loaded = pycdfpp.load(path)
    with File(path) as file, ops.open(path) as handle, pycdf.CDF(path) as peer:
        yield (
            "read one record of 8 KiB",
            {
                "File": lambda: file["v"][7],
                "ops": lambda: ops.getVarRecordData(handle, 0, 7),
                "spacepy": lambda: peer["v"][7],
                "cdflib": lambda: reader.varget("v", startrec=7, endrec=7),
                "pycdfpp": lambda: loaded["v"].values[7],
            },
        )
        yield (
            "read one value",
            {
                "File": lambda: file["v"][7, 3, 4],
                "ops": lambda: ops.getVarData(handle, 0, 7, [3, 4]),
                "spacepy": lambda: peer["v"][7, 3, 4],
                "pycdfpp": lambda: loaded["v"].values[7, 3, 4],
                "library": DirectValue(path, 7, [4, 3]),
            },
        )


class NewProcess:
    """Python in a new process, which measures itself."""

    def __init__(self, *arguments):
        self._command = [sys.executable, "-W", "ignore", *arguments]
        # As users have it: what is compiled of Python is kept.
        self._environment = {**os.environ}
        self._environment.pop("PYTHONDONTWRITEBYTECODE", None)

    def take(self):
        """What it found: the seconds among it."""
        done = subprocess.run(
            self._command, stdout=subprocess.PIPE, env=self._environment, check=True
        )
        return json.loads(done.stdout)

    def seconds(self, _calls):
        """The time of one, which tells enough of so many."""
        return self.take()["seconds"]


def first_reading(package, path):
    """The reading of the variable in a process that has read nothing before."""
    return NewProcess(Path(__file__).with_name("first_reading.py"), package, path)


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


def _numbers(megabytes):
    """Records of 8 KiB."""
    return np.arange(megabytes * 122 * 1024, dtype=np.float64).reshape(-1, 32, 32)


def _write(path, data, **options):
    with File(path, "w") as file:
        file.create_variable("v", data, **options)


def _write_with_ops(path, data):
    """The same, by operations: in row-major order, as C programs write."""
    Path(path).unlink(missing_ok=True)
    with ops.create(path) as file:
        dims = list(data.shape[1:])
        number = ops.createVar(file, "v", DOUBLE, 1, dims[::-1], True, [True] * len(dims))
        ops.hyperPutVarData(
            file, number, 0, len(data), 1, [0] * len(dims), dims[::-1], [1] * len(dims), data.T
        )


def _read(open_file, path):
    with open_file(path) as file:
        return file["v"][...]


def _read_with_ops(path, dims):
    with ops.open(path) as file:
        records = int(ops.getVarNumRecsWritten(file, 0))
        start, step = [0] * len(dims), [1] * len(dims)
        return ops.hyperGetVarData(file, 0, 0, records, 1, start, dims, step)


def _from_disk(read, path):
    """Read what the system was told to forget."""
    with open(path, "rb") as file:
        os.fsync(file.fileno())
        os.posix_fadvise(file.fileno(), 0, 0, os.POSIX_FADV_DONTNEED)
    return read(path)


def _slices(folder, records):
    """Every tenth value of every second record."""
    path = str(folder / "slices.cdf")
    data = np.round(np.random.default_rng(1).normal(size=(records, 100, 10)), 2)
    counts, steps = [10, 10], [1, 10]
    for stored, compression in (("without compression", None), ("compressed by gzip", "gzip:6")):
        _write(path, data, compression=compression)
        with File(path) as file, ops.open(path) as handle, pycdf.CDF(path) as peer:
            yield (
                f"read a slice with steps of a variable {stored}",
                {
                    "File": lambda: file["v"][::2, ::10, :],
                    "ops": lambda: ops.hyperGetVarData(
                        handle, 0, 0, records // 2, 2, [0, 0], counts, steps
                    ),
                    "spacepy": lambda: peer["v"][::2, ::10, :],
                    "cdflib": lambda: cdflib.CDF(path).varget("v")[::2, ::10, :],
                    "pycdfpp": lambda: pycdfpp.load(path)["v"].values[::2, ::10, :],
                },
            )


def _epochs(folder, count):
    """CDF_EPOCH values to calendar components, and to `datetime64`."""
    epochs = 63_148_000_000_000 + 1000.0 * np.arange(count)  # of the year 2001
    yield (
        f"{count} epochs to components",
        {
            "ops": lambda: ops.epochBreakdown(epochs),
            "cdflib": lambda: cdflib.cdfepoch.breakdown(epochs),
        },
    )
    # A tenth: `cdflib` needs more than a second for it.
    path = str(folder / "epochs.cdf")
    _write(path, epochs[: count // 10], datatype="CDF_EPOCH")
    yield (
        f"open and read {count // 10} epochs as datetime64",
        {
            "File": lambda: _read(File, path),
            "ops": lambda: tarvik.times.to_datetime64(_read_with_ops(path, [])),
            "spacepy": lambda: _read(pycdf.CDF, path).astype("datetime64[ns]"),
            "cdflib": lambda: cdflib.cdfepoch.to_datetime(cdflib.CDF(path).varget("v")),
            "pycdfpp": lambda: pycdfpp.to_datetime64(pycdfpp.load(path)["v"]),
        },
    )


def _attributes(folder, count):
    """Variables with fifteen attributes each: written, closed, opened, read."""
    path = str(folder / "attributes.cdf")
    names = [f"attribute_{i}" for i in range(ATTRIBUTES)]

    def write_file():
        with File(path, "w") as file:
            for i in range(count):
                variable = file.create_variable(f"v{i}", datatype=DOUBLE)
                for name in names:
                    variable.attrs[name] = 1.5

    def write_ops():
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
        {"File": write_file, "ops": write_ops, "spacepy": write_spacepy, "pycdfpp": write_pycdfpp},
    )

    write_file()

    def read(open_file):
        with open_file(path) as file:
            for i in range(count):
                attributes = file[f"v{i}"].attrs
                for name in names:
                    attributes[name]

    def read_ops():
        with ops.open(path) as file:
            for number in range(count):
                for attribute in range(ATTRIBUTES):
                    ops.getAttrEntry(file, attribute, number)

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
            "File": lambda: read(File),
            "ops": read_ops,
            "spacepy": lambda: read(pycdf.CDF),
            "cdflib": read_cdflib,
            "pycdfpp": read_pycdfpp,
        },
    )


def _writing(folder, megabytes):
    """A new file with one variable."""
    path = folder / "written.cdf"
    data = _numbers(megabytes)

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
            "File": lambda: _write(path, data),
            "ops": lambda: _write_with_ops(path, data),
            "spacepy": write_spacepy,
            "cdflib": write_cdflib,
            "pycdfpp": write_pycdfpp,
        },
    )
    path.unlink(missing_ok=True)
