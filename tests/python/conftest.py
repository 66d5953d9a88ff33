"""What the Python tests share."""

import os
import sys
from pathlib import Path

import pytest
import tarvik
from tarvik import _host, cli

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
        made.append(tarvik.call("create", tmp_path / name))
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
