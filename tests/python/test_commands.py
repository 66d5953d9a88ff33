"""The commands `export`, `copy`, `check` and `compare`, as people and programs use them."""

import csv
import io
import json
import re
import signal
import subprocess
import sys
import time

import click.shell_completion
import numpy as np
import pytest
from tarvik import File, constants, indexing, ops
from tarvik.cli import tarvik

NUMBER = np.int32


@pytest.fixture(autouse=True)
def small_blocks(monkeypatch):
    """Have files of a few records in several blocks."""
    monkeypatch.setattr(indexing.blocks, "__defaults__", (64,))
    monkeypatch.setattr("tarvik.cli.export._BLOCK_BYTES", 64)


TEXTS = [b"", b"two\nlines ", b"caf\xe9", "µ 磁".encode()]
EPOCH = 63747693015250.0
TT2000 = ops.computeTT2000([2016, 12, 31, 23, 59, 60, 0, 0, 1])


def make(path, majority="ROW_MAJOR", **changes):
    """A file with a bit of everything that a copy must keep."""
    with ops.create(path) as file:
        ops.setMajority(file, constants.families["Majority"][majority])
        _add_variables(file, majority == "ROW_MAJOR", **changes)
        notes = ops.createAttr(file, "notes ", constants.GLOBAL_SCOPE)
        for number, text in enumerate(TEXTS):
            ops.putAttrgEntry(file, notes, 2 * number, constants.CDF_CHAR, text)
        ops.createAttr(file, "empty", constants.GLOBAL_SCOPE)
        fill = ops.createAttr(file, "FILLVAL", constants.VARIABLE_SCOPE)
        ops.putAttrEntry(file, fill, 1, constants.CDF_REAL4, np.float32(-1))
        ops.putAttrEntry(file, fill, 3, constants.CDF_EPOCH16, np.array([[1.0, 3], [2, 4]]))
        ops.putAttrEntry(file, fill, 40, constants.CDF_TIME_TT2000, TT2000)
    return path


def _add_variables(file, row_major, value=2.5, pad=7):
    def new(name, datatype, elements=1, dimensions=(), varies=True, variances=None):
        variances = [True] * len(dimensions) if variances is None else variances
        order = slice(None, None, -1 if row_major else 1)
        found = ops.createVar(
            file, name, datatype, elements, list(dimensions[order]), varies, variances[order]
        )
        return int(found)

    time_ = new("time", constants.CDF_EPOCH)
    ops.hyperPutVarData(file, time_, 0, 9, 1, [], [], [], EPOCH + 1000.0 * np.arange(9))
    field = new("field", constants.CDF_REAL4, 1, (2, 3), True, [True, True])
    ops.setVarBlockingFactor(file, field, 50)
    ops.setVarCompression(file, field, constants.GZIP_COMPRESSION, 5)
    values = np.arange(54, dtype="f4").reshape(9, 2, 3)
    values[0, 0] = [np.nan, -1, 0.1]
    values[8, 1, 2] = value
    turned = values.T if row_major else np.moveaxis(values, 0, -1)
    counts = [3, 2] if row_major else [2, 3]
    whole = ([0, 0], counts, [1, 1], np.asfortranarray(turned))
    ops.hyperPutVarData(file, field, 0, 9, 1, *whole)
    label = new("label", constants.CDF_CHAR, 3, (2,), False)
    ops.hyperPutVarData(file, label, 0, 1, 1, [0], [2], [1], b"a\xe9 Bz\0")
    exact = new("exact", constants.CDF_EPOCH16)
    ops.setVarPadValue(file, exact, [5.0, 6.0])
    for name, kind in (("pads", "PAD"), ("previous", "PREV")):
        sparse = new(name, constants.CDF_INT4, 1, (2,), True, [False])
        kind = constants.families["SparseRecords"][f"{kind}_SPARSERECORDS"]
        ops.setVarSparseRecords(file, sparse, kind)
        ops.setVarPadValue(file, sparse, NUMBER(pad))
        for record, number in ((2, 7), (3, 7), (5, 8), (8, 8)):
            ops.putVarRecordData(file, sparse, record, np.full(2, number, NUMBER))
    leap = new("leap", constants.CDF_TIME_TT2000)
    ops.hyperPutVarData(file, leap, 0, 1, 1, [], [], [], TT2000)


