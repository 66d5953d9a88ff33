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
        Times from `start` to before `stop`, along the time axis of the first variable that has one.

    Returns
    -------
    range or numpy.ndarray
        Record numbers, as an index takes them.

    Raises
    ------
    ImpossibleError
        If times are asked for and no variable has a time axis.
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


def _times(file, variables):
    for variable in variables:
        axis = along_records(file._variables, variable)
        axis = variable if axis is None else axis
        if axis._datatype.is_time and axis.ndim == 1:
            return axis[...]
    names = ", ".join(f'"{variable.name}"' for variable in variables) or "what is read"
    raise ImpossibleError(f"{names} has no time axis: DEPEND_0 names no variable of times")


def _as_range(numbers):
    """The same as a range if the numbers are regular, which is one request for the library."""
    steps = np.unique(np.diff(numbers))
    if len(numbers) == 0 or len(steps) > 1 or (len(steps) == 1 and steps[0] < 1):
        return numbers
    step = int(steps[0]) if len(steps) else 1
    return range(int(numbers[0]), int(numbers[-1]) + 1, step)
