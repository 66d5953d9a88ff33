"""The command `tarvik plot`: what its panels show, and the pictures."""

import subprocess
import sys

import numpy as np
import pytest
import samples
from samples import TT2000
from tarvik import File, _panels
from tarvik._panels import View, view_of
from test_real_files import for_every_file, path  # noqa: F401

EPOCH = samples.times(6)
NAN = np.nan
BY_TIME = {"DEPEND_0": "Epoch"}
LIMITS = {"FILLVAL": -1.0, "VALIDMIN": 0.0, "VALIDMAX": np.array([9.0, 99.0, 99.0])}
FIELD = np.array(
    [[1.0, 10, 20], [2, -1, 21], [NAN, 100, 22], [10, 13, -5], [5, 14, 24], [6, 15, 25]]
)
SHOWN = np.array(
    [[1, 10, 20], [2, NAN, 21], [NAN, NAN, 22], [NAN, 13, NAN], [5, 14, 24], [6, 15, 25]]
)
SPECTRA = np.arange(24.0).reshape(6, 4)
CUBE = np.arange(72.0).reshape(6, 4, 3)
CUBE[2, 1, 0] = CUBE[3, :, 2] = -1
LOG = {"SCALETYP": "log", "UNITS": "cm!E-2!Ns!E-1"}
VARIABLES = {
    "Epoch": (EPOCH, True, {}, TT2000),
    "B": (
        FIELD,
        True,
        {**BY_TIME, **LIMITS, "LABL_PTR_1": "axes", "LABLAXIS": "B field", "UNITS": "nT"},
    ),
    "flux": (SPECTRA, True, {**BY_TIME, **LOG, "DEPEND_1": "energy", "VAR_TYPE": "data"}),
    "moving": (SPECTRA, True, {**BY_TIME, "DEPEND_1": "energies", "UNITS": " "}),
    "series": (SPECTRA, True, {**BY_TIME, "DEPEND_1": "energy", "DISPLAY_TYPE": "time_series"}),
    "energy": (np.array([8.0, 4, 2, 1]), False, {"SCALETYP": "LOG", "UNITS": "keV"}),
    "energies": (np.where(SPECTRA == 5, -1, SPECTRA), True, {**BY_TIME, "FILLVAL": -1.0}),
    "axes": (np.array(["x", "$y$", "z "], "S3"), False, {}),
    "wide": (np.zeros((6, 30)), True, {}),
    "other": (np.arange(7.0), True, {"DEPEND_0": "no such"}),
    "cube": (CUBE, True, {**BY_TIME, "FILLVAL": -1.0, "DEPEND_1": "energy", "LABL_PTR_2": "axes"}),
    "scalar": (1.5, False, {}),
    "none": (np.zeros(0), True, BY_TIME),
    "zeros": (np.zeros(6), True, {**BY_TIME, **LOG}),
}
TIME = "time (UTC)"
# Kind, label of x, label of the values, whether these are logarithmic, y, names.
PANELS = {
    "B": ("lines", TIME, "B field (nT)", False, None, ["x", "$y$", "z"]),
    "flux": ("spectrogram", TIME, "flux (cm⁻²s⁻¹)", True, "energy (keV)", []),
    "moving": ("spectrogram", TIME, "moving", False, "energies", []),
    "series": ("lines", TIME, "series", False, None, ["8.0", "4.0", "2.0", "1.0"]),
    "energy": ("lines", "index", "energy (keV)", True, None, []),
    "wide": ("spectrogram", TIME, "wide", False, "channel", []),
    "other": ("lines", "record", "other", False, None, []),
    "zeros": ("lines", TIME, "zeros (cm⁻²s⁻¹)", False, None, []),
}
REFUSED = {
    "Epoch": "it holds times",
    "axes": "it holds texts",
    "cube": "it has more than one dimension in each record: 1 (energy, 4 places), "
    "2 (axes, 3 places); see --slice and --mean",
    "scalar": "it is a single value",
    "none": "it has no records",
}


# Of the cube: slices, means; the panel's name, kind and values.
MASKED = np.where(CUBE == -1, NAN, CUBE)
OF_X, EVERY = np.nanmean(MASKED[:, :, 0], 1), np.nanmean(MASKED, (1, 2))
CUTS = [
    ([("energy", -1)], [], "cube: energy[3] = 1.0", "lines", MASKED[:, 3]),
    ([("axes", 1)], ["no such"], "cube: axes[1] = $y$", "spectrogram", MASKED[:, :, 1]),
    ([("2", 0)], ["1"], "cube: axes[0] = x, mean over energy", "lines", OF_X[:, None]),
    ([("1", 0), ("2", 2)], [], "cube: energy[0] = 8.0, axes[2] = z", "lines", MASKED[:, :1, 2]),
    ([], ["energy", "2"], "cube: mean over energy, mean over axes", "lines", EVERY[:, None]),
]


