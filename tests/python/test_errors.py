"""Refusals and warnings of the gateway as Python sees them."""

import os
import pickle
import sys
import warnings

import numpy as np
import pytest
import tarvik
from tarvik import constants, exact, ops

call = ops.call
LIBRARY = 'CDF library failure, "{}: The library says so.".'

# What the gateway raises, and the exceptions that it is in Python.
KINDS = [
    ("open:failure", LIBRARY.format("NO_SUCH_CDF"), FileNotFoundError),
    ("create:failure", LIBRARY.format("CDF_EXISTS"), FileExistsError),
    ("setVarData:failure", LIBRARY.format("READ_ONLY_MODE"), PermissionError),
    ("close:failure", LIBRARY.format("CDF_CLOSE_ERROR"), OSError),
    ("getVarNum:failure", LIBRARY.format("NO_SUCH_VAR"), KeyError),
    ("getVarData:failure", LIBRARY.format("BAD_REC_NUM"), IndexError),
    ("setMajority:failure", LIBRARY.format("BAD_MAJORITY"), ValueError),
    ("open:failure", LIBRARY.format("BAD_MALLOC"), MemoryError),
    ("unpackLongScalar:outOfRange", "out of range", ValueError),
    ("putVarData:datatypeMismatch", "no", TypeError),
    ("invalidOperation", "no", TypeError),
    ("open:failure", LIBRARY.format("NOT_A_CDF"), None),
    ("x:failure", 'the variable "NO_SUCH_VAR: x" is odd', None),
    ("x", "no UTF-8: caf\udce9", None),
]


@pytest.mark.parametrize(("identifier", "message", "kind"), KINDS)
def test_kinds(either_probe, identifier, message, kind):
    with pytest.raises(tarvik.CDFError) as caught:
        either_probe.call("fail", f"VORLAN:tarvik:{identifier}", message)
    error = caught.value
    assert str(error) == error.message == message
    assert error.identifier == f"VORLAN:tarvik:{identifier}"
    assert (error.operation, error.tag) == ("fail", identifier.rpartition(":")[2])
    named = message.startswith("CDF library failure")
    assert error.status_name == (message.split('"')[1].partition(":")[0] if named else None)
    assert type(error) is tarvik.CDFError if kind is None else isinstance(error, kind)
    again = pickle.loads(pickle.dumps(error))
    assert (type(again), str(again), again.__dict__) == (type(error), message, error.__dict__)


# Calls on a file with the variable 0, B, and the attribute 0, UNITS; what is noted of the error.
NOTES = [
    ("getVarNum", ["flux"], "variable 'flux'"),
    ("getAttrNum", ["UNITZ"], "attribute 'UNITZ'"),
    ("createVar", ["B", 4, 1, [], True, []], "variable 'B'"),
    ("renameVar", [0, "x" * 500], f"variable 0 ('B'), new name '{'x' * 299}"),
    ("getVarData", [np.int64(0), 5, [1, 2]], "variable 0 ('B')"),
    ("getVarData", ["B", 0], "variable 'B'"),
    ("getVarName", [9], "variable 9"),
    ("getVarData", [9, 0], "variable 9"),
    ("getAttrEntry", [0, 7], "attribute 0, entry 7"),
    ("putAttrEntry", [0, 7, 4, "x"], "attribute 0 ('UNITS'), entry 7"),
    ("setMajority", [5], None),
    ("getVarData", [np.zeros((2, 2)), 0], None),
]
with_notes = pytest.mark.skipif(sys.version_info < (3, 11), reason="exceptions have no notes")


@with_notes
@pytest.mark.parametrize("isolated", [False, True])
def test_notes_say_what_was_asked_for(tmp_path, isolated):
    with tarvik.Gateway(isolated=isolated) as gateway, gateway.create(tmp_path / "x.cdf") as file:
        gateway.createVar(file, "B", constants.CDF_INT4, 1, [], True, [])
        gateway.createAttr(file, "UNITS", constants.VARIABLE_SCOPE)
        for operation, inputs, note in NOTES:
            with pytest.raises(tarvik.CDFError) as caught:
                gateway.call(operation, file, *inputs)
            notes = getattr(caught.value, "__notes__", [])
            assert notes == ([f"In {operation}: {note} of {file.name!r}"] if note else [])
            assert str(caught.value) == caught.value.message
            again = pickle.loads(pickle.dumps(caught.value))
            assert again.__dict__ == caught.value.__dict__


