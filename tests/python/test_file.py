"""`File`, `Variable` and `Attributes`, compared with NumPy."""

import os
import re
import subprocess
import sys
from datetime import datetime

import numpy as np
import pytest
from tarvik import CDFWarning, File, ops
from tarvik import open as open_file
from tarvik.datatypes import DATATYPES
from tarvik.variable import Variable
from test_file_layouts import both_majorities, read_with_file
from test_layouts import READERS, RNG, assert_same
from test_real_files import entries_of_spacepy

LIMITS = np.iinfo("i8")
CUBE = np.arange(2.0 * 3 * 4 * 5).reshape(4, 3, 2, 5)
DAYS = np.array(["2020-02-28", "2016-12-31", "NaT"], "M8[ns]")
NOON_2000 = 64_184_000_000  # of TT2000, in UTC


# Keys.

KEYS = [
    (),
    ...,
    2,
    -1,
    np.int16(1),
    (3, 2, 1, 4),
    (-4, -3, -2, -5),
    slice(1, 3),
    slice(None, None, -1),
    slice(3, None, -2),
    slice(-3, 4, 2),
    slice(2, 2),
    (slice(None), 1),
    (..., 3),
    (..., slice(None, None, -3)),
    (1, ..., slice(4, 0, -2)),
    (slice(0, 4, 3), slice(None), 0, slice(None, None, 2)),
    [2, 0],
    [-1, 0, 0],
    np.array([1, 2], "u1"),
    [],
    (slice(None), [0, 2]),
    (..., np.arange(5) % 2 == 0),
    [True, False, False, True],
    (slice(1, None), ..., [4, 1]),
]


@both_majorities
@pytest.mark.parametrize("size", [1 << 30, 100])
@pytest.mark.parametrize("key", KEYS, ids=repr)
def test_keys(key, size, majority, tmp_path, monkeypatch):
    whole = Variable._place

    def place(variable, runs):
        assert np.prod([len(run) for run in runs]) * CUBE.itemsize <= size
        return whole(variable, runs)

    monkeypatch.setattr("tarvik.variable._REQUEST_BYTES", size)  # larger ones are cut
    monkeypatch.setattr(Variable, "_place", place)
    expected = CUBE.copy()
    with File(tmp_path / "x.cdf", "w", majority=majority) as file:
        variable = file.create_variable("cube", CUBE)
        found = variable[key]
        np.testing.assert_array_equal(found, CUBE[key], strict=True)
        assert type(found) is type(CUBE[key])
        assert np.asarray(found).flags.c_contiguous
        for values in (-1.5, RNG.normal(0, 1, CUBE[key].shape)):
            expected[key] = variable[key] = values
            np.testing.assert_array_equal(variable[...], expected)
    np.testing.assert_array_equal(READERS["pycdfpp"](tmp_path / "x.cdf")["cube"][1], expected)


def test_growing(saved):
    with File(saved, "r+") as file:
        small, cube = file["small"], file["cube"]
        small[6] = 5
        small[8:10] = [1, 2]
        small[[12, 11]] = [3, 4]
        small.append(np.int8(9))
        small.append([8, 7])
        cube.append(CUBE[0])
        cube.append(CUBE[:2])
        cube.resize(8)
        pad = small.pad
        file["text"].resize(1)
        file["text"][2:4] = "z"
    with File(saved) as file:
        expected = [0, 1, 2, *[pad] * 3, 5, pad, 1, 2, pad, 4, 3, 9, 8, 7]
        np.testing.assert_array_equal(file["small"][...], expected)
        expected = [CUBE, CUBE[:1], CUBE[:2], np.full_like(CUBE[:1], file["cube"].pad)]
        np.testing.assert_array_equal(file["cube"][...], np.concatenate(expected))
        assert file["text"][...].tolist() == ["ab", "", "z", "z"]


# Values.

