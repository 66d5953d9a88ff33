"""Rules for the attributes of a variable on their own."""

from __future__ import annotations

import re
from collections.abc import Callable, Iterator
from typing import NamedTuple

import numpy as np

from tarvik.istp.decisions import fill_value, format_of
from tarvik.istp.facts import VariableFacts
from tarvik.istp.findings import ERROR, WARNING, Problem, Rule, entry_problems

__all__ = ["VARIABLE_RULES"]

_VAR_TYPES = ("data", "support_data", "metadata", "ignore_data")
# DISPLAY_TYPE, the fewest dimensions of a record and the axes that each needs.
_DISPLAYS = {
    "time_series": 0,
    "stack_plot": 1,
    "spectrogram": 1,
    "plasmagram": 1,
    "image": 2,
    "movie": 2,
    "map_image": 2,
    "map_movie": 2,
    "plasma_movie": 2,
    "orbit": 0,
    "mapped": 0,
    "time_text": 0,
    "no_plot": 0,
}
_SCALES = ("linear", "log")
_MONOTON = ("INCREASE", "DECREASE", "FALSE")
_FIELD = re.compile(r"([IFEGDAZOB])[NS]?(\d*)", re.IGNORECASE)
_LETTERS = {"S": "A", "i": "IZOB", "u": "IZOB", "f": "FEGD"}  # by the kind of the dtype


def _every(_variable: VariableFacts) -> bool:
    return True


class _Needed(NamedTuple):
    attribute: str
    instead: tuple[str, ...]
    applies: Callable[[VariableFacts], bool]
    meaning: str


_NEEDED = (
    _Needed("CATDESC", (), _every, "a description in up to 80 characters"),
    _Needed("FIELDNAM", (), _every, "the name of the variable"),
    _Needed("VAR_TYPE", (), _every, f"one of {', '.join(_VAR_TYPES)}"),
    _Needed("FORMAT", ("FORM_PTR",), _every, "a Fortran format, such as F10.3, I5 or A16"),
    _Needed(
        "FILLVAL",
        (),
        lambda v: v.is_data or (v.record_vary and (v.is_support or v.is_metadata)),
        "the fill value of the datatype",
    ),
    _Needed(
        "VALIDMIN",
        (),
        lambda v: not v.is_text and (v.is_data or (v.is_support and v.record_vary)),
        "the lowest value that is valid",
    ),
    _Needed(
        "VALIDMAX",
        (),
        lambda v: not v.is_text and (v.is_data or (v.is_support and v.record_vary)),
        "the highest value that is valid",
    ),
    _Needed(
        "DEPEND_0",
        ("DEPEND_TIME",),
        lambda v: v.record_vary and not v.is_time and (v.is_shown or v.is_metadata),
        "the name of the time variable of the records",
    ),
    _Needed(
        "UNITS",
        ("UNIT_PTR",),
        lambda v: not v.is_text and v.is_shown,
        "the unit, or a blank where there is none",
    ),
    _Needed(
        "LABLAXIS",
        ("LABL_PTR_1",),
        lambda v: not v.is_text and v.is_shown,
        "a short label for the axis of a plot",
    ),
)


def _missing(variable: VariableFacts) -> Iterator[Problem]:
    for needed in _NEEDED:
        if needed.applies(variable) and not variable.has(needed.attribute, *needed.instead):
            names = " or ".join((needed.attribute, *needed.instead))
            yield Problem(needed.attribute, f"{names} is missing", f"set it: {needed.meaning}")


def _missing_fill(variable: VariableFacts) -> Iterator[Problem]:
    needed = next(each for each in _NEEDED if each.attribute == "FILLVAL")
    if not variable.has("FILLVAL") and not needed.applies(variable):
        message = "FILLVAL is missing, which not all programs do without"
        yield Problem("FILLVAL", message, f"set it to {_fill_text(variable)}")


def _missing_display(variable: VariableFacts) -> Iterator[Problem]:
    if not variable.text("DISPLAY_TYPE"):
        remedy = "time_series for single values and vectors, spectrogram or image for others"
        yield Problem("DISPLAY_TYPE", "DISPLAY_TYPE is missing", f"set it: {remedy}")


def _entries(variable: VariableFacts) -> Iterator[Problem]:
    for name in variable.attributes:
        for entry in variable.variable.attrs._entries(name).values():
            yield from entry_problems(name, entry, name)


def _var_type(variable: VariableFacts) -> Iterator[Problem]:
    found = variable.text("VAR_TYPE")
    if found not in _VAR_TYPES:
        yield Problem("VAR_TYPE", f"VAR_TYPE is {found!r}", f"set it to {', '.join(_VAR_TYPES)}")


