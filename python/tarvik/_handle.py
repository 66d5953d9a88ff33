"""An open file: its identifier, the calls on it, and its attributes."""

from __future__ import annotations

import io
from contextlib import AbstractContextManager
from typing import Any

from tarvik._entries import Attribute, Entry, read_attributes
from tarvik._plugin import Plugin
from tarvik.transaction import Transaction

__all__ = ["Handle"]


class Handle:
    """What variables and attributes need of the `File` they belong to."""

    path: str
    mode: str
    _call: Any
    _id: Any
    _gateway: Plugin | None
    _row_major: bool
    _transaction: Transaction | None
    _in_place: bool
    _forked = False  # in a child process, where the file has to be opened again
    _known_attributes: dict[str, Attribute] | None
    # What is carried out when the file is closed: whether it has to be made anew, the names of
    # variables that were deleted, and the records that are left of some.
    _structural: bool
    _hidden: set[str]
    _lengths: dict[int, int]

    def _rebuild(self) -> None:
        raise NotImplementedError

    def _reopen(self) -> None:
        raise NotImplementedError

    def _trial(self) -> AbstractContextManager[Any]:
        raise NotImplementedError

    def _keep(self) -> None:
        raise NotImplementedError

    def _nothing_to_carry_out(self) -> None:
        self._structural, self._hidden, self._lengths = False, set(), {}

    @property
    def _writable(self) -> bool:
        return self.mode != "r"

    @property
    def id(self) -> Any:
        """The identifier for the operations of `tarvik.ops`.

        Raises
        ------
        ValueError
            If the file is closed.
        """
        if self._id is None or self._id.closed:
            if not self._forked:
                raise ValueError(f"{self.path} is closed")
            self._reopen()
        return self._id

    @property
    def closed(self) -> bool:
        return not self._forked and (self._id is None or self._id.closed)

    @property
    def _attributes(self) -> dict[str, Attribute]:
        """All attributes; they are found at once when one is first asked for."""
        self.id  # noqa: B018  raises for a closed file
        if self._known_attributes is None:
            self._known_attributes = read_attributes(self._call, lambda: self.id)
        return self._known_attributes

    def _create_attribute(self, name: str, scope: str) -> Attribute:
        code = 1 if scope.startswith("GLOBAL") else 2
        number = int(self._call("createAttr", self.id, name, code))
        attribute = self._attributes[name] = Attribute(number, name, scope)
        return attribute

    def _put_entry(self, attribute: Attribute, number: int, entry: Entry) -> None:
        if entry.problem is not None:
            raise entry.problem
        place = (self.id, attribute.number, number, entry.datatype.code)
        self._call("putAttrEntry", *place, entry.for_gateway)
        entries = attribute.of_file if attribute.is_global else attribute.of_variables
        entries[number] = entry

    def _ask(self, operation: str) -> Any:
        return self._call(operation, self.id)

    def _check_writable(self) -> None:
        self.id  # noqa: B018
        if not self._writable:
            raise io.UnsupportedOperation(
                f"{self.path} is open for reading only; open it with mode 'r+' to change it"
            )
        self._keep()

    def _check_structural(self, what: str) -> None:
        self._check_writable()
        if self._in_place:
            raise io.UnsupportedOperation(
                f"{what} makes the file anew, which is not done with files that are edited in place"
            )

    def _shrink(self, variable: int, records: int) -> None:
        self._check_structural("deleting records")
        self._lengths[variable] = records
        self._structural = True

    def _before_write(self, variable: int, last: int) -> None:
        """Records that were cut off must not come back as the variable grows again."""
        if last >= self._lengths.get(variable, last + 1):
            self._rebuild()