def missing_records(path, name):
    """Which records are missing: those that the library then counts as written."""
    found = []
    with ops.open(path) as file:
        number = ops.getVarNum(file, name)
        for record in range(int(ops.getVarMaxWrittenRecNum(file, number))):
            before = ops.getVarNumRecsWritten(file, number)
            ops.putVarRecordData(file, number, record, np.zeros(2, NUMBER))
            if ops.getVarNumRecsWritten(file, number) > before:
                found.append(record)
    return found


@pytest.fixture
def sample(tmp_path):
    return make(tmp_path / "sample.cdf")


OPTIONS = [
    *(["--compression", kind] for kind in ("none", "rle", "huffman", "ahuffman", "gzip:1")),
    *(["--majority", majority] for majority in ("row", "column")),
    *(["--format", form] for form in ("single", "multi")),
    ["--checksum", "md5"],
    [],
]


@pytest.mark.parametrize("options", OPTIONS, ids=" ".join)
def test_a_copy_is_the_same(command, tmp_path, sample, example_file, options):
    for source in (sample, make(tmp_path / "column.cdf", "COLUMN_MAJOR"), example_file):
        target = tmp_path / "copy.cdf"
        code, text, words = command("copy", "--verify", "--force", source, target, *options)
        assert (code, text) == (0, ""), words
        assert ("sparse" in words) == ("multi" in options and source != example_file)
        code, text, _ = command("compare", "--json", source, target)
        assert (code, json.loads(text)["differences"]) == (0, [])
        kept = {(d["subject"], d["what"]): d["second"] for d in json.loads(text)["storage"]}
        if not options:
            assert all(subject == "file" for subject, _ in kept)
            assert source == example_file or not kept
    assert sorted(path.name for path in tmp_path.glob(".*")) == []


@pytest.mark.parametrize("majority", ["row", "column"])
def test_another_reader_sees_the_same(command, tmp_path, sample, majority):
    cdflib = pytest.importorskip("cdflib")
    target = tmp_path / "copy.cdf"
    assert command("copy", sample, target, "--majority", majority)[0] == 0
    before, after = cdflib.CDF(sample), cdflib.CDF(target)
    assert after.cdf_info().Majority.lower().startswith(majority)
    assert after.varget("field").shape == (9, 2, 3)
    for name in ("time", "field", "label", "leap"):
        np.testing.assert_array_equal(before.varget(name), after.varget(name))
        assert before.varinq(name).Dim_Sizes == after.varinq(name).Dim_Sizes


def test_missing_records_stay_missing(command, tmp_path, sample):
    copy = tmp_path / "copy.cdf"
    assert command("copy", sample, copy)[0] == 0
    for name in ("pads", "previous"):
        assert missing_records(copy, name) == [0, 1, 4, 6, 7]
    texts = {}
    with ops.open(copy) as file:
        for number, text in enumerate(TEXTS):
            texts[text] = ops.getAttrgEntry(file, 0, 2 * number)
        assert ops.getAttrgEntry(file, 0, 0) == ""
        assert ops.getNumAttrgEntries(file, 0) == len(TEXTS)
        assert ops.getAttrEntry(file, 2, 40) == TT2000
    assert all(found.encode("utf-8", "surrogateescape") == text for text, found in texts.items())


def test_a_part_of_a_file(command, tmp_path, sample):
    copy = tmp_path / "part"
    assert command("copy", sample, copy, "--only", "field", "--only", "exact", "--verify")[0] == 0
    with ops.open(tmp_path / "part.cdf") as file:
        assert [ops.getVarName(file, n) for n in range(2)] == ["field", "exact"]
        assert ops.inquire(file).numVariables == 2
        assert ops.getAttrMaxEntry(file, 2) == 1
    assert command("copy", sample, copy, "--without", "label", "--force", "--verify")[0] == 0
    assert command("copy", sample, copy, "--without", "nothing", "--force")[::2] == (
        4,
        f'tarvik: {sample}: there is no variable "nothing"\n',
    )


