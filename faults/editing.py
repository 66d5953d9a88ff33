"""Edits a file, and finds out what became of the rest of it."""

import random
import shutil

import numpy as np
from reading import Outcome, where
from tarvik import CDFError, CDFProcessError, File

_MOST_BYTES = 8 << 20  # that are compared of a variable
_FACTS = ("datatype", "record_vary", "dim_vary", "shape", "sparse", "compression")
_EXPECTED = (CDFError, OSError, ValueError, KeyError)
_NEW = "made by an edit"


def edit(path, seed):
    """Make one edit of a copy of a file, and compare what was not edited.

    An edit is "refused" if an error says so and the file is what it was, and "lost" if the file is
    not what the edit should have made of it.
    """
    chance = random.Random(f"edit {seed}")
    copy = path.with_name(f"edited_{path.name}")
    shutil.copyfile(path, copy)
    name = chance.choice(list(EDITS))
    before = {}
    try:
        with File(copy, "r+") as file:
            before = _contents(file)
            EDITS[name](file, before, chance)
    except Exception as error:
        if copy.read_bytes() != path.read_bytes():
            return Outcome("lost", [f"{name}: the file changed although it failed: {where(error)}"])
        odd = isinstance(error, UnicodeError) or not isinstance(error, _EXPECTED)
        return Outcome("odd" if odd else "refused", [f"{name}: {where(error)}"])
    try:
        with File(copy) as file:
            after = _contents(file)
    except Exception as error:
        return Outcome("lost", [f"{name}: cannot be opened: {where(error)}"])
    lost = [key for key, value in before.items() if not _holds(after.get(key), value)]
    return Outcome("lost", [f"{name}: other {lost[:3]}"]) if lost else Outcome("edited", [name])


def _holds(found, value):
    """Whether the first values of those found are these."""
    if not isinstance(value, np.ndarray):
        return found == value
    return found is not None and found[: len(value)].tobytes() == value.tobytes()


def _contents(file):
    """What can be read of a file: facts of variables, values, and entries, by their names."""
    found = {}

    def take(key, get):
        try:
            found[key] = get()
        except CDFProcessError:
            raise
        except CDFError:
            pass

    take(("file",), lambda: (file.majority, file.compression, file.checksum))
    _take_entries(take, "", file.attrs)
    for name in file:
        take((name,), lambda name=name: file[name])
        if (name,) in found:
            _take_variable(take, name, found.pop((name,)))
    return found


def _take_variable(take, name, variable):
    for fact in _FACTS:
        take((name, fact), lambda fact=fact: getattr(variable, fact))
    take((name, "values"), lambda: _values(variable))
    _take_entries(take, name, variable.attrs)


def _take_entries(take, name, attributes):
    for title in attributes:
        take((name, "entry", title), lambda title=title: _plain(attributes[title]))


def _plain(entry):
    return repr([np.asarray(part).tolist() for part in (entry if type(entry) is list else [entry])])


def _values(variable):
    if not variable.record_vary:
        return np.atleast_1d(variable.raw[...])
    record = max(1, variable._record_bytes)
    return np.atleast_1d(variable.raw[: _MOST_BYTES // record])


# Each of these edits a file and takes what it changes out of what stays.


def _make_attribute(file, _stays, _chance):
    file.attrs[_NEW] = "text"


def _delete_attribute(file, stays, chance):
    key = _choice(chance, [key for key in stays if key[1:2] == ("entry",)])
    del (file[key[0]] if key[0] else file).attrs[key[2]]
    del stays[key]


def _delete_variable(file, stays, chance):
    name = _choice(chance, [*file])
    del file[name]
    _forget(stays, name)


def _rename_variable(file, stays, chance):
    name = _choice(chance, [*file])
    file.rename(name, _NEW)
    stays.update({(_NEW, *key[1:]): value for key, value in _forget(stays, name).items()})


def _create_compressed(file, _stays, _chance):
    file.create_variable(_NEW, np.arange(3000, dtype="i4").reshape(-1, 3), compression="gzip:6")


def _append(file, stays, chance):
    variable = file[_with_records(stays, chance)]
    variable.append(variable[0])
    stays.pop((variable.name, "shape"), None)


def _overwrite(file, stays, chance):
    variable = file[_with_records(stays, chance)]
    record = chance.randrange(len(variable))
    variable[record] = variable[0]
    _keep(stays, variable.name, record)


def _shrink(file, stays, chance):
    variable = file[_with_records(stays, chance)]
    records = chance.randrange(len(variable))
    variable.resize(records)
    stays.pop((variable.name, "shape"), None)
    _keep(stays, variable.name, records)


def _with_records(stays, chance):
    """The name of a variable that has records."""
    shapes = {key[0]: value for key, value in stays.items() if key[1:] == ("shape",)}
    records = [name for name in shapes if stays.get((name, "record_vary")) and shapes[name][0] > 0]
    return _choice(chance, records)


def _choice(chance, found):
    if not found:
        raise KeyError("the file has nothing to edit")
    return chance.choice(found)


def _keep(stays, name, records):
    if (name, "values") in stays:
        stays[name, "values"] = stays[name, "values"][:records]


def _forget(stays, name):
    return {key: stays.pop(key) for key in [*stays] if key[0] == name}


EDITS = {
    "attribute made": _make_attribute,
    "attribute deleted": _delete_attribute,
    "variable deleted": _delete_variable,
    "records shrunk": _shrink,
    "appended": _append,
    "overwritten": _overwrite,
    "renamed": _rename_variable,
    "compressed variable created": _create_compressed,
}
