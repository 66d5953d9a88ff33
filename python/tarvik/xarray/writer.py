"""Write datasets as CDF files."""

from __future__ import annotations

import os
from collections.abc import Iterable, Mapping
from typing import Any

import numpy as np
import xarray

from tarvik import times
from tarvik._iso8601 import as_text
from tarvik._settings import storage_of
from tarvik.attributes import OF_VALUES, Attributes
from tarvik.datatypes import Datatype, datatype_named, datatype_of, to_stored
from tarvik.file import File
from tarvik.istp import ERROR, ISTPError, complete, fill_value
from tarvik.variable import Variable
from tarvik.xarray.planning import Plan, Planned, plan, value_blocks

__all__ = ["to_cdf", "write"]


def to_cdf(
    dataset: xarray.Dataset,
    path: str | os.PathLike,
    mode: str = "w",
    *,
    record_dim: str | Iterable[str] | None = None,
    epoch: str | None = None,
    compression: str | None = None,
    encoding: Mapping[str, Mapping[str, Any]] | None = None,
    istp: bool = False,
) -> None:
    """Write a dataset as a CDF file; docs/xarray.md says what becomes of it.

    The file is put in place when it is complete: an error leaves what was there before. Lazy
    variables are computed and written block by block.

    Parameters
    ----------
    dataset : xarray.Dataset
    path : str or os.PathLike
    mode : str
        "w" create or replace, "x" create and fail if it exists.
    record_dim : str or iterable of str, optional
        The dimensions of records; by default those that had records in the file that the dataset
        was read from, else those with a coordinate of times. They come first in their variables.
    epoch : str, optional
        The datatype of times: "CDF_TIME_TT2000", "CDF_EPOCH" or "CDF_EPOCH16"; by default that of
        the file that was read, else CDF_TIME_TT2000.
    compression : str, optional
        Of all variables but times and single values: "gzip", "gzip:6", "rle", "huffman" or
        "ahuffman".
    encoding : mapping of str to mapping, optional
        By variable: "datatype", "_FillValue", "compression", "pad", "sparse", "elements" (the bytes
        of texts) and "attributes" (their datatypes), where they are not to be as in the file that
        was read.
    istp : bool
        Whether the file has to follow the ISTP guidelines: `tarvik.istp.complete` sets what follows
        from the data, and errors that are left are raised.

    Raises
    ------
    TypeError
        If no datatype holds the values of a variable or an attribute.
    ValueError, OverflowError
        If something of the dataset cannot be in a CDF file.
    tarvik.istp.ISTPError
        With `istp=True`, if something cannot be decided; its `findings` say what to set.
    FileExistsError, OSError, CDFError
        If the file cannot be written.
    """
    if not isinstance(dataset, xarray.Dataset):
        raise TypeError(
            f"to_cdf takes a Dataset, not a {type(dataset).__name__}; a DataArray has to_dataset()"
        )
    if mode not in ("w", "x"):
        raise ValueError(f"mode {mode!r} is none of 'w', 'x'")
    made = plan(
        dataset, record_dim=record_dim, epoch=epoch, compression=compression, encoding=encoding
    )
    write(made, path, mode, istp)


def write(made: Plan, path: str | os.PathLike, mode: str = "w", istp: bool = False) -> None:
    """Write what was planned; an error leaves the path as it was."""
    with File(path, mode) as file:
        for title, value in made.attrs.items():
            _put_attribute(file.attrs, title, value, made.types.get(title))
        for planned in made.variables.values():
            try:
                _write_variable(file, planned)
            except (TypeError, ValueError, OverflowError) as error:
                kind = ValueError if isinstance(error, UnicodeError) else type(error)
                raise kind(f"the variable {planned.name!r}: {error}") from None
        if istp:
            found = complete(file)
            if any(each.severity == ERROR for each in found):
                raise ISTPError(found)


