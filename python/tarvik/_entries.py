"""The entries of attributes as they are in the file."""

from __future__ import annotations

from collections.abc import Sequence
from contextlib import suppress
from functools import cached_property
from itertools import chain
from typing import Any, Callable, NamedTuple

import numpy as np

from tarvik._errors import CDFError, CDFProcessError
from tarvik._order import as_array
from tarvik.datatypes import DATATYPES, Datatype, datatype_named, decode_text, to_user

__all__ = ["GLOBAL", "VARIABLE", "Attribute", "Entry", "read_attributes"]

_Call = Callable[..., Any]
_Identifier = Callable[[], Any]
_Usual = dict[tuple[int, int], list[int]]

GLOBAL, VARIABLE = "GLOBAL_SCOPE", "VARIABLE_SCOPE"
_TEXT = DATATYPES["CDF_CHAR"]
_MOST_TRIED = 10_000
# What inquires and reads entries.
_OF_FILE = "inquireAttrgEntry", "getAttrgEntry"
_OF_VARIABLES = "inquireAttrEntry", "getAttrEntry"


class Entry(NamedTuple):
    """One entry.

    Attributes
    ----------
    datatype : Datatype
        Text where it could not be read.
    value
        As the gateway gives it.
    elements : int
        The file's count of characters or numbers. The gateway's text ends before the first NUL, so
        it may have fewer.
    problem : CDFError or None
        Why the value could not be read.
    """

    datatype: Datatype
    value: Any
    elements: int
    problem: CDFError | None = None

    @property
    def is_text(self) -> bool:
        return isinstance(self.value, str)

    @property
    def is_cut(self) -> bool:
        """Whether there may be more text behind a NUL, which the library does not give."""
        return (
            self.is_text and len(self.value.encode("utf-8", "surrogateescape")) + 1 < self.elements
        )

    @property
    def text(self) -> str:
        """A text with the blanks at its end."""
        text = self.value
        return text if text.isascii() else decode_text(text.encode("utf-8", "surrogateescape"))

    @property
    def stored(self) -> np.ndarray:
        """What is in the file: numbers in one dimension, or one text."""
        if self.is_text:
            text = as_array(self.value).tobytes()
            return np.array([text], f"S{max(1, self.elements)}")
        items = np.ravel(np.asarray(self.value), order="F")
        return items.view("c16") if self.datatype.stored.kind == "c" else items

    @property
    def for_gateway(self) -> Any:
        """The value as an input of an operation, as long as it is in the file."""
        return self.stored.tobytes() if self.is_text else self.value

    def to_user(self) -> Any:
        """The value as users see it: one item alone, several as an array."""
        if self.problem is not None:
            raise self.problem
        if self.is_text:
            return self.text.rstrip(" ")
        values = to_user(self.stored, self.datatype)
        return values[0] if values.size == 1 else values


class Attribute:
    """An attribute with its entries: those of the file by number, the others by variable.

    The entries are read when they are first asked for.

    Parameters
    ----------
    number : int
    name : str
    scope : str
        `GLOBAL` or `VARIABLE`; old files have others, which say that it was guessed.
    stored : Stored, optional
        The entries in the file; without it there are none.
    refused : CDFError, optional
        Why it could not be read.

    Attributes
    ----------
    dropped : bool
        Whether all entries were deleted: it is left out when the file is made anew.
    refused : CDFError or None
        As above.
    """

    def __init__(
        self,
        number: int,
        name: str,
        scope: str,
        stored: Stored | None = None,
        refused: CDFError | None = None,
    ) -> None:
        self.number, self.name, self.scope = number, name, scope
        self.dropped = False
        self._stored, self.refused = stored, refused
        self._alone: dict[int, Entry | None] = {}  # those that were read without the others

    @cached_property
    def _found(self) -> tuple[dict[int, Entry], dict[int, Entry], CDFError | None]:
        of_file: dict[int, Entry] = {}
        of_variables: dict[int, Entry] = {}
        problem = self.refused
        try:
            if self._stored is not None:
                self._stored.read(of_file, of_variables)
        except CDFProcessError:
            raise
        except CDFError as error:
            problem = error
        return of_file, of_variables, problem

    @property
    def of_file(self) -> dict[int, Entry]:
        """The entries of the file by number."""
        return self._found[0]

    @property
    def of_variables(self) -> dict[int, Entry]:
        """The entries of variables by the variable's number."""
        return self._found[1]

    @property
    def problem(self) -> CDFError | None:
        """Why it could not be read, or not all of it."""
        return self._found[2]

    @property
    def is_cut(self) -> bool:
        """Whether the library does not give all of a text."""
        return any(e.is_cut for e in (*self.of_file.values(), *self.of_variables.values()))

    @property
    def is_global(self) -> bool:
        return self.scope.startswith("GLOBAL")

    def entry_of(self, variable: int) -> Entry | None:
        """The entry of a variable, without reading those of others; None if there is none."""
        if self._stored is None or "_found" in vars(self):
            return self.of_variables.get(variable)
        if variable not in self._alone:
            self._alone[variable] = self._stored.entry_of(variable)
        return self._alone[variable]


