"""Whole files as a reader in C sees them: records first, then the dimensions in the file's order.

`tarvik.xarray` and `tarvik plot` share this. It is made of gateway operations, and has a file open
only while one of its functions runs.
"""

import os
from dataclasses import dataclass, field

import numpy as np

from tarvik import ops
from tarvik._order import to_reader
from tarvik.cli.times import as_text
from tarvik.times import to_datetime64

__all__ = ["Content", "Variable", "describe", "read"]

TEXTS = frozenset({"cdf_char", "cdf_uchar"})
TIMES = frozenset({"cdf_epoch", "cdf_epoch16", "cdf_time_tt2000"})
# A value of `cdf_epoch16` is a complex number: seconds, and picoseconds within the second.
_NUMBERS = {
    "f4": ["cdf_real4", "cdf_float"],
    "f8": ["cdf_real8", "cdf_double", "cdf_epoch"],
    "i1": ["cdf_int1", "cdf_byte"],
    "i2": ["cdf_int2"],
    "i4": ["cdf_int4"],
    "i8": ["cdf_int8", "cdf_time_tt2000"],
    "u1": ["cdf_uint1"],
    "u2": ["cdf_uint2"],
    "u4": ["cdf_uint4"],
    "c16": ["cdf_epoch16"],
}
_LOWEST_USUAL = -32000  # the library's own pad values of two bytes and more are below
_NAT = np.datetime64("NaT", "ns")
_DTYPES = {name: np.dtype(code) for code, names in _NUMBERS.items() for name in names}


@dataclass(frozen=True)
class Variable:
    """What is known of a variable before its values are read.

    Attributes
    ----------
    number : int
    name, datatype : str
        The datatype as inquiries give it, "cdf_real4" for example.
    varies : bool
        Whether it has a value for each record, or one for all of them.
    shape : tuple of int
        The number of records, where it varies, and the dimensions.
    stored : numpy.dtype
        Of the values in the file; bytes for text.
    row_major : bool
    attributes : dict
        Its entries by the attributes' names.
    fill : numpy.generic or None
        The entry of FILLVAL, in the dtype of the values; None where none of them could be it.
    pad : numpy.generic or None
        What unwritten records read as, where that stands out: a negative number of many digits.
    """

    number: int
    name: str
    datatype: str
    varies: bool
    shape: tuple
    stored: np.dtype
    row_major: bool
    attributes: dict = field(default_factory=dict)
    fill: object = None
    pad: object = None

    @property
    def extents(self):
        return self.shape[1:] if self.varies else self.shape

    def dtype(self, times=True):
        """The dtype of the values as `read` gives them."""
        if self.datatype in TEXTS:
            return np.dtype(f"U{self.stored.itemsize}")
        return _NAT.dtype if times and self.datatype in TIMES else self.stored

    def word(self, attribute):
        """The text of an entry without blanks around it; "" where there is no such text."""
        value = self.attributes.get(attribute)
        return value.strip() if isinstance(value, str) else ""


@dataclass(frozen=True)
class Content:
    """A file's variables by name, and its global attributes."""

    variables: dict
    attributes: dict


def describe(path):
    """Read all of a file but the values of its variables.

    An attribute that has several global entries is a list of them. A number alone is a NumPy
    scalar, several are an array; times are texts in ISO 8601, which hold any year and leap seconds.
    """
    with ops.open(os.fsencode(path)) as file:
        facts = ops.inquire(file)
        own, shared = [{} for _ in range(int(facts.numVariables))], {}
        for number in range(int(facts.numAttributes)):
            attribute = ops.inquireAttr(file, number)
            if attribute.scope == "GLOBAL_SCOPE":
                numbers = range(int(attribute.maxgEntry) + 1)
                found = entries(file, "g", number, numbers)
                values = [_plain(datatype, value) for _, datatype, _, value in found]
                if values:
                    shared[attribute.name] = values if len(values) > 1 else values[0]
            else:
                numbers = range(min(len(own), int(attribute.maxEntry) + 1))
                for owner, datatype, _, value in entries(file, "", number, numbers):
                    own[owner][attribute.name] = datatype, value
        row_major = facts.majority == "ROW_MAJOR"
        variables = [_variable(file, n, row_major, own[n]) for n in range(len(own))]
    return Content({variable.name: variable for variable in variables}, shared)


def entries(file, kind, attribute, numbers, call=ops.call):
    """Yield number, datatype, elements and value of the entries that there are among these.

    The kind is "g" for those of the file, otherwise empty. The call is the file's gateway's.
    """
    for number in numbers:
        place = (file, attribute, number)
        try:
            datatype, elements = call(f"inquireAttr{kind}Entry", *place)
        except KeyError:  # there need not be one of each number
            continue
        yield number, datatype, int(elements), call(f"getAttr{kind}Entry", *place)


