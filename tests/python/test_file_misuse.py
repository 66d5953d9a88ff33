"""What `File` refuses: the right exception, and the file is what it was."""

import io
from datetime import datetime
from pathlib import Path

import numpy as np
import pytest
from tarvik import CDFError, File


def contents(path):
    with File(path) as file:
        return repr([(n, v.raw[...], dict(v.attrs)) for n, v in file.items()] + [dict(file.attrs)])


# Wrong use: an action, the exception, and what its words must have.

TOO_LONG = "n" * 256


def run(action, file, variable=None):
    names = {"np": np, "datetime": datetime, "File": File, "TOO_LONG": TOO_LONG}
    exec(action, {"f": file, "v": file["small"] if variable is None else variable, **names})


WRONG = [
    ('f["cubes"]', KeyError, "'cubes'.*did you mean 'cube'"),
    ('f.rename("textt", "x")', KeyError, "'textt'.*'text'"),
    ('f["cube"].attrs["UNIT"]', KeyError, "'UNIT'.*'UNITS'"),
    ('f.attrs["project"]', KeyError, "'project'.*'Project'"),
    ('f.rename("cube", "text")', ValueError, "'text'"),
    ('f.rename("cube", TOO_LONG)', ValueError, TOO_LONG),
    ('f.create_variable("cube", 1)', ValueError, "'cube'"),
    ("f.create_variable(TOO_LONG, 1)", ValueError, TOO_LONG),
    ('f.create_variable("é", 1)', ValueError, "'é'"),
    ('f.create_variable("x")', TypeError, "datatype"),
    ('f.create_variable("x", 1, datatype="CDF_REAL5")', ValueError, "'CDF_REAL5'"),
    ('f.create_variable("x", datatype="CDF_CHAR")', TypeError, "'S8'"),
    ('f.create_variable("x", 1, compression="gzip:10")', ValueError, "'gzip:10'"),
    ('f.create_variable("x", 1, sparse="pads")', ValueError, "'pads'"),
    ('f.create_variable("x", 1, blocking_factor=-1)', ValueError, "BLOCKING"),
    ('f.create_variable("x", 1, pad="a")', TypeError, "CDF_INT8.*<U1"),
    ('f.create_variable("x", 1, pad=[1, 2])', ValueError, r"\(2,\)"),
    ('f.create_variable("x", [1], shape=(2,))', ValueError, r"\(2,\).*\(1,\)"),
    ('f.create_variable("x", [[1]], dim_vary=[1, 1])', ValueError, "2 .*1 "),
    ('f.create_variable("x", 1, attrs={"A": 1, "B": object()})', TypeError, "object"),
    ('f.create_variable("x", 1, atrs={})', TypeError, "atrs"),
    ('f["x"] = [[1], [2, 3]]', ValueError, "inhomogeneous"),
    ('f["cube"][0] = np.ones((2, 3))', ValueError, r"\(2, 3\).*\(3, 2, 5\)"),
    ('f["cube"].append(np.ones((3, 5)))', ValueError, r"3, 5\).*3, 2, 5\)"),
    ('f["cube"][0, 3] = 1', IndexError, "3.*size 3"),
    ('f["cube"][0, 0, 0, 0, 0] = 1', IndexError, "5 .*4 "),
    ('f["cube"][[True]]', IndexError, "length 1 .*size 4"),
    ('f["cube"][[0, -5]]', IndexError, "-5.*size 4"),
    ('f["cube"][[0], [0]]', IndexError, "one"),
    ('f["cube"][..., ...]', IndexError, "ellipsis"),
    ('f["cube"][1.0]', TypeError, "float"),
    ('f["cube"][0] = "a"', TypeError, "CDF_REAL8.*<U1"),
    ('f["cube"][0] = 1j', TypeError, "float64.*complex128"),
    ('f["small"][0] = 128', OverflowError, "128.*int64.*int8"),
    ('f["small"][:2] = [-129, 5]', OverflowError, "-129.*int64.*int8"),
    ('f["small"][[0, 1]] = [1, 10**30]', OverflowError, f"{10**30}.*int8"),
    ('f["small"][0] = 1.0', TypeError, "float64"),
    ('f["small"].attrs.set("FILLVAL", 200)', OverflowError, "200"),
    ('f["small"].attrs.set("Project", 1)', ValueError, "'Project'"),
    ('f.attrs.set("A", [])', ValueError, "'A'"),
    ('f.attrs.set("A", 1e300, "CDF_REAL4")', OverflowError, "CDF_REAL4"),
    ("f.attrs.set(TOO_LONG, 1)", ValueError, TOO_LONG),
    ('f["text"][0] = "abé"', ValueError, "'abé' has 4 bytes.*2"),
    ('f["days"][0] = "yesterday"', ValueError, "yesterday"),
    ('f["days"][0] = 1.5', TypeError, "CDF_TIME_TT2000.*float64"),
    ('f["days"].append(datetime(1700, 1, 1))', OverflowError, "1700.*CDF_TIME_TT2000"),
    ('f["epoch"].append(np.datetime64("2500-01-01"))', OverflowError, "2500.*CDF_EPOCH"),
    ('f["flat"][0] = [1, 2, 3]', ValueError, "does not vary"),
    ('f["one"].resize(2)', TypeError, "'one'"),
    ('f["small"].resize(-1)', ValueError, "-1"),
    ('v.name = "x"', AttributeError, "name"),
    ('f.attrs = {"é": 1}', ValueError, "'é'"),
    ('f.attrs = [("P", 1), ("Q", None)]', TypeError, "'Q'"),
    ('f.attrs["A"] = "a\\0b"', ValueError, "'A'.*NUL"),
    ('f["text"][0] = b"a\\0"+b"b"', ValueError, "NUL"),
    ("v.attrs.update(f.attrs)", ValueError, "'Project' has 3 entries"),
    ('v.units = "x"', AttributeError, "units"),
    ('File(f.path, "w", format="multi", checksum="md5")', ValueError, "checksum"),
    ('File(f.path + ".cdf", "w")', ValueError, ".cdf.cdf"),
    ('v.attrs.rename("none", "x")', KeyError, "'none'"),
    ('File(f.path, "r+", checksum="md5")', ValueError, "checksum='md5'.*'r\\+'"),
]


