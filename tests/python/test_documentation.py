"""Every example of the pages runs, prints what the page says, and makes the pictures that it shows.

The blocks of a page run in its order, in a folder of the page's own:

    ```python       the blocks of a page share their names
    ```python NAME  the same with names of its own besides, which all blocks of that NAME share
    ```output       what the Python block before it prints; "..." stands for anything
    ```output each  what the Python blocks since the last output print, each that prints at all
    ```console      commands after "$ ", run by bash. A command without output shown must succeed;
                    else what it prints is compared, stdout and stderr together
"""

import contextlib
import difflib
import doctest
import io
import os
import re
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest
from markdown_it import MarkdownIt

ROOT = Path(__file__).parents[2]
PAGES = sorted([*ROOT.glob("*.md"), *ROOT.glob("docs/*.md")])
ELSEWHERE = {
    "operations.md": "each example runs on a file of its own in test_catalogue.py",
}
NOT_RUN = {
    "sh": "installs, builds or needs other machines; tests/install does the like",
    "cmake": "a fragment; tests/install builds with the package",
    "cpp": "fragments; whole programs like them are built in tests/install and tests/gateway",
}
# Commands find these, and no build is needed: ./run shows its files by "tarvik show".
COMMANDS = {
    "bin/tarvik": 'exec "$PYTHON" -m tarvik "$@"',
    "bin/python": 'exec "$PYTHON" "$@"',
    "run": 'exec tarvik show "$@"',
}
# Pictures are compared by the mean brightness of tiles. Another font, which moves all by a pixel,
# makes half a percent of them differ; a line that is missing makes it five.
TILE = 16  # pixels
MOST_DIFFERENCE = 0.05  # of a tile, where 1 is black against white
MOST_DIFFERENT = 0.02  # of all tiles


class Page:
    """Runs the blocks of a page."""

    def __init__(self, path):
        self.path = path
        self.tokens = MarkdownIt().parse(path.read_text(encoding="utf-8"))
        self.names = {"__name__": "__main__"}
        self.own_names = {}
        self.printed = []

    def run(self):
        for block in (token for token in self.tokens if token.type in ("fence", "code_block")):
            where = f"{self.path.name}, line {block.map[0] + 1}"
            if block.info not in NOT_RUN:
                kind = re.sub("^python .*", "python", block.info)
                assert kind in self.RUNNERS, f"{where}: cannot run {block.info!r}"
                self.RUNNERS[kind](self, block, where)

    def pictures(self):
        inline = (child for token in self.tokens for child in token.children or ())
        return [Path(token.attrs["src"]) for token in inline if token.type == "image"]

    def run_python(self, block, _where):
        names = self.names
        if block.info != "python":
            names = self.own_names.setdefault(block.info, {})
            names.update(self.names)
        # Empty lines before it, so that a traceback tells the line of the page.
        code = compile("\n" * (block.map[0] + 1) + block.content, self.path, "exec")
        with contextlib.redirect_stdout(io.StringIO()) as out:
            exec(code, names)
        self.printed.append(out.getvalue())

    def compare_last(self, block, where):
        same(block.content, self.printed[-1], where)
        self.printed = []

    def compare_each(self, block, where):
        printed = list(filter(None, self.printed))
        assert len(printed) > 1, where
        for text in printed:
            same(block.content, text, where)
        self.printed = []

    def run_console(self, block, where):
        parts = re.split(r"^\$ ((?:.*\\\n)*.*)\n", block.content, flags=re.MULTILINE)
        assert not parts[0], f"{where}: output before a command"
        for command, expected in zip(parts[1::2], parts[2::2]):
            done = subprocess.run(
                ["bash", "-o", "pipefail", "-c", command],
                stdout=subprocess.PIPE,
                stderr=subprocess.STDOUT,
                text=True,
                check=False,
            )
            if expected:
                same(expected, done.stdout, f"{where}: {command}")
            else:
                assert done.returncode == 0, f"{where}: {command}\n{done.stdout}"

    RUNNERS = {  # noqa: RUF012
        "python": run_python,
        "output": compare_last,
        "output each": compare_each,
        "console": run_console,
    }


def same(expected, printed, where):
    expected, printed = (
        "".join(f"{line.rstrip()}\n" for line in text.splitlines()) for text in (expected, printed)
    )
    if not doctest.OutputChecker().check_output(expected, printed, doctest.ELLIPSIS):
        lines = difflib.unified_diff(expected.splitlines(), printed.splitlines(), "page", "printed")
        pytest.fail(f"{where}\n" + "\n".join(lines), pytrace=False)


def anchors(path):
    """What links into a page can name: its headings, as they are known on the web."""
    headings = re.findall(r"^#+ (.+)$", path.read_text(encoding="utf-8"), re.MULTILINE)
    return {re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-") for heading in headings}


@pytest.fixture
def folder(tmp_path, monkeypatch):
    """A folder with the project's examples, in which the commands are found."""
    (tmp_path / "bin").mkdir()
    for name, line in COMMANDS.items():
        (tmp_path / name).write_text(f"#!/bin/sh\n{line}\n")
        (tmp_path / name).chmod(0o755)
    (tmp_path / "examples").symlink_to(ROOT / "examples")
    monkeypatch.setenv("PATH", f"{tmp_path}/bin{os.pathsep}{os.environ['PATH']}")
    monkeypatch.setenv("PYTHON", sys.executable)
    monkeypatch.setenv("COLUMNS", "100")
    monkeypatch.chdir(tmp_path)
    return tmp_path


@pytest.mark.filterwarnings("ignore:DID_NOT_COMPRESS")  # of pycdf, whose page compresses little
@pytest.mark.parametrize("path", PAGES, ids=lambda path: path.name)
def test_page(path, folder):
    if path.name in ELSEWHERE:
        return
    page = Page(path)
    page.run()
    for picture in page.pictures():
        if picture.parent.name == "pictures":
            compare_pictures(path.parent / picture, folder / picture.name)


@pytest.mark.parametrize("path", PAGES, ids=lambda path: path.name)
def test_links_lead_somewhere(path):
    for link in re.findall(r"\]\((?!\w+:)([^)]+)\)", path.read_text(encoding="utf-8")):
        name, _, anchor = link.partition("#")
        target = path.parent / name if name else path
        assert target.exists(), link
        assert not anchor or anchor in anchors(target), link


def test_every_known_fault_of_the_library_is_described():
    program = ROOT / "build/release/faults/library/library_faults"
    if not program.exists():
        pytest.skip("the C++ tests are not built")
    rows = subprocess.run([program, "--list"], capture_output=True, text=True, check=True).stdout
    page = (ROOT / "docs/library-faults.md").read_text(encoding="utf-8")
    described = re.findall(r"^\| `([a-z0-9-]+)` \|", page, re.MULTILINE)
    assert sorted(described) == sorted(row.split(":")[0] for row in rows.splitlines())


def compare_pictures(shown, made):
    mpl = pytest.importorskip("matplotlib.image")
    tiles = []
    for file in (shown, made):
        pixels = mpl.imread(file)[..., :3].mean(axis=2)
        rows, columns = (n // TILE for n in pixels.shape)
        cut = pixels[: rows * TILE, : columns * TILE].reshape(rows, TILE, columns, TILE)
        tiles.append((pixels.shape, cut.mean(axis=(1, 3))))
    assert tiles[0][0] == tiles[1][0], made
    different = np.abs(tiles[0][1] - tiles[1][1]) > MOST_DIFFERENCE
    assert different.mean() < MOST_DIFFERENT, made