EPOCH_2000 = 63_113_904_000_000.0
STORED = [
    ("CDF_INT1", True, 1),
    ("CDF_UINT4", np.uint64(2**32 - 1), 2**32 - 1),
    ("CDF_INT8", LIMITS.min, LIMITS.min),
    ("CDF_REAL4", 0.1, np.float32(0.1)),
    ("CDF_DOUBLE", np.array(3, ">i2"), 3.0),
    ("CDF_TIME_TT2000", np.datetime64("2000-01-01T12:00"), NOON_2000),
    ("CDF_TIME_TT2000", datetime(2000, 1, 1, 12), NOON_2000),
    ("CDF_TIME_TT2000", "2000-01-01T12:00:00.000000001Z", NOON_2000 + 1),
    ("CDF_TIME_TT2000", np.datetime64("NaT"), LIMITS.min),
    ("CDF_TIME_TT2000", 17, 17),
    ("CDF_EPOCH", "2000-01-01T00:00:00.002", EPOCH_2000 + 2),
    ("CDF_EPOCH", np.datetime64("NaT"), -1e31),
    ("CDF_EPOCH16", np.datetime64("2000-01-01T00:00:00.5"), EPOCH_2000 / 1000 + 5e11j),
    ("CDF_UCHAR", "é", "é".encode()),
    ("CDF_CHAR", b"a\n", b"a\n"),
]


@pytest.mark.parametrize(("datatype", "value", "stored"), STORED)
def test_conversions(datatype, value, stored, tmp_path):
    with File(tmp_path / "x.cdf", "w") as file:
        variable = file.create_variable("V", value, datatype=datatype)
        assert (variable.raw[0], variable.datatype) == (stored, datatype)
        assert variable.raw[...].dtype == DATATYPES[datatype].dtype(len(np.bytes_(stored)))
        if isinstance(value, (str, bytes)) and "CHAR" in datatype:
            assert variable[0] == stored.decode()
        elif variable.dtype.kind == "M" and value != 17:
            expected = np.datetime64(value.rstrip("Z") if isinstance(value, str) else value, "ns")
            assert variable[0] == expected or np.isnat([variable[0], expected]).all()


DEFAULTS = {"f4": "REAL4", "f8": "REAL8", "S3": "CHAR", "U2": "CHAR", "M8[s]": "TIME_TT2000"}
DEFAULTS.update({f"i{n}": f"INT{n}" for n in (1, 2, 4, 8)}, u1="UINT1", u2="UINT2", u4="UINT4")


@pytest.mark.parametrize("dtype", [*DEFAULTS, ">f4", "f2", "u8", "c16", "?", "O", "m8[s]"])
def test_default_datatypes(dtype, tmp_path):
    with File(tmp_path / "x.cdf", "w") as file:
        expected = DEFAULTS.get(dtype.strip(">"))
        if expected is None:
            with pytest.raises(TypeError, match=re.escape(f"{np.dtype(dtype)}; convert them")):
                file["V"] = np.zeros(2, dtype)
            assert "V" not in file
        else:
            file["V"] = np.zeros(2, dtype)
            assert file["V"].datatype == f"CDF_{expected}"


def test_fill_values_and_limits(saved):
    with File(saved, "r+") as file:
        cube, small, days = file["cube"], file["small"], file["days"]
        cube.attrs["FILLVAL"], cube.attrs["VALIDMAX"] = np.nan, np.arange(5) + 100
        cube[0, 0] = np.nan
        small.attrs["FILLVAL"], small.attrs["VALIDMIN"] = 2, 1
        days.attrs["FILLVAL"] = days.attrs["VALIDMIN"] = np.datetime64("2016-12-31")
        assert (small.fill, small.attrs["FILLVAL"].dtype, np.isnan(cube.fill)) == (2, "i1", True)
        assert small.masked[...].tolist() == [None, 1, None]
        expected = np.isnan(cube[...]) | (cube[...] > np.arange(5) + 100)
        for key in (..., (3, 2), (..., slice(3, None, -2)), (3, 2, 1, 4), (..., [0, 4])):
            np.testing.assert_array_equal(np.ma.getmaskarray(cube.masked[key]), expected[key])
        assert days.masked[...].mask.tolist() == [False, True, True]
        file["tenths"] = np.array([0.1, 0.2], "f4")
        file["tenths"].attrs.set("VALIDMAX", 0.1, "CDF_REAL8")
        assert file["tenths"].masked[...].mask.tolist() == [False, True]
        assert np.isnat(days[...]).tolist() == [False, True, True]
        days[0] = np.datetime64("NaT")
        assert days.raw[0] == days.fill
        masked = np.ma.MaskedArray([5, 999], [False, True])
        small[:2] = masked
        small.append(masked)
        assert small[...].tolist() == [5, 2, 2, 5, 2]
        with pytest.raises(ValueError, match="'flat' has no FILLVAL"):
            file["flat"][0, :2] = masked


# Files.

MODES = [
    ("r", True, [*"CU"]),
    ("r+", True, [*"CU", "new"]),
    ("w", True, ["new"]),
    ("a", True, [*"CU", "new"]),
    ("x", True, FileExistsError),
    ("r", False, FileNotFoundError),
    ("r+", False, FileNotFoundError),
    ("w", False, ["new"]),
    ("a", False, ["new"]),
    ("x", False, ["new"]),
    ("rw", True, ValueError),
]


