"""What a plot shows of a variable: which values along which axes, under which labels.

Only NumPy is needed here; `tarvik._drawing` draws it. The customary attributes are used where they
are there: DEPEND_n, LABL_PTR_n, DISPLAY_TYPE, LABLAXIS, UNITS, SCALETYP, FILLVAL, VALIDMIN and
VALIDMAX.
"""

from __future__ import annotations

import re
from collections.abc import Iterable, Mapping, Sequence
from dataclasses import dataclass, field
from math import prod
from typing import Any, Union

import numpy as np

from tarvik._dimensions import along_dimension, along_records, word
from tarvik._text import visible
from tarvik.indexing import inside
from tarvik.variable import Variable

__all__ = [
    "Panel",
    "Scale",
    "View",
    "dimensions",
    "drawable",
    "make_panel",
    "reason_against",
    "view_of",
]

_MOST_LINES = 12
# More are not told apart on a picture: every so many-th record is read then.
_MOST_RECORDS = {"lines": 100_000, "spectrogram": 4000}
_MOST_VALUES = 10_000_000
_MOST_CHANNELS = 10_000
# Units are written with these by programs that take "!E-1!N" for an exponent.
_EXPONENT = re.compile(r"!E(.*?)(?:!N|$)")
_RAISED = str.maketrans("-+0123456789", "⁻⁺⁰¹²³⁴⁵⁶⁷⁸⁹")
_LOWEST_USUAL = -32000  # the library's own pad values of two bytes and more are below
_BESIDE_DATA = ("support_data", "metadata", "ignore_data")

_Variables = Mapping[str, Variable]
_Records = Union[range, np.ndarray]


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
        Of the variable, and what is drawn of its dimensions.
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
    y: Scale | None = None
    names: Sequence[str] = ()
    step: int = 1


@dataclass(frozen=True)
class View:
    """A variable, and what is drawn of its dimensions.

    Attributes
    ----------
    variable : Variable
    indices : dict of int to int
        The place that is taken of a dimension, by the number of the dimension, 1 for the first
        after the records.
    means : list of int
        The dimensions of which the mean is taken.
    """

    variable: Variable
    indices: dict[int, int] = field(default_factory=dict)
    means: list[int] = field(default_factory=list)

    @property
    def extents(self) -> dict[int, int]:
        """The dimensions that are left, with their sizes."""
        gone = {*self.indices, *self.means}
        extents = enumerate(self.variable._extents, 1)
        return {number: size for number, size in extents if size > 1 and number not in gone}

    @property
    def values_read(self) -> int:
        """Of each record, before means are taken."""
        extents = enumerate(self.variable._extents, 1)
        return prod(size for number, size in extents if number not in self.indices)


def dimensions(variable: Variable) -> dict[str, int]:
    """The names of dimensions with their numbers.

    They are the numbers themselves, and the variables that DEPEND_n and LABL_PTR_n name.
    """
    numbers = range(1, len(variable._extents) + 1)
    found = {
        word(variable, f"{attribute}_{number}"): number
        for attribute in ("LABL_PTR", "DEPEND")
        for number in reversed(numbers)
    }
    found.pop("", None)
    return {**found, **{str(number): number for number in numbers}}


def view_of(
    variable: Variable, slices: Iterable[tuple[str, int]] = (), means: Iterable[str] = ()
) -> View:
    """Choose what is drawn of a variable; names that are none of its dimensions change nothing.

    Parameters
    ----------
    variable : Variable
    slices : iterable of (str, int)
        Names of dimensions, and the place that is taken of each; negative ones from the end.
    means : iterable of str
        The names of dimensions of which the mean is taken.

    Raises
    ------
    IndexError
        For an index outside.
    ValueError
        For a dimension that is named twice.
    """
    numbers = dimensions(variable)
    view = View(variable)
    for name, index in [*slices, *((name, None) for name in means)]:
        number = numbers.get(name)
        if number is None:
            continue
        if number in view.indices or number in view.means:
            raise ValueError(f"dimension {name} is named twice")
        if index is None:
            view.means.append(number)
            continue
        try:
            view.indices[number] = inside(index, variable._extents[number - 1], number)
        except IndexError as error:
            raise IndexError(f"{name}={index}: {error}") from None
    return view


