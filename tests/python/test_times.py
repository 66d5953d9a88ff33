"""Times as `datetime64`, `datetime` and text, against other packages and the library itself."""

import datetime
import re

import cdflib
import numpy as np
import pytest
from tarvik import constants, ops, times

MILLION = 1_000_000
TO_1970, TO_10000 = 62_167_219_200, 315_569_520_000  # seconds since the year 0
COMPONENTS = {
    "cdf_epoch": (ops.computeEpoch, 7),
    "cdf_epoch16": (ops.computeEpoch16, 10),
    "cdf_time_tt2000": (ops.computeTT2000, 9),
}

SINGLE = {
    "cdf_epoch": [
        (62167219200000.25, "1970-01-01T00:00:00.000250000"),
        (62167219199999.75, "1969-12-31T23:59:59.999750000"),
        (0.0, "NaT"),
        (-1e31, "NaT"),
        (np.nan, "NaT"),
        (np.inf, "NaT"),
    ],
    "cdf_epoch16": [
        ([62167219200.0, 1999.0], "1970-01-01T00:00:00.000000001"),
        ([62167219199.0, 999999999999.0], "1969-12-31T23:59:59.999999999"),
        ([-1e31, -1e31], "NaT"),
        ([62167219200.0, np.nan], "NaT"),
    ],
    "cdf_time_tt2000": [
        (0, "2000-01-01T11:58:55.816000000"),
        (536500867184000000, "2016-12-31T23:59:59.000000000"),
        (536500868684000000, "2017-01-01T00:00:00.500000000"),  # in a leap second
        (536500869184000000, "2017-01-01T00:00:00.000000000"),
        (-(2**63), "NaT"),
        (-(2**63) + 3, "NaT"),
        (2**63 - 1, "NaT"),
    ],
}


@pytest.mark.parametrize("datatype", SINGLE)
def test_single_times(datatype):
    given, expected = zip(*SINGLE[datatype])
    given = np.array(given).T  # two doubles of an epoch16 stand in the first dimension
    converted = times.to_datetime64(given, datatype)
    np.testing.assert_array_equal(converted, np.array(expected, "datetime64[ns]"))


def test_many_times_have_the_shape_that_was_given():
    epochs = 62e12 + np.arange(60_000, dtype=float).reshape((100, 200, 3), order="F") * 12345678.0
    converted = times.to_datetime64(epochs)
    assert converted.shape == epochs.shape
    some = slice(None, None, 97)
    expected = cdflib.cdfepoch.to_datetime(epochs.ravel()[some])
    np.testing.assert_array_equal(converted.ravel()[some], expected)


def test_leap_seconds_stand_in_the_components_alone():
    leap = ops.computeTT2000([2016, 12, 31, 23, 59, 60, 500, 0, 0])
    assert ops.tt2000Breakdown(np.int64(leap))[5] == 60
    assert (
        str(times.to_datetime64(leap, "cdf_time_tt2000").squeeze())
        == SINGLE["cdf_time_tt2000"][2][1]
    )


@pytest.mark.parametrize("datatype", SINGLE)
def test_datatypes_by_name_number_and_constant(datatype):
    given = np.array(SINGLE[datatype][0][0])
    expected = times.to_datetime64(given, datatype)
    constant = getattr(constants, datatype.upper())
    if given.ndim == 0:
        assert times.to_datetime64(given) == expected
    for same in (datatype.upper(), constant, int(constant), np.int64(constant)):
        assert times.to_datetime64(given, same) == expected
        stored = times.from_datetime64(expected, same)
        np.testing.assert_array_equal(stored, times.from_datetime64(expected, datatype))


@pytest.mark.parametrize(
    ("given", "datatype"),
    [([1.0], "cdf_int8"), ([1.0], 8), ([1.0], "epoch"), ([1.0, 2.0, 3.0], "cdf_epoch16")],
)
def test_what_is_no_time(given, datatype):
    with pytest.raises(ValueError, match=r"(?i)cdf_epoch16"):
        times.to_datetime64(given, datatype)


def some_times(datatype, count=MILLION):
    """Stored times of all years that a datatype holds, as fine as it holds them."""
    random = np.random.default_rng(20)
    if datatype == "cdf_time_tt2000":
        return random.integers(-(2**63) + 10**14, 2**63 - 10**14, count)
    if datatype == "cdf_epoch":
        return random.integers(1, TO_10000 * 1000, count).astype(float)
    return random.integers(1, TO_10000, count) + 1j * random.integers(0, 10**12, count)