@pytest.mark.parametrize(("mode", "exists", "expected"), MODES)
@pytest.mark.parametrize("form", [str, lambda p: p, lambda p: str(p)[:-4]])
def test_modes_and_paths(mode, exists, expected, form, tmp_path):
    path = tmp_path / "x.cdf"
    if exists:
        with File(path, "w") as file:
            file["C"] = file["U"] = CUBE
    if isinstance(expected, type):
        with pytest.raises(expected):
            open_file(form(path), mode)
        assert list(tmp_path.iterdir()) == [path] * exists
        return
    with open_file(form(path), mode) as file:
        assert (file.mode, file.closed, os.fspath(file.path)) == (
            mode,
            False,
            os.fsdecode(form(path)),
        )
        if mode != "r":
            file["new"] = 1
    assert file.closed
    assert list(READERS["pycdfpp"](path)) == expected
    assert list(tmp_path.iterdir()) == [path]


SETTINGS = [
    {"majority": "column", "checksum": "md5"},
    {"compression": "gzip:3"},
    {"compression": "rle", "atomic": False},
    {"compression": "huffman", "isolated": True},
    {"format": "multi", "validate": False},
    {},
]


@pytest.mark.parametrize("options", SETTINGS, ids=str)
def test_options_and_facts(options, tmp_path):
    usual = {"majority": "row", "compression": None, "checksum": None, "format": "single"}
    path = tmp_path / "x.cdf"
    with File(path, "w", **options) as file:
        file["V"], file["extra"] = CUBE, 1
    with File(path, "r+" if options.get("format") != "multi" else "r") as file:
        if file.mode == "r+":
            del file["extra"]
    with File(path, isolated=options.get("isolated", False)) as file:
        facts = {name: getattr(file, name) for name in usual}
        assert facts == {name: options.get(name, default) for name, default in usual.items()}
        assert (file.encoding, file.version) == ("IBMPC_ENCODING", "3.9.1")
        assert "Common Data Format" in file.copyright
        np.testing.assert_array_equal(file["V"][...], CUBE)
    np.testing.assert_array_equal(READERS["spacepy"](path)["V"][1], CUBE)


def test_several_files_are_edited_in_place(tmp_path):
    with File(tmp_path / "x.cdf", "w", format="multi") as file:
        file["V"] = CUBE
    with pytest.warns(CDFWarning, match="edited in place") as warned:
        file = File(tmp_path / "x.cdf", "r+")
    with file:
        file["V"].append(CUBE)
    assert warned[0].filename == __file__
    found = READERS["spacepy"](tmp_path / "x.cdf")["V"][1]
    np.testing.assert_array_equal(found, np.concatenate([CUBE, CUBE]))


LEFT_OPEN = """
import sys, tarvik
written, read, dropped = map(tarvik.open, sys.argv[1:], ("r+", "r", "w"))
written["late"] = [1.0, 2.0]
dropped["late"] = [3.0]
del dropped
"""


def test_files_left_open_when_python_ends(tmp_path):
    paths = [tmp_path / name for name in ("written.cdf", "read.cdf", "dropped.cdf")]
    for path in paths[:2]:
        with File(path, "w") as file:
            file["early"] = [0.0]
    command = [sys.executable, "-W", "always", "-c", LEFT_OPEN, *paths]
    done = subprocess.run(command, capture_output=True, text=True, check=True)
    lines = [line for line in done.stderr.splitlines() if "Warning:" in line]
    assert len(lines) == 2
    assert all("ResourceWarning" in line and "is saved now" in line for line in lines)
    with File(paths[0]) as written, File(paths[2]) as dropped:
        assert [*written["late"], *dropped["late"]] == [1, 2, 3]
    assert sorted(tmp_path.iterdir()) == sorted(paths)


def test_a_fork_leaves_an_edit_to_its_parent(tmp_path):
    with File(tmp_path / "made.cdf", "w") as file:
        file["early"] = [0.0]
        child = os.fork()
        if child == 0:
            try:
                with pytest.raises(ValueError, match="is closed"):
                    file["late"] = [1.0]
                file.close()
                os._exit(0)
            finally:
                os._exit(1)
        assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 0
        file["late"] = [2.0]
    with File(tmp_path / "made.cdf") as file:
        assert [*file["early"], *file["late"]] == [0, 2]