class Stored:
    """The entries of one attribute in a file.

    Parameters
    ----------
    call : callable
        What calls an operation.
    identifier : callable
        Gives the file's identifier.
    numbers : tuple of int
        The attribute's, and those of the last entries of the file and of variables; -1 for none.
    usual : dict
        Numbers of variables that have entries of other attributes, by the last one and how many
        there are.
    """

    def __init__(
        self, call: _Call, identifier: _Identifier, numbers: tuple[int, int, int], usual: _Usual
    ) -> None:
        self._call, self._identifier, self._usual = call, identifier, usual
        self._number, self._last, self._last_of_variable = numbers

    def read(self, of_file: dict[int, Entry], of_variables: dict[int, Entry]) -> None:
        """Read all entries; those that come before one that cannot be found stay."""
        call, place = self._call, (self._identifier(), self._number)
        if self._last >= 0:
            count = int(call("getNumAttrgEntries", *place))
            of_file.update(_read_entries(call, place, _OF_FILE, self._last, count))
        last = self._last_of_variable
        if last >= 0:
            count = int(call("getNumAttrEntries", *place))
            first = self._usual.get((last, count), [])
            of_variables.update(_read_entries(call, place, _OF_VARIABLES, last, count, first))
            self._usual[last, count] = list(of_variables)

    def entry_of(self, variable: int) -> Entry | None:
        if variable > self._last_of_variable:
            return None
        place = self._identifier(), self._number, variable
        try:
            return _read_entry(self._call, place, _OF_VARIABLES)
        except KeyError:
            return None


def read_attributes(call: _Call, identifier: _Identifier) -> dict[str, Attribute]:
    """Find all attributes of a file, in the file's order.

    Parameters
    ----------
    call : callable
        What calls an operation.
    identifier : callable
        Gives the file's identifier, also later, when entries are read.
    """
    usual: _Usual = {}
    found = [
        _inquired(call, identifier, number, usual)
        for number in range(int(call("inquire", identifier())[4]))
    ]
    return {attribute.name: attribute for attribute in found}


def _inquired(call: _Call, identifier: _Identifier, number: int, usual: _Usual) -> Attribute:
    file = identifier()
    try:
        name, scope, last, last_of_variable = call("inquireAttr", file, number)
    except CDFProcessError:
        raise
    except CDFError as error:
        return Attribute(number, call("getAttrName", file, number), VARIABLE, refused=error)
    stored = Stored(call, identifier, (number, int(last), int(last_of_variable)), usual)
    return Attribute(number, name, scope, stored)


def _read_entries(
    call: _Call,
    attribute: tuple[Any, int],
    operations: tuple[str, str],
    last: int,
    count: int,
    first: Sequence[int] = (),
) -> dict[int, Entry]:
    """The entries up to the last number, of which there are so many.

    It takes long to find that there is none of a number, and the last one may be 2147483646. So
    numbers that another attribute has are tried first, then some from both ends.

    Raises
    ------
    CDFError
        If there are more that were not found.
    """
    found: dict[int, Entry] = {}
    ends = [
        range(min(last, _MOST_TRIED)),
        range(last - 1, max(_MOST_TRIED, last - _MOST_TRIED), -1),
    ]
    for number in chain(first, [last], *ends):
        if len(found) == count:
            break
        if number not in found:
            with suppress(KeyError):  # there need not be one of each number
                found[number] = _read_entry(call, (*attribute, number), operations)
    if len(found) < count and last > 2 * _MOST_TRIED:
        missing = count - len(found)
        raise CDFError(
            "VORLAN:entriesNotFound",
            f"{missing} entries have numbers too far from 0 and from the last, {last}, to be found",
        )
    return dict(sorted(found.items()))


def _read_entry(call: _Call, place: tuple[Any, int, int], operations: tuple[str, str]) -> Entry:
    inquire, get = operations
    datatype, elements = _TEXT, 0
    try:
        name, found = call(inquire, *place)
        datatype, elements = datatype_named(name), int(found)
        return Entry(datatype, call(get, *place), elements)
    except (CDFProcessError, KeyError):
        raise
    except CDFError as error:
        return Entry(datatype, None, elements, error)