def reason_against(view: View) -> str:
    """Tell why there is no plot of a variable; "" where there can be one."""
    variable = view.variable
    if not _is_number(variable):
        return "it holds texts" if variable._datatype.is_text else "it holds times"
    if 0 in variable.shape:
        return "it has no records"
    if len(view.extents) > 1:
        left = ", ".join(
            f"{number} ({_name_of(variable, number)}, {size} places)"
            for number, size in view.extents.items()
        )
        return f"it has more than one dimension in each record: {left}; see --slice and --mean"
    if max(view.extents.values(), default=0) > _MOST_CHANNELS or view.values_read > _MOST_VALUES:
        return f"{view.values_read} values in each record are too many for a picture"
    return "" if variable.record_vary or view.extents else "it is a single value"


def _name_of(variable: Variable, number: int) -> str:
    names = [word(variable, f"{attribute}_{number}") for attribute in ("DEPEND", "LABL_PTR")]
    return next(filter(None, names), f"dimension {number}")


def drawable(variables: _Variables, views: Iterable[View]) -> list[View]:
    """The views to draw when none is named: those of the file's data."""
    found = [view for view in views if not reason_against(view)]
    pointed_at = {word(v, f"DEPEND_{n}") for v in variables.values() for n in range(4)}
    apart = [view for view in found if view.variable.name not in pointed_at]
    main = [view for view in apart if _type_of(view) not in _BESIDE_DATA]
    choices = (
        [view for view in found if _type_of(view) == "data"],
        _varying(main),
        main,
        _varying(apart),
        apart,
        found,
    )
    return next(filter(None, choices), [])


def _varying(views: Iterable[View]) -> list[View]:
    return [view for view in views if view.variable.record_vary]


def _type_of(view: View) -> str:
    return word(view.variable, "VAR_TYPE").lower()


