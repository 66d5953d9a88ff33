"""CDF files in xarray, and work on many of them that Dask spreads over processes."""

import multiprocessing
import os
import pickle
import shutil
import subprocess
import sys
from pathlib import Path
from threading import Event, Thread
from types import SimpleNamespace

import numpy as np
import pytest
import samples
from conftest import ROOT
from samples import INT8, TT2000
from tarvik import CDFError, CDFWarning, Variable, ops
from tarvik import constants as c
from test_layouts import READERS, TEXT
from test_real_files import for_every_file, path  # noqa: F401

xr = pytest.importorskip("xarray", reason="xarray is not installed")
RNG = np.random.default_rng(20200101)
FLUX = RNG.normal(5, 1, (20, 4, 3)).astype("f4")
FLUX[3, 1, 2] = -1e31
COUNTS = RNG.integers(0, 99, (20, 3)).astype("i2")
COUNTS[7] = -999
EPOCH = samples.times(20)
ENERGY = np.array([1.0, 2, 4, 8])
DEPENDS = {"DEPEND_0": "Epoch ", "DEPEND_1": "energy", "LABL_PTR_2": "axis"}
VARIABLES = {
    "Epoch": (EPOCH, True, {"VALIDMIN": np.int64(0)}, TT2000),
    "flux": (FLUX, True, {**DEPENDS, "FILLVAL": np.float32(-1e31), "UNITS": "1/s"}),
    "counts": (COUNTS, True, {"DEPEND_0": "Epoch", "FILLVAL": np.int16(-999)}),
    "energy": (ENERGY, False, {"FILLVAL": -1.0}),
    "by_record": (RNG.normal(0, 1, (20, 4)), True, {"DEPEND_0": "Epoch", "DEPEND_1": "energy"}),
    "of_them": (RNG.normal(0, 1, (20, 4)), True, {"DEPEND_0": "Epoch", "DEPEND_1": "by_record"}),
    "axis": (np.array(["x  ", "y", "ü".encode()], "S4"), False, {}),
    "matrix": (np.arange(9.0).reshape(3, 3), False, {"DEPEND_1": "no such variable"}),
    "old": (np.array([63745099200000.0, -1e31, 0.0]), True, {"FILLVAL": -1e31}, c.CDF_EPOCH),
    "fine": ([[63745099200.0, 5e9], [-1e31, -1e31]], True, {}, c.CDF_EPOCH16),
    "big": (np.array([2**60 + 1, -5, 7]), True, {"DEPEND_0": "Epoch"}, INT8),
    "latin": (
        np.array([b"caf\xe9", "café".encode()]),
        True,
        {"CATDESC": b"\xe9".decode("latin-1")},
    ),
    "dim_3": (np.arange(2.0), False, {}),
    "none": (np.zeros((0, 2)), True, {}),
}
DIMENSIONS = {
    "Epoch": ("Epoch",),
    "flux": ("Epoch", "energy", "axis"),
    "counts": ("Epoch", "dim_3_2"),
    "energy": ("energy",),
    "by_record": ("Epoch", "energy"),
    "of_them": ("Epoch", "energy"),
    "axis": ("axis",),
    "matrix": ("dim_3_2", "dim_3_3"),
    "old": ("record",),
    "fine": ("fine_record",),
    "big": ("record",),
    "latin": ("latin_record",),
    "dim_3": ("dim_2",),
    "none": ("none_record", "dim_2"),
}
TEXTS = [("TITLE", "a sample"), ("TEXT", "one"), ("TEXT", "two"), ("n", 1.5), ("n", np.arange(2.0))]


@pytest.fixture(params=[c.ROW_MAJOR, c.COLUMN_MAJOR], ids=["rows", "columns"])
def sample(request, tmp_path):
    samples.write(tmp_path / "sample.cdf", VARIABLES, request.param, TEXTS)
    return tmp_path / "sample.cdf"


@pytest.fixture
def calls(monkeypatch):
    """The openings, and the inputs of all reads of values behind the file and the variable."""
    made = {"open": [], "hyperGetVarData": []}
    call = ops.call

    def noted(operation, *inputs):
        if operation in made:
            made[operation].append(inputs[2:])
        return call(operation, *inputs)

    monkeypatch.setattr("tarvik.file.shared", SimpleNamespace(call=noted))
    return made


