"""Datasets of xarray that become CDF files, and the files as others read them."""

import os
import tracemalloc

import numpy as np
import pytest
import tarvik
from test_layouts import READERS
from test_real_files import for_every_file, path  # noqa: F401

xr = pytest.importorskip("xarray", reason="xarray is not installed")
from tarvik.xarray import to_cdf  # noqa: E402

# Names that those of generated dimensions could be taken for are among them.
DIMS = ["time", "x", "energy", "dim_3", "record", "a b", "höhe"]
NAMES = ["flux", "energy_2", "dim_3_2", "dim_2", "x_2", "flux_record", "x_dim", "cov", "B", "n"]
TEXTS = ["", "a", "längs", "日本語", "two words", "µ"]
NOON = np.datetime64("2020-01-01T12:00", "ns")


def open_cdf(path, **options):  # noqa: F811
    return xr.open_dataset(path, engine="tarvik", **options)


def times(rng, shape, step):
    values = NOON + rng.integers(-(10**9), 10**9, shape) * np.timedelta64(step, "ns")
    return np.where(rng.random(shape) < 0.1, np.datetime64("NaT", "ns"), values)


def floats(rng, shape, dtype):
    values = np.where(rng.random(shape) < 0.2, np.nan, rng.normal(0, 1e3, shape))
    return values.astype(dtype)


def random_values(rng, shape):
    """Give values, attributes and encoding."""
    kind = rng.choice(["f4", "f8", "i1", "i2", "i4", "i8", "u1", "u2", "u4", "U", "M", "coded"])
    if kind in ("f4", "f8"):
        return floats(rng, shape, kind), {}, {}
    if kind == "U":
        return rng.choice(TEXTS, shape), {}, {}
    if kind == "M":
        datatype, step = [
            ("CDF_TIME_TT2000", 1),
            ("CDF_EPOCH", 10**6),
            ("CDF_EPOCH16", 1),
        ][rng.integers(3)]
        return times(rng, shape, step), {}, {"cdf": {"datatype": datatype}}
    if kind == "coded":  # integers with a fill value, as a reader has them
        values = np.where(rng.random(shape) < 0.3, np.nan, rng.integers(-99, 99, shape))
        encoding = {"cdf": {"datatype": "CDF_INT4"}, "_FillValue": np.int32(-2147483648)}
        return values, {"FILLVAL": np.int32(-2147483648)}, encoding
    limits = np.iinfo(kind)
    return rng.integers(limits.min, limits.max, shape, kind, endpoint=True), {}, {}


def random_attributes(rng, names):
    values = [
        "text",
        "µT ",
        7,
        2.5,
        np.float32(0.1),
        np.int8(3),
        np.arange(3, dtype="u2"),
        np.array([1.5, np.nan]),
    ]
    return {n: values[rng.integers(len(values))] for n in names if rng.random() < 0.4}


def random_variable(rng, sizes, dims):
    values, attributes, encoding = random_values(rng, [sizes[d] for d in dims])
    attributes.update(random_attributes(rng, ["UNITS", "n", "limits"]))
    if rng.random() < 0.2:
        encoding.setdefault("cdf", {})["compression"] = "gzip:4"
    return xr.Variable(dims, values, attributes, encoding)


def random_dataset(rng):
    """With or without coordinates of dimensions, of several, and of none; records may be missing."""
    dims = [d for d in DIMS if rng.random() < 0.5]
    sizes = {d: int(rng.integers(0 if d == "time" else 1, 5)) for d in dims}
    coords = {
        d: random_variable(rng, sizes, [d]) for d in dims if d.isascii() and rng.random() < 0.6
    }
    if "time" in dims:
        coords["time"] = ("time", NOON + np.arange(sizes["time"]) * np.timedelta64(1, "s"))
    variables = {}
    for name in rng.permutation(NAMES)[: rng.integers(0, 8)]:
        used = [d for d in dims if rng.random() < 0.6]
        made = random_variable(rng, sizes, used)
        (coords if rng.random() < 0.2 else variables)[str(name)] = made
    attributes = random_attributes(rng, ["TITLE", "level", "data"])
    if rng.random() < 0.3:
        attributes["TEXT"] = ["one", "two", np.float32(3)]
    found = xr.Dataset(variables, coords, attributes)
    if rng.random() < 0.3:
        found = found.chunk({d: int(rng.integers(1, 4)) for d in found.sizes})
    return found


@pytest.mark.parametrize("seed", range(60))
def test_random_datasets_come_back(tmp_path, seed):
    dataset = random_dataset(np.random.default_rng(seed))
    to_cdf(dataset, tmp_path / "made.cdf", record_dim=[*{"time"} & {*dataset.sizes}])
    with open_cdf(tmp_path / "made.cdf") as found:
        xr.testing.assert_identical(found, dataset)
        kinds = {n: v.dtype.kind for n, v in dataset.variables.items()}
        assert {n: v.dtype.kind for n, v in found.variables.items()} == kinds
        to_cdf(found, tmp_path / "again.cdf")
    with open_cdf(tmp_path / "again.cdf") as found:
        xr.testing.assert_identical(found, dataset)


@for_every_file
def test_real_files_come_back(path, tmp_path):  # noqa: F811
    for options in ({}, {"decode_times": False}, {"chunks": {}}):
        with open_cdf(path, **options) as dataset:
            to_cdf(dataset, tmp_path / "made.cdf")
            with open_cdf(tmp_path / "made.cdf", **options) as found:
                xr.testing.assert_identical(found, dataset)
                for name, variable in dataset.variables.items():
                    before, after = variable.encoding["cdf"], found[name].encoding["cdf"]
                    assert (before["datatype"], before["sparse"]) == (
                        after["datatype"],
                        after["sparse"],
                    )
                    is_time = "EPOCH" in before["datatype"] or "TT2000" in before["datatype"]
                    assert after["compression"] == (None if is_time else before["compression"])
