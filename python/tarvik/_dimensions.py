"""The variables along a variable's dimensions, which the customary attributes DEPEND_n name.

DEPEND_0 names the variable that has the time, or another coordinate, of each record. DEPEND_1 and
so on name those that have the coordinate along a dimension; LABL_PTR_1 and so on name its texts.
"""

from __future__ import annotations

from collections.abc import Mapping
from typing import Any

from tarvik.variable import Variable

__all__ = ["along_dimension", "along_records", "fits_records", "same_records", "word"]

_Variables = Mapping[str, Variable]


def word(variable: Variable, attribute: str) -> str:
    """The text of an attribute without blanks around it; "" where there is no such text."""
    entry = variable.attrs._entry(attribute)
    return entry.text.strip() if entry is not None and entry.is_text else ""


def along_records(variables: _Variables, variable: Variable) -> Variable | None:
    """The variable that DEPEND_0 of this one names, when it has one value for each record."""
    found = variables.get(word(variable, "DEPEND_0"))
    return found if found is not None and fits_records(found, variable) else None


def along_dimension(
    variables: _Variables, variable: Variable, number: int, attribute: str = "DEPEND"
) -> Variable | None:
    """The variable that DEPEND_n of this one names, n from 1, when it fits the dimension.

    It has one value for each place of the dimension, either for all records or for each of them.
    """
    found = variables.get(word(variable, f"{attribute}_{number}"))
    if found is None or found._extents != variable._extents[number - 1 : number]:
        return None
    return found if same_records(found, variable) else None


def fits_records(found: Any, variable: Any) -> bool:
    """Whether one variable has one value for each record of another."""
    both_vary = variable.record_vary and found.record_vary
    return both_vary and found.shape == variable.shape[:1]


def same_records(found: Any, variable: Any) -> bool:
    """Whether a variable is the same for all records, or has as many as another."""
    if not found.record_vary:
        return True
    return variable.record_vary and found.shape[0] == variable.shape[0]
