"""CDF files in xarray: `xarray.open_dataset("x.cdf", engine="tarvik")`.

docs/xarray.md tells what becomes of a file. Values are read when they are asked for, and no others,
and the file is open only meanwhile: a dataset holds a path and descriptions, so it can be pickled,
sent to other processes, and used after a fork.
"""

import os

from tarvik import _reader
from tarvik._dimensions import coordinates_of, dimensions_of

try:
    import xarray
except ImportError as error:
    words = "tarvik.xarray needs xarray: pip install 'tarvik[xarray]'"
    raise ImportError(words, name=error.name) from error
from xarray.backends import BackendArray, BackendEntrypoint
from xarray.core import indexing

__all__ = ["TarvikBackendEntrypoint"]

# The first eight bytes: the version of the format, then whether all of the file is compressed.
_VERSIONS = ("cdf30001", "cdf26002", "0000ffff")
_KINDS = ("0000ffff", "cccc0001")
_MAGIC = frozenset(bytes.fromhex(version + kind) for version in _VERSIONS for kind in _KINDS)


class _Values(BackendArray):
    """The values of a variable, read by hyperslabs."""

    def __init__(self, path, variable, times):
        self._path, self._variable, self._times = path, variable, times
        self.shape = variable.shape
        self.dtype = variable.dtype(times)

    def __getitem__(self, key):
        # Basic keys come with steps above zero; others are made of the basic ones that cover them.
        support = indexing.IndexingSupport.BASIC
        return indexing.explicit_indexing_adapter(key, self.shape, support, self._read)

    def _read(self, key):
        return _reader.read(self._path, self._variable, key, self._times)


class TarvikBackendEntrypoint(BackendEntrypoint):
    """The engine "tarvik" of xarray."""

    description = "CDF files, through the CDF library"

    def open_dataset(
        self, filename_or_obj, *, drop_variables=None, mask_and_scale=True, decode_times=True
    ):
        """Open a file as a dataset.

        Parameters
        ----------
        filename_or_obj : str or os.PathLike
        drop_variables : str or iterable of str, optional
            Variables to leave out.
        mask_and_scale : bool or mapping
            Whether numbers that equal FILLVAL become NaN; integers become floating point with it.
        decode_times : bool
            Whether times become `datetime64[ns]`; otherwise they are numbers, those of CDF_EPOCH16
            complex: seconds, and picoseconds within the second.

        Returns
        -------
        xarray.Dataset
        """
        path = os.path.abspath(os.fspath(filename_or_obj))
        content = _reader.describe(path)
        dropped = {drop_variables} if isinstance(drop_variables, str) else set(drop_variables or ())
        dimensions = dimensions_of(content.variables)
        kept = {name: v for name, v in content.variables.items() if name not in dropped}
        dataset = xarray.Dataset(
            {
                name: _lazy(path, variable, dimensions[name], bool(mask_and_scale), decode_times)
                for name, variable in kept.items()
            },
            attrs=content.attributes,
        ).set_coords(coordinates_of(content.variables) & kept.keys())
        dataset = xarray.decode_cf(
            dataset,
            mask_and_scale=mask_and_scale,
            decode_times=False,
            decode_coords=False,
            concat_characters=False,
        )
        dataset.set_close(_close)
        return dataset

    def guess_can_open(self, filename_or_obj):
        """Tell whether this is a CDF file, by its first bytes."""
        try:
            with open(filename_or_obj, "rb") as file:
                return file.read(8) in _MAGIC
        except (OSError, TypeError, ValueError):  # no file of this machine
            return False


def _close():
    """Do nothing, as no file is open; xarray calls this for each of many files."""


def _lazy(path, variable, dimensions, masked, times):
    """The variable with its fill value as xarray's own conventions have it."""
    attributes = dict(variable.attributes)
    if masked and variable.fill is not None and variable.datatype not in _reader.TIMES:
        attributes["_FillValue"] = variable.fill
    values = indexing.LazilyIndexedArray(_Values(path, variable, times))
    return xarray.Variable(dimensions, values, attributes)