@pytest.mark.parametrize("kind", ["single", "multi"])
def test_nothing_is_replaced_unasked(command, tmp_path, sample, kind):
    target = tmp_path / "copy.cdf"
    assert command("copy", sample, target, "--format", "multi")[0] == 0
    before = {path.name: path.read_bytes() for path in tmp_path.iterdir()}
    code, _, words = command("copy", sample, target, "--format", kind)
    assert (code, words.count("\n")) == (3, 1)
    assert {path.name: path.read_bytes() for path in tmp_path.iterdir()} == before
    assert command("copy", sample, target, "--format", kind, "--force", "--only", "time")[0] == 0
    assert len(list(tmp_path.glob("copy.z*"))) == (kind == "multi")
    assert command("export", sample, "time", "-o", sample)[0] == 3


def test_a_copy_onto_itself(command, tmp_path, sample):
    before = make(tmp_path / "before.cdf")
    assert command("copy", sample, sample, "--force", "--compression", "rle")[0] == 0
    assert command("compare", before, sample)[0] == 0


@pytest.mark.parametrize("number", [signal.SIGKILL, signal.SIGTERM, signal.SIGINT])
def test_a_copy_that_is_ended(tmp_path, sample, number):
    big, target = tmp_path / "big.cdf", tmp_path / "target.cdf"
    values = np.random.default_rng(1).standard_normal(3_000_000)
    with ops.create(big) as file:
        ops.createVar(file, "x", constants.CDF_DOUBLE, 1, [], True, [])
        ops.hyperPutVarData(file, 0, 0, values.size, 1, [], [], [], values)
    target.write_bytes(sample.read_bytes())
    slowly = ["--force", "--compression", "gzip:9"]
    call = [sys.executable, "-m", "tarvik", "copy", big, target, *slowly]
    with subprocess.Popen(call, stderr=subprocess.PIPE) as process:
        while process.poll() is None and not any(
            path.stat().st_size > 1_000_000 for path in tmp_path.glob(".tarvik-*/*")
        ):
            time.sleep(0.01)
        process.send_signal(number)
        assert process.stderr.read() == b""
    assert process.returncode in (-number, 128 + number)
    assert target.read_bytes() == sample.read_bytes()
    assert bool(list(tmp_path.glob(".tarvik-*"))) == (number == signal.SIGKILL)


def test_compare(command, tmp_path, sample):
    other = make(tmp_path / "other.cdf", "COLUMN_MAJOR", value=3, pad=9)
    with ops.open(other) as file:
        ops.putAttrgEntry(file, 0, 6, constants.CDF_CHAR, "else")
        ops.createVar(file, "more", constants.CDF_INT1, 1, [], True, [])
    code, text, _ = command("compare", "--json", sample, other)
    found = json.loads(text)
    assert (code, found["same"]) == (1, False)
    described = [(d["subject"], d["what"], d["first"], d["second"]) for d in found["differences"]]
    assert described[0] == ("attribute notes ", "entry 6", "cdf_char µ 磁", "cdf_char else")
    assert ("variable more", "existence", "absent", "there") in described
    assert ("variable field", "value at [8, 1, 2]", "2.5", "3.0") in described
    assert ("variable pads", "pad value", "7", "9") in described
    assert ("variable pads", "value at [0, 0]", "7", "9") in described
    assert ("file", "majority") in {(d["subject"], d["what"]) for d in found["storage"]}
    column = make(tmp_path / "column.cdf", "COLUMN_MAJOR")
    assert command("compare", sample, column)[0] == 0
    assert command("compare", sample, column, "--storage")[0] == 1