def _plain(datatype, value):
    if isinstance(value, str):
        return _decoded(value.encode("utf-8", "surrogateescape"))
    if datatype in TIMES:
        texts = as_text(datatype, np.atleast_2d(value)).ravel().tolist()
        return texts if len(texts) > 1 else texts[0]
    items = np.ravel(value)
    return items if items.size != 1 else items[0]


def _decoded(text):
    """UTF-8, or where it is none Latin-1, in which any byte is a character."""
    try:
        return text.decode("utf-8")
    except UnicodeDecodeError:
        return text.decode("latin-1")


def _variable(file, number, row_major, own):
    name, datatype, elements, extents, varies, _ = ops.inquireVar(file, number)
    shape = tuple(np.ravel(extents).astype(int).tolist())[:: -1 if row_major else 1]
    if varies:
        shape = (int(ops.getVarMaxWrittenRecNum(file, number)) + 1, *shape)
    stored = np.dtype(f"S{int(elements)}") if datatype in TEXTS else _DTYPES[datatype]
    attributes = {title: _plain(*entry) for title, entry in own.items()}
    fill = _fill(stored, *own["FILLVAL"]) if "FILLVAL" in own else None
    pad = _pad(file, number) if stored.kind in "if" and datatype not in TIMES else None
    return Variable(
        number, name, datatype, bool(varies), shape, stored, row_major, attributes, fill, pad
    )


def _pad(file, number):
    pad = np.ravel(ops.getVarPadValue(file, number))[0]
    return pad if pad < _LOWEST_USUAL else None


def _fill(stored, datatype, value):
    if isinstance(value, str) or stored.kind == "S":
        return None
    value = _halves_joined(np.asfortranarray(value)) if datatype == "cdf_epoch16" else value
    value = np.ravel(value)[:1]
    with np.errstate(over="ignore", invalid="ignore"):
        fill = value.astype(stored)
    same = np.array_equal(fill, value) or (stored.kind == "f" and not np.isnan(fill).any())
    return fill[0] if same and fill.size else None


def read(path, variable, key, times=True):
    """Read a part of a variable.

    Parameters
    ----------
    path : str
    variable : Variable
    key : tuple of int or slice
        One for each dimension of its shape, with steps above zero.
    times : bool
        Whether times become `datetime64[ns]`; otherwise they are the numbers in the file.

    Returns
    -------
    numpy.ndarray
        Text decoded and without the blanks and NULs behind its end, which fill it up to the
        variable's length. NaT for times that are none: see `tarvik.times.to_datetime64`.
    """
    runs = [
        range(n)[part] if isinstance(part, slice) else range(part, part + 1)
        for part, n in zip(key, variable.shape)
    ]
    values = _read_runs(path, variable, runs)
    values = values[tuple(slice(None) if isinstance(part, slice) else 0 for part in key)]
    if variable.datatype in TEXTS:
        return _texts(values).astype(variable.dtype())
    return _times(variable, values) if times and variable.datatype in TIMES else values


def _read_runs(path, variable, runs):
    """Read a hyperslab: of each dimension the indices that a range has."""
    shape = tuple(map(len, runs))
    if 0 in shape:
        return np.empty(shape, variable.stored)
    record, *rest = runs if variable.varies else (range(1), *runs)
    rest = rest[:: -1 if variable.row_major else 1]
    place = [run.start for run in rest], [len(run) for run in rest], [run.step for run in rest]
    with ops.open(os.fsencode(path)) as file:
        raw = ops.hyperGetVarData(
            file, variable.number, record.start, len(record), record.step, *place
        )
    return _turned(variable, raw, tuple(place[1]), len(record)).reshape(shape)


def _turned(variable, raw, counts, records):
    """From the gateway's order, with records last, to that of a reader in C."""
    if variable.datatype == "cdf_epoch16":
        raw = _halves_joined(raw)
    item = (variable.stored.itemsize,) if variable.datatype in TEXTS else ()
    cells = to_reader(raw, item, counts, records, variable.row_major)
    return np.ascontiguousarray(cells).view(variable.stored)[..., 0] if item else cells


def _halves_joined(raw):
    return np.ravel(raw, order="F").view("c16")


def _texts(values):
    try:
        texts = np.char.decode(values, "utf-8")
    except UnicodeDecodeError:
        flat = [_decoded(text) for text in values.ravel().tolist()]
        texts = np.array(flat).reshape(values.shape)
    return np.char.rstrip(texts)


def _times(variable, values):
    raw = values
    if variable.datatype == "cdf_epoch16":
        raw = np.stack([values.real, values.imag])
    times = to_datetime64(raw, variable.datatype)
    return times if variable.fill is None else np.where(values == variable.fill, _NAT, times)