@with_notes
def test_notes_point_to_the_plug_in_that_knows_a_datatype(tmp_path):
    with tarvik.File(tmp_path / "x.cdf", "w") as file:
        file["time"] = np.array(["2020-01-01"], "M8[ns]")
        file["count"] = np.arange(3)
        file["count"].attrs["LIMIT"] = np.int64(2)
    cases = [
        ("inquireVar", [0], "CDF_TIME_TT2000"),
        ("getVarData", [0, 0], "CDF_TIME_TT2000"),
        ("getVarRecordData", [1, 0], "CDF_INT8"),
        ("getAttrEntry", [0, 1], "CDF_INT8"),
    ]
    with exact.open(tmp_path / "x.cdf") as file:
        for operation, inputs, datatype in cases:
            with pytest.raises(tarvik.CDFError) as caught:
                exact.call(operation, file, *inputs)
            note = f"{datatype} is known to tarvik.ops and tarvik.open, not to tarvik.exact"
            assert caught.value.__notes__[1:] == [note]


def test_files_that_cannot_be_had(tmp_path):
    (tmp_path / "folder.cdf").mkdir()
    (tmp_path / "text.cdf").write_text("no CDF file at all, but long enough to be one")
    call("close", call("create", tmp_path / "there.cdf"))
    cases = [
        ("open", "missing.cdf", FileNotFoundError),
        ("open", "folder.cdf", IsADirectoryError),
        ("create", "there.cdf", FileExistsError),
        ("create", "nowhere/x.cdf", FileNotFoundError),
        ("open", "text.cdf", tarvik.CDFError),
    ]
    for operation, name, kind in cases:
        for path in (tmp_path / name, str(tmp_path / name), os.fsencode(tmp_path / name)):
            with pytest.raises(kind) as caught:
                call(operation, path)
            error = caught.value
            assert error.filename == path
            assert (error.operation, error.tag) == (operation, "failure")
            assert not isinstance(error, OSError) or error.errno or kind is OSError
    assert not isinstance(error, OSError)  # the last one, which is a file but no CDF file


def test_files_without_permission(tmp_path):
    call("close", call("create", tmp_path / "secret.cdf"))
    (tmp_path / "secret.cdf").chmod(0)
    if os.access(tmp_path / "secret.cdf", os.R_OK):
        pytest.skip("everything is allowed to this user")
    with pytest.raises(PermissionError):
        call("open", tmp_path / "secret.cdf")
    tmp_path.chmod(0o500)
    with pytest.raises(PermissionError):
        call("create", tmp_path / "new.cdf")


def test_calls_that_are_none():
    cases = [((), "tooFewArguments", None), ((5,), "firstArgNotChar", None)]
    cases += [(("OPEN",), "invalidOperation", "OPEN"), (("close",), "tooFewInputs", "close")]
    for inputs, tag, operation in cases:
        with pytest.raises(tarvik.CDFError) as caught:
            call(*inputs)
        assert isinstance(caught.value, TypeError)
        assert (caught.value.tag, caught.value.operation) == (tag, operation)


def test_objects_that_were_never_initialised_are_refused():
    gateway = tarvik.Gateway.__new__(tarvik.Gateway)
    file = ops.FileId.__new__(ops.FileId)
    for attempt in (lambda: gateway.inquire(1), lambda: ops.inquire(file), file.__exit__):
        with pytest.raises(TypeError):
            attempt()


def test_warnings_blame_the_caller(either_probe):
    with pytest.warns(tarvik.CDFWarning, match="^look out$") as caught:
        assert either_probe.call("warn", "look out") == 1
    assert caught[0].message.identifier == "PROBE:warning"
    assert caught[0].filename == __file__
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        with pytest.raises(tarvik.CDFWarning):
            either_probe.call("warn", "look out")
