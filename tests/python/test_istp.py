"""Files against the ISTP rules, beside what spacepy.pycdf.istp finds in them."""

import json
import re
import shutil

import numpy as np
import pytest
from conftest import ROOT
from tarvik import File, istp, ops
from test_real_files import FOLDER, NAMES, path

assert path  # the fixture

NAME = "ace_h0_mag_20200101_v01.cdf"
GLOBAL = {
    "Project": "ISTP>International Solar-Terrestrial Physics",
    "Source_name": "ACE>Advanced Composition Explorer",
    "Discipline": "Space Physics>Interplanetary Studies",
    "Data_type": "H0>Level 2",
    "Descriptor": "MAG>Magnetometer",
    "Data_version": "1",
    "PI_name": "A. Person",
    "PI_affiliation": "A place",
    "TEXT": "What it is",
    "Instrument_type": "Magnetic Fields (space)",
    "Mission_group": "ACE",
    "Logical_source_description": "Magnetic field",
}
RECOMMENDED = ["File_naming_convention", "Generation_date", "Generated_by", "Acknowledgement"]
RECOMMENDED += ["Rules_of_use", "MODS", "LINK_TEXT", "LINK_TITLE", "HTTP_LINK", "ADID_ref", "DOI"]
RECOMMENDED += ["Time_resolution", "spase_DatasetResourceID"]
HOURS = np.datetime64("2020-01-01", "ns") + np.arange(24) * np.timedelta64(1, "h")


def about(units="nT", **more):
    return {"CATDESC": "What it is", "LABLAXIS": "label", "UNITS": units, **more}


@pytest.fixture(scope="session")
def good_file(tmp_path_factory):
    """A file without findings, most attributes of which were decided by `complete`."""
    path = tmp_path_factory.mktemp("istp") / NAME
    random = np.random.default_rng(5)
    flux = random.normal(5, 1, (24, 4)).astype("f4")
    flux[3, 2] = -1e31
    with File(path, "w") as file:
        file.attrs.update({**GLOBAL, **dict.fromkeys(RECOMMENDED, "x")})
        time = {"CATDESC": "Time", "LABLAXIS": "UT"}
        file.create_variable("Epoch", HOURS, attrs=time)
        file.create_variable("B", random.normal(size=24), attrs=about())
        axis = about(DEPEND_1="energy", LABL_PTR_1="names")
        file.create_variable("flux", flux, attrs=axis, compression="gzip")
        energy = np.arange(1, 5, dtype="f4")
        deltas = {"DELTA_PLUS_VAR": "width", "DELTA_MINUS_VAR": "width"}
        file.create_variable("energy", energy, record_vary=False, attrs=about("eV", **deltas))
        file.create_variable("width", energy / 2, record_vary=False, attrs=about("eV"))
        file.create_variable("count", np.arange(24, dtype="i2"), attrs=about(" "))
        texts = ["one", "two", "three", "four"]
        file.create_variable("names", texts, record_vary=False, attrs={"CATDESC": "Names"})
        assert istp.complete(file) == []
    assert istp.check(path) == []
    return path


@pytest.fixture
def good(good_file, tmp_path):
    return shutil.copy(good_file, tmp_path / NAME)


def test_what_is_completed(good):
    with File(good) as file:
        found = {name: dict(variable.attrs) for name, variable in file.items()}
        assert file.attrs["Logical_file_id"] == NAME[:-4]
        assert file.attrs["Logical_source"] == "ace_h0_mag"
    expected = {
        "Epoch": {"VAR_TYPE": "support_data", "MONOTON": "INCREASE", "UNITS": "ns"},
        "B": {"VAR_TYPE": "data", "DISPLAY_TYPE": "time_series", "DEPEND_0": "Epoch"},
        "flux": {"DISPLAY_TYPE": "spectrogram", "FILLVAL": np.float32(-1e31), "FORMAT": "E13.6"},
        "energy": {"VAR_TYPE": "support_data", "VALIDMIN": 1, "VALIDMAX": 4},
        "width": {"VAR_TYPE": "support_data", "FIELDNAM": "width"},
        "count": {"FORMAT": "I6", "FILLVAL": -32768, "VALIDMAX": 23},
        "names": {"VAR_TYPE": "metadata", "FORMAT": "A5", "FILLVAL": ""},
    }
    for name, attributes in expected.items():
        assert {key: found[name][key] for key in attributes} == attributes
    assert found["flux"]["VALIDMIN"] > 0  # not the fill value
    assert found["Epoch"]["VALIDMAX"] == HOURS[-1]
    assert "DEPEND_0" not in found["names"]


