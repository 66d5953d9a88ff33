"""The zlib that the CDF library calls: which one it is, when it goes, and what it writes."""

import os
import re
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest
import tarvik
from tarvik import _host
from test_layouts import READERS

LIBRARIES = Path(_host.__file__).parent / "lib"
LARGE_FILES = 20_000  # bytes; the size of smaller ones tells nothing of the compression
CALLS = ["deflate", "deflateEnd", "deflateInit2_", "inflate", "inflateEnd", "inflateInit2_"]

pytestmark = pytest.mark.skipif(
    not (LIBRARIES / "libtarvik_zlib.so").exists(), reason="the build has no zlib of its own"
)

COPY_FILES = """
import sys
from pathlib import Path
from tarvik import cli
for level in range(1, 10):
    for path in sys.argv[2:]:
        target = f"{sys.argv[1]}/{level}_{Path(path).name}"
        arguments = ["copy", path, target, "--compression", f"gzip:{level}"]
        cli.tarvik(arguments, standalone_mode=False)()
"""


def run_python(program, *arguments, **environment):
    """Run a program in a process of its own; give what it and the loader say."""
    done = subprocess.run(
        [sys.executable, "-c", program, *map(str, arguments)],
        env={**os.environ, **environment},
        capture_output=True,
        text=True,
    )
    assert done.returncode == 0, done.stderr
    return done.stdout, done.stderr


@pytest.mark.parametrize("plugin", ["EXACT_PLUGIN", "EXTENDED_PLUGIN"])
def test_the_library_calls_it_and_it_goes_with_the_plugin(plugin):
    program = f"""
import re, tarvik
from tarvik import _gateway
def loaded():
    maps = open("/proc/self/maps").read()
    names = ("tarvik_zlib", "isal", "deflate", "cdf")
    return [bool(re.search(rf"/lib{{name}}.so", maps)) for name in names]
gateway = tarvik.Gateway(_gateway.{plugin})
print(loaded())
gateway.unload()
print(loaded())
"""
    said, bindings = run_python(program, LD_DEBUG="bindings")
    assert said == f"{[True] * 4}\n{[False] * 4}\n"
    bound = re.findall(r"libcdf\S* \[0\] to \S*/libtarvik_zlib.so \[0\]: .* `z_(\w+)'", bindings)
    assert sorted(bound) == CALLS


def test_the_version_tells_which_one_is_called():
    program = "from tarvik import cli; cli.tarvik(['--version'])"
    library = next(LIBRARIES.glob("libcdf.so*"))
    for environment, expected in [
        ({}, rf"zlib: {re.escape(_host.ZLIB_VERSIONS)}\n"),
        ({"LD_PRELOAD": str(library)}, r"zlib: the CDF library's own\n"),
    ]:
        assert re.search(expected, run_python(program, **environment)[0])


@pytest.mark.parametrize("compress_file", [False, True], ids=["variables", "file"])
@pytest.mark.parametrize("reader", READERS)
def test_other_readers_read_what_is_written(tmp_path, reader, compress_file):
    random = np.random.default_rng(1)
    data = {
        "noise": random.normal(size=(30_000, 3)).astype("f4"),
        "steps": np.arange(200_000, dtype="i4") // 7,
        "zeros": np.zeros((500, 100)),
        "single": np.array([1.5]),
    }
    with tarvik.open(
        tmp_path / "made.cdf", "w", compression="gzip:6" if compress_file else None
    ) as f:
        for name, values in data.items():
            f.create_variable(name, values, compression=None if compress_file else "gzip:6")
    found = READERS[reader](tmp_path / "made.cdf")
    for name, values in data.items():
        np.testing.assert_array_equal(found[name][1].reshape(values.shape), values, name)


def test_files_are_at_most_two_percent_larger_than_with_the_librarys_own(tmp_path):
    folder = Path(os.environ.get("TARVIK_REAL_FILES") or Path(__file__).parents[3] / "shared/real")
    files = [path for path in folder.glob("*.cdf") if path.stat().st_size > LARGE_FILES]
    if not files:
        pytest.skip(f"there are no files in {folder}")
    library = next(LIBRARIES.glob("libcdf.so*"))
    for name, environment in [("ours", {}), ("its", {"LD_PRELOAD": str(library)})]:
        (tmp_path / name).mkdir()
        run_python(COPY_FILES, tmp_path / name, *files, **environment)
    written = list((tmp_path / "ours").iterdir())
    assert len(written) == 9 * len(files)
    for ours in written:
        its = tmp_path / "its" / ours.name
        assert ours.stat().st_size <= 1.02 * its.stat().st_size, ours.name