@for_every_file
@pytest.mark.parametrize("reader", READERS)
@pytest.mark.filterwarnings("ignore:VIRTUAL_RECORD_DATA")
def test_values_of_real_files(path, reader):  # noqa: F811
    theirs = READERS[reader](path)
    dataset = xr.open_dataset(path, engine="tarvik", decode_cf=False)
    assert dataset.variables.keys() == theirs.keys()
    times = xr.open_dataset(path, engine="tarvik", mask_and_scale=False)
    with ops.open(path) as file:
        kinds = {n: ops.getVarSparseRecords(file, ops.getVarNum(file, n)) for n in theirs}
    for name, (datatype, values) in theirs.items():
        ours = dataset[name].values
        # cdflib puts zeros among the pad values.
        if not values.size or (reader == "cdflib" and kinds[name] != "NO_SPARSERECORDS"):
            continue
        if datatype in TEXT:
            values = np.array([text_of(text) for text in values.ravel()]).reshape(values.shape)
        elif datatype == c.CDF_EPOCH16:
            values = values.view("c16")[..., 0]
        elif datatype == TT2000:
            values = values.view("i8")  # one reader has them in a structure
        # Values for all records stand behind a first dimension of one there; a reader keeps
        # extents of one.
        values = values.reshape(ours.shape)
        np.testing.assert_array_equal(ours, values, name)
        if (
            reader == "pycdfpp"
            and times[name].dtype.kind == "M"
            and not np.isnat(times[name]).any()
        ):
            pycdfpp = pytest.importorskip("pycdfpp")
            expected = pycdfpp.to_datetime64(pycdfpp.load(str(path))[name]).reshape(ours.shape)
            np.testing.assert_array_equal(times[name], expected, name)


def text_of(text):
    try:
        return text.decode().rstrip(" \0")
    except UnicodeDecodeError:
        return text.decode("latin-1").rstrip(" \0")


def test_a_dataset(sample):
    with xr.open_dataset(sample) as found:  # the engine is found by the file's first bytes
        assert {name: v.dims for name, v in found.variables.items()} == DIMENSIONS
        assert set(found.coords) == {"Epoch", "energy", "axis", "by_record"}
        assert found.attrs["TITLE"] == "a sample"
        assert found.attrs["TEXT"] == ["one", "two"]
        assert found.attrs["n"][0] == 1.5
        np.testing.assert_array_equal(found.attrs["n"][1], [0, 1])
        assert found.flux.attrs["UNITS"] == "1/s"
        assert found.flux.attrs["FILLVAL"] == np.float32(-1e31)
        assert found.Epoch.attrs["VALIDMIN"] == "2000-01-01T11:58:55.816000000"
        assert found.latin.attrs["CATDESC"] == "é"
        flux = np.where(FLUX < -1e30, np.nan, FLUX)
        np.testing.assert_array_equal(found.flux, flux, strict=True)
        np.testing.assert_array_equal(found.counts, np.where(COUNTS == -999, np.nan, COUNTS))
        assert (found.counts.dtype.kind, found.big.dtype, found.big[0]) == ("f", "i8", 2**60 + 1)
        noon = np.datetime64("2020-01-01T12:00", "ns")
        np.testing.assert_array_equal(found.Epoch, noon + np.arange(20) * np.timedelta64(60, "s"))
        np.testing.assert_array_equal(found.old, np.array([noon, "NaT", "NaT"], "M8[ns]"))
        np.testing.assert_array_equal(
            found.fine, np.array([noon + np.timedelta64(5, "ms"), "NaT"], "M8[ns]")
        )
        assert found.axis.values.tolist() == ["x", "y", "ü"]
        assert found.latin.values.tolist() == ["café", "café"]
        assert found.sel(axis="y", energy=4, Epoch=noon).flux == FLUX[0, 2, 1]


def named(dims, **attributes):
    """Zeros whose shape tells the dimensions: of the records (20), or of the letters."""
    sizes = {"r": 20, "e": 3, "f": 3, "c": 2}
    return np.zeros([sizes[d] for d in dims]), dims.startswith("r"), attributes


