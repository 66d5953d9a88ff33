"""The variables of a file as a mapping, and what they are made and changed with."""

from __future__ import annotations

from collections.abc import Iterable, Iterator, MutableMapping
from contextlib import contextmanager, suppress
from typing import Any, NamedTuple

import numpy as np

from tarvik._errors import CDFError
from tarvik._handle import Handle
from tarvik._order import turned
from tarvik._settings import for_gateway, kind_of, storage_of
from tarvik.attributes import Attributes, check_name, unknown_name
from tarvik.datatypes import Datatype, as_given, to_stored
from tarvik.variable import Variable

__all__ = ["Contents"]


class Unreadable(NamedTuple):
    """A variable whose description the library or the gateway refuses."""

    name: str
    number: int
    problem: CDFError


class Contents(Handle, MutableMapping):
    """What a `File` holds. Opening and saving it is in `tarvik.file`."""

    _variables: dict[str, Variable]
    _unreadable: dict[str, Unreadable]

    @property
    def attrs(self) -> Attributes:
        """The global attributes; assigning a mapping replaces them all."""
        return Attributes(self)

    @attrs.setter
    def attrs(self, values: Any) -> None:
        self.attrs._replace(values)

    def __getitem__(self, name: str) -> Variable:
        self.id  # noqa: B018  raises for a closed file
        found = self._variables.get(name)
        if found is not None:
            return found
        if name in self._unreadable:
            raise self._unreadable[name].problem
        raise unknown_name("variable", name, self, self.path)

    def __iter__(self) -> Iterator[str]:
        self.id  # noqa: B018
        return iter([each.name for each in self._listed()])

    def __len__(self) -> int:
        return len(self._variables) + len(self._unreadable)

    def __contains__(self, name: object) -> bool:
        return name in self._variables or name in self._unreadable

    def _listed(self) -> list[Variable | Unreadable]:
        """All variables in the file's order, with those that cannot be read."""
        found: list[Variable | Unreadable] = [*self._variables.values()]
        found += self._unreadable.values()
        return sorted(found, key=lambda each: each.number) if self._unreadable else found

    def __setitem__(self, name: str, values: Any) -> None:
        """Make a variable, or replace it: of values, or a copy of a `Variable`."""
        self._check_writable()
        if name in self._unreadable:
            raise self._unreadable[name].problem
        if name in self:
            self._check_structural("replacing a variable")
        place = self._unused_name() if name in self else name
        if isinstance(values, Variable):
            check_name("variable", name)
            with self._undone_on_error(place):
                made = self._copied(values, place)
        else:
            made = self.create_variable(place, values)
        if place != name:
            del self[name]
            self.rename(made.name, name)

    def __delitem__(self, name: str) -> None:
        """Delete a variable with its values and attributes."""
        self._check_structural("deleting a variable")
        variable = self[name]
        hidden = self._unused_name()
        self._call("renameVar", self.id, variable.number, hidden)
        self._hidden.add(hidden)
        del self._variables[name]
        variable._number = None
        self._structural = True

    def rename(self, old: str, new: str) -> None:
        """Rename a variable.

        Raises
        ------
        KeyError
            If there is none of the old name.
        ValueError
            If there is one of the new name, or it cannot be a name.
        """
        self._check_writable()
        variable = self[old]
        if new in self:
            raise ValueError(f"there is a variable {new!r} already")
        check_name("variable", new)
        self._call("renameVar", self.id, variable.number, new)
        variable._name = new
        self._variables = {v.name: v for v in self._variables.values()}

    def create_variable(
        self,
        name: str,
        data: Any = None,
        *,
        datatype: Any = None,
        shape: tuple[int, ...] | None = None,
        record_vary: bool = True,
        dim_vary: Any = None,
        compression: str | None = None,
        sparse: str | None = None,
        pad: Any = None,
        blocking_factor: int | None = None,
        attrs: Any = None,
    ) -> Variable:
        """Make a variable.

        Parameters
        ----------
        name : str
            Printable ASCII, at most 255 characters.
        data : array_like, optional
            Its values; records first unless they do not vary.
        datatype : str, int or numpy.dtype, optional
            "CDF_REAL4", its number, or a dtype such as "S8"; chosen from the data if left out.
        shape : tuple of int, optional
            Without data: as that of data. Records are made up to its first number.
        record_vary : bool
            Whether there is a value for each record, or one for all.
        dim_vary : sequence of bool, optional
            The same for each dimension; all vary if it is left out.
        compression : str, optional
            "gzip", "gzip:6", "rle", "huffman" or "ahuffman".
        sparse : str, optional
            What missing records read as: "pad" or "previous"; then they take no space.
        pad : optional
            The value of records that were never written.
        blocking_factor : int, optional
            The number of records that the variable grows by.
        attrs : mapping, optional
            Its attributes.

        Returns
        -------
        Variable

        Raises
        ------
        ValueError
            If there is a variable of the name, it cannot be a name, or a setting does not exist.
        TypeError
            If no datatype holds the values.
        """
        self._check_writable()
        if name in self:
            raise ValueError(f"there is a variable {name!r} already")
        check_name("variable", name)
        try:
            given = None if data is None else as_given(data)
        except ValueError as error:
            raise ValueError(f"the values for {name!r}: {error}") from None
        found, elements = kind_of(given, datatype)
        whole = given.shape if given is not None else tuple(shape or ())
        if given is not None and shape is not None and tuple(shape) != whole:
            raise ValueError(f"the shape {tuple(shape)} is not that of the data, {whole}")
        extents = whole[1:] if record_vary else whole
        varys = [True] * len(extents) if dim_vary is None else [bool(v) for v in dim_vary]
        if len(varys) != len(extents):
            raise ValueError(f"{len(varys)} variances for {len(extents)} dimensions")
        if given is not None and not np.ma.is_masked(given):
            to_stored(given, found, elements)  # before anything is made
        settings = storage_of(sparse, compression, blocking_factor)
        stored_pad = None if pad is None else to_stored(pad, found, elements)
        if stored_pad is not None and stored_pad.size != 1:
            raise ValueError(f"a pad value of shape {stored_pad.shape} is not one value")
        with self._undone_on_error(name):
            shapes = (extents, record_vary, varys)
            variable = self._created(name, found, elements, shapes, settings, stored_pad)
            for title, value in dict(attrs or {}).items():
                variable.attrs[title] = value
            if given is None:
                if record_vary and whole:
                    variable.resize(whole[0])
            elif record_vary:
                variable[: len(np.atleast_1d(given))] = given
            else:
                variable[...] = given
        return variable

    @contextmanager
    def _undone_on_error(self, name: str) -> Iterator[None]:
        """Delete the variable again if it cannot be made as it was asked for."""
        try:
            yield
        except GeneratorExit:  # an interruption kept this from going on; the file is closed
            raise
        except BaseException:
            if not self._in_place and name in self:
                with suppress(CDFError):  # the first one says what is wrong
                    del self[name]
            raise

    def _created(
        self,
        name: str,
        datatype: Datatype,
        elements: int,
        shape: tuple,
        settings: dict,
        pad: np.ndarray | None,
    ) -> Variable:
        """Make a variable with its settings, before anything is written to it."""
        extents, record_vary, varys = shape
        order = turned(self._row_major)
        number = self._call(
            "createVar",
            self.id,
            name,
            datatype.code,
            elements,
            list(extents)[order],
            record_vary,
            list(varys)[order],
        )
        self._forget_entries_of(int(number))
        variable = self._variables[name] = Variable(self, int(number))
        for operation, inputs in settings.items():
            if inputs:
                self._call(operation, self.id, number, *inputs)
        if pad is not None:
            self._call("setVarPadValue", self.id, number, for_gateway(pad))
        return variable

    def _forget_entries_of(self, number: int) -> None:
        """Entries for a variable that did not exist are not those of a new one of its number."""
        for attribute in self._attributes.values():
            if attribute.of_variables.pop(number, None) is not None and not self._in_place:
                self._structural = True

    def _copied(
        self,
        source: Variable,
        name: str,
        changes: dict[str, Any] | None = None,
        values: Iterable[tuple[list[range], np.ndarray]] | None = None,
    ) -> Variable:
        """Make a variable that has all of another one, of this file or another.

        Parameters
        ----------
        changes : dict, optional
            Of "sparse", "compression" and "blocking_factor" those that are otherwise.
        values : iterable, optional
            Hyperslabs and what they hold; by default all that exist.
        """
        storage = {
            "sparse": source.sparse,
            "compression": source.compression,
            "blocking_factor": source.blocking_factor,
            **(changes or {}),
        }
        shape = (source._extents, source.record_vary, source.dim_vary)
        datatype, elements = source._datatype, source._elements
        settings = storage_of(**storage)
        made = self._created(name, datatype, elements, shape, settings, source._pad())
        for runs, block in source._existing_values() if values is None else values:
            made._write_stored(runs, block)
        for title, attribute in source._file._attributes.items():
            entry = attribute.of_variables.get(source.number)
            if entry is not None:
                self._put_entry(made.attrs._attribute(title), made.number, entry)
        return made

    def _unused_name(self) -> str:
        used = {*self, *self._hidden}
        number = len(used)
        while f"tarvik deleted {number}" in used:
            number += 1
        return f"tarvik deleted {number}"
