"""The commands `tarvik show` and `tarvik demo`, as people and programs use them."""

import json
import os
import pty
import re
import runpy
import shutil
import subprocess
import sys
import threading

import numpy as np
import pytest
import tarvik
from tarvik import constants, ops
from tarvik._gateway import EXACT_PLUGIN

ESCAPE = "\x1b"
HOSTILE = "\x1b[31mred\x1b[0m [bold]x[/bold] :smile: \u202e \x9b a\tb\r\nsecond \x07 line\nthird"


@pytest.fixture
def document(command):
    """Show as JSON, strictly read."""

    def run(*arguments):
        code, text, _ = command("show", "--json", *arguments)
        assert text.isascii()
        return code, json.loads(text, parse_constant=pytest.fail)

    return run


@pytest.fixture
def odd_file(new_file, tmp_path):
    """Texts that no terminal should get, long names, numbers that JSON does not know."""
    with new_file("odd.cdf") as file:
        title = ops.createAttr(file, "title ", constants.GLOBAL_SCOPE)
        ops.putAttrEntry(file, title, 0, constants.CDF_CHAR, HOSTILE)
        long_text = b"caf\xe9 caf\xc3\xa9 " + b"x" * 3000
        ops.putAttrEntry(file, title, 2, constants.CDF_CHAR, long_text)
        limits = ops.createAttr(file, "limits", constants.VARIABLE_SCOPE)
        special = np.array([np.nan, np.inf, -np.inf, 0.1], "f4")
        text = ops.createVar(file, "n" * 250, constants.CDF_CHAR, 9, [], True, [])
        ops.putAttrEntry(file, limits, text, constants.CDF_REAL4, special)
        ops.putVarData(file, text, 0, [], b"\x1b]0;t\x07\xe9[b")
        matrix = ops.createVar(file, "matrix", 4, 1, [2, 3], True, [True, False])
        ops.setVarCompression(file, matrix, constants.GZIP_COMPRESSION, 6)
        ops.putVarData(file, matrix, 1, [1, 0], np.int32(7))
        ops.createVar(file, "time", 33, 1, [], True, [])
    return tmp_path / "odd.cdf"


def test_everything_in_a_mission_file(document, example_file):
    code, found = document(example_file, "--variable", "flux_He", "--variable", "Epoch")
    assert code == 0
    facts = {"version": "2.5.22", "format": "SINGLE_FILE", "majority": "COLUMN_MAJOR"}
    facts |= {"encoding": "NETWORK_ENCODING", "records": 24, "variable_count": 61}
    facts |= {"global_attribute_count": 26, "size": example_file.stat().st_size}
    assert {key: found[key] for key in facts} == facts
    texts = {a["name"]: [e["value"] for e in a["entries"]] for a in found["global_attributes"]}
    assert len(texts) == 26
    assert texts["TITLE"] == ["ACE> Solar Isotope Spectrometer"]
    assert texts["Acknowledgement"][2] == "Caltech, USA"

    epoch, flux = found["variables"][0], found["variables"][5]
    assert (flux["name"], flux["datatype"], flux["dimensions"]) == ("flux_He", "cdf_real4", [8])
    assert (flux["record_variance"], flux["dimension_variances"]) == (True, [True])
    assert (flux["records"], flux["records_written"], flux["problem"]) == (24, 24, None)
    assert epoch["times"][:2] == ["2010-11-05T00:00:00.000", "2010-11-05T01:00:00.000"]
    with ops.open(example_file) as file:
        values = ops.hyperGetVarData(file, 5, 0, 10, 1, [0], [8], [1])
        assert flux["values"] == [[float(str(x)) for x in row] for row in values.T]
        for variable in found["variables"]:
            assert variable["name"] == ops.getVarName(file, variable["number"])
            for entry in variable["attributes"]:
                number = ops.getAttrNum(file, entry["name"])
                value = ops.getAttrEntry(file, number, variable["number"])
                text = isinstance(value, str)
                assert entry["value"] == value if text else np.allclose(entry["value"], value)


