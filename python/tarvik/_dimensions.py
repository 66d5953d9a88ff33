"""Names for the dimensions of a file's variables, of the customary attributes DEPEND_n.

DEPEND_0 names the variable that has the time, or another coordinate, of each record. DEPEND_1 and
so on name those that have the coordinate along a dimension; LABL_PTR_1 and so on name its texts.
"""

from __future__ import annotations

from collections import Counter
from collections.abc import Mapping

from tarvik.variable import Variable

__all__ = ["along_dimension", "along_records", "coordinates_of", "dimensions_of", "word"]

_Variables = Mapping[str, Variable]


def word(variable: Variable, attribute: str) -> str:
    """The text of an attribute without blanks around it; "" where there is no such text."""
    entry = variable.attrs._entry(attribute)
    return entry.text.strip() if entry is not None and entry.is_text else ""


def along_records(variables: _Variables, variable: Variable) -> Variable | None:
    """The variable that DEPEND_0 of this one names, when it has one value for each record."""
    found = variables.get(word(variable, "DEPEND_0"))
    if found is None or not (variable.record_vary and found.record_vary):
        return None
    return found if found.shape == variable.shape[:1] else None


def along_dimension(
    variables: _Variables, variable: Variable, number: int, attribute: str = "DEPEND"
) -> Variable | None:
    """The variable that DEPEND_n of this one names, n from 1, when it fits the dimension.

    It has one value for each place of the dimension, either for all records or for each of them.
    """
    found = variables.get(word(variable, f"{attribute}_{number}"))
    if found is None or found._extents != variable._extents[number - 1 : number]:
        return None
    fits = not found.record_vary or (variable.record_vary and found.shape[0] == variable.shape[0])
    return found if fits else None


def dimensions_of(variables: _Variables) -> dict[str, tuple[str, ...]]:
    """Name all dimensions.

    A dimension is named after the variable that is its coordinate. Without one, records are
    "record" where as many as in most variables without one, and a dimension of three is "dim_3".

    Parameters
    ----------
    variables : dict of str to Variable

    Returns
    -------
    dict of str to tuple of str
    """
    axes = {name: _axes(variables, variable) for name, variable in variables.items()}
    named = {axis for found in axes.values() for axis in found if axis}
    # A coordinate is along itself.
    axes.update({name: [name] for name in named})
    _add_labels(variables, axes)
    others = Counter(
        variables[name].shape[0]
        for name, found in axes.items()
        if variables[name].record_vary and not found[0]
    )
    usual = max(others, key=lambda size: (size > 0, others[size], size), default=None)

    result = {}
    for name, found in axes.items():
        dimensions: list[str] = []
        for place, (size, axis) in enumerate(zip(variables[name].shape, found)):
            if not axis:
                of_records = place == 0 and variables[name].record_vary
                axis = _fallback(name, size, usual) if of_records else f"dim_{size}"
                while axis in variables:
                    axis += "_"
            dimensions.append(_new(axis, dimensions))
        result[name] = tuple(dimensions)
    return result


def coordinates_of(variables: _Variables, dimensions: Mapping[str, tuple[str, ...]]) -> set[str]:
    """The names of the variables that others have as coordinates; the dimensions are named."""
    found = {name for named in dimensions.values() for name in named}
    for variable in variables.values():
        for number, _ in enumerate(variable._extents, 1):
            for attribute in ("DEPEND", "LABL_PTR"):
                pointed_at = along_dimension(variables, variable, number, attribute)
                found |= set() if pointed_at is None else {pointed_at.name}
    return found & variables.keys()


def _axes(variables: _Variables, variable: Variable) -> list[str | None]:
    """For each dimension of the shape the name of its coordinate, or None."""
    names = []
    if variable.record_vary:
        records = along_records(variables, variable)
        names.append(None if records is None else records.name)
    return names + [_axis(variables, variable, n + 1) for n in range(len(variable._extents))]


def _axis(variables: _Variables, variable: Variable, number: int) -> str | None:
    """Values that vary by record are no axis, but what they are along themselves is."""
    found = _pointed_at(variables, variable, number)
    if found is not None and found.record_vary:
        found = _pointed_at(variables, found, 1)
    return None if found is None or found.record_vary else found.name


def _add_labels(variables: _Variables, axes: dict[str, list[str | None]]) -> None:
    """Labels that are no axis lie along that of the first variable that points at them."""
    for name, variable in variables.items():
        for number, axis in enumerate(axes[name][variable.record_vary :], 1):
            labels = along_dimension(variables, variable, number, "LABL_PTR")
            if axis and labels is not None and axes[labels.name] == [None]:
                axes[labels.name] = [axis]


def _pointed_at(variables: _Variables, variable: Variable, number: int) -> Variable | None:
    found = along_dimension(variables, variable, number)
    if found is None:
        found = along_dimension(variables, variable, number, "LABL_PTR")
    return found


def _fallback(name: str, size: int, usual: int | None) -> str:
    return "record" if size == usual else f"{name}_record"


def _new(name: str, used: list[str]) -> str:
    """The name, with a number where this variable has a dimension of that name already."""
    candidate, count = name, 1
    while candidate in used:
        count += 1
        candidate = f"{name}_{count}"
    return candidate
