"""The gateways beside the functions of the module, and what the extended one serves."""

import inspect
import pickle
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest
import tarvik
from tarvik import _catalogue, constants, extended
from tarvik.cli.content import read_file
from test_real_files import FOLDER, NAMES

PLUGINS = Path(extended.plugin).parent
LEAP_SECOND = 536500868184000000  # 2016-12-31T23:59:60
WITH_INT64 = {"CDF_INT8": 8, "CDF_TIME_TT2000": 33}


@pytest.fixture
def int64_file(tmp_path):
    with extended.create(tmp_path / "made.cdf") as file:
        for name, datatype in WITH_INT64.items():
            number = extended.createVar(file, name, datatype, 1, [2], True, [True])
            values = np.array([[LEAP_SECOND - 1, -(2**63)], [LEAP_SECOND, 2**63 - 1]], "i8")
            extended.hyperPutVarData(file, number, 0, 2, 1, [0], [2], [1], values)
    return tmp_path / "made.cdf"


def test_methods_are_what_the_functions_are():
    for name, operation in _catalogue.operations().items():
        function, method = getattr(tarvik, name), getattr(extended, name)
        assert inspect.signature(method) == inspect.signature(function)
        assert (method.__doc__, method.__name__) == (function.__doc__, name)
        assert inspect.signature(getattr(tarvik.Gateway, name)).parameters.keys() >= {"self"}
        assert hasattr(tarvik, operation.result_name) == (len(operation.outputs) > 1)
    assert not any(hasattr(tarvik, name) for name in _catalogue.extended_operations())


def test_files_belong_to_the_gateway_that_opened_them(int64_file):
    exact = tarvik.Gateway(plugin=PLUGINS / "tarvik.so")
    for opener in (tarvik, exact, extended):
        with opener.open(int64_file) as file:
            facts = opener.inquire(file=file)
            assert type(facts) is tarvik.InquireResult
            assert facts.numVariables == 2
            for other in {tarvik, exact, extended} - {opener}:
                with pytest.raises(ValueError, match=r'file ".*made.cdf" belongs') as caught:
                    other.inquire(file)
                assert caught.value.tag == "invalidFileId"
            assert not file.closed
        assert file.closed
    with pytest.raises(tarvik.CDFError) as caught:
        exact.computeTT2000([2000, 1, 1, 0, 0, 0, 0, 0, 0])
    assert caught.value.tag == "invalidOperation"
    with pytest.raises(tarvik.CDFError, match=r"missing\.so"):
        tarvik.Gateway("missing.so")


def test_the_exact_plug_in_refuses_the_two_datatypes(int64_file):
    with tarvik.open(int64_file) as file:
        for number in range(2):
            with pytest.raises(tarvik.CDFError, match="Unhandled datatype"):
                tarvik.inquireVar(file, number)


def test_constants():
    ours, more = extended.constants, {"CDF_INT8", "CDF_TIME_TT2000"}
    assert {m.name for m in ours.Datatype} - {m.name for m in constants.Datatype} == more
    for name in extended.getConstantNames():
        assert getattr(ours, name) == extended.getConstantValue(name)
    assert ours.Majority is constants.Majority
    assert pickle.loads(pickle.dumps(ours.CDF_INT8)) is ours.CDF_INT8


def test_loaded_when_first_asked_for():
    program = """
import sys, tarvik
def loaded():
    maps = open("/proc/self/maps").read()
    return ["tarvik_extended.so" in maps, "tarvik._gateway" in sys.modules]
print(loaded(), "extended" in dir(tarvik), tarvik.extended is tarvik.extended, loaded())
"""
    done = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True)
    assert done.stdout == "[False, False] True True [True, True]\n", done.stderr


def test_show_writes_times_in_utc(int64_file):
    time = read_file(str(int64_file), ["CDF_TIME_TT2000"])["variables"][1]
    assert (time["datatype"], time["problem"]) == ("cdf_time_tt2000", None)
    assert time["pad_value"] == "0000-01-01T00:00:00.000000000"
    assert time["values"] == [[LEAP_SECOND - 1, LEAP_SECOND], [-(2**63), 2**63 - 1]]
    assert time["times"] == [
        ["2016-12-31T23:59:59.999999999", "2016-12-31T23:59:60.000000000"],
        ["9999-12-31T23:59:59.999999999", "2292-04-11T11:46:07.670775807"],
    ]


def readers():
    """Functions of a path that give the int64 variables' values, dimensions behind the records."""

    def with_cdflib(path):
        file = pytest.importorskip("cdflib").CDF(path, string_encoding="latin-1")
        info = file.cdf_info()
        for name in info.rVariables + info.zVariables:
            if file.varinq(name).Data_Type_Description in WITH_INT64:
                values = file.varget(name) if file.varinq(name).Last_Rec >= 0 else []
                yield name, np.asarray(values, "i8")

    def with_pycdfpp(path):
        pycdfpp = pytest.importorskip("pycdfpp")
        for name, variable in pycdfpp.load(str(path)).items():
            if int(variable.type.value) in WITH_INT64.values():
                yield name, np.asarray(variable.values).astype("i8")

    return [with_cdflib, with_pycdfpp]


@pytest.mark.parametrize("read", readers())
@pytest.mark.parametrize("name", NAMES)
def test_real_files(name, read):
    with extended.open(FOLDER / name) as file:
        for variable, values in read(FOLDER / name):
            number = extended.getVarNum(file, variable)
            facts = extended.inquireVar(file, number)
            extents = np.ravel(facts.dimSizes).astype(int).tolist()
            zeros, ones = [0] * len(extents), [1] * len(extents)
            records = int(extended.getVarMaxWrittenRecNum(file, number)) + 1
            assert records == len(np.atleast_1d(values))
            if records:
                ours = extended.hyperGetVarData(file, number, 0, records, 1, zeros, extents, ones)
                np.testing.assert_array_equal(np.ravel(ours, "F"), np.ravel(values), strict=True)


@pytest.mark.parametrize("name", NAMES)
def test_show_reads_every_real_file(name):
    found = read_file(str(FOLDER / name))
    described = [*found["global_attributes"], *found["variables"]]
    entries = [entry for variable in found["variables"] for entry in variable["attributes"]]
    assert described
    assert not [thing for thing in described + entries if thing["problem"]]


def test_times_are_those_of_cdflib():
    epoch = pytest.importorskip("cdflib").cdfepoch
    times = np.random.default_rng(20161231).integers(-(10**18), 7 * 10**17, 500)
    parts = extended.tt2000Breakdown(times)
    np.testing.assert_array_equal(parts.T.astype("i8"), epoch.breakdown_tt2000(times))
    np.testing.assert_array_equal(np.ravel(extended.computeTT2000(parts)), times)
