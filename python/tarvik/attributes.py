"""The attributes of a file and of its variables, as a mapping."""

from __future__ import annotations

import difflib
from collections.abc import Iterator, MutableMapping
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any

import numpy as np

from tarvik.datatypes import (
    DATATYPES,
    Datatype,
    datatype_named,
    datatype_of,
    text_length,
    to_stored,
    to_user,
)

if TYPE_CHECKING:
    from tarvik._contents import Contents
    from tarvik.variable import Variable

__all__ = ["Attributes", "Entry", "Store", "check_name", "unknown_name"]

# Attributes that hold values of their variable.
_OF_VALUES = frozenset({"FILLVAL", "VALIDMIN", "VALIDMAX", "SCALEMIN", "SCALEMAX"})


@dataclass(frozen=True)
class Entry:
    """One entry: its datatype, and its value as the gateway gives it."""

    datatype: Datatype
    value: Any

    def to_user(self) -> Any:
        """The value as users see it: one item alone, several as an array."""
        if isinstance(self.value, str):
            text = self.value.encode("utf-8", "surrogateescape")
            return str(to_user(np.array([text or b" "]), DATATYPES["CDF_CHAR"])[0])
        items = np.ravel(np.asarray(self.value), order="F")
        if self.datatype.stored.kind == "c":
            items = items.view("c16")
        values = to_user(items, self.datatype)
        return values[0] if values.size == 1 else values


class Store:
    """All attributes of a file, read at once when one is first asked for.

    Attributes
    ----------
    numbers, scopes : dict of str to int
        The library's number and scope of each attribute, in the file's order.
    of_file : dict of str to dict of int to Entry
        Global entries by attribute and number.
    of_variables : dict of int to dict of str to Entry
        Entries by variable and attribute.
    dropped : set of str
        Attributes whose entries were all deleted; they are left out when the file is made anew.
    """

    def __init__(self, file: Contents) -> None:
        self.numbers: dict[str, int] = {}
        self.scopes: dict[str, int] = {}
        self.of_file: dict[str, dict[int, Entry]] = {}
        self.of_variables: dict[int, dict[str, Entry]] = {}
        self.dropped: set[str] = set()
        call, count = file._call, int(file._call("inquire", file.id)[4])
        variables = [variable.number for variable in file.values()]
        for number in range(count):
            name, scope, last, last_of_variable = call("inquireAttr", file.id, number)
            self.numbers[name] = number
            if scope == "GLOBAL_SCOPE":
                self.scopes[name] = 1
                found = call("getNumAttrgEntries", file.id, number)
                entries = _entries(file, "g", number, range(int(last) + 1), int(found))
                self.of_file[name] = dict(entries)
            else:
                self.scopes[name] = 2
                found = call("getNumAttrEntries", file.id, number)
                numbers = [v for v in variables if v <= last_of_variable]
                for owner, entry in _entries(file, "", number, numbers, int(found)):
                    self.of_variables.setdefault(owner, {})[name] = entry


def _entries(
    file: Contents, kind: str, attribute: int, numbers: Any, count: int
) -> Iterator[tuple[int, Entry]]:
    """The entries with these numbers; there are so many at most."""
    for number in numbers:
        if count == 0:
            return
        place = (file.id, attribute, number)
        try:
            datatype, _ = file._call(f"inquireAttr{kind}Entry", *place)
        except KeyError:  # there need not be one of each number
            continue
        count -= 1
        yield number, Entry(datatype_named(datatype), file._call(f"getAttr{kind}Entry", *place))


def check_name(what: str, name: Any) -> None:
    """Check the name of something new.

    The library cuts longer names and makes the variable or attribute all the same.

    Raises
    ------
    TypeError, ValueError
        For what is no text, is empty or longer than 255, or not printable ASCII.
    """
    if not isinstance(name, str):
        raise TypeError(f"the {what} name {name!r} is no str")
    if not (1 <= len(name) <= 255 and name.isascii() and name.isprintable()):
        raise ValueError(
            f"the {what} name {name!r} cannot be used: names have 1 to 255 printable ASCII "
            "characters"
        )


def unknown_name(what: str, name: Any, known: Any, path: str) -> KeyError:
    """Make the error for a name that does not exist, with those that come closest."""
    closest = {each.lower(): each for each in known}
    found = difflib.get_close_matches(str(name).lower(), closest, 3, 0.5)
    hint = f"; did you mean {' or '.join(repr(closest[each]) for each in found)}?" if found else ""
    return KeyError(f"no {what} {name!r} in {path}{hint}")


