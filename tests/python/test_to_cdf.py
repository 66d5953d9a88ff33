"""Datasets of xarray that become CDF files, and the files as others read them."""

import tracemalloc

import numpy as np
import pytest
import tarvik
from test_layouts import READERS, TEXT
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
    """With or without coordinates of one dimension, several, or none; perhaps without records."""
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


def day(**changes):
    """A small dataset with everything a file has."""
    values = np.array([[1.5, np.nan], [-2.0, 3.25], [0.0, 7.0]], "f4")
    return xr.Dataset(
        {
            "flux": (("time", "energy"), values, {"UNITS": "1/s"}),
            "count": (("time",), np.array([1, -2, 3], "i4"), {"FILLVAL": np.int32(-99)}),
            "name": (("energy",), ["low", "höher"]),
            "start": ((), NOON),
            **changes,
        },
        {"time": NOON + np.arange(3) * np.timedelta64(1, "s"), "energy": [1.0, 10.0]},
        {"TITLE": "a day", "TEXT": ["one", "two"]},
    )


def test_what_a_file_holds(tmp_path):
    when = np.array([NOON, "NaT", NOON], "M8[ns]")
    dataset = day(when=("time", when, {"VALIDMIN": "2020-01-01"}))
    coded = {"datatype": "CDF_INT2", "_FillValue": -1, "compression": "rle", "pad": 5}
    dataset["coded"] = ("time", [1.0, np.nan, 3.0])
    to_cdf(
        dataset,
        tmp_path / "day.cdf",
        compression="gzip:3",
        epoch="CDF_EPOCH",
        encoding={"coded": coded, "start": {"datatype": "CDF_EPOCH16"}},
    )
    with tarvik.open(tmp_path / "day.cdf") as file:
        assert next(iter(file)) == "time"
        found = {n: (v.datatype, v.shape, v.compression) for n, v in file.items()}
        assert found == {
            "time": ("CDF_EPOCH", (3,), None),
            "energy": ("CDF_REAL8", (2,), "gzip:3"),
            "flux": ("CDF_REAL4", (3, 2), "gzip:3"),
            "count": ("CDF_INT4", (3,), "gzip:3"),
            "name": ("CDF_CHAR", (2,), "gzip:3"),
            "start": ("CDF_EPOCH16", (), None),
            "when": ("CDF_EPOCH", (3,), None),
            "coded": ("CDF_INT2", (3,), "rle"),
        }
        assert file["flux"].raw[0].tolist() == [1.5, np.float32(-1e31)]
        assert dict(file["flux"].attrs) == {
            "UNITS": "1/s",
            "FILLVAL": np.float32(-1e31),
            "DEPEND_0": "time",
            "DEPEND_1": "energy",
        }
        assert file["name"].raw[...].tolist() == [b"low   ", "höher".encode()]
        assert file["coded"].raw[...].tolist() == [1, -1, 3]
        assert (file["coded"].pad, file["coded"].fill) == (5, -1)
        assert file["when"].raw[1] == file["when"].fill == -1e31
        assert file["when"].attrs["VALIDMIN"] == np.datetime64("2020-01-01")
        assert file.attrs["TEXT"] == ["one", "two"]
    with open_cdf(tmp_path / "day.cdf") as found:
        assert found.coded.encoding["cdf"]["datatype"] == "CDF_INT2"
        xr.testing.assert_identical(found.drop_vars(["when", "coded"]), day().drop_vars([]))


REFUSED = {
    "uint64": (lambda: day(n=("x", np.zeros(2, "u8"))), {}, TypeError, "'n'.*uint64.*astype"),
    "bool": (lambda: day(n=("x", [True])), {}, TypeError, "'n'.*bool.*astype"),
    "complex": (lambda: day(n=("x", [1j])), {}, TypeError, "'n'.*complex128.*astype"),
    "timedelta": (lambda: day(n=("x", np.ones(1, "m8[ns]"))), {}, TypeError, "'n'.*timedelta64"),
    "object": (lambda: day(n=("x", np.array([{}], "O"))), {}, TypeError, "'n'.*object"),
    "empty": (lambda: day(n=("x", [])), {}, ValueError, "'n' has no values along 'x'"),
    "not first": (lambda: day().transpose(), {}, ValueError, r"transpose\('time', ...\)"),
    "year 1400": (
        lambda: day(n=("x", np.array(["1400-01-01"], "M8[s]"))),
        {},
        OverflowError,
        "'n': 1400.* CDF_TIME_TT2000",
    ),
    "two owners": (lambda: day().assign_attrs(UNITS="x"), {}, ValueError, "'UNITS' belongs to"),
    "a name": (lambda: day(größe=1), {}, ValueError, "'größe' cannot be used"),
    "nested": (lambda: day(n=((), 1, {"a": np.ones((2, 2))})), {}, ValueError, "one dimension"),
    "the fill value": (lambda: day(n=("x", [-1e31])), {}, ValueError, "-1e.*another _FillValue"),
    "not whole": (
        day,
        {"encoding": {"energy": {"datatype": "CDF_INT1"}, "flux": {"datatype": "CDF_INT1"}}},
        ValueError,
        "'flux': .*1.5.* is no value of CDF_INT1",
    ),
    "no setting": (day, {"encoding": {"flux": {"zlib": 1}}}, ValueError, r"'flux' has \['zlib'\]"),
    "no variable": (day, {"encoding": {"flx": {}}}, ValueError, "'flx', which is no variable"),
    "no dimension": (day, {"record_dim": "t"}, ValueError, r"record_dim=\['t'\]"),
    "a mode": (day, {"mode": "a"}, ValueError, "mode 'a' is none of"),
    "an array": (lambda: day().flux, {}, TypeError, "takes a Dataset, not a DataArray"),
}


