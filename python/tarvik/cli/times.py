"""Times of the three CDF types of times as text, through the gateway's own conversions."""

import numpy as np

from tarvik import ops

_BREAKDOWNS = {
    "cdf_epoch": ops.epochBreakdown,
    "cdf_epoch16": ops.epoch16Breakdown,
    "cdf_time_tt2000": ops.tt2000Breakdown,
}
# The parts of a time, each with what stands before it; then three digits for each part of a second.
_PARTS = (("", 4), ("-", 2), ("-", 2), ("T", 2), (":", 2), (":", 2))


def is_time(datatype):
    return datatype in _BREAKDOWNS


def as_text(datatype, values):
    """Return ISO 8601 texts of times. Those of `cdf_time_tt2000` are UTC; a leap second is ":60".

    Parameters
    ----------
    datatype : str
        The datatype of the values.
    values : numpy.ndarray
        Times; those of `cdf_epoch16` have a first dimension of two.

    Returns
    -------
    numpy.ndarray or None
        An array of texts, empty ones for what is not finite; None for another datatype.
    """
    breakdown = _BREAKDOWNS.get(datatype)
    if breakdown is None:
        return None
    parts = breakdown(np.asfortranarray(values))
    columns = parts.reshape((parts.shape[0], -1), order="F").astype(np.int64)
    finite = np.isfinite(values)
    if datatype == "cdf_epoch16":
        finite = finite.all(axis=0)
    texts = _iso(columns).astype(object)
    texts[~finite.ravel(order="F")] = ""
    return texts.reshape(finite.shape, order="F")


def _iso(parts):
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