class Attributes(MutableMapping):
    """The attributes of a file, or of one variable: a mutable mapping from names to values.

    A text is a `str`, one number a NumPy scalar, several numbers an array; times are
    `datetime64[ns]`. A global attribute may have several entries: then it is a list of them, and
    assigning a list makes several. The datatype follows from the value; FILLVAL, VALIDMIN,
    VALIDMAX, SCALEMIN and SCALEMAX of a variable take the variable's. `set` takes a datatype.
    """

    def __init__(self, file: Contents, variable: Variable | None = None) -> None:
        self._file = file
        self._variable = variable

    def __repr__(self) -> str:
        return f"<tarvik.Attributes {dict(self)!r}>"

    def __getitem__(self, name: str) -> Any:
        store = self._file._store
        if self._variable is not None:
            entry = self._entry(name)
            if entry is None:
                raise self._unknown(name)
            return entry.to_user()
        entries = [entry.to_user() for _, entry in sorted(store.of_file.get(name, {}).items())]
        if not entries:
            raise self._unknown(name)
        return entries[0] if len(entries) == 1 else entries

    def __iter__(self) -> Iterator[str]:
        store = self._file._store
        if self._variable is None:
            return iter([name for name in store.numbers if store.of_file.get(name)])
        own = store.of_variables.get(self._variable.number, {})
        return iter([name for name in store.numbers if name in own])

    def __len__(self) -> int:
        return sum(1 for _ in self)

    def __setitem__(self, name: str, value: Any) -> None:
        self.set(name, value)

    def set(self, name: str, value: Any, datatype: Any = None) -> None:
        """Set an attribute.

        Parameters
        ----------
        name : str
        value : str, number, time, array_like, or for a file a list of several entries
        datatype : str or int, optional
            "CDF_REAL4", for example; chosen from the value if it is left out.

        Raises
        ------
        TypeError, ValueError, OverflowError
            If the value cannot be stored.
        """
        self._file._check_writable()
        several = self._variable is None and isinstance(value, list)
        entries = [self._made(name, item, datatype) for item in (value if several else [value])]
        if not entries:
            raise ValueError(f"the attribute {name!r} cannot be an empty list")
        present = self._file._store.of_file.get(name, {}) if self._variable is None else {}
        fewer = any(place >= len(entries) for place in present)
        if fewer:
            self._file._check_structural("deleting entries")
        number = self._number(name)
        if self._variable is not None:
            self._file._put_entry(number, self._variable.number, entries[0])
            own = self._file._store.of_variables.setdefault(self._variable.number, {})
            own[name] = entries[0]
            return
        for place, entry in enumerate(entries):
            self._file._put_entry(number, place, entry)
        self._file._structural |= fewer
        self._file._store.of_file[name] = dict(enumerate(entries))

    def __delitem__(self, name: str) -> None:
        """Delete the attribute; of a variable, its entry alone."""
        self._file._check_structural("deleting an attribute")
        if name not in self:
            raise self._unknown(name)
        store = self._file._store
        if self._variable is None:
            del store.of_file[name]
        else:
            del store.of_variables[self._variable.number][name]
        if name not in store.of_file and not any(name in v for v in store.of_variables.values()):
            store.dropped.add(name)
        self._file._structural = True

    def _unknown(self, name: str) -> KeyError:
        what = "attribute" if self._variable is None else f"attribute of {self._variable.name!r}"
        return unknown_name(what, name, self, self._file.path)

    def _entry(self, name: str) -> Entry | None:
        """The variable's entry."""
        assert self._variable is not None
        return self._file._store.of_variables.get(self._variable.number, {}).get(name)

    def _number(self, name: str) -> int:
        """The attribute's number; it is made if it does not exist."""
        scope = 1 if self._variable is None else 2
        store = self._file._store
        if name in store.dropped and store.scopes[name] != scope:
            self._file._rebuild()
            store = self._file._store
        store.dropped.discard(name)
        if name not in store.numbers:
            check_name("attribute", name)
            number = int(self._file._call("createAttr", self._file.id, name, scope))
            store.numbers[name], store.scopes[name] = number, scope
        if store.scopes[name] != scope:
            kinds = {1: "the file", 2: "variables"}
            raise ValueError(f"{name!r} is an attribute of {kinds[store.scopes[name]]} here")
        return store.numbers[name]

    def _made(self, name: str, value: Any, datatype: Any) -> Entry:
        given = np.asarray(value)
        if datatype is None and self._variable is not None and name in _OF_VALUES:
            datatype = self._variable.datatype
        found = _chosen(value, given) if datatype is None else datatype_named(datatype)
        if found.is_text:
            if given.size != 1:
                raise TypeError(f"the attribute {name!r}: an entry holds one text")
            text = to_stored(given, found, text_length(given)).item()
            return Entry(found, text.decode("utf-8", "surrogateescape"))
        stored = np.ravel(to_stored(given, found))
        if stored.size == 0:
            raise ValueError(f"the attribute {name!r} cannot be empty")
        if found.stored.kind == "c":
            return Entry(found, np.asfortranarray(stored.view("f8").reshape((-1, 2)).T))
        return Entry(found, stored)


def _chosen(value: Any, given: np.ndarray) -> Datatype:
    """Integers of Python are stored in 32 bits if they fit: few programs read CDF_INT8."""
    plain = not isinstance(value, (np.ndarray, np.generic))
    if plain and given.dtype == np.int64 and given.size:
        limits = np.iinfo(np.int32)
        if limits.min <= given.min() and given.max() <= limits.max:
            return DATATYPES["CDF_INT4"]
    return datatype_of(given)