def _write_variable(file: File, planned: Planned) -> None:
    datatype, storage = planned.datatype, planned.storage
    extents = planned.source.shape[planned.record_vary :]
    pad = storage["pad"]
    variable = file._created(
        planned.name,
        datatype,
        planned.elements,
        (extents, planned.record_vary, [True] * len(extents)),
        storage_of(storage["sparse"], storage["compression"], None),
        None if pad is None else to_stored(pad, datatype, planned.elements),
    )
    for title, value in planned.attrs.items():
        _put_variable_attribute(variable, planned, title, value)
    for key in value_blocks(planned.source):
        values = np.asarray(planned.source[key].values)
        if values.size:
            variable[(*key, ...)] = _with_fill(planned, values)


def _with_fill(planned: Planned, values: np.ndarray) -> np.ndarray:
    """Numbers with the fill value for NaN, and integers where the datatype has them."""
    if values.dtype.kind != "f":
        return values
    fill, stored = planned.fill, planned.datatype.stored
    missing = np.isnan(values)
    is_chosen = planned.chosen_fill and not planned.datatype.is_time
    if is_chosen and fill is not None and (values == fill).any():
        raise ValueError(
            f"{fill!r} is among the values, and would be read as NaN; choose another _FillValue "
            "in encoding"
        )
    if stored.kind not in "iu":
        return values if fill is None else np.where(missing, values.dtype.type(fill), values)
    if missing.any() and fill is None:
        raise ValueError(f"{planned.datatype.name} needs a FILLVAL of its own to store NaN")
    limits = np.iinfo(stored)
    inside = (values >= limits.min) & (values < float(limits.max) + 1)
    wrong = ~missing & ~(inside & (values == np.rint(values)))
    if wrong.any():
        raise ValueError(
            f"{values[wrong].ravel()[0]!r} is no value of {planned.datatype.name}; choose another "
            "datatype in encoding"
        )
    whole = np.where(missing, 0, values).astype(stored)
    return np.where(missing, fill, whole) if missing.any() else whole


def _put_attribute(attrs: Attributes, title: str, value: Any, types: list[str] | None) -> None:
    """Write a global attribute: a list has several entries."""
    values = value if isinstance(value, list) else [value]
    if types is None or len(types) != len(values):
        attrs._set({title: attrs._made_of(title, value)})
        return
    entries = [attrs._made_of(title, *_typed(v, t))[0] for v, t in zip(values, types)]
    attrs._set({title: entries})


def _put_variable_attribute(variable: Variable, planned: Planned, title: str, value: Any) -> None:
    datatype = planned.types.get(title)
    if datatype is None and title in OF_VALUES:
        if isinstance(value, (np.generic, np.ndarray)) and not isinstance(value, str):
            datatype = datatype_of(np.asarray(value)).name
        elif planned.datatype.is_time:
            datatype = planned.datatype.name
    variable.attrs.set(title, *_typed(value, datatype))


def _typed(value: Any, name: str | None) -> tuple[Any, str | None]:
    """A value for a datatype; the datatype is left out where it is not that of the value."""
    if np.ndim(value) > 1:
        raise ValueError(f"an attribute has one dimension, and {value!r} has {np.ndim(value)}")
    if name is None:
        return value, None
    datatype, given = datatype_named(name), np.asarray(value)
    if datatype.is_time and given.dtype.kind == "U":
        return _times(given.ravel().tolist(), datatype), name
    fits = given.dtype.kind in "SU" if datatype.is_text else given.dtype == datatype.stored
    return value, name if fits or datatype.is_time else None


def _times(texts: list[str], datatype: Datatype) -> np.ndarray:
    """The stored times that the engine shows as these texts: fill values and NaN have texts too."""
    fill = datatype.stored.type(fill_value(datatype))
    known = {as_text(np.array([fill]), datatype)[0]: fill}
    if datatype.stored.kind in "fc":
        known[""] = datatype.stored.type(np.nan)
    read = [
        known[text] if text in known else times.from_text(text, datatype.inquired) for text in texts
    ]
    return np.array(read, datatype.stored)