# Variables, and the dimensions that they get; all others are a coordinate's own.
NAMINGS = {
    "made names are of no variable": (
        {
            "energy": named("e"),
            "energy_2": named("c"),
            "cov": named("ee", DEPEND_1="energy", DEPEND_2="energy"),
            "dim_2": named("e"),
            "plain": named("c"),
        },
        {"cov": ("energy", "energy_3"), "plain": ("dim_2_2",), "energy_2": ("dim_2_2",)},
    ),
    "uncertainties": (
        {
            "t": named("r"),
            "B": named("re", DEPEND_0="t", DELTA_PLUS_VAR="dB", DELTA_MINUS_VAR="dB"),
            "dB": named("re"),
            "E": named("e", DELTA_PLUS_VAR="dE"),
            "dE": named("e"),
            "flux": named("re", DEPEND_0="t", DEPEND_1="E"),
            "free": named("r", DELTA_PLUS_VAR="dfree"),
            "dfree": named("r"),
        },
        {"B": ("t", "dim_3"), "dB": ("t", "dim_3"), "dE": ("E",), "dfree": ("free_record",)},
    ),
    "labels of a coordinate": (
        {
            "E": named("e", LABL_PTR_1="names"),
            "names": (np.array(["a", "b", "c"], "S1"), False, {}),
            "flux": named("re", DEPEND_1="E"),
        },
        {"names": ("E",), "flux": ("record", "E")},
    ),
    "axes that vary by record": (
        {
            "t": named("r"),
            "E1": named("re", DEPEND_0="t"),
            "E2": named("re", DEPEND_0="t"),
            "f1": named("re", DEPEND_0="t", DEPEND_1="E1"),
            "f2": named("re", DEPEND_0="t", DEPEND_1="E2"),
        },
        {n: ("t", f"E{n[1]}_dim") for n in ("E1", "E2", "f1", "f2")},
    ),
    "axes of several dimensions": (
        {
            "c": named("c"),
            "E": named("ce"),
            "flux": named("rce", DEPEND_1="c", DEPEND_2="E"),
        },
        {"E": ("c", "E_dim"), "flux": ("record", "c", "E_dim")},
    ),
}


@pytest.mark.parametrize("case", NAMINGS)
def test_names_of_dimensions(tmp_path, case):
    variables, expected = NAMINGS[case]
    samples.write(tmp_path / "named.cdf", variables)
    found = xr.open_dataset(tmp_path / "named.cdf", engine="tarvik")
    assert {name: found[name].dims for name in expected} == expected
    pointers = [item for _, _, attributes in variables.values() for item in attributes.items()]
    assert set(found.coords) == {v for k, v in pointers if k.startswith(("DEPEND", "LABL"))}


def test_times_that_are_computed(tmp_path):
    seconds = np.array([0.0, 1.5, np.nan, 86400])
    virtual = {"VIRTUAL": "TRUE", "FUNCT": "comp_themis_epoch"}
    inputs = {"COMPONENT_0": "zero", "COMPONENT_1": "seconds"}
    pointing = {"DEPEND_TIME": "seconds", "DEPEND_EPOCH0": "zero"}
    none = np.zeros(0)
    variables = {
        "zero": (np.float64(62167219200000.0), False, {}, c.CDF_EPOCH),
        "seconds": (seconds, True, {"DEPEND_0": "by_function"}),
        "by_function": (none, True, {**virtual, **inputs}, c.CDF_EPOCH),
        "by_pointer": (none, True, {}, c.CDF_EPOCH),
        "unknown": (none, True, virtual, c.CDF_EPOCH),
        "B": (np.arange(4.0), True, {"DEPEND_0": "by_function"}),
        "C": (np.arange(4.0), True, {"DEPEND_0": "by_pointer", **pointing}),
        "D": (np.arange(4.0), True, {"DEPEND_0": "unknown"}),
        "E": (np.arange(4.0), True, {"DEPEND_TIME": "seconds"}),
    }
    samples.write(tmp_path / "virtual.cdf", variables)
    expected = np.array(["1970-01-01", "1970-01-01T00:00:01.5", "NaT", "1970-01-02"], "M8[ns]")
    with pytest.warns(CDFWarning, match="the variable 'D' has no times: 'unknown'") as warned:
        found = xr.open_dataset(tmp_path / "virtual.cdf", engine="tarvik")
    assert len(warned) == 1
    for name, times in (("B", "by_function"), ("C", "by_pointer"), ("seconds", "by_function")):
        assert found[name].dims == (times,)
        np.testing.assert_array_equal(found[times], expected)
    assert (found.D.dims, found.E.dims) == (("record",), ("by_function",))
    options = {"engine": "tarvik", "decode_times": False, "drop_variables": "D"}
    raw = xr.open_dataset(tmp_path / "virtual.cdf", **options)
    np.testing.assert_array_equal(raw.by_function[1::2] - 62167219200000, [1500, 86400000])


STORED = [
    "no JSON",
    "[1]",
    '{"dims": {"flux": ["a", "b"], "none": ["x", "x"], "counts": ["energy", "c"]}}',
    '{"dims": {"flux": 5, "big": ["Epoch"], "Epoch": ["t"]}, "coords": ["nothing"], "added": 1}',
]


