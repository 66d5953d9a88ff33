"""What a file will hold for a dataset, decided before anything is written.

A `Plan` has everything but the values: they stay in the dataset until the writer takes them. Its
attributes may be completed and checked.
"""

from __future__ import annotations

from collections.abc import Iterable, Iterator, Mapping, Sequence
from dataclasses import dataclass
from itertools import product
from typing import Any

import numpy as np
import xarray

from tarvik._settings import kind_of
from tarvik.attributes import check_name
from tarvik.datatypes import Datatype, datatype_named, datatype_of, text_length
from tarvik.indexing import blocks
from tarvik.istp.decisions import fill_value
from tarvik.xarray.dimensions import POINTING, Layout, name_dimensions
from tarvik.xarray.marks import ATTRIBUTE, Marks, as_text

__all__ = ["Plan", "Planned", "plan", "value_blocks"]

# What may stand in the encoding of a variable; the engine reports these too.
_SETTINGS = {"datatype", "compression", "sparse", "pad", "elements", "attributes"}
_FILL = "_FillValue"


@dataclass
class Planned:
    """A variable of the file.

    Attributes
    ----------
    name : str
    source : xarray.Variable
        The values, which are read block by block; its dimensions are the variable's.
    record_vary : bool
        Whether the first dimension is that of the records.
    datatype : Datatype
    elements : int
        The bytes of each text.
    attrs : dict
        Values as users give them.
    types : dict of str to str
        The datatypes of attributes that do not follow from their values.
    fill : numpy.generic or None
        What NaN is stored as.
    chosen_fill : bool
        Whether the dataset does not say so; then no value may be equal to it.
    storage : dict
        "compression", "sparse" and "pad".
    """

    name: str
    source: xarray.Variable
    record_vary: bool
    datatype: Datatype
    elements: int
    attrs: dict[str, Any]
    types: dict[str, str]
    fill: Any
    chosen_fill: bool
    storage: dict[str, Any]

    @property
    def layout(self) -> Layout:
        words = {
            title: value.strip()
            for title, value in self.attrs.items()
            if title.startswith(POINTING) and isinstance(value, str)
        }
        return Layout(self.name, self.source.shape, self.record_vary, words)


@dataclass
class Plan:
    """A file: its variables in their order, its attributes, and the datatypes of some of these."""

    variables: dict[str, Planned]
    attrs: dict[str, Any]
    types: dict[str, list[str]]


def plan(
    dataset: xarray.Dataset,
    *,
    record_dim: str | Iterable[str] | None = None,
    epoch: str | None = None,
    compression: str | None = None,
    encoding: Mapping[str, Mapping[str, Any]] | None = None,
) -> Plan:
    """Plan the file of a dataset; the parameters are those of `to_cdf`.

    Returns
    -------
    Plan
    """
    encoding = _checked_encoding(dataset, encoding or {})
    records = _record_dims(dataset, record_dim)
    made = Plan({}, {**dataset.attrs}, dict(dataset.encoding.get("cdf", {}).get("attributes", {})))
    for name in _in_order(dataset, records):
        check_name("variable", name)
        variable = dataset.variables[name]
        record_vary = _is_record_varying(name, variable, records)
        settings = _settings(variable, epoch, compression, encoding.get(name, {}))
        try:
            made.variables[name] = _planned(name, variable, record_vary, settings)
        except (TypeError, ValueError, OverflowError) as error:
            raise type(error)(f"the variable {name!r}: {error}") from None
    _add_fills_and_pointers(made, dataset)
    _check_scopes(made)
    return made


def _checked_encoding(dataset: xarray.Dataset, encoding: Mapping) -> Mapping:
    for name, settings in encoding.items():
        if name not in dataset.variables:
            raise ValueError(f"encoding names {name!r}, which is no variable of the dataset")
        unknown = set(settings) - _SETTINGS - {_FILL}
        if unknown:
            known = ", ".join(sorted(_SETTINGS | {_FILL}))
            raise ValueError(f"encoding of {name!r} has {sorted(unknown)}; there are {known}")
    return encoding