def test_completing_keeps_what_there_is(good, tmp_path):
    with File(tmp_path / "other.cdf", "w") as file, File(good) as source:
        file["B"] = source["B"][...]
        file["B"].attrs["VALIDMIN"] = 0.0
        left = {(each.rule, each.attribute) for each in istp.complete(file) if each.variable}
        assert left == {
            *(("missing", name) for name in ("CATDESC", "DEPEND_0", "UNITS", "LABLAXIS")),
            ("outside", "VALIDMIN"),
        }
        assert file["B"].attrs["VALIDMIN"] == 0.0


# What spacepy says, and the rules that say the same here.
SAME = {
    r"No Logical_\w+ in global attrs": "global-missing",
    r"Logical_\w+ .* doesn't match filename": "file-name",
    "Cannot parse date from filename": "file-name",
    r"Empty CHAR entry \d": "global-entry",
    "Empty CHAR entry for": "entry",
    "Nonmonotonic time": "time-order time-fill",
    "multiple days|date .* doesn't match file": "file-days time-fill",
    "(DEPEND|LABL_PTR|DELTA).* variable .* missing": "pointer",
    r"DELTA_\w+ (type|units|shape|record count)": "delta",
    "Do not expect DEPEND_1 or DEPEND_2": "dimension",
    "is RV but has no DEPEND_0": "axis",
    r"Dim \d+ sized": "axis",
    "No FILLVAL": "missing fillval-missing",
    "FILLVAL type": "limit-type",
    "FILLVAL .* should be": "fillval",
    r"\d+ records; DEPEND_0": "records",
    "(VALID|SCALE)M.* type .* (does not match|not comparable)": "limit-type",
    "element count|Multi-element": "limit-count",
    "outside valid data range": "limit-range",
    "[Vv]alues? .*(under|over) ": "outside",
    "MIN > ": "limit-order",
    "dim variable with .* display type": "display-type",
    "FIELDNAM": "missing fieldnam",
}
# What docs/istp.md says is no finding here.
NOT_HERE = [
    r"CDF_FLOAT does not match variable type CDF_REAL4|CDF_REAL4 does not .* CDF_FLOAT",
    r"CDF_DOUBLE does not match variable type CDF_REAL8|CDF_REAL8 does not .* CDF_DOUBLE",
    "Multi dim variable with (time_series|stack_plot|image|no_plot) display type",
    "1 dim variable with (time_series>.*|no_plot) display type",
    "0 records; DEPEND_0",  # of virtual variables; others are found all the same
    "did not complete",
    "three layers|More complicated double dependency|Expect DEPEND_0 to be Epoch",
]


def assert_all_of_spacepy_is_found(path):
    """Return what spacepy says."""
    pycdf = pytest.importorskip("spacepy.pycdf")
    pytest.importorskip("spacepy.pycdf.istp")
    with pycdf.CDF(str(path)) as file:
        theirs = pycdf.istp.FileChecks.all(file, catch=True)
        names = sorted(file, key=len, reverse=True)
    ours = {(each.variable, each.rule) for each in istp.check(path)}
    ours |= {(name, rule) for name in names for _, rule in ours if rule == "file-days"}
    for said in theirs:
        name = next((name for name in names if said.startswith(f"{name}: ")), None)
        rules = [rule for words, rule in SAME.items() if re.search(words, said)]
        found = any((name, rule) in ours for each in rules for rule in each.split())
        assert found or any(re.search(words, said) for words in NOT_HERE), said
    return theirs


@pytest.mark.filterwarnings("ignore")
@pytest.mark.skipif(not NAMES, reason=f"there are no files in {FOLDER}")
@pytest.mark.parametrize("path", NAMES, indirect=True)
def test_all_that_spacepy_finds_in_real_files(path):
    assert assert_all_of_spacepy_is_found(path)


def changed(name, attribute, value, datatype=None):
    def change(file):
        owner = file if name is None else file[name]
        owner.attrs.set(attribute, value, datatype)

    return change


