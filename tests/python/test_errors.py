"""Refusals and warnings of the gateway as Python sees them."""

import os
import pickle
import warnings

import pytest
import tarvik
from tarvik import ops

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