def _record_dims(dataset: xarray.Dataset, given: str | Iterable[str] | None) -> set[Any]:
    if given is not None:
        named: set[Any] = {given} if isinstance(given, str) else set(given)
        unknown = named - set(dataset.sizes)
        if unknown:
            raise ValueError(f"record_dim={sorted(unknown)}: the dataset has no such dimension")
        return named
    read = dataset.encoding.get("cdf", {}).get("record_dims")
    if read is not None:
        return set(read) & set(dataset.sizes)
    return {n for n, v in dataset.variables.items() if v.dims == (n,) and v.dtype.kind == "M"}


def _in_order(dataset: xarray.Dataset, records: set[Any]) -> list[Any]:
    """The coordinates of records first, as is usual for times."""
    return sorted(dataset.variables, key=lambda name: name not in records)


def _is_record_varying(name: str, variable: xarray.Variable, records: set[str]) -> bool:
    record_vary = bool(variable.dims) and variable.dims[0] in records
    for dim, size in list(variable.sizes.items())[record_vary:]:
        if dim in records and not record_vary:
            raise ValueError(
                f"the variable {name!r} has the dimensions {variable.dims}, and {dim!r}, the one "
                f"of the records, is not the first; write dataset.transpose({dim!r}, ...), or "
                "choose another record_dim"
            )
        if size == 0:
            raise ValueError(
                f"the variable {name!r} has no values along {dim!r}; a CDF file can only have no "
                f"records: write with record_dim={dim!r}, or leave the variable out"
            )
    return record_vary


def _settings(
    variable: xarray.Variable, epoch: str | None, compression: str | None, given: Mapping
) -> dict[str, Any]:
    """What the file that was read had, where it still fits, and what the user asks for."""
    found = {k: v for k, v in variable.encoding.get("cdf", {}).items() if k in _SETTINGS}
    if "datatype" in found and not _fits(datatype_named(found["datatype"]), variable):
        found = {}
    elif _FILL in variable.encoding:
        found[_FILL] = variable.encoding[_FILL]
    if epoch is not None and variable.dtype.kind == "M" and found.get("datatype") != epoch:
        found = {"datatype": epoch}
    if "datatype" in given:
        found.pop("pad", None)
    if compression is not None:
        found["compression"] = compression
    return {**found, **given}


def _fits(datatype: Datatype, variable: xarray.Variable) -> bool:
    """Whether values as they are now are what a reader makes of a datatype."""
    dtype, stored = variable.dtype, datatype.stored
    if dtype.kind in "SUO":
        return datatype.is_text
    if dtype.kind == "M":
        return datatype.is_time
    integers = stored.kind in "iu" and _FILL in variable.encoding
    return dtype == stored or (integers and dtype == ("f4" if stored.itemsize <= 2 else "f8"))


def _planned(name: str, variable: xarray.Variable, record_vary: bool, settings: dict) -> Planned:
    datatype = _datatype(variable, settings.get("datatype"))
    elements = 1
    if datatype.is_text:
        texts = (text_length(variable[key].values) for key in value_blocks(variable))
        elements = max([1, int(settings.get("elements", 1)), *texts])
    attrs = dict(variable.attrs)
    fill = _fill(variable, datatype, attrs, settings.get(_FILL))
    storage = {key: settings.get(key) for key in ("compression", "sparse", "pad")}
    if datatype.is_time or not variable.dims:
        storage["compression"] = None
    if not record_vary:
        storage["sparse"] = None
    said = "FILLVAL" in attrs or settings.get(_FILL) is not None
    types = dict(settings.get("attributes", {}))
    return Planned(
        name, variable, record_vary, datatype, elements, attrs, types, fill, not said, storage
    )


def _datatype(variable: xarray.Variable, given: Any) -> Datatype:
    dtype = variable.dtype
    if not isinstance(dtype, np.dtype):
        raise TypeError(f"no CDF datatype holds values of dtype {dtype}; convert them with astype")
    if given is not None:
        return kind_of(np.empty(0, dtype), given)[0]
    return datatype_of(variable.values if dtype.kind == "O" else np.empty(0, dtype))


