"""What the Python tests share."""

import os
import sys
from pathlib import Path

import numpy as np
import pytest
import tarvik
from tarvik import File, _host, cli, ops

ROOT = Path(__file__).parents[2]


@pytest.fixture(scope="session")
def probe_file():
    """A plug-in of the tests; see probe.cpp."""
    built = Path(_host.__file__).parent / "lib/../tests/python/probe.so"
    plugin = Path(os.environ.get("TARVIK_TEST_PROBE", os.path.realpath(built)))
    if not plugin.exists():
        pytest.skip("the probe plug-in is built with the C++ tests")
    return str(plugin)


@pytest.fixture(scope="session")
def probe(probe_file):
    """The plug-in of the tests as a gateway of its own."""
    return _host.Gateway(probe_file)


@pytest.fixture(scope="session", params=["in_process", "isolated"])
def either_probe(request, probe_file):
    """The same in this process and in another."""
    return tarvik.Gateway(probe_file, isolated=request.param == "isolated")


@pytest.fixture
def new_file(tmp_path):
    """Make a file; it is closed at the end, when the test has not done so."""
    made = []

    def make(name="made.cdf"):
        made.append(ops.call("create", tmp_path / name))
        return made[-1]

    yield make
    for file in made:
        with file:
            pass


@pytest.fixture(scope="session")
def example_file():
    """A file of a mission that comes with the project."""
    return ROOT / "examples/data/ac_h2_sis_20101105_v06.cdf"


@pytest.fixture
def command(capfd, monkeypatch):
    """Run the command; give exit code, stdout and stderr."""

    def run(*arguments):
        monkeypatch.setattr(sys, "argv", ["tarvik", *map(str, arguments)])
        with pytest.raises(SystemExit) as ended:
            cli.main()
        return (ended.value.code, *capfd.readouterr())

    return run


@pytest.fixture
def saved(tmp_path):
    """A small file, written with `File`."""
    days = np.array(["2020-02-28", "2016-12-31", "NaT"], "M8[ns]")
    with File(tmp_path / "saved.cdf", "w") as file:
        file["cube"] = np.arange(120.0).reshape(4, 3, 2, 5)
        file["small"] = np.arange(3, dtype="i1")
        file["text"] = ["ab", "c"]
        file["days"] = days
        file.create_variable("epoch", days, datatype="CDF_EPOCH")
        file.create_variable("one", 7.5, record_vary=False)
        file.create_variable("flat", np.ones((2, 3)), dim_vary=[False])
        file.attrs["Project"] = ["first", "second", np.int16(3)]
        file["cube"].attrs["UNITS"] = "nT"
    return tmp_path / "saved.cdf"
