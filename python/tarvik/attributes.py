"""The attributes of a file and of its variables, as a mapping."""

from __future__ import annotations

import difflib
from collections.abc import Iterator, MutableMapping
from typing import Any, Protocol

import numpy as np

from tarvik._entries import GLOBAL, VARIABLE, Attribute, Entry
from tarvik._handle import Handle
from tarvik.datatypes import (
    DATATYPES,
    Datatype,
    datatype_named,
    datatype_of,
    text_length,
    to_stored,
)

__all__ = ["OF_VALUES", "Attributes", "check_name", "did_you_mean", "unknown_name"]

# Attributes that hold values of their variable.
OF_VALUES = frozenset({"FILLVAL", "VALIDMIN", "VALIDMAX", "SCALEMIN", "SCALEMAX"})


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
    return KeyError(f"no {what} {name!r} in {path}{did_you_mean(name, known)}")


def did_you_mean(name: Any, known: Any) -> str:
    """The end of a message that gives the names that come closest, if any do."""
    closest = {each.lower(): each for each in known}
    found = difflib.get_close_matches(str(name).lower(), closest, 3, 0.5)
    return f"; did you mean {' or '.join(repr(closest[each]) for each in found)}?" if found else ""


class Owner(Protocol):
    """The variable that attributes belong to."""

    @property
    def name(self) -> str: ...

    @property
    def number(self) -> int: ...

    @property
    def datatype(self) -> str: ...


