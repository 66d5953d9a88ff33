"""Rules for what variables say of each other: axes, labels, deltas, units and formats."""

from __future__ import annotations

import re
from collections.abc import Iterator

from tarvik.istp.facts import VariableFacts
from tarvik.istp.findings import ERROR, WARNING, Problem, Rule

__all__ = ["RELATION_RULES"]

_POINTER = re.compile(
    r"DEPEND_\w+|LABL_PTR_\w+|COMPONENT_\d+|DELTA_(PLUS|MINUS)_VAR|(FORM|UNIT|SCAL)_PTR"
)
_DELTAS = ("DELTA_PLUS_VAR", "DELTA_MINUS_VAR")
_ALONG = re.compile(r"(DEPEND|LABL_PTR)_([1-9]\d*)")


def _pointers(variable: VariableFacts) -> Iterator[Problem]:
    known = {*variable.file.variables, *(each.name for each in variable.file.unreadable)}
    for name in variable.attributes:
        if _POINTER.fullmatch(name) and variable.text(name) not in known:
            entry = variable.entry(name)
            found = None if entry is None else entry.to_user()
            message = f"{name} is {found!r}, and there is no such variable"
            yield Problem(name, message, "name a variable of the file or delete the attribute")


def _along(variable: VariableFacts, kind: str) -> Iterator[tuple[str, int, VariableFacts]]:
    """The attributes of a kind, the size of the dimension and the variable that each names."""
    for name in variable.attributes:
        found = _ALONG.fullmatch(name)
        other = variable.other(name)
        if found and found[1] == kind and other and int(found[2]) <= len(variable.extents):
            yield name, variable.extents[int(found[2]) - 1], other


def _dimensions(variable: VariableFacts) -> Iterator[Problem]:
    for name in variable.attributes:
        found, count = _ALONG.fullmatch(name), len(variable.extents)
        if found and int(found[2]) > count:
            message = f"{name} is for a dimension that records of {count} dimensions do not have"
            yield Problem(name, message, "delete the attribute")


def _axes(variable: VariableFacts) -> Iterator[Problem]:
    for name, size, other in _along(variable, "DEPEND"):
        if other.record_vary and not other.has("DEPEND_0"):
            message = f"{name}, {other.name}, varies by record and has no DEPEND_0"
            remedy = f"set DEPEND_0 of {other.name}, or write it once for all records"
            yield Problem(name, message, remedy)
        elif not other.record_vary and other.has("DEPEND_0"):
            message = f"{name}, {other.name}, has a DEPEND_0 and does not vary by record"
            yield Problem(name, message, f"delete DEPEND_0 of {other.name}")
        elif size not in other.extents:
            yield _sizes(name, size, other)


def _labels(variable: VariableFacts) -> Iterator[Problem]:
    for name, size, other in _along(variable, "LABL_PTR"):
        if not other.is_text:
            message = f"{name}, {other.name}, is {other.datatype.name}"
            yield Problem(name, message, "name a variable of text")
        elif size not in other.extents:
            yield _sizes(name, size, other)


def _sizes(name: str, size: int, other: VariableFacts) -> Problem:
    shape = " x ".join(map(str, other.extents)) or "one value"
    message = f"{name}, {other.name}, has {shape} where the dimension has {size}"
    return Problem(name, message, "name a variable of the dimension's size")


def _records(variable: VariableFacts) -> Iterator[Problem]:
    other = variable.other("DEPEND_0")
    if other is None or other.is_virtual or variable.is_virtual:
        return
    if not other.record_vary:
        message = f"DEPEND_0, {other.name}, does not vary by record"
        yield Problem("DEPEND_0", message, "name the time variable of the records")
    elif variable.records != other.records:
        message = f"there are {variable.records} records, and {other.records} of {other.name}"
        yield Problem("DEPEND_0", message, "write as many, with FILLVAL where there are no values")


def _depend_0(variable: VariableFacts) -> Iterator[Problem]:
    other = variable.other("DEPEND_0")
    if other is not None and not other.is_time:
        message = f"DEPEND_0, {other.name}, is {other.datatype.name}, which is no time"
        yield Problem("DEPEND_0", message, "name a time variable")


def _constant_depend_0(variable: VariableFacts) -> Iterator[Problem]:
    message = f"DEPEND_0 is {variable.text('DEPEND_0')!r}, and the records do not vary"
    yield Problem("DEPEND_0", message, "delete the attribute")


def _deltas(variable: VariableFacts) -> Iterator[Problem]:
    for name in _DELTAS:
        other = variable.other(name)
        if other is None:
            continue
        for what, mine, its in (
            ("datatype", variable.datatype.stored, other.datatype.stored),
            ("unit", variable.text("UNITS"), other.text("UNITS")),
            ("shape of records", variable.extents, other.extents),
        ):
            if mine != its:
                message = f"{name}, {other.name}, has the {what} {its}, and not {mine}"
                yield Problem(name, message, f"give both the same {what}")
        if other.record_vary and variable.record_vary and other.records != variable.records:
            message = f"{name}, {other.name}, has {other.records} records, not {variable.records}"
            yield Problem(name, message, "write as many, or one for all records")


def _every(_variable: VariableFacts) -> bool:
    return True


RELATION_RULES = (
    Rule("pointer", ERROR, _every, _pointers),
    Rule("dimension", ERROR, _every, _dimensions),
    Rule("axis", ERROR, _every, _axes),
    Rule("label", ERROR, _every, _labels),
    Rule("records", ERROR, lambda v: v.record_vary, _records),
    Rule("depend-0", WARNING, lambda v: v.record_vary, _depend_0),
    Rule(
        "depend-0",
        WARNING,
        lambda v: not v.record_vary and v.has("DEPEND_0"),
        _constant_depend_0,
    ),
    Rule("delta", ERROR, _every, _deltas),
)
