"""What is not the same in two files: what they say, and how they keep it."""

from dataclasses import dataclass

import numpy as np

from tarvik._iso8601 import as_text
from tarvik._sparse import same_bits
from tarvik._text import visible
from tarvik.cli.errors import about
from tarvik.cli.files import check_sizes
from tarvik.cli.progress import progress

_PLACES = 3
_ABSENT = "absent"


@dataclass(frozen=True)
class Difference:
    """Something that is not the same in two files; `first` and `second` are fit for JSON."""

    subject: str
    what: str
    first: object
    second: object

    def text(self):
        """The difference in one line."""
        return visible(f"{self.subject}: {self.what}: {self.first} | {self.second}")


def content_differences(first, second, names=None):
    """Find what two files do not say alike. Values are the same where all their bits are.

    Parameters
    ----------
    first, second : tarvik.File
    names : set of str, optional
        Variables of the first file that are compared, with their entries; by default all.
    """
    for file in (first, second):
        _read_descriptions(file)
    chosen = {name: first[name] for name in first if names is None or name in names}
    yield from _attribute_differences(first, second, chosen)
    yield from _presence("variable", chosen, second)
    shared = [name for name in chosen if name in second]
    total = sum(chosen[name]._record_count * chosen[name]._stored_bytes for name in shared)
    with progress(f"Comparing {visible(first.path)}", total) as advance:
        for name in shared:
            yield from _variable_differences(chosen[name], second[name], advance)


def _read_descriptions(file):
    """Find now what cannot be read, so that the error is about this file."""
    with about(file.path):
        problems = [each.problem for each in file._unreadable.values()]
        problems += [each.problem for each in file._attributes.values() if each.problem]
        for problem in problems:
            raise problem


def storage_differences(first, second):
    """Find what two files keep in different ways, and which are their numbers for it."""
    yield from _unequal("file", _facts(first), _facts(second))
    for name, ours in first.items():
        if name in second:
            yield from _unequal(f"variable {name}", _storage(ours), _storage(second[name]))
    for name, attribute in first._attributes.items():
        if name in second._attributes:
            numbers = [{"number": found.number} for found in (attribute, second._attributes[name])]
            yield from _unequal(f"attribute {name}", *numbers)


def _facts(file):
    return {
        "version": file.version,
        "format": file._ask("getFormat"),
        "majority": file._ask("getMajority"),
        "encoding": file.encoding,
        "compression": _compression(file._ask("getCompression")),
        "checksum": file._ask("getChecksum"),
    }


def _storage(variable):
    return {
        "number": variable.number,
        "sparse": variable._ask("getVarSparseRecords"),
        "written": variable._existing_count,
        "compression": _compression(variable._ask("getVarCompression")),
        "blocking_factor": variable.blocking_factor,
    }


def _description(variable):
    return {
        "datatype": variable._datatype.inquired,
        "elements": variable._elements,
        "dimensions": variable._extents,
        "record_variance": variable.record_vary,
        "dimension_variances": variable.dim_vary,
        "records": variable._record_count,
    }


def _compression(outputs):
    """The library's name, and for gzip the level."""
    kind, parameter, _ = outputs
    return f"{kind} {parameter:.0f}" if isinstance(parameter, float) else kind


def _unequal(subject, first, second):
    for key in first:
        if first[key] != second[key]:
            texts = [_plain(side[key]) for side in (first, second)]
            yield Difference(subject, key.replace("_", " "), *texts)


def _plain(value):
    """A tuple in words."""
    if not isinstance(value, tuple):
        return value
    return " ".join(map(str, value)) or "none"


def _presence(kind, first, second):
    for name in dict.fromkeys([*first, *second]):
        if name in first and name in second:
            continue
        there = ["there" if name in side else _ABSENT for side in (first, second)]
        yield Difference(f"{kind} {name}", "existence", *there)


def _attribute_differences(first, second, chosen):
    yield from _presence("attribute", first._attributes, second._attributes)
    for name, ours in first._attributes.items():
        if name not in second._attributes:
            continue
        others = second._attributes[name]
        subject = f"attribute {name}"
        yield from _unequal(subject, {"scope": ours.scope}, {"scope": others.scope})
        entries = _entries(first, ours, chosen), _entries(second, others)
        for key in dict.fromkeys([*entries[0], *entries[1]]):
            values = [side.get(key) for side in entries]
            if _entry_content(values[0]) != _entry_content(values[1]):
                yield Difference(subject, key, *map(_entry_text, values))


def _entries(file, attribute, chosen=None):
    """The entries by what they are of: a variable's name or a number."""
    names = {found.number: found.name for found in file._listed()}
    kept = {number: name for number, name in names.items() if chosen is None or name in chosen}
    of_file = {f"entry {number}": entry for number, entry in attribute.of_file.items()}
    of_variables = {
        f"entry of {names.get(number, f'variable number {number}')}": entry
        for number, entry in attribute.of_variables.items()
        if number in kept or kept == names
    }
    return {**of_file, **of_variables}


def _entry_content(entry):
    if entry is None:
        return None
    if entry.problem is not None:
        raise entry.problem
    return entry.datatype, entry.stored.tobytes()


def _entry_text(entry):
    if entry is None:
        return _ABSENT
    if entry.is_text:
        value = entry.for_gateway.decode("utf-8", "backslashreplace")
    elif entry.stored.dtype.kind == "c":
        value = ", ".join(map(str, entry.stored.view("f8").tolist()))
    else:
        value = ", ".join(map(str, entry.stored.tolist()))
    return f"{entry.datatype.inquired} {value}"


def _variable_differences(ours, others, advance):
    subject = f"variable {ours.name}"
    described = list(_unequal(subject, _description(ours), _description(others)))
    yield from described
    if {difference.what for difference in described} - {"records"}:
        return
    for variable in (ours, others):
        with about(variable._file.path):
            check_sizes(variable)
    pads = [variable._pad() for variable in (ours, others)]
    if not same_bits(*pads).all():
        yield Difference(subject, "pad value", *(_value_text(ours, pad) for pad in pads))
    yield from _value_differences(ours, others, advance)


def _value_differences(ours, others, advance):
    """The first places where values differ, and how many do."""
    places = []
    count = 0
    subject, first = f"variable {ours.name}", [] if ours.record_vary else [0]
    for runs in ours._stored_blocks(range(min(ours._record_count, others._record_count))):
        values = [_read(variable, runs) for variable in (ours, others)]
        differs = ~same_bits(*values)
        count += np.count_nonzero(differs)
        for index in np.argwhere(differs)[: _PLACES - len(places)].tolist():
            place = first + [run[each] for run, each in zip(runs, index)]
            texts = [_value_text(ours, side[tuple(index)]) for side in values]
            places.append(Difference(subject, f"value at {place}", *texts))
        advance(values[0].nbytes)
    yield from places
    if count > len(places):
        yield Difference(subject, "values", f"{count} differ", "the first are above")


def _read(variable, runs):
    with about(variable._file.path):
        return variable._read(runs)


def _value_text(variable, value):
    """One value as text."""
    if variable._datatype.is_text:
        return np.asarray(value).tobytes().decode("utf-8", "backslashreplace")
    if variable._datatype.is_time:
        return as_text(value, variable._datatype).item()
    return str(value.item())
