"""What a plot shows of a variable: which values along which axes, under which labels.

Only NumPy is needed here; `tarvik._drawing` draws it. The customary attributes are used where they
are there: DEPEND_n, LABL_PTR_n, DISPLAY_TYPE, LABLAXIS, UNITS, SCALETYP, FILLVAL, VALIDMIN and
VALIDMAX.
"""

import re
from dataclasses import dataclass

import numpy as np

from tarvik import _reader
from tarvik._dimensions import along_dimension, along_records
from tarvik.cli.text import visible

__all__ = ["Panel", "Scale", "drawable", "make_panel", "reason_against"]

_MOST_LINES = 12
# More are not told apart on a picture: every so many-th record is read then.
_MOST_RECORDS = {"lines": 100_000, "spectrogram": 4000}
# Units are written with these by programs that take "!E-1!N" for an exponent.
_EXPONENT = re.compile(r"!E(.*?)(?:!N|$)")
_RAISED = str.maketrans("-+0123456789", "⁻⁺⁰¹²³⁴⁵⁶⁷⁸⁹")


@dataclass
class Scale:
    """Numbers or times along an axis or in colours."""

    values: np.ndarray
    label: str
    logarithmic: bool = False


@dataclass
class Panel:
    """One plot of several that stand in a column.

    Attributes
    ----------
    kind : str
        "lines" or "spectrogram".
    name : str
        Of the variable.
    x, values : Scale
        Of lines or spectra; the values are NaN where there are none, and have the channels or the
        lines along their second dimension.
    y : Scale or None
        The channels of spectra, for all records or by record.
    names : list of str
        Of the lines, where they are several.
    step : int
        One record of so many was read.
    """

    kind: str
    name: str
    x: Scale
    values: Scale
    y: object = None
    names: tuple = ()
    step: int = 1


def reason_against(variable):
    """Tell why there is no plot of a variable; "" where there can be one."""
    if not _is_number(variable):
        return "it holds texts" if variable.datatype in _reader.TEXTS else "it holds times"
    if 0 in variable.shape:
        return "it has no records"
    if len([n for n in variable.extents if n > 1]) > 1:
        return "it has more than one dimension in each record"
    return "" if variable.varies or max(variable.shape, default=1) > 1 else "it is a single value"


def drawable(variables):
    """The variables to draw when none is named: those that are the file's data."""
    found = [v for v in variables.values() if not reason_against(v)]
    pointed_at = {v.word(f"DEPEND_{n}") for v in variables.values() for n in range(4)}
    choices = (
        [v for v in found if v.word("VAR_TYPE").lower() == "data"],
        [v for v in found if v.varies and v.name not in pointed_at],
        [v for v in found if v.name not in pointed_at],
    )
    return next(filter(None, choices), [])


def make_panel(path, variables, variable):
    """Read what a plot of a variable needs."""
    dimension = next((i for i, n in enumerate(variable.extents, 1) if n > 1), None)
    channels = dimension and along_dimension(variables, variable, dimension)
    if channels and not _is_number(channels):
        channels = None
    if not variable.varies:
        return _across_dimension(path, variable, channels)
    kind = _kind(variable, channels, dimension)
    step = -(-variable.shape[0] // _MOST_RECORDS[kind])
    x = _along_records(path, variables, variable, step)
    values = _scale(path, variable, step)
    values.values = values.values.reshape(len(values.values), -1)
    there = ~np.isnat(x.values) if x.values.dtype.kind == "M" else np.isfinite(x.values)
    order = np.flatnonzero(there)[np.argsort(x.values[there], kind="stable")]
    panel = Panel(kind, visible(variable.name), x, values, step=step)
    if kind == "spectrogram":
        panel.y = _channels(path, variable, channels, step)
        if panel.y.values.ndim > 1:
            panel.y.values = panel.y.values[order]
    elif dimension:
        panel.names = _names(path, variables, variable, dimension)
    x.values, values.values = x.values[order], values.values[order]
    return panel


def _is_number(variable):
    return variable.datatype not in _reader.TEXTS | _reader.TIMES


def _kind(variable, channels, dimension):
    if dimension is None:
        return "lines"
    asked = variable.word("DISPLAY_TYPE").lower()
    few = variable.extents[dimension - 1] <= _MOST_LINES
    lines = few and (asked.startswith("time") or (not channels and "spectro" not in asked))
    return "lines" if lines else "spectrogram"


def _across_dimension(path, variable, channels):
    """A line through the only values that there are, for all records."""
    values = _scale(path, variable)
    values.values = values.values.reshape(-1, 1)
    x = _scale(path, channels) if channels and not channels.varies else None
    x = x or Scale(np.arange(values.values.size), "index")
    return Panel("lines", visible(variable.name), x, values)


def _along_records(path, variables, variable, step):
    """The axis that DEPEND_0 names; else the first times that are as many; else a count."""
    key = (slice(None, None, step),)
    found = along_records(variables, variable)
    if found is not None and found.datatype in _reader.TIMES:
        return Scale(_reader.read(path, found, key), "time (UTC)")
    if found is not None and _is_number(found):
        return _scale(path, found, step)
    for guess in variables.values():
        if guess.datatype in _reader.TIMES and guess.varies and guess.shape == variable.shape[:1]:
            times = _reader.read(path, guess, key)
            if not np.isnat(times).any():
                return Scale(times, "time (UTC)")
    return Scale(np.arange(0, variable.shape[0], step), "record")


def _channels(path, variable, found, step):
    if found is None:
        return Scale(np.arange(max(variable.extents), dtype=float), "channel")
    return _scale(path, found, step)


def _scale(path, variable, step=1):
    """All values, NaN where they are fill values or not valid, with label and scale."""
    key = [slice(None)] * len(variable.shape)
    if variable.varies:
        key[0] = slice(None, None, step)
    stored = _reader.read(path, variable, tuple(key))
    values = stored.astype(float)
    fill = variable.pad if variable.fill is None else variable.fill
    if fill is not None:
        values[stored == fill] = np.nan
    for limit, beyond in (("VALIDMIN", np.less), ("VALIDMAX", np.greater)):
        bound = np.asarray(variable.attributes.get(limit))
        if bound.dtype.kind in "iuf" and bound.shape in ((), values.shape[-1:]):
            values[beyond(stored, bound.astype(stored.dtype) if _rounds(stored) else bound)] = (
                np.nan
            )
    logarithmic = variable.word("SCALETYP").lower().startswith("log") and bool((values > 0).any())
    return Scale(values, _label(variable), logarithmic)


def _rounds(stored):
    """Whether a limit has to be rounded as the values are, to be equal to one of them."""
    return stored.dtype == np.float32


def _label(variable):
    units = _EXPONENT.sub(lambda found: found[1].translate(_RAISED), variable.word("UNITS"))
    units = re.sub("![A-Z]", "", units).strip()
    label = visible(variable.word("LABLAXIS") or variable.name)
    return f"{label} ({visible(units)})" if units.lower() not in ("", "none", "unitless") else label


def _names(path, variables, variable, dimension):
    """The texts for the places of a dimension, else the numbers along it, else their indices."""
    for attribute in ("LABL_PTR", "DEPEND"):
        found = along_dimension(variables, variable, dimension, attribute)
        if found is not None and not found.varies and found.datatype not in _reader.TIMES:
            texts = _reader.read(path, found, (slice(None),)).tolist()
            return [visible(str(text).strip()) for text in texts]
    return [f"[{index}]" for index in range(variable.extents[dimension - 1])]