def _fill(variable: xarray.Variable, datatype: Datatype, attrs: dict, given: Any) -> Any:
    """The fill value as it is stored; None if there need not be one."""
    if datatype.is_text:
        return None
    value = attrs.get("FILLVAL", given)
    if value is None or isinstance(value, str):
        may_lack = variable.dtype.kind in "fM"
        return datatype.stored.type(fill_value(datatype)) if may_lack else None
    with np.errstate(over="ignore", invalid="ignore"):
        fill = np.ravel(value)[:1].astype(datatype.stored)
    same = datatype.stored.kind == "f" or np.array_equal(fill, np.ravel(value)[:1])
    if given is not None and not same:
        raise ValueError(f"{_FILL} {given!r} is no value of {datatype.name}")
    return fill[0] if same else None


def value_blocks(variable: xarray.Variable) -> Iterator[tuple[slice, ...]]:
    """Parts of a variable that fit into memory: Dask's chunks, or records of some MiB."""
    if variable.chunks is not None:
        yield from product(*map(_slices, variable.chunks))
    elif not variable.ndim:
        yield ()
    else:
        size = variable.dtype.itemsize * int(np.prod(variable.shape[1:], dtype=object))
        for part in blocks(range(variable.shape[0]), size):
            yield (slice(part.start, part.stop),)


def _slices(sizes: Sequence[int]) -> list[slice]:
    ends = np.cumsum(sizes).tolist()
    return [slice(end - size, end) for end, size in zip(ends, sizes)]


def _add_fills_and_pointers(made: Plan, dataset: xarray.Dataset) -> None:
    """Add the attributes that a dataset need not have, and say which they are."""
    added: dict[str, list[str]] = {}
    for planned in made.variables.values():
        if planned.fill is not None and "FILLVAL" not in planned.attrs:
            planned.attrs["FILLVAL"] = planned.fill
            planned.types["FILLVAL"] = planned.datatype.name
            added.setdefault(planned.name, []).append("FILLVAL")
    for planned, attribute, dim in list(_missing_pointers(made)):
        if attribute not in planned.attrs:
            added.setdefault(planned.name, []).append(attribute)
        planned.attrs[attribute] = dim
    text = as_text(Marks(*_unsaid(made, dataset), added))
    if text is not None:
        if ATTRIBUTE in made.attrs:
            raise ValueError(f"the attribute {ATTRIBUTE!r} of the dataset is used for other things")
        made.attrs[ATTRIBUTE] = text


def _missing_pointers(made: Plan) -> Iterator[tuple[Planned, str, str]]:
    """The DEPEND_n that name coordinates which the attributes do not lead to."""
    dimensions = _named(made, {}).dimensions
    for planned in made.variables.values():
        for axis, (dim, found) in enumerate(zip(planned.source.dims, dimensions[planned.name])):
            target = made.variables.get(str(dim))
            if dim == found or target is None or target is planned:
                continue
            number = axis + (not planned.record_vary)
            if target.source.dims == (dim,) and target.record_vary == (number == 0):
                labels = target.datatype.is_text and number > 0
                yield planned, f"{'LABL_PTR' if labels else 'DEPEND'}_{number}", str(dim)


def _named(made: Plan, stored: Mapping[str, Sequence[str]]) -> Any:
    return name_dimensions({n: planned.layout for n, planned in made.variables.items()}, stored)


def _unsaid(made: Plan, dataset: xarray.Dataset) -> tuple[dict[str, list[str]], list[str] | None]:
    """The names of dimensions, and the coordinates, that do not follow from the attributes."""
    wanted = {name: planned.source.dims for name, planned in made.variables.items()}
    stored: dict[str, list[str]] = {}
    names = _named(made, stored)
    while names.dimensions != wanted:
        other = [name for name, dims in wanted.items() if dims != names.dimensions[name]]
        if stored.keys() >= set(other):
            raise ValueError(f"the names of the dimensions {wanted[other[0]]} cannot be stored")
        stored.update({name: [*map(str, wanted[name])] for name in other})
        names = _named(made, stored)
    coordinates = {*map(str, dataset.coords)}
    return stored, None if names.coordinates == coordinates else sorted(coordinates)


def _check_scopes(made: Plan) -> None:
    """A CDF attribute belongs to the file or to variables."""
    for planned in made.variables.values():
        for title in planned.attrs.keys() & made.attrs.keys():
            raise ValueError(
                f"the attribute {title!r} belongs to the dataset and to the variable "
                f"{planned.name!r}; in a CDF file it can belong to one of them: rename it"
            )