def deleted(name, attribute):
    def change(file):
        del (file if name is None else file[name]).attrs[attribute]

    return change


def written(name, key, value):
    def change(file):
        file[name][key] = value

    return change


def put(name, values, **options):
    """Replace a variable and keep its attributes."""

    def change(file):
        attributes = {**dict(file[name].attrs), "FILLVAL": file[name].raw[...].dtype.type(0)}
        del attributes["FILLVAL"], file[name]
        file.create_variable(name, values, attrs=attributes, **options)

    return change


def emptied(name, attribute):
    def change(file):
        number = ops.getAttrNum(file.id, attribute)
        if name is None:
            ops.putAttrgEntry(file.id, number, 0, 51, b"\0")
        else:
            ops.putAttrEntry(file.id, number, file[name].number, 51, b"\0")

    return change


def cut(name, records):
    return lambda file: file[name].resize(records)


def time_named_otherwise(file):
    file.rename("Epoch", "time")
    for variable in file.values():
        if "DEPEND_0" in variable.attrs:
            variable.attrs["DEPEND_0"] = "time"


# What is changed in the good file, the rule and the variable, and whether spacepy sees it.
PLANTED = [
    (deleted(None, "Project"), "global-missing", None, False),
    (deleted(None, "Logical_source"), "global-missing", None, True),
    (deleted(None, "DOI"), "global-recommended", None, False),
    (changed(None, "MODS", 5), "global-number", None, False),
    (changed(None, "Logical_file_id", "other"), "file-name", None, True),
    (changed(None, "Logical_source", "other"), "file-name", None, True),
    (changed(None, "Logical_source", "ace"), "logical-source", None, False),
    (changed(None, "Data_version", "2"), "file-version", None, False),
    (changed(None, "Data type", "2"), "name", None, False),
    (emptied(None, "MODS"), "global-entry", None, True),
    (written("Epoch", 23, "2020-01-02"), "file-days", None, True),
    (deleted("B", "CATDESC"), "missing", "B", False),
    (deleted("B", "FIELDNAM"), "missing", "B", True),
    (deleted("B", "FILLVAL"), "missing", "B", True),
    (deleted("names", "FILLVAL"), "fillval-missing", "names", True),
    (deleted("B", "DISPLAY_TYPE"), "display-missing", "B", False),
    (emptied("B", "CATDESC"), "entry", "B", True),
    (changed("B", "VAR_TYPE", "dat"), "var-type", "B", False),
    (changed("B", "FIELDNAM", "field"), "fieldnam", "B", True),
    (changed("B", "SCALETYP", "linlog"), "word", "B", False),
    (changed("count", "FILLVAL", -1), "fillval", "count", True),
    (changed("count", "FILLVAL", -32768.0, "CDF_REAL8"), "limit-type", "count", True),
    (changed("count", "VALIDMIN", 0, "CDF_INT4"), "limit-type", "count", True),
    (changed("Epoch", "VALIDMIN", 0.0, "CDF_REAL8"), "limit-type", "Epoch", True),
    (changed("flux", "VALIDMAX", [100.0] * 3), "limit-count", "flux", True),
    (changed("B", "VALIDMAX", [100.0] * 3), "limit-count", "B", False),
    (changed("count", "VALIDMAX", 70_000, "CDF_INT4"), "limit-range", "count", True),
    (changed("count", "VALIDMAX", 5), "outside", "count", True),
    (changed("flux", "VALIDMIN", [0, 0, 6, 0]), "outside", "flux", True),
    (changed("Epoch", "VALIDMAX", HOURS[5]), "outside", "Epoch", True),
    (changed("count", "VALIDMIN", 30), "limit-order", "count", True),
    (changed("count", "SCALEMIN", 30), None, None, False),
    (changed("B", "DISPLAY_TYPE", "spectrogram"), "display-type", "B", True),
    (changed("flux", "DISPLAY_TYPE", "image"), "display-type", "flux", True),
    (changed("B", "FORMAT", "I5"), "format", "B", False),
    (changed("count", "FORMAT", "I1"), "format", "count", False),
    (changed("count", "FORMAT", "%d"), "format", "count", False),
    (changed("flux", "DEPEND_1", "nothing"), "pointer", "flux", True),
    (changed("flux", "LABL_PTR_1", "nothing"), "pointer", "flux", True),
    (changed("flux", "DEPEND_1", 5.0), "pointer", "flux", False),
    (changed("B", "DEPEND_1", "energy"), "dimension", "B", False),
    (changed("flux", "DEPEND_1", "B"), "axis", "flux", True),
    (deleted("count", "DEPEND_0"), "missing", "count", False),
    (changed("flux", "LABL_PTR_1", "energy"), "label", "flux", False),
    (changed("B", "DEPEND_0", "count"), "depend-0", "B", False),
    (changed("energy", "DEPEND_0", "Epoch"), "axis", "flux", True),
    (changed("width", "UNITS", "keV"), "delta", "energy", True),
    (changed("energy", "DELTA_PLUS_VAR", "B"), "delta", "energy", True),
    (cut("count", 20), "records", "count", True),
    (written("Epoch", 5, "2020-01-01"), "time-order", "Epoch", True),
    (written("Epoch", 5, "NaT"), "time-fill", "Epoch", True),
    (changed("Epoch", "MONOTON", "DECREASE"), "monoton", "Epoch", False),
    (lambda file: file.rename("Epoch", "time"), "pointer", "B", True),
    (lambda file: file.pop("Epoch"), "time-axis", None, True),
    (time_named_otherwise, "time-name", "time", False),
    (put("width", np.ones(4), record_vary=False), "delta", "energy", True),
    (put("width", np.ones(3, "f4"), record_vary=False), "delta", "energy", True),
    (put("energy", np.ones(3, "f4"), record_vary=False), "axis", "flux", True),
    (put("Epoch", HOURS, compression="gzip"), "time-compressed", "Epoch", False),
]


