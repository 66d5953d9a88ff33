"""The datatypes of CDF files, and values between users and what is stored."""

from __future__ import annotations

import datetime
from collections.abc import Callable
from dataclasses import dataclass
from typing import Any

import numpy as np

from tarvik._epochs import KINDS
from tarvik.times import from_datetime, from_datetime64, from_text, to_datetime64

__all__ = ["DATATYPES", "Datatype", "datatype_named", "datatype_of", "decode_text"]

_NAT = np.datetime64("NaT", "ns")


@dataclass(frozen=True)
class Datatype:
    """One datatype.

    Attributes
    ----------
    name : str
        "CDF_REAL4", for example.
    code : int
        The library's number.
    stored : numpy.dtype
        Of a value in the file. "S1" for text, whose values have as many bytes as their variable
        says; complex for CDF_EPOCH16: seconds, and picoseconds within the second.
    """

    name: str
    code: int
    stored: np.dtype

    @property
    def is_text(self) -> bool:
        return self.stored.kind == "S"

    @property
    def is_time(self) -> bool:
        return self.inquired in KINDS

    @property
    def inquired(self) -> str:
        """The name as inquiries give it, "cdf_real4" for example."""
        return self.name.lower()

    def dtype(self, elements: int) -> np.dtype:
        """The dtype of stored values with so many characters."""
        return np.dtype(f"S{elements}") if self.is_text else self.stored


_CODES = {
    "CDF_BYTE": (41, "i1"),
    "CDF_INT1": (1, "i1"),
    "CDF_INT2": (2, "i2"),
    "CDF_INT4": (4, "i4"),
    "CDF_INT8": (8, "i8"),
    "CDF_UINT1": (11, "u1"),
    "CDF_UINT2": (12, "u2"),
    "CDF_UINT4": (14, "u4"),
    "CDF_REAL4": (21, "f4"),
    "CDF_FLOAT": (44, "f4"),
    "CDF_REAL8": (22, "f8"),
    "CDF_DOUBLE": (45, "f8"),
    "CDF_EPOCH": (31, "f8"),
    "CDF_EPOCH16": (32, "c16"),
    "CDF_TIME_TT2000": (33, "i8"),
    "CDF_CHAR": (51, "S1"),
    "CDF_UCHAR": (52, "S1"),
}
DATATYPES = {name: Datatype(name, code, np.dtype(d)) for name, (code, d) in _CODES.items()}
_BY_CODE = {datatype.code: datatype for datatype in DATATYPES.values()}
# What values of a dtype are stored as unless a datatype is named.
_DEFAULTS = {
    "f4": "CDF_REAL4",
    "f8": "CDF_REAL8",
    "i1": "CDF_INT1",
    "i2": "CDF_INT2",
    "i4": "CDF_INT4",
    "i8": "CDF_INT8",
    "u1": "CDF_UINT1",
    "u2": "CDF_UINT2",
    "u4": "CDF_UINT4",
}


def datatype_named(name: Any) -> Datatype:
    """Find a datatype by its name in any letter case, its number or its constant.

    Raises
    ------
    ValueError
        If there is none.
    """
    if isinstance(name, Datatype):
        return name
    found = DATATYPES.get(name.upper()) if isinstance(name, str) else _BY_CODE.get(name)
    if found is None:
        raise ValueError(f"{name!r} is no CDF datatype; there are {', '.join(DATATYPES)}")
    return found


def datatype_of(values: np.ndarray) -> Datatype:
    """Choose the datatype for an array: see the table of defaults.

    Raises
    ------
    TypeError
        If none holds such values.
    """
    kind = values.dtype.kind
    if kind in "SU" or _all_are(values, (str, bytes)):
        return DATATYPES["CDF_CHAR"]
    if kind == "M" or _all_are(values, datetime.datetime):
        return DATATYPES["CDF_TIME_TT2000"]
    default = _DEFAULTS.get(values.dtype.str[1:])
    if default is None:
        raise TypeError(
            f"no CDF datatype holds values of dtype {values.dtype}; convert them with astype, for "
            "example to float64, int64 or a string dtype"
        )
    return DATATYPES[default]


def as_given(values: Any) -> np.ndarray:
    """A user's values as an array, masked if they are."""
    return values if isinstance(values, np.ma.MaskedArray) else np.asarray(values)


def text_length(values: np.ndarray) -> int:
    """The bytes of the longest text, in UTF-8; 1 at least, as an empty text cannot be stored."""
    return max(1, _encoded(values).dtype.itemsize)


def to_user(stored: np.ndarray, datatype: Datatype, fill: Any = None) -> np.ndarray:
    """Turn stored values into those that users see.

    Parameters
    ----------
    stored : numpy.ndarray
        In the dtype of the datatype.
    datatype : Datatype
    fill : numpy.generic, optional
        The stored value that stands for no time.

    Returns
    -------
    numpy.ndarray
        Text as `str`, without the blanks and NULs that fill it up; times as `datetime64[ns]`, NaT
        for the fill value and for what is no time; numbers as they are.
    """
    if datatype.is_text:
        return _decoded(stored)
    if not datatype.is_time:
        return stored
    times = to_datetime64(stored, datatype.inquired)
    return times if fill is None else np.where(stored == fill, _NAT, times)