def test_a_fork_reads_on_by_itself(saved):
    with File(saved) as file:
        expected = file["cube"][...]
        child = os.fork()
        if child == 0:
            try:
                same = np.array_equal(file["cube"][...], expected)
                file.close()
                os._exit(0 if same and file.closed else 1)
            finally:
                os._exit(1)
        for _ in range(50):
            np.testing.assert_array_equal(file["cube"][...], expected)
        assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 0


def test_entries_of_variables_that_do_not_exist(saved):
    """They stay what they are, and no new variable takes them over."""
    with ops.open(saved) as file:
        number = ops.getAttrNum(file, "UNITS")
        for variable in (7, 8, 40):
            ops.putAttrEntry(file, number, variable, 51, "lost")
    with File(saved, "r+") as file:
        file["new"] = [1.0]
        assert dict(file["new"].attrs) == {}
        del file["small"]
    with File(saved, "r+") as file:
        assert dict(file["new"].attrs) == {}
        assert [*file._attributes["UNITS"].of_variables] == [0, 8, 40]


def test_limits_of_times(saved):
    with File(saved, "r+") as file:
        for name in ("days", "epoch"):
            file[name].attrs.set("VALIDMAX", "2018-01-01", "CDF_EPOCH")
            file[name].attrs.set("VALIDMIN", "2016-01-01", "CDF_TIME_TT2000")
            assert file[name].masked[...].mask.tolist() == [True, False, True]
        file.create_variable("exact", file["days"][...], datatype="CDF_EPOCH16")
        file["exact"].attrs["VALIDMAX"] = "2018-01-01"
        assert file["exact"].masked[...].mask.tolist() == [True, False, True]
        file["exact"][0] = np.ma.masked
        assert np.isnat(file["exact"][0])


def test_a_file_of_several_files_is_replaced_whole(tmp_path):
    path = tmp_path / "x.cdf"
    with File(path, "w", format="multi") as file:
        file["a"], file["b"] = [1], [2]
    assert len(list(tmp_path.iterdir())) == 3
    with (
        pytest.warns(CDFWarning, match="replaced at once"),
        File(path, "w", format="multi") as file,
    ):
        file["c"] = [3]
    assert sorted(p.name for p in tmp_path.iterdir()) == ["x.cdf", "x.z0"]
    with File(path, "w") as file:
        file["d"] = [4]
    assert [p.name for p in tmp_path.iterdir()] == ["x.cdf"]


def test_attributes_as_a_whole(saved, tmp_path):
    with File(tmp_path / "kinds.cdf", "w") as file:
        for kind, value in (
            ("CDF_EPOCH", "2020-01-01"),
            ("CDF_FLOAT", 0.5),
            ("CDF_BYTE", np.array([1, 2])),
        ):
            file.attrs.set(kind, value, datatype=kind)
        file.attrs["two"] = ["a", np.float64(2)]
        file["v"] = [1]
        file["v"].attrs = {"UNITS": "nT", "FILLVAL": -1}
    with File(tmp_path / "kinds.cdf") as kinds, File(saved, "r+") as file:
        file.attrs.update(kinds.attrs)
        file["cube"].attrs.update(kinds["v"].attrs)
        file["small"].attrs = {"UNITS": "T"}
        file["small"].attrs = {"CATDESC": "x"}
    entries = [entry[1:4] for entry in entries_of_spacepy(saved, range(8))]
    assert [entry for entry in entries if entry[0].startswith(("CDF", "two"))] == [
        ("CDF_EPOCH", 0, "CDF_EPOCH"),
        ("CDF_FLOAT", 0, "CDF_FLOAT"),
        ("CDF_BYTE", 0, "CDF_BYTE"),
        ("two", 0, "CDF_CHAR"),
        ("two", 1, "CDF_REAL8"),
    ]
    with File(saved, "r+") as file:
        file.attrs = {"Project": "other", "new": "n"}
        assert dict(file["cube"].attrs) == {"UNITS": "nT", "FILLVAL": -1}
    with File(saved) as file:
        assert dict(file.attrs) == {"Project": "other", "new": "n"}
        assert dict(file["small"].attrs) == {"CATDESC": "x"}


