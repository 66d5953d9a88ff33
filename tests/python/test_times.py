"""Times as `datetime64`, against cdflib and against what is known of single ones."""

import cdflib
import numpy as np
import pytest
from tarvik import constants, ops, times

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
