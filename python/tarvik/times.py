"""Times of CDF files as NumPy's `datetime64`."""

import numpy as np

__all__ = ["to_datetime64"]

# From the beginning of the year 0 to that of 1970, in the Gregorian calendar.
_SECONDS_TO_1970 = 62_167_219_200
# Of `datetime64[ns]` on both sides of 1970: the seconds that it holds all of.
_LARGEST_SECONDS = np.iinfo(np.int64).max // 10**9 - 1
_NAT = np.iinfo(np.int64).min
# Small enough that what is computed on the way stays in the processor's caches.
_BLOCK = 1 << 14


def to_datetime64(times, datatype="cdf_epoch"):
    """Convert times to `datetime64[ns]`, which counts from 1970 and knows no leap seconds.

    Parameters
    ----------
    times : array_like
        Times as the gateway gives them. Those of `cdf_epoch16` have a first dimension of two.
    datatype : str
        Their datatype as inquiries give it: `cdf_epoch`, `cdf_epoch16` or `cdf_time_tt2000`.

    Returns
    -------
    numpy.ndarray of datetime64[ns]
        The same times; NaT for fill values and for times outside the years 1678 to 2261. What is
        finer than a nanosecond is cut, and a leap second becomes the second after it.

    Raises
    ------
    ValueError
        For another datatype, or epochs16 without a first dimension of two.
    """
    if datatype not in _CONVERSIONS:
        raise ValueError(f"{datatype} is no datatype of times: {', '.join(_CONVERSIONS)} are")
    width, dtype, convert = _CONVERSIONS[datatype]
    times = np.asarray(times, dtype)
    if width == 2 and (times.ndim < 1 or times.shape[0] != 2):
        raise ValueError(f"cdf_epoch16 needs a first dimension of 2, not the shape {times.shape}")
    shape = times.shape[width - 1 :]
    flat = times.reshape((width, -1), order="F")
    result = np.empty(flat.shape[1], np.int64)
    with np.errstate(invalid="ignore"):
        for start in range(0, result.size, _BLOCK):
            block = slice(start, start + _BLOCK)
            result[block] = convert(*flat[:, block])
    return result.view("datetime64[ns]").reshape(shape, order="F")


def _of_epoch(milliseconds):
    whole = np.floor(milliseconds)
    nanoseconds = np.floor((milliseconds - whole) * 1e6)
    return _nanoseconds(whole - _SECONDS_TO_1970 * 1000, 1000, nanoseconds)


def _of_epoch16(seconds, picoseconds):
    return _nanoseconds(seconds - _SECONDS_TO_1970, 1, np.floor(picoseconds / 1000))


def _nanoseconds(ticks, rate, nanoseconds):
    """Of whole ticks, `rate` to a second, and nanoseconds more, all as doubles."""
    inside = (np.abs(ticks) <= float(_LARGEST_SECONDS * rate)) & (np.abs(nanoseconds) < 1e9)
    result = ticks.astype(np.int64) * (10**9 // rate) + nanoseconds.astype(np.int64)
    return np.where(inside, result, _NAT)


def _of_tt2000(times):
    from tarvik import extended

    parts = extended.tt2000Breakdown(times).reshape((9, -1), order="F").astype(np.int64)
    year, month, day, hour, minute, second, *fraction = parts
    months = ((year - 1970) * 12 + month - 1).astype("datetime64[M]")
    days = months.astype("datetime64[D]").astype(np.int64) + day - 1
    seconds = days * 86400 + hour * 3600 + minute * 60 + second
    milli, micro, nano = fraction
    result = seconds * 10**9 + milli * 10**6 + micro * 1000 + nano
    # The lowest few values stand for no time at all.
    inside = (np.abs(seconds) <= _LARGEST_SECONDS) & (times > _NAT + 3)
    return np.where(inside, result, _NAT)


_CONVERSIONS = {
    "cdf_epoch": (1, np.float64, _of_epoch),
    "cdf_epoch16": (2, np.float64, _of_epoch16),
    "cdf_time_tt2000": (1, np.int64, _of_tt2000),
}
