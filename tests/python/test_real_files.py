"""Everything in files of missions and of other software, as independent readers give it."""

import os
import shutil
from contextlib import suppress
from pathlib import Path

import numpy as np
import pytest
import tarvik
from tarvik import ops
from test_layouts import READERS, plain, read_variable

FOLDER = Path(os.environ.get("TARVIK_REAL_FILES") or Path(__file__).parents[3] / "shared/real")
NAMES = sorted(path.name for path in FOLDER.glob("*.cdf") if path.name != "not_a_cdf.cdf")
pytestmark = pytest.mark.skipif(not NAMES, reason=f"there are no files in {FOLDER}")
for_every_file = pytest.mark.parametrize("path", NAMES, indirect=True)


@pytest.fixture
def path(request, tmp_path):
    return shutil.copyfile(FOLDER / request.param, tmp_path / request.param)


@pytest.mark.parametrize("path", ["not_a_cdf.cdf"], indirect=True)
def test_what_is_no_cdf_file(path):
    with pytest.raises(tarvik.CDFError) as caught:
        ops.open(path)
    assert caught.value.identifier == "VORLAN:tarvik:open:failure"


@for_every_file
@pytest.mark.parametrize("reader", READERS)
@pytest.mark.filterwarnings("ignore:VIRTUAL_RECORD_DATA")
def test_variables(path, reader):
    theirs = READERS[reader](path)
    with ops.open(path) as file:
        variables = range(int(ops.inquire(file).numVariables))
        assert {ops.getVarName(file, variable) for variable in variables} == theirs.keys()
        for name, (datatype, values) in theirs.items():
            variable = ops.getVarNum(file, name)
            found, ours = read_variable(file, variable)
            if reader == "pycdfpp":  # has extents of one where an r-variable does not vary
                values = values.reshape([n for i, n in enumerate(values.shape) if i == 0 or n > 1])
            assert (found, ours.shape) == (datatype, values.shape), name
            sparse = ops.getVarSparseRecords(file, variable) != "NO_SPARSERECORDS"
            # cdflib tells no type without values, and puts zeros among the pad values.
            if reader != "cdflib" or (ours.size and not sparse):
                np.testing.assert_array_equal(ours, values, name)


@for_every_file
def test_edits(path):
    """Attributes and records are written again and again, and all else stays."""
    with tarvik.open(path) as file:
        before = {name: (v.raw[...], dict(v.attrs)) for name, v in file.items()}
    for count in range(1, 4):
        with tarvik.open(path, "r+") as file:
            file.attrs["edit"] = [f"number {n}" for n in range(count)]
            file[f"new{count}"] = [1.0, 2.0]
    with tarvik.open(path) as file:
        assert len(file.attrs["edit"]) == 3
        assert [*file] == [*before, "new1", "new2", "new3"]
        for name, (values, attributes) in before.items():
            np.testing.assert_array_equal(file[name].raw[...], values, name)
            np.testing.assert_equal(dict(file[name].attrs), attributes)


@pytest.mark.parametrize("path", ["ge_k0_cpi_19921231_v02.cdf"], indirect=True)
def test_what_the_library_made_of_an_old_file(path):
    """It takes room out of the descriptions of variables, and leaves the version."""
    with ops.open(path) as file:
        ops.createAttr(file, "new", 1)
    with ops.open(path) as file:
        assert ops.inquire(file).numVariables == 25
        ops.getAttrNum(file, "new")


def entries_of_cdflib(path, attributes):
    """Give the attribute's number and name, the entry's number, its datatype and value."""
    file = pytest.importorskip("cdflib").CDF(path, string_encoding="latin-1")
    info = file.cdf_info()
    assert len(attributes) == len(info.Attributes)
    for number in attributes:
        ((name, scope),) = info.Attributes[number].items()
        numbers = range(file.attinq(name).max_gr_entry + 1)
        owners = numbers if scope == "Global" else info.rVariables + info.zVariables
        for entry, owner in enumerate(owners):
            with suppress(KeyError, ValueError):  # there is none
                found = file.attget(name, owner)
                yield number, name, entry, found.Data_Type, found.Data


def entries_of_spacepy(path, attributes):
    pycdf = pytest.importorskip("spacepy.pycdf")
    with pycdf.CDF(str(path)) as file:
        for number in attributes:
            attribute = pycdf.gAttr(file, number)
            if not attribute.global_scope():
                attribute = pycdf.zAttr(file, number)
            attribute._raw = True  # times as numbers, text as bytes
            for entry in filter(attribute.has_entry, range(attribute.max_idx() + 1)):
                datatype = pycdf.lib.cdftypenames[attribute.type(entry)]
                yield number, attribute._name.decode(), entry, datatype, attribute[entry]


@for_every_file
@pytest.mark.parametrize("read", [entries_of_cdflib, entries_of_spacepy])
def test_entries(path, read):
    with ops.open(path) as file:
        facts = [ops.inquireAttr(file, a) for a in range(int(ops.inquire(file).numAttributes))]
        kinds = ["g" if fact.scope == "GLOBAL_SCOPE" else "" for fact in facts]
        theirs = list(read(path, range(len(facts))))
        counts = [ops.call(f"getNumAttr{g}Entries", file, a) for a, g in enumerate(kinds)]
        assert len(theirs) == sum(counts)
        for attribute, name, entry, datatype, value in theirs:
            found = facts[attribute].name
            assert name in (found, found.rstrip())  # spacepy cuts blanks
            inquire = (f"inquireAttr{kinds[attribute]}Entry", file, attribute, entry)
            get = (f"getAttr{kinds[attribute]}Entry", file, attribute, entry)
            ours = ops.call(*get)
            assert ops.call(*inquire)[0] == datatype.lower()
            if isinstance(ours, str):
                text = value if isinstance(value, bytes) else value.encode("latin-1")
                assert ours.encode(errors="surrogateescape") == text
            else:
                ours, numbers = np.ravel(ours, "F"), plain(value).ravel()
                np.testing.assert_array_equal(ours, numbers, name, strict=True)
