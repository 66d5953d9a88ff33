"""What the settings of files and variables are called, and what the library takes for them."""

from __future__ import annotations

from typing import Any

import numpy as np

from tarvik.datatypes import DATATYPES, Datatype, datatype_named, datatype_of, text_length

COMPRESSIONS = {"gzip": 5, "rle": 1, "huffman": 2, "ahuffman": 3}
SPARSE = {"pad": 1, "previous": 2}
MAJORITIES = {"row": 1, "column": 2}
CHECKSUMS = {None: 0, "md5": 1}
FORMATS = {"single": 1, "multi": 2}
SPARSE_NAMES = {
    "NO_SPARSERECORDS": None,
    "PAD_SPARSERECORDS": "pad",
    "PREV_SPARSERECORDS": "previous",
}
_COMPRESSION_NAMES = {
    "GZIP_COMPRESSION": "gzip",
    "RLE_COMPRESSION": "rle",
    "HUFF_COMPRESSION": "huffman",
    "AHUFF_COMPRESSION": "ahuffman",
}


def code_of(what: str, name: Any, codes: dict) -> int:
    if name not in codes:
        known = ", ".join(repr(each) for each in codes)
        raise ValueError(f"{what} {name!r} is none of {known}")
    return codes[name]


def compression_of(text: str) -> list[int]:
    """The inputs of the operations that set a compression."""
    name, colon, level = text.partition(":")
    code = code_of("compression", name, COMPRESSIONS)
    if name != "gzip" and not colon:
        return [code]
    if name != "gzip" or (colon and not (level.isdigit() and 1 <= int(level) <= 9)):
        raise ValueError(f"compression {text!r} is none of gzip:1 to gzip:9")
    return [code, int(level or 6)]


def compression_name(kind: str, parameter: Any, _percentage: Any) -> str | None:
    """What the operations that inquire a compression give, as `compression_of` takes it."""
    name = _COMPRESSION_NAMES.get(kind)
    return f"gzip:{int(parameter)}" if name == "gzip" else name


def coded(majority: str, compression: str | None, checksum: str | None, kind: str) -> tuple:
    """The settings of a new file as the operations take them."""
    if kind == "multi" and (compression or checksum):
        raise ValueError("a CDF file of several files has neither compression nor checksum")
    return (
        code_of("majority", majority, MAJORITIES),
        None if compression is None else compression_of(compression),
        code_of("checksum", checksum, CHECKSUMS),
        code_of("format", kind, FORMATS),
    )


def storage_of(sparse: str | None, compression: str | None, blocking_factor: int | None) -> dict:
    """The operations that set how a variable is stored, in their order, with their inputs.

    Those without inputs are not needed.
    """
    return {
        "setVarSparseRecords": sparse and [code_of("sparse", sparse, SPARSE)],
        "setVarCompression": compression and compression_of(compression),
        "setVarBlockingFactor": blocking_factor and [blocking_factor],
    }


def kind_of(values: np.ndarray | None, datatype: Any) -> tuple[Datatype, int]:
    """The datatype of a new variable, and the characters of each value."""
    if datatype is None:
        if values is None:
            raise TypeError("a variable without data needs a datatype")
        found = datatype_of(values)
        return found, text_length(values) if found.is_text else 1
    try:
        found = datatype_named(datatype)
    except (ValueError, TypeError) as error:
        try:
            dtype = np.dtype(datatype)
        except TypeError:
            raise error from None
        if dtype.kind == "S" and dtype.itemsize:
            return DATATYPES["CDF_CHAR"], dtype.itemsize
        found = datatype_of(np.empty(0, dtype))
    if found.is_text:
        if values is None:
            raise TypeError("text without data needs a length: a datatype such as 'S8'")
        return found, text_length(values)
    return found, 1


def for_gateway(value: np.ndarray) -> Any:
    """One stored value as an input of an operation."""
    if value.dtype.kind == "S":
        return value.tobytes()
    return np.ravel(value).view("f8") if value.dtype.kind == "c" else np.ravel(value)
