"""Times of the two CDF epoch types as text, through the gateway's own conversions."""

import numpy as np

from tarvik import call

_BREAKDOWNS = {"cdf_epoch": "epochBreakdown", "cdf_epoch16": "epoch16Breakdown"}


def as_text(datatype, values):
    """Return ISO 8601 texts of epochs.

    Parameters
    ----------
    datatype : str
        The datatype of the values.
    values : numpy.ndarray
        Epochs; those of `cdf_epoch16` have a first dimension of two.

    Returns
    -------
    numpy.ndarray or None
        An array of texts; None for another datatype.
    """
    operation = _BREAKDOWNS.get(datatype)
    if operation is None:
        return None
    parts = call(operation, np.asfortranarray(values))
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