def test_check(command, tmp_path, sample, example_file):
    code, text, _ = command("check", "--json", sample)
    (found,) = json.loads(text)
    remarks = [(remark["subject"], remark["what"]) for remark in found["remarks"]]
    assert code == 1
    assert remarks == [
        ("attribute notes ", "blanks around the name"),
        ("attribute notes ", "entry 0 holds NULs; nothing is read behind the first"),
        ("attribute notes ", "entry 4 is not UTF-8"),
        ("attribute empty", "no entries"),
        ("attribute FILLVAL", "entry 40 is for a variable that does not exist"),
        ("variable label", "values that are not UTF-8: 1"),
        ("variable exact", "no records"),
        ("variable pads", "sparse: 4 of 9 records are written"),
        ("variable previous", "sparse: 4 of 9 records are written"),
    ]
    clean = tmp_path / "clean.cdf"
    with ops.create(clean) as file:
        number = ops.createVar(file, "x", constants.CDF_INT4, 1, [], True, [])
        ops.hyperPutVarData(file, number, 0, 9, 1, [], [], [], np.arange(9, dtype="i4"))
        ops.setChecksum(file, constants.MD5_CHECKSUM)
    code, text, words = command("check", clean, tmp_path / "none.cdf", example_file)
    assert (code, words.count("\n")) == (3, 1)
    assert "clean.cdf: clean (1 variable and 0 attributes read, checksum verified)" in text
    damaged = bytearray(clean.read_bytes())
    damaged[damaged.index(np.arange(9, dtype="i4").tobytes()) + 4] ^= 1
    clean.write_bytes(damaged)
    code, _, words = command("check", clean)
    assert (code, "CHECKSUM_ERROR" in words) == (4, True)


FIELD_NAMES = [f"field[{i},{j}]" for i in range(2) for j in range(3)]


@pytest.mark.parametrize("majority", ["ROW_MAJOR", "COLUMN_MAJOR"])
def test_export_of_text(command, tmp_path, majority):
    path = make(tmp_path / "file.cdf", majority)
    names = ["time", "field", "label"]
    code, text, words = command("export", path, *names, "--records", "0:9:8", "--blank", "fill")
    assert (code, words) == (0, "")
    assert list(csv.reader(io.StringIO(text))) == [
        ["time", *FIELD_NAMES, "label[0]", "label[1]"],
        ["2020-01-31T12:30:15.250", "nan", "", "0.1", "3.0", "4.0", "5.0", "a\\xe9 ", "Bz"],
        [
            "2020-01-31T12:30:23.250",
            *("48.0", "49.0", "50.0", "51.0", "52.0", "2.5"),
            "a\\xe9 ",
            "Bz",
        ],
    ]
    first = command(
        "export", path, *names, "--format", "json", "--blank", "fill", "--records", ":1"
    )
    assert json.loads(first[1]) == [
        {
            "time": "2020-01-31T12:30:15.250",
            "field": [["NaN", None, 0.1], [3.0, 4.0, 5.0]],
            "label": ["a\\xe9 ", "Bz"],
        }
    ]
    assert json.loads(command("export", path, "exact", "--format", "json")[1]) == []
    assert command("export", path, "leap")[1] == "leap\n2016-12-31T23:59:60.000000001\n"
    sparse = command("export", path, "pads", "previous", "--blank", "pad", "--records", "4:6")[1]
    assert sparse == "pads[0],pads[1],previous[0],previous[1]\n,,,\n8,8,8,8\n"


def test_chosen_records(command, sample):
    def exported(*options):
        code, text, words = command("export", sample, "time", *options)
        assert (code, words) == (0, "")
        return [int(line[17:19]) for line in text.splitlines()[1:]]

    assert exported("--records", "-3:-1") == [21, 22]
    assert exported("--from", "2020-01-31T12:30:16.5", "--to", "2020-01-31 12:30:20Z") == [
        17,
        18,
        19,
    ]
    assert exported("--from", "2020-01-31T12:30:16.5", "--records", "::3") == [17, 20, 23]
    assert exported("--to", "1999-12-31") == exported("--from", "9999-01-01") == []
    with File(sample, "r+") as file:
        file["other"] = file["time"][...] + np.timedelta64(1, "h")
    code, _, words = command("export", sample, "time", "other", "--from", "2020-01-31")
    assert (code, '"time" along "time", "other" along "other"' in words) == (4, True)
    code, text, words = command("export", sample, "--from", "2020-01-31T12:30:20")
    assert (text.splitlines()[0], len(text.splitlines())) == ("time", 5)
    assert "(another time axis or none): field, pads, previous, other\n" in words


