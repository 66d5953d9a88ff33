"""Rules for the values of variables: their limits, and times."""

from __future__ import annotations

import operator
from collections.abc import Iterator
from typing import Any

import numpy as np

from tarvik._text import counted
from tarvik.istp.decisions import monoton
from tarvik.istp.facts import VariableFacts
from tarvik.istp.findings import ERROR, WARNING, Problem, Rule
from tarvik.times import to_text

__all__ = ["VALUE_RULES"]

_LIMITS = ("VALIDMIN", "VALIDMAX", "SCALEMIN", "SCALEMAX")


def _types(variable: VariableFacts) -> Iterator[Problem]:
    """Names for the same numbers, such as CDF_REAL4 and CDF_FLOAT, are the same datatype."""
    for name in ("FILLVAL", *_LIMITS):
        entry = variable.entry(name)
        if entry is None:
            continue
        mine, its = variable.datatype, entry.datatype
        if (mine.stored, mine.is_time) != (its.stored, its.is_time):
            message = f"{name} is {its.name}, and the variable {mine.name}"
            yield Problem(name, message, f"write it as {mine.name}")


def _limit(variable: VariableFacts, name: str) -> np.ndarray | None:
    """The numbers of a limit where they can be compared with the values."""
    entry = variable.entry(name)
    if entry is None or entry.is_text or variable.is_text:
        return None
    numbers, mine, its = entry.stored, variable.datatype, entry.datatype
    if its.stored.kind == "c" or mine.stored.kind == "c" or mine.is_time or its.is_time:
        return numbers if mine.stored == its.stored else None
    if mine.stored.kind == "f":
        with np.errstate(over="ignore"):
            return numbers.astype(mine.stored)  # rounded as the values
    return numbers


def _counts(variable: VariableFacts) -> Iterator[Problem]:
    for name in _LIMITS:
        limit = _limit(variable, name)
        if limit is None or limit.size == 1:
            continue
        if len(variable.extents) != 1 or limit.size != variable.extents[0]:
            shape = " x ".join(map(str, variable.extents)) or "1"
            message = f"{name} has {limit.size} values, and a record {shape}"
            yield Problem(name, message, "give one value, or one for each of a single dimension")


def _orders(variable: VariableFacts) -> Iterator[Problem]:
    for low, high in (_LIMITS[:2], _LIMITS[2:]):
        first, last = _limit(variable, low), _limit(variable, high)
        if first is None or last is None or 1 < first.size != last.size > 1:
            continue
        if (first > last).any():
            yield Problem(low, f"{low} is above {high}", "exchange or correct them")


def _in_datatype(variable: VariableFacts) -> Iterator[Problem]:
    stored = variable.datatype.stored
    if stored.kind not in "iu":
        return
    info = np.iinfo(stored)
    for name in _LIMITS:
        limit = _limit(variable, name)
        if limit is not None and ((limit < info.min) | (limit > info.max)).any():
            message = f"{name} is {limit[0]}, which {variable.datatype.name} does not hold"
            yield Problem(name, message, f"choose one from {info.min} to {info.max}")


def _outside(variable: VariableFacts) -> Iterator[Problem]:
    values = variable.values
    if values is None or not values.found.any():
        return
    for name, found, wrong, most in (
        ("VALIDMIN", values.lowest, operator.lt, "lowest"),
        ("VALIDMAX", values.highest, operator.gt, "highest"),
    ):
        limit = _limit(variable, name)
        if limit is None or (limit.size > 1 and limit.shape != found.shape):
            continue
        limits = np.broadcast_to(limit.reshape(found.shape if limit.size > 1 else ()), found.shape)
        outside = wrong(found, limits) & values.found
        if outside.any():
            first = np.flatnonzero(outside)[0]
            pair = (_shown(variable, each.ravel()[first]) for each in (found, limits))
            message = f"the {most} value is {next(pair)}, and {name} is {next(pair)}"
            yield Problem(name, message, f"correct {name}, or set the values to FILLVAL")


def _shown(variable: VariableFacts, value: Any) -> str:
    return str(to_text(value, variable.datatype.name) if variable.is_time else value)


def _increasing(variable: VariableFacts) -> Iterator[Problem]:
    values = variable.values
    if values is not None and values.falls is not None:
        message = f"the time of record {values.falls} is before that of an earlier record"
        yield Problem(None, message, "sort the records by time")


def _filled(variable: VariableFacts) -> Iterator[Problem]:
    values = variable.values
    if values is not None and values.fills:
        message = f"{counted(values.fills, 'time')} of {variable.records} are fill values"
        yield Problem(None, message, "leave these records out")


def _monoton(variable: VariableFacts) -> Iterator[Problem]:
    values, said = variable.values, (variable.text("MONOTON") or "").upper()
    if values is None or values.extremes is None or said not in ("INCREASE", "DECREASE"):
        return
    found = monoton(values.rises, values.falls is not None, values.repeats)
    if found != said and (values.rises or values.falls is not None or values.repeats):
        yield Problem("MONOTON", f"MONOTON is {said}, and the values are not", f"set it to {found}")


def _named(variable: VariableFacts) -> Iterator[Problem]:
    if not variable.name.startswith("Epoch"):
        message = "the time variable of the records is not named Epoch or Epoch_..."
        yield Problem(None, message, "rename it")


def _compressed(variable: VariableFacts) -> Iterator[Problem]:
    found = variable.variable.compression
    if found is not None:
        yield Problem(None, f"the times are compressed, {found}", "write them without compression")


def _is_time_axis(variable: VariableFacts) -> bool:
    return variable.is_time and variable.record_vary


def _is_depend_0(variable: VariableFacts) -> bool:
    return _is_time_axis(variable) and variable.name in variable.file.time_axes


VALUE_RULES = (
    Rule("limit-type", ERROR, lambda _variable: True, _types),
    Rule("limit-count", ERROR, lambda v: not v.is_text, _counts),
    Rule("limit-order", ERROR, lambda v: not v.is_text, _orders),
    Rule("limit-range", ERROR, lambda v: not v.is_text, _in_datatype),
    Rule("outside", ERROR, lambda v: v.has("VALIDMIN", "VALIDMAX"), _outside),
    Rule("time-order", ERROR, _is_time_axis, _increasing),
    Rule("time-fill", ERROR, _is_depend_0, _filled),
    Rule("monoton", ERROR, lambda v: v.has("MONOTON") and not v.extents, _monoton),
    Rule("time-name", WARNING, _is_depend_0, _named),
    Rule("time-compressed", WARNING, _is_time_axis, _compressed),
)
