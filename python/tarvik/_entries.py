"""The entries of attributes as they are in the file."""

from __future__ import annotations

from collections.abc import Sequence
from contextlib import suppress
from dataclasses import dataclass, field
from itertools import chain
from typing import Any, Callable, NamedTuple

import numpy as np

from tarvik._errors import CDFError, CDFProcessError
from tarvik._order import as_array
from tarvik.datatypes import DATATYPES, Datatype, datatype_named, decode_text, to_user

__all__ = ["GLOBAL", "VARIABLE", "Attribute", "Entry", "read_attributes"]

_Call = Callable[..., Any]

GLOBAL, VARIABLE = "GLOBAL_SCOPE", "VARIABLE_SCOPE"
# The operations for entries of the file, "g", and of variables.
_INQUIRE = {"g": "inquireAttrgEntry", "": "inquireAttrEntry"}
_GET = {"g": "getAttrgEntry", "": "getAttrEntry"}
_TEXT = DATATYPES["CDF_CHAR"]
_MOST_TRIED = 10_000


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


@dataclass
class Attribute:
    """An attribute with its entries: those of the file by number, the others by variable.

    Attributes
    ----------
    number : int
    name : str
    scope : str
        `GLOBAL` or `VARIABLE`; old files have others, which say that it was guessed.
    of_file, of_variables : dict of int to Entry
    problem : CDFError or None
        Why it could not be read.
    dropped : bool
        Whether all entries were deleted: it is left out when the file is made anew.
    """

    number: int
    name: str
    scope: str
    of_file: dict[int, Entry] = field(default_factory=dict)
    of_variables: dict[int, Entry] = field(default_factory=dict)
    problem: CDFError | None = None
    dropped: bool = False

    @property
    def is_cut(self) -> bool:
        """Whether the library does not give all of a text."""
        return any(e.is_cut for e in (*self.of_file.values(), *self.of_variables.values()))

    @property
    def is_global(self) -> bool:
        return self.scope.startswith("GLOBAL")


def read_attributes(call: _Call, file: Any) -> dict[str, Attribute]:
    """Read all attributes of a file with their entries, in the file's order."""
    count = int(call("inquire", file)[4])
    usual: dict[tuple[int, int], list[int]] = {}
    found = [_read_attribute(call, file, number, usual) for number in range(count)]
    return {attribute.name: attribute for attribute in found}


def _read_attribute(
    call: _Call, file: Any, number: int, usual: dict[tuple[int, int], list[int]]
) -> Attribute:
    attribute = Attribute(number, "", VARIABLE)
    try:
        _inquire(call, file, attribute, usual)
    except CDFProcessError:
        raise
    except CDFError as error:
        attribute.problem = error
        attribute.name = attribute.name or call("getAttrName", file, number)
    return attribute


def _inquire(
    call: _Call, file: Any, attribute: Attribute, usual: dict[tuple[int, int], list[int]]
) -> None:
    number = attribute.number
    attribute.name, attribute.scope, *ends = call("inquireAttr", file, number)
    last, last_of_variable = map(int, ends)
    if last >= 0:
        count = int(call("getNumAttrgEntries", file, number))
        attribute.of_file = _read_entries(call, (file, number), "g", last, count)
    if last_of_variable >= 0:
        count = int(call("getNumAttrEntries", file, number))
        first = usual.get((last_of_variable, count), [])
        found = _read_entries(call, (file, number), "", last_of_variable, count, first)
        attribute.of_variables, usual[last_of_variable, count] = found, list(found)


def _read_entries(
    call: _Call,
    attribute: tuple[Any, int],
    kind: str,
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
                found[number] = _read_entry(call, (*attribute, number), kind)
    if len(found) < count and last > 2 * _MOST_TRIED:
        missing = count - len(found)
        raise CDFError(
            "VORLAN:entriesNotFound",
            f"{missing} entries have numbers too far from 0 and from the last, {last}, to be found",
        )
    return dict(sorted(found.items()))


def _read_entry(call: _Call, place: tuple[Any, int, int], kind: str) -> Entry:
    datatype, elements = _TEXT, 0
    try:
        name, found = call(_INQUIRE[kind], *place)
        datatype, elements = datatype_named(name), int(found)
        return Entry(datatype, call(_GET[kind], *place), elements)
    except (CDFProcessError, KeyError):
        raise
    except CDFError as error:
        return Entry(datatype, None, elements, error)
