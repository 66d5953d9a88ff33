"""Files for tests: variables with the attributes that missions use."""

import numpy as np
import tarvik
from tarvik import constants as c
from test_layouts import TEXT, turned

x = tarvik.ops
INT8, TT2000 = c.CDF_INT8, c.CDF_TIME_TT2000
NOON_2020 = 631_152_069_184_000_000  # 2020-01-01T12:00 in TT2000
KINDS = {"f4": c.CDF_REAL4, "f8": c.CDF_DOUBLE, "i2": c.CDF_INT2, "i8": INT8}


def kind_of(value):
    return c.CDF_CHAR if isinstance(value, str) else KINDS[np.asarray(value).dtype.str[1:]]


def write(path, variables, majority=c.ROW_MAJOR, texts=()):
    """Make a file.

    Parameters
    ----------
    path : path-like
    variables : dict
        By name the values in the order of a reader in C, whether they vary by record, the
        attributes, and a datatype where the values do not tell it.
    majority : Majority
    texts : iterable of (str, object)
        Global entries: the attribute and the value.
    """
    with x.create(path) as file:
        x.setMajority(file, majority)
        numbers = {}
        for title, value in texts:
            if title not in numbers:
                numbers[title] = x.createAttr(file, title, c.GLOBAL_SCOPE)
            entry = x.getNumAttrgEntries(file, numbers[title])
            x.putAttrgEntry(file, numbers[title], entry, kind_of(value), value)
        for name, (values, varies, attributes, *datatype) in variables.items():
            values = np.asarray(values) if varies else np.asarray(values)[None]
            datatype = datatype[0] if datatype else None
            length, cells = 1, values
            if values.dtype.kind == "S":
                datatype, length = c.CDF_CHAR, values.itemsize
                cells = np.ascontiguousarray(values[..., None]).view("S1")
            rank = values.ndim - 1 - (datatype == c.CDF_EPOCH16)
            cells = turned(cells, 1, rank, majority)
            extents = cells.shape[cells.ndim - 1 - rank : -1]
            datatype = kind_of(values) if datatype is None else datatype
            variable = x.createVar(file, name, datatype, length, extents, varies, [True] * rank)
            if len(values):
                zeros, ones = [0] * rank, [1] * rank
                x.hyperPutVarData(file, variable, 0, len(values), 1, zeros, extents, ones, cells)
            for title, value in attributes.items():
                if title not in numbers:
                    numbers[title] = x.createAttr(file, title, c.VARIABLE_SCOPE)
                own = title in ("FILLVAL", "VALIDMIN", "VALIDMAX")
                kind = datatype if own and datatype not in TEXT else kind_of(value)
                x.putAttrEntry(file, numbers[title], variable, kind, value)


def times(records, step=60_000_000_000):
    return NOON_2020 + step * np.arange(records)