def to_stored(values: Any, datatype: Datatype, elements: int = 1, fill: Any = None) -> np.ndarray:
    """Turn a user's values into what is stored.

    Parameters
    ----------
    values : array_like
    datatype : Datatype
    elements : int
        The characters of each value of text.
    fill : numpy.generic, optional
        What NaT is stored as; otherwise the usual fill value of the datatype.

    Raises
    ------
    TypeError
        If values of this kind cannot be stored so.
    OverflowError
        If a number or a time does not fit.
    ValueError
        If a text has more bytes than the variable, or is no time.
    """
    given = np.asarray(values)
    if datatype.is_text:
        return _texts(given, datatype, elements)
    if datatype.is_time and given.dtype.kind in "MSUO":
        return _times(given, datatype, fill)
    return _numbers(given, datatype)


def _all_are(values: np.ndarray, kinds: Any) -> bool:
    return values.dtype.kind == "O" and all(isinstance(item, kinds) for item in values.flat)


def _decoded(stored: np.ndarray) -> np.ndarray:
    try:
        texts = np.char.decode(stored, "utf-8")
    except UnicodeDecodeError:
        texts = np.array([decode_text(text) for text in stored.ravel().tolist()])
    # NumPy takes NULs at the end for nothing; other white space belongs to the text.
    texts = np.asarray(np.char.rstrip(texts, " "))
    return texts.reshape(stored.shape).astype(f"U{stored.dtype.itemsize}")


def decode_text(text: bytes) -> str:
    """Decode UTF-8, or where it is none Latin-1, in which any byte is a character."""
    try:
        return text.decode("utf-8")
    except UnicodeDecodeError:
        return text.decode("latin-1")


def _encoded(values: np.ndarray) -> np.ndarray:
    if values.dtype.kind == "S":
        return values
    if values.dtype.kind == "U" or _all_are(values, str):
        return np.char.encode(values.astype(str), "utf-8")
    if _all_are(values, (str, bytes)):
        items = [item if isinstance(item, bytes) else item.encode() for item in values.flat]
        return np.array(items).reshape(values.shape)
    raise TypeError(f"CDF_CHAR and CDF_UCHAR take text, not values of dtype {values.dtype}")


def _texts(values: np.ndarray, datatype: Datatype, elements: int) -> np.ndarray:
    encoded = _encoded(values)
    if _have_nuls(encoded):
        raise ValueError("of a text with NUL characters nothing is read behind the first one")
    lengths = np.char.str_len(encoded)
    if encoded.size and lengths.max() > elements:
        longest = encoded.ravel()[lengths.argmax()]
        raise ValueError(
            f"{longest.decode('utf-8', 'replace')!r} has {len(longest)} bytes, but values of "
            f"{datatype.name} have {elements} here"
        )
    return np.char.ljust(encoded, elements).astype(f"S{elements}")


def _have_nuls(texts: np.ndarray) -> bool:
    """Whether a character comes behind a NUL; NumPy fills texts up with them."""
    flat = np.ascontiguousarray(texts).reshape(-1)
    codes = flat.view(np.uint8).reshape((flat.size, -1))
    return bool(((codes[:, :-1] == 0) & (codes[:, 1:] != 0)).any())


def _times(values: np.ndarray, datatype: Datatype, fill: Any) -> np.ndarray:
    name = datatype.inquired
    none = KINDS[name].fill
    try:
        stored = np.asarray(_convert_to_time(values)(values, name))
    except (ValueError, TypeError) as error:
        raise type(error)(f"{datatype.name} takes times: {error}") from None
    unread = np.isnat(to_datetime64(stored, name)) & (stored != none)
    if unread.any():
        raise OverflowError(
            f"{values[unread].ravel()[0]} does not fit {datatype.name}, which is read as "
            "datetime64[ns]: times are of the years 1678 to 2261"
        )
    return stored if fill is None else np.where(stored == none, fill, stored)


def _convert_to_time(values: np.ndarray) -> Callable[[Any, str], Any]:
    if values.dtype.kind == "M":
        return from_datetime64
    return (
        from_text if values.dtype.kind in "SU" or _all_are(values, (str, bytes)) else from_datetime
    )


def _numbers(values: np.ndarray, datatype: Datatype) -> np.ndarray:
    stored = datatype.stored
    if values.dtype == stored:
        return values
    integers = values.dtype.kind in "iub" and stored.kind in "iu"
    if values.dtype.kind == "O" and all(isinstance(item, int) for item in values.flat):
        integers = stored.kind in "iu"  # numbers beyond 64 bits
    if not integers and not np.can_cast(values.dtype, stored, "same_kind"):
        raise TypeError(f"{datatype.name} takes {stored}, not values of dtype {values.dtype}")
    if integers and values.size:
        limits = np.iinfo(stored)
        wrong = values.min() if values.min() < limits.min else values.max()
        if not limits.min <= wrong <= limits.max:
            raise OverflowError(
                f"{wrong} of dtype {values.dtype} does not fit {datatype.name} ({stored})"
            )
    try:
        with np.errstate(over="raise"):
            return values.astype(stored)
    except FloatingPointError:
        raise OverflowError(
            f"values of dtype {values.dtype} do not fit {datatype.name} ({stored})"
        ) from None