def test_what_json_does_not_know_and_what_cannot_be_read(document, odd_file):
    code, found = document(odd_file, "--variable", "n" * 250, "--variable", "matrix")
    assert code == 0
    (title,) = found["global_attributes"]
    assert title["name"] == "title "
    assert [entry["number"] for entry in title["entries"]] == [0, 2]
    assert title["entries"][0]["value"] == HOSTILE
    assert title["entries"][1]["value"].startswith("caf\\xe9 café ")
    text, matrix, time = found["variables"]
    assert text["attributes"][0]["value"] == ["NaN", "Infinity", "-Infinity", 0.1]
    assert text["values"] == ["\x1b]0;t\x07\\xe9[b"]
    assert matrix["compression"] == {"type": "GZIP_COMPRESSION", "parameter": 6, "percentage": 100}
    assert (matrix["records"], matrix["dimension_variances"]) == (2, [True, False])
    assert matrix["values"][1] == [[matrix["pad_value"]] * 3, [7] * 3]
    assert (time["name"], time["datatype"], time["problem"]) == ("time", "cdf_time_tt2000", None)


def test_what_a_plug_in_refuses_does_not_hide_the_rest(document, command, odd_file, monkeypatch):
    # The exact plug-in has no datatype 33.
    monkeypatch.setattr("tarvik.cli.files.gateway_for", lambda *_: tarvik.Gateway(EXACT_PLUGIN))
    time = document(odd_file)[1]["variables"][2]
    problem = "Unhandled datatype 33."
    assert (time["name"], time["datatype"], time["problem"]) == ("time", None, problem)
    text = command("show", odd_file)[1]
    assert re.search(r"^ *2  time +\(33\) +\?  not readable", text, re.MULTILINE)
    assert f"  not readable: {problem}\n" in text


def test_a_pipe_gets_whole_lines_and_nothing_that_moves_a_terminal(command, odd_file):
    code, text, words = command("show", odd_file, "--variable", "n" * 250)
    assert (code, words) == (0, "")
    unsafe = [c for c in text if c != "\n" and not c.isprintable()]
    assert not unsafe
    lines = [line.strip() for line in text.splitlines()]
    first = r'"title "  [0] \x1b[31mred\x1b[0m [bold]x[/bold] :smile: \u202e \x9b a'
    assert any(line.startswith(first) for line in lines)
    assert r"second \x07 line" in lines
    assert "third" in lines
    assert any(line.startswith(r"[2] caf\xe9 café " + "x" * 3000) for line in lines)
    for row in (
        rf"0  {'n' * 250}  cdf_char +9  \[1\] +1  T/ +none",
        r"1  matrix +cdf_int4 +1  \[2\] x 2 x 3 +2  T/TF +GZIP 6",
    ):
        assert re.search(f"^ *{row}", text, re.MULTILINE), row
    assert "limits  nan, inf, -inf, 0.1" in lines


def run_in_terminal(columns, *arguments, **environment):
    """Run the command in a terminal of that width; give what it shows."""
    leader, follower = pty.openpty()
    size = {"COLUMNS": str(columns), "LINES": "50", "TERM": "xterm-256color"}
    variables = {k: v for k, v in os.environ.items() if k not in ("NO_COLOR", "FORCE_COLOR")}
    process = subprocess.Popen(
        [sys.executable, "-m", "tarvik", *map(str, arguments)],
        stdout=follower,
        env={**variables, **size, **environment},
    )
    os.close(follower)
    shown = bytearray()
    try:
        while part := os.read(leader, 65536):
            shown += part
    except OSError:  # the other side is closed
        pass
    os.close(leader)
    assert process.wait(60) == 0
    return shown.decode().replace("\r\n", "\n")


