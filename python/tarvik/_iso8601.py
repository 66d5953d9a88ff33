"""Stored times as text in ISO 8601, which holds any year and leap seconds."""

from __future__ import annotations

import numpy as np

from tarvik._plugin import call
from tarvik.datatypes import Datatype

__all__ = ["as_text"]

# The parts of a time, each with what stands before it; then three digits for each part of a second.
_PARTS = (("", 4), ("-", 2), ("-", 2), ("T", 2), (":", 2), (":", 2))


def as_text(stored: np.ndarray, datatype: Datatype) -> np.ndarray:
    """Return texts of times. Those of CDF_TIME_TT2000 are UTC; a leap second is ":60".

    Parameters
    ----------
    stored : numpy.ndarray
        Times as they are in the file; complex for CDF_EPOCH16.
    datatype : Datatype

    Returns
    -------
    numpy.ndarray of object
        Of the same shape; an empty text for what is not finite.
    """
    flat = np.ravel(stored)
    if flat.size == 0:
        return np.empty(np.shape(stored), object)
    parts = _BREAKDOWNS[datatype.name](flat).reshape((-1, flat.size), order="F").astype(np.int64)
    texts = _iso(parts).astype(object)
    texts[~np.isfinite(flat)] = ""
    return texts.reshape(np.shape(stored))


def _epoch16_parts(times: np.ndarray) -> np.ndarray:
    return call("epoch16Breakdown", np.asfortranarray([times.real, times.imag]))


_BREAKDOWNS = {
    "CDF_EPOCH": lambda times: call("epochBreakdown", times),
    "CDF_EPOCH16": _epoch16_parts,
    "CDF_TIME_TT2000": lambda times: call("tt2000Breakdown", times),
}


def _iso(parts: np.ndarray) -> np.ndarray:
    """Texts of one width, written digit by digit for all times at once."""
    layout = (*_PARTS, (".", 3), ("", 3), ("", 3))[: len(parts)]
    width = sum(len(mark) + digits for mark, digits in layout)
    characters = np.empty((parts.shape[1], width), np.uint8)
    place = 0
    for numbers, (mark, digits) in zip(parts, layout):
        if mark:
            characters[:, place] = ord(mark)
        place += len(mark) + digits
        for power in range(digits):
            characters[:, place - 1 - power] = numbers // 10**power % 10 + ord("0")
    return characters.view(f"S{width}").ravel().astype(f"U{width}")
