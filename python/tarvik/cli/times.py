"""Times of the three CDF types of times as text, through the gateway's own conversions."""

import numpy as np

from tarvik import extended

_BREAKDOWNS = {
    "cdf_epoch": extended.epochBreakdown,
    "cdf_epoch16": extended.epoch16Breakdown,
    "cdf_time_tt2000": extended.tt2000Breakdown,
}


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
        An array of texts; None for another datatype.
    """
    breakdown = _BREAKDOWNS.get(datatype)
    if breakdown is None:
        return None
    parts = breakdown(np.asfortranarray(values))
    shape = values.shape[1:] if datatype == "cdf_epoch16" else values.shape
    columns = parts.reshape((parts.shape[0], -1), order="F").T.astype(np.int64)
    texts = [_iso(column) if ok else "" for column, ok in zip(columns, _finite(datatype, values))]
    return np.array(texts, dtype=object).reshape(shape, order="F")


def _finite(datatype, values):
    if datatype == "cdf_epoch16":
        return np.isfinite(values).all(axis=0).ravel(order="F")
    return np.isfinite(values).ravel(order="F")


def _iso(parts):
    year, month, day, hour, minute, second, *fraction = parts
    digits = "".join(f"{part:03d}" for part in fraction)
    return f"{year:04d}-{month:02d}-{day:02d}T{hour:02d}:{minute:02d}:{second:02d}.{digits}"