@pytest.fixture
def sample(tmp_path):
    samples.write(tmp_path / "sample.cdf", VARIABLES)
    return tmp_path / "sample.cdf"


@pytest.fixture
def variables(sample):
    with File(sample) as file:
        yield file._variables


def panel(variables, view, records=None):
    records = range(view.variable.shape[0]) if records is None else records
    return _panels.make_panel(variables, view, records)


def test_panels(variables, monkeypatch):
    made = {name: panel(variables, View(variables[name])) for name in PANELS}
    for name, p in made.items():
        y = p.y and p.y.label
        found = (p.kind, p.x.label, p.values.label, p.values.logarithmic, y, list(p.names))
        assert found == PANELS[name], name
    np.testing.assert_array_equal(made["B"].values.values, SHOWN)
    np.testing.assert_array_equal(made["moving"].y.values[1], [4, NAN, 6, 7])
    noon = np.datetime64("2020-01-01T12:00", "ns")
    np.testing.assert_array_equal(made["B"].x.values, noon + np.arange(6) * np.timedelta64(60, "s"))
    views = {name: View(variable) for name, variable in variables.items()}
    assert {name: _panels.reason_against(views[name]) for name in REFUSED} == REFUSED
    monkeypatch.setitem(_panels._MOST_RECORDS, "spectrogram", 4)
    few = panel(variables, views["moving"])
    assert (few.step, few.values.values.tolist()) == (2, SPECTRA[::2].tolist())
    assert few.y.values.shape == few.values.values.shape
    some = panel(variables, views["moving"], np.array([1, 4]))
    assert some.values.values.tolist() == SPECTRA[[1, 4]].tolist()
    np.testing.assert_array_equal(some.y.values, [[4, NAN, 6, 7], SPECTRA[4]])
    np.testing.assert_array_equal(some.x.values, made["B"].x.values[[1, 4]])


@pytest.mark.parametrize(("slices", "means", "name", "kind", "values"), CUTS)
def test_slices_and_means(variables, slices, means, name, kind, values):
    found = panel(variables, view_of(variables["cube"], slices, means))
    assert (found.name, found.kind) == (name, kind)
    np.testing.assert_allclose(found.values.values, values)


@pytest.mark.parametrize(
    ("left", "expected"),
    [
        (set(), ["flux"]),
        ({"flux"}, ["B", "moving", "series", "wide", "other", "zeros"]),
        (VARIABLES.keys() - {"energy", "axes"}, ["energy"]),
        (VARIABLES.keys() - {"axes", "scalar"}, []),
    ],
)
def test_what_is_drawn_unasked(variables, left, expected):
    views = [View(variable) for name, variable in variables.items() if name not in left]
    assert [view.variable.name for view in _panels.drawable(variables, views)] == expected


def test_cells_of_a_spectrogram():
    drawing = pytest.importorskip("tarvik._drawing", exc_type=ImportError)
    y = _panels.Scale(np.array([4.0, 2, 1]), "", True)
    x = np.array([0.0, 1, 2, 10, 11])
    across, up, cells = drawing._cells(x, y, np.arange(15.0).reshape(5, 3))
    # A cell has half the way to its neighbours; none covers the gap.
    assert across[:, 0].tolist() == [-0.5, 0.5, 0.5, 1.5, 1.5, 2.5, 9.5, 10.5, 10.5, 11.5]
    np.testing.assert_allclose(up[0], 2.0 ** np.array([-0.5, 0.5, 1.5, 2.5]))
    assert cells[::2].tolist() == [[2, 1, 0], [5, 4, 3], [8, 7, 6], [11, 10, 9], [14, 13, 12]]
    assert cells[1::2].mask.all()


def picture(file):
    """The pixels: rows, columns, colours."""
    return pytest.importorskip("matplotlib.image").imread(file)


