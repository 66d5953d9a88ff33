"""The engine "tarvik" of xarray.

Values are read when they are asked for, and no others. xarray keeps the files open that were used
last; a dataset holds a path, so it can be pickled and sent to other processes, which open the file
themselves.
"""

from __future__ import annotations

import os
import warnings
from collections.abc import Iterable, Iterator, Mapping
from functools import partial
from typing import Any, BinaryIO

import pandas
import xarray
from xarray.backends import BackendEntrypoint, CachingFileManager
from xarray.core import indexing
from xarray.indexes import PandasIndex

from tarvik._entries import Entry
from tarvik._errors import CDFWarning
from tarvik._fetch import is_bytes, is_url, may_be_cdf, name_of
from tarvik._iso8601 import as_text
from tarvik.attributes import OF_VALUES
from tarvik.datatypes import DATATYPES
from tarvik.file import File
from tarvik.variable import Variable
from tarvik.xarray.dimensions import POINTING, Layout, name_dimensions
from tarvik.xarray.marks import ATTRIBUTE, from_text
from tarvik.xarray.values import LOCK, Values, VirtualTimes
from tarvik.xarray.virtual import virtual_times, without_times

__all__ = ["TarvikBackendEntrypoint"]

# Datatypes that do not follow from the value of an attribute.
_UNUSUAL = frozenset(name for name, found in DATATYPES.items() if not found.is_default)


class TarvikBackendEntrypoint(BackendEntrypoint):
    """The engine "tarvik" of xarray."""

    description = "CDF files, through the CDF library"

    def open_dataset(  # type: ignore[override]
        self,
        filename_or_obj: str | os.PathLike | bytes | bytearray | memoryview | BinaryIO,
        *,
        drop_variables: str | Iterable[str] | None = None,
        mask_and_scale: bool | Mapping[str, bool] = True,
        decode_times: bool = True,
        storage_options: Mapping[str, Any] | None = None,
    ) -> xarray.Dataset:
        """Open a file as a dataset.

        Parameters
        ----------
        filename_or_obj : str, os.PathLike, bytes, bytearray, memoryview or binary file object
            What `File` takes: a path or a URL, the bytes of a file or a file object.
        drop_variables : str or iterable of str, optional
            Variables to leave out.
        mask_and_scale : bool or mapping
            Whether numbers that equal FILLVAL become NaN; integers become floating point with it.
        decode_times : bool
            Whether times become `datetime64[ns]`; otherwise they are numbers, those of CDF_EPOCH16
            complex: seconds, and picoseconds within the second.
        storage_options : mapping, optional
            Of a URL: options of fsspec.

        Returns
        -------
        xarray.Dataset
        """
        source = _source(filename_or_obj)
        dropped = {drop_variables} if isinstance(drop_variables, str) else set(drop_variables or ())
        opener = partial(File, storage_options=storage_options)
        manager = CachingFileManager(opener, source, mode="r", lock=LOCK)
        with LOCK, manager.acquire_context(needs_lock=False) as file:
            opened = _Opened(file, manager, mask_and_scale, decode_times)
            variables = {
                name: opened.variable(name) for name in file._variables if name not in dropped
            }
            problems = [*_problems(file, dropped), *opened.without_times(dropped)]
        for problem in problems:
            warnings.warn(f"{name_of(source)}: {problem}", CDFWarning, 3)
        others = {n: v for n, v in variables.items() if n not in opened.coordinates}
        dataset = xarray.Dataset(others, _coordinates(variables, others), opened.shared)
        dataset.encoding["cdf"] = opened.encoding
        dataset.set_close(manager.close)
        return dataset

    def guess_can_open(self, filename_or_obj: Any) -> bool:
        """Tell whether this is a CDF file, by its first bytes or, of a URL, by its end."""
        return may_be_cdf(filename_or_obj)


def _source(given: Any) -> Any:
    """What files are opened with, also later and in other processes."""
    if is_bytes(given):
        return bytes(given)  # xarray looks for open files by it
    return given if is_url(given) or hasattr(given, "read") else os.path.abspath(os.fspath(given))