@pytest.mark.parametrize("case", REFUSED)
def test_what_is_refused_leaves_the_file(tmp_path, case):
    make, options, error, words = REFUSED[case]
    to_cdf(day(), tmp_path / "day.cdf")
    before = (tmp_path / "day.cdf").read_bytes()
    with pytest.raises(error, match=words):
        to_cdf(make(), tmp_path / "day.cdf", **options)
    assert [p.name for p in tmp_path.iterdir()] == ["day.cdf"]
    assert (tmp_path / "day.cdf").read_bytes() == before
    with pytest.raises(FileExistsError):
        to_cdf(day(), tmp_path / "day.cdf", "x")


def test_a_failing_block_leaves_the_file(tmp_path):
    array = pytest.importorskip("dask.array", reason="dask is not installed")
    to_cdf(day(), tmp_path / "day.cdf")
    before = (tmp_path / "day.cdf").read_bytes()

    def fail(_):
        raise RuntimeError("no such block")

    broken = array.ones((3,), chunks=1).map_blocks(fail, dtype="f8", meta=np.ones(0))
    with pytest.raises(RuntimeError, match="no such block"):
        to_cdf(day(broken=("time", broken)), tmp_path / "day.cdf")
    assert (tmp_path / "day.cdf").read_bytes() == before


def test_lazy_variables_are_written_in_bounded_memory(tmp_path):
    array = pytest.importorskip("dask.array", reason="dask is not installed")
    large = array.arange(8_000_000, chunks=100_000, dtype="f8").reshape((80_000, 100))
    dataset = xr.Dataset({"large": (("time", "x"), large)})
    tracemalloc.start()
    to_cdf(dataset, tmp_path / "large.cdf", record_dim="time")
    with open_cdf(tmp_path / "large.cdf") as found:  # values that are read from a file, too
        to_cdf(found, tmp_path / "again.cdf")
    _, peak = tracemalloc.get_traced_memory()
    tracemalloc.stop()
    assert peak < 64_000_000 / 2
    with tarvik.open(tmp_path / "again.cdf") as file:
        assert file["large"].shape == (80_000, 100)
        np.testing.assert_array_equal(file["large"][::999], large[::999].compute())


def test_a_file_is_written_over_itself(tmp_path):
    to_cdf(day(), tmp_path / "day.cdf")
    with open_cdf(tmp_path / "day.cdf") as found:
        to_cdf(found.isel(time=slice(1, None)), tmp_path / "day.cdf")
    with open_cdf(tmp_path / "day.cdf") as found:
        xr.testing.assert_identical(found, day().isel(time=slice(1, None)))


@pytest.mark.parametrize("reader", READERS)
@pytest.mark.parametrize("seed", range(12))
@pytest.mark.filterwarnings("ignore")
def test_others_read_the_same(tmp_path, reader, seed):
    rng = np.random.default_rng(1000 + seed)
    dataset = random_dataset(rng)
    dataset = dataset.drop_vars([n for n, v in dataset.variables.items() if v.size == 0])
    records = [*{"time"} & {*dataset.sizes}]
    to_cdf(dataset, tmp_path / "made.cdf", record_dim=records)
    theirs = READERS[reader](tmp_path / "made.cdf")
    assert theirs.keys() == dataset.variables.keys()
    with tarvik.open(tmp_path / "made.cdf") as file:
        for name, (datatype, values) in theirs.items():
            ours = file[name].raw[...]
            if datatype in TEXT:
                values = np.char.rstrip(values.reshape(np.shape(ours)), b" ")
                ours = np.char.rstrip(ours, b" ")
            elif np.asarray(ours).dtype.kind == "c":
                values = np.ascontiguousarray(values).view("c16")
            elif values.dtype.kind == "V":  # times in a structure
                values = values.view("i8")
            np.testing.assert_array_equal(np.ravel(ours), values.ravel(), name)
