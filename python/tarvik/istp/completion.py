"""Sets the attributes that follow from what is in a file."""

from __future__ import annotations

from collections.abc import Callable
from typing import Any

from tarvik.attributes import Attributes
from tarvik.istp import decisions
from tarvik.istp.facts import FileFacts, VariableFacts
from tarvik.istp.file_rules import source_from_parts

__all__ = ["complete_file"]


def complete_file(file: FileFacts) -> None:
    """Set the missing attributes of a file and its variables; the facts stay those of the file."""
    _set(file.file.attrs, "Logical_file_id", file.stem)
    _set(file.file.attrs, "Logical_source", source_from_parts(file))
    for variable in file.variables.values():
        for name, decide in _DECISIONS:
            if not variable.has(name):
                _set(variable.variable.attrs, name, decide(variable), variable)


def _set(attributes: Attributes, name: str, value: Any, variable: Any = None) -> None:
    """Set an attribute, unless there is one or nothing was decided."""
    if value is None or name in attributes:
        return
    attributes.set(name, value, variable.datatype if name in _OWN else None)


_OWN = ("FILLVAL", "VALIDMIN", "VALIDMAX")


def _extremes(variable: VariableFacts) -> tuple[Any, Any] | None:
    return variable.values.extremes if variable.values is not None else None


def _var_type(variable: VariableFacts) -> str:
    axis = variable.name in variable.file.axes
    return decisions.var_type(variable.datatype, variable.record_vary, axis=axis)


def _depend_0(variable: VariableFacts) -> str | None:
    """The only time variable that has as many records."""
    if not variable.record_vary or variable.is_time or variable.has("DEPEND_TIME"):
        return None
    names = [v.name for v in variable.file.times if v.record_vary and v.records == variable.records]
    return names[0] if len(names) == 1 else None


def _limit(end: int) -> Callable[[VariableFacts], Any]:
    def decide(variable: VariableFacts) -> Any:
        found = decisions.limits(variable.datatype, _extremes(variable))
        return None if found is None or not variable.is_shown else found[end]

    return decide


def _display_type(variable: VariableFacts) -> str | None:
    if not variable.is_data or variable.is_text:
        return None
    axis = variable.other("DEPEND_1")
    numeric = axis is not None and not axis.is_text
    return decisions.display_type(len(variable.extents), numeric_axis=numeric)


def _monoton(variable: VariableFacts) -> str | None:
    values = variable.values if variable.is_time and variable.record_vary else None
    if values is None or values.extremes is None or variable.extents:
        return None
    return decisions.monoton(values.rises, values.falls is not None, values.repeats)


def _format(variable: VariableFacts) -> str | None:
    if variable.has("FORM_PTR"):
        return None
    return decisions.format_of(variable.datatype, variable.elements, _extremes(variable))


def _units(variable: VariableFacts) -> str | None:
    return None if variable.has("UNIT_PTR") else decisions.time_units(variable.datatype)


# In this order: VAR_TYPE and FILLVAL are asked for by what follows.
_DECISIONS: tuple[tuple[str, Callable[[VariableFacts], Any]], ...] = (
    ("FIELDNAM", lambda variable: variable.name),
    ("VAR_TYPE", _var_type),
    ("FILLVAL", lambda variable: decisions.fill_value(variable.datatype)),
    ("DEPEND_0", _depend_0),
    ("DISPLAY_TYPE", _display_type),
    ("VALIDMIN", _limit(0)),
    ("VALIDMAX", _limit(1)),
    ("MONOTON", _monoton),
    ("FORMAT", _format),
    ("UNITS", _units),
)
