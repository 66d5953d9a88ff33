"""`tarvik ls`: in short what is in files."""

import os

import numpy as np

from tarvik import CDFError, CDFProcessError, Variable
from tarvik._text import counted, visible
from tarvik.cli.apart import for_each_file_apart
from tarvik.cli.errors import for_each_file
from tarvik.cli.files import opened, seconds_for

_MOST_TIMES = 4_000_000  # that are read; of more the first and the last one count
_UNITS = ("bytes", "kB", "MB", "GB", "TB")


def list_files(paths, having=None, isolated=True, seconds=None):
    """List files on stdout; return the exit code.

    Parameters
    ----------
    paths : sequence of str
    having : str, optional
        Only files that have this variable are listed.
    isolated : bool
        Whether they are read in another process, which a file that crashes the CDF library ends.
    seconds : float, optional
        The time limit for each then; see `seconds_for`.
    """

    def work(path):
        lines = []
        with opened(path) as file:
            if having is None or having in file:
                lines = [_facts(file), *_lines([_row(found) for found in file._listed()])]
        for line in lines:
            print(line)

    if not isolated:
        return for_each_file(paths, work)
    return for_each_file_apart(paths, work, lambda path: seconds_for(path, seconds))


def _facts(file):
    facts = [counted(len(file), "variable"), _size(os.path.getsize(file._file_on_disk))]
    span = _time_span(file)
    if span is not None:
        first, last = (np.datetime_as_string(time, unit="s") for time in span)
        facts.append(f"{first} to {last}")
    return f"{visible(file.path)}: {', '.join(facts)}"


def _size(count):
    power = min(len(_UNITS) - 1, max(0, len(f"{count}") - 1) // 3)
    return f"{count / 1000**power:.{1 if power else 0}f} {_UNITS[power]}"


def _time_span(file):
    """The first and the last of all times that records have; None if there are no times."""
    found = []
    for variable in file._variables.values():
        if variable._datatype.is_time and variable.record_vary and variable.ndim == 1:
            many = len(variable) > _MOST_TIMES
            times = variable[[0, -1]] if many else variable[...]
            times = times[~np.isnat(times)]
            if times.size:
                found += [times.min(), times.max()]
    return (min(found), max(found)) if found else None


def _row(found):
    """Name, datatype, shape and units of a variable."""
    name = visible(found.name)
    if not isinstance(found, Variable):
        return name, "not readable", "", ""
    try:
        shape = " x ".join(map(str, found.shape)) or "one value"
        units = found.attrs.get("UNITS", "")
    except CDFProcessError:
        raise
    except CDFError:
        return name, "not readable", "", ""
    return name, found.datatype, shape, visible(str(units).strip())


def _lines(rows):
    """Columns as wide as what is in them."""
    widths = [max(map(len, column)) for column in zip(*rows)]
    for row in rows:
        cells = (cell.ljust(width) for cell, width in zip(row, widths))
        yield f"  {'  '.join(cells)}".rstrip()