@pytest.mark.parametrize(("act", "exception", "words"), WRONG)
def test_wrong_use(act, exception, words, saved):
    before, stored = contents(saved), saved.read_bytes()
    with pytest.raises(exception, match=f"(?s){words}"), File(saved, "r+") as file:
        run(act, file)
    assert saved.read_bytes() == stored
    with File(saved, "r+") as file:
        with pytest.raises(exception):
            run(act, file)
        file["small"][0] = 0  # and the session goes on
    assert contents(saved) == before


CHANGES = [
    "v[0] = 1",
    "v.append(1)",
    "v.resize(1)",
    'v.attrs.set("A", 1)',
    'del f["cube"].attrs["UNITS"]',
    'del f.attrs["Project"]',
    'f.attrs.set("Project", "less")',
    'f["small"] = 1',
    'f["new"] = v',
    'del f["small"]',
    'f.rename("small", "new")',
    'f.create_variable("new", 1)',
]
LOOKS = ["f['cube']", "v[0]", "v.shape", "v.attrs['A']", "f.attrs['Project']", "f.id", "f.version"]


@pytest.mark.parametrize("act", CHANGES)
def test_files_for_reading(act, saved):
    stored = saved.read_bytes()
    with File(saved) as file, pytest.raises(io.UnsupportedOperation, match="reading only"):
        run(act, file)
    assert saved.read_bytes() == stored


@pytest.mark.parametrize("act", [*CHANGES, *LOOKS])
def test_closed_files(act, saved):
    with File(saved, "r+") as file:
        variable = file["small"]
        assert (dict(variable.attrs), len(file.attrs)) == ({}, 1)
    with pytest.raises(ValueError, match="closed"):
        run(act, file, variable)
    file.close()
    assert repr(variable).endswith("not available any more>")


@pytest.mark.parametrize("act", [CHANGES[n] for n in (2, 4, 5, 6, 7, 9)])
def test_what_needs_a_copy(act, saved):
    before = contents(saved)
    with File(saved, "r+", atomic=False) as file:
        with pytest.raises(io.UnsupportedOperation, match="edited in place"):
            run(act, file)
        file["small"][0] = 0
    assert contents(saved) == before


@pytest.mark.parametrize("isolated", [False, True])
def test_validation(isolated, saved):
    damaged = bytearray(saved.read_bytes())
    damaged[28] ^= 1  # the version of the format
    saved.write_bytes(damaged)
    for _ in range(2):
        with pytest.raises(CDFError, match="CORRUPTED"):
            File(saved, isolated=isolated)
        with File(saved, isolated=isolated, validate=False) as file:
            assert file["one"][()] == 7.5


@pytest.mark.parametrize("left", [0, 100, "other"])
def test_edits_that_are_lost(left, saved, monkeypatch):
    stored, close, others = saved.read_bytes(), File._close_id, saved.with_name("other.cdf")
    with File(others, "w") as other:
        other["small"] = 1

    def lose(file):
        close(file)
        if file._transaction:
            data = stored[:left] if left != "other" else others.read_bytes()
            Path(file._transaction.path).write_bytes(data)

    file = File(saved, "r+")
    file["small"][0] = 5
    monkeypatch.setattr(File, "_close_id", lose)
    with pytest.raises(OSError, match="was not changed"):
        file.close()
    assert (saved.read_bytes(), file.closed) == (stored, True)
    assert sorted(saved.parent.iterdir()) == [others, saved]
