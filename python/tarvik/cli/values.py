"""Values as the gateway gives them, as Python's own numbers, texts and lists."""

import numpy as np

from tarvik._reader import TEXTS
from tarvik.cli import times
from tarvik.cli.gateway import call

_MAX_VALUES = 1_000_000


def of_entry(datatype, value):
    """Return the "value" of an attribute entry, and its "times" where it is some.

    One item stands alone, several are a list; an item of `cdf_epoch16` is a list of two numbers.
    """
    if isinstance(value, str):
        return {"value": value, "times": None}
    row = np.atleast_2d(value)
    return _described(datatype, row if datatype == "cdf_epoch16" else row[0], _items)


def of_first_records(file, variable, records):
    """Return the "values" of a variable's first records, and their "times" where they are some.

    Each record is an item, or items in nested lists in the order of the variable's dimensions.
    """
    dimensions = variable["dimensions"]
    records = min(records, max(1, _MAX_VALUES // int(np.prod([1, *dimensions]))))
    if records == 0:
        return {"values": [], "times": None}
    zeros, ones = [0] * len(dimensions), [1] * len(dimensions)
    raw = call("hyperGetVarData", file, variable["number"], 0, records, 1, zeros, dimensions, ones)
    datatype = variable["datatype"]
    shape = (*dimensions, records)
    if datatype in TEXTS:
        return {"values": _by_record(strings(raw, variable["elements"], shape)), "times": None}
    pair = (2,) if datatype == "cdf_epoch16" else ()
    found = _described(datatype, np.reshape(raw, pair + shape, order="F"), _by_record)
    return {"values": found["value"], "times": found["times"]}


def _described(datatype, array, as_lists):
    texts = times.as_text(datatype, array)
    if datatype == "cdf_epoch16":
        array = _pairs(array)
    if array.dtype == np.float32:
        array = array.astype("U32").astype(float)  # 0.1, not 0.10000000149011612
    return {"value": as_lists(array), "times": None if texts is None else as_lists(texts)}


def _pairs(array):
    """The two numbers along the first dimension as one item."""
    pairs = np.empty(array.shape[1:], dtype=object)
    for index in np.ndindex(pairs.shape):
        pairs[index] = array[(slice(None), *index)].tolist()
    return pairs


def _items(row):
    items = row.tolist()
    return items[0] if len(items) == 1 else items


def _by_record(array):
    return np.moveaxis(array, -1, 0).tolist()


def strings(raw, length, shape):
    """Return an array of texts from the single characters that lie along the first dimension."""
    if isinstance(raw, str):
        raw = np.frombuffer(raw.encode("utf-8", "surrogateescape"), "S1")
    characters = np.reshape(raw, (length, *shape), order="F").tobytes("F")
    starts = range(0, len(characters), length)
    texts = np.empty(len(starts), dtype=object)
    for index, start in enumerate(starts):
        text = characters[start : start + length].rstrip(b"\0")
        texts[index] = text.decode("utf-8", "surrogateescape")
    return texts.reshape(shape, order="F")
