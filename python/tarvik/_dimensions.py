"""Names for the dimensions of a file's variables, of the customary attributes DEPEND_n.

DEPEND_0 names the variable that has the time, or another coordinate, of each record. DEPEND_1 and
so on name those that have the coordinate along a dimension; LABL_PTR_1 and so on name its texts.
"""

from collections import Counter

__all__ = ["along_dimension", "along_records", "coordinates_of", "dimensions_of"]


def along_records(variables, variable):
    """The variable that DEPEND_0 of this one names, when it has one value for each record."""
    found = variables.get(variable.word("DEPEND_0"))
    fits = variable.varies and found is not None and found.varies
    return found if fits and found.shape == variable.shape[:1] else None


def along_dimension(variables, variable, number, attribute="DEPEND"):
    """The variable that DEPEND_n of this one names, n from 1, when it fits the dimension.

    It has one value for each place of the dimension, either for all records or for each of them.
    """
    found = variables.get(variable.word(f"{attribute}_{number}"))
    if found is None or found.extents != variable.extents[number - 1 : number]:
        return None
    fits = not found.varies or (variable.varies and found.shape[0] == variable.shape[0])
    return found if fits else None


def dimensions_of(variables):
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
        if variables[name].varies and not found[0]
    )
    usual = max(others, key=lambda size: (size > 0, others[size], size), default=None)

    result = {}
    for name, found in axes.items():
        dimensions = []
        for place, (size, axis) in enumerate(zip(variables[name].shape, found)):
            if not axis:
                of_records = place == 0 and variables[name].varies
                axis = _fallback(name, size, usual) if of_records else f"dim_{size}"
                while axis in variables:
                    axis += "_"
            dimensions.append(_new(axis, dimensions))
        result[name] = tuple(dimensions)
    return result


def coordinates_of(variables):
    """The names of the variables that others have as coordinates."""
    found = {name for dimensions in dimensions_of(variables).values() for name in dimensions}
    for variable in variables.values():
        for number, _ in enumerate(variable.extents, 1):
            for attribute in ("DEPEND", "LABL_PTR"):
                pointed_at = along_dimension(variables, variable, number, attribute)
                found |= {pointed_at.name} if pointed_at else set()
    return found & variables.keys()


def _axes(variables, variable):
    """For each dimension of the shape the name of its coordinate, or None."""
    names = []
    if variable.varies:
        records = along_records(variables, variable)
        names.append(records.name if records else None)
    return names + [_axis(variables, variable, n + 1) for n in range(len(variable.extents))]


def _axis(variables, variable, number):
    """Values that vary by record are no axis, but what they are along themselves is."""
    found = _pointed_at(variables, variable, number)
    if found is not None and found.varies:
        found = _pointed_at(variables, found, 1)
    return None if found is None or found.varies else found.name


def _add_labels(variables, axes):
    """Labels that are no axis lie along that of the first variable that points at them."""
    for name, variable in variables.items():
        for number, axis in enumerate(axes[name][variable.varies :], 1):
            labels = along_dimension(variables, variable, number, "LABL_PTR")
            if axis and labels is not None and axes[labels.name] == [None]:
                axes[labels.name] = [axis]


def _pointed_at(variables, variable, number):
    found = along_dimension(variables, variable, number)
    return found or along_dimension(variables, variable, number, "LABL_PTR")


def _fallback(name, size, usual):
    return "record" if size == usual else f"{name}_record"


def _new(name, used):
    """The name, with a number where this variable has a dimension of that name already."""
    candidate, count = name, 1
    while candidate in used:
        count += 1
        candidate = f"{name}_{count}"
    return candidate