def make_panel(variables: _Variables, view: View, records: _Records) -> Panel:
    """Read what a plot of a variable needs.

    Parameters
    ----------
    variables : mapping of str to Variable
        All of the file.
    view : View
        One that has no reason against it.
    records : range or array of int
        Which records are drawn, where they vary.
    """
    variable = view.variable
    dimension = next(iter(view.extents), None)
    channels = None if dimension is None else along_dimension(variables, variable, dimension)
    if channels is not None and not _is_number(channels):
        channels = None
    name = _title(variables, view)
    if not variable.record_vary:
        return _across_dimension(view, channels, name)
    kind = _kind(view, channels)
    most = min(_MOST_RECORDS[kind], max(1, _MOST_VALUES // view.values_read))
    step = -(-len(records) // most)
    records = records[::step]
    x = _along_records(variables, variable, records)
    values = _scale(view, records)
    values.values = values.values.reshape(len(values.values), -1)
    there = ~np.isnat(x.values) if x.values.dtype.kind == "M" else np.isfinite(x.values)
    order = np.flatnonzero(there)[np.argsort(x.values[there], kind="stable")]
    panel = Panel(kind, name, x, values, step=step)
    if kind == "spectrogram":
        panel.y = _channels(view, channels, records)
        if panel.y.values.ndim > 1:
            panel.y.values = panel.y.values[order]
    elif dimension is not None:
        panel.names = _names(variables, variable, dimension)
    x.values, values.values = x.values[order], values.values[order]
    return panel


def _is_number(variable: Variable) -> bool:
    return not (variable._datatype.is_text or variable._datatype.is_time)


def _title(variables: _Variables, view: View) -> str:
    """The name with the places of dimensions, and with those of which the mean is taken."""
    variable, parts = view.variable, []
    for number, index in view.indices.items():
        along = _along(variables, variable, number)
        text = "" if along is None else f" = {str(along[index]).strip()}"
        parts.append(f"{_name_of(variable, number)}[{index}]{text}")
    parts += [f"mean over {_name_of(variable, number)}" for number in view.means]
    return visible(f"{variable.name}: {', '.join(parts)}" if parts else variable.name)


def _kind(view: View, channels: Variable | None) -> str:
    if not view.extents:
        return "lines"
    asked = word(view.variable, "DISPLAY_TYPE").lower()
    few = max(view.extents.values()) <= _MOST_LINES
    lines = few and (asked.startswith("time") or (channels is None and "spectro" not in asked))
    return "lines" if lines else "spectrogram"


def _across_dimension(view: View, channels: Variable | None, name: str) -> Panel:
    """A line through the only values that there are, for all records."""
    values = _scale(view)
    values.values = values.values.reshape(-1, 1)
    if channels is None or channels.record_vary:
        x = Scale(np.arange(values.values.size), "index")
    else:
        x = _scale(View(channels))
    return Panel("lines", name, x, values)


def _along_records(variables: _Variables, variable: Variable, records: _Records) -> Scale:
    """The axis that DEPEND_0 names; else the first times that are as many; else a count."""
    key = _key(records)
    found = along_records(variables, variable)
    if found is not None and found._datatype.is_time:
        return Scale(found[key], "time (UTC)")
    if found is not None and _is_number(found):
        return _scale(View(found), records)
    for guess in variables.values():
        if guess._datatype.is_time and guess.record_vary and guess.shape == variable.shape[:1]:
            times = guess[key]
            if not np.isnat(times).any():
                return Scale(times, "time (UTC)")
    return Scale(np.asarray(records), "record")


def _key(records: _Records) -> Any:
    if isinstance(records, range):
        return slice(records.start, records.stop, records.step)
    return records


def _channels(view: View, found: Variable | None, records: _Records) -> Scale:
    if found is None:
        return Scale(np.arange(max(view.extents.values()), dtype=float), "channel")
    return _scale(View(found), records)


def _scale(view: View, records: _Records = range(0)) -> Scale:
    """The values, NaN where they are fill values or not valid, with label and scale."""
    variable = view.variable
    key = [view.indices.get(n + 1, slice(None)) for n in range(len(variable._extents))]
    if variable.record_vary:
        key.insert(0, _key(records))
    found = variable.masked[tuple(key)]
    if variable.fill is None and variable.pad < _LOWEST_USUAL:
        found = np.ma.masked_equal(found, variable.pad, copy=False)
    found = np.ma.masked_invalid(found.astype(float), copy=False)
    left = [n for n in range(1, len(variable._extents) + 1) if n not in view.indices]
    over = tuple(left.index(n) + variable.record_vary for n in view.means)
    values = (found.mean(over) if over else found).filled(np.nan)
    logarithmic = word(variable, "SCALETYP").lower().startswith("log") and bool((values > 0).any())
    return Scale(values, _label(variable), logarithmic)


def _label(variable: Variable) -> str:
    units = _EXPONENT.sub(lambda found: found[1].translate(_RAISED), word(variable, "UNITS"))
    units = re.sub("![A-Z]", "", units).strip()
    label = visible(word(variable, "LABLAXIS") or variable.name)
    return f"{label} ({visible(units)})" if units.lower() not in ("", "none", "unitless") else label


def _names(variables: _Variables, variable: Variable, dimension: int) -> list[str]:
    """The texts for the places of a dimension, else the numbers along it, else their indices."""
    found = _along(variables, variable, dimension)
    if found is not None:
        return [visible(str(text).strip()) for text in found[...].tolist()]
    return [f"[{index}]" for index in range(variable._extents[dimension - 1])]


def _along(variables: _Variables, variable: Variable, dimension: int) -> Variable | None:
    """What tells the places of a dimension apart: texts, or numbers for all records."""
    for attribute in ("LABL_PTR", "DEPEND"):
        found = along_dimension(variables, variable, dimension, attribute)
        if found is not None and not found.record_vary and not found._datatype.is_time:
            return found
    return None