@pytest.mark.parametrize("datatype", SINGLE)
def test_a_million_times_there_and_back(datatype):
    stored = some_times(datatype).reshape((1000, -1))
    found = times.from_text(times.to_text(stored, datatype, errors="raise"), datatype)
    np.testing.assert_array_equal(found, stored)

    unit, digits = ("us", 10**6) if datatype != "cdf_time_tt2000" else ("ns", 1)
    if datatype == "cdf_time_tt2000":  # datetime64[ns] ends in 2262
        stored = stored // 2
    elif datatype == "cdf_epoch16":
        stored = stored.real + 1j * (stored.imag // digits * digits)
    found = times.to_datetime64(stored, datatype, unit=unit, errors="raise")
    assert found.dtype == f"M8[{unit}]"
    np.testing.assert_array_equal(times.from_datetime64(found, datatype), stored)


def test_picoseconds_there_and_back():
    given = np.random.default_rng(21).integers(-(2**62), 2**62, MILLION).view("M8[ps]")
    stored = times.from_datetime64(given, "cdf_epoch16")
    np.testing.assert_array_equal(times.to_datetime64(stored, unit="ps"), given)


@pytest.mark.parametrize(
    "start", ["1971-12-31", "2016-12-31T20", "2016-12-31T23:59:50", "2020-02-28"]
)
def test_many_times_of_a_day_are_those_of_the_library(start):
    """Around leap seconds, too: offsets to UTC are asked for once where they are the same."""
    given = np.datetime64(start, "ns") + np.arange(40_000) * 997_000_001
    stored = times.from_datetime64(given, "cdf_time_tt2000")
    np.testing.assert_array_equal(times.to_datetime64(stored), given)
    for place in (0, 17_000, 39_999):
        parts = parts_of(str(given[place]), 9)
        assert ops.computeTT2000(parts) == stored[place]


def parts_of(text, count):
    digits = [*map(int, text[:19].replace("T", "-").replace(":", "-").split("-"))]
    fraction = text[20:].ljust(12, "0")
    return [float(part) for part in (*digits, *map(int, map("".join, zip(*[iter(fraction)] * 3))))][
        :count
    ]


@pytest.mark.parametrize("datatype", SINGLE)
def test_texts_are_those_that_the_library_computes_with(datatype):
    compute, count = COMPONENTS[datatype]
    for stored in some_times(datatype, 200):
        found = np.ravel(compute(parts_of(times.to_text(stored, datatype), count)))
        assert (found.view(complex) if datatype == "cdf_epoch16" else found) == stored


@pytest.mark.parametrize(
    ("datatype", "theirs"),
    [
        ("cdf_epoch", "epoch_to_datetime"),
        ("cdf_epoch16", "epoch16_to_datetime"),
        ("cdf_time_tt2000", "tt2000_to_datetime"),
    ],
)
def test_times_are_those_of_other_packages(datatype, theirs):
    convert = getattr(pytest.importorskip("spacepy.pycdf").lib, theirs)
    first, last = np.array(["1970-01-02", "2200-01-01"], "M8[us]").astype(int)
    given = np.random.default_rng(22).integers(first, last, 500).astype("M8[us]")
    stored = times.from_datetime64(given, datatype)
    pairs = [(time.real, time.imag) if datatype == "cdf_epoch16" else (time,) for time in stored]
    expected = [convert(*pair) for pair in pairs]
    ours = times.to_datetime(stored, datatype)
    finest = datetime.timedelta(milliseconds=datatype == "cdf_epoch")
    assert all(abs(one - other) <= finest for one, other in zip(ours, expected))
    texts = cdflib.cdfepoch.encode(stored)
    shown = times.to_text(stored, datatype)
    assert [text[:23] for text in np.atleast_1d(texts)] == [text[:23] for text in shown]


LEAP = 536500868684000000
UNUSUAL = [  # from texts: what is stored, or the error
    ("2016-12-31T23:59:60.5", "cdf_time_tt2000", LEAP),
    ("2017-01-01T00:59:60.5+01:00", "cdf_time_tt2000", LEAP),
    ("2016-12-31T23:59:60.5", "cdf_epoch", ValueError),
    ("2015-12-31T23:59:60", "cdf_time_tt2000", ValueError),
    ("2016-12-31T22:59:60", "cdf_time_tt2000", ValueError),
    (" 1970-01-01 00:00Z ", "cdf_epoch", TO_1970 * 1000.0),
    ("1970", "cdf_epoch16", TO_1970 + 0j),
    ("1970-01-01T02:00:00.000000000001999+02:00", "cdf_epoch16", TO_1970 + 1j),
    ("NaT", "cdf_epoch", -1e31),
    ("", "cdf_epoch16", -1e31 - 1e31j),
    ("0000-01-01T00:00:00.001", "cdf_epoch", 1.0),
    ("9999-12-31T23:59:58.999", "cdf_epoch", TO_10000 * 1000 - 1001.0),
    ("9999-12-31T23:59:59.999", "cdf_epoch", OverflowError),
    ("2292-04-11", "cdf_time_tt2000", OverflowError),
    ("1707-09-22", "cdf_time_tt2000", OverflowError),
    ("2020-02-30", "cdf_epoch", ValueError),
    ("20200101", "cdf_epoch", ValueError),
    ("12020-01-01", "cdf_epoch", ValueError),
    ("today", "cdf_epoch", ValueError),
    ("\u0662020-01-01", "cdf_epoch", ValueError),
]


@pytest.mark.parametrize(("text", "datatype", "expected"), UNUSUAL)
def test_unusual_texts(text, datatype, expected):
    fill = times.from_text("NaT", datatype)
    if isinstance(expected, type):
        with pytest.raises(expected, match=re.escape(text[:5])):
            times.from_text([text], datatype)
        expected = fill
    several = times.from_text([text, "2020-01-01", text], datatype, errors="coerce")
    assert several[0] == several[2] == expected
    assert several[1] != fill
    stored = times.from_text(text, datatype, errors="coerce")
    assert stored == expected
    again = times.to_text(stored, datatype)
    assert times.from_text(again, datatype) == stored


ZONE = datetime.timezone(datetime.timedelta(hours=2))
EPOCH_2020 = 63745056000000.0
CONVERTED = [  # the function, its input, its output, and the error of errors="raise"
    ("from_datetime", datetime.datetime(2020, 1, 1, 2, tzinfo=ZONE), EPOCH_2020, None),
    ("from_datetime", [datetime.date(2020, 1, 1), None], [EPOCH_2020, -1e31], None),
    ("from_datetime", 5, TypeError, TypeError),
    ("from_datetime64", np.datetime64("2020-01-01", "25s"), EPOCH_2020, None),
    ("from_datetime64", np.datetime64("1970-01-01T00:00:01", "as"), TO_1970 * 1e3 + 1e3, None),
    ("from_datetime64", np.datetime64(2**60, "Y"), -1e31, OverflowError),
    ("from_datetime64", np.datetime64(2**62, "s"), -1e31, OverflowError),
    ("from_datetime64", np.datetime64("-001-12-31"), -1e31, OverflowError),
    ("from_datetime64", 1.5, TypeError, TypeError),
    ("to_datetime", [0.0, -1e31, np.nan], [None] * 3, None),
    ("to_datetime", [1.0, EPOCH_2020], [None, datetime.datetime(2020, 1, 1)], OverflowError),
    ("to_datetime64", 1.0, np.datetime64("NaT"), OverflowError),
    ("to_datetime64", -1e31, np.datetime64("NaT"), None),
    ("to_text", [[0.0, -1e31, 1.0]], [["NaT", "NaT", "0000-01-01T00:00:00.001"]], None),
    ("to_text", [EPOCH_2020, -5.0], ["2020-01-01T00:00:00.000", "NaT"], OverflowError),
    ("to_text", TO_10000 * 1000.0, "NaT", OverflowError),
]


@pytest.mark.parametrize(("name", "given", "expected", "error"), CONVERTED)
def test_conversions(name, given, expected, error):
    function = getattr(times, name)
    if error:
        with pytest.raises(error):
            function(given, "cdf_epoch", errors="raise")
    if isinstance(expected, type):
        return
    found = function(given, "cdf_epoch", errors="coerce")
    assert np.shape(found) == np.shape(expected)
    np.testing.assert_array_equal(found, expected)


@pytest.mark.parametrize(
    ("options", "said"), [({"errors": "ignore"}, "'ignore'"), ({"unit": "D"}, "'D'")]
)
def test_options(options, said):
    with pytest.raises(ValueError, match=said):
        times.to_datetime64([1.0], **options)