class _Opened:
    """What the attributes of an open file say about its variables.

    Attributes
    ----------
    shared : dict
        The attributes of the file.
    coordinates : set of str
    encoding : dict
        How the file has what a dataset does not show.
    """

    def __init__(
        self,
        file: File,
        manager: CachingFileManager,
        masked: bool | Mapping[str, bool],
        times: bool,
    ) -> None:
        self._file, self._manager, self._masked, self._times = file, manager, masked, times
        self._read_attributes()
        marks = from_text(self.shared.pop(ATTRIBUTE, None))
        self._added = marks.added
        self._layouts = _layouts(file)
        self._virtual = virtual_times(file._variables, self._layouts)
        for name, (_, seconds) in self._virtual.items():
            shape = self._layouts[seconds].shape
            self._layouts[name] = self._layouts[name]._replace(shape=shape)
        self._dimensions, self.coordinates = name_dimensions(self._layouts, marks.dims)
        if marks.coords is not None:
            named = {each for names in self._dimensions.values() for each in names}
            self.coordinates = {*marks.coords, *named} & self._layouts.keys()
        records = [self._dimensions[v.name][0] for v in self._layouts.values() if v.record_vary]
        self.encoding["record_dims"] = sorted({*records})

    def _read_attributes(self) -> None:
        """Those of the file, and those of each variable, with the datatypes that values hide."""
        variables = {variable.number: variable for variable in self._file._variables.values()}
        self.shared: dict[str, Any] = {}
        shared_types: dict[str, list[str]] = {}
        self._own: dict[str, dict[str, Any]] = {v.name: {} for v in variables.values()}
        self._own_types: dict[str, dict[str, str]] = {v.name: {} for v in variables.values()}
        self.encoding: dict[str, Any] = {"attributes": shared_types}
        for title, attribute in self._file._attributes.items():
            entries = [entry for entry in attribute.of_file.values() if entry.problem is None]
            if entries:
                values = [_plain(entry) for entry in entries]
                self.shared[title] = values if len(values) > 1 else values[0]
                types = [entry.datatype.name for entry in entries]
                if not _UNUSUAL.isdisjoint(types):
                    shared_types[title] = types
            for number, entry in attribute.of_variables.items():
                variable = variables.get(number)
                if variable is not None and entry.problem is None:
                    self._own[variable.name][title] = _plain(entry)
                    if _is_unusual(entry, title, variable):
                        self._own_types[variable.name][title] = entry.datatype.name

    def variable(self, name: str) -> xarray.Variable:
        """A variable that is read later."""
        variable, shape = self._file._variables[name], self._layouts[name].shape
        attributes, encoding = self._own[name], self._encoding(variable)
        masked = self._masked if isinstance(self._masked, bool) else self._masked.get(name, True)
        fill = None
        if masked and not variable._datatype.is_time:
            fill = variable.fill
            if fill is not None and fill == fill:
                encoding.update(_FillValue=fill, dtype=variable.dtype)
            else:
                fill = None
        for title in self._added.get(name, ()):
            if masked or title != "FILLVAL":
                attributes.pop(title, None)
        if name in self._virtual:
            parts = self._virtual[name]
            values: Values = VirtualTimes(self._manager, variable, shape, self._times, parts)
        else:
            values = Values(self._manager, variable, shape, self._times, fill)
        lazy = indexing.LazilyIndexedArray(values)
        return xarray.Variable(self._dimensions[name], lazy, attributes, encoding, fastpath=True)

    def _encoding(self, variable: Variable) -> dict[str, Any]:
        found: dict[str, Any] = {
            "datatype": variable.datatype,
            "compression": variable.compression,
            "sparse": variable.sparse,
            "pad": variable._pad()[()],
        }
        if variable._datatype.is_text:
            found["elements"] = variable._elements
        if self._own_types[variable.name]:
            found["attributes"] = self._own_types[variable.name]
        return {"cdf": found}

    def without_times(self, dropped: set[str]) -> Iterator[str]:
        kept = {name: layout for name, layout in self._layouts.items() if name not in dropped}
        return without_times(kept, self._dimensions)


def _coordinates(
    variables: Mapping[str, xarray.Variable], others: Mapping[str, xarray.Variable]
) -> xarray.Coordinates:
    """Those that are no others, with an index for each dimension.

    xarray would make the same indexes, and look three times for the cftime package for each.
    """
    found: dict[Any, xarray.Variable] = {}
    indexes = {}
    for name, variable in variables.items():
        if variable.dims == (name,):
            values = pandas.Index(variable.values)
            index = PandasIndex(values, name, coord_dtype=variable.dtype, fastpath=True)
            index.index.name = name
            found.update(index.create_variables({name: variable}))
            indexes[name] = index
        elif name not in others:
            found[name] = variable
    return xarray.Coordinates(found, indexes)


def _layouts(file: File) -> dict[str, Layout]:
    words: dict[int, dict[str, str]] = {v.number: {} for v in file._variables.values()}
    for title, attribute in file._attributes.items():
        if title.startswith(POINTING):
            for number, entry in attribute.of_variables.items():
                if entry.is_text and number in words:
                    words[number][title] = entry.text.strip()
    return {
        name: Layout(name, variable.shape, variable.record_vary, words[variable.number])
        for name, variable in file._variables.items()
    }


def _is_unusual(entry: Entry, title: str, variable: Variable) -> bool:
    """Whether the datatype is not the one that the value would be stored as."""
    text_for_time = entry.is_text and title in OF_VALUES and variable._datatype.is_time
    return text_for_time or entry.datatype.name in _UNUSUAL


def _problems(file: File, dropped: set[str]) -> Iterator[str]:
    """What cannot be read, and why."""
    for name, variable in file._unreadable.items():
        if name not in dropped:
            yield f"the variable {name!r} is left out: {variable.problem}"
    for name, attribute in file._attributes.items():
        entries = [*attribute.of_file.values(), *attribute.of_variables.values()]
        problems = [attribute.problem, *(entry.problem for entry in entries)]
        for problem in {str(each) for each in problems if each is not None}:
            yield f"entries of the attribute {name!r} are left out: {problem}"


def _plain(entry: Entry) -> Any:
    """One number alone, several as an array, times as texts."""
    if entry.is_text:
        return entry.text
    items = entry.stored
    if entry.datatype.is_time:
        items = as_text(items, entry.datatype)
        return items.tolist() if items.size > 1 else items[0]
    return items[0] if items.size == 1 else items
