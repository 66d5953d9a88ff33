"""What bench/peers.py measures of files as missions keep them, and of the command.

Compressed variables and files, whole files of missions, many small files, and whole programs.
"""

import subprocess
import time
from contextlib import suppress
from functools import partial
from pathlib import Path

import cdflib
import numpy as np
import pycdfpp
from peer_works import NewProcess, pycdf
from tarvik import File, ops

GZIP = 6


def works(folder, trial, real):
    """Make the files, and give pairs of a work's name and its functions by package."""
    yield from _compressed(folder, 10_000 if trial else 1_300_000)
    yield from _compressed_as_a_whole(folder, 10_000 if trial else 3_300_000)
    yield from _commands(folder, 10 if trial else 1000)
    if real:
        yield from _missions(real)


def files_to_read(folder):
    """Files with one variable "v" of numbers that `works` made: what each is, path, and bytes."""
    kinds = {
        "values": "without compression",
        "compressed": "compressed by gzip",
        "whole": "compressed as a whole",
    }
    for name, kind in kinds.items():
        path = str(folder / f"{name}.cdf")
        with File(path) as file:
            yield kind, path, file["v"].nbytes


def _compressed(folder, records):
    """One variable of 3 float32 in each record, compressed by gzip."""
    path = str(folder / "compressed.cdf")
    data = np.round(np.random.default_rng(1).normal(size=(records, 3)), 2).astype(np.float32)
    size = f"{data.nbytes / 1e6:.0f} MB"
    writers = _writers(path, data)
    yield f"write a gzip variable of {size}", writers
    writers["File"]()
    yield f"read a gzip variable of {size}, whole", _readers(path)
    starts = np.random.default_rng(2).integers(0, records * 9 // 10, 100).tolist()

    def slices(get, span=1000):
        return [get(start, start + span) for start in starts]

    def with_file(open_file):
        with open_file(path) as file:
            variable = file["v"]
            return slices(lambda start, stop: variable[start:stop:10, 1])

    def with_ops():
        with ops.open(path) as file:
            return slices(
                lambda start, stop: ops.hyperGetVarData(
                    file, 0, start, (stop - start) // 10, 10, [1], [1], [1]
                )
            )

    def with_pycdfpp():
        variable = pycdfpp.load(path)["v"]
        return slices(lambda start, stop: variable.values[start:stop:10, 1])

    yield (
        "open it and read 100 slices with steps",
        {
            "File": partial(with_file, File),
            "ops": with_ops,
            "spacepy": partial(with_file, pycdf.CDF),
            "pycdfpp": with_pycdfpp,
        },
    )


def _writers(path, data):
    def with_file():
        with File(path, "w") as file:
            file.create_variable("v", data, compression=f"gzip:{GZIP}")

    def with_spacepy():
        Path(path).unlink(missing_ok=True)
        with pycdf.CDF(path, "") as file:
            file.new("v", data=data, compress=pycdf.const.GZIP_COMPRESSION, compress_param=GZIP)

    def with_cdflib():
        spec = {
            "Variable": "v",
            "Data_Type": cdflib.cdfwrite.CDF.CDF_FLOAT,
            "Num_Elements": 1,
            "Rec_Vary": True,
            "Dim_Sizes": list(data.shape[1:]),
            "Compress": GZIP,
        }
        Path(path).unlink(missing_ok=True)
        with cdflib.cdfwrite.CDF(path) as file:
            file.write_var(spec, var_data=data)

    def with_pycdfpp():
        made = pycdfpp.CDF()
        made.add_variable("v", data, compression=pycdfpp.CompressionType.gzip_compression)
        pycdfpp.save(made, path)

    return {
        "File": with_file,
        "spacepy": with_spacepy,
        "cdflib": with_cdflib,
        "pycdfpp": with_pycdfpp,
    }


def _readers(path):
    def whole(open_file):
        with open_file(path) as file:
            return file["v"][...]

    return {
        "File": partial(whole, File),
        "spacepy": partial(whole, pycdf.CDF),
        "cdflib": lambda: cdflib.CDF(path).varget("v"),
        "pycdfpp": lambda: pycdfpp.load(path)["v"].values,
    }


def _compressed_as_a_whole(folder, records):
    path = str(folder / "whole.cdf")
    data = np.round(np.random.default_rng(3).normal(size=(records, 3)), 2).astype(np.float32)
    with File(path, "w", compression=f"gzip:{GZIP}") as file:
        file["v"] = data
    size = f"{data.nbytes / 1e6:.0f} MB"
    yield f"open and read a file of {size} compressed as a whole", _readers(path)


class WholeProgram(NewProcess):
    """A program from its start to its end."""

    def seconds(self, _calls):
        start = time.perf_counter()
        subprocess.run(self._command, stdout=subprocess.DEVNULL, env=self._environment, check=True)
        return time.perf_counter() - start


# What `tarvik ls` tells: sizes, names, datatypes, shapes, units, and the first and last time.
LISTING = """\
import os, sys
from spacepy import pycdf
times = [pycdf.const.CDF_EPOCH, pycdf.const.CDF_EPOCH16, pycdf.const.CDF_TIME_TT2000]
times = {datatype.value for datatype in times}
for path in sys.argv[1:]:
    with pycdf.CDF(path) as file:
        print(path, len(file), os.path.getsize(path))
        for name in file:
            variable = file[name]
            units = variable.attrs["UNITS"] if "UNITS" in variable.attrs else ""
            print(" ", name, variable.type(), variable.shape, units)
            if variable.type() in times and len(variable):
                found = variable[...]
                print(" ", found.min(), found.max())
"""


def _commands(folder, count):
    paths = [folder / f"small{number:04}.cdf" for number in range(count)]
    for path in paths:
        with File(path, "w") as file:
            file["Epoch"] = np.datetime64("2020-01-01", "ns") + np.arange(10)
            file.create_variable("B", np.ones((10, 3)), attrs={"UNITS": "nT", "FILLVAL": -1e31})
            file.attrs["TITLE"] = "one of many"
    yield (
        f"list {count} small files",
        {
            "File": WholeProgram("-m", "tarvik", "ls", *paths),
            "spacepy": WholeProgram("-c", LISTING, *paths),
        },
    )
    yield (
        "show a small file, start to end",
        {
            "File": WholeProgram("-m", "tarvik", "show", paths[0]),
            "numpy": WholeProgram("-c", "import numpy"),
        },
    )


def _missions(real):
    """All variables of all files; other files there are not meant to be read."""
    paths = []
    for path in sorted(map(str, real.glob("*.cdf"))):
        with suppress(Exception):
            cdflib.CDF(path)
            File(path).close()
            paths.append(path)
    count = f"{len(paths)} files of missions"
    summaries = {
        "File": _summary_with_file,
        "ops": _summary_with_ops,
        "spacepy": _summary_with_spacepy,
        "cdflib": _summary_with_cdflib,
        "pycdfpp": _summary_with_pycdfpp,
    }
    yield f"open and summarise {count}", _for_each(summaries, paths)
    values = {
        "File": partial(_everything, File),
        "spacepy": partial(_everything, pycdf.CDF),
        "cdflib": _everything_with_cdflib,
        "pycdfpp": _everything_with_pycdfpp,
    }
    yield f"open and read everything in {count}", _for_each(values, paths)
    attributes = {package: partial(read, attributes=True) for package, read in values.items()}
    yield f"the same with all attributes of {count}", _for_each(attributes, paths)


def _for_each(functions, paths):
    return {
        package: lambda function=function: [function(path) for path in paths]
        for package, function in functions.items()
    }


def _summary_with_file(path):
    with File(path) as file:
        return [(variable.datatype, variable.shape) for variable in file.values()]


def _summary_with_ops(path):
    with ops.open(path) as file:
        for number in range(int(ops.inquire(file).numVariables)):
            ops.inquireVar(file, number)
            ops.getVarNumRecsWritten(file, number)


def _summary_with_spacepy(path):
    with pycdf.CDF(path) as file:
        return [(file[name].type(), file[name].shape) for name in file]


def _summary_with_cdflib(path):
    reader = cdflib.CDF(path)
    return [reader.varinq(name) for name in reader.cdf_info().zVariables]


def _summary_with_pycdfpp(path):
    loaded = pycdfpp.load(path, lazy_load=True)
    return [(variable.type, variable.shape) for _, variable in loaded.items()]


def _everything(open_file, path, attributes=False):
    with open_file(path) as file:
        found = [(file[name][...], dict(file[name].attrs) if attributes else {}) for name in file]
        return found, {name: file.attrs[name] for name in file.attrs} if attributes else {}


def _everything_with_cdflib(path, attributes=False):
    reader = cdflib.CDF(path)
    found = []
    for name in reader.cdf_info().zVariables + reader.cdf_info().rVariables:
        with suppress(ValueError):  # of variables without records
            found.append(reader.varget(name))
        if attributes:
            found.append(reader.varattsget(name))
    return found, reader.globalattsget() if attributes else {}


def _everything_with_pycdfpp(path, attributes=False):
    loaded = pycdfpp.load(path)
    found = []
    for _, variable in loaded.items():
        found.append(variable.values)
        if attributes:
            found.append([attribute.value for _, attribute in variable.attributes.items()])
    if attributes:
        found.append([list(attribute) for _, attribute in loaded.attributes.items()])
    return found
