"""The plug-ins beside each other, and what the extended one serves."""

import inspect
import subprocess
import sys

import numpy as np
import pytest
import tarvik
from tarvik import _catalogue, exact, ops
from tarvik._gateway import EXACT_PLUGIN
from tarvik.cli.content import read_file
from test_real_files import FOLDER, NAMES

LEAP_SECOND = 536500868184000000  # 2016-12-31T23:59:60
WITH_INT64 = {"CDF_INT8": 8, "CDF_TIME_TT2000": 33}


@pytest.fixture
def int64_file(tmp_path):
    with ops.create(tmp_path / "made.cdf") as file:
        for name, datatype in WITH_INT64.items():
            number = ops.createVar(file, name, datatype, 1, [2], True, [True])
            values = np.array([[LEAP_SECOND - 1, -(2**63)], [LEAP_SECOND, 2**63 - 1]], "i8")
            ops.hyperPutVarData(file, number, 0, 2, 1, [0], [2], [1], values)
    return tmp_path / "made.cdf"


def test_methods_are_what_the_functions_are():
    for name, operation in _catalogue.all_operations().items():
        function, method = getattr(ops, name), getattr(tarvik.Gateway, name)
        assert (method.__doc__, method.__name__) == (function.__doc__, name)
        parameters = inspect.signature(method).parameters
        assert list(parameters)[1:] == list(inspect.signature(function).parameters)
        assert hasattr(ops, operation.result_name) == (len(operation.outputs) > 1)
        assert hasattr(exact, name) == (name in _catalogue.operations())


def test_files_belong_to_the_gateway_that_opened_them(int64_file):
    other_exact = tarvik.Gateway(plugin=EXACT_PLUGIN)
    for opener in (ops, exact, other_exact):
        with opener.open(int64_file) as file:
            facts = opener.inquire(file=file)
            assert type(facts) is ops.InquireResult
            assert facts.numVariables == 2
            for other in {ops, exact, other_exact} - {opener}:
                with pytest.raises(ValueError, match=r'file ".*made.cdf" belongs') as caught:
                    other.inquire(file)
                assert caught.value.tag == "invalidFileId"
            assert not file.closed
        assert file.closed
    with pytest.raises(tarvik.CDFError) as caught:
        other_exact.computeTT2000([2000, 1, 1, 0, 0, 0, 0, 0, 0])
    assert caught.value.tag == "invalidOperation"
    with pytest.raises(tarvik.CDFError, match=r"missing\.so"):
        tarvik.Gateway("missing.so")


def test_the_exact_plug_in_refuses_the_two_datatypes(int64_file):
    with exact.open(int64_file) as file:
        for number in range(2):
            with pytest.raises(tarvik.CDFError, match="Unhandled datatype"):
                exact.inquireVar(file, number)
    assert set(ops.getConstantNames()) - set(exact.getConstantNames()) == set(WITH_INT64)


def test_loaded_when_first_asked_for():
    program = """
import sys, tarvik
def loaded():
    maps = open("/proc/self/maps").read()
    return [f"{name}.so" in maps for name in ("tarvik", "tarvik_extended")]
print(loaded(), tarvik.ops is tarvik.ops, loaded(), tarvik.exact is not tarvik.ops, loaded())
"""
    done = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True)
    expected = "[False, False] True [False, True] True [True, True]\n"
    assert done.stdout.replace("/tarvik.so", "") == expected, done.stderr


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
    with ops.open(FOLDER / name) as file:
        for variable, values in read(FOLDER / name):
            number = ops.getVarNum(file, variable)
            facts = ops.inquireVar(file, number)
            extents = np.ravel(facts.dimSizes).astype(int).tolist()
            zeros, ones = [0] * len(extents), [1] * len(extents)
            records = int(ops.getVarMaxWrittenRecNum(file, number)) + 1
            assert records == len(np.atleast_1d(values))
            if records:
                ours = ops.hyperGetVarData(file, number, 0, records, 1, zeros, extents, ones)
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
    parts = ops.tt2000Breakdown(times)
    np.testing.assert_array_equal(parts.T.astype("i8"), epoch.breakdown_tt2000(times))
    np.testing.assert_array_equal(np.ravel(ops.computeTT2000(parts)), times)
