"""CDF files in xarray: `xarray.open_dataset("x.cdf", engine="tarvik")`.

docs/xarray.md tells what becomes of a file. Values are read when they are asked for, and no others.
xarray keeps the files open that were used last; a dataset holds a path, so it can be pickled and
sent to other processes, which open the file themselves.
"""

from __future__ import annotations

import errno
import operator
import os
import warnings
from collections.abc import Iterable, Iterator, Mapping
from functools import partial
from typing import Any, BinaryIO

import numpy as np

from tarvik._dimensions import coordinates_of, dimensions_of
from tarvik._entries import Entry
from tarvik._errors import CDFWarning
from tarvik._fetch import is_bytes, is_url, may_be_cdf, name_of
from tarvik._iso8601 import as_text
from tarvik.file import File
from tarvik.variable import Variable

try:
    import xarray
except ImportError as error:
    words = "tarvik.xarray needs xarray: pip install 'tarvik[xarray]'"
    raise ImportError(words, name=error.name) from error
from xarray import conventions
from xarray.backends import BackendArray, BackendEntrypoint, CachingFileManager
from xarray.backends.locks import SerializableLock
from xarray.core import indexing

__all__ = ["TarvikBackendEntrypoint"]

# One for all files: opening one may close another. The library works for one thread at a time.
_LOCK = SerializableLock("tarvik")
# A fork waits for the other threads' reads, as the child would wait for them in vain.
os.register_at_fork(
    before=_LOCK.acquire, after_in_parent=_LOCK.release, after_in_child=_LOCK.release
)


class _Values(BackendArray):
    """The values of a variable, read by hyperslabs."""

    def __init__(self, manager: CachingFileManager, variable: Variable, times: bool) -> None:
        datatype = variable._datatype
        self._manager, self._name = manager, variable.name
        self._stored = not times and datatype.is_time
        self.shape = variable.shape
        self.dtype = datatype.stored if self._stored else variable.dtype

    def __getitem__(self, key: indexing.ExplicitIndexer) -> Any:
        # Basic keys come with steps above zero; others are made of the basic ones that cover them.
        support = indexing.IndexingSupport.BASIC
        return indexing.explicit_indexing_adapter(key, self.shape, support, self._read)

    def _read(self, key: tuple) -> np.ndarray:
        # Within the shape at opening: records may have been added to the file since.
        parts = zip(key, self.shape)
        key = tuple(slice(*p.indices(n)) if isinstance(p, slice) else p for p, n in parts)
        with _LOCK, self._manager.acquire_context(needs_lock=False) as file:
            variable = file[self._name]
            if any(map(operator.lt, variable.shape, self.shape)):
                words = "The file was replaced since the dataset was opened"
                raise OSError(errno.ESTALE, words, file.path)
            return np.asarray(variable.raw[key] if self._stored else variable[key])


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
        manager = CachingFileManager(opener, source, mode="r", lock=_LOCK)
        with _LOCK, manager.acquire_context(needs_lock=False) as file:
            variables = file._variables
            dimensions = dimensions_of(variables)
            coordinates = coordinates_of(variables, dimensions)
            shared, own = _attributes(file)
            kept = {
                name: xarray.Variable(
                    dimensions[name],
                    indexing.LazilyIndexedArray(_Values(manager, variable, decode_times)),
                    {**own[name], **(_fill_value(variable) if mask_and_scale else {})},
                )
                for name, variable in variables.items()
                if name not in dropped
            }
            problems = [*_problems(file, dropped)]
        for problem in problems:
            warnings.warn(f"{name_of(source)}: {problem}", CDFWarning, 3)
        decoded, shared, _ = conventions.decode_cf_variables(
            kept,
            shared,
            mask_and_scale=mask_and_scale,
            decode_times=False,
            decode_coords=False,
            concat_characters=False,
        )
        dataset = xarray.Dataset(decoded, attrs=shared).set_coords(coordinates & kept.keys())
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


def _attributes(file: File) -> tuple[Any, dict[str, dict[str, Any]]]:
    """Those of the file, and those of each variable."""
    shared: dict[str, Any] = {}
    own: dict[str, dict[str, Any]] = {name: {} for name in file._variables}
    names = {variable.number: name for name, variable in file._variables.items()}
    for title, attribute in file._attributes.items():
        values = [_plain(entry) for entry in attribute.of_file.values() if entry.problem is None]
        if values:
            shared[title] = values if len(values) > 1 else values[0]
        for number, entry in attribute.of_variables.items():
            if number in names and entry.problem is None:
                own[names[number]][title] = _plain(entry)
    return shared, own


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


def _fill_value(variable: Variable) -> dict[str, Any]:
    """The attribute of the fill value in xarray's own conventions."""
    fill = None if variable._datatype.is_time else variable.fill
    return {"_FillValue": fill} if fill is not None and fill == fill else {}