def test_export_of_many_files(command, tmp_path, sample, example_file):
    folder = tmp_path / "made"
    folder.mkdir()
    files = (sample, tmp_path / "none.cdf", example_file)
    code, text, words = command("export", *files, "-o", folder)
    assert (code, text) == (3, "")
    *left, missing, other, _ = words.splitlines()
    assert [line.partition("left out ")[2] for line in left] == [
        "(one value for all records): label",
        "(0 records): exact",
        "(1 record): leap",
    ]
    assert missing.endswith("none.cdf: No such file or directory")
    assert "(one value for all records)" in other
    lines = (folder / "sample.csv").read_text().splitlines()
    assert lines[0].replace('"', "") == ",".join(
        ["time", *FIELD_NAMES, "pads[0]", "pads[1]", "previous[0]", "previous[1]"]
    )
    assert len(lines) == 10
    assert len((folder / example_file.with_suffix(".csv").name).read_text().splitlines()) == 25
    assert command("export", *files, "time", "-o", folder)[0] == 4  # the other has no such name
    assert command("copy", sample, example_file, folder, "--compression", "gzip")[0] == 0
    assert command("compare", sample, folder / "sample.cdf")[0] == 0


def test_ls(command, sample, example_file, tmp_path):
    code, text, words = command("ls", sample, tmp_path / "none.cdf", example_file)
    assert (code, words.count("\n")) == (3, 1)
    first, *lines = text.splitlines()
    assert "7 variables" in first
    assert first.endswith("2017-01-01T00:00:00 to 2020-01-31T12:30:23")
    rows = [line.split("  ") for line in lines]
    assert [cell.strip() for cell in rows[1] if cell.strip()] == ["field", "CDF_REAL4", "9 x 2 x 3"]
    flux = next(line for line in lines if "flux_He" in line)
    assert flux.split()[1:] == ["CDF_REAL4", "24", "x", "8", "1/(cm2", "Sr", "sec", "MeV/nucleon)"]
    assert command("ls", sample, example_file, "--with", "flux_He")[1].count("variables") == 1


def test_attrs(command, sample):
    def shown(*variable):
        code, text, words = command("attrs", sample, *variable)
        assert (code, words) == (0, "")
        return [line.split(maxsplit=2) for line in text.splitlines()]

    assert shown("field") == [["FILLVAL", "CDF_REAL4", "-1.0"]]
    edits = ["--rename", "notes =remarks", "--set", "TEXT=one", "--set", "TEXT=two", "--set", "a="]
    assert command("attrs", sample, *edits, "--set", "remarks=Ü", "--delete", "TEXT")[0] == 4
    assert command("attrs", sample, *edits, "--set", "remarks=Ü")[::2] == (0, "")
    assert ["remarks", "CDF_CHAR", "Ü"] in shown()
    assert [row[2] for row in shown() if row[0].startswith("TEXT[")] == ["one", "two"]
    assert (
        command("attrs", sample, "--set", "n=1, 2", "--set", "n=-3", "--type", "cdf_int2")[0] == 0
    )
    assert [row[1:] for row in shown() if row[0].startswith("n[")] == [
        ["CDF_INT2", "1, 2"],
        ["CDF_INT2", "-3"],
    ]
    changes = ["FILLVAL=-1e31", "VALIDMAX=7", "UNITS=7"]
    edits = [word for change in changes for word in ("--set", change)]
    assert command("attrs", sample, "field", *edits)[0] == 0
    assert shown("field") == [
        ["FILLVAL", "CDF_REAL4", "-1e+31"],
        ["VALIDMAX", "CDF_REAL4", "7.0"],
        ["UNITS", "CDF_CHAR", "7"],
    ]
    assert command("attrs", sample, "leap", "--set", "VALIDMIN=2016-12-31")[0] == 0
    assert shown("leap") == [["VALIDMIN", "CDF_TIME_TT2000", "2016-12-31T00:00:00.000000000"]]
    assert (
        command("attrs", sample, "field", "--delete", "UNITS", "--rename", "VALIDMAX=MAX")[0] == 0
    )
    assert [row[0] for row in shown("field")] == ["FILLVAL", "MAX"]