@pytest.mark.parametrize("text", STORED)
def test_stored_names_that_do_not_fit(tmp_path, text):
    samples.write(tmp_path / "sample.cdf", VARIABLES, texts=[("XARRAY", text)])
    with xr.open_dataset(tmp_path / "sample.cdf", engine="tarvik") as found:
        assert "XARRAY" not in found.attrs
        assert found.load().flux.shape == FLUX.shape


def test_options(sample):
    raw = xr.open_dataset(sample, engine="tarvik", decode_cf=False, drop_variables=["axis", "big"])
    assert not {"axis", "big"} & raw.variables.keys()
    assert raw.flux.dims == DIMENSIONS["flux"]
    np.testing.assert_array_equal(raw.flux, FLUX, strict=True)
    np.testing.assert_array_equal(raw.counts, COUNTS, strict=True)
    np.testing.assert_array_equal(raw.Epoch, EPOCH, strict=True)
    assert raw.fine.values[0] == 63745099200 + 5e9j
    with pytest.raises(FileNotFoundError):
        xr.open_dataset(sample.parent / "missing.cdf", engine="tarvik")


KEYS = [
    (3,),
    (slice(2, 19, 5), -1),
    (slice(None, None, -3), slice(None, None, -2), slice(1, 3)),
    ([5, 0, 17], slice(None), [2, 2]),
    (FLUX[:, 0, 0] > 5, 1, slice(0, 0)),
    (slice(-4, None), slice(3, None, -1), 0),
    (slice(30, 40),),
]


@pytest.mark.parametrize("key", KEYS, ids=str)
def test_indexing(sample, key):
    found = xr.open_dataset(sample, engine="tarvik", mask_and_scale=False)
    sizes = zip(key, found.flux.dims)
    expected = xr.DataArray(FLUX, dims=found.flux.dims).isel({name: part for part, name in sizes})
    np.testing.assert_array_equal(found.flux[key], expected, strict=True)
    points = xr.DataArray([4, 2, 2], dims="point")
    ours = found.flux.isel(Epoch=points, axis=points % 3)
    np.testing.assert_array_equal(ours.transpose("point", ...), FLUX[[4, 2, 2], :, [1, 2, 2]])


def test_what_is_read(sample, calls):
    found = xr.open_dataset(sample, engine="tarvik")
    # The indices: Epoch, energy, axis. Nothing with more dimensions.
    reads = calls["hyperGetVarData"]
    assert sorted(inputs[1] * int(np.prod(inputs[4])) for inputs in reads) == [1 * 3, 1 * 4, 20]
    reads.clear()
    found.flux[5].values  # noqa: B018
    ((start, records, _, _, counts, _),) = reads
    assert (start, records, sorted(counts)) == (5, 1, [3, 4])
    reads.clear()
    found.flux[2:19:5, ::2, 1].values  # noqa: B018
    ((start, records, step, _, counts, steps),) = reads
    assert (start, records, step, sorted(counts), sorted(steps)) == (2, 4, 5, [1, 2], [1, 2])
    assert len(calls["open"]) == 1


def open_files(folder):
    """The names of the files of a folder that this process has open."""
    links = [link for link in Path("/proc/self/fd").iterdir() if link.is_symlink()]
    return sorted(file.name for file in map(Path.readlink, links) if file.parent == folder)


def test_files_that_are_open(sample, tmp_path):
    found = xr.open_dataset(sample, engine="tarvik")
    assert open_files(tmp_path) == ["sample.cdf"]
    found.close()
    assert open_files(tmp_path) == []
    assert found.flux[0, 0, 0] == FLUX[0, 0, 0]  # it is opened again
    del found
    assert open_files(tmp_path) == []
    names = [f"{n}.cdf" for n in range(5)]
    copies = [shutil.copyfile(sample, tmp_path / name) for name in names]
    with xr.set_options(file_cache_maxsize=2):
        many = [xr.open_dataset(copy, engine="tarvik") for copy in copies]
        for each in many:
            np.testing.assert_array_equal(each.of_them, VARIABLES["of_them"][0])
        assert open_files(tmp_path) == names[-2:]