@pytest.mark.parametrize("columns", [80, 160])
def test_a_terminal_gets_lines_of_its_width(columns, odd_file):
    coloured = run_in_terminal(columns, "show", odd_file)
    plain = run_in_terminal(columns, "show", odd_file, NO_COLOR="1")
    assert set(re.findall(r"\x1b[^m]*m", coloured))
    assert ESCAPE not in plain
    assert re.sub(r"\x1b\[[\d;]*m", "", coloured) == plain
    assert max(map(len, plain.splitlines())) <= columns
    assert "".join(re.findall(r"\bn+\b", plain)).count("n") >= 2 * 250


def test_exit_codes(command, tmp_path, example_file):
    text = tmp_path / "text.cdf"
    text.write_text("no CDF file, but long enough to be one")
    shutil.copyfile(example_file, tmp_path / "there.cdf")
    missing = tmp_path / "missing\x1b\n.cdf"
    # The arguments, the code, a part of stdout and how often it is there, and all of stderr.
    cases = [
        (["show", tmp_path / "there"], 0, ("TITLE  ", 1), ""),
        (["show"], 2, ("", 1), r"(?s)Usage: .*Missing argument 'FILE...'.*"),
        (["show", text, "--none"], 2, ("", 1), r"(?s)Usage: .*No such option.*"),
        (["show", missing], 3, ("", 1), r"tarvik: .*missing\\x1b\\n\.cdf: No such file[^\n]*\n"),
        (["show", tmp_path], 3, ("", 1), "tarvik: .*: Is a directory\n"),
        (["show", text], 4, ("", 1), r"tarvik: .*text.cdf: NOT_A_CDF[^\n]*\n"),
        (["show", example_file, "--variable", "x"], 4, ("", 1), '.*: there is no variable "x"\n'),
        (["show", example_file, missing, example_file], 3, ("TITLE  ", 2), r".*No such file.*\n"),
        (["show", "--json", missing, example_file], 3, ('"caches": ', 1), r".*No such file.*\n"),
        (["--version"], 0, (f"tarvik {tarvik.__version__}, CDF library 3.", 1), ""),
    ]
    for arguments, code, (part, times), words in cases:
        found = command(*arguments)
        assert found[0] == code, arguments
        assert found[1].count(part) == times if part else not found[1], arguments
        assert re.fullmatch(words, found[2]), found[2]


def test_a_reader_that_goes_away(example_file):
    reading, writing = os.pipe()
    os.close(reading)
    arguments = [sys.executable, "-m", "tarvik", "show", *[example_file] * 3]
    done = subprocess.run(arguments, stdout=writing, stderr=subprocess.PIPE, timeout=60)
    os.close(writing)
    assert (done.returncode, done.stderr) == (141, b"")


def test_an_interruption(command, example_file, monkeypatch):
    def interrupted(*_):
        raise KeyboardInterrupt

    monkeypatch.setattr("tarvik.cli.show.read_file", interrupted)
    assert command("show", example_file) == (130, "", "")


def test_demo(command, tmp_path):
    code, text, words = command("demo", tmp_path, "--json")
    row_major, column_major = json.loads(text)
    assert (code, words.count(", all equal\n")) == (0, 2)
    assert (row_major["majority"], column_major["majority"]) == ("ROW_MAJOR", "COLUMN_MAJOR")
    for variables in zip(row_major["variables"], column_major["variables"]):
        ours, others = ({**v, "dimensions": 0, "values": 0} for v in variables)
        assert ours == others
    assert row_major["variables"][0]["times"][1] == "2024-01-01T00:01:00.000"
    before = {path: path.read_bytes() for path in tmp_path.iterdir()}
    assert len(before) == 2
    code, text, words = command("demo", tmp_path)
    assert (code, text, words.count("\n")) == (3, "", 1)
    assert {path: path.read_bytes() for path in tmp_path.iterdir()} == before
    threads = threading.active_count()
    assert command("demo")[0] == 0
    assert threading.active_count() == threads


def test_the_example_reads_the_mission_file(capsys, example_file):
    runpy.run_path(str(example_file.parents[1] / "hourly_flux.py"))["main"](example_file)
    assert capsys.readouterr().out.splitlines()[0] == (
        "2010-11-05T10  7.461e-05 1/(cm2 Sr sec MeV/nucleon)"
    )