def test_export_of_arrays(command, tmp_path, sample):
    out = tmp_path / "out.npy"
    assert command("export", sample, "field", "--format", "npy", "-o", out)[0] == 0
    values = np.load(out)
    assert (values.dtype, values.shape, values[8, 1, 2]) == (np.float32, (9, 2, 3), 2.5)
    several = ("time", "pads", "label", "--blank", "pad", "--format", "npy", "-o", out, "--force")
    assert command("export", sample, *several)[0] == 0
    rows = np.load(out)
    assert rows["time"][1] == np.datetime64("2020-01-31T12:30:16.250")
    np.testing.assert_array_equal(rows["pads"][3:6, 0], [np.nan, np.nan, 8])
    assert rows["label"][0].tolist() == ["a\udce9 ", "Bz"]
    code, _, words = command("export", sample, "leap", "--format", "npy", "-o", out, "--force")
    assert (code, words) == (
        0,
        "tarvik: leap: 1 times in a leap second become the second after it\n",
    )
    assert np.load(out) == np.datetime64("2017-01-01T00:00:00.000000001")


def test_export_to_parquet(command, tmp_path, sample):
    parquet = pytest.importorskip("pyarrow.parquet")
    out = tmp_path / "out.parquet"
    names = ("time", "field", "label", "pads")
    arguments = ("--format", "parquet", "-o", out, "--blank", "fill", "--blank", "pad")
    assert command("export", sample, *names, *arguments)[0] == 0
    table = parquet.read_table(out).to_pydict()
    assert table["time"][1].isoformat() == "2020-01-31T12:30:16.250000"
    assert table["field"][0][0][1:] == [None, np.float32(0.1)]
    assert table["field"][8] == [[48, 49, 50], [51, 52, 2.5]]
    assert table["label"][0] == ["a\\xe9 ", "Bz"]
    assert table["pads"][4:6] == [[None, None], [8, 8]]


def test_a_missing_extra_is_named(command, sample, monkeypatch):
    monkeypatch.setattr("importlib.util.find_spec", lambda _: None)
    code, _, words = command("export", sample, "time", "--format", "parquet", "-o", "x.parquet")
    assert (code, "pip install 'tarvik[parquet]'" in words) == (2, True)


def test_wrong_usage(command, sample, tmp_path):
    before = sample.read_bytes()
    for code, *arguments in [
        (2, "export"),
        (2, "export", sample, sample, "time", "-o", tmp_path / "none"),
        (2, "copy", sample, sample, tmp_path / "x"),
        (2, "check", sample, "--time-limit", "nan"),
        (2, "export", sample, "time", "--from", "yesterday"),
        (2, "attrs", sample, "--set", "TITLE"),
        (2, "attrs", sample, "--type", "CDF_INT4"),
        (2, "export", sample, "time", "--records", "3"),
        (2, "export", sample, "time", "--records", "::0"),
        (2, "copy", sample, tmp_path / "x", "--compression", "gzip:10"),
        (2, "copy", sample, tmp_path / "x", "--compression", "rle:1"),
        (3, "copy", sample, tmp_path / "none/x"),
        (3, "copy", sample, tmp_path),
        (3, "check", tmp_path),
        (3, "compare", sample, "/dev/null"),
        (4, "copy", sample, tmp_path / "x", "--compression", "rle", "--format", "multi"),
        (4, "export", sample, "time", "leap"),
        (4, "export", sample, "nothing"),
        (4, "export", sample, "label", "--from", "2020-01-31"),
        (4, "attrs", sample, "nothing"),
        (4, "attrs", sample, "field", "--set", "FILLVAL=x"),
        (2, "attrs", sample, "--set", "x=1", "--type", "CDF_NONE"),
        (4, "attrs", sample, "field", "--set", "FILLVAL=1e400"),
        (4, "copy", sample, tmp_path / "x.cdf.cdf"),
        (4, "copy", sample, sample, tmp_path, "--force"),
        (2, "export", sample, "time", "--from", "2024-05-10T02:00+05:00"),
        (2, "plot", sample, "field", "--slice", "1=--5", "-o", tmp_path / "x.png"),
        (4, "attrs", sample, "--set", "x=1", "--rename", "none=other"),
        (4, "attrs", sample, "--set", "x=1", "--delete", "x"),
        (4, "attrs", sample, "time", "--set", "x=1", "--set", "x=2"),
    ]:
        found, text, words = command(*arguments)
        assert (found, text) == (code, ""), arguments
        assert code == 2 or words.count("\n") == 1, words
    assert sample.read_bytes() == before