@pytest.mark.filterwarnings("error")
def test_pictures(sample, tmp_path, command):
    pytest.importorskip("matplotlib")
    out = tmp_path / "out.png"
    assert command("plot", sample, *PANELS, "-o", out) == (0, "", "")
    pixels = picture(out)
    assert pixels.shape[0] > pixels.shape[1] > 1000
    border = np.concatenate(
        [part.reshape(-1, 4) for part in (pixels[:2], pixels[-2:], pixels[:, :2], pixels[:, -2:])]
    )
    assert (border == 1).all()  # nothing is cut off there
    code, _, words = command("plot", sample, "-o", out)
    left, refusal = words.splitlines()
    assert left == "tarvik: plot: not cube, which need --slice or --mean"
    assert (code, refusal) == (3, f"tarvik: {out}: out.png exists; --force replaces it")
    np.testing.assert_array_equal(picture(out), pixels)
    assert command("plot", sample, "-o", out, "--force")[0] == 0
    assert picture(out).shape[0] < pixels.shape[0] / 3
    assert sorted(f.name for f in tmp_path.iterdir()) == ["out.png", "sample.cdf"]
    for name, start in {"x.pdf": b"%PDF", "x.svg": b"<?xml"}.items():
        assert command("plot", sample, "B", "-o", tmp_path / name)[0] == 0
        assert (tmp_path / name).read_bytes().startswith(start)


@for_every_file
@pytest.mark.filterwarnings("error")
def test_pictures_of_real_files(path, tmp_path, command):  # noqa: F811
    pytest.importorskip("matplotlib")
    code, _, words = command("plot", path, "-o", tmp_path / "x.png")
    assert code == 0, words
    assert picture(tmp_path / "x.png").std() > 0.01


def test_options(sample, tmp_path, command, monkeypatch):
    drawing = pytest.importorskip("tarvik._drawing", exc_type=ImportError)
    drawn = []
    monkeypatch.setattr(drawing, "draw", lambda panels, *_: drawn.extend(panels))
    cut = ("--slice", "axes=0", "--mean", "energy")
    times = ("--from", "2020-01-01T12:01", "--to", "2020-01-01T12:04", "--records", "-2:")
    names = ("cube", "energy")
    assert command("plot", sample, *names, *cut, *times, "-o", tmp_path / "x.png") == (0, "", "")
    cube, energy = drawn
    np.testing.assert_array_equal(cube.values.values, OF_X[2:4, None])
    assert energy.values.values.ravel().tolist() == [8, 4, 2, 1]  # the same for all records


def test_refusals(sample, tmp_path, command):
    pytest.importorskip("matplotlib")
    out = tmp_path / "x.png"
    cases = [
        ([sample, "cube"], out, 4, "sample.cdf: cube has no plot: it has more than one dimension"),
        ([sample, "cube", "--slice", "1=4"], out, 4, "index 4 is outside dimension 1 of size 4"),
        ([sample, "cube", "--slice", "1=x"], out, 2, "'x' in 1=x is no index"),
        (
            [sample, "cube", "--slice", "x=1"],
            out,
            4,
            "there is no dimension x, but 1, 2, axes, ene",
        ),
        ([sample, "--mean", "3"], out, 4, "--mean: there is no dimension 3, but 1, 2, axes, "),
        ([sample, "cube", "--mean", "1", "--slice", "energy=0"], out, 4, "1 is named twice"),
        ([sample, "B", "--records", "6:"], out, 4, "leave nothing of B: it has 6 records\n"),
        ([sample, "B", "--from", "2021-01-01"], out, 4, "from 2020-01-01T12:00:00.000000000 to"),
        ([sample, "other", "--to", "2021-01-01"], out, 4, '"other" has no time axis'),
        ([sample, "B", "--to", "noon"], out, 2, "'noon' is no time like 2020-01-31T12:30:00"),
        ([sample, "no"], out, 4, 'there is no variable "no"'),
        ([tmp_path / "no.cdf"], out, 3, "no.cdf: No such file or directory"),
        ([sample], tmp_path / "x.gif", 2, "does not end in .png, .pdf or .svg"),
        ([sample], tmp_path / "no" / "x.png", 3, "No such file or directory"),
    ]
    for inputs, output, code, words in cases:
        found = command("plot", *inputs, "-o", output)
        assert (found[0], words in found[2]) == (code, True), found
    assert [f.name for f in tmp_path.iterdir()] == ["sample.cdf"]


def test_without_matplotlib(sample, tmp_path):
    program = "import sys; sys.modules['matplotlib'] = None; from tarvik.cli import main; main()"
    arguments = ["plot", str(sample), "-o", str(tmp_path / "x.png")]
    done = subprocess.run(
        [sys.executable, "-c", program, *arguments], capture_output=True, text=True, check=False
    )
    words = "tarvik: plot: needs matplotlib: pip install 'tarvik[plot]'\n"
    assert (done.returncode, done.stderr) == (4, words)