@pytest.mark.filterwarnings("ignore")
@pytest.mark.parametrize(("change", "rule", "variable", "seen"), PLANTED)
def test_planted_violations(good, change, rule, variable, seen):
    with File(good, "r+") as file:
        change(file)
    found = istp.check(good)
    assert rule is None or (variable, rule) in {(each.variable, each.rule) for each in found}
    assert all(each.message and each.remedy for each in found)
    if seen:
        assert assert_all_of_spacepy_is_found(good)


def test_the_good_file_is_one_for_spacepy(good):
    assert assert_all_of_spacepy_is_found(good) == []


@pytest.mark.parametrize(
    ("name", "rules"),
    [
        ("ace_h0_mag_20200102_v01.cdf", {"file-name", "file-days"}),
        ("ace_h0_mag_20200101.cdf", {"file-name", "file-version"}),
        ("other.cdf", {"file-name", "file-version"}),
    ],
)
def test_file_names(good, name, rules):
    other = good.rename(good.with_name(name))
    assert {each.rule for each in istp.check(other)} == rules
    assert assert_all_of_spacepy_is_found(other)


def test_every_rule_is_tried():
    tried = {rule for _, rule, *_ in PLANTED}
    assert {rule.name for rule in istp.RULES} - tried == {"unreadable"}  # that needs a forged file


def test_the_page_lists_the_rules():
    page = (ROOT / "docs/istp.md").read_text(encoding="utf-8")
    rows = re.findall(r"^\| `([a-z0-9-]+)` \| (error|warning) \|", page, re.MULTILINE)
    assert rows == [*dict.fromkeys((rule.name, rule.severity) for rule in istp.RULES)]


def test_command(good, command):
    code, out, _ = command("check", "--istp", good)
    assert (code, out.splitlines()[1]) == (0, "  ISTP: 0 errors, 0 warnings")
    with File(good, "r+") as file:
        file["B"].attrs["FIELDNAM"] = "field\x1b"
        del file["flux"].attrs["CATDESC"], file["B"].attrs["CATDESC"], file.attrs["DOI"]
    code, out, _ = command("check", "--istp", good)
    assert code == 1
    assert "ISTP: 3 errors, 1 warning" in out
    assert "    B, flux: CATDESC is missing\n" in out
    assert "\x1b" not in out
    code, out, _ = command("check", "--istp", "--json", good)
    (document,) = json.loads(out)
    assert (code, document["clean"], len(document["istp"])) == (1, False, 4)
    code, out, _ = command("check", good)
    assert (code, "ISTP" in out) == (0, False)