@pytest.mark.filterwarnings("ignore:.*multi-threaded:DeprecationWarning")
def test_forks_while_another_thread_reads(sample):
    found = xr.open_dataset(sample, engine="tarvik", mask_and_scale=False)
    ended = Event()

    def read():
        while not ended.is_set():
            found.flux[0].values  # noqa: B018

    def child():
        os._exit(0 if np.array_equal(found.flux, FLUX) else 1)

    thread = Thread(target=read)
    thread.start()
    try:
        for _ in range(20):
            process = multiprocessing.get_context("fork").Process(target=child)
            process.start()
            process.join(20)
            assert process.exitcode == 0
    finally:
        ended.set()
        thread.join()


def test_a_variable_that_cannot_be_read(sample, monkeypatch):
    class Refused(Variable):
        def __init__(self, file, number):
            super().__init__(file, number)
            if self.name == "counts":
                raise CDFError("x", "Unhandled datatype 99.")

    monkeypatch.setattr("tarvik.file.Variable", Refused)
    with pytest.warns(
        CDFWarning, match=r"sample\.cdf: the variable 'counts' is left out: Unhandled"
    ):
        found = xr.open_dataset(sample, engine="tarvik")
    assert found.variables.keys() == VARIABLES.keys() - {"counts"}


def test_copies_and_chunks(sample):
    found = xr.open_dataset(sample, engine="tarvik")
    copied = pickle.loads(pickle.dumps(found))
    xr.testing.assert_identical(copied.load(), xr.load_dataset(sample, engine="tarvik"))
    # A file that is replaced is read until it is closed; then the new one.
    copied = pickle.loads(pickle.dumps(found))
    sample.unlink()
    samples.write(sample, {**VARIABLES, "flux": (FLUX[:10] + 1, *VARIABLES["flux"][1:])})
    assert found.flux[0, 0, 0] == FLUX[0, 0, 0]
    found.close()
    np.testing.assert_array_equal(found.by_record, VARIABLES["by_record"][0])
    with pytest.raises(OSError, match="The file was replaced since the dataset was opened"):
        copied.flux.load()
    samples.write(sample.parent / "whole.cdf", VARIABLES)
    sample = sample.parent / "whole.cdf"
    pytest.importorskip("dask", reason="dask is not installed")
    with ops.open(sample) as file:
        ops.setCompression(file, c.GZIP_COMPRESSION, 6)  # all of it: each read makes a scratch file
    chunked = xr.open_dataset(sample, engine="tarvik", chunks={"Epoch": 3})
    for scheduler in ("threads", "processes"):
        total = chunked.flux.sum().compute(scheduler=scheduler, num_workers=4)
        np.testing.assert_allclose(total, xr.load_dataset(sample, engine="tarvik").flux.sum(), 1e-5)


def test_other_files_are_left_to_others(tmp_path, example_file):
    entry = xr.backends.list_engines()["tarvik"]
    other = tmp_path / "netcdf.cdf"
    other.write_bytes(b"CDF\x01" + bytes(100))
    answers = [
        example_file,
        str(example_file),
        other,
        tmp_path,
        tmp_path / "no",
        "http://a/b.cdf.html",
        1.5,
        "http://a/b.cdf",
    ]
    assert [entry.guess_can_open(file) for file in answers] == [True, True] + [False] * 5 + [True]


def test_without_xarray():
    program = (
        "import sys; sys.modules['xarray'] = None\n"
        "import tarvik, tarvik._panels\n"
        "try: import tarvik.xarray\n"
        "except ImportError as error: print(error)"
    )
    done = subprocess.run(
        [sys.executable, "-c", program], capture_output=True, text=True, check=True
    )
    assert done.stdout == "tarvik.xarray needs xarray: pip install 'tarvik[xarray]'\n"


def test_work_spread_over_processes(tmp_path):
    pytest.importorskip("distributed", reason="dask.distributed is not installed")
    script = [sys.executable, ROOT / "examples/many_files.py", "--files", "12", tmp_path]
    spread = subprocess.run(script, capture_output=True, text=True, timeout=300, check=True)
    alone = subprocess.run([*script, "--serial"], capture_output=True, text=True, check=True)
    lines = spread.stdout.splitlines()
    assert len(list(tmp_path.glob("*.cdf"))) == 12
    assert lines == alone.stdout.splitlines()
    assert lines[0] == "12 files, 17280 records"
    # Computed from the files by another reader.
    every = np.concatenate([READERS["spacepy"](f)["B"][1] for f in tmp_path.glob("*.cdf")])
    assert lines[1:] == [
        f"{axis}: mean {np.nanmean(part):.4f} nT, highest {np.nanmax(part):.4f} nT"
        for axis, part in zip(("B_x", "B_y", "B_z"), np.where(every == -1e31, np.nan, every).T)
    ]
