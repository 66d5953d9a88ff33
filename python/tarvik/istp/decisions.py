"""Attributes that follow from a variable's datatype, shape and values.

Each function decides one attribute and touches no file. Values are as they are stored.
"""

from __future__ import annotations

from typing import Any

import numpy as np

from tarvik._epochs import KINDS
from tarvik.datatypes import datatype_named

__all__ = [
    "display_type",
    "fill_value",
    "format_of",
    "limits",
    "monoton",
    "time_units",
    "var_type",
]

_FILLS: dict[str, float] = {
    "i1": -128,
    "i2": -32768,
    "i4": -(2**31),
    "i8": -(2**63),
    "u1": 2**8 - 1,
    "u2": 2**16 - 1,
}
_FILLS |= {"u4": 2**32 - 1, "f4": -1e31, "f8": -1e31}  # by the dtype
_TIME_WIDTHS = {"CDF_EPOCH": 23, "CDF_EPOCH16": 32, "CDF_TIME_TT2000": 29}  # in ISO 8601
_TIME_UNITS = {"CDF_EPOCH": "ms", "CDF_EPOCH16": "ps", "CDF_TIME_TT2000": "ns"}
_FLOAT_FORMATS = {4: "E13.6", 8: "E22.15"}  # all digits that the datatype has


def fill_value(datatype: Any) -> Any:
    """FILLVAL: the one that the guidelines give for a datatype, as it is stored."""
    found = datatype_named(datatype)
    if found.is_text:
        return b" "
    if found.is_time:
        return KINDS[found.inquired].fill
    return found.stored.type(_FILLS[found.stored.str[1:]])


def var_type(datatype: Any, record_vary: bool, *, axis: bool) -> str:
    """VAR_TYPE; `axis` is for a variable that another one names in DEPEND_n or DELTA_..._VAR."""
    found = datatype_named(datatype)
    if found.is_text:
        return "metadata"
    return "support_data" if axis or found.is_time or not record_vary else "data"


def limits(datatype: Any, extremes: tuple[Any, Any] | None) -> tuple[Any, Any] | None:
    """VALIDMIN and VALIDMAX: the lowest and the highest value, or all that the datatype holds.

    Text has none, and times without values neither.
    """
    found = datatype_named(datatype)
    if found.is_text or (extremes is None and found.is_time):
        return None
    if extremes is not None:
        return extremes
    info = np.finfo(found.stored) if found.stored.kind == "f" else np.iinfo(found.stored)
    return found.stored.type(info.min), found.stored.type(info.max)


def format_of(datatype: Any, elements: int, extremes: tuple[Any, Any] | None) -> str:
    """FORMAT: wide enough for all digits of floats, and for the values and FILLVAL of integers.

    `elements` are the bytes of a text.
    """
    found = datatype_named(datatype)
    if found.is_text:
        return f"A{elements}"
    if found.is_time:
        return f"A{_TIME_WIDTHS[found.name]}"
    if found.stored.kind == "f":
        return _FLOAT_FORMATS[found.stored.itemsize]
    widest = max(len(str(int(value))) for value in (fill_value(found), *(extremes or ())))
    return f"I{widest}"


def display_type(dimensions: int, *, numeric_axis: bool) -> str | None:
    """DISPLAY_TYPE of data; None where several are right.

    `dimensions` are those of a record; `numeric_axis` says whether DEPEND_1 names numbers.
    """
    if dimensions == 0:
        return "time_series"
    return "spectrogram" if numeric_axis else None


def monoton(rises: bool, falls: bool, repeats: bool) -> str:
    """MONOTON of values of which some are above, below or the same as the one before."""
    if falls and not rises and not repeats:
        return "DECREASE"
    return "FALSE" if falls or repeats else "INCREASE"


def time_units(datatype: Any) -> str | None:
    """UNITS of a time variable; None for other datatypes."""
    return _TIME_UNITS.get(datatype_named(datatype).name)