def _fieldnam(variable: VariableFacts) -> Iterator[Problem]:
    found = variable.text("FIELDNAM")
    if found != variable.name:
        message = f"FIELDNAM is {found!r}, not the name"
        yield Problem("FIELDNAM", message, "set it to the name, and CATDESC to the description")


def _words(variable: VariableFacts) -> Iterator[Problem]:
    for name, allowed in (("SCALETYP", _SCALES), ("MONOTON", _MONOTON)):
        found = variable.text(name)
        if found is not None and found.lower() not in map(str.lower, allowed):
            yield Problem(name, f"{name} is {found!r}", f"set it to {' or '.join(allowed)}")


def _fill(variable: VariableFacts) -> Iterator[Problem]:
    entry = variable.entry("FILLVAL")
    assert entry is not None
    if variable.is_text:
        if not entry.is_text or entry.text.strip():
            message = f"FILLVAL is {entry.to_user()!r}, and that of text is a blank"
            yield Problem("FILLVAL", message, "set it to a blank")
        return
    found = None if entry.is_text else variable.variable._fill()
    expected = fill_value(variable.datatype)
    if found is None or not np.isclose(found, expected, rtol=1e-7, atol=0):
        shown = entry.text if entry.is_text else ", ".join(map(str, entry.stored))
        message = f"FILLVAL is {shown}, and that of {variable.datatype.name} is "
        text = _fill_text(variable)
        yield Problem("FILLVAL", message + text, f"set it and the values like it to {text}")


def _fill_text(variable: VariableFacts) -> str:
    return "a blank" if variable.is_text else str(fill_value(variable.datatype))


def _display(variable: VariableFacts) -> Iterator[Problem]:
    words, name = variable.text("DISPLAY_TYPE"), "DISPLAY_TYPE"
    found = (words or "").partition(">")[0].strip().lower()
    fewest = _DISPLAYS.get(found)
    if fewest is None:
        yield Problem(name, f"{name} is {words!r}", "set it to time_series or spectrogram, say")
        return
    dimensions = len(variable.extents)
    if dimensions < fewest:
        message = f"{name} is {found}, and a record has {dimensions} dimensions"
        yield Problem(name, message, "set it to time_series")
        return
    for number in range(1, fewest + 1):
        if variable.is_data and not variable.has(f"DEPEND_{number}"):
            message = f"{name} is {found}, and DEPEND_{number} is missing"
            yield Problem(name, message, f"set DEPEND_{number} to the name of the axis")


def _format(variable: VariableFacts) -> Iterator[Problem]:
    found, kind = variable.text("FORMAT"), variable.datatype.stored.kind
    fields = _FIELD.findall(found or "")
    fitting = format_of(variable.datatype, variable.elements, None)
    if not fields:
        yield Problem("FORMAT", f"FORMAT is {found!r}", f"set a Fortran format, such as {fitting}")
        return
    letters = {letter.upper() for letter, _ in fields}
    if not variable.is_time and not letters <= set(_LETTERS[kind]):
        message = f"FORMAT is {found!r}, and the values are {variable.datatype.name}"
        yield Problem("FORMAT", message, f"set a format such as {fitting}")
        return
    width = int(f"0{fields[0][1]}")
    needed = _width(variable)
    if len(fields) == 1 and 0 < width < needed:
        message = f"FORMAT is {found!r}, and values are up to {needed} characters wide"
        yield Problem("FORMAT", message, f"make it at least {needed} wide")


def _width(variable: VariableFacts) -> int:
    """The characters of text, and of the limits of integers."""
    if variable.is_text:
        return variable.elements
    if variable.is_time or variable.datatype.stored.kind == "f":
        return 0
    entries = [variable.entry(name) for name in ("VALIDMIN", "VALIDMAX")]
    numbers = [n for e in entries if e is not None and not e.is_text for n in e.stored.tolist()]
    return max((len(str(int(n))) for n in numbers if np.isreal(n) and np.isfinite(n)), default=0)


def _has(*names: str) -> Callable[[VariableFacts], bool]:
    return lambda variable: variable.has(*names)


VARIABLE_RULES = (
    Rule("missing", ERROR, _every, _missing),
    Rule("fillval-missing", WARNING, _every, _missing_fill),
    Rule("display-missing", WARNING, lambda v: v.is_data, _missing_display),
    Rule("entry", ERROR, _every, _entries),
    Rule("var-type", ERROR, _has("VAR_TYPE"), _var_type),
    Rule("fieldnam", ERROR, _has("FIELDNAM"), _fieldnam),
    Rule("word", ERROR, _has("SCALETYP", "MONOTON"), _words),
    Rule("fillval", ERROR, _has("FILLVAL"), _fill),
    Rule("display-type", WARNING, _has("DISPLAY_TYPE"), _display),
    Rule("format", WARNING, _has("FORMAT"), _format),
)
