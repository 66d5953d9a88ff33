"""What is not the same in two files: what they say, and how they keep it."""

from contextlib import ExitStack, contextmanager
from dataclasses import dataclass, fields, replace

import numpy as np

from tarvik.cli import blocks, model, times
from tarvik.cli.errors import about
from tarvik.cli.files import opened
from tarvik.cli.progress import progress
from tarvik.cli.text import visible

_PLACES = 3
_ABSENT = "absent"
_CONTENT = (
    "datatype",
    "elements",
    "dimensions",
    "record_variance",
    "dimension_variances",
    "records",
)
_STORAGE = ("number", "sparse", "written", "compression", "blocking_factor")


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


@dataclass(frozen=True)
class Side:
    """One of the two files: open, and described. Variables and attributes are there by name."""

    path: str
    file: object
    facts: model.Facts
    variables: dict
    attributes: dict

    def entries(self, attribute):
        """The entries of an attribute by what they are of: a variable's name or a number."""
        if attribute not in self.attributes:
            return {}
        names = {variable.number: name for name, variable in self.variables.items()}
        return {_entry_name(entry, names): entry for entry in self.attributes[attribute].entries}

    def limited_to(self, names):
        """The same without the variables of other names, and without the entries of those."""
        if names == self.variables.keys():
            return self
        variables = {name: self.variables[name] for name in names}
        numbers = {variable.number for variable in variables.values()}
        attributes = {
            name: replace(attribute, entries=attribute.entries_among(numbers))
            for name, attribute in self.attributes.items()
        }
        return replace(self, variables=variables, attributes=attributes)

    def read(self, variable, records):
        with about(self.path):
            return blocks.read(self.file, variable, records)


@contextmanager
def two_sides(*paths):
    """Open two files to be compared."""
    with ExitStack() as stack:
        yield [_side(path, stack.enter_context(opened(path))) for path in paths]


def _side(path, file):
    with about(path):
        variables, attributes = model.read_variables(file), model.read_attributes(file)
        return Side(path, file, model.read_facts(file), _by_name(variables), _by_name(attributes))


def _by_name(items):
    return {item.name: item for item in items}


def _entry_name(entry, names):
    if not entry.of_variable:
        return f"entry {entry.number}"
    return f"entry of {names.get(entry.number, f'variable number {entry.number}')}"


def content_differences(first, second):
    """Find what two files do not say alike. Values are the same where all their bits are."""
    yield from _attribute_differences(first, second)
    yield from _presence("variable", first.variables, second.variables)
    shared = [name for name in first.variables if name in second.variables]
    sizes = (first.variables[name].records * first.variables[name].record_bytes for name in shared)
    with progress(f"Comparing {visible(first.path)}", sum(sizes)) as advance:
        for name in shared:
            yield from _variable_differences(first, second, name, advance)


def storage_differences(first, second):
    """Find what two files keep in different ways, and which are their numbers for it."""
    keys = [field.name for field in fields(model.Facts)]
    yield from _unequal("file", keys, first.facts, second.facts)
    for kind, keys in (("variable", _STORAGE), ("attribute", ("number",))):
        ours, others = getattr(first, f"{kind}s"), getattr(second, f"{kind}s")
        for name in ours:
            if name in others:
                yield from _unequal(f"{kind} {name}", keys, ours[name], others[name])


def _unequal(subject, keys, first, second):
    for key in keys:
        values = [getattr(side, key) for side in (first, second)]
        if values[0] != values[1]:
            yield Difference(subject, key.replace("_", " "), *map(_plain, values))


def _plain(value):
    """A tuple, of a compression for example, in words."""
    if not isinstance(value, tuple):
        return value
    return " ".join(str(item) for item in value if item is not None) or "none"


def _presence(kind, first, second):
    for name in dict.fromkeys([*first, *second]):
        if name in first and name in second:
            continue
        there = ["there" if name in side else _ABSENT for side in (first, second)]
        yield Difference(f"{kind} {name}", "existence", *there)


def _attribute_differences(first, second):
    yield from _presence("attribute", first.attributes, second.attributes)
    for name in first.attributes:
        if name not in second.attributes:
            continue
        subject = f"attribute {name}"
        yield from _unequal(subject, ["scope"], first.attributes[name], second.attributes[name])
        ours, others = first.entries(name), second.entries(name)
        for key in dict.fromkeys([*ours, *others]):
            values = [_entry_content(entries.get(key)) for entries in (ours, others)]
            if values[0] != values[1]:
                texts = [_entry_text(entries.get(key)) for entries in (ours, others)]
                yield Difference(subject, key, *texts)


def _entry_content(entry):
    return entry and (entry.datatype, entry.bits)


def _entry_text(entry):
    if entry is None:
        return _ABSENT
    if isinstance(entry.value, bytes):
        value = entry.value.decode("utf-8", "backslashreplace")
    else:
        value = ", ".join(map(str, np.ravel(entry.value, order="F").tolist()))
    return f"{entry.datatype} {value}"


def _variable_differences(first, second, name, advance):
    ours, others = first.variables[name], second.variables[name]
    subject = f"variable {name}"
    described = list(_unequal(subject, _CONTENT, ours, others))
    yield from described
    if {"datatype", "elements", "dimensions"} & {difference.what for difference in described}:
        return
    if ours.pad.tobytes() != others.pad.tobytes():
        yield Difference(subject, "pad value", *(_value_text(v, v.pad) for v in (ours, others)))
    yield from _value_differences(first, second, name, advance)


def _value_differences(first, second, name, advance):
    """The first places where values differ, and how many do."""
    ours, others = first.variables[name], second.variables[name]
    places = []
    count = 0
    for records in blocks.blocks(range(min(ours.records, others.records)), ours.record_bytes):
        values = first.read(ours, records), second.read(others, records)
        differs = blocks.bits(values[0]) != blocks.bits(values[1])
        if ours.item:
            differs = differs.any(axis=-1)
        count += np.count_nonzero(differs)
        for index in np.argwhere(differs)[: _PLACES - len(places)].tolist():
            place = [records.start + index[0], *index[1:]]
            texts = [_value_text(ours, side[tuple(index)]) for side in values]
            places.append(Difference(f"variable {name}", f"value at {place}", *texts))
        advance(values[0].nbytes)
    yield from places
    if count > len(places):
        yield Difference(f"variable {name}", "values", f"{count} differ", "the first are above")


def _value_text(variable, value):
    """One value as text."""
    if variable.datatype in model.TEXTS:
        return value.tobytes().decode("utf-8", "backslashreplace")
    pair = (2, 1) if variable.item else (1,)
    texts = times.as_text(variable.datatype, np.reshape(value, pair))
    return str(value.item() if value.size == 1 else value.tolist()) if texts is None else texts[0]
