"""The catalogue, the operation table, the Python functions and the reference say the same."""

import ast
import inspect
import pickle
import re
import runpy
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest
import tarvik
from tarvik import _catalogue, _reference, constants, exact, ops

ROOT = Path(__file__).parents[2]
OPERATIONS = _catalogue.operations()
ALL_OPERATIONS = _catalogue.all_operations()


def table(text):
    """Name, least and most inputs of every row of the operation table."""
    rows = re.findall(r"^OPERATION\((\w+), \w+, \d+, (\d+), (\d+)\)$", text, re.MULTILINE)
    return {name: (int(least), int(most)) for name, least, most in rows}


def test_the_catalogue_is_that_of_the_operation_table():
    parts = (ROOT / "gateway/operations.def").read_text().split("#ifdef TARVIK_EXTENDED")
    for text, operations in zip(parts, (OPERATIONS, _catalogue.extended_operations())):
        assert table(text) == {
            name: (sum(not value.optional for value in operation.inputs), len(operation.inputs))
            for name, operation in operations.items()
        }


def test_python_has_each_operation_with_the_parameters_of_the_catalogue():
    for name, operation in ALL_OPERATIONS.items():
        function = getattr(ops, name)
        assert list(inspect.signature(function).parameters) == [v.name for v in operation.inputs]
        assert operation.summary in function.__doc__
        # As for a function of the module, which other processes find by its name.
        assert pickle.loads(pickle.dumps(function)) is function
    assert set(ALL_OPERATIONS) <= set(ops.__all__)
    assert set(OPERATIONS) <= set(exact.__all__)


def test_errors_of_the_catalogue_are_raised_in_the_code():
    code = "".join(
        path.read_text()
        for folder in ("gateway", "convert", "ops", "cdf", "extended")
        for path in (ROOT / folder).rglob("*.[ch]*")
    )
    named = [pair[0] for op in ALL_OPERATIONS.values() for pair in (*op.raises, *op.warns)]
    named += [error for kind in _catalogue.kinds().values() for error in kind.raises]
    missing = [
        error for error in named if f"VORLAN:tarvik:{error}" not in code and "badCount" not in error
    ]
    assert not missing
    found = set(re.findall(r'"VORLAN:tarvik:(\w+(?::\w+)?)"', code))
    of_the_entry = {"tooFewInputs", "tooManyInputs", "tooFewArguments", "invalidOperation"}
    of_the_entry |= {"firstArgNotChar", "closingFileHandle"}
    second_guards = {"packUpAttributeEntry:unknownDatatype", "cdfDatatypeName:unknownDatatype"}
    assert found - set(named) == of_the_entry | second_guards


def test_the_reference_is_written_from_the_catalogue():
    written = (ROOT / "docs/operations.md").read_text(encoding="utf-8")
    assert written == _reference.reference(), "write it anew: python -m tarvik._reference"


@pytest.mark.parametrize("name", ALL_OPERATIONS)
def test_example(name, tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    runpy.run_path(str(ROOT / "examples/sample.py"))["make"]("sample.cdf")
    operation = ALL_OPERATIONS[name]
    names = {"ops": ops, "np": np, "constants": constants}
    names["file"] = first = ops.open("sample.cdf")
    try:
        *steps, last = ast.parse(operation.example).body
        exec(compile(ast.Module(steps, []), name, "exec"), names)
        result = eval(compile(ast.Expression(last.value), name, "eval"), names)
        assert ("" if result is None else repr(result)) == operation.gives
    finally:
        for file in {first, names["file"]}:
            if not file.closed:
                ops.close(file)


def test_keywords_defaults_and_named_results(tmp_path):
    with ops.create(tmp_path / "x.cdf") as file:
        shape = {"numElements": 1, "dimSizes": [], "recVariance": True, "dimVariances": []}
        number = ops.createVar(file, "B", constants.CDF_REAL4, **shape)
        ops.putVarData(file, number, record=0, indices=[], value=np.float32(2.5))
        assert ops.getVarData(file, variable=number, record=0) == 2.5
        assert ops.getVarData(file, number, 0, None) == 2.5
        name, datatype, *_ = ops.inquireVar(file, number)
        assert (name, datatype) == ("B", "cdf_real4")
        with pytest.raises(TypeError):
            ops.getVarData(file, variable=number)
        with pytest.raises(TypeError):
            ops.getVarData(file, number, 0, variable=number)
        with pytest.raises(tarvik.CDFError) as caught:
            ops.getVarName(file)
        assert caught.value.tag == "tooFewInputs"


def test_every_constant_has_a_family_and_its_value():
    members = {m.name: m.value for family in constants.families.values() for m in family}
    names = ops.getConstantNames()
    assert names == sorted(names)
    assert members == {name: ops.getConstantValue(name) for name in names}
    assert all(getattr(constants, name) == members[name] for name in names)


def test_stubs_are_sound_and_complete(tmp_path):
    """Find every operation in the stubs with mypy."""
    right = tmp_path / "right.py"
    right.write_text(
        "import numpy as np\nimport tarvik\nfrom tarvik import constants, exact, ops\n"
        "file = ops.create('x.cdf')\n"
        "facts = ops.inquire(file)\n"
        "count: float = facts.numVariables\n"
        "with file: ops.setCompression(file, constants.GZIP_COMPRESSION, np.int64(6))\n"
        + "".join(f"exact.{name}\n" for name in OPERATIONS)
        + "".join(f"constants.{name}\n" for name in ops.getConstantNames())
        + "facts = tarvik.Gateway(plugin='x.so').inquire(file)\n"
        + "".join(f"ops.{name}\n" for name in ALL_OPERATIONS)
        + "with tarvik.open('x.cdf') as opened: shape: tuple[int, ...] = opened['x'].shape\n"
    )
    wrong = tmp_path / "wrong.py"
    wrong.write_text("from tarvik import ops\nops.getVarName('x', 0)\nops.inquire(1).nothing\n")
    mypy = [
        sys.executable,
        "-m",
        "mypy",
        "--strict",
        "--follow-imports=silent",
        "--cache-dir",
        tmp_path / "cache",
    ]
    env = {"MYPYPATH": str(Path(tarvik.__file__).parents[1]), "PATH": ""}
    results = [
        subprocess.run([*mypy, source], capture_output=True, text=True, cwd=tmp_path, env=env)
        for source in (right, wrong)
    ]
    assert results[0].returncode == 0, results[0].stdout
    assert results[1].stdout.count("error:") == 3, results[1].stdout
