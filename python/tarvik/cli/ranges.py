"""Which records of variables a command reads."""

import numpy as np

from tarvik._dimensions import along_records
from tarvik.cli.errors import ImpossibleError


def chosen_records(file, variables, records, start=None, stop=None):
    """Find the numbers of the records that a command reads.

    Parameters
    ----------
    file : tarvik.File
    variables : sequence of tarvik.Variable
        With as many records as each other.
    records : slice
        Of those records whose time is chosen.
    start, stop : numpy.datetime64, optional
        Times from `start` to before `stop`, along the time axis of the variables.

    Returns
    -------
    range or numpy.ndarray
        Record numbers, as an index takes them.

    Raises
    ------
    ImpossibleError
        If times are asked for and the variables have no time axis, or several.
    """
    varying = [variable for variable in variables if variable.record_vary]
    count = len(varying[0]) if varying else 1
    if start is None and stop is None:
        return range(count)[records]
    times = _times(file, varying)
    inside = ~np.isnat(times)
    if start is not None:
        inside &= times >= start
    if stop is not None:
        inside &= times < stop
    return _as_range(np.flatnonzero(inside)[records])


def axis_of(file, variable):
    """The name of the variable that has the time of each record; None if there is none."""
    found = along_records(file._variables, variable)
    axis = variable if found is None else found
    is_axis = axis._datatype.is_time and axis.record_vary and axis.ndim == 1
    return axis.name if is_axis else None


def _times(file, variables):
    axes = {axis: v.name for v in variables if (axis := axis_of(file, v)) is not None}
    if not axes:
        names = ", ".join(f'"{variable.name}"' for variable in variables) or "what is read"
        raise ImpossibleError(f"{names} has no time axis: DEPEND_0 names no variable of times")
    if len(axes) > 1:
        along = ", ".join(f'"{name}" along "{axis}"' for axis, name in axes.items())
        raise ImpossibleError(f"--from and --to need one time axis, and there are {along}")
    return file[next(iter(axes))][...]


def _as_range(numbers):
    """The same as a range if the numbers are regular, which is one request for the library."""
    steps = np.unique(np.diff(numbers))
    if len(numbers) == 0 or len(steps) > 1 or (len(steps) == 1 and steps[0] < 1):
        return numbers
    step = int(steps[0]) if len(steps) else 1
    return range(int(numbers[0]), int(numbers[-1]) + 1, step)