def test_mapping(saved):
    with File(saved, "r+") as file:
        names = [*file]
        assert (len(file), "cube" in file, "x" in file) == (7, True, False)
        assert (file.get("x"), [*file.keys()]) == (None, names)
        assert [v.name for v in file.values()] == [name for name, _ in file.items()] == names
        cube, small = file["cube"], file["small"]
        file["again"] = cube
        file["small"] = np.array(["x"])
        file.rename("cube", "renamed")
        del file["days"], file["one"]
        assert (cube.name, file["renamed"]) == ("renamed", cube)
        with pytest.raises(ValueError, match="'small' was deleted"):
            small[0]
    expected = ["renamed", "text", "epoch", "flat", "again", "small"]
    assert list(READERS["pycdfpp"](saved)) == expected
    with File(saved) as file, File(saved.with_name("other.cdf"), "w", majority="column") as other:
        for name, variable in file.items():
            other[name] = variable
        other["cube"] = other["again"]
        assert other["cube"].attrs == file["again"].attrs == {"UNITS": "nT"}
    ours, theirs = map(read_with_file, (saved, saved.with_name("other.cdf")))
    assert_same(theirs, {**ours, "cube": ours["again"]})


def test_variable_facts(saved):
    facts = "name number datatype dtype shape ndim size nbytes record_vary dim_vary fill"
    settings = {"blocking_factor": 4, "pad": "zz", "compression": "rle", "sparse": "pad"}
    with File(saved, "r+") as file:
        made = file.create_variable("V", datatype="S2", shape=(2, 3), attrs={"A": 1}, **settings)
        found = [getattr(made, fact) for fact in facts.split()]
        assert found == ["V", 7, "CDF_CHAR", "U2", (2, 3), 2, 6, 12, True, (True,), None]
        assert (made.pad, len(made), made.attrs) == ("zz", 2, {"A": 1})
        assert (made.compression, made.sparse, made.blocking_factor) == ("rle", "pad", 4)
        one = file["one"]
        del file["text"]
        assert (one.shape, one.ndim, one.size, one[()], one[...]) == ((), 0, 1, 7.5, 7.5)
        assert np.asarray(file["small"]).tolist() == [*file["small"]] == [0, 1, 2]
    with File(saved) as file:  # and of the copy
        made = file["V"]
        assert [getattr(made, fact) for fact in facts.split()] == ["V", 6, *found[2:]]
        assert (made.pad, made.compression, made.sparse, made.blocking_factor) == (
            "zz",
            "rle",
            "pad",
            4,
        )


# Attributes: a value, a datatype or None, how it is stored, and what is read.
ENTRIES = [
    ("text ", None, "CDF_CHAR", "text"),
    ("é\n", "CDF_UCHAR", "CDF_UCHAR", "é\n"),
    (3, None, "CDF_INT4", 3),
    (2**40, None, "CDF_INT8", 2**40),
    (1.5, "cdf_real4", "CDF_FLOAT", np.float32(1.5)),
    ((1, 2), "CDF_UINT1", "CDF_UINT1", [1, 2]),
    (np.array([1.5, 2], "f4"), None, "CDF_FLOAT", [1.5, 2]),
    (np.datetime64("2020-01-01"), None, "CDF_TIME_TT2000", np.datetime64("2020-01-01")),
    ("2020-01-01", 31, "CDF_EPOCH", np.datetime64("2020-01-01")),
    (DAYS[:2], "CDF_EPOCH16", "CDF_EPOCH16", DAYS[:2]),
]


@pytest.mark.parametrize(("value", "datatype", "stored", "expected"), ENTRIES)
def test_attributes(value, datatype, stored, expected, saved):
    with File(saved, "r+") as file:
        for attributes, name in ((file.attrs, "G"), (file["small"].attrs, "V")):
            attributes.set(name, value, datatype=datatype)
            attributes[f"{name}2"] = attributes[name]
    with File(saved, "r+") as file:
        for attributes, names in ((file.attrs, "G"), (file["small"].attrs, "V")):
            np.testing.assert_array_equal(attributes[names], expected)
            np.testing.assert_array_equal(attributes[f"{names}2"], expected)
        del file.attrs["G2"], file["small"].attrs["V2"]
        file["small"].attrs["G2"] = 1  # the name is free again
        file.attrs["Project"] = ["just", value]
    entries = {name: kind for _, name, _, kind, _ in entries_of_spacepy(saved, range(5))}
    assert [*entries] == ["Project", "UNITS", "G", "V", "G2"]  # and none without entries
    assert entries["G"] == entries["V"] == stored.replace("FLOAT", "REAL4")
    with File(saved) as file:
        assert ([*file.attrs], [*file["small"].attrs]) == (["Project", "G"], ["V", "G2"])
        assert file.attrs["Project"][0] == "just"
        assert len(file.attrs["Project"]) == 2
