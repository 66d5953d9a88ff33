"""What `tarvik show` prints: the content of a file in sections and tables.

On a terminal lines are folded at its width. In a pipe or a file they are as long as they are, so
that nothing is folded or cut, and there are no colours; nor are there where NO_COLOR asks for it.
"""

import os
import re
import sys

from rich import box
from rich.cells import cell_len
from rich.console import Console
from rich.table import Table
from rich.text import Text

from tarvik._text import counted, nested, visible, visible_lines

_UNLIMITED = 100_000
_LIST_LIMIT = 8
_LABEL_WIDTH = 28
_FACTS = (
    ("file", "File"),
    ("size", "Size"),
    ("version", "CDF version"),
    ("format", "Format"),
    ("majority", "Majority"),
    ("encoding", "Encoding"),
    ("compression", "Compression"),
    ("checksum", "Checksum"),
    ("caches", "Caches"),
    ("records", "Records"),
    ("counts", "Holds"),
    ("copyright", "Copyright"),
)
_SPARSE = {"PAD_SPARSERECORDS": "the pad value", "PREV_SPARSERECORDS": "the previous record"}
_COLUMNS = (
    ("No.", {"justify": "right", "no_wrap": True}),
    ("Name", {"style": "cyan", "overflow": "fold"}),
    ("Type", {"no_wrap": True}),
    ("Elem.", {"justify": "right", "no_wrap": True}),
    ("Dimensions", {"overflow": "fold"}),
    ("Written", {"justify": "right", "no_wrap": True}),
    ("Varies", {"no_wrap": True}),
    ("Compr.", {"no_wrap": True}),
)
# What a narrow terminal goes without, first the one that says least.
_LEAST = ("Written", "Elem.", "No.", "Compr.")


class _Console(Console):
    def on_broken_pipe(self):
        """Leave to `tarvik.cli.main` what happens then."""
        raise BrokenPipeError


def standard_console():
    """Make the console of stdout."""
    terminal = sys.stdout.isatty()
    plain = not terminal or bool(os.environ.get("NO_COLOR"))
    return _Console(
        force_terminal=terminal,
        color_system=None if plain else "auto",
        width=None if terminal else _UNLIMITED,
        highlight=False,
        markup=False,
        emoji=False,
    )


def print_table(console, table):
    """Print a table; in a pipe without the blanks that fill its last column."""
    if console.is_terminal:
        console.print(table)
        return
    with console.capture() as captured:
        console.print(table)
    lines = captured.get().split("\n")
    console.file.write("\n".join(line.rstrip() for line in lines))


