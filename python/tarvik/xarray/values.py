"""Values of variables, read when xarray asks for them."""

from __future__ import annotations

import errno
import operator
import os
from typing import Any

import numpy as np
from xarray.backends import BackendArray, CachingFileManager
from xarray.backends.locks import SerializableLock
from xarray.core import indexing

from tarvik.datatypes import to_stored, to_user
from tarvik.file import File
from tarvik.variable import Variable

__all__ = ["LOCK", "Values", "VirtualTimes"]

# One for all files: opening one may close another. The library works for one thread at a time.
LOCK = SerializableLock("tarvik")
# A fork waits for the other threads' reads, as the child would wait for them in vain.
os.register_at_fork(before=LOCK.acquire, after_in_parent=LOCK.release, after_in_child=LOCK.release)

_ALL = slice(None)


class Values(BackendArray):
    """The values of a variable, read by hyperslabs.

    Parameters
    ----------
    manager : CachingFileManager
        Of the file.
    variable : Variable
    shape : tuple of int
        That of the variable, which asks the library for it.
    times : bool
        Whether times become `datetime64`.
    fill : numpy.generic, optional
        What becomes NaN; integers become floating point then.
    """

    def __init__(
        self,
        manager: CachingFileManager,
        variable: Variable,
        shape: tuple[int, ...],
        times: bool,
        fill: Any = None,
    ) -> None:
        datatype = variable._datatype
        self._manager, self._name, self._fill = manager, variable.name, fill
        self._stored = not times and datatype.is_time
        self.shape = shape
        self.dtype = datatype.stored if self._stored else variable.dtype
        if fill is not None:
            self.dtype = _with_nan(self.dtype)

    def __getitem__(self, key: indexing.ExplicitIndexer) -> Any:
        if all(isinstance(part, slice) and part == _ALL for part in key.tuple):
            return self._read(key.tuple)
        # Basic keys come with steps above zero; others are made of the basic ones that cover them.
        support = indexing.IndexingSupport.BASIC
        return indexing.explicit_indexing_adapter(key, self.shape, support, self._read)

    def _read(self, key: tuple) -> np.ndarray:
        # Within the shape at opening: records may have been added to the file since.
        parts = zip(key, self.shape)
        key = tuple(slice(*p.indices(n)) if isinstance(p, slice) else p for p, n in parts)
        with LOCK:
            file = self._manager.acquire(needs_lock=False)
            return self._masked(np.asarray(self._values(file, key)))

    def _values(self, file: File, key: tuple) -> Any:
        variable = self._checked(file, self._name)
        return variable.raw[key] if self._stored else variable[key]

    def _checked(self, file: File, name: str) -> Variable:
        variable = file[name]
        if any(map(operator.lt, variable.shape, self.shape)):
            words = "The file was replaced since the dataset was opened"
            raise OSError(errno.ESTALE, words, file.path)
        return variable

    def _masked(self, values: np.ndarray) -> np.ndarray:
        if self._fill is None:
            return values
        masked = values.astype(self.dtype, copy=not values.flags.writeable)
        masked[values == self._fill] = np.nan
        return masked


class VirtualTimes(Values):
    """Times that are computed: those of a variable of seconds, from a base time on."""

    def __init__(
        self,
        manager: CachingFileManager,
        variable: Variable,
        shape: tuple[int, ...],
        times: bool,
        parts: tuple[str, str],
    ) -> None:
        super().__init__(manager, variable, shape, times)
        self._base, self._seconds = parts

    def _values(self, file: File, key: tuple) -> Any:
        base = np.ravel(file[self._base][...])[0]
        seconds = np.asarray(self._checked(file, self._seconds)[key], float)
        whole = np.floor(seconds)
        valid = np.isfinite(seconds)
        counts = np.where(valid, whole, 0).astype("i8") * 10**9
        counts += np.where(valid, np.rint((seconds - whole) * 1e9), 0).astype("i8")
        found = np.where(valid, base + counts.astype("m8[ns]"), np.datetime64("NaT", "ns"))
        # As exact as the datatype of the variable has it, and no more.
        datatype = file[self._name]._datatype
        stored = to_stored(found, datatype)
        return stored if self._stored else to_user(stored, datatype)


def _with_nan(dtype: np.dtype) -> np.dtype:
    """The floating point that integers become with NaN, as xarray has it."""
    if dtype.kind == "f":
        return dtype
    return np.dtype("f4" if dtype.itemsize <= 2 else "f8")