class Attributes(MutableMapping):
    """The attributes of a file, or of one variable: a mutable mapping from names to values.

    A text is a `str`, one number a NumPy scalar, several numbers an array; times are
    `datetime64[ns]`. A global attribute may have several entries: then it is a list of them, and
    assigning a list makes several. The datatype follows from the value; FILLVAL, VALIDMIN,
    VALIDMAX, SCALEMIN and SCALEMAX of a variable take the variable's. `set` takes a datatype.
    """

    def __init__(self, file: Handle, variable: Owner | None = None) -> None:
        self._file = file
        self._variable = variable

    def __repr__(self) -> str:
        return f"<tarvik.Attributes {dict(self)!r}>"

    def _repr_html_(self) -> str:
        from tarvik._html import of_attributes

        return of_attributes(self)

    def __getitem__(self, name: str) -> Any:
        entries = self._entries(name)
        if not entries:
            attribute = self._file._attributes.get(name)
            raise (attribute and attribute.problem) or self._unknown(name)
        values = [entry.to_user() for entry in entries.values()]
        return values[0] if len(values) == 1 else values

    def get(self, name: str, default: Any = None) -> Any:
        """The value of an attribute, or a default where there is none."""
        # `self[name]` would look for similar names, and read all attributes for that.
        attribute = self._file._attributes.get(name)
        refused = attribute is not None and attribute.refused is not None
        return self[name] if refused or self._entries(name) else default

    def __contains__(self, name: object) -> bool:
        return isinstance(name, str) and self.get(name, self) is not self

    def __iter__(self) -> Iterator[str]:
        attributes = self._file._attributes.items()
        if self._variable is None:
            return iter([name for name, found in attributes if found.of_file])
        number = self._variable.number
        return iter([name for name, found in attributes if number in found.of_variables])

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
        self._set({name: self._made_of(name, value, datatype)})

    def _made_of(self, name: str, value: Any, datatype: Any = None) -> list[Entry]:
        """The entries for a value; nothing is written."""
        several = self._variable is None and isinstance(value, list)
        values = value if several else [value]
        if not values:
            raise ValueError(f"the attribute {name!r} cannot be an empty list")
        try:
            return [self._made(name, item, datatype) for item in values]
        except (TypeError, ValueError, OverflowError) as error:
            raise type(error)(f"the attribute {name!r}: {error}") from None

    def _set(self, made: dict[str, list[Entry]]) -> None:
        """Write entries in place of those that there are."""
        for name, entries in made.items():
            owner = self._variable
            numbered = dict(enumerate(entries)) if owner is None else {owner.number: entries[0]}
            self._put(name, numbered)

    def _put(self, name: str, entries: dict[int, Entry]) -> None:
        self._file._check_writable()
        more = self._entries(name).keys() - entries.keys()
        if more:
            self._file._check_structural("deleting entries")
            self._file._structural = True
        attribute = self._attribute(name)
        for number, entry in entries.items():
            self._file._put_entry(attribute, number, entry)
        for number in more:
            del attribute.of_file[number]

    def update(self, *others: Any, **values: Any) -> None:
        """Set several attributes; those of another `Attributes` are copied exactly.

        All values are looked at before the first one is written.
        """
        if len(others) == 1 and isinstance(others[0], Attributes):
            self._copy(others[0])
            others = ()
        given = dict(*others, **values)
        self._set({name: self._made_of(name, value) for name, value in given.items()})

    def _copy(self, other: Attributes) -> None:
        """Copy entries with their datatypes, those of a file with their numbers."""
        found = {name: other._entries(name) for name in other}
        if self._variable is None and other._variable is None:
            for name, entries in found.items():
                self._put(name, entries)
            return
        for name, entries in found.items():
            if self._variable is not None and len(entries) > 1:
                raise ValueError(
                    f"the attribute {name!r} has {len(entries)} entries, and a variable's has one"
                )
        self._set({name: list(entries.values()) for name, entries in found.items()})

    def _replace(self, values: Any) -> None:
        """Have these attributes and no others."""
        values = values if isinstance(values, Attributes) else dict(values)
        self.update(values)
        for name in [name for name in self if name not in values]:
            del self[name]

    def rename(self, old: str, new: str) -> None:
        """Rename an attribute; of a variable, its entry alone.

        Raises
        ------
        KeyError
            If there is none of the old name.
        ValueError
            If there is one of the new name, or it cannot be a name.
        """
        self._file._check_structural("renaming an attribute")
        entries = self._entries(old)
        if not entries:
            raise self._unknown(old)
        if new in self:
            raise ValueError(f"there is an attribute {new!r} already")
        attribute = self._attribute(new)
        for number, entry in entries.items():
            self._file._put_entry(attribute, number, entry)
        del self[old]

    def __delitem__(self, name: str) -> None:
        """Delete the attribute; of a variable, its entry alone."""
        self._file._check_structural("deleting an attribute")
        if name not in self:
            raise self._unknown(name)
        attribute = self._file._attributes[name]
        if self._variable is None:
            attribute.of_file.clear()
        else:
            del attribute.of_variables[self._variable.number]
        attribute.dropped = not (attribute.of_file or attribute.of_variables)
        self._file._structural = True

    def _unknown(self, name: str) -> KeyError:
        of = "" if self._variable is None else f"the variable {self._variable.name!r} of "
        return unknown_name("attribute", name, self, of + self._file.path)

    def _entries(self, name: str) -> dict[int, Entry]:
        """The entries of the file by number, or the one of the variable."""
        attribute = self._file._attributes.get(name)
        if attribute is None:
            return {}
        if self._variable is None:
            return dict(sorted(attribute.of_file.items()))
        entry = attribute.entry_of(self._variable.number)
        return {} if entry is None else {self._variable.number: entry}

    def _entry(self, name: str) -> Entry | None:
        """The only entry, if it can be read."""
        entry = next(iter(self._entries(name).values()), None)
        return None if entry is None or entry.problem is not None else entry

    def _attribute(self, name: str) -> Attribute:
        """The attribute; it is made if it does not exist."""
        scope = GLOBAL if self._variable is None else VARIABLE
        found = self._file._attributes.get(name)
        if found is not None and found.dropped and found.scope != scope:
            self._file._rebuild()
            found = self._file._attributes.get(name)
        if found is None:
            check_name("attribute", name)
            return self._file._create_attribute(name, scope)
        if found.is_global != (scope == GLOBAL):
            owner = "the file" if found.is_global else "variables"
            raise ValueError(f"{name!r} is an attribute of {owner} here")
        found.dropped = False
        return found

    def _datatype_for(self, name: str) -> str | None:
        """That of the variable for an attribute that holds values of it."""
        owner = self._variable
        return owner.datatype if owner is not None and name in OF_VALUES else None

    def _made(self, name: str, value: Any, datatype: Any) -> Entry:
        given = np.asarray(value)
        datatype = self._datatype_for(name) if datatype is None else datatype
        found = _chosen(value, given) if datatype is None else datatype_named(datatype)
        if found.is_text:
            if given.size != 1:
                raise TypeError("an entry holds one text")
            text = to_stored(given, found, text_length(given)).item()
            return Entry(found, text.decode("utf-8", "surrogateescape"), len(text))
        stored = np.ravel(to_stored(given, found))
        if stored.size == 0:
            raise ValueError("it cannot be empty")
        if found.stored.kind == "c":
            pairs = np.asfortranarray(stored.view("f8").reshape((-1, 2)).T)
            return Entry(found, pairs, stored.size)
        return Entry(found, stored, stored.size)


def _chosen(value: Any, given: np.ndarray) -> Datatype:
    """Integers of Python are stored in 32 bits if they fit: few programs read CDF_INT8."""
    plain = not isinstance(value, (np.ndarray, np.generic))
    if plain and given.dtype == np.int64 and given.size:
        limits = np.iinfo(np.int32)
        if limits.min <= given.min() and given.max() <= limits.max:
            return DATATYPES["CDF_INT4"]
    return datatype_of(given)