class Printer:
    """Prints content on stdout."""

    def __init__(self):
        self._console = standard_console()
        self._folds = self._console.is_terminal
        self._limit = _LIST_LIMIT if self._folds else None

    def content(self, content):
        """Print all that was read of a file."""
        self._facts(content)
        self._global_attributes(content["global_attributes"])
        self._variables(content["variables"])
        self._variable_attributes(content["variables"])
        for variable in content["variables"]:
            if variable["values"] is not None:
                self._values(variable)

    def blank(self):
        """Print a line between two files."""
        self._console.print()

    def _heading(self, text):
        self._console.print()
        self._line(Text(text, style="bold"))

    def _line(self, text):
        self._console.print(text, soft_wrap=not self._folds)

    def _labelled(self, label, lines, width, style=""):
        """Print lines beside a label that is as wide as given; each line has a mark before it."""
        head = Text("  " + _name(label), style="cyan")
        margin = " " * (width + 4)
        if head.cell_len + 2 > len(margin) and self._folds:
            self._line(head)
            head = Text()
        head.pad_right(len(margin) - head.cell_len)
        for mark, line in lines:
            for part in self._folded(Text(line, style=style), len(margin) + len(mark)):
                self._line(Text.assemble(head, mark, part))
                head, mark = Text(margin), " " * len(mark)

    def _folded(self, text, indent):
        if not self._folds:
            return [text]
        lines = text.wrap(self._console, max(20, self._console.width - indent)) or [text]
        for line in lines:
            line.rstrip()
        return lines

    def _facts(self, content):
        counts = (
            counted(content["variable_count"], "variable"),
            counted(content["global_attribute_count"], "global attribute"),
            f"{counted(content['variable_attribute_count'], 'attribute')} of variables",
        )
        shown = {
            **content,
            "counts": ", ".join(counts),
            "size": None if content["size"] is None else f"{content['size']:,} bytes",
            "compression": _compression(content["compression"]) or None,
            "caches": "file {file}, stage {stage}, compression {compression}".format(
                **content["caches"]
            ),
            "copyright": content["copyright"].strip().partition("\n")[0],
        }
        for key, label in _FACTS:
            if shown[key] is not None:
                self._labelled(label, [("", visible(str(shown[key])))], 11)

    def _global_attributes(self, attributes):
        self._heading(f"Global attributes ({len(attributes)})")
        width = _label_width(attributes)
        for attribute in attributes:
            entries = attribute["entries"]
            marks = [f"[{entry['number']}] " for entry in entries] if len(entries) > 1 else [""]
            lines = []
            for entry, mark in zip(entries, marks):
                lines += self._entry_lines(entry, mark.ljust(len(marks[-1])))
            if attribute["problem"]:
                lines.append(("", f"not readable: {visible(attribute['problem'])}"))
            self._labelled(attribute["name"], lines or [("", "no entries")], width)

    def _entry_lines(self, entry, mark=""):
        if entry["problem"]:
            return [(mark, f"not readable: {visible(entry['problem'])}")]
        if not isinstance(entry["value"], str):
            return [(mark, self._item_text(entry["value"], entry["times"]))]
        first, *others = visible_lines(entry["value"])
        return [(mark, first), *((" " * len(mark), line) for line in others)]

    def _item_text(self, value, times):
        """One item as it is, several in nested brackets; the outermost of them are left out."""
        if times is not None:
            return nested(times, self._limit, str).strip("[]")
        if isinstance(value, str):
            return visible(value)
        text = nested(value, self._limit, _item)
        return text[1:-1] if text.count("[") == 1 else text

    def _variables(self, variables):
        self._heading(f"Variables ({len(variables)})")
        table = Table(
            box=box.SIMPLE_HEAD if self._folds else None,
            padding=(0, 1, 0, 0) if self._folds else (0, 2, 0, 0),
            show_edge=False,
            pad_edge=False,
        )
        rows = [_cells(variable) for variable in variables]
        kept = self._columns_that_fit(rows) if self._folds else range(len(_COLUMNS))
        for column in kept:
            title, options = _COLUMNS[column]
            table.add_column(title, **options)
        for row in rows:
            table.add_row(*[row[column] for column in kept])
        print_table(self._console, table)

    def _columns_that_fit(self, rows):
        """Leave out columns that say little until names and dimensions stand whole."""
        titles = [title for title, _ in _COLUMNS]
        widths = [max(map(cell_len, map(str, column))) + 2 for column in zip(titles, *rows)]
        kept = list(range(len(titles)))
        for title in _LEAST:
            if sum(widths[column] for column in kept) > self._console.width:
                kept.remove(titles.index(title))
        return kept

    def _variable_attributes(self, variables):
        if variables:
            self._heading("The variables one by one")
        for variable in variables:
            storage = Text(f"  ({_storage(variable)})", style="dim")
            self._line(Text.assemble("\n", Text(_name(variable["name"]), style="bold"), storage))
            if variable["problem"]:
                self._line(Text(f"  not readable: {visible(variable['problem'])}"))
            width = _label_width(variable["attributes"])
            for attribute in variable["attributes"]:
                self._labelled(attribute["name"], self._entry_lines(attribute), width)

    def _values(self, variable):
        count = len(variable["values"])
        total = variable["records"]
        self._heading(f"Values of {_name(variable['name'])}: {count} of {total} records")
        times = variable["times"] or [None] * count
        for record, (value, time) in enumerate(zip(variable["values"], times)):
            self._labelled(f"[{record}]", [("", self._item_text(value, time))], 4)


def _name(name):
    """Blanks around a name belong to it and shall be seen."""
    return visible(name if name == name.strip() else f'"{name}"')


def _label_width(attributes):
    return min(_LABEL_WIDTH, max((len(_name(a["name"])) for a in attributes), default=0))


def _item(value):
    return f'"{visible(value)}"' if isinstance(value, str) else str(value)


def _cells(variable):
    """A row of the table of variables."""
    cells = [
        variable["number"],
        Text(_name(variable["name"])),
        variable["datatype"],
        variable["elements"],
        " x ".join([f"[{variable['records']}]", *map(str, variable["dimensions"] or [])]),
        variable["records_written"],
        "",
        _compression(variable["compression"]),
    ]
    if variable["problem"]:
        code = re.search(r"\d+", variable["problem"])
        cells[2:5] = f"({code[0]})" if code else "?", "?", "not readable"
    else:
        flags = [variable["record_variance"]], variable["dimension_variances"]
        cells[6] = "/".join(map(_flags, flags))
    return [cell if isinstance(cell, Text) else str(cell) for cell in cells]


def _storage(variable):
    """How the variable is kept in the file, in few words."""
    words = []
    if variable["pad_value"] is not None:
        words.append(f"pad value {nested(variable['pad_value'], None, _item)}")
    if variable["sparse_records"] in _SPARSE:
        words.append(f"sparse records read as {_SPARSE[variable['sparse_records']]}")
    if variable["blocking_factor"] is not None:
        words.append(f"blocking factor {variable['blocking_factor']}")
    return ", ".join(words)


def _flags(variances):
    return "".join("T" if varies else "F" for varies in variances)


def _compression(found):
    """The name without the words that all have, and the level where there is one."""
    if found is None:
        return "?"
    name = found["type"].replace("_COMPRESSION", "")
    level = f" {found['parameter']:.0f}" if isinstance(found["parameter"], float) else ""
    return "none" if name == "NO" else name + level