@pytest.mark.parametrize(
    "arguments",
    [
        ["ls"],
        ["show"],
        ["attrs"],
        ["check"],
        ["compare", "sample.cdf", "--isolated"],
        ["copy", "copy.cdf", "--isolated"],
        ["export", "--isolated"],
        ["plot", "-o", "plot.png", "--isolated"],
    ],
    ids=lambda arguments: arguments[0],
)
def test_a_limited_time(command, sample, tmp_path, monkeypatch, arguments):
    monkeypatch.chdir(tmp_path)
    name, *others = arguments
    code, _, said = command(name, sample, *others, "--time-limit", "1e-4")
    assert (code, said.count("\n")) == (4, 1)
    assert "after 0.0001 s for all calls" in said
    assert {path.suffix for path in tmp_path.iterdir()} == {".cdf"}
    assert command(name, sample, *others, "--time-limit", "60")[0] < 2


def test_texts_that_take_too_much_memory(command, sample, tmp_path, monkeypatch):
    monkeypatch.setattr("tarvik.cli.files._MOST_TEXT", 2)
    copy = tmp_path / "copy.cdf"
    for arguments in (["compare", sample, sample], ["copy", sample, copy]):
        code, _, said = command(*arguments)
        assert (code, said.count("\n")) == (3, 1)
        assert "commands read texts of up to 2" in said
    assert not copy.exists()
    assert re.search("variable .*: not read: .* texts of up to 2", command("check", sample)[1])


@pytest.mark.parametrize("arguments", [["constants"], ["--help"], ["show"], ["export", "time"]])
def test_a_stdout_that_takes_nothing(sample, arguments):
    if arguments[0] in ("show", "export"):
        arguments = [arguments[0], sample, *arguments[1:]]
    for target, words in ((">/dev/full", "No space left on device"), (">&-", "it is closed")):
        line = f'exec "$0" -m tarvik "$@" {target}'
        call = ["sh", "-c", line, sys.executable, *map(str, arguments)]
        done = subprocess.run(call, capture_output=True, text=True, check=False, timeout=60)
        assert (done.returncode, done.stderr) == (3, f"tarvik: stdout: {words}\n")


COMPLETIONS = [
    ("export {} f", ["plain,field"]),
    ("export {} {} t", ["plain,time"]),
    ("export sam", ["file,sam"]),
    ("show {} --variable l", ["plain,label", "plain,leap"]),
    ("attrs {} p", ["plain,pads", "plain,previous"]),
    ("copy {} --only ti", ["plain,time"]),
    ("plot {} ti", ["plain,time"]),
    ("ls sam", ["file,sam"]),
    ("attrs {hostile} =B", ["plain,'=B;touch${IFS}x'"]),
    ("ops getVarPad", ["plain,getVarPadValue"]),
]


@pytest.fixture
def hostile(tmp_path):
    """A file whose names and texts are traps for shells and spreadsheets."""
    with File(tmp_path / "hostile.cdf", "w") as file:
        file["=B;touch${IFS}x"] = ["=1+1", "@x", "-", "fine", "+1"]
        file["number"] = np.arange(-5, 0)
    return tmp_path / "hostile.cdf"


def test_export_for_a_spreadsheet(command, hostile):
    text = command("export", hostile, "--spreadsheet")[1]
    header, *rows = csv.reader(io.StringIO(text))
    assert header == ["'=B;touch${IFS}x", "number"]
    assert [row[0].rstrip() for row in rows] == ["'=1+1", "'@x", "'-", "fine", "'+1"]
    assert [row[1] for row in rows] == ["-5", "-4", "-3", "-2", "-1"]


@pytest.mark.parametrize(("line", "expected"), COMPLETIONS)
def test_completion(sample, hostile, line, expected, monkeypatch):
    words = f"tarvik {line.format(sample, sample, hostile=hostile)}"
    monkeypatch.setenv("COMP_WORDS", words)
    monkeypatch.setenv("COMP_CWORD", str(len(words.split()) - 1))
    complete = click.shell_completion.BashComplete(tarvik, {}, "tarvik", "_TARVIK_COMPLETE")
    assert complete.complete().splitlines() == expected
